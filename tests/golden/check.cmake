# Runs make_golden.py into the folder WORK and compares what it writes with the files that
# stand in SOURCE/expected.

cmake_minimum_required(VERSION 3.22)

find_program(python3 NAMES python3)
if(python3)
  execute_process(COMMAND ${python3} --version RESULT_VARIABLE status OUTPUT_QUIET ERROR_QUIET)
endif()
if(NOT python3 OR NOT status EQUAL 0)
  message("Skipped: there is no python3")
  return()
endif()

file(REMOVE_RECURSE ${WORK})
execute_process(COMMAND ${python3} ${SOURCE}/make_golden.py ${WORK} RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "make_golden.py failed: ${status}")
endif()

file(GLOB_RECURSE written RELATIVE ${WORK} ${WORK}/*)
file(GLOB_RECURSE committed RELATIVE ${SOURCE}/expected ${SOURCE}/expected/*)
list(LENGTH written count)
if(count EQUAL 0)
  message(FATAL_ERROR "make_golden.py wrote nothing")
endif()
foreach(file ${committed})
  if(NOT file IN_LIST written)
    message(SEND_ERROR "${file} is not written any more")
  endif()
endforeach()
foreach(file ${written})
  if(NOT file IN_LIST committed)
    message(SEND_ERROR "${file} is missing in tests/golden/expected")
    continue()
  endif()
  execute_process(
    COMMAND ${CMAKE_COMMAND} -E compare_files ${WORK}/${file} ${SOURCE}/expected/${file}
    RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(SEND_ERROR "${file} differs from tests/golden/expected")
  endif()
endforeach()
message("${count} files compared")
