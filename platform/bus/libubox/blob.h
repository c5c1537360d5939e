/* libubox/blob.h: the blob container of bus messages. A blob is a 32-bit big-endian word (extended flag, id, length
 * including the word) and its payload, padded to four bytes. */
#pragma once
#include <stddef.h>
#include <stdint.h>

struct blob_attr {
    uint32_t id_len; /* big-endian */
    char data[];
};

/* A message under construction. Zero before its first use; may be initialised again. */
struct blob_buf {
    struct blob_attr *head; /* the message to send */
    int buflen;             /* bytes allocated at head */
};

/* Empties buf and starts a container with this id. Returns 0, or -1 when memory runs out. */
int blob_buf_init(struct blob_buf *buf, int id);

/* Releases what buf holds. */
void blob_buf_free(struct blob_buf *buf);

/* A blob's payload and its length in bytes. */
void *blob_data(const struct blob_attr *attr);
size_t blob_len(const struct blob_attr *attr);
