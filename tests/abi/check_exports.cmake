# Compares what a library exports with a committed list.
#
#   cmake -DLIBRARY=FILE -DEXPECTED=LIST -DFOUND=FILE -DPLATFORM=linux|windows
#         -DNM=nm -DOBJDUMP=objdump -DCXXFILT=c++filt [-DUPDATE=ON] -P check_exports.cmake
#
# FOUND receives the list as it is; with UPDATE it is copied over EXPECTED.  A line is a
# name with its arguments; constructors and destructors stand there once.

cmake_minimum_required(VERSION 3.22)

# mangled_names VARIABLE  what the loader sees.
function(mangled_names result)
  if(PLATFORM STREQUAL "windows")
    execute_process(COMMAND ${OBJDUMP} -p ${LIBRARY}
      OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
    string(FIND "${text}" "[Ordinal/Name Pointer] Table" start)
    if(start EQUAL -1)
      message(FATAL_ERROR "${LIBRARY} has no table of exported names")
    endif()
    string(SUBSTRING "${text}" ${start} -1 text)
    string(FIND "${text}" "\n\n" end)
    string(SUBSTRING "${text}" 0 ${end} text)
    # A line is "\t[ ordinal] name"; the brackets would end up in CMake's own syntax.
    string(REGEX REPLACE "[^\n]*Table[^\n]*\n" "" text "${text}\n")
    string(REGEX REPLACE "\t\\[ *[0-9]+\\] *(\\+base\\[ *[0-9]+\\] *[0-9a-f]* *)?" "" text "${text}")
  else()
    execute_process(COMMAND ${NM} --dynamic --defined-only --format=just-symbols ${LIBRARY}
      OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
  endif()
  set(${result} "${text}" PARENT_SCOPE)
endfunction()

mangled_names(names)
file(WRITE ${FOUND}.mangled "${names}")
execute_process(COMMAND ${CXXFILT} INPUT_FILE ${FOUND}.mangled
  OUTPUT_VARIABLE names COMMAND_ERROR_IS_FATAL ANY)
file(REMOVE ${FOUND}.mangled)

string(REGEX REPLACE "\r?\n" ";" names "${names}")
list(REMOVE_ITEM names "")
list(REMOVE_DUPLICATES names)
list(SORT names)
list(LENGTH names count)
if(count EQUAL 0)
  message(FATAL_ERROR "${LIBRARY} exports nothing")
endif()
list(JOIN names "\n" text)
file(WRITE ${FOUND} "${text}\n")

if(UPDATE)
  file(COPY_FILE ${FOUND} ${EXPECTED})
  message("${count} names written to ${EXPECTED}")
  return()
endif()

file(STRINGS ${EXPECTED} expected)
set(added ${names})
list(REMOVE_ITEM added ${expected})
set(gone ${expected})
list(REMOVE_ITEM gone ${names})
foreach(name IN LISTS added)
  message(SEND_ERROR "exported, but not in the list: ${name}")
endforeach()
foreach(name IN LISTS gone)
  message(SEND_ERROR "in the list, but not exported: ${name}")
endforeach()
if(added OR gone)
  message(FATAL_ERROR "If that is meant: cmake --build BUILD-TREE --target update_exports")
endif()
message("${count} names, as listed in ${EXPECTED}")
