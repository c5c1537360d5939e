/* lmnfinfo.h: the manufacturing-information library's profile entries.
 *
 * On a router this is the system's library; elsewhere platform/factory reads a small JSON file.
 * The texts belong to the library and live as long as the process. */
#pragma once
#ifdef __cplusplus
extern "C" {
#endif

/* ICCID of the manufacturing profile number index (0..5), or null when there is none. */
const char *lmnfinfo_get_profile(int index);

/* ICCID of the bootstrap profile, or null when none is set. */
const char *lmnfinfo_get_boot_profile(void);

#ifdef __cplusplus
}
#endif
