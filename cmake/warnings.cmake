# Warnings are errors everywhere; the library also converts no number silently.
add_library(lpa_warnings INTERFACE)
target_compile_options(lpa_warnings INTERFACE -Wall -Wextra -Werror -Wformat=2 -Wno-format-nonliteral
  $<$<CXX_COMPILER_ID:GNU>:-Wcast-align=strict>)
add_library(lpa_strict_warnings INTERFACE)
target_link_libraries(lpa_strict_warnings INTERFACE lpa_warnings)
target_compile_options(lpa_strict_warnings INTERFACE -Wconversion -Wshadow)
# GCC's -Wconversion leaves the sign alone in C++.
target_compile_options(lpa_strict_warnings INTERFACE $<$<CXX_COMPILER_ID:Clang>:-Wno-sign-conversion>)
