# SPDX-License-Identifier: LGPL-2.1-or-later
# Process protection: rules and hashes without files, then everything that reads below "/etc/tresk/ppro".
tresk_add_tests(NAME unit_ppro
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/ppro_path_hash_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ppro_policy_test.cpp
  LIBRARIES tresk_extend_objects framework_double test_support)
foreach(function SHA256_Init SHA256_Update SHA256_Final)
  target_link_options(unit_ppro PRIVATE -Wl,--wrap=${function})
endforeach()

tresk_add_tests(NAME unit_ppro_files
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/ppro_files.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ppro_array_readers_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ppro_hostile_files_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ppro_lookups_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ppro_path_readers_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ppro_settings_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ppro_visibility_test.cpp
  LIBRARIES tresk_extend_objects framework_double test_support
  SANDBOX --no-bus --no-kernel)

if(TARGET failing_memory)
  tresk_add_tests(NAME unit_ppro_memory
    SOURCES
      ${CMAKE_CURRENT_LIST_DIR}/ppro_files.cpp
      ${CMAKE_CURRENT_LIST_DIR}/ppro_memory_test.cpp
    LIBRARIES tresk_extend_objects framework_double failing_memory test_support
    SANDBOX --no-bus --no-kernel)
endif()
