/* A host program in C11: needs lpa/lpa.h and nothing else of ours. */
#include "lpa/lpa.h"
#include <stdio.h>
#include <string.h>

int main(void)
{
    char *json = NULL;
    const uint32_t code = json_generator__process_error(6, &json);
    const int right = code == 0 && json && strcmp(json, "{\"result\":6,\"description\":\"eSIM error\"}") == 0;
    printf("%s\n", json ? json : "no document");
    M_free(json);
    return right ? 0 : 1;
}
