# SPDX-License-Identifier: LGPL-2.1-or-later
# The notifications of network control and process blocking; communicate.cmake, which comes before this file,
# has the means.
tresk_add_channel_tests(communicate_family_notification_tests
  ${CMAKE_CURRENT_LIST_DIR}/communicate_netctl_notification_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/communicate_pblk_guard_test.cpp
  ${CMAKE_CURRENT_LIST_DIR}/communicate_pblk_notification_test.cpp)
