# Headers that other programs may include: those that plain C can read and that are not internal to a folder.
file(GLOB LPA_PUBLIC_HEADERS CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}
  ${PROJECT_SOURCE_DIR}/foundation/*.h ${PROJECT_SOURCE_DIR}/tlv/*.h ${PROJECT_SOURCE_DIR}/euicc/*.h
  ${PROJECT_SOURCE_DIR}/es10/*.h ${PROJECT_SOURCE_DIR}/es9/*.h ${PROJECT_SOURCE_DIR}/rsp/*.h
  ${PROJECT_SOURCE_DIR}/lpa/*.h)
list(REMOVE_ITEM LPA_PUBLIC_HEADERS
  foundation/configuration.h
  foundation/log_line.h
  foundation/owned_bytes.h
  tlv/buffer_room.h
  tlv/element_value.h
  tlv/length_field.h
  euicc/modem_signals.h
  es10/es10_tags.h
  es10/request_values.h
  es10/request_writer.h
  es10/response_reader.h
  es9/printed_text.h
  rsp/card_answer.h
  rsp/progress.h
  lpa/iccid_argument.h
  lpa/operation_frame.h
  lpa/profile_changes.h
  lpa/profile_queries.h)
