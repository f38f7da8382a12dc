# SPDX-License-Identifier: LGPL-2.1-or-later
# Hashes of files and the check of users over a real bus.
tresk_add_tests(NAME integration_labels
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/labels_hash_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/labels_user_test.cpp
  LIBRARIES tresk_extend_objects framework_double test_support)
