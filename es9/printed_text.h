// es9/printed_text.h: a heap text of exactly the size that a format needs. Internal to es9/.
#pragma once
#include <stdint.h>

struct print_messages { // level 1
    const char *bad_length;
    const char *no_memory;
    const char *not_printed;
};

// Measures, allocates and prints. *text: released with M_free; untouched on failure. Returns 0, 1 or 9.
__attribute__((format(printf, 3, 4))) uint32_t printed_text__print(char **text, const print_messages &messages,
                                                                   const char *format, ...);
