# cmake -DCOMMAND=PROGRAM;ARGUMENT... [-DSTATUS=N] [-DPRINTS=FILE | -DMATCHES=EXPRESSION]
#   [-DERRORS=FILE] -P run.cmake
# The program ends with status N (0), prints what FILE has or what matches, and on standard error,
# among other lines, what the second FILE has, if there is one.
execute_process(COMMAND ${COMMAND} RESULT_VARIABLE status
  OUTPUT_VARIABLE printed ERROR_VARIABLE errors ECHO_OUTPUT_VARIABLE ECHO_ERROR_VARIABLE)
# Windows ends lines with two characters.
string(REPLACE "\r\n" "\n" printed "${printed}")
string(REPLACE "\r\n" "\n" errors "${errors}")
if(NOT DEFINED STATUS)
  set(STATUS 0)
endif()
if(NOT status EQUAL STATUS)
  message(FATAL_ERROR "the program ended with ${status}, not ${STATUS}")
endif()
if(DEFINED PRINTS)
  file(READ "${PRINTS}" expected)
  if(NOT printed STREQUAL expected)
    message(FATAL_ERROR "it printed what stands above; ${PRINTS} has:\n${expected}")
  endif()
endif()
if(DEFINED MATCHES AND NOT printed MATCHES "${MATCHES}")
  message(FATAL_ERROR "it printed what stands above, which does not match\n${MATCHES}")
endif()
if(DEFINED ERRORS AND EXISTS "${ERRORS}")
  file(READ "${ERRORS}" expected)
  string(FIND "${errors}" "${expected}" place)
  if(place EQUAL -1)
    message(FATAL_ERROR "standard error, above, lacks what ${ERRORS} has:\n${expected}")
  endif()
endif()
