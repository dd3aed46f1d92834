# Flags for every target that is built here: warnings and, when asked for, sanitizers.

function(tree_compile_flags target)
  if(MSVC)
    # C4251 and C4275: exported classes have members and bases of the standard library, which
    # is fine as long as library and clients use the same one, and docs/windows.md says so.
    target_compile_options(${target} PRIVATE
      /W4 /wd4251 /wd4275 /utf-8 $<$<BOOL:${TREE_WARNINGS_AS_ERRORS}>:/WX>)
    target_compile_definitions(${target} PRIVATE _CRT_SECURE_NO_WARNINGS NOMINMAX)
  else()
    target_compile_options(${target} PRIVATE
      -Wall -Wextra -Wpedantic -Wshadow -Wconversion
      $<$<BOOL:${TREE_WARNINGS_AS_ERRORS}>:-Werror>
      # gcc 12 sees std::string overlap itself where it does not, from -O3 on.
      $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>)
  endif()
  if(MINGW)
    # The stack that other compilers for Windows give to a program and its threads.
    target_link_options(${target} PRIVATE LINKER:--stack,1048576)
  endif()
  if(TREE_SANITIZE)
    target_compile_options(${target} PRIVATE
      -fsanitize=${TREE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=${TREE_SANITIZE})
  endif()
endfunction()
