// es10/es10_tags.h: the tags of SGP.22 v2.2 that requests and responses share. Internal to es10/.
#pragma once
#include <stdint.h>

// Outer tag of a request and of its response.
constexpr uint16_t TAG__PREPARE_DOWNLOAD = 0xBF21;
constexpr uint16_t TAG__EUICC_INFO_2 = 0xBF22;
constexpr uint16_t TAG__LIST_NOTIFICATION = 0xBF28;
constexpr uint16_t TAG__SET_NICKNAME = 0xBF29;
constexpr uint16_t TAG__RETRIEVE_NOTIFICATIONS_LIST = 0xBF2B;
constexpr uint16_t TAG__PROFILE_INFO_LIST = 0xBF2D;
constexpr uint16_t TAG__NOTIFICATION_SENT = 0xBF30;
constexpr uint16_t TAG__ENABLE_PROFILE = 0xBF31;
constexpr uint16_t TAG__DISABLE_PROFILE = 0xBF32;
constexpr uint16_t TAG__DELETE_PROFILE = 0xBF33;
constexpr uint16_t TAG__EUICC_MEMORY_RESET = 0xBF34;
constexpr uint16_t TAG__EUICC_CONFIGURED_ADDRESSES = 0xBF3C;
constexpr uint16_t TAG__SET_DEFAULT_DP_ADDRESS = 0xBF3F;
constexpr uint16_t TAG__CANCEL_SESSION = 0xBF41;

// Elements with the same tag in every structure.
constexpr uint16_t TAG__ICCID = 0x5A;
constexpr uint16_t TAG__ISDP_AID = 0x4F;
constexpr uint16_t TAG__OCTET_STRING = 0x04;
constexpr uint16_t TAG__TAG_LIST = 0x5C;
constexpr uint16_t TAG__PROFILE_STATE = 0x9F70;
constexpr uint16_t TAG__PROFILE_NICKNAME = 0x90;
constexpr uint16_t TAG__PROFILE_CLASS = 0x95;
constexpr uint16_t TAG__PROFILE_OWNER = 0xB7;
constexpr uint16_t TAG__PROFILE_INFO = 0xE3;
constexpr uint16_t TAG__NOTIFICATION_METADATA = 0xBF2F;

// ASN.1 context tags: what [0], [1] .. stand for is the enclosing structure's business.
constexpr uint16_t TAG__CONTEXT_0 = 0x80;
constexpr uint16_t TAG__CONTEXT_1 = 0x81;
constexpr uint16_t TAG__CONTEXT_2 = 0x82;
constexpr uint16_t TAG__CONTEXT_4 = 0x84;
constexpr uint16_t TAG__CONSTRUCTED_0 = 0xA0;
constexpr uint16_t TAG__CONSTRUCTED_1 = 0xA1;
constexpr uint16_t TAG__CONSTRUCTED_2 = 0xA2;
