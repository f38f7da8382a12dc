# SPDX-License-Identifier: LGPL-2.1-or-later
# Kernel notifications: what is decided and built before anything is sent.
tresk_add_tests(NAME unit_communicate
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/communicate_exectl_label_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/communicate_guard_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/communicate_hash_payload_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/communicate_message_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/communicate_version_gate_test.cpp
  LIBRARIES tresk_extend_objects framework_double test_support)
