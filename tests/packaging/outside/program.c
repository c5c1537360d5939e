/* A management program in C: the public operations that need no modem. */
#include <lpa/lpa.h>
#include <stdio.h>
#include <string.h>

int main(void)
{
    char *json = NULL;
    if (json_generator__process_error(10, &json) != 0) return 1;
    puts(json);
    const int right = strcmp(json, "{\"result\":10,\"description\":\"eSIM busy\"}") == 0;
    M_free(json);
    return right && LPA__set_reload_disabled(1) == 0 && LPA__get_reload_disabled() == 1 ? 0 : 1;
}
