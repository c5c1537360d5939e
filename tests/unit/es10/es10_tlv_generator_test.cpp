#include "es10/es10_tlv_generator.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "unit/es10/sample_requests.h"
#include <algorithm>
#include <gtest/gtest.h>
#include <memory>

namespace {

// ---- every well-formed request

class request_encoding : public testing::TestWithParam<sample_request> {};

TEST_P(request_encoding, is_written_behind_the_offset)
{
    const std::vector<uint8_t> expected = bytes(GetParam().tlv);
    std::vector<uint8_t> buffer(expected.size() + 5, 0xEE);
    const log_capture log;
    EXPECT_EQ(GetParam().encode(buffer.data(), static_cast<uint32_t>(buffer.size()), 3), expected.size() + 3);
    EXPECT_EQ(hex(buffer), "EEEEEE" + hex(expected) + "EEEE");
    EXPECT_EQ(log.at(1), "");
}

TEST_P(request_encoding, is_sized_with_a_null_buffer_as_it_is_written)
{
    const std::vector<uint8_t> expected = bytes(GetParam().tlv);
    EXPECT_EQ(GetParam().encode(nullptr, 0, 0), expected.size());
    EXPECT_EQ(GetParam().encode(nullptr, 0, 17), expected.size() + 17);
    std::vector<uint8_t> exact(expected.size());
    EXPECT_EQ(GetParam().encode(exact.data(), static_cast<uint32_t>(exact.size()), 0), expected.size());
    EXPECT_EQ(hex(exact), hex(expected));
}

TEST_P(request_encoding, into_every_shorter_buffer_gives_minus_7_and_keeps_its_bytes)
{
    const uint32_t needed = static_cast<uint32_t>(bytes(GetParam().tlv).size());
    log_capture quiet(0);
    for (uint32_t size = 0; size < needed; ++size) {
        const std::unique_ptr<uint8_t[]> buffer(new uint8_t[size]);
        std::fill_n(buffer.get(), size, 0xEE);
        EXPECT_EQ(GetParam().encode(buffer.get(), size, 0), -7) << size;
        EXPECT_TRUE(std::all_of(buffer.get(), buffer.get() + size, [](uint8_t b) { return b == 0xEE; })) << size;
    }
    uint8_t behind = 0xEE;
    EXPECT_EQ(GetParam().encode(&behind, 1, 2), -7) << "an offset behind the buffer";
    EXPECT_EQ(GetParam().encode(&behind, 1, 0xFFFFFFFF), -7) << "a sum that wraps";
    EXPECT_EQ(behind, 0xEE);
}

TEST_P(request_encoding, at_an_offset_far_behind_the_buffer_finds_no_room)
{
    uint8_t byte = 0xEE;
    const log_capture log;
    EXPECT_EQ(GetParam().encode(&byte, 1, 0xFFFFFE00), -7); // 1 - 0xFFFFFE00 would wrap to 513 bytes of room
    EXPECT_EQ(byte, 0xEE);
    ASSERT_EQ(log.up_to(1).find("1 [es10_tlv_generator__"), 0u);
    EXPECT_NE(log.up_to(1).find("Not enough space to add the TLV to the buffer. Buffer size 1, "), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(table, request_encoding, testing::ValuesIn(sample_requests()),
                         [](const auto &info) { return std::string(info.param.name); });

// ---- requests that cannot be encoded

struct refused_request {
    const char *name;
    int32_t (*encode)(uint8_t *buffer, uint32_t size);
    int32_t rc;
    const char *log; // errors
};

template <auto encoder, typename Request> int32_t encode(uint8_t *buffer, uint32_t size, const Request &request)
{
    return encoder(buffer, size, 0, &request);
}

ProfileIdentifier with_choice(ProfileIdentifier request, uint32_t choice)
{
    request.choice = choice;
    return request;
}

ProfileIdentifier with_first_digits(ProfileIdentifier request, uint8_t digits)
{
    request.value[0] = digits;
    return request;
}

ProfileInfoListRequest searching(uint32_t choice)
{
    ProfileInfoListRequest request = {};
    request.searchCriteria_present = 1;
    request.search_choice = choice;
    return request;
}

class refused : public testing::TestWithParam<refused_request> {};

TEST_P(refused, gives_code_and_log)
{
    uint8_t buffer[200] = {};
    log_capture log;
    EXPECT_EQ(GetParam().encode(buffer, sizeof buffer), GetParam().rc);
    EXPECT_EQ(log.up_to(1), GetParam().log);
}

// clang-format off
const refused_request refused_requests[] = {
    {"enable_with_choice_2", [](uint8_t *buffer, uint32_t size) { return encode<es10_tlv_generator__enable_profile_request>(buffer, size, with_choice(by_iccid(), 2)); }, -4,
     "1 [es10_tlv_generator__profile_identifier_value] Unknown profileIdentifier CHOICE 2\n"
     "1 [es10_tlv_generator__profile_identifier] Error calculating the size of the profileIdentifier VALUE, rc -4\n"
     "1 [es10_tlv_generator__profile_state_change_request_value] Error on profileIdentifier TLV, rc -4\n"
     "1 [es10_tlv_generator__enable_profile_request] Error calculating the size of the EnableProfileRequest VALUE, rc -4\n"},
    {"disable_with_choice_3", [](uint8_t *buffer, uint32_t size) { return encode<es10_tlv_generator__disable_profile_request>(buffer, size, with_choice(by_iccid(), 3)); }, -4,
     "1 [es10_tlv_generator__profile_identifier_value] Unknown profileIdentifier CHOICE 3\n"
     "1 [es10_tlv_generator__profile_identifier] Error calculating the size of the profileIdentifier VALUE, rc -4\n"
     "1 [es10_tlv_generator__profile_state_change_request_value] Error on profileIdentifier TLV, rc -4\n"
     "1 [es10_tlv_generator__disable_profile_request] Error calculating the size of the DisableProfileRequest VALUE, rc -4\n"},
    {"delete_with_choice_2", [](uint8_t *buffer, uint32_t size) { return encode<es10_tlv_generator__delete_profile_request>(buffer, size, with_choice(by_iccid(), 2)); }, -4,
     "1 [es10_tlv_generator__profile_identifier_value] Unknown profileIdentifier CHOICE 2\n"
     "1 [es10_tlv_generator__delete_profile_request] Error calculating the size of the DeleteProfileRequest VALUE, rc -4\n"},
    {"enable_with_an_iccid_that_begins_with_12", [](uint8_t *buffer, uint32_t size) { return encode<es10_tlv_generator__enable_profile_request>(buffer, size, with_first_digits(by_iccid(), 0x12)); }, -4,
     "1 [is_iccid_nibble_swaped] The first byte of the ICCID is not correct. Expected: 89 or 98, current: 12\n"
     "1 [byte_utils__iccid_plain] The ICCID has an invalid format, rc 4\n"
     "1 [tlv_generator__add_tlv_iccid_nibble_swap_value] Error nibble swaping the ICCID, rc 4\n"
     "1 [es10_tlv_generator__profile_identifier] Error adding the profileIdentifier VALUE to the buffer, rc -4\n"
     "1 [es10_tlv_generator__profile_state_change_request_value] Error on profileIdentifier TLV, rc -4\n"
     "1 [es10_tlv_generator__enable_profile_request] Error adding the EnableProfileRequest VALUE to the buffer, rc -4\n"},
    {"delete_with_an_iccid_that_begins_with_12_although_4_lies_behind_the_offset", [](uint8_t *buffer, uint32_t size) { return encode<es10_tlv_generator__delete_profile_request>(buffer, size, with_first_digits(by_iccid(), 0x12)); }, -4,
     "1 [is_iccid_nibble_swaped] The first byte of the ICCID is not correct. Expected: 89 or 98, current: 12\n"
     "1 [byte_utils__iccid_plain] The ICCID has an invalid format, rc 4\n"
     "1 [tlv_generator__add_tlv_iccid_nibble_swap_value] Error nibble swaping the ICCID, rc 4\n"
     "1 [es10_tlv_generator__delete_profile_request] Error adding the DeleteProfileRequest VALUE to the buffer, rc -4\n"},
    {"nickname_for_an_iccid_that_begins_with_00", [](uint8_t *buffer, uint32_t size) { SetNicknameRequest request = nickname("a"); request.iccid[0] = 0; return encode<es10_tlv_generator__set_nickname_request>(buffer, size, request); }, -4,
     "1 [is_iccid_nibble_swaped] The first byte of the ICCID is not correct. Expected: 89 or 98, current: 00\n"
     "1 [byte_utils__iccid_plain] The ICCID has an invalid format, rc 4\n"
     "1 [tlv_generator__add_tlv_iccid_nibble_swap_value] Error nibble swaping the ICCID, rc 4\n"
     "1 [es10_tlv_generator__set_nickname_request_value] Error on iccid TLV, rc -4\n"
     "1 [es10_tlv_generator__set_nickname_request] Error adding the SetNicknameRequest VALUE to the buffer, rc -4\n"},
    {"nickname_of_65_bytes_in_an_ample_buffer", [](uint8_t *buffer, uint32_t size) { return encode<es10_tlv_generator__set_nickname_request>(buffer, size, nickname(std::string(65, 'n'))); }, -4,
     "1 [es10_tlv_generator__set_nickname_request_value] Error on profileNickname TLV, rc -4\n"
     "1 [es10_tlv_generator__set_nickname_request] Error adding the SetNicknameRequest VALUE to the buffer, rc -4\n"},
    {"nickname_of_65_bytes_in_81_bytes", [](uint8_t *buffer, uint32_t) { return encode<es10_tlv_generator__set_nickname_request>(buffer, 81, nickname(std::string(65, 'n'))); }, -7,
     "1 [es10_tlv_generator__set_nickname_request] Not enough space to add the TLV to the buffer. Buffer size 81, buffer size needed 82\n"},
    {"profile_list_with_search_choice_3", [](uint8_t *buffer, uint32_t size) { return encode<es10_tlv_generator__profile_info_list_request>(buffer, size, searching(3)); }, -4,
     "1 [es10_tlv_generator__profile_info_list_request_search_critreria_value] Unknown searchCriteria CHOICE 3\n"
     "1 [es10_tlv_generator__profile_info_list_request_search_critreria] Error calculating the size of the searchCriteria VALUE, rc -4\n"
     "1 [es10_tlv_generator__profile_info_list_request_value] Error on searchCriteria TLV, rc -4\n"
     "1 [es10_tlv_generator__profile_info_list_request] Error calculating the size of the ProfileInfoListRequest VALUE, rc -4\n"},
    {"profile_list_for_an_iccid_of_zeros", [](uint8_t *buffer, uint32_t size) { return encode<es10_tlv_generator__profile_info_list_request>(buffer, size, searching(PROFILE_SEARCH__ICCID)); }, -4,
     "1 [is_iccid_nibble_swaped] The first byte of the ICCID is not correct. Expected: 89 or 98, current: 00\n"
     "1 [byte_utils__iccid_plain] The ICCID has an invalid format, rc 4\n"
     "1 [tlv_generator__add_tlv_iccid_nibble_swap_value] Error nibble swaping the ICCID, rc 4\n"
     "1 [es10_tlv_generator__profile_info_list_request_search_critreria] Error adding the searchCriteria VALUE to the buffer, rc -4\n"
     "1 [es10_tlv_generator__profile_info_list_request_value] Error on searchCriteria TLV, rc -4\n"
     "1 [es10_tlv_generator__profile_info_list_request] Error adding the ProfileInfoListRequest VALUE to the buffer, rc -4\n"},
    {"list_notification_for_event_4", [](uint8_t *buffer, uint32_t size) { return encode<es10_tlv_generator__list_notification_request>(buffer, size, ListNotificationRequest{4, 1}); }, -4,
     "1 [es10_tlv_generator__notification_event] Invalid notification event value 4\n"
     "1 [es10_tlv_generator__list_notification_request] Error calculating the size of the ListNotificationRequest VALUE, rc -4\n"},
    {"retrieve_for_event_4", [](uint8_t *buffer, uint32_t size) { return encode<es10_tlv_generator__retrieve_notifications_list_request>(buffer, size, RetrieveNotificationsListRequest{4, 1, 1}); }, -4,
     "1 [es10_tlv_generator__notification_event] Invalid notification event value 4\n"
     "1 [es10_tlv_generator__retrieve_notifications_list_request] Error calculating the size of the RetrieveNotificationsListRequest searchCriteria VALUE, rc -4\n"
     "1 [es10_tlv_generator__retrieve_notifications_list_request] Error calculating the size of the RetrieveNotificationsListRequest VALUE, rc -4\n"},
    {"retrieve_with_choice_2", [](uint8_t *buffer, uint32_t size) { return encode<es10_tlv_generator__retrieve_notifications_list_request>(buffer, size, RetrieveNotificationsListRequest{0, 2, 1}); }, -4,
     "1 [es10_tlv_generator__retrieve_notifications_list_request_search_criteria] Invalid search criteria 2\n"
     "1 [es10_tlv_generator__retrieve_notifications_list_request] Error calculating the size of the RetrieveNotificationsListRequest searchCriteria VALUE, rc -4\n"
     "1 [es10_tlv_generator__retrieve_notifications_list_request] Error calculating the size of the RetrieveNotificationsListRequest VALUE, rc -4\n"},
    {"cancel_session_with_a_transaction_id_of_17_bytes", [](uint8_t *buffer, uint32_t size) { return encode<es10_tlv_generator__cancel_session_request>(buffer, size, cancel(17, 0)); }, -4,
     "1 [tlv_generator__add_tlv_transaction_id_value] Invalid TransactionId size: 17, minimum size: 1, maximum size 16.\n"
     "1 [es10_tlv_generator__cancel_session_request_value] Error on transactionId TLV, rc -4\n"
     "1 [es10_tlv_generator__cancel_session_request] Error calculating the size of the defaultDpAddress TLV, rc -4\n"},
    {"cancel_session_with_an_empty_transaction_id", [](uint8_t *buffer, uint32_t size) { return encode<es10_tlv_generator__cancel_session_request>(buffer, size, cancel(0, 0)); }, -4,
     "1 [tlv_generator__add_tlv_transaction_id_value] Invalid TransactionId size: 0, minimum size: 1, maximum size 16.\n"
     "1 [es10_tlv_generator__cancel_session_request_value] Error on transactionId TLV, rc -4\n"
     "1 [es10_tlv_generator__cancel_session_request] Error calculating the size of the defaultDpAddress TLV, rc -4\n"},
    {"default_dp_address_with_a_length_but_no_bytes", [](uint8_t *buffer, uint32_t size) { return encode<es10_tlv_generator__set_default_dp_address_request>(buffer, size, SetDefaultDpAddressRequest{nullptr, 5}); }, -4,
     "1 [es10_tlv_generator__add_set_default_dp_address] Error adding the defaultDpAddress TLV, rc -4\n"},
    {"default_dp_address_longer_than_a_length_can_tell", [](uint8_t *buffer, uint32_t size) { return encode<es10_tlv_generator__set_default_dp_address_request>(buffer, size, SetDefaultDpAddressRequest{"", 0xFFFFFF}); }, -1,
     "1 [tlv_generator__add_length] Error calculating the number of bytes of the LENGTH\n"
     "1 [tlv_generator__add_tag_and_length] Error calculating the number of bytes of the LENGTH, rc -1\n"
     "1 [tlv_generator__add_tlv] Error calculating the number of bytes of the TAG and LENGTH, rc -1\n"
     "1 [es10_tlv_generator__add_set_default_dp_address] Error calculating the size of the defaultDpAddress TLV, rc -1\n"},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(table, refused, testing::ValuesIn(refused_requests),
                         [](const auto &info) { return std::string(info.param.name); });

TEST(prepare_download, with_pieces_whose_lengths_do_not_add_up_to_31_bits_is_refused)
{
    PrepareDownloadRequest request = prepare_with_hash();
    request.smdpSigned2_length = 0x7FFFFFFF;
    request.smdpSignature2_length = 0x7FFFFFFF;
    const log_capture log;
    EXPECT_LT(es10_tlv_generator__prepare_download_request(nullptr, 0, 0, &request), 0);
    request = prepare_with_hash();
    request.smdpSignature2_length = 0xFFFFFFFA; // ends before it begins
    EXPECT_LT(es10_tlv_generator__prepare_download_request(nullptr, 0, 0, &request), 0);
    EXPECT_TRUE(
        log.contains("[es10_tlv_generator__prepare_download_request_value] Error on smdpSignature2 TLV, rc -7"));
}

} // namespace
