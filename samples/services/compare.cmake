# cmake -DCOMMAND=PROGRAM -DEXPECTED=FILE -P compare.cmake: the program ends well and prints the file.
execute_process(COMMAND ${COMMAND} RESULT_VARIABLE status OUTPUT_VARIABLE printed)
file(READ "${EXPECTED}" expected)
# Windows ends lines with two characters.
string(REPLACE "\r\n" "\n" printed "${printed}")
if(NOT status EQUAL 0)
  message(FATAL_ERROR "the program ended with ${status} after printing\n${printed}")
endif()
if(NOT printed STREQUAL expected)
  message(FATAL_ERROR "printed:\n${printed}\n${EXPECTED} has:\n${expected}")
endif()
