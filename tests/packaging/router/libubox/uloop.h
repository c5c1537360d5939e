/* Descriptors that a program waits for, as libubox has them. */
#ifndef ULOOP_H
#define ULOOP_H
#include <stdbool.h>
#include <stdint.h>

#define ULOOP_READ (1 << 0)

struct uloop_fd;
typedef void (*uloop_fd_handler)(struct uloop_fd *u, unsigned int events);

struct uloop_fd {
    uloop_fd_handler cb;
    int fd;
    bool eof;
    bool error;
    bool registered;
    uint8_t flags;
};
#endif
