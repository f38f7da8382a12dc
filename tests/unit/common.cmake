# SPDX-License-Identifier: LGPL-2.1-or-later
# The ground floor. The empty policy is written below a file system that a test may fill up.
tresk_add_tests(NAME unit_common
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/common_data_path_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/common_policy_document_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/common_small_parts_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/common_text_test.cpp
  LIBRARIES tresk_extend_objects framework_double test_support)
tresk_add_tests(NAME unit_common_files
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/common_default_policy_test.cpp
  LIBRARIES tresk_extend_objects framework_double test_support
  SANDBOX --no-bus --no-kernel)
