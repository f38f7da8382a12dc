# SPDX-License-Identifier: LGPL-2.1-or-later
# The ground floor. The empty policy is written below a file system that a test may fill up.
tresk_add_tests(NAME unit_common
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/common_data_path_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/common_policy_document_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/common_policy_sources_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/common_small_parts_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/common_text_test.cpp
  LIBRARIES tresk_extend_objects framework_double test_support
  TOGETHER)
tresk_add_tests(NAME unit_common_files
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/common_default_policy_test.cpp
  LIBRARIES tresk_extend_objects framework_double test_support
  SANDBOX --no-bus --no-kernel)
foreach(function fchmod fstat fsync)
  target_link_options(unit_common_files PRIVATE -Wl,--wrap=${function})
endforeach()

# What the exported functions give where something throws: here the call of the service and the log do.
tresk_add_tests(NAME unit_fence
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/common_fence_test.cpp
  LIBRARIES tresk_extend_objects framework_double test_support
  SANDBOX --no-bus --no-kernel)
target_link_options(unit_fence PRIVATE -Wl,--wrap=process_dbus_method -Wl,--wrap=tresk_log_v2)

if(TARGET failing_memory)
  tresk_add_tests(NAME unit_common_memory
    SOURCES ${CMAKE_CURRENT_LIST_DIR}/common_memory_test.cpp
    LIBRARIES tresk_extend_objects framework_double failing_memory test_support)
endif()
