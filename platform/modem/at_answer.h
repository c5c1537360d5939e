/* platform/modem/at_answer.h: puts together a modem's answer from the bytes of the terminal. Internal to this folder.
 *
 * Bytes come in any pieces; lines end with CR LF, CR CR LF or one of them alone. The answer is complete with a final
 * result code (V.250, TS 27.007 and 27.005) alone on its line. */
#pragma once
#include <stddef.h>
#include <stdint.h>

struct at_answer {
    char *text = nullptr; /* malloc; zero-terminated once complete */
    uint32_t length = 0;
    uint32_t capacity = 0;
    uint32_t line_start = 0; /* of the line being received */
    const char *echo;        /* the command as the modem repeats it, not terminated */
    size_t echo_length;      /* 0 once the echo was taken out */
    bool complete = false;

    /* command lives longer than this. */
    explicit at_answer(const char *command);
    at_answer(const at_answer &) = delete;
    at_answer &operator=(const at_answer &) = delete;
    ~at_answer();
};

/* An answer to one command; beyond it the modem talks nonsense. */
constexpr uint32_t at_answer_max_bytes = 64 * 1024;

/* Takes the next bytes; those behind the final result code are left out. False: memory ran out or the limit is
 * reached. */
bool at_answer__take(at_answer *answer, const char *bytes, size_t count);

/* A complete answer's text, the echo taken out; the caller frees it. "+CSIM:" lines are in the form of TS 27.007
 * even if the modem wrote them without quotes or blank or in lower case: +CSIM: 4,"9000". Null when memory runs out. */
char *at_answer__hand_over(at_answer *answer);
