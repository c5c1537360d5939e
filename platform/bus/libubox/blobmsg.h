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
