# SPDX-License-Identifier: LGPL-2.1-or-later
# Kernel module protection, with module files made here: what counts in one is its ".modinfo" section, which
# the compiler writes as well as a kernel's build does.
find_program(XZ_TOOL xz REQUIRED)
find_program(ZSTD_TOOL zstd REQUIRED)
set(kmod_files_dir "${CMAKE_CURRENT_BINARY_DIR}/module_files")
file(MAKE_DIRECTORY "${kmod_files_dir}")
set(kmod_files "")

# tresk_add_module_file(file section entries): entries is the content of a C string.
function(tresk_add_module_file file section entries)
  file(CONFIGURE OUTPUT module_files/${file}.c @ONLY CONTENT [[
/* Made by tests/unit/kmod.cmake. */
__attribute__((section("@section@"), used, aligned(1))) static const char information[] = "@entries@";
]])
  add_library(kmod_file_${file} OBJECT "${CMAKE_CURRENT_BINARY_DIR}/module_files/${file}.c")
  add_custom_command(OUTPUT "${kmod_files_dir}/${file}.ko"
    COMMAND "${CMAKE_COMMAND}" -E copy $<TARGET_OBJECTS:kmod_file_${file}> "${kmod_files_dir}/${file}.ko"
    DEPENDS kmod_file_${file} $<TARGET_OBJECTS:kmod_file_${file}> VERBATIM)
  set(kmod_files ${kmod_files} "${kmod_files_dir}/${file}.ko" PARENT_SCOPE)
endfunction()

string(REPEAT "n" 1023 name_of_1023)
string(REPEAT "n" 1024 name_of_1024)
string(REPEAT "n" 100000 name_of_100000)
tresk_add_module_file(file-name .modinfo "license=GPL\\0name=real_name\\0vermagic=6.1.0 SMP")
tresk_add_module_file(one_letter .modinfo "name=x")
tresk_add_module_file(two_names .modinfo "name=first\\0name=second")
tresk_add_module_file(similar_keys .modinfo "rename=no\\0name2=no\\0Name=no\\0names=no")
tresk_add_module_file(empty_name .modinfo "name=\\0license=GPL")
tresk_add_module_file(no_name .modinfo "license=GPL\\0author=someone")
tresk_add_module_file(no_information .other "name=elsewhere")
tresk_add_module_file(format_name .modinfo "name=%s%n")
tresk_add_module_file(name_of_1023 .modinfo "name=${name_of_1023}")
tresk_add_module_file(name_of_1024 .modinfo "name=${name_of_1024}")
tresk_add_module_file(name_of_100000 .modinfo "name=${name_of_100000}")

add_custom_command(OUTPUT "${kmod_files_dir}/packed.ko.xz"
  COMMAND "${XZ_TOOL}" --stdout "${kmod_files_dir}/file-name.ko" > "${kmod_files_dir}/packed.ko.xz"
  DEPENDS "${kmod_files_dir}/file-name.ko" VERBATIM)
add_custom_command(OUTPUT "${kmod_files_dir}/packed.ko.zst"
  COMMAND "${ZSTD_TOOL}" --quiet --force "${kmod_files_dir}/file-name.ko" -o "${kmod_files_dir}/packed.ko.zst"
  DEPENDS "${kmod_files_dir}/file-name.ko" VERBATIM)
add_custom_target(kmod_files ALL
  DEPENDS ${kmod_files} "${kmod_files_dir}/packed.ko.xz" "${kmod_files_dir}/packed.ko.zst")

function(tresk_add_kmod_tests name)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBRARIES" ${ARGN})
  tresk_add_tests(NAME ${name} SOURCES ${arg_SOURCES}
    LIBRARIES tresk_extend_objects framework_double ${arg_LIBRARIES} test_support)
  add_dependencies(${name} kmod_files)
  target_compile_definitions(${name} PRIVATE TRESK_MODULE_FILES="${kmod_files_dir}")
endfunction()

# Where libkmod and the allocator fail is decided where the library's objects refer to them.
tresk_add_kmod_tests(unit_kmod
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/kmod_module_file_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/kmod_protection_test.cpp)
foreach(function calloc kmod_new)
  target_link_options(unit_kmod PRIVATE -Wl,--wrap=${function})
endforeach()

# The same on a platform whose libkmod reads names itself.
tresk_add_kmod_tests(unit_kmod_platform SOURCES ${CMAKE_CURRENT_LIST_DIR}/kmod_platform_reader_test.cpp)

if(TARGET failing_memory)
  tresk_add_kmod_tests(unit_kmod_memory
    SOURCES ${CMAKE_CURRENT_LIST_DIR}/kmod_memory_test.cpp
    LIBRARIES failing_memory)
  target_link_options(unit_kmod_memory PRIVATE -Wl,--wrap=kmod_new)
endif()
