# SPDX-License-Identifier: LGPL-2.1-or-later
# The tests of the stand-in service. Included by the CMakeLists.txt of this folder.
tresk_add_tests(NAME standin_service_test
  SOURCES
    "${CMAKE_CURRENT_LIST_DIR}/service_bwlist.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/service_device_records.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/service_digest.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/service_faults.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/service_file_hashes.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/service_kmod.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/service_lifecycle.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/service_methods.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/service_netctl.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/service_netctl_pkg.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/service_pblk.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/service_policies.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/service_policy_file.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/service_policy_path.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/service_ppro.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/service_scene.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/service_switches.cpp"
    "${CMAKE_CURRENT_LIST_DIR}/service_user_check.cpp"
  LIBRARIES test_support standin_service_objects Threads::Threads)
target_compile_definitions(standin_service_test PRIVATE
  TRESK_STANDIN_SERVICE="$<TARGET_FILE:tresk-standin-service>")
add_dependencies(standin_service_test tresk-standin-service)
