# SPDX-License-Identifier: LGPL-2.1-or-later
# Process blocking: rules and the hash without files, then everything that reads below "/etc/tresk/pblk".
tresk_add_tests(NAME unit_pblk
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/pblk_path_hash_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/pblk_policy_test.cpp
  LIBRARIES tresk_extend_objects framework_double test_support)

tresk_add_tests(NAME unit_pblk_files
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/pblk_files.cpp
    ${CMAKE_CURRENT_LIST_DIR}/pblk_count_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/pblk_hostile_files_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/pblk_readers_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/pblk_visibility_test.cpp
  LIBRARIES tresk_extend_objects framework_double test_support
  SANDBOX --no-bus --no-kernel)

if(TARGET failing_memory)
  tresk_add_tests(NAME unit_pblk_memory
    SOURCES
      ${CMAKE_CURRENT_LIST_DIR}/pblk_files.cpp
      ${CMAKE_CURRENT_LIST_DIR}/pblk_memory_test.cpp
    LIBRARIES tresk_extend_objects framework_double failing_memory test_support
    SANDBOX --no-bus --no-kernel)
endif()
