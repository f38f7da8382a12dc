# SPDX-License-Identifier: LGPL-2.1-or-later
# What every target of ours is compiled with.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 99)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# Without a word on it, what is built is what would be packaged.
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Debug, Release, RelWithDebInfo, ..." FORCE)
endif()

# (clang links a sanitizer's runtime into programs alone, so its names stay open in shared libraries.)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" OR (CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND NOT TRESK_SANITIZE))
  add_link_options(-Wl,-z,defs)
endif()

include(Hardening)

# The same flag for all: some dependencies bring it, and precompiled headers want all alike.
find_package(Threads REQUIRED)

add_library(tresk_options INTERFACE)
target_compile_options(tresk_options INTERFACE -pthread)
target_link_libraries(tresk_options INTERFACE Threads::Threads)
target_compile_options(tresk_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wcast-qual -Wformat=2
  -Wno-format-nonliteral -Wundef
  $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual>
  $<$<BOOL:${TRESK_WARNINGS_AS_ERRORS}>:-Werror>)
# g++ 12, where it optimises, takes a short std::string that is copied for a larger one.
target_compile_options(tresk_options INTERFACE
  $<$<AND:$<BOOL:$<TARGET_PROPERTY:TRESK_IS_TEST>>,$<CXX_COMPILER_ID:GNU>,$<NOT:$<CONFIG:Debug>>>:-Wno-array-bounds>)
target_include_directories(tresk_options INTERFACE "${PROJECT_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}/include")

# Stand-ins that other programs preload cannot carry a sanitizer's runtime; all else links this target.
add_library(tresk_sanitize INTERFACE)
if(TRESK_SANITIZE)
  target_compile_options(tresk_sanitize INTERFACE
    -fsanitize=${TRESK_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
    $<$<BOOL:$<TARGET_PROPERTY:TRESK_IS_TEST>>:-fno-sanitize=undefined>)
  target_link_options(tresk_sanitize INTERFACE -fsanitize=${TRESK_SANITIZE})
  target_compile_definitions(tresk_sanitize INTERFACE TRESK_SANITIZED)
endif()
