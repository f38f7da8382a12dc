# SPDX-License-Identifier: LGPL-2.1-or-later
# The edits of process blocking over a real bus.
tresk_add_tests(NAME integration_pblk
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/pblk_edit_failures_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/pblk_edits_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/pblk_scene_test.cpp
  LIBRARIES tresk_extend_objects framework_double test_support)
