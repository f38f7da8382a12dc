# SPDX-License-Identifier: LGPL-2.1-or-later
# Devices handed to the service over a real bus.
tresk_add_tests(NAME integration_devctl
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/devctl_insert_test.cpp
  LIBRARIES tresk_extend_objects framework_double test_support)
