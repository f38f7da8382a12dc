# SPDX-License-Identifier: LGPL-2.1-or-later
# Builds examples/ anew, as somebody does who has copied it.
file(REMOVE_RECURSE "${BUILD}")
foreach(step
    "-S;${SOURCE};-B;${BUILD};-G;${GENERATOR};-DCMAKE_C_COMPILER=${C};-DCMAKE_CXX_COMPILER=${CXX};-DCMAKE_DISABLE_FIND_PACKAGE_tresk_extend=ON"
    "--build;${BUILD}")
  execute_process(COMMAND "${CMAKE_COMMAND}" ${step} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${output}")
  endif()
endforeach()
file(GLOB programs "${BUILD}/example_*")
list(LENGTH programs count)
if(NOT count EQUAL 4)
  message(FATAL_ERROR "4 programs should have been built, not: ${programs}")
endif()
