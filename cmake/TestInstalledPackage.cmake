# Run as a script: installs the build into a folder of its own, builds an example against that as an
# outsider does, and runs it.
#
#   cmake -D BUILD_DIR=... -D SOURCE_DIR=... -D WORK_DIR=... -D COMPILER=... -P this

function(run)
    execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(REMOVE_RECURSE "${WORK_DIR}")
run("${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${WORK_DIR}/installed")
run("${CMAKE_COMMAND}" -G Ninja
    -S "${SOURCE_DIR}/examples/minimal_host" -B "${WORK_DIR}/build"
    "-DCMAKE_PREFIX_PATH=${WORK_DIR}/installed"
    "-DCMAKE_CXX_COMPILER=${COMPILER}")
run("${CMAKE_COMMAND}" --build "${WORK_DIR}/build")
run("${WORK_DIR}/build/minimal_host" "${WORK_DIR}/example.zdw")
