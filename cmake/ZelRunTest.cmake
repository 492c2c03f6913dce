# Tests of whole programs: what they print and how they end.

if(ZEL_BUILD_TESTS)
  enable_testing()
endif()

# zel_run_test(<name> <target> [ARGUMENTS ...] [STATUS n] [PRINTS file | MATCHES expression]
#   [ERRORS file]): see tests/support/run.cmake. Without the tests it does nothing.
function(zel_run_test name target)
  if(NOT ZEL_BUILD_TESTS)
    return()
  endif()
  cmake_parse_arguments(run "" "STATUS;PRINTS;MATCHES;ERRORS" "ARGUMENTS" ${ARGN})
  set(command ${CMAKE_CROSSCOMPILING_EMULATOR} "$<TARGET_FILE:${target}>" ${run_ARGUMENTS})
  set(expectations "")
  foreach(expectation IN ITEMS STATUS PRINTS MATCHES ERRORS)
    if(DEFINED run_${expectation})
      list(APPEND expectations "-D${expectation}=${run_${expectation}}")
    endif()
  endforeach()
  add_test(NAME ${name} COMMAND "${CMAKE_COMMAND}" "-DCOMMAND=${command}" ${expectations}
    -P "${PROJECT_SOURCE_DIR}/tests/support/run.cmake")
  set_tests_properties(${name} PROPERTIES TIMEOUT 60)
endfunction()
