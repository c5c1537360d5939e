// cli/messages.h: what people need to know beside a result code's description.
#pragma once
#include <cstdint>

struct message {
    uint32_t code;
    const char *what; // null: the library's description says it
    const char *why;
    const char *next; // what to do
};

// For a code that no row has, the one that points to the log.
const message &message_for(uint32_t code);
