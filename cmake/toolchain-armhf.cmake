# For routers with a 32-bit ARM processor: cmake --toolchain cmake/toolchain-armhf.cmake
# Another vendor's compiler: -DLPA_TARGET=arm-openwrt-linux-muslgnueabi. The router's headers and libraries, unless the
# compiler finds them by itself: -DCMAKE_SYSROOT=DIR, or -DCMAKE_FIND_ROOT_PATH=DIR for those beside the C library.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(LPA_TARGET arm-linux-gnueabihf CACHE STRING "Prefix of the cross tools")
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES LPA_TARGET)
set(CMAKE_C_COMPILER ${LPA_TARGET}-gcc)
set(CMAKE_CXX_COMPILER ${LPA_TARGET}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${LPA_TARGET}) # which CMake does not find out for a sysroot with a space in its path

# Programs are the build machine's; so are the packages of header-only libraries, which belong to no machine.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
if(CMAKE_SYSROOT OR CMAKE_FIND_ROOT_PATH)
  set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
  set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
endif()
# It would name the build machine's libcurl.
set(CMAKE_DISABLE_FIND_PACKAGE_PkgConfig ON)
# No notes about what GCC 7 changed in the calling convention.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
