#include "platform/bus/connection.h"
#include <errno.h>
#include <poll.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

int lpa_bus_timeout_ms = 10000;

namespace {
constexpr int retry_pause_ms = 10;

int64_t now_ms()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

// Milliseconds left, as poll takes them.
int left_until(int64_t deadline)
{
    const int64_t left = deadline - now_ms();
    if (left <= 0) return 0;
    return left > INT32_MAX ? INT32_MAX : static_cast<int>(left);
}

int wait_for(const ubus_context *ctx, short events, int64_t deadline)
{
    pollfd waited = {.fd = ctx->sock.fd, .events = events, .revents = 0};
    for (;;) {
        const int ready = poll(&waited, 1, left_until(deadline));
        if (ready > 0) return UBUS_STATUS_OK; // a hang-up shows in the call that follows
        if (ready == 0) return UBUS_STATUS_TIMEOUT;
        if (errno != EINTR) return UBUS_STATUS_SYSTEM_ERROR;
    }
}

bool is_worth_waiting(int error) { return error == EAGAIN || error == EWOULDBLOCK || error == EINTR; }

int send_all(const ubus_context *ctx, const void *data, size_t size, int64_t deadline)
{
    const auto *at = static_cast<const uint8_t *>(data);
    while (size > 0) {
        if (const int rc = wait_for(ctx, POLLOUT, deadline); rc != UBUS_STATUS_OK) return rc;
        const ssize_t sent = send(ctx->sock.fd, at, size, MSG_NOSIGNAL);
        if (sent < 0 && !is_worth_waiting(errno)) return UBUS_STATUS_CONNECTION_FAILED;
        if (sent <= 0) continue;
        at += sent;
        size -= static_cast<size_t>(sent);
    }
    return UBUS_STATUS_OK;
}

int receive_all(const ubus_context *ctx, void *data, size_t size, int64_t deadline)
{
    auto *at = static_cast<uint8_t *>(data);
    while (size > 0) {
        if (const int rc = wait_for(ctx, POLLIN, deadline); rc != UBUS_STATUS_OK) return rc;
        const ssize_t received = recv(ctx->sock.fd, at, size, 0);
        if (received == 0) return UBUS_STATUS_CONNECTION_FAILED;
        if (received < 0 && !is_worth_waiting(errno)) return UBUS_STATUS_CONNECTION_FAILED;
        if (received < 0) continue;
        at += received;
        size -= static_cast<size_t>(received);
    }
    return UBUS_STATUS_OK;
}

// Header and the root's own head have come; the rest of the root follows.
int receive_root(const ubus_context *ctx, message *received, const uint8_t *root_head, int64_t deadline)
{
    const uint32_t size = message__read_uint32(root_head) & 0x00FFFFFF;
    if (size < attribute_header_bytes || size > message_max_root_bytes) return UBUS_STATUS_PARSE_ERROR;
    received->root = static_cast<blob_attr *>(malloc(size));
    if (!received->root) return UBUS_STATUS_NO_MEMORY;
    memcpy(received->root, root_head, attribute_header_bytes);
    return receive_all(ctx, received->root->data, size - attribute_header_bytes, deadline);
}

int receive_message(const ubus_context *ctx, message *received, int64_t deadline)
{
    uint8_t head[message_header_bytes + attribute_header_bytes];
    if (const int rc = receive_all(ctx, head, sizeof head, deadline); rc != UBUS_STATUS_OK) return rc;
    if (head[0] != 0) return UBUS_STATUS_PARSE_ERROR; // another version of the protocol
    received->type = head[1];
    received->sequence = static_cast<uint16_t>(head[2] << 8 | head[3]);
    received->peer = message__read_uint32(head + 4);
    free(received->root);
    received->root = nullptr;
    return receive_root(ctx, received, head + message_header_bytes, deadline);
}

// A broker that is busy accepting answers EAGAIN at once, not by blocking.
int connect_socket(const ubus_context *ctx, const sockaddr_un *address, int64_t deadline)
{
    while (connect(ctx->sock.fd, reinterpret_cast<const sockaddr *>(address), sizeof *address) != 0) {
        if (errno == EISCONN) break;
        if (!is_worth_waiting(errno)) return UBUS_STATUS_CONNECTION_FAILED;
        if (left_until(deadline) == 0) return UBUS_STATUS_TIMEOUT;
        poll(nullptr, 0, retry_pause_ms);
    }
    return UBUS_STATUS_OK;
}

int greet(ubus_context *ctx, const sockaddr_un *address, int64_t deadline)
{
    if (const int rc = connect_socket(ctx, address, deadline); rc != UBUS_STATUS_OK) return rc;
    message hello;
    if (const int rc = receive_message(ctx, &hello, deadline); rc != UBUS_STATUS_OK) return rc;
    if (hello.type != MESSAGE_HELLO) return UBUS_STATUS_PARSE_ERROR;
    ctx->peer = hello.peer;
    return UBUS_STATUS_OK;
}
} // namespace

int64_t connection__deadline(int timeout_ms) { return now_ms() + timeout_ms; }

void connection__close(ubus_context *ctx)
{
    if (ctx->sock.fd >= 0) close(ctx->sock.fd);
    ctx->sock.fd = -1;
}

int connection__open(ubus_context *ctx, const char *path, int64_t deadline)
{
    *ctx = {};
    ctx->sock.fd = -1;
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (strlen(path) >= sizeof address.sun_path) return UBUS_STATUS_CONNECTION_FAILED;
    memcpy(address.sun_path, path, strlen(path) + 1);
    ctx->sock.fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (ctx->sock.fd < 0) return UBUS_STATUS_CONNECTION_FAILED;
    if (greet(ctx, &address, deadline) == UBUS_STATUS_OK) return UBUS_STATUS_OK;
    connection__close(ctx);
    return UBUS_STATUS_CONNECTION_FAILED;
}

int connection__send(ubus_context *ctx, uint8_t type, uint32_t peer, const blob_attr *root, int64_t deadline)
{
    if (ctx->sock.fd < 0) return UBUS_STATUS_CONNECTION_FAILED;
    ++ctx->sequence;
    uint8_t head[message_header_bytes] = {0, type, static_cast<uint8_t>(ctx->sequence >> 8),
                                          static_cast<uint8_t>(ctx->sequence)};
    message__write_uint32(head + 4, peer);
    int rc = send_all(ctx, head, sizeof head, deadline);
    if (rc == UBUS_STATUS_OK) rc = send_all(ctx, root, message__attribute_bytes(root), deadline);
    if (rc != UBUS_STATUS_OK) connection__close(ctx);
    return rc;
}

bool connection__has_input(const ubus_context *ctx)
{
    return ctx->sock.fd >= 0 && wait_for(ctx, POLLIN, 0) == UBUS_STATUS_OK;
}

int connection__receive(ubus_context *ctx, message *received, int64_t deadline)
{
    if (ctx->sock.fd < 0) return UBUS_STATUS_CONNECTION_FAILED;
    if (const int rc = wait_for(ctx, POLLIN, deadline); rc != UBUS_STATUS_OK) return rc;
    const int rc = receive_message(ctx, received, deadline);
    if (rc != UBUS_STATUS_OK) connection__close(ctx);
    return rc;
}
