# Builds and runs the client in one of two ways, -DWAY=package or -DWAY=subproject.  -DWAY=host
# looks whether a project that brings the host product's libraries can take the library in; what
# is built then is what a subproject builds.
# -DSOURCE is the repository, -DBUILD the build tree to install from, -DWORK a scratch
# folder, -DGENERATOR and -DCXX those of the build tree, and so is -DTOOLCHAIN, its toolchain
# file when it builds for another system.

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGN}\n${out}")
  endif()
endfunction()

file(REMOVE_RECURSE ${WORK})
set(arguments -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_BUILD_TYPE=Release)
if(TOOLCHAIN)
  # Packages are looked for in the other system's folders and in this one alone.
  list(APPEND arguments
    -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN} -DCMAKE_STAGING_PREFIX=${WORK}/prefix)
endif()
if(WAY STREQUAL "package")
  run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/prefix)
  list(APPEND arguments -DCMAKE_PREFIX_PATH=${WORK}/prefix)
else()
  list(APPEND arguments -DTREE_SOURCE_DIR=${SOURCE})
endif()
if(WAY STREQUAL "host")
  list(APPEND arguments -DHOST_PLATFORM=ON)
endif()
run(${CMAKE_COMMAND} -S ${SOURCE}/tests/install -B ${WORK}/build ${arguments})
if(WAY STREQUAL "host")
  return()
endif()
run(${CMAKE_COMMAND} --build ${WORK}/build)
run(${CMAKE_CTEST_COMMAND} --test-dir ${WORK}/build --output-on-failure --no-tests=error)
