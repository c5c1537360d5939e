# For tests of what was built for another machine.
set(LPA_EMULATOR "" CACHE STRING "Command that runs the target machine's programs on this one")
if(LPA_EMULATOR)
  foreach(language C CXX)
    list(APPEND CMAKE_${language}_LINK_EXECUTABLE "\"${PROJECT_SOURCE_DIR}/cmake/emulated\" <TARGET> ${LPA_EMULATOR}")
  endforeach()
endif()
