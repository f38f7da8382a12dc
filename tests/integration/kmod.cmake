# SPDX-License-Identifier: LGPL-2.1-or-later
# The question whose module it is, over a real bus.
tresk_add_tests(NAME integration_kmod
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/kmod_ownership_test.cpp
  LIBRARIES tresk_extend_objects framework_double test_support)
