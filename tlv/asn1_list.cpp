// The walk over an ASN.1 SEQUENCE OF.
#include "foundation/log.h"
#include "foundation/result.h"
#include "tlv/element_value.h"
#include "tlv/tlv_data_extractor.h"

uint32_t tlv_data_extractor__asn1_list_init(asn1_list *list, uint16_t list_tag, uint16_t element_tag,
                                            const uint8_t *buffer, uint32_t size)
{
    if (!buffer || size == 0) {
        log__string(LOG__ERROR, "[tlv_data_extractor__asn1_list_init] tlv is empty/null");
        return RESULT__BAD_ARGUMENT;
    }
    const int32_t offset = ber_tlv_parser__find_tlv_by_tag_2(buffer, size, 0, list_tag);
    if (offset < 0) {
        log__string(LOG__ERROR, "[tlv_data_extractor__asn1_list_init] List TAG 0x%04X not found", list_tag);
        return RESULT__FATAL_ERROR;
    }
    ber_tlv_record record = {};
    const uint32_t rc = ber_tlv_parser__ber_tlv_2(buffer, size, offset, &record);
    if (rc != RESULT__OK) {
        log__string(LOG__ERROR, "[tlv_data_extractor__asn1_list_init] Error parsing the ASN.1 list, rc %d", (int)rc);
        return rc;
    }
    const uint8_t *value = whole_value(buffer, size, offset, record);
    const uint32_t received = size - offset;
    log__data(LOG__TRACE, "[tlv_data_extractor__asn1_list_init] ASN.1 List", buffer + offset,
              value ? value_offset_of(0, record) + record.length : received);
    if (!value) {
        log__string(LOG__ERROR, "[tlv_data_extractor__asn1_list_init] The ASN.1 list is bigger than the TLV buffer");
        return RESULT__NOT_ENOUGH_BUFFER;
    }
    *list = {element_tag, value, record.length, 0};
    log__string(LOG__TRACE, "[tlv_data_extractor__asn1_list_init] buffer=%p, buffer_size=%u, buffer_offset=%u",
                (const void *)list->value, list->value_length, list->offset);
    return RESULT__OK;
}

uint32_t tlv_data_extractor__asn1_list_get_next(asn1_list *list, const uint8_t **element, uint32_t *element_size)
{
    *element = nullptr;
    *element_size = 0;
    log__string(LOG__TRACE, "[tlv_data_extractor__asn1_list_get_next] buffer=%p, buffer_size=%u, buffer_offset=%u",
                (const void *)list->value, list->value_length, list->offset);
    if (list->offset >= list->value_length) return RESULT__OK;
    const int32_t offset =
        ber_tlv_parser__find_tlv_by_tag_2(list->value, list->value_length, list->offset, list->element_tag);
    if (offset < 0) {
        log__string(LOG__ERROR, "[tlv_data_extractor__asn1_list_get_next] Element TAG 0x%04X not found",
                    list->element_tag);
        return RESULT__FATAL_ERROR;
    }
    uint32_t size = 0;
    uint32_t rc = ber_tlv_parser__get_full_tlv_length(list->value, offset, &size);
    if (rc == RESULT__OK && size > list->value_length - offset) rc = RESULT__FATAL_ERROR; // cut off by the list's end
    if (rc != RESULT__OK) {
        log__string(
            LOG__ERROR,
            "[tlv_data_extractor__asn1_list_get_next] Error calculating the size of the ASN.1 list element, rc %d",
            (int)rc);
        return RESULT__FATAL_ERROR;
    }
    *element = list->value + offset;
    *element_size = size;
    list->offset = offset + size;
    return RESULT__OK;
}
