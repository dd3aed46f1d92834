# Runs a program to its very end: its exit code must be 0, and its output must contain EXPECT
# and nothing about what is wrong.
#
#   cmake -DEXPECT=TEXT "-DRUN=PROGRAM;ARGUMENT;..." -P ends_cleanly.cmake

execute_process(COMMAND ${RUN}
  RESULT_VARIABLE code OUTPUT_VARIABLE output ERROR_VARIABLE output)
message("${output}")
if(NOT code STREQUAL "0")
  message(FATAL_ERROR "ended with ${code}")
endif()
string(FIND "${output}" "${EXPECT}" at)
if(at EQUAL -1)
  message(FATAL_ERROR "it did not say: ${EXPECT}")
endif()
if(output MATCHES "wrong")
  message(FATAL_ERROR "it says that something is wrong")
endif()
