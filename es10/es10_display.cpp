#include "es10/es10_display.h"
#include "foundation/byte_utils.h"
#include "foundation/log.h"
#include "foundation/result.h"
#include <span>
#include <string.h>

namespace {

struct name_of_value {
    uint32_t value;
    const char *name;
};

constexpr name_of_value cancel_reasons[] = {{0, "endUserRejection"}, {1, "postponed"},
                                            {2, "timeout"},          {3, "pprNotAllowed"},
                                            {4, "metadataMismatch"}, {5, "loadBppExecutionError"},
                                            {127, "undefinedReason"}};
constexpr name_of_value notification_events[] = {{NOTIFICATION_EVENT__INSTALL, "notificationInstall"},
                                                 {NOTIFICATION_EVENT__ENABLE, "notificationEnable"},
                                                 {NOTIFICATION_EVENT__DISABLE, "notificationDisable"},
                                                 {NOTIFICATION_EVENT__DELETE, "notificationDelete"}};
constexpr name_of_value profile_classes[] = {{0, "test"}, {1, "provisioning"}, {2, "operational"}};
constexpr name_of_value delete_notification_statuses[] = {{1, "Nothing to delete"}, {127, "Undefined error"}};

const char *name_in(std::span<const name_of_value> names, uint32_t value)
{
    for (const name_of_value &entry : names)
        if (entry.value == value) return entry.name;
    return "Unknown";
}

void show_profile_state_change(const char *header, const ProfileIdentifier *request)
{
    log__string(LOG__INFO, "%s", header);
    es10_display__profile_identifier(request);
    log__string(LOG__INFO, "\trefreshFlag=%s", request->refreshFlag ? "true" : "false");
}

void show_search_criteria(const ProfileInfoListRequest *request)
{
    switch (request->search_choice) {
    case PROFILE_SEARCH__ISDP_AID:
        es10_display__aid("\tsearchCriteria(isdpAid=", request->search_value, ")");
        break;
    case PROFILE_SEARCH__ICCID:
        es10_display__iccid("\tsearchCriteria(iccid=", request->search_value, ")");
        break;
    case PROFILE_SEARCH__PROFILE_CLASS:
        log__string(LOG__INFO, "\tsearchCriteria(profileClass=%s)", name_in(profile_classes, request->search_value[0]));
        break;
    default:
        log__string(LOG__ERROR, "[es10_display__profile_info_list_request] Unknown searchCriteria CHOICE %d",
                    static_cast<int>(request->search_choice));
    }
}

} // namespace

void es10_display__aid(const char *prefix, const uint8_t aid[16], const char *suffix)
{
    log__string(LOG__INFO, "%s%02X%02X%02X%02X%02X%02X%02X%02X%02X%02X%02X%02X%02X%02X%02X%02X%s", prefix, aid[0],
                aid[1], aid[2], aid[3], aid[4], aid[5], aid[6], aid[7], aid[8], aid[9], aid[10], aid[11], aid[12],
                aid[13], aid[14], aid[15], suffix);
}

void es10_display__iccid(const char *prefix, const uint8_t iccid[10], const char *suffix)
{
    uint8_t plain[ICCID_BYTES];
    memcpy(plain, iccid, sizeof plain);
    if (byte_utils__iccid_parse_format(plain, ICCID_ORDER_PLAIN) != RESULT__OK) {
        log__string(LOG__ERROR, "[es10_display__iccid] Bad iccid format");
        return;
    }
    log__string(LOG__INFO, "%s%02X%02X%02X%02X%02X%02X%02X%02X%02X%02X%s", prefix, plain[0], plain[1], plain[2],
                plain[3], plain[4], plain[5], plain[6], plain[7], plain[8], plain[9], suffix);
}

void es10_display__profile_identifier(const ProfileIdentifier *identifier)
{
    switch (identifier->choice) {
    case PROFILE_IDENTIFIER__ISDP_AID:
        es10_display__aid("\tprofileIdentifier(isdpAid=", identifier->value, ")");
        break;
    case PROFILE_IDENTIFIER__ICCID:
        es10_display__iccid("\tprofileIdentifier(iccid=", identifier->value, ")");
        break;
    default:
        log__string(LOG__ERROR, "[es10_display__profile_identifier] Unknown profileIdentifier CHOICE %d",
                    static_cast<int>(identifier->choice));
    }
}

void es10_display__transaction_id(const TransactionId *transaction_id)
{
    char text[2 * TRANSACTION_ID_MAX_BYTES + 1] = {};
    const uint32_t rc = byte_utils__byte_array_to_hex_string(transaction_id->value, TRANSACTION_ID_MAX_BYTES, text,
                                                             2 * TRANSACTION_ID_MAX_BYTES);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[es10_display__transaction_id] Error printing the transactionId, err %d",
                    static_cast<int>(rc));
        return;
    }
    log__string(LOG__INFO, "\ttransactionId=%s", text);
}

void es10_display__euicc_memory_reset_request(const EuiccMemoryResetRequest *request)
{
    log__string(LOG__INFO, "ES10.eUICCMemoryReset");
    log__string(
        LOG__INFO,
        "\tresetOptions(deleteOperationalProfiles=%d, deleteFieldLoadedTestProfiles=%d, resetDefaultSmdpAddress=%d",
        request->deleteOperationalProfiles, request->deleteFieldLoadedTestProfiles, request->resetDefaultSmdpAddress);
}

void es10_display__cancel_session_request(const CancelSessionRequest *request)
{
    log__string(LOG__INFO, "ES10.CancelSession");
    es10_display__transaction_id(&request->transactionId);
    log__string(LOG__INFO, "\treason(%s)", name_in(cancel_reasons, request->reason));
}

void es10_display__retrieve_notifications_list_request(const RetrieveNotificationsListRequest *request)
{
    log__string(LOG__INFO, "ES10.RetrieveNotificationsList");
    if (!request->searchCriteria_present) return;
    switch (request->choice) {
    case NOTIFICATION_SEARCH__SEQ_NUMBER:
        log__string(LOG__INFO, "\tsearchCriteria(seqNumber=%u)", request->value);
        break;
    case NOTIFICATION_SEARCH__PROFILE_MANAGEMENT_OPERATION:
        log__string(LOG__INFO, "\tsearchCriteria(profileManagementOperation=%s)",
                    name_in(notification_events, request->value));
        break;
    default:
        log__string(LOG__ERROR, "[es10_display__retrieve_notifications_list_request] Unknown searchCriteria CHOICE %d",
                    static_cast<int>(request->choice));
    }
}

void es10_display__notification_sent_request(const NotificationSentRequest *request)
{
    log__string(LOG__INFO, "ES10.RemoveNotificationFromList(seqNumber=%u)", request->seqNumber);
}

void es10_display__profile_info_list_request(const ProfileInfoListRequest *request)
{
    log__string(LOG__INFO, "ES10.GetProfilesInfo");
    if (request->searchCriteria_present) show_search_criteria(request);
    if (!request->tagList_present) return;
    const uint8_t *tags = request->tags;
    log__string(
        LOG__INFO,
        "\ttagList(iccid=%d, isdpAid=%d, profileState=%d, profileNickname=%d, serviceProviderName=%d, profileName=%d, iconType=%d",
        tags[PROFILE_TAG__ICCID], tags[PROFILE_TAG__ISDP_AID], tags[PROFILE_TAG__PROFILE_STATE],
        tags[PROFILE_TAG__PROFILE_NICKNAME], tags[PROFILE_TAG__SERVICE_PROVIDER_NAME], tags[PROFILE_TAG__PROFILE_NAME],
        tags[PROFILE_TAG__ICON_TYPE]);
    log__string(
        LOG__INFO,
        "\ticon=%d, profileClass=%d, notificationConfigurationInfo=%d, profileOwner=%d, dpProprietaryData=%d, profilePolicyRules=%d)",
        tags[PROFILE_TAG__ICON], tags[PROFILE_TAG__PROFILE_CLASS], tags[PROFILE_TAG__NOTIFICATION_CONFIGURATION_INFO],
        tags[PROFILE_TAG__PROFILE_OWNER], tags[PROFILE_TAG__DP_PROPRIETARY_DATA],
        tags[PROFILE_TAG__PROFILE_POLICY_RULES]);
}

void es10_display__set_default_dp_address_request(const SetDefaultDpAddressRequest *request)
{
    log__string(LOG__INFO, "ES10.SetDefaultDpAddress");
    // Texts in UTF-8 go out as they are, to standard error only.
    const uint32_t length = request->address ? request->length : 0;
    log__utf8_data(LOG__INFO, "\tdefaultDpAddress=", reinterpret_cast<const uint8_t *>(request->address), length);
}

void es10_display__list_notification_request(const ListNotificationRequest *request)
{
    log__string(LOG__INFO, "ES10.ListNotification");
    if (request->present)
        log__string(LOG__INFO, "\tprofileManagementOperation(%s)", name_in(notification_events, request->event));
}

void es10_display__enable_profile_request(const ProfileIdentifier *request)
{
    show_profile_state_change("ES10.EnableProfile", request);
}

void es10_display__disable_profile_request(const ProfileIdentifier *request)
{
    show_profile_state_change("ES10.DisableProfile", request);
}

void es10_display__delete_profile_request(const ProfileIdentifier *request)
{
    log__string(LOG__INFO, "ES10.DeleteProfile");
    switch (request->choice) {
    case PROFILE_IDENTIFIER__ISDP_AID:
        es10_display__aid("\tisdpAid=", request->value, "");
        break;
    case PROFILE_IDENTIFIER__ICCID:
        es10_display__iccid("\ticcid=", request->value, "");
        break;
    default:
        log__string(LOG__ERROR, "[es10_display__delete_profile_request] Unknown DeleteProfileRequest CHOICE %d",
                    static_cast<int>(request->choice));
    }
}

void es10_display__set_nickname_request(const SetNicknameRequest *request)
{
    log__string(LOG__INFO, "ES10.SetNickname");
    es10_display__iccid("\ticcid=", request->iccid, "");
    const uint32_t length =
        request->nickname_length < NICKNAME_MAX_BYTES ? request->nickname_length : NICKNAME_MAX_BYTES;
    log__utf8_data(LOG__INFO, "\tprofileNickname=", request->nickname, length);
}

void lpa_display__notification_sent_response(uint32_t sequence_number, uint32_t delete_notification_status)
{
    if (delete_notification_status == 0) {
        log__string(LOG__INFO, "Notification with SequenceNumber %u has been removed successfully", sequence_number);
        return;
    }
    log__string(LOG__ERROR, "Error on remove the notification with SequenceNumber %u, deleteNotificationStatus: %s",
                sequence_number, name_in(delete_notification_statuses, delete_notification_status));
}
