# Installs Strider into an empty folder, builds the project that lies beside this file against what
# was installed, and runs it. The compiler and its flags are those that built the library: one that
# was built with a sanitizer links only into a program that has it too.
file(REMOVE_RECURSE "${WORK_DIR}")

execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND
  ${CMAKE_COMMAND} --install ${STRIDER_BUILD_DIR} --config ${CONFIG} --prefix ${WORK_DIR}/prefix)
execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND
  ${CMAKE_COMMAND} -S ${CMAKE_CURRENT_LIST_DIR} -B ${WORK_DIR}/build -G ${GENERATOR}
  -DCMAKE_BUILD_TYPE=${CONFIG} -DCMAKE_CXX_COMPILER=${CXX_COMPILER} "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}"
  -DCMAKE_PREFIX_PATH=${WORK_DIR}/prefix)
# Another Strider on this machine must not stand in for the one just installed.
file(STRINGS "${WORK_DIR}/build/CMakeCache.txt" found REGEX "^strider_DIR:")
if(NOT found MATCHES "${WORK_DIR}/prefix/")
  message(FATAL_ERROR "not the package that was just installed: ${found}")
endif()
execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND
  ${CMAKE_COMMAND} --build ${WORK_DIR}/build --config ${CONFIG})

find_program(foreign NAMES foreign REQUIRED NO_DEFAULT_PATH
  PATHS ${WORK_DIR}/build ${WORK_DIR}/build/${CONFIG})
execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND ${foreign})
