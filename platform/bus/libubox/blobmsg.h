/* libubox/blobmsg.h: named, typed fields inside a blob. */
#pragma once
#include "blob.h"

enum blobmsg_type {
    BLOBMSG_TYPE_UNSPEC,
    BLOBMSG_TYPE_ARRAY,
    BLOBMSG_TYPE_TABLE,
    BLOBMSG_TYPE_STRING,
    BLOBMSG_TYPE_INT64,
    BLOBMSG_TYPE_INT32,
    BLOBMSG_TYPE_INT16,
    BLOBMSG_TYPE_INT8,
    BLOBMSG_TYPE_BOOL = BLOBMSG_TYPE_INT8,
    BLOBMSG_TYPE_DOUBLE,
};

/* Appends a field; data is copied as given, so numbers are big-endian already. Returns 0, or -1 when memory runs out.
 */
int blobmsg_add_field(struct blob_buf *buf, int type, const char *name, const void *data, unsigned int len);

struct blobmsg_policy {
    const char *name;
    enum blobmsg_type type;
};

/* Sets tb[i] to the field that policy[i] describes, null when there is none; the last of several counts. data and len
 * are a message's payload, as untrusted as it came. Returns 0, or -1 when it is malformed. */
int blobmsg_parse(const struct blobmsg_policy *policy, int policy_len, struct blob_attr **tb, void *data,
                  unsigned int len);

/* Of a field that blobmsg_parse found, null when field is null; and of one that is not null. */
char *blobmsg_get_string(struct blob_attr *attr);
uint32_t blobmsg_get_u32(struct blob_attr *attr);
