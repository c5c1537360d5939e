# `cpack -G DEB` in the build directory: one Debian package for each component of the installation.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME lpa)
set(CPACK_PACKAGE_CONTACT "LPA developers <lpa@localhost>" CACHE STRING "Maintainer of the packages")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL library development)
if(LPA_PROGRAM)
  list(APPEND CPACK_COMPONENTS_ALL program)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
# Libraries without a package that is installed: our own and the router's.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR} ${PROJECT_BINARY_DIR}/platform/bus
  ${PROJECT_BINARY_DIR}/platform/modem ${PROJECT_BINARY_DIR}/platform/factory)
foreach(library UBUS UBOX LGSM LMNFINFO)
  if(${library}_LIBRARY)
    cmake_path(GET ${library}_LIBRARY PARENT_PATH folder)
    list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${folder})
  endif()
endforeach()

set(same_version "(= ${PROJECT_VERSION})")
set(library_package liblpa${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${library_package})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "Shared library: downloads operator profiles from an SM-DP+ over HTTPS,
installs them on the eUICC behind a cellular modem and manages them there
(GSMA SGP.22 v2.2).")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME liblpa-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${library_package} ${same_version}, libcurl4-openssl-dev | libcurl-dev")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Headers for C and C++, pkg-config file and CMake package of the library.")

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME lpa)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_DEPENDS "${library_package} ${same_version}")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SUGGESTS zbar-tools) # reads QR codes
set(CPACK_COMPONENT_PROGRAM_DESCRIPTION "Command line: downloads, lists, enables, disables, deletes and renames profiles.")

if(LPA_PLATFORM STREQUAL desk)
  list(APPEND CPACK_COMPONENTS_ALL desk)
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "lpa-desk ${same_version}")
  set(CPACK_DEBIAN_DESK_PACKAGE_NAME lpa-desk)
  set(CPACK_DEBIAN_DESK_PACKAGE_SECTION libs)
  set(CPACK_COMPONENT_DESK_DESCRIPTION "Modem, manufacturing-information and bus libraries for machines that are no router.")
endif()
include(CPack)
