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

int blobmsg_add_field(struct blob_buf *buf, int type, const char *name, const void *data, unsigned int len);
#endif
