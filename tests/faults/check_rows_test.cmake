# SPDX-License-Identifier: LGPL-2.1-or-later
# The check of rows.cmake: it passes for the exported functions as they are, and names what is wrong when
# there is one more or one fewer, or a row twice.
cmake_policy(VERSION 3.25)

# The check of @map's text has to give @message, or nothing wrong where that is empty.
function(expect message map rows)
  file(WRITE "${FOLDER}/checked.map" "${map}")
  execute_process(
    COMMAND "${CMAKE_COMMAND}" -D "MAP=${FOLDER}/checked.map" -D "OUTPUT=${FOLDER}/checked.cpp" -D "ROWS=${rows}"
      -P "${SCRIPT}"
    RESULT_VARIABLE result ERROR_VARIABLE errors)
  string(REGEX REPLACE "[ \n]+" " " errors "${errors}")
  if(message STREQUAL "")
    if(NOT result EQUAL 0)
      message(SEND_ERROR "the exported functions fail: ${errors}")
    endif()
  elseif(result EQUAL 0)
    message(SEND_ERROR "passed, and should have said: ${message}")
  elseif(NOT errors MATCHES "${message}")
    message(SEND_ERROR "said: ${errors}")
  endif()
endfunction()

file(READ "${MAP}" map)
expect("" "${map}" "${ROWS}")
string(REPLACE "global:" "global:\n    a_new_function;" one_more "${map}")
expect("a_new_function is exported and has no row" "${one_more}" "${ROWS}")
string(REPLACE "    get_tid;\n" "" one_fewer "${map}")
expect("get_tid has a row in tests/faults and is not exported" "${one_fewer}" "${ROWS}")
list(GET ROWS 0 first)
expect("has two rows" "${map}" "${ROWS};${first}")
expect("names no exported function" "{ local: *; };" "${ROWS}")
