# Installs the build into a folder of its own, and has the project in this folder find, build and run it.
# Needs BUILD_DIR, WORK_DIR, COMPILER and SANITIZE.
file(REMOVE_RECURSE "${WORK_DIR}")
execute_process(COMMAND "${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${WORK_DIR}/prefix"
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND "${CMAKE_COMMAND}" -S "${CMAKE_CURRENT_LIST_DIR}" -B "${WORK_DIR}/build" -G Ninja
    "-DCMAKE_CXX_COMPILER=${COMPILER}"
    "-DCMAKE_PREFIX_PATH=${WORK_DIR}/prefix" "-DTAVRIK_SANITIZE=${SANITIZE}" COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND "${CMAKE_COMMAND}" --build "${WORK_DIR}/build" COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND "${WORK_DIR}/build/package_user" COMMAND_ERROR_IS_FATAL ANY)
