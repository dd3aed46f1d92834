# Install rules: the same target names as in the build tree, by find_package(Tree CONFIG).

include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Tree)

# The stand-ins, where no host product has brought its own libraries.
set(platform_target)
set(platform_headers)
if(TARGET TreePlatform)
  set(platform_target TreePlatform)
  set(platform_headers platform/include/)
endif()

# EXPORT_NAME gives Tree::Platform; the alias Tree::Tree is the target's own name.
install(TARGETS Tree ${platform_target} EXPORT TreeTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(EXPORT TreeTargets NAMESPACE Tree:: DESTINATION ${package_dir})

# Headers that only the library's own sources include stay at home.
install(DIRECTORY cfg/src/Tree cfg/src/strarr inc/Zel ${platform_headers}
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tree
  FILES_MATCHING PATTERN "*.h"
  PATTERN String_Arr_TooBig.h EXCLUDE
  PATTERN Tree_AddressHash.h EXCLUDE
  PATTERN Tree_Bytes.h EXCLUDE
  PATTERN Tree_ChildrenAhead.h EXCLUDE
  PATTERN Tree_Interning.h EXCLUDE
  PATTERN Tree_Log.h EXCLUDE
  PATTERN Tree_NameIndex.h EXCLUDE
  PATTERN Tree_NameTable.h EXCLUDE
  PATTERN Tree_NodeMaker.h EXCLUDE
  PATTERN Tree_PathSegments.h EXCLUDE
  PATTERN Tree_Prefetch.h EXCLUDE
  PATTERN Tree_Statics.h EXCLUDE)

# Copied by TreeMingwRuntime.cmake.
foreach(name ${tree_runtime_dlls})
  install(FILES ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${name} DESTINATION ${CMAKE_INSTALL_BINDIR})
endforeach()

configure_package_config_file(cmake/TreeConfig.cmake.in TreeConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(TreeConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/TreeConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/TreeConfigVersion.cmake
  DESTINATION ${package_dir})

if(TREE_BUILD_CLIENT)
  install(TARGETS cfgtree RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
