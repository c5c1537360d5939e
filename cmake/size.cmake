# For what a router's flash holds. With the build type MinSizeRel (-Os) this is the smallest build.
add_library(lpa_small INTERFACE)
# What nothing refers to is left out.
target_compile_options(lpa_small INTERFACE -ffunction-sections -fdata-sections)
target_link_options(lpa_small INTERFACE -Wl,--gc-sections)
