#include "platform/factory/lmnfinfo.h"

const char *lmnfinfo_get_profile(int index) { return 0; }
const char *lmnfinfo_get_boot_profile(void) { return 0; }
