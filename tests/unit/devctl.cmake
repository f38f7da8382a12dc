# SPDX-License-Identifier: LGPL-2.1-or-later
# Device control: the policies, which are the scene's, then what reads "/etc/tresk/db/whlist.db".
tresk_add_tests(NAME unit_devctl
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/devctl_batch_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/devctl_edits_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/devctl_listings_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/devctl_networks_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/devctl_types_test.cpp
  LIBRARIES tresk_extend_objects framework_double test_support)

tresk_add_tests(NAME unit_devctl_history
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/devctl_database.cpp
    ${CMAKE_CURRENT_LIST_DIR}/devctl_history_columns_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/devctl_history_test.cpp
  LIBRARIES tresk_extend_objects framework_double test_support
  SANDBOX --no-bus --no-kernel
  APART)

if(TARGET failing_memory)
  tresk_add_tests(NAME unit_devctl_memory
    SOURCES
      ${CMAKE_CURRENT_LIST_DIR}/devctl_database.cpp
      ${CMAKE_CURRENT_LIST_DIR}/devctl_memory_test.cpp
    LIBRARIES tresk_extend_objects framework_double failing_memory test_support
    SANDBOX --no-bus --no-kernel)
endif()
