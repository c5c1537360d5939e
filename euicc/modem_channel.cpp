#include "euicc/modem_channel.h"
#include "euicc/modem_signals.h"
#include "foundation/log.h"
#include "foundation/owned_bytes.h"
#include "foundation/result.h"
#include "foundation/timer.h"
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <lgsm.h>
#include <sys/file.h>
#include <unistd.h>

namespace {
constexpr int32_t lock_failed = -2;
constexpr char name_prefix[] = "modem";
constexpr size_t name_prefix_length = sizeof name_prefix - 1;
constexpr int bus_timeout_ms = 3000;
constexpr int at_timeout = 60;
constexpr int reload_tries = 15;

bool first_open = true;
uint8_t reload_disabled = 0;

struct executable_path {
    char text[4096] = "none"; // stays when the link cannot be read
    executable_path()
    {
        const ssize_t length = readlink("/proc/self/exe", text, sizeof text - 1);
        if (length >= 0) text[length] = '\0';
    }
};

// Stops at the first character that is no digit. Larger numbers than any modem's come back as some number too large.
int32_t modem_number_of(const char *digits)
{
    int32_t number = 0;
    for (; *digits >= '0' && *digits <= '9'; ++digits)
        if (number < INT32_MAX / 10 - 1) number = number * 10 + (*digits - '0');
    return number;
}

// Logging touches errno; open_modem reports the one that made do_lock fail.
struct kept_errno {
    int value = errno;
    kept_errno() = default;
    kept_errno(const kept_errno &) = delete;
    kept_errno &operator=(const kept_errno &) = delete;
    ~kept_errno() { errno = value; }
};

ModemHandle *find_or_make_handle(int32_t number)
{
    if (modem_table[number]) return modem_table[number];
    auto *handle = static_cast<ModemHandle *>(M_calloc(1, sizeof(ModemHandle)));
    if (!handle) {
        log__string(LOG__ERROR, "[open_modem] no memory");
        return nullptr;
    }
    handle->modem_number = number;
    handle->lock_descriptor = -1;
    return handle;
}

void free_handle(ModemHandle *handle)
{
    modem_table[handle->modem_number] = nullptr;
    M_free(handle);
}
} // namespace

ModemHandle *open_modem(const char *name)
{
    if (first_open) {
        modem_signals__install();
        first_open = false;
    }
    if (!name || strncmp(name, name_prefix, name_prefix_length) != 0) {
        log__string(LOG__ERROR, "[open_modem] process name `%s` invalid", name ? name : "(null)");
        return nullptr;
    }
    const int32_t number = modem_number_of(name + name_prefix_length);
    if (number >= MODEM_COUNT) {
        log__string(LOG__ERROR, "[open_modem] modem no %d >= %d", number, MODEM_COUNT);
        return nullptr;
    }
    ModemHandle *handle = find_or_make_handle(number);
    if (!handle) return nullptr;
    if (const int32_t rc = do_lock(handle); rc != 0) {
        log__string(LOG__ERROR, "[open_modem] %d lock error, process PID: %d lock result: %d errno %s", number,
                    getpid(), rc, strerror(errno));
        free_handle(handle);
        return nullptr;
    }
    if (ubus_connect_ctx(&handle->ubus, nullptr) != 0) {
        log__string(LOG__ERROR, "[open_modem] unable to connect to UBUS");
        // The descriptor stays open on purpose: without a bus nobody should get at the modem, and the lock falls
        // when the process ends.
        free_handle(handle);
        return nullptr;
    }
    const executable_path path;
    log__string(LOG__INFO, "[open_modem]  %d process PID: %d PATH: %s", number, getpid(), path.text);
    return handle;
}

int32_t close_modem(ModemHandle *handle)
{
    if (!handle) return 0;
    const executable_path path;
    do_unlock(handle);
    ubus_shutdown(&handle->ubus);
    log__string(LOG__INFO, "[close_modem] %d process PID: %d PATH: %s", handle->modem_number, getpid(), path.text);
    free_handle(handle);
    return 0;
}

int32_t do_lock(ModemHandle *handle)
{
    if (handle->lock_descriptor >= 0) {
        log__string(LOG__ERROR, "[do_lock] modem no %d already locked", handle->modem_number);
        return lock_failed;
    }
    char path[32];
    snprintf(path, sizeof path, "/var/lock/vorn_modem_%d.lock", handle->modem_number);
    if (create_file_with_ubus(path) != 0) {
        log__string(LOG__ERROR, "[do_lock] unable to create %s file via UBUS", path);
        return lock_failed;
    }
    // Not for programs that the host starts meanwhile: they would keep the lock when this process has gone.
    handle->lock_descriptor = open(path, O_RDWR | O_CLOEXEC);
    if (handle->lock_descriptor < 0) {
        const kept_errno reason;
        log__string(LOG__ERROR, "[do_lock] unable to open %s file: %s", path, strerror(reason.value));
        return lock_failed;
    }
    if (flock(handle->lock_descriptor, LOCK_EX) != 0) {
        const kept_errno reason;
        log__string(LOG__ERROR, "[do_lock] unable to lock %s file: %s", path, strerror(reason.value));
        close(handle->lock_descriptor);
        handle->lock_descriptor = -1;
        return lock_failed;
    }
    return 0;
}

int32_t do_unlock(ModemHandle *handle)
{
    if (handle->lock_descriptor < 0) {
        log__string(LOG__ERROR, "[do_unlock] modem no %d already unlocked", handle->modem_number);
        return lock_failed;
    }
    close(handle->lock_descriptor);
    handle->lock_descriptor = -1;
    return 0;
}

namespace {
bool invoke_file_write(struct ubus_context *bus, uint32_t file_object, const char *path)
{
    struct blob_buf message = {};
    const bool done =
        blob_buf_init(&message, 0) == 0 &&
        blobmsg_add_field(&message, BLOBMSG_TYPE_STRING, "path", path, static_cast<unsigned>(strlen(path) + 1)) == 0 &&
        blobmsg_add_field(&message, BLOBMSG_TYPE_STRING, "data", "", 1) == 0 &&
        ubus_invoke_fd(bus, file_object, "write", message.head, nullptr, nullptr, bus_timeout_ms, -1) == 0;
    if (!done) log__string(LOG__ERROR, "[create_file_with_ubus] Failed to invoke UBUS call\n");
    blob_buf_free(&message);
    return done;
}
} // namespace

int32_t create_file_with_ubus(const char *path)
{
    struct ubus_context *bus = ubus_connect(nullptr);
    if (!bus) {
        log__string(LOG__ERROR, "[create_file_with_ubus] Failed to connect to UBUS\n");
        return -1;
    }
    uint32_t file_object = 0;
    bool done = false;
    if (ubus_lookup_id(bus, "file", &file_object) == 0) done = invoke_file_write(bus, file_object, path);
    else log__string(LOG__ERROR, "[create_file_with_ubus] Failed to look up UBUS object\n");
    ubus_free(bus);
    return done ? 0 : -1;
}

uint32_t LPA__set_reload_disabled(uint8_t disabled)
{
    reload_disabled = disabled;
    return RESULT__OK;
}

uint8_t LPA__get_reload_disabled(void) { return reload_disabled; }

namespace {
enum at_result : uint8_t { at_expected, at_unexpected, at_not_sent };

// The modem without APDUs: no error detection and no repetition, the caller's loop does that.
at_result exchange_at_command(ModemHandle *handle, const char *command, const char *expected)
{
    char at_command[32];
    snprintf(at_command, sizeof at_command, "%s\r\n", command);
    log__string(LOG__DEBUG, "[send_AT_command] at_command [%s]", at_command);
    char *response = nullptr;
    if (const int rc = lgsm_exec(&handle->ubus, at_command, &response, handle->modem_number, at_timeout); rc != 0) {
        log__string(LOG__ERROR, "[send_AT_command] write_serial_port failed, rc %d", rc);
        log__string(LOG__ERROR, "[process_AT_command] send_AT_command %s failed, rc %d", command, 1);
        return at_not_sent;
    }
    const char *text = response ? response : "";
    log__string(LOG__DEBUG, "[send_AT_command] gsm_response [%s]", text);
    const bool found = strstr(text, expected) != nullptr;
    if (!found) log__string(LOG__ERROR, "[process_AT_command] %s not found in AT response", expected);
    free(response); // the modem library's own allocation
    return found ? at_expected : at_unexpected;
}

// Asks until the answer holds what is expected.
uint32_t repeat_at_command(ModemHandle *handle, const char *command, const char *expected, const char *timeout_text)
{
    for (int attempt = 0; attempt < reload_tries; ++attempt) {
        const at_result rc = exchange_at_command(handle, command, expected);
        if (rc == at_expected) return RESULT__OK;
        if (rc == at_not_sent) {
            log__string(LOG__ERROR, "[reload_modem] send_AT_command attempt %d failed, rc %d", attempt, rc);
            return RESULT__FATAL_ERROR;
        }
        timer__sleep(1);
    }
    log__string(LOG__ERROR, "%s", timeout_text);
    return RESULT__FATAL_ERROR;
}

uint32_t restart_radio(ModemHandle *handle)
{
    constexpr const char *radio_off = "AT+CFUN=0";
    if (const at_result rc = exchange_at_command(handle, radio_off, "OK"); rc != at_expected) {
        log__string(LOG__ERROR, "[reload_modem] process_AT_command %s failed, rc %d", radio_off, rc);
        return RESULT__FATAL_ERROR;
    }
    timer__sleep(1);
    const uint32_t rc = repeat_at_command(handle, "AT+CFUN=1", "OK", "[reload_modem] waiting for CFUN=1 timeout");
    if (rc != RESULT__OK) return rc;
    return repeat_at_command(handle, "AT+cpin?", "READY", "[reload_modem] waiting for PIN ready timeout");
}
} // namespace

uint32_t reload_modem(const char *name, uint8_t force)
{
    if (reload_disabled && !force) {
        log__string(LOG__WARN, "[reload_modem] reload disabled, skipping");
        return RESULT__OK;
    }
    ModemHandle *handle = open_modem(name);
    log__string(LOG__INFO, "[reload_modem] %s", name ? name : "(null)");
    if (!handle) {
        log__string(LOG__ERROR, "[reload_modem] open_modem %s failed", name ? name : "(null)");
        return RESULT__FATAL_ERROR;
    }
    const uint32_t rc = restart_radio(handle);
    close_modem(handle);
    return rc;
}
