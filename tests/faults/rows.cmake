# SPDX-License-Identifier: LGPL-2.1-or-later
# Makes the list of all exported functions with their rows, and fails where a function has none or a row no
# function:
#
#   cmake -D MAP=tresk_extend.map -D OUTPUT=entries.cpp -D "ROWS=rows_ppro.cpp;..." -P rows.cmake
cmake_policy(VERSION 3.25)

# The exported data: no function.
set(data user_distinguish)

file(READ "${MAP}" map)
string(REGEX REPLACE "/\\*[^*]*\\*/" "" map "${map}")
string(REGEX REPLACE "local:.*" "" map "${map}")
string(REGEX REPLACE "[ \t\n]*;" "@" map "${map}") # a semicolon would split a list
string(REGEX MATCHALL "[A-Za-z_][A-Za-z_0-9]*@" exported "${map}")
list(TRANSFORM exported REPLACE "@" "")
list(REMOVE_ITEM exported ${data})
list(LENGTH exported number)
if(number EQUAL 0)
  message(FATAL_ERROR "${MAP} names no exported function")
endif()

set(found "")
foreach(file IN LISTS ROWS)
  file(READ "${file}" text)
  cmake_path(GET file STEM family)
  string(REPLACE "rows_" "" family "${family}")
  string(REGEX MATCHALL "FAULT_ROW\\([A-Za-z_0-9]+\\)" rows "${text}")
  list(TRANSFORM rows REPLACE "FAULT_ROW\\(([A-Za-z_0-9]+)\\)" "\\1")
  foreach(row IN LISTS rows)
    if(row IN_LIST found)
      message(FATAL_ERROR "${row} has two rows in tests/faults")
    endif()
    if(NOT row IN_LIST exported)
      message(FATAL_ERROR "${row} has a row in tests/faults and is not exported")
    endif()
    list(APPEND found ${row})
    set(family_of_${row} ${family})
  endforeach()
endforeach()

set(declarations "")
set(table "")
foreach(function IN LISTS exported)
  if(NOT function IN_LIST found)
    message(FATAL_ERROR "${function} is exported and has no row in tests/faults: FAULT_ROW(${function})")
  endif()
  string(APPEND declarations "extern const Row ${function}_row;\n")
  string(APPEND table "    {\"${function}\", \"${family_of_${function}}\", &${function}_row},\n")
endforeach()

file(CONFIGURE OUTPUT "${OUTPUT}" @ONLY CONTENT [[
// Made by tests/faults/rows.cmake from the exported functions.
#include "tests/faults/row.h"

namespace tresk::test {

@declarations@
namespace {

const Entry kEntries[] = {
@table@};

} // namespace

std::span<const Entry> entries()
{
    return kEntries;
}

} // namespace tresk::test
]])
