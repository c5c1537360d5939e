#include "es10/request_values.h"
#include "es10/es10_tags.h"
#include "es10/request_writer.h"
#include "foundation/byte_utils.h"

namespace {

// The conversions of the TLV generator report a bad argument as the positive code 4, which may well lie beyond offset
// and pass for an end. The end that the field must have tells them apart.
int32_t end_or_error(int32_t end, int64_t expected)
{
    if (end < 0 || end == expected) return end;
    return -RESULT__BAD_ARGUMENT;
}

constexpr int64_t head_bytes = 2; // of a short field: one tag byte, one length byte

int32_t add_iccid(uint8_t *buffer, uint32_t size, uint32_t offset, const uint8_t *iccid)
{
    const int32_t end = tlv_generator__add_tlv_iccid_nibble_swap_value(buffer, size, offset, TAG__ICCID, iccid);
    return end_or_error(end, int64_t{offset} + head_bytes + ICCID_BYTES);
}

int32_t add_aid(uint8_t *buffer, uint32_t size, uint32_t offset, const uint8_t aid[16])
{
    return tlv_generator__add_tlv(buffer, size, offset, TAG__ISDP_AID, aid, 16);
}

int32_t add_encoded(uint8_t *buffer, uint32_t size, uint32_t offset, const uint8_t *tlv, uint32_t length)
{
    const int32_t end = tlv_generator__add_tlv_full_bytes(buffer, size, offset, tlv, length);
    return end_or_error(end, int64_t{offset} + (tlv ? length : 0));
}

} // namespace

int32_t es10_tlv_generator__profile_identifier_value(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                     const ProfileIdentifier *identifier)
{
    switch (identifier->choice) {
    case PROFILE_IDENTIFIER__ISDP_AID:
        return add_aid(buffer, size, offset, identifier->value);
    case PROFILE_IDENTIFIER__ICCID:
        return add_iccid(buffer, size, offset, identifier->value);
    default:
        log__string(LOG__ERROR, "[es10_tlv_generator__profile_identifier_value] Unknown profileIdentifier CHOICE %d",
                    static_cast<int>(identifier->choice));
        return -RESULT__BAD_ARGUMENT;
    }
}

namespace {

// Contents of the nested elements and of the CHOICEs. Each returns the offset after what it wrote, or a negated code.

int32_t es10_tlv_generator__profile_info_list_request_search_critreria_value(uint8_t *buffer, uint32_t size,
                                                                             uint32_t offset,
                                                                             const ProfileInfoListRequest *request)
{
    switch (request->search_choice) {
    case PROFILE_SEARCH__ISDP_AID:
        return add_aid(buffer, size, offset, request->search_value);
    case PROFILE_SEARCH__ICCID:
        return add_iccid(buffer, size, offset, request->search_value);
    case PROFILE_SEARCH__PROFILE_CLASS:
        return tlv_generator__add_tlv(buffer, size, offset, TAG__PROFILE_CLASS, request->search_value, 1);
    default:
        log__string(
            LOG__ERROR,
            "[es10_tlv_generator__profile_info_list_request_search_critreria_value] Unknown searchCriteria CHOICE %d",
            static_cast<int>(request->search_choice));
        return -RESULT__BAD_ARGUMENT;
    }
}

struct requested_tag {
    uint16_t tag;
    const char *failed; // %d code
};
// One row per PROFILE_TAG, in its order.
// clang-format off
constexpr requested_tag requested_tags[PROFILE_TAG__COUNT] = {
    {TAG__ICCID, "[es10_tlv_generator__profile_info_list_request_tag_list_value] Error on tag ICCID, rc %d"},
    {TAG__ISDP_AID, "[es10_tlv_generator__profile_info_list_request_tag_list_value] Error on tag ISD-P AID, rc %d"},
    {TAG__PROFILE_STATE, "[es10_tlv_generator__profile_info_list_request_tag_list_value] Error on tag Profile state, rc %d"},
    {TAG__PROFILE_NICKNAME, "[es10_tlv_generator__profile_info_list_request_tag_list_value] Error on tag Profile Nickname, rc %d"},
    {0x91, "[es10_tlv_generator__profile_info_list_request_tag_list_value] Error on tag Service provider name, rc %d"},
    {0x92, "[es10_tlv_generator__profile_info_list_request_tag_list_value] Error on tag Profile name, rc %d"},
    {0x93, "[es10_tlv_generator__profile_info_list_request_tag_list_value] Error on tag Icon type, rc %d"},
    {0x94, "[es10_tlv_generator__profile_info_list_request_tag_list_value] Error on tag Icon, rc %d"},
    {TAG__PROFILE_CLASS, "[es10_tlv_generator__profile_info_list_request_tag_list_value] Error on tag Profile Class, rc %d"},
    {0xB6, "[es10_tlv_generator__profile_info_list_request_tag_list_value] Error on tag Notification Configuration Info, rc %d"},
    {TAG__PROFILE_OWNER, "[es10_tlv_generator__profile_info_list_request_tag_list_value] Error on tag Profile Owner, rc %d"},
    {0xB8, "[es10_tlv_generator__profile_info_list_request_tag_list_value] Error on tag SM-DP+ proprietary data, rc %d"},
    {0x99, "[es10_tlv_generator__profile_info_list_request_tag_list_value] Error on tag Profile Policy Rules, rc %d"},
};
// clang-format on

int32_t es10_tlv_generator__profile_info_list_request_tag_list_value(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                                     const ProfileInfoListRequest *request)
{
    int32_t end = static_cast<int32_t>(offset);
    for (uint32_t i = 0; i < PROFILE_TAG__COUNT; ++i) {
        if (!request->tags[i]) continue;
        end = tlv_generator__add_tag(buffer, size, end, requested_tags[i].tag);
        if (end < 0) {
            log__string(LOG__ERROR, requested_tags[i].failed, end);
            return end;
        }
    }
    return end;
}

int32_t es10_tlv_generator__notification_event(uint8_t *buffer, uint32_t size, uint32_t offset, const uint32_t *event)
{
    if (*event >= NOTIFICATION_EVENT__COUNT) {
        log__string(LOG__ERROR, "[es10_tlv_generator__notification_event] Invalid notification event value %d",
                    static_cast<int>(*event));
        return -RESULT__BAD_ARGUMENT;
    }
    uint8_t bits[NOTIFICATION_EVENT__COUNT] = {};
    bits[*event] = 1;
    return tlv_generator__add_tlv_bit_string_value(buffer, size, offset, TAG__CONTEXT_1, bits,
                                                   NOTIFICATION_EVENT__COUNT);
}

int32_t
es10_tlv_generator__retrieve_notifications_list_request_search_criteria(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                                        const RetrieveNotificationsListRequest *request)
{
    switch (request->choice) {
    case NOTIFICATION_SEARCH__SEQ_NUMBER:
        return tlv_generator__add_tlv_integer_value(buffer, size, offset, TAG__CONTEXT_0, request->value);
    case NOTIFICATION_SEARCH__PROFILE_MANAGEMENT_OPERATION:
        return es10_tlv_generator__notification_event(buffer, size, offset, &request->value);
    default:
        log__string(
            LOG__ERROR,
            "[es10_tlv_generator__retrieve_notifications_list_request_search_criteria] Invalid search criteria %d",
            static_cast<int>(request->choice));
        return -RESULT__BAD_ARGUMENT;
    }
}

// One row per text.
// clang-format off
constexpr request_shape<ProfileIdentifier> profile_identifier = {
    .tag = TAG__CONSTRUCTED_0,
    .write_value = es10_tlv_generator__profile_identifier_value,
    .log_value_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__profile_identifier] Error calculating the size of the profileIdentifier VALUE, rc %d", rc); },
    .trace_value_size = [](int32_t size) { log__string(LOG__TRACE, "[es10_tlv_generator__profile_identifier] profileIdentifier VALUE size %d", size); },
    .log_tlv_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__profile_identifier] Error calculating the size of the profileIdentifier TLV, rc %d", rc); },
    .trace_tlv_size = [](int32_t size) { log__string(LOG__TRACE, "[es10_tlv_generator__profile_identifier] profileIdentifier TLV size %d", size); },
    .log_no_room = [](uint32_t size, uint32_t needed) { log__string(LOG__ERROR, "[es10_tlv_generator__profile_identifier] Not enough space to add the TLV to the buffer. Buffer size %u, buffer size needed %u", size, needed); },
    .log_header_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__profile_identifier] Error adding the profileIdentifier TAG LENGTH to the buffer, rc %d", rc); },
    .header_title = "[es10_tlv_generator__profile_identifier] profileIdentifier TAG LENGTH",
    .log_value_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__profile_identifier] Error adding the profileIdentifier VALUE to the buffer, rc %d", rc); },
    .element_title = "[es10_tlv_generator__profile_identifier] profileIdentifier",
};

constexpr request_shape<ProfileInfoListRequest> search_criteria = {
    .tag = TAG__CONSTRUCTED_0,
    .write_value = es10_tlv_generator__profile_info_list_request_search_critreria_value,
    .log_value_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__profile_info_list_request_search_critreria] Error calculating the size of the searchCriteria VALUE, rc %d", rc); },
    .trace_value_size = [](int32_t size) { log__string(LOG__TRACE, "[es10_tlv_generator__profile_info_list_request_search_critreria] searchCriteria VALUE size %d", size); },
    .log_tlv_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__profile_info_list_request_search_critreria] Error calculating the size of the searchCriteria TLV, rc %d", rc); },
    .trace_tlv_size = [](int32_t size) { log__string(LOG__TRACE, "[es10_tlv_generator__profile_info_list_request_search_critreria] searchCriteria TLV size %d", size); },
    .log_no_room = [](uint32_t size, uint32_t needed) { log__string(LOG__ERROR, "[es10_tlv_generator__profile_info_list_request_search_critreria] Not enough space to add the TLV to the buffer. Buffer size %u, buffer size needed %u", size, needed); },
    .log_header_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__profile_info_list_request_search_critreria] Error adding the searchCriteria TAG LENGTH to the buffer, rc %d", rc); },
    .header_title = "[es10_tlv_generator__profile_info_list_request_search_critreria] searchCriteria TAG LENGTH",
    .log_value_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__profile_info_list_request_search_critreria] Error adding the searchCriteria VALUE to the buffer, rc %d", rc); },
    .element_title = "[es10_tlv_generator__profile_info_list_request_search_critreria] searchCriteria",
};

constexpr request_shape<ProfileInfoListRequest> tag_list = {
    .tag = TAG__TAG_LIST,
    .write_value = es10_tlv_generator__profile_info_list_request_tag_list_value,
    .log_value_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__profile_info_list_request_tag_list] Error calculating the size of the tagList VALUE, rc %d", rc); },
    .trace_value_size = [](int32_t size) { log__string(LOG__TRACE, "[es10_tlv_generator__profile_info_list_request_tag_list] tagList VALUE size %d", size); },
    .log_tlv_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__profile_info_list_request_tag_list] Error calculating the size of the tagList TLV, rc %d", rc); },
    .trace_tlv_size = [](int32_t size) { log__string(LOG__TRACE, "[es10_tlv_generator__profile_info_list_request_tag_list] tagList TLV size %d", size); },
    .log_no_room = [](uint32_t size, uint32_t needed) { log__string(LOG__ERROR, "[es10_tlv_generator__profile_info_list_request_tag_list] Not enough space to add the TLV to the buffer. Buffer size %u, buffer size needed %u", size, needed); },
    .log_header_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__profile_info_list_request_tag_list] Error adding the tagList TAG LENGTH to the buffer, rc %d", rc); },
    .header_title = "[es10_tlv_generator__profile_info_list_request_tag_list] tagList TAG LENGTH",
    .log_value_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__profile_info_list_request_tag_list] Error adding the tagList VALUE to the buffer, rc %d", rc); },
    .element_title = "[es10_tlv_generator__profile_info_list_request_tag_list] tagList",
};

constexpr request_shape<RetrieveNotificationsListRequest> notification_search = {
    .tag = TAG__CONSTRUCTED_0,
    .write_value = es10_tlv_generator__retrieve_notifications_list_request_search_criteria,
    .log_value_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__retrieve_notifications_list_request] Error calculating the size of the RetrieveNotificationsListRequest searchCriteria VALUE, rc %ld", static_cast<long>(rc)); },
    .trace_value_size = [](int32_t size) { log__string(LOG__TRACE, "[es10_tlv_generator__retrieve_notifications_list_request] RetrieveNotificationsListRequest searchCriteria VALUE size %ld", static_cast<long>(size)); },
    .log_tlv_size_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__retrieve_notifications_list_request] Error calculating the size of the RetrieveNotificationsListRequest searchCriteria TLV, rc %ld", static_cast<long>(rc)); },
    .trace_tlv_size = [](int32_t size) { log__string(LOG__TRACE, "[es10_tlv_generator__retrieve_notifications_list_request] RetrieveNotificationsListRequest searchCriteria TLV size %ld", static_cast<long>(size)); },
    .log_no_room = [](uint32_t size, uint32_t needed) { log__string(LOG__ERROR, "[es10_tlv_generator__retrieve_notifications_list_request] Not enough space to add the TLV to the buffer. Buffer size %lu, buffer size needed %lu", static_cast<unsigned long>(size), static_cast<unsigned long>(needed)); },
    .log_header_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__retrieve_notifications_list_request] Error adding the RetrieveNotificationsListRequest searchCriteria TAG LENGTH to the buffer, rc %ld", static_cast<long>(rc)); },
    .header_title = "[es10_tlv_generator__retrieve_notifications_list_request] RetrieveNotificationsListRequest searchCriteria TAG LENGTH",
    .log_value_failed = [](int32_t rc) { log__string(LOG__ERROR, "[es10_tlv_generator__retrieve_notifications_list_request] Error adding the RetrieveNotificationsListRequest searchCriteria VALUE to the buffer, rc %ld", static_cast<long>(rc)); },
};
// clang-format on

int32_t es10_tlv_generator__profile_identifier(uint8_t *buffer, uint32_t size, uint32_t offset,
                                               const ProfileIdentifier *identifier)
{
    return request_writer__write(profile_identifier, buffer, size, offset, identifier);
}

int32_t es10_tlv_generator__profile_info_list_request_search_critreria(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                                       const ProfileInfoListRequest *request)
{
    return request_writer__write(search_criteria, buffer, size, offset, request);
}

int32_t es10_tlv_generator__profile_info_list_request_tag_list(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                               const ProfileInfoListRequest *request)
{
    return request_writer__write(tag_list, buffer, size, offset, request);
}

} // namespace

int32_t es10_tlv_generator__profile_state_change_request_value(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                               const ProfileIdentifier *request)
{
    int32_t end = es10_tlv_generator__profile_identifier(buffer, size, offset, request);
    if (end < 0) {
        log__string(LOG__ERROR,
                    "[es10_tlv_generator__profile_state_change_request_value] Error on profileIdentifier TLV, rc %d",
                    end);
        return end;
    }
    end = tlv_generator__add_tlv_boolean_value(buffer, size, end, TAG__CONTEXT_1, request->refreshFlag);
    if (end < 0)
        log__string(LOG__ERROR,
                    "[es10_tlv_generator__profile_state_change_request_value] Error on refreshFlag TLV, rc %d", end);
    return end;
}

int32_t es10_tlv_generator__profile_info_list_request_value(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                            const ProfileInfoListRequest *request)
{
    int32_t end = static_cast<int32_t>(offset);
    if (request->searchCriteria_present) {
        end = es10_tlv_generator__profile_info_list_request_search_critreria(buffer, size, offset, request);
        if (end < 0) {
            log__string(LOG__ERROR,
                        "[es10_tlv_generator__profile_info_list_request_value] Error on searchCriteria TLV, rc %d",
                        end);
            return end;
        }
        log__string(
            LOG__TRACE,
            "[es10_tlv_generator__profile_info_list_request_value] ProfileInfoListRequest VALUE size after searchCriteria: %u",
            end - offset);
    }
    if (request->tagList_present) {
        end = es10_tlv_generator__profile_info_list_request_tag_list(buffer, size, end, request);
        if (end < 0) {
            log__string(LOG__ERROR, "[es10_tlv_generator__profile_info_list_request_value] Error on tagList TLV, rc %d",
                        end);
            return end;
        }
        log__string(
            LOG__TRACE,
            "[es10_tlv_generator__profile_info_list_request_value] ProfileInfoListRequest VALUE size after tagList: %u",
            end - offset);
    }
    return end;
}

int32_t es10_tlv_generator__prepare_download_request_value(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                           const PrepareDownloadRequest *request)
{
    int32_t end = add_encoded(buffer, size, offset, request->smdpSigned2, request->smdpSigned2_length);
    if (end < 0) {
        log__string(LOG__ERROR, "[es10_tlv_generator__prepare_download_request_value] Error on smdpSigned2 TLV, rc %d",
                    end);
        return end;
    }
    log__string(
        LOG__TRACE,
        "[es10_tlv_generator__prepare_download_request_value] PrepareDownloadRequest VALUE size after smdpSigned2: %u",
        end - offset);

    end = add_encoded(buffer, size, end, request->smdpSignature2, request->smdpSignature2_length);
    if (end < 0) {
        log__string(LOG__ERROR,
                    "[es10_tlv_generator__prepare_download_request_value] Error on smdpSignature2 TLV, rc %d", end);
        return end;
    }
    log__string(
        LOG__TRACE,
        "[es10_tlv_generator__prepare_download_request_value] PrepareDownloadRequest VALUE size after smdpSignature2: %u",
        end - offset);

    if (request->hashCc_present) {
        end = tlv_generator__add_tlv(buffer, size, end, TAG__OCTET_STRING, request->hashCc, sizeof request->hashCc);
        if (end < 0) {
            log__string(LOG__ERROR, "[es10_tlv_generator__prepare_download_request_value] Error on hashCc TLV, rc %d",
                        end);
            return end;
        }
        log__string(
            LOG__TRACE,
            "[es10_tlv_generator__prepare_download_request_value] PrepareDownloadRequest VALUE size after hashCc: %u",
            end - offset);
    }

    // The certificate shares the texts of smdpSignature2: whoever reads these logs knows the second one by its place.
    end = add_encoded(buffer, size, end, request->smdpCertificate, request->smdpCertificate_length);
    if (end < 0) {
        log__string(LOG__ERROR,
                    "[es10_tlv_generator__prepare_download_request_value] Error on smdpSignature2 TLV, rc %d", end);
        return end;
    }
    log__string(
        LOG__TRACE,
        "[es10_tlv_generator__prepare_download_request_value] PrepareDownloadRequest VALUE size after smdpSignature2: %u",
        end - offset);
    return end;
}

int32_t es10_tlv_generator__cancel_session_request_value(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                         const CancelSessionRequest *request)
{
    int32_t end =
        tlv_generator__add_tlv_transaction_id_value(buffer, size, offset, TAG__CONTEXT_0, &request->transactionId);
    end = end_or_error(end, int64_t{offset} + head_bytes + request->transactionId.length);
    if (end < 0) {
        log__string(LOG__ERROR, "[es10_tlv_generator__cancel_session_request_value] Error on transactionId TLV, rc %d",
                    end);
        return end;
    }
    log__string(
        LOG__TRACE,
        "[es10_tlv_generator__cancel_session_request_value] CancelSessionRequest VALUE size after transactionId: %u",
        end - offset);

    const uint8_t reason = static_cast<uint8_t>(request->reason);
    end = tlv_generator__add_tlv(buffer, size, end, TAG__CONTEXT_1, &reason, 1);
    if (end < 0) {
        log__string(LOG__ERROR, "[es10_tlv_generator__cancel_session_request_value] Error on reason TLV, rc %d", end);
        return end;
    }
    log__string(LOG__TRACE,
                "[es10_tlv_generator__cancel_session_request_value] CancelSessionRequest VALUE size after reason: %u",
                end - offset);
    return end;
}

int32_t es10_tlv_generator__set_nickname_request_value(uint8_t *buffer, uint32_t size, uint32_t offset,
                                                       const SetNicknameRequest *request)
{
    int32_t end = add_iccid(buffer, size, offset, request->iccid);
    if (end < 0) {
        log__string(LOG__ERROR, "[es10_tlv_generator__set_nickname_request_value] Error on iccid TLV, rc %d", end);
        return end;
    }
    // An empty nickname is written too: 90 00 is how the card is told to remove the old one. One that is too long can
    // be sized (so that it is refused for want of room), but not copied: the record ends after 64 bytes.
    if (buffer && request->nickname_length > NICKNAME_MAX_BYTES) end = -RESULT__BAD_ARGUMENT;
    else
        end = tlv_generator__add_tlv(buffer, size, end, TAG__PROFILE_NICKNAME, request->nickname,
                                     request->nickname_length);
    if (end < 0)
        log__string(LOG__ERROR, "[es10_tlv_generator__set_nickname_request_value] Error on profileNickname TLV, rc %d",
                    end);
    return end;
}

int32_t request_values__reset_options(uint8_t *buffer, uint32_t size, uint32_t offset,
                                      const EuiccMemoryResetRequest *request)
{
    const uint8_t bits[] = {request->deleteOperationalProfiles, request->deleteFieldLoadedTestProfiles,
                            request->resetDefaultSmdpAddress};
    return tlv_generator__add_tlv_bit_string_value(buffer, size, offset, TAG__CONTEXT_2, bits, sizeof bits);
}

int32_t request_values__notification_search(uint8_t *buffer, uint32_t size, uint32_t offset,
                                            const RetrieveNotificationsListRequest *request)
{
    if (!request->searchCriteria_present) return static_cast<int32_t>(offset);
    return request_writer__write(notification_search, buffer, size, offset, request);
}

int32_t request_values__sequence_number(uint8_t *buffer, uint32_t size, uint32_t offset,
                                        const NotificationSentRequest *request)
{
    return tlv_generator__add_tlv_integer_value(buffer, size, offset, TAG__CONTEXT_0, request->seqNumber);
}

int32_t request_values__default_dp_address(uint8_t *buffer, uint32_t size, uint32_t offset,
                                           const SetDefaultDpAddressRequest *request)
{
    return tlv_generator__add_tlv(buffer, size, offset, TAG__CONTEXT_0,
                                  reinterpret_cast<const uint8_t *>(request->address), request->length);
}

int32_t request_values__notification_event(uint8_t *buffer, uint32_t size, uint32_t offset,
                                           const ListNotificationRequest *request)
{
    if (!request->present) return static_cast<int32_t>(offset);
    return es10_tlv_generator__notification_event(buffer, size, offset, &request->event);
}
