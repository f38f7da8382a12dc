# SPDX-License-Identifier: LGPL-2.1-or-later
# The objects once, for the library and for the tests, which reach its inner functions through them.
add_library(tresk_extend SHARED)
add_library(tresk::extend ALIAS tresk_extend)
set(symbol_map "${PROJECT_SOURCE_DIR}/include/tresk_extend.map")
target_link_libraries(tresk_extend PRIVATE tresk_extend_objects tresk::framework)
target_link_options(tresk_extend PRIVATE "-Wl,--version-script=${symbol_map}")
target_include_directories(tresk_extend INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
# The stored description of the library is compared by its debugging information, so that has to know every
# function's arguments: full in any debug build, and no two exported functions made one.
target_compile_options(tresk_extend_objects PRIVATE
  $<$<CONFIG:Debug>:-g> $<$<CXX_COMPILER_ID:GNU>:-fno-ipa-icf>)
set_target_properties(tresk_extend PROPERTIES
  VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} LINK_DEPENDS "${symbol_map}"
  PUBLIC_HEADER "${PROJECT_SOURCE_DIR}/include/tresk_extend.h" EXPORT_NAME extend)
install(TARGETS tresk_extend EXPORT tresk_extend
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT library NAMELINK_COMPONENT development
  PUBLIC_HEADER DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT development)

# A linker wants to see the libraries that a library needs. The stand-ins are where it does not look by itself,
# and nothing but linking ever looks there because of this.
set(TRESK_LINK_OPTION "")
if(TRESK_FRAMEWORK_IS_STANDIN)
  set(TRESK_LINK_OPTION " -Wl,-rpath-link,\${libdir}/tresk-standin")
endif()

# Folders below the prefix are written as such, and the prefix when it is known: cmake --install may name another.
foreach(name LIBDIR INCLUDEDIR)
  set(TRESK_PC_${name} "${CMAKE_INSTALL_${name}}")
  if(NOT IS_ABSOLUTE "${TRESK_PC_${name}}")
    set(TRESK_PC_${name} "\${prefix}/${TRESK_PC_${name}}")
  endif()
endforeach()
set(TRESK_PC_PREFIX "@CMAKE_INSTALL_PREFIX@")
set(module "${CMAKE_CURRENT_BINARY_DIR}/tresk_extend.pc")
configure_file("${CMAKE_CURRENT_LIST_DIR}/tresk_extend.pc.in" "${module}.in" @ONLY)
install(CODE "configure_file(\"${module}.in\" \"${module}\" @ONLY)" COMPONENT development)
install(FILES "${module}" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT development)

include(CMakePackageConfigHelpers)
set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/tresk_extend")
configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/tresk_extend-config.cmake.in"
  "${CMAKE_CURRENT_BINARY_DIR}/tresk_extend-config.cmake"
  INSTALL_DESTINATION "${package_dir}" PATH_VARS CMAKE_INSTALL_LIBDIR NO_SET_AND_CHECK_MACRO)
# What a program relies on changes with the library's SONAME alone, which is the major version.
write_basic_package_version_file("${CMAKE_CURRENT_BINARY_DIR}/tresk_extend-config-version.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/tresk_extend-config.cmake"
    "${CMAKE_CURRENT_BINARY_DIR}/tresk_extend-config-version.cmake"
  DESTINATION "${package_dir}" COMPONENT development)
install(EXPORT tresk_extend NAMESPACE tresk:: FILE tresk_extend-targets.cmake DESTINATION "${package_dir}"
  COMPONENT development)
