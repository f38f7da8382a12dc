# SPDX-License-Identifier: LGPL-2.1-or-later
# The edits of network control over a real bus.
tresk_add_tests(NAME integration_netctl
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/netctl_edit.cpp
    ${CMAKE_CURRENT_LIST_DIR}/netctl_edit_failures_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/netctl_edit_texts_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/netctl_edits_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/netctl_scene_test.cpp
  LIBRARIES tresk_extend_objects framework_double test_support)
