# Builds for 64-bit Windows with the mingw-w64 cross compiler (posix threads) and runs what
# it built under Wine.  dependencies.sh fills the folder that TREE_WINDOWS_CACHE names.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)

set(tree_triplet x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${tree_triplet}-gcc-posix)
set(CMAKE_CXX_COMPILER ${tree_triplet}-g++-posix)
set(CMAKE_RC_COMPILER ${tree_triplet}-windres)

if(DEFINED ENV{TREE_WINDOWS_CACHE})
  set(tree_windows_cache $ENV{TREE_WINDOWS_CACHE})
elseif(DEFINED ENV{XDG_CACHE_HOME})
  set(tree_windows_cache $ENV{XDG_CACHE_HOME}/tree-windows)
else()
  set(tree_windows_cache $ENV{HOME}/.cache/tree-windows)
endif()

set(CMAKE_FIND_ROOT_PATH /usr/${tree_triplet} ${tree_windows_cache}/prefix)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Windows 10 and later; no min() and max() macros.
set(tree_definitions "-DWIN32 -D_WIN32_WINNT=0x0A00 -DNOMINMAX -DWIN32_LEAN_AND_MEAN")
set(CMAKE_C_FLAGS_INIT ${tree_definitions})
set(CMAKE_CXX_FLAGS_INIT ${tree_definitions})

set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/wine.sh)

# Header-only packages that need no search of their own.
set(TREE_SPDLOG_INCLUDE_DIR ${tree_windows_cache}/prefix/include CACHE PATH
  "Folder with the headers spdlog/ and fmt/")
