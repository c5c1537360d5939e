#include "platform/modem/terminal.h"
#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
struct holder {
    int process; // 0: not found
    char name[64];
};

bool links_to(const char *link, const char *target)
{
    char found[PATH_MAX];
    const ssize_t length = readlink(link, found, sizeof found - 1);
    if (length < 0) return false;
    found[length] = 0;
    return strcmp(found, target) == 0;
}

bool process_has_open(const char *process, const char *path)
{
    char directory[64];
    snprintf(directory, sizeof directory, "/proc/%.20s/fd", process);
    DIR *entries = opendir(directory);
    if (!entries) return false; // another user's process, or gone
    bool found = false;
    while (const dirent *entry = found ? nullptr : readdir(entries)) {
        char link[128];
        snprintf(link, sizeof link, "%s/%.20s", directory, entry->d_name);
        found = links_to(link, path);
    }
    closedir(entries);
    return found;
}

void read_process_name(const char *process, char *name, int size)
{
    char path[64];
    snprintf(path, sizeof path, "/proc/%.20s/comm", process);
    FILE *file = fopen(path, "re");
    if (!file) return;
    if (fgets(name, size, file)) name[strcspn(name, "\n")] = 0;
    fclose(file);
}

// Another process that has the terminal open, as far as we are allowed to see.
holder find_holder(const char *path)
{
    holder result = {0, "?"};
    char target[PATH_MAX];
    DIR *processes = realpath(path, target) ? opendir("/proc") : nullptr;
    if (!processes) return result;
    while (const dirent *entry = result.process ? nullptr : readdir(processes)) {
        const long process = strtol(entry->d_name, nullptr, 10);
        if (process <= 0 || process == getpid() || !process_has_open(entry->d_name, target)) continue;
        result.process = static_cast<int>(process);
        read_process_name(entry->d_name, result.name, sizeof result.name);
    }
    closedir(processes);
    return result;
}

terminal_result refuse_busy(const char *path)
{
    const holder found = find_holder(path);
    if (found.process > 0)
        fprintf(stderr,
                "lgsm: %s is held by another program: process %d (%s). Stop it or make it leave this port alone.\n",
                path, found.process, found.name);
    else
        fprintf(
            stderr,
            "lgsm: %s is held by another program, perhaps a modem manager or a terminal program. Stop it or make it leave this port alone.\n",
            path);
    return TERMINAL_REFUSED;
}

terminal_result refuse(const char *path, const char *problem)
{
    fprintf(stderr, "lgsm: cannot use %s: %s\n", path, problem);
    return TERMINAL_REFUSED;
}

// A USB port that is being taken away answers with any of these.
bool is_absent(int error) { return error == ENOENT || error == ENODEV || error == ENXIO || error == EIO; }

terminal_result refuse_or_wait(const char *path)
{
    if (is_absent(errno)) return TERMINAL_ABSENT;
    return errno == EBUSY ? refuse_busy(path) : refuse(path, strerror(errno));
}

bool make_raw(int descriptor, speed_t speed)
{
    termios settings = {};
    // Character devices that are no terminals (a WWAN port on older kernels) are raw by nature.
    if (tcgetattr(descriptor, &settings) != 0) return errno == ENOTTY || errno == EINVAL;
    cfmakeraw(&settings);
    settings.c_cflag |= CLOCAL | CREAD;
    settings.c_cflag &= ~static_cast<tcflag_t>(HUPCL | CSTOPB | CRTSCTS); // no hang-up of the modem when we close
    settings.c_cc[VMIN] = 1;
    settings.c_cc[VTIME] = 0;
    cfsetispeed(&settings, speed);
    cfsetospeed(&settings, speed);
    return tcsetattr(descriptor, TCSANOW, &settings) == 0;
}

// What an earlier command or the modem itself left behind would be taken for the answer.
void drop_stale_input(int descriptor)
{
    tcflush(descriptor, TCIOFLUSH);
    char dropped[256];
    for (int i = 0; i < 256; ++i) // a modem that never stops talking meets the command's time limit instead
        if (read(descriptor, dropped, sizeof dropped) <= 0) break;
}

terminal_result set_up(const char *path, speed_t speed, int descriptor)
{
    struct stat status = {};
    if (fstat(descriptor, &status) != 0 || !S_ISCHR(status.st_mode)) return refuse(path, "it is no terminal");
    // TIOCEXCL keeps later openers out unless they are privileged; the lock keeps out those who ask for it.
    if (flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) return refuse_busy(path);
    ioctl(descriptor, TIOCEXCL);
    if (!make_raw(descriptor, speed)) return refuse_or_wait(path);
    drop_stale_input(descriptor);
    return TERMINAL_OK;
}
} // namespace

terminal_result terminal__open(const char *path, speed_t speed, int *descriptor)
{
    const int opened = open(path, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (opened < 0) return refuse_or_wait(path);
    const terminal_result rc = set_up(path, speed, opened);
    if (rc == TERMINAL_OK) *descriptor = opened;
    else close(opened);
    return rc;
}

void terminal__close(int descriptor)
{
    tcflush(descriptor, TCOFLUSH); // a modem that does not take its command would keep close waiting
    ioctl(descriptor, TIOCNXCL);   // a pseudo-terminal remembers it beyond the last close
    close(descriptor);
}
