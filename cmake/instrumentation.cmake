# Sanitizers and coverage concern every target of a build tree, so they are set for the whole tree.
set(LPA_SANITIZE "" CACHE STRING "Sanitizers: address,undefined")
option(LPA_FUZZ "Build the fuzz targets (clang)" OFF)
option(LPA_COVERAGE "Line coverage for gcovr" OFF)

if(LPA_SANITIZE)
  add_compile_options(-fsanitize=${LPA_SANITIZE} -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${LPA_SANITIZE})
  if(CMAKE_SYSTEM_PROCESSOR STREQUAL arm)
    add_compile_options(-marm) # GCC takes the lowest bit of a Thumb function's address for misalignment
  endif()
endif()
if(LPA_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(LPA_COVERAGE)
  add_compile_options(--coverage -fprofile-abs-path)
  add_link_options(--coverage)
endif()
