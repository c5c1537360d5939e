#include "unit/es10/fake_session.h"
#include "lpa/memory.h"
#include "support/bytes.h"
#include <cstring>

fake_session_type fake_session;

extern "C" uint32_t __wrap_eUICC__store_data(ModemHandle *handle, uint8_t channel, const uint8_t *data, uint32_t length,
                                             uint8_t **response, uint32_t *response_length)
{
    fake_session.handle = handle;
    fake_session.channel = channel;
    fake_session.sent.push_back(hex(data, length));
    const std::vector<uint8_t> answer = bytes(fake_session.answer);
    *response = nullptr;
    *response_length = 0;
    if (!answer.empty()) {
        *response = static_cast<uint8_t *>(M_malloc(answer.size()));
        memcpy(*response, answer.data(), answer.size());
        *response_length = static_cast<uint32_t>(answer.size());
    }
    return fake_session.result;
}
