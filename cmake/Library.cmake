# SPDX-License-Identifier: LGPL-2.1-or-later
# The objects once, for the library and for the tests, which reach its inner functions through them.
add_library(tresk_extend SHARED)
add_library(tresk::extend ALIAS tresk_extend)
set(symbol_map "${PROJECT_SOURCE_DIR}/include/tresk_extend.map")
target_link_libraries(tresk_extend PRIVATE tresk_extend_objects tresk::framework)
target_link_options(tresk_extend PRIVATE "-Wl,--version-script=${symbol_map}")
target_include_directories(tresk_extend INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
set_target_properties(tresk_extend PROPERTIES
  VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} LINK_DEPENDS "${symbol_map}"
  PUBLIC_HEADER "${PROJECT_SOURCE_DIR}/include/tresk_extend.h")
install(TARGETS tresk_extend
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT library NAMELINK_COMPONENT development
  PUBLIC_HEADER DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT development)
