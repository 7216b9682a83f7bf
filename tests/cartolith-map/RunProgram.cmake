# Runs PROGRAM with ARGUMENTS in an empty FOLDER and checks the exit code, the output and what is left there.
cmake_minimum_required(VERSION 3.25)
file(REMOVE_RECURSE "${FOLDER}")
file(MAKE_DIRECTORY "${FOLDER}")
# Whoever runs the tests may have a licence.
set(ENV{XDG_DATA_HOME} "${FOLDER}/nowhere")
unset(ENV{CARTOLITH_LICENCE})
unset(ENV{CARTOLITH_LICENCE_FILE})
execute_process(
  COMMAND "${PROGRAM}" ${ARGUMENTS}
  WORKING_DIRECTORY "${FOLDER}"
  RESULT_VARIABLE result
  OUTPUT_VARIABLE output
  ERROR_VARIABLE output)
if(NOT "${result}" STREQUAL "${CODE}")
  message(FATAL_ERROR "exit code ${result} instead of ${CODE}:\n${output}")
endif()
if(NOT "${output}" MATCHES "${PATTERN}")
  message(FATAL_ERROR "the output does not match '${PATTERN}':\n${output}")
endif()
file(GLOB left RELATIVE "${FOLDER}" "${FOLDER}/*")
if(NOT CODE EQUAL 0 AND left)
  message(FATAL_ERROR "a failed run left behind: ${left}")
endif()
if("world.png" IN_LIST ARGUMENTS AND CODE EQUAL 0 AND NOT "${left}" STREQUAL "world.png")
  message(FATAL_ERROR "expected the picture alone, found: ${left}")
endif()
