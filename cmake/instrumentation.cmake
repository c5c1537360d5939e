# Sanitizers and coverage concern every target of a build tree, so they are set for the whole tree.
option(LPA_SANITIZE "AddressSanitizer and UndefinedBehaviorSanitizer" OFF)
option(LPA_COVERAGE "Line coverage for gcovr" OFF)

if(LPA_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
if(LPA_COVERAGE)
  add_compile_options(--coverage -fprofile-abs-path)
  add_link_options(--coverage)
endif()
