# Flags for every target that is built here: warnings and, when asked for, sanitizers.

function(tree_compile_flags target)
  if(MSVC)
    target_compile_options(${target} PRIVATE /W4 $<$<BOOL:${TREE_WARNINGS_AS_ERRORS}>:/WX>)
  else()
    target_compile_options(${target} PRIVATE
      -Wall -Wextra -Wpedantic -Wshadow -Wconversion
      $<$<BOOL:${TREE_WARNINGS_AS_ERRORS}>:-Werror>
      # gcc 12 sees std::string overlap itself where it does not, from -O3 on.
      $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>)
  endif()
  if(TREE_SANITIZE)
    target_compile_options(${target} PRIVATE
      -fsanitize=${TREE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=${TREE_SANITIZE})
  endif()
endfunction()
