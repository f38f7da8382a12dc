# SPDX-License-Identifier: LGPL-2.1-or-later
# The kernel channel over real netlink sockets, against a peer that the tests script. System calls and
# get_tid() are watched by wrapping them where the library's objects refer to them. Each process finds out
# about the kernel once, so that tests stay apart.
function(tresk_add_channel_tests name)
  tresk_add_tests(NAME ${name}
    SOURCES ${ARGN} communicate_system_calls.cpp
    LIBRARIES tresk_extend_objects framework_double test_support standin_kernel_peer
    SANDBOX --no-bus --no-kernel --kernel-protocol 27
    APART)
  add_dependencies(${name} standin_netlink)
  foreach(function calloc get_tid popen recvfrom setsockopt socket)
    target_link_options(${name} PRIVATE -Wl,--wrap=${function})
  endforeach()
endfunction()

tresk_add_channel_tests(communicate_channel_tests
  communicate_channel_test.cpp communicate_faults_test.cpp communicate_reply_test.cpp
  communicate_threads_test.cpp)
tresk_add_channel_tests(communicate_detection_tests communicate_detection_test.cpp)
tresk_add_channel_tests(communicate_notification_tests
  communicate_hash_notification_test.cpp communicate_ppro_notification_test.cpp
  communicate_ppro_guard_test.cpp)
tresk_add_channel_tests(communicate_family_notification_tests
  communicate_netctl_notification_test.cpp communicate_pblk_guard_test.cpp
  communicate_pblk_notification_test.cpp)
tresk_add_channel_tests(communicate_module_notification_tests
  communicate_devctl_notification_test.cpp communicate_kmod_notification_test.cpp)
target_link_options(communicate_module_notification_tests PRIVATE
  -Wl,--wrap=tresk_xattr_check_kmod_del_from_kernel)
