# Runs PROGRAM with ARGUMENTS, which must succeed, and compares all that it prints with the file EXPECTED.
cmake_minimum_required(VERSION 3.25)

execute_process(COMMAND "${PROGRAM}" ${ARGUMENTS} OUTPUT_VARIABLE printed ERROR_VARIABLE complaints RESULT_VARIABLE status)
file(READ "${EXPECTED}" expected)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${PROGRAM} ended with ${status}:\n${printed}${complaints}")
elseif(NOT complaints STREQUAL "")
  message(FATAL_ERROR "${PROGRAM} complained:\n${complaints}")
elseif(NOT printed STREQUAL expected)
  message(FATAL_ERROR "${PROGRAM} printed:\n${printed}\nbut ${EXPECTED} says:\n${expected}")
endif()
