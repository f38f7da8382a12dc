# SPDX-License-Identifier: LGPL-2.1-or-later
# Calls of the service over a real bus.
tresk_add_tests(NAME dbus_call_tests
  SOURCES dbus_call_frame_test.cpp dbus_errors_test.cpp status_calls_test.cpp
  LIBRARIES tresk_extend_objects framework_double test_support)
tresk_add_tests(NAME dbus_fault_tests
  SOURCES dbus_bus_faults_test.cpp
  LIBRARIES tresk_extend_objects framework_double test_support
  APART) # GLib has one shared connection in a process
