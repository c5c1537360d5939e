# For routers with a 32-bit ARM processor: cmake --toolchain cmake/toolchain-armhf.cmake
# Another vendor's compiler: -DLPA_TARGET=arm-openwrt-linux-muslgnueabi; the router's file tree: -DCMAKE_SYSROOT=DIR.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(LPA_TARGET arm-linux-gnueabihf CACHE STRING "Prefix of the cross tools")
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES LPA_TARGET)
set(CMAKE_C_COMPILER ${LPA_TARGET}-gcc)
set(CMAKE_CXX_COMPILER ${LPA_TARGET}-g++)

# Headers and libraries are the router's; programs and the packages of header-only libraries the build machine's.
if(CMAKE_SYSROOT)
  set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
  set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
  set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
endif()
# pkg-config must not name the build machine's libcurl.
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${CMAKE_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR} "${CMAKE_SYSROOT}/usr/lib/${LPA_TARGET}/pkgconfig:${CMAKE_SYSROOT}/usr/lib/pkgconfig")
