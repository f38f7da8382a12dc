# SPDX-License-Identifier: LGPL-2.1-or-later
# What makes an error in any file of ours harder to exploit. tests/abi/check_hardening.py reads it from the
# linked files. Set for the whole tree, so that a single target's own options still come after it.
include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
include(CheckPIESupported)

# Programs are linked as what CMAKE_POSITION_INDEPENDENT_CODE compiled them for.
check_pie_supported()

add_link_options(-Wl,-z,relro -Wl,-z,now)
add_compile_options(-fstack-protector-strong)
foreach(flag -fstack-clash-protection -fcf-protection)
  string(MAKE_C_IDENTIFIER "TRESK_HAVE${flag}" available)
  # (A flag that this machine knows and this processor does not is an error only when something is compiled.)
  check_cxx_compiler_flag("${flag}" ${available})
  if(${available})
    add_compile_options("${flag}")
  endif()
endforeach()

# Bounds in the C library's calls need an optimiser, and get in a sanitizer's way. The C library says with a
# warning which level it cannot do.
if(NOT TRESK_SANITIZE)
  set(CMAKE_REQUIRED_FLAGS "-O2 -Werror -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
  check_cxx_source_compiles("#include <cstring>\nint main() {}" TRESK_HAVE_FORTIFY_SOURCE_3)
  unset(CMAKE_REQUIRED_FLAGS)
  set(TRESK_FORTIFY_SOURCE 2)
  if(TRESK_HAVE_FORTIFY_SOURCE_3)
    set(TRESK_FORTIFY_SOURCE 3)
  endif()
  set(optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel,None>)
  add_compile_options(
    $<${optimised}:-U_FORTIFY_SOURCE> $<${optimised}:-D_FORTIFY_SOURCE=${TRESK_FORTIFY_SOURCE}>)
endif()
