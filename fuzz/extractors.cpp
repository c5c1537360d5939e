// Every extractor on any bytes. Input: function (1 byte), tag (2), parent tag (2), bytes.
#include "es10/es10_tlv_extractor.h"
#include "es9/es9_extractor.h"
#include "fuzz/fuzz_input.h"
#include "tlv/ber_tlv_parser.h"
#include "tlv/tlv_data_extractor.h"
#include <cstring>

namespace {
struct request {
    uint16_t tag;
    uint16_t parent;
    exact_bytes tlv;
    const uint8_t *data() const { return tlv.data(); }
    uint32_t size() const { return tlv.size(); }
};

void result_code(const request &from)
{
    uint8_t result = 0;
    tlv_data_extractor__result_code(from.tag, from.data(), from.size(), &result);
    tlv_data_extractor__result_code_with_parent_tlv(from.parent, from.tag, from.data(), from.size(), &result);
}

void numbers(const request &from)
{
    uint32_t value = 0;
    uint8_t flag = 2;
    tlv_data_extractor__uint32(from.tag, from.data(), from.size(), &value);
    tlv_data_extractor__boolean(from.tag, from.data(), from.size(), &flag);
}

void fixed_sizes(const request &from)
{
    const exact_bytes identifier(size_t{SUBJECT_KEY_IDENTIFIER_BYTES});
    const exact_bytes challenge(size_t{EUICC_CHALLENGE_BYTES});
    const exact_bytes eid(size_t{EID_BYTES});
    tlv_data_extractor__subject_key_identifier(from.tag, from.data(), from.size(), identifier.data());
    tlv_data_extractor__euicc_challenge(from.data(), from.size(), challenge.data());
    tlv_data_extractor__get_euicc_data_response(from.data(), from.size(), eid.data());
}

void iccid(const request &from)
{
    const exact_bytes iccid(size_t{10});
    for (const uint8_t optional : {uint8_t{0}, uint8_t{1}}) {
        uint8_t present = 0;
        const uint32_t rc =
            tlv_data_extractor__iccid(from.tag, from.data(), from.size(), &present, iccid.data(), optional);
        REQUIRE(is_result_code(rc));
    }
}

void fqdn(const request &from)
{
    const exact_bytes text(size_t{FQDN_TEXT_SIZE});
    auto *fqdn = reinterpret_cast<char *>(text.data());
    if (tlv_data_extractor__fqdn(from.tag, from.data(), from.size(), fqdn) == 0) REQUIRE(strlen(fqdn) < text.size());
}

void bit_string(const request &from)
{
    const exact_bytes bits(size_t{from.parent % 64U});
    if (tlv_data_extractor__bit_string(from.tag, from.data(), from.size(), bits.data(), bits.size()) == 0)
        for (const uint8_t bit : bits.all())
            REQUIRE(bit <= 1);
}

void transaction_id(const request &from)
{
    uint8_t present = 0;
    TransactionId id = {};
    if (tlv_data_extractor__transaction_id(from.tag, from.data(), from.size(), &present, &id) == 0)
        REQUIRE(id.length <= TRANSACTION_ID_MAX_BYTES && (present == 0) == (id.length == 0));
}

void list(const request &from)
{
    asn1_list list = {};
    if (tlv_data_extractor__asn1_list_init(&list, from.parent, from.tag, from.data(), from.size()) != 0) return;
    const uint8_t *element = nullptr;
    uint32_t size = 0;
    const uint8_t *before = from.data();
    while (tlv_data_extractor__asn1_list_get_next(&list, &element, &size) == 0 && element) {
        REQUIRE(element >= before && from.tlv.holds(element, size) && size > 0);
        before = element + size;
    }
}

void operator_id(const request &from)
{
    OperatorId id = {};
    if (tlv_data_extractor__operator_id(from.tag, from.data(), from.size(), &id) != 0) return;
    REQUIRE(!id.gid1_present || from.tlv.holds(id.gid1, id.gid1_length));
    REQUIRE(!id.gid2_present || from.tlv.holds(id.gid2, id.gid2_length));
}

void profile_info(const request &from)
{
    const exact_bytes iccid(size_t{10});
    const exact_bytes nickname(size_t{PROFILE_NICKNAME_TEXT_SIZE});
    const exact_bytes provider(size_t{SERVICE_PROVIDER_NAME_TEXT_SIZE});
    const exact_bytes name(size_t{PROFILE_NAME_TEXT_SIZE});
    uint8_t iccid_present = 0;
    uint8_t state_present = 0;
    uint8_t state = 0;
    const auto text = [](const exact_bytes &bytes) { return reinterpret_cast<char *>(bytes.data()); };
    const uint32_t rc =
        tlv_data_extractor__profile_info(from.data(), from.size(), &iccid_present, iccid.data(), &state_present, &state,
                                         text(nickname), text(provider), text(name));
    if (rc != 0) return;
    for (const exact_bytes *each : {&nickname, &provider, &name})
        REQUIRE(strnlen(text(*each), each->size()) < each->size());
}

template <auto read> void result_of(const request &from)
{
    constexpr uint32_t untouched = 0xDEAD;
    uint32_t result = untouched;
    const uint32_t rc = read(from.data(), from.size(), &result);
    REQUIRE(is_result_code(rc));
    REQUIRE(rc == 0 ? result <= 0xFF : result == untouched);
}

void addresses(const request &from)
{
    EuiccConfiguredAddresses record = {};
    if (es10_tlv_extractor__euicc_configured_addresses_response(from.data(), from.size(), &record) != 0) return;
    REQUIRE(from.tlv.holds(record.rootDsAddress, record.rootDsAddress_length));
    REQUIRE(!record.defaultDpAddress || from.tlv.holds(record.defaultDpAddress, record.defaultDpAddress_length));
}

void owner(const request &from)
{
    const exact_bytes mcc_mnc(size_t{3});
    uint8_t found = 0;
    es10_tlv_extractor__profile_info_list_response_mcc_mnc_enabled_profile(from.data(), from.size(), mcc_mnc.data(),
                                                                           &found);
    REQUIRE(found <= 1);
}

void metadata_of(const uint8_t *tlv, uint32_t size)
{
    NotificationMetadata record = {};
    if (es10_tlv_extractor__notification_metadata(tlv, size, &record) != 0) return;
    REQUIRE(record.profileManagementOperation < 4);
    REQUIRE(strnlen(record.notificationAddress, FQDN_TEXT_SIZE) < FQDN_TEXT_SIZE);
}

void metadata(const request &from) { metadata_of(from.data(), from.size()); }

void event(const request &from)
{
    uint32_t event = 0;
    if (es10_tlv_extractor__notification_event(from.tag, from.data(), from.size(), &event) == 0) REQUIRE(event < 4);
}

void notification_list(const request &from)
{
    ListNotificationResponse record = {};
    if (es10_tlv_extractor__list_notification_response(from.data(), from.size(), &record) != 0 ||
        record.choice != LIST_NOTIFICATION__METADATA_LIST)
        return;
    const uint8_t *element = nullptr;
    uint32_t size = 0;
    while (tlv_data_extractor__asn1_list_get_next(&record.notificationMetadataList, &element, &size) == 0 && element) {
        REQUIRE(from.tlv.holds(element, size));
        metadata_of(element, size);
    }
}

void emptiness(const request &from)
{
    uint8_t empty = 2;
    const uint32_t rc =
        es10_tlv_extractor__retrieve_notifications_list_response_is_empty_list(from.data(), from.size(), &empty);
    REQUIRE(rc != 0 || empty <= 1);
}

void installation(const request &from)
{
    ProfileInstallationResult result = {};
    if (es10_tlv_extractor__profile_installation_result(from.data(), from.size(), &result) != 0) return;
    REQUIRE(result.finalResult <= FINAL_RESULT__ERROR && result.aid_length <= AID_MAX_BYTES);
    REQUIRE(from.tlv.holds(result.smdpOid, result.smdpOid_length));
    REQUIRE(from.tlv.holds(result.euiccSignPIR, result.euiccSignPIR_length));
    REQUIRE(!result.simaResponse_present || from.tlv.holds(result.simaResponse, result.simaResponse_length));
}

template <auto read> void part_of_installation(const request &from)
{
    ProfileInstallationResult result = {};
    REQUIRE(is_result_code(read(from.data(), from.size(), &result)));
}

void installation_error(const request &from)
{
    uint8_t value = 0;
    es10_tlv_extractor__bpp_command_id(from.data(), from.size(), &value);
    es10_tlv_extractor__error_reason(from.data(), from.size(), &value);
}

void smdp_signed_2(const request &from)
{
    SmdpSigned2 record = {};
    if (es9_tlv_extractor__smdp_signed_2(from.data(), from.size(), &record) != 0) return;
    REQUIRE(record.transactionId.length <= TRANSACTION_ID_MAX_BYTES);
    REQUIRE(!record.bppEuiccOtpk_present || from.tlv.holds(record.bppEuiccOtpk, record.bppEuiccOtpk_length));
}

constexpr void (*extractors[])(const request &from) = {
    result_code,
    numbers,
    fixed_sizes,
    iccid,
    fqdn,
    bit_string,
    transaction_id,
    list,
    operator_id,
    profile_info,
    result_of<es10_tlv_extractor__enable_profile_response>,
    result_of<es10_tlv_extractor__disable_profile_response>,
    result_of<es10_tlv_extractor__delete_profile_response>,
    result_of<es10_tlv_extractor__set_nickname_response>,
    result_of<es10_tlv_extractor__set_default_dp_address_response>,
    result_of<es10_tlv_extractor__notification_sent_response>,
    result_of<es10_tlv_extractor__euicc_memory_reset_response>,
    result_of<es10_tlv_extractor__list_notifications_result_error>,
    addresses,
    owner,
    metadata,
    event,
    notification_list,
    emptiness,
    installation,
    part_of_installation<es10_tlv_extractor__profile_installation_result_data>,
    part_of_installation<es10_tlv_extractor__final_result>,
    part_of_installation<es10_tlv_extractor__success_result>,
    part_of_installation<es10_tlv_extractor__error_result>,
    installation_error,
    smdp_signed_2,
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    const size_t chosen = input.byte() % std::size(extractors);
    const uint16_t tag = input.number();
    const uint16_t parent = input.number();
    extractors[chosen]({tag, parent, exact_bytes(input.rest())});
    return 0;
}
