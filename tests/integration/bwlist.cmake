# SPDX-License-Identifier: LGPL-2.1-or-later
# The changes of the package lists over a real bus.
tresk_add_tests(NAME integration_bwlist
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/bwlist_calls_test.cpp
  LIBRARIES tresk_extend_objects framework_double test_support)
