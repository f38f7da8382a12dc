# SPDX-License-Identifier: LGPL-2.1-or-later
# The edits of process protection over a real bus.
tresk_add_tests(NAME integration_ppro
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/ppro_edit_failures_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ppro_edits_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ppro_scene_test.cpp
  LIBRARIES tresk_extend_objects framework_double test_support)
