#pragma GCC visibility push(default)
#include "platform/factory/lmnfinfo.h"
#pragma GCC visibility pop
#include "platform/config/json_file.h"
#include <errno.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

namespace {
constexpr const char *default_path = "/etc/lpa/factory.json";
constexpr uint32_t profile_count = 6;

// A text that was handed out stays for the life of the process, even when the file changes. Each one is kept once, so
// that a caller who asks for ever costs nothing.
struct kept_text {
    char *text;
    kept_text *next;
};

// What the file says, as of its last reading.
struct factory_data {
    const char *profiles[profile_count];
    const char *boot_profile;
};

pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
kept_text *kept_texts = nullptr;
factory_data data = {};
bool data_was_read = false;

const char *keep_text(json_value value)
{
    char *text = json_file__copy_text(value);
    if (!text) return nullptr;
    for (const kept_text *kept = kept_texts; kept; kept = kept->next)
        if (strcmp(kept->text, text) == 0) {
            free(text);
            return kept->text;
        }
    auto *added = static_cast<kept_text *>(malloc(sizeof(kept_text)));
    if (!added) {
        free(text);
        return nullptr;
    }
    *added = {text, kept_texts};
    kept_texts = added;
    return text;
}

// No file is the same as an empty one: no profile is protected. A damaged one protects nothing either, so it is told.
void read_data()
{
    const char *configured = getenv("LPA_FACTORY");
    const char *path = configured && *configured ? configured : default_path;
    json_file file;
    const char *problem = nullptr;
    const json_value root = json_file__read(&file, path, &problem);
    if (!root.begin && errno != ENOENT) fprintf(stderr, "lmnfinfo: cannot use %s: %s\n", path, problem);
    const json_value profiles = json_file__member(root, "profiles");
    for (uint32_t i = 0; i < profile_count; ++i)
        data.profiles[i] = keep_text(json_file__element(profiles, i));
    data.boot_profile = keep_text(json_file__member(root, "boot_profile"));
    data_was_read = true;
}

factory_data current_data(bool read_again)
{
    pthread_mutex_lock(&mutex);
    if (read_again || !data_was_read) read_data();
    const factory_data result = data;
    pthread_mutex_unlock(&mutex);
    return result;
}
} // namespace

const char *lmnfinfo_get_profile(int index)
{
    if (index < 0 || static_cast<uint32_t>(index) >= profile_count) return nullptr;
    // Callers walk through the profiles from 0 on: what they see comes from one reading.
    return current_data(index == 0).profiles[index];
}

const char *lmnfinfo_get_boot_profile(void) { return current_data(true).boot_profile; }
