/* The container of bus messages, laid out as the router's libubox has it. */
#ifndef BLOB_H
#define BLOB_H
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

struct blob_attr {
    uint32_t id_len;
    char data[];
};

struct blob_buf {
    struct blob_attr *head;
    bool (*grow)(struct blob_buf *buf, int minlen);
    int buflen;
    void *buf;
};

extern int blob_buf_init(struct blob_buf *buf, int id);
extern void blob_buf_free(struct blob_buf *buf);

static inline void *blob_data(const struct blob_attr *attr) { return (void *)attr->data; }
static inline size_t blob_len(const struct blob_attr *attr) { return attr->id_len; }
#endif
