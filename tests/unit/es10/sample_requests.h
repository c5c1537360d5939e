// Well-formed ES10 requests of every kind with their encodings.
#pragma once
#include "es10/es10_requests.h"
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#define SAMPLE_AID "A0000005591010FFFFFFFF8900001100"

ProfileIdentifier by_iccid(uint8_t refresh = 0); // 8901234567890123456F
ProfileIdentifier by_aid(uint8_t refresh = 0);   // SAMPLE_AID
ProfileInfoListRequest list_everything();        // by AID, every tag
PrepareDownloadRequest prepare_with_hash();
CancelSessionRequest cancel(uint8_t id_length, uint32_t reason); // id 00 01 02 ..
SetNicknameRequest nickname(const std::string &text);

struct sample_request {
    const char *name;
    int32_t (*encode)(uint8_t *buffer, uint32_t size, uint32_t offset);
    std::string tlv;
};
const std::vector<sample_request> &sample_requests();
const sample_request &sample(std::string_view name); // a failure of the test when there is none
