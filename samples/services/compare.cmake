# cmake -DCOMMAND=PROGRAM -DEXPECTED=FILE -P compare.cmake: the program ends well and prints the file.
# Where there is a FILE-errors as well, standard error holds that among other lines.
execute_process(COMMAND ${COMMAND} RESULT_VARIABLE status
  OUTPUT_VARIABLE printed ERROR_VARIABLE errors ECHO_ERROR_VARIABLE)
file(READ "${EXPECTED}" expected)
# Windows ends lines with two characters.
string(REPLACE "\r\n" "\n" printed "${printed}")
string(REPLACE "\r\n" "\n" errors "${errors}")
if(NOT status EQUAL 0)
  message(FATAL_ERROR "the program ended with ${status} after printing\n${printed}")
endif()
if(NOT printed STREQUAL expected)
  message(FATAL_ERROR "printed:\n${printed}\n${EXPECTED} has:\n${expected}")
endif()
if(EXISTS "${EXPECTED}-errors")
  file(READ "${EXPECTED}-errors" expected)
  string(FIND "${errors}" "${expected}" place)
  if(place EQUAL -1)
    message(FATAL_ERROR "on standard error:\n${errors}\n${EXPECTED}-errors has:\n${expected}")
  endif()
endif()
