# SPDX-License-Identifier: LGPL-2.1-or-later
# Package lists: the look-ups in "/etc/tresk/bwlist".
tresk_add_tests(NAME unit_bwlist_files
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/bwlist_files.cpp
    ${CMAKE_CURRENT_LIST_DIR}/bwlist_lookups_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/bwlist_verdict_test.cpp
  LIBRARIES tresk_extend_objects framework_double test_support
  SANDBOX --no-bus --no-kernel)
target_link_options(unit_bwlist_files PRIVATE -Wl,--wrap=xmlCtxtReadFile)

if(TARGET failing_memory)
  tresk_add_tests(NAME unit_bwlist_memory
    SOURCES
      ${CMAKE_CURRENT_LIST_DIR}/bwlist_files.cpp
      ${CMAKE_CURRENT_LIST_DIR}/bwlist_memory_test.cpp
    LIBRARIES tresk_extend_objects framework_double failing_memory test_support
    SANDBOX --no-bus --no-kernel)
endif()
