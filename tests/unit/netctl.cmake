# SPDX-License-Identifier: LGPL-2.1-or-later
# Network control: hashes and package queries without policy files, then everything that reads below
# "/etc/tresk/netctl".
tresk_add_tests(NAME unit_netctl
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/netctl_package_query_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/netctl_package_tools.cpp
    ${CMAKE_CURRENT_LIST_DIR}/netctl_path_hash_test.cpp
  LIBRARIES tresk_extend_objects framework_double test_support PkgConfig::CRYPTO)
target_link_options(unit_netctl PRIVATE -Wl,--wrap=read)

tresk_add_tests(NAME unit_netctl_files
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/netctl_files.cpp
    ${CMAKE_CURRENT_LIST_DIR}/netctl_hostile_files_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/netctl_policy_file_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/netctl_records_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/netctl_user_distinction_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/netctl_user_filter_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/netctl_visibility_test.cpp
  LIBRARIES tresk_extend_objects framework_double test_support
  SANDBOX --no-bus --no-kernel)

if(TARGET failing_memory)
  tresk_add_tests(NAME unit_netctl_memory
    SOURCES
      ${CMAKE_CURRENT_LIST_DIR}/netctl_files.cpp
      ${CMAKE_CURRENT_LIST_DIR}/netctl_memory_test.cpp
    LIBRARIES tresk_extend_objects framework_double failing_memory test_support
    SANDBOX --no-bus --no-kernel)
endif()
