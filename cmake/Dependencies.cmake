# SPDX-License-Identifier: LGPL-2.1-or-later
find_package(PkgConfig REQUIRED)
pkg_check_modules(GIO REQUIRED IMPORTED_TARGET gio-2.0>=2.66 gio-unix-2.0)
pkg_check_modules(XML2 REQUIRED IMPORTED_TARGET libxml-2.0>=2.9)
pkg_check_modules(CRYPTO REQUIRED IMPORTED_TARGET libcrypto>=1.1)
pkg_check_modules(KMOD REQUIRED IMPORTED_TARGET libkmod)
pkg_check_modules(SQLITE REQUIRED IMPORTED_TARGET sqlite3)

# The bounded copy: libboundscheck where it is installed, else libsafec, which offers the same calls. The
# folder chosen here holds the one header that differs between them.
add_library(tresk_secure_copy INTERFACE)
find_library(BOUNDSCHECK_LIBRARY boundscheck)
find_path(BOUNDSCHECK_INCLUDE_DIR securec.h)
if(BOUNDSCHECK_LIBRARY AND BOUNDSCHECK_INCLUDE_DIR)
  target_include_directories(tresk_secure_copy INTERFACE
    "${PROJECT_SOURCE_DIR}/common/platform/boundscheck")
  target_include_directories(tresk_secure_copy SYSTEM INTERFACE "${BOUNDSCHECK_INCLUDE_DIR}")
  target_link_libraries(tresk_secure_copy INTERFACE "${BOUNDSCHECK_LIBRARY}")
else()
  pkg_check_modules(SAFEC REQUIRED IMPORTED_TARGET libsafec)
  target_include_directories(tresk_secure_copy INTERFACE "${PROJECT_SOURCE_DIR}/common/platform/safec")
  target_link_libraries(tresk_secure_copy INTERFACE PkgConfig::SAFEC)
endif()
