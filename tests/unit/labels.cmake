# SPDX-License-Identifier: LGPL-2.1-or-later
# Labels of files: the setters of one path, of a directory and of many paths.
tresk_add_tests(NAME unit_labels
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/labels_batch_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/labels_directory_test.cpp
    ${CMAKE_CURRENT_LIST_DIR}/labels_single_test.cpp
  LIBRARIES tresk_extend_objects framework_double test_support)

# GLib ends a process without memory, so what follows a reply of the service is tried with a reply made here.
if(TARGET failing_memory)
  tresk_add_tests(NAME unit_labels_memory
    SOURCES ${CMAKE_CURRENT_LIST_DIR}/labels_memory_test.cpp
    LIBRARIES tresk_extend_objects framework_double failing_memory test_support)
  target_link_options(unit_labels_memory PRIVATE -Wl,--wrap=process_dbus_method)
endif()
