/* Named fields of bus messages. */
#ifndef BLOBMSG_H
#define BLOBMSG_H
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
};

struct blobmsg_policy {
    const char *name;
    enum blobmsg_type type;
};

int blobmsg_parse(const struct blobmsg_policy *policy, int policy_len, struct blob_attr **tb, void *data,
                  unsigned int len);
int blobmsg_add_field(struct blob_buf *buf, int type, const char *name, const void *data, unsigned int len);

static inline void *blobmsg_data(const struct blob_attr *attr) { return blob_data(attr); }
static inline char *blobmsg_get_string(struct blob_attr *attr) { return attr ? (char *)blobmsg_data(attr) : NULL; }
static inline uint32_t blobmsg_get_u32(struct blob_attr *attr) { return *(uint32_t *)blobmsg_data(attr); }
#endif
