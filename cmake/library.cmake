# liblpa.so: built once as objects, linked as the shared library and, for the unit tests, as an archive in which the
# outside world (modem, HTTPS, bus, clock) can be replaced.
file(GLOB lpa_sources CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/foundation/*.cpp ${PROJECT_SOURCE_DIR}/tlv/*.cpp ${PROJECT_SOURCE_DIR}/euicc/*.cpp
  ${PROJECT_SOURCE_DIR}/es10/*.cpp ${PROJECT_SOURCE_DIR}/es9/*.cpp ${PROJECT_SOURCE_DIR}/rsp/*.cpp
  ${PROJECT_SOURCE_DIR}/lpa/*.cpp)

# The wall clock after January 2038 on 32-bit machines. Here only: the bus's headers hold times whose size is libubus's.
set_source_files_properties(${PROJECT_SOURCE_DIR}/foundation/log.cpp ${PROJECT_SOURCE_DIR}/foundation/timer.cpp
  PROPERTIES COMPILE_DEFINITIONS _TIME_BITS=64)

add_library(lpa_objects OBJECT ${lpa_sources})
set_target_properties(lpa_objects PROPERTIES
  POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
# The library may not need libstdc++ at run time: no exceptions, no RTTI, no guarded function statics.
target_compile_options(lpa_objects PRIVATE -fno-exceptions -fno-rtti -fno-threadsafe-statics)
# Tables for unwinding are a tenth of the smallest build; they serve debuggers only.
target_compile_options(lpa_objects PRIVATE
  $<$<CONFIG:MinSizeRel>:-fno-unwind-tables -fno-asynchronous-unwind-tables>)
target_link_libraries(lpa_objects PRIVATE lpa_strict_warnings lpa_small PUBLIC lpa_platform_interface CURL::libcurl)

add_library(lpa SHARED $<TARGET_OBJECTS:lpa_objects>)
# Linked as C, so that a call into libstdc++ is an undefined symbol and fails the build.
set_target_properties(lpa PROPERTIES
  VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} LINKER_LANGUAGE C)
if(NOT LPA_SANITIZE) # the sanitizers' run-time is only present in the program
  target_link_options(lpa PRIVATE -Wl,-z,defs)
endif()
target_link_libraries(lpa PRIVATE lpa_small lpa_platform CURL::libcurl Threads::Threads)
target_include_directories(lpa INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
# It was linked with everything it needs, which a cross linker would not find again.
target_link_options(lpa INTERFACE $<BUILD_INTERFACE:-Wl,--allow-shlib-undefined>)

add_library(lpa_archive STATIC EXCLUDE_FROM_ALL $<TARGET_OBJECTS:lpa_objects>)
target_link_libraries(lpa_archive PUBLIC lpa_platform_interface CURL::libcurl Threads::Threads)
