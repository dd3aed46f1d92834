# Copies the compiler's run-time DLLs beside the programs.
#
# All modules must use the same ones: with a runtime of its own in each, an exception would
# not be known to the module that catches it.

set(tree_runtime_dlls libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)

function(tree_copy_mingw_runtime folder)
  foreach(name ${tree_runtime_dlls})
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${name}
      OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
    # The compiler answers with the bare name when it does not know the file.
    if(NOT IS_ABSOLUTE "${path}")
      message(FATAL_ERROR "${CMAKE_CXX_COMPILER} has no ${name}")
    endif()
    file(COPY ${path} DESTINATION ${folder} FOLLOW_SYMLINK_CHAIN)
  endforeach()
endfunction()
