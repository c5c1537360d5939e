// Every failure that well-formed requests cannot provoke: a primitive below the encoders fails, and the log tells
// where.
#include "support/log_capture.h"
#include "unit/es10/sample_requests.h"
#include "unit/fakes/primitive_fault.h"
#include <gtest/gtest.h>

namespace {

struct failure {
    const char *name;
    const char *sample;
    const char *primitive; // null: none fails, the buffer is too small
    int nth;
    int32_t result; // of the failing call; a positive one is a size that is too small
    uint32_t size;  // of the buffer, 0 for ample
    const char *log;
};

class encoder_failure : public testing::TestWithParam<failure> {};

TEST_P(encoder_failure, is_reported_by_each_level_it_passes)
{
    const failure &row = GetParam();
    uint8_t buffer[256] = {};
    const log_capture log;
    const primitive_fault fault(row.primitive, row.nth, row.result);
    const int32_t rc = sample(row.sample).encode(buffer, row.size ? row.size : sizeof buffer, 0);
    EXPECT_EQ(primitive_fault::reached(), row.primitive != nullptr);
    EXPECT_EQ(rc, row.result < 0 ? row.result : -7);
    EXPECT_EQ(log.up_to(1), row.log);
}

// clang-format off
const failure failures[] = {
    {"enable_identifier_size", "enable_by_iccid_with_refresh", "tlv_generator__add_tlv", 1, -1, 0,
     "1 [es10_tlv_generator__profile_identifier] Error calculating the size of the profileIdentifier TLV, rc -1\n"
     "1 [es10_tlv_generator__profile_state_change_request_value] Error on profileIdentifier TLV, rc -1\n"
     "1 [es10_tlv_generator__enable_profile_request] Error calculating the size of the EnableProfileRequest VALUE, rc -1\n"},
    {"enable_refresh_flag_size", "enable_by_iccid_with_refresh", "tlv_generator__add_tlv_boolean_value", 1, -7, 0,
     "1 [es10_tlv_generator__profile_state_change_request_value] Error on refreshFlag TLV, rc -7\n"
     "1 [es10_tlv_generator__enable_profile_request] Error calculating the size of the EnableProfileRequest VALUE, rc -7\n"},
    {"enable_size", "enable_by_iccid_with_refresh", "tlv_generator__add_tlv", 2, -1, 0,
     "1 [es10_tlv_generator__enable_profile_request] Error calculating the size of the EnableProfileRequest TLV, rc -1\n"},
    {"enable_header", "enable_by_iccid_with_refresh", "tlv_generator__add_tag_and_length", 1, -7, 0,
     "1 [es10_tlv_generator__enable_profile_request] Error adding the EnableProfileRequest TAG LENGTH to the buffer, rc -7\n"},
    {"enable_identifier_header", "enable_by_iccid_with_refresh", "tlv_generator__add_tag_and_length", 2, -7, 0,
     "1 [es10_tlv_generator__profile_identifier] Error adding the profileIdentifier TAG LENGTH to the buffer, rc -7\n"
     "1 [es10_tlv_generator__profile_state_change_request_value] Error on profileIdentifier TLV, rc -7\n"
     "1 [es10_tlv_generator__enable_profile_request] Error adding the EnableProfileRequest VALUE to the buffer, rc -7\n"},
    {"enable_identifier_without_room", "enable_by_iccid_with_refresh", "tlv_generator__add_tlv", 2, 4, 4,
     "1 [es10_tlv_generator__profile_identifier] Not enough space to add the TLV to the buffer. Buffer size 4, buffer size needed 17\n"
     "1 [es10_tlv_generator__profile_state_change_request_value] Error on profileIdentifier TLV, rc -7\n"
     "1 [es10_tlv_generator__enable_profile_request] Error adding the EnableProfileRequest VALUE to the buffer, rc -7\n"},
    {"enable_refresh_flag", "enable_by_iccid_with_refresh", "tlv_generator__add_tlv_boolean_value", 2, -7, 0,
     "1 [es10_tlv_generator__profile_state_change_request_value] Error on refreshFlag TLV, rc -7\n"
     "1 [es10_tlv_generator__enable_profile_request] Error adding the EnableProfileRequest VALUE to the buffer, rc -7\n"},
    {"disable_identifier_size", "disable_by_iccid", "tlv_generator__add_tlv", 1, -1, 0,
     "1 [es10_tlv_generator__profile_identifier] Error calculating the size of the profileIdentifier TLV, rc -1\n"
     "1 [es10_tlv_generator__profile_state_change_request_value] Error on profileIdentifier TLV, rc -1\n"
     "1 [es10_tlv_generator__disable_profile_request] Error calculating the size of the DisableProfileRequest VALUE, rc -1\n"},
    {"disable_refresh_flag_size", "disable_by_iccid", "tlv_generator__add_tlv_boolean_value", 1, -7, 0,
     "1 [es10_tlv_generator__profile_state_change_request_value] Error on refreshFlag TLV, rc -7\n"
     "1 [es10_tlv_generator__disable_profile_request] Error calculating the size of the DisableProfileRequest VALUE, rc -7\n"},
    {"disable_size", "disable_by_iccid", "tlv_generator__add_tlv", 2, -1, 0,
     "1 [es10_tlv_generator__disable_profile_request] Error calculating the size of the DisableProfileRequest TLV, rc -1\n"},
    {"disable_header", "disable_by_iccid", "tlv_generator__add_tag_and_length", 1, -7, 0,
     "1 [es10_tlv_generator__disable_profile_request] Error adding the DisableProfileRequest TAG LENGTH to the buffer, rc -7\n"},
    {"disable_identifier_header", "disable_by_iccid", "tlv_generator__add_tag_and_length", 2, -7, 0,
     "1 [es10_tlv_generator__profile_identifier] Error adding the profileIdentifier TAG LENGTH to the buffer, rc -7\n"
     "1 [es10_tlv_generator__profile_state_change_request_value] Error on profileIdentifier TLV, rc -7\n"
     "1 [es10_tlv_generator__disable_profile_request] Error adding the DisableProfileRequest VALUE to the buffer, rc -7\n"},
    {"disable_identifier_without_room", "disable_by_iccid", "tlv_generator__add_tlv", 2, 4, 4,
     "1 [es10_tlv_generator__profile_identifier] Not enough space to add the TLV to the buffer. Buffer size 4, buffer size needed 17\n"
     "1 [es10_tlv_generator__profile_state_change_request_value] Error on profileIdentifier TLV, rc -7\n"
     "1 [es10_tlv_generator__disable_profile_request] Error adding the DisableProfileRequest VALUE to the buffer, rc -7\n"},
    {"disable_refresh_flag", "disable_by_iccid", "tlv_generator__add_tlv_boolean_value", 2, -7, 0,
     "1 [es10_tlv_generator__profile_state_change_request_value] Error on refreshFlag TLV, rc -7\n"
     "1 [es10_tlv_generator__disable_profile_request] Error adding the DisableProfileRequest VALUE to the buffer, rc -7\n"},
    {"delete_value_size", "delete_by_aid_is_bare", "tlv_generator__add_tlv", 1, -1, 0,
     "1 [es10_tlv_generator__delete_profile_request] Error calculating the size of the DeleteProfileRequest VALUE, rc -1\n"},
    {"delete_size", "delete_by_aid_is_bare", "tlv_generator__add_tlv", 2, -1, 0,
     "1 [es10_tlv_generator__delete_profile_request] Error calculating the size of the DeleteProfileRequest TLV, rc -1\n"},
    {"delete_header", "delete_by_aid_is_bare", "tlv_generator__add_tag_and_length", 1, -7, 0,
     "1 [es10_tlv_generator__delete_profile_request] Error adding the DeleteProfileRequest TAG LENGTH to the buffer, rc -7\n"},
    {"delete_value", "delete_by_aid_is_bare", "tlv_generator__add_tlv", 3, -7, 0,
     "1 [es10_tlv_generator__delete_profile_request] Error adding the DeleteProfileRequest VALUE to the buffer, rc -7\n"},
    {"nickname_field_size", "set_nickname", "tlv_generator__add_tlv", 1, -1, 0,
     "1 [es10_tlv_generator__set_nickname_request_value] Error on profileNickname TLV, rc -1\n"
     "1 [es10_tlv_generator__set_nickname_request] Error calculating the size of the SetNicknameRequest VALUE, rc -1\n"},
    {"nickname_size", "set_nickname", "tlv_generator__add_tlv", 2, -1, 0,
     "1 [es10_tlv_generator__set_nickname_request] Error calculating the size of the SetNicknameRequest TLV, rc -1\n"},
    {"nickname_header", "set_nickname", "tlv_generator__add_tag_and_length", 1, -7, 0,
     "1 [es10_tlv_generator__set_nickname_request] Error adding the SetNicknameRequest TAG LENGTH to the buffer, rc -7\n"},
    {"nickname_field", "set_nickname", "tlv_generator__add_tlv", 3, -7, 0,
     "1 [es10_tlv_generator__set_nickname_request_value] Error on profileNickname TLV, rc -7\n"
     "1 [es10_tlv_generator__set_nickname_request] Error adding the SetNicknameRequest VALUE to the buffer, rc -7\n"},
    {"list_aid_size", "profile_list_by_aid_with_all_tags", "tlv_generator__add_tlv", 1, -1, 0,
     "1 [es10_tlv_generator__profile_info_list_request_search_critreria] Error calculating the size of the searchCriteria VALUE, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_value] Error on searchCriteria TLV, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request] Error calculating the size of the ProfileInfoListRequest VALUE, rc -1\n"},
    {"list_criteria_size", "profile_list_by_aid_with_all_tags", "tlv_generator__add_tlv", 2, -1, 0,
     "1 [es10_tlv_generator__profile_info_list_request_search_critreria] Error calculating the size of the searchCriteria TLV, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_value] Error on searchCriteria TLV, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request] Error calculating the size of the ProfileInfoListRequest VALUE, rc -1\n"},
    {"list_tag_list_size", "profile_list_by_aid_with_all_tags", "tlv_generator__add_tlv", 3, -1, 0,
     "1 [es10_tlv_generator__profile_info_list_request_tag_list] Error calculating the size of the tagList TLV, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_value] Error on tagList TLV, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request] Error calculating the size of the ProfileInfoListRequest VALUE, rc -1\n"},
    {"list_size", "profile_list_by_aid_with_all_tags", "tlv_generator__add_tlv", 4, -1, 0,
     "1 [es10_tlv_generator__profile_info_list_request] Error calculating the size of the ProfileInfoListRequest TLV, rc -1\n"},
    {"list_header", "profile_list_by_aid_with_all_tags", "tlv_generator__add_tag_and_length", 1, -7, 0,
     "1 [es10_tlv_generator__profile_info_list_request] Error adding the ProfileInfoListRequest TAG LENGTH to the buffer, rc -7\n"},
    {"list_criteria_header", "profile_list_by_aid_with_all_tags", "tlv_generator__add_tag_and_length", 2, -7, 0,
     "1 [es10_tlv_generator__profile_info_list_request_search_critreria] Error adding the searchCriteria TAG LENGTH to the buffer, rc -7\n"
     "1 [es10_tlv_generator__profile_info_list_request_value] Error on searchCriteria TLV, rc -7\n"
     "1 [es10_tlv_generator__profile_info_list_request] Error adding the ProfileInfoListRequest VALUE to the buffer, rc -7\n"},
    {"list_criteria_without_room", "profile_list_by_aid_with_all_tags", "tlv_generator__add_tlv", 4, 4, 4,
     "1 [es10_tlv_generator__profile_info_list_request_search_critreria] Not enough space to add the TLV to the buffer. Buffer size 4, buffer size needed 23\n"
     "1 [es10_tlv_generator__profile_info_list_request_value] Error on searchCriteria TLV, rc -7\n"
     "1 [es10_tlv_generator__profile_info_list_request] Error adding the ProfileInfoListRequest VALUE to the buffer, rc -7\n"},
    {"list_criteria", "profile_list_by_aid_with_all_tags", "tlv_generator__add_tlv", 7, -7, 0,
     "1 [es10_tlv_generator__profile_info_list_request_search_critreria] Error adding the searchCriteria VALUE to the buffer, rc -7\n"
     "1 [es10_tlv_generator__profile_info_list_request_value] Error on searchCriteria TLV, rc -7\n"
     "1 [es10_tlv_generator__profile_info_list_request] Error adding the ProfileInfoListRequest VALUE to the buffer, rc -7\n"},
    {"list_tag_list_header", "profile_list_by_aid_with_all_tags", "tlv_generator__add_tag_and_length", 3, -7, 0,
     "1 [es10_tlv_generator__profile_info_list_request_tag_list] Error adding the tagList TAG LENGTH to the buffer, rc -7\n"
     "1 [es10_tlv_generator__profile_info_list_request_value] Error on tagList TLV, rc -7\n"
     "1 [es10_tlv_generator__profile_info_list_request] Error adding the ProfileInfoListRequest VALUE to the buffer, rc -7\n"},
    {"list_tag_list_without_room", "profile_list_with_all_13_tags", "tlv_generator__add_tlv", 2, 4, 4,
     "1 [es10_tlv_generator__profile_info_list_request_tag_list] Not enough space to add the TLV to the buffer. Buffer size 4, buffer size needed 19\n"
     "1 [es10_tlv_generator__profile_info_list_request_value] Error on tagList TLV, rc -7\n"
     "1 [es10_tlv_generator__profile_info_list_request] Error adding the ProfileInfoListRequest VALUE to the buffer, rc -7\n"},
    {"list_tag_1_size", "profile_list_by_aid_with_all_tags", "tlv_generator__add_tag", 3, -1, 0,
     "1 [es10_tlv_generator__profile_info_list_request_tag_list_value] Error on tag ICCID, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_tag_list] Error calculating the size of the tagList VALUE, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_value] Error on tagList TLV, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request] Error calculating the size of the ProfileInfoListRequest VALUE, rc -1\n"},
    {"list_tag_2_size", "profile_list_by_aid_with_all_tags", "tlv_generator__add_tag", 4, -1, 0,
     "1 [es10_tlv_generator__profile_info_list_request_tag_list_value] Error on tag ISD-P AID, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_tag_list] Error calculating the size of the tagList VALUE, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_value] Error on tagList TLV, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request] Error calculating the size of the ProfileInfoListRequest VALUE, rc -1\n"},
    {"list_tag_3_size", "profile_list_by_aid_with_all_tags", "tlv_generator__add_tag", 5, -1, 0,
     "1 [es10_tlv_generator__profile_info_list_request_tag_list_value] Error on tag Profile state, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_tag_list] Error calculating the size of the tagList VALUE, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_value] Error on tagList TLV, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request] Error calculating the size of the ProfileInfoListRequest VALUE, rc -1\n"},
    {"list_tag_4_size", "profile_list_by_aid_with_all_tags", "tlv_generator__add_tag", 6, -1, 0,
     "1 [es10_tlv_generator__profile_info_list_request_tag_list_value] Error on tag Profile Nickname, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_tag_list] Error calculating the size of the tagList VALUE, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_value] Error on tagList TLV, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request] Error calculating the size of the ProfileInfoListRequest VALUE, rc -1\n"},
    {"list_tag_5_size", "profile_list_by_aid_with_all_tags", "tlv_generator__add_tag", 7, -1, 0,
     "1 [es10_tlv_generator__profile_info_list_request_tag_list_value] Error on tag Service provider name, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_tag_list] Error calculating the size of the tagList VALUE, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_value] Error on tagList TLV, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request] Error calculating the size of the ProfileInfoListRequest VALUE, rc -1\n"},
    {"list_tag_6_size", "profile_list_by_aid_with_all_tags", "tlv_generator__add_tag", 8, -1, 0,
     "1 [es10_tlv_generator__profile_info_list_request_tag_list_value] Error on tag Profile name, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_tag_list] Error calculating the size of the tagList VALUE, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_value] Error on tagList TLV, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request] Error calculating the size of the ProfileInfoListRequest VALUE, rc -1\n"},
    {"list_tag_7_size", "profile_list_by_aid_with_all_tags", "tlv_generator__add_tag", 9, -1, 0,
     "1 [es10_tlv_generator__profile_info_list_request_tag_list_value] Error on tag Icon type, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_tag_list] Error calculating the size of the tagList VALUE, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_value] Error on tagList TLV, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request] Error calculating the size of the ProfileInfoListRequest VALUE, rc -1\n"},
    {"list_tag_8_size", "profile_list_by_aid_with_all_tags", "tlv_generator__add_tag", 10, -1, 0,
     "1 [es10_tlv_generator__profile_info_list_request_tag_list_value] Error on tag Icon, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_tag_list] Error calculating the size of the tagList VALUE, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_value] Error on tagList TLV, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request] Error calculating the size of the ProfileInfoListRequest VALUE, rc -1\n"},
    {"list_tag_9_size", "profile_list_by_aid_with_all_tags", "tlv_generator__add_tag", 11, -1, 0,
     "1 [es10_tlv_generator__profile_info_list_request_tag_list_value] Error on tag Profile Class, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_tag_list] Error calculating the size of the tagList VALUE, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_value] Error on tagList TLV, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request] Error calculating the size of the ProfileInfoListRequest VALUE, rc -1\n"},
    {"list_tag_10_size", "profile_list_by_aid_with_all_tags", "tlv_generator__add_tag", 12, -1, 0,
     "1 [es10_tlv_generator__profile_info_list_request_tag_list_value] Error on tag Notification Configuration Info, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_tag_list] Error calculating the size of the tagList VALUE, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_value] Error on tagList TLV, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request] Error calculating the size of the ProfileInfoListRequest VALUE, rc -1\n"},
    {"list_tag_11_size", "profile_list_by_aid_with_all_tags", "tlv_generator__add_tag", 13, -1, 0,
     "1 [es10_tlv_generator__profile_info_list_request_tag_list_value] Error on tag Profile Owner, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_tag_list] Error calculating the size of the tagList VALUE, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_value] Error on tagList TLV, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request] Error calculating the size of the ProfileInfoListRequest VALUE, rc -1\n"},
    {"list_tag_12_size", "profile_list_by_aid_with_all_tags", "tlv_generator__add_tag", 14, -1, 0,
     "1 [es10_tlv_generator__profile_info_list_request_tag_list_value] Error on tag SM-DP+ proprietary data, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_tag_list] Error calculating the size of the tagList VALUE, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_value] Error on tagList TLV, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request] Error calculating the size of the ProfileInfoListRequest VALUE, rc -1\n"},
    {"list_tag_13_size", "profile_list_by_aid_with_all_tags", "tlv_generator__add_tag", 15, -1, 0,
     "1 [es10_tlv_generator__profile_info_list_request_tag_list_value] Error on tag Profile Policy Rules, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_tag_list] Error calculating the size of the tagList VALUE, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request_value] Error on tagList TLV, rc -1\n"
     "1 [es10_tlv_generator__profile_info_list_request] Error calculating the size of the ProfileInfoListRequest VALUE, rc -1\n"},
    {"list_tag", "profile_list_by_aid_with_all_tags", "tlv_generator__add_tag", 43, -7, 0,
     "1 [es10_tlv_generator__profile_info_list_request_tag_list_value] Error on tag ICCID, rc -7\n"
     "1 [es10_tlv_generator__profile_info_list_request_tag_list] Error adding the tagList VALUE to the buffer, rc -7\n"
     "1 [es10_tlv_generator__profile_info_list_request_value] Error on tagList TLV, rc -7\n"
     "1 [es10_tlv_generator__profile_info_list_request] Error adding the ProfileInfoListRequest VALUE to the buffer, rc -7\n"},
    {"memory_reset_options_size", "memory_reset_of_everything", "tlv_generator__add_tlv_bit_string_value", 1, -7, 0,
     "1 [es10_tlv_generator__euicc_memory_reset] Error calculating the size of the resetOptions bit string, err -7\n"},
    {"memory_reset_size", "memory_reset_of_everything", "tlv_generator__add_tlv", 1, -1, 0,
     "1 [es10_tlv_generator__euicc_memory_reset] Error calculating the size of the EuiccMemoryResetRequest, err -1\n"},
    {"memory_reset_without_room", "memory_reset_of_everything", nullptr, 0, 0, 6,
     "1 [es10_tlv_generator__euicc_memory_reset] Not enough space to add the TLV to the buffer. Buffer size 6, buffer size needed 7\n"},
    {"memory_reset_header", "memory_reset_of_everything", "tlv_generator__add_tag_and_length", 1, -7, 0,
     "1 [es10_tlv_generator__euicc_memory_reset] Error adding the EuiccMemoryResetRequest TAG LENGTH, err -7\n"},
    {"memory_reset_options", "memory_reset_of_everything", "tlv_generator__add_tlv_bit_string_value", 2, -7, 0,
     "1 [es10_tlv_generator__euicc_memory_reset] Error adding the EuiccMemoryResetRequest resetOptions, err -7\n"},
    {"retrieve_number_size", "retrieve_by_largest_seq_number", "tlv_generator__add_tlv_integer_value", 1, -4, 0,
     "1 [es10_tlv_generator__retrieve_notifications_list_request] Error calculating the size of the RetrieveNotificationsListRequest searchCriteria VALUE, rc -4\n"
     "1 [es10_tlv_generator__retrieve_notifications_list_request] Error calculating the size of the RetrieveNotificationsListRequest VALUE, rc -4\n"},
    {"retrieve_criteria_size", "retrieve_by_largest_seq_number", "tlv_generator__add_tlv", 1, -1, 0,
     "1 [es10_tlv_generator__retrieve_notifications_list_request] Error calculating the size of the RetrieveNotificationsListRequest searchCriteria TLV, rc -1\n"
     "1 [es10_tlv_generator__retrieve_notifications_list_request] Error calculating the size of the RetrieveNotificationsListRequest VALUE, rc -1\n"},
    {"retrieve_size", "retrieve_by_largest_seq_number", "tlv_generator__add_tlv", 2, -1, 0,
     "1 [es10_tlv_generator__retrieve_notifications_list_request] Error calculating the size of the RetrieveNotificationsListRequest TLV, rc -1\n"},
    {"retrieve_header", "retrieve_by_largest_seq_number", "tlv_generator__add_tag_and_length", 1, -7, 0,
     "1 [es10_tlv_generator__retrieve_notifications_list_request] Error adding the RetrieveNotificationsListRequest TAG LENGTH to the buffer, rc -7\n"},
    {"retrieve_criteria_header", "retrieve_by_largest_seq_number", "tlv_generator__add_tag_and_length", 2, -7, 0,
     "1 [es10_tlv_generator__retrieve_notifications_list_request] Error adding the RetrieveNotificationsListRequest searchCriteria TAG LENGTH to the buffer, rc -7\n"
     "1 [es10_tlv_generator__retrieve_notifications_list_request] Error adding the RetrieveNotificationsListRequest VALUE to the buffer, rc -7\n"},
    {"retrieve_criteria_without_room", "retrieve_by_largest_seq_number", "tlv_generator__add_tlv", 2, 4, 4,
     "1 [es10_tlv_generator__retrieve_notifications_list_request] Not enough space to add the TLV to the buffer. Buffer size 4, buffer size needed 12\n"
     "1 [es10_tlv_generator__retrieve_notifications_list_request] Error adding the RetrieveNotificationsListRequest VALUE to the buffer, rc -7\n"},
    {"retrieve_number", "retrieve_by_largest_seq_number", "tlv_generator__add_tlv_integer_value", 3, -7, 0,
     "1 [es10_tlv_generator__retrieve_notifications_list_request] Error adding the RetrieveNotificationsListRequest searchCriteria VALUE to the buffer, rc -7\n"
     "1 [es10_tlv_generator__retrieve_notifications_list_request] Error adding the RetrieveNotificationsListRequest VALUE to the buffer, rc -7\n"},
    {"sent_value_size", "notification_sent_0", "tlv_generator__add_tlv_integer_value", 1, -1, 0,
     "1 [es10_tlv_generator__notification_sent_request] Error calculating the size of the NotificationSentRequest VALUE, rc -1\n"},
    {"sent_size", "notification_sent_0", "tlv_generator__add_tlv", 1, -1, 0,
     "1 [es10_tlv_generator__notification_sent_request] Error calculating the size of the NotificationSentRequest TLV, rc -1\n"},
    {"sent_header", "notification_sent_0", "tlv_generator__add_tag_and_length", 1, -7, 0,
     "1 [es10_tlv_generator__notification_sent_request] Error adding the NotificationSentRequest TAG LENGTH to the buffer, rc -7\n"},
    {"sent_value", "notification_sent_0", "tlv_generator__add_tlv_integer_value", 2, -7, 0,
     "1 [es10_tlv_generator__notification_sent_request] Error adding the NotificationSentRequest VALUE to the buffer, rc -7\n"},
    {"list_notification_value_size", "list_notification_enable", "tlv_generator__add_tlv_bit_string_value", 1, -1, 0,
     "1 [es10_tlv_generator__list_notification_request] Error calculating the size of the ListNotificationRequest VALUE, rc -1\n"},
    {"list_notification_size", "list_notification_enable", "tlv_generator__add_tlv", 1, -1, 0,
     "1 [es10_tlv_generator__list_notification_request] Error calculating the size of the ListNotificationRequest TLV, rc -1\n"},
    {"list_notification_header", "list_notification_enable", "tlv_generator__add_tag_and_length", 1, -7, 0,
     "1 [es10_tlv_generator__list_notification_request] Error adding the ListNotificationRequest TAG LENGTH to the buffer, rc -7\n"},
    {"list_notification_value", "list_notification_enable", "tlv_generator__add_tlv_bit_string_value", 2, -7, 0,
     "1 [es10_tlv_generator__list_notification_request] Error adding the ListNotificationRequest VALUE to the buffer, rc -7\n"},
    {"address_value_size", "set_default_dp_address", "tlv_generator__add_tlv", 1, -1, 0,
     "1 [es10_tlv_generator__add_set_default_dp_address] Error calculating the size of the defaultDpAddress TLV, rc -1\n"},
    {"address_size", "set_default_dp_address", "tlv_generator__add_tlv", 2, -1, 0,
     "1 [es10_tlv_generator__add_set_default_dp_address] Error calculating the size of the SetDefaultDpAddressRequest TLV, rc -1\n"},
    {"address_header", "set_default_dp_address", "tlv_generator__add_tag_and_length", 1, -7, 0,
     "1 [es10_tlv_generator__add_set_default_dp_address] Error adding the SetDefaultDpAddressRequest TAG LENGTH to the buffer, rc -7\n"},
    {"address_value", "set_default_dp_address", "tlv_generator__add_tlv", 3, -7, 0,
     "1 [es10_tlv_generator__add_set_default_dp_address] Error adding the defaultDpAddress TLV, rc -7\n"},
    {"cancel_reason_size", "cancel_session_with_the_longest_transaction_id", "tlv_generator__add_tlv", 1, -1, 0,
     "1 [es10_tlv_generator__cancel_session_request_value] Error on reason TLV, rc -1\n"
     "1 [es10_tlv_generator__cancel_session_request] Error calculating the size of the defaultDpAddress TLV, rc -1\n"},
    {"cancel_size", "cancel_session_with_the_longest_transaction_id", "tlv_generator__add_tlv", 2, -1, 0,
     "1 [es10_tlv_generator__cancel_session_request] Error calculating the size of the SetDefaultDpAddressRequest TLV, rc -1\n"},
    {"cancel_header", "cancel_session_with_the_longest_transaction_id", "tlv_generator__add_tag_and_length", 1, -7, 0,
     "1 [es10_tlv_generator__cancel_session_request] Error adding the CancelSessionRequest TAG LENGTH to the buffer, rc -7\n"},
    {"cancel_reason", "cancel_session_with_the_longest_transaction_id", "tlv_generator__add_tlv", 3, -7, 0,
     "1 [es10_tlv_generator__cancel_session_request_value] Error on reason TLV, rc -7\n"
     "1 [es10_tlv_generator__cancel_session_request] Error adding the CancelSessionRequest VALUE to the CancelSessionRequest TLV, rc -7\n"},
    {"prepare_piece_1_size", "prepare_download_with_hash", "tlv_generator__add_tlv_full_bytes", 1, -7, 0,
     "1 [es10_tlv_generator__prepare_download_request_value] Error on smdpSigned2 TLV, rc -7\n"
     "1 [es10_tlv_generator__prepare_download_request] Error calculating the size of the defaultDpAddress TLV, rc -7\n"},
    {"prepare_piece_2_size", "prepare_download_with_hash", "tlv_generator__add_tlv_full_bytes", 2, -7, 0,
     "1 [es10_tlv_generator__prepare_download_request_value] Error on smdpSignature2 TLV, rc -7\n"
     "1 [es10_tlv_generator__prepare_download_request] Error calculating the size of the defaultDpAddress TLV, rc -7\n"},
    {"prepare_piece_3_size", "prepare_download_with_hash", "tlv_generator__add_tlv_full_bytes", 3, -7, 0,
     "1 [es10_tlv_generator__prepare_download_request_value] Error on smdpSignature2 TLV, rc -7\n"
     "1 [es10_tlv_generator__prepare_download_request] Error calculating the size of the defaultDpAddress TLV, rc -7\n"},
    {"prepare_hash_size", "prepare_download_with_hash", "tlv_generator__add_tlv", 1, -1, 0,
     "1 [es10_tlv_generator__prepare_download_request_value] Error on hashCc TLV, rc -1\n"
     "1 [es10_tlv_generator__prepare_download_request] Error calculating the size of the defaultDpAddress TLV, rc -1\n"},
    {"prepare_size", "prepare_download_with_hash", "tlv_generator__add_tlv", 2, -1, 0,
     "1 [es10_tlv_generator__prepare_download_request] Error calculating the size of the SetDefaultDpAddressRequest TLV, rc -1\n"},
    {"prepare_header", "prepare_download_with_hash", "tlv_generator__add_tag_and_length", 1, -7, 0,
     "1 [es10_tlv_generator__prepare_download_request] Error adding the PrepareDownloadRequest TAG LENGTH to the buffer, rc -7\n"},
    {"prepare_certificate", "prepare_download_with_hash", "tlv_generator__add_tlv_full_bytes", 6, -7, 0,
     "1 [es10_tlv_generator__prepare_download_request_value] Error on smdpSignature2 TLV, rc -7\n"
     "1 [es10_tlv_generator__prepare_download_request] Error adding the PrepareDownloadRequest VALUE to the PrepareDownloadRequest TLV, rc -7\n"},
    {"enable_without_room", "enable_by_iccid_with_refresh", nullptr, 0, 0, 19,
     "1 [es10_tlv_generator__enable_profile_request] Not enough space to add the TLV to the buffer. Buffer size 19, buffer size needed 20\n"},
    {"disable_without_room", "disable_by_iccid", nullptr, 0, 0, 19,
     "1 [es10_tlv_generator__disable_profile_request] Not enough space to add the TLV to the buffer. Buffer size 19, buffer size needed 20\n"},
    {"delete_without_room", "delete_by_aid_is_bare", nullptr, 0, 0, 20,
     "1 [es10_tlv_generator__delete_profile_request] Not enough space to add the TLV to the buffer. Buffer size 20, buffer size needed 21\n"},
    {"nickname_without_room", "set_nickname", nullptr, 0, 0, 20,
     "1 [es10_tlv_generator__set_nickname_request] Not enough space to add the TLV to the buffer. Buffer size 20, buffer size needed 21\n"},
    {"list_without_room", "profile_list_with_all_13_tags", nullptr, 0, 0, 18,
     "1 [es10_tlv_generator__profile_info_list_request] Not enough space to add the TLV to the buffer. Buffer size 18, buffer size needed 19\n"},
    {"retrieve_without_room", "retrieve_everything", nullptr, 0, 0, 2,
     "1 [es10_tlv_generator__retrieve_notifications_list_request] Not enough space to add the TLV to the buffer. Buffer size 2, buffer size needed 3\n"},
    {"sent_without_room", "notification_sent_0", nullptr, 0, 0, 5,
     "1 [es10_tlv_generator__notification_sent_request] Not enough space to add the TLV to the buffer. Buffer size 5, buffer size needed 6\n"},
    {"list_notification_without_room", "list_notification_enable", nullptr, 0, 0, 6,
     "1 [es10_tlv_generator__list_notification_request] Not enough space to add the TLV to the buffer. Buffer size 6, buffer size needed 7\n"},
    {"address_without_room", "set_default_dp_address", nullptr, 0, 0, 7,
     "1 [es10_tlv_generator__add_set_default_dp_address] Not enough space to add the TLV to the buffer. Buffer size 7, buffer size needed 8\n"},
    {"cancel_without_room", "cancel_session_with_the_longest_transaction_id", nullptr, 0, 0, 23,
     "1 [es10_tlv_generator__cancel_session_request] Not enough space to add the TLV to the buffer. Buffer size 23, buffer size needed 24\n"},
    {"prepare_without_room", "prepare_download_without_hash", nullptr, 0, 0, 15,
     "1 [es10_tlv_generator__prepare_download_request] Not enough space to add the TLV to the buffer. Buffer size 15, buffer size needed 16\n"},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(table, encoder_failure, testing::ValuesIn(failures),
                         [](const auto &info) { return std::string(info.param.name); });

} // namespace
