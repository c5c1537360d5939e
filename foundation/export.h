/* foundation/export.h: what liblpa.so exports.
 *
 * Everything between LPA_API_BEGIN and LPA_API_END has C linkage and is visible outside the library; all else is
 * hidden (-fvisibility=hidden). */
#pragma once
/* clang-format takes the brace for the beginning of a block. */
/* clang-format off */
#ifdef __cplusplus
#define LPA_API_BEGIN _Pragma("GCC visibility push(default)") extern "C" {
#define LPA_API_END } _Pragma("GCC visibility pop")
#else
#define LPA_API_BEGIN _Pragma("GCC visibility push(default)")
#define LPA_API_END _Pragma("GCC visibility pop")
#endif
/* clang-format on */
