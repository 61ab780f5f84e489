# Installs the built library into a scratch prefix, then configures, builds
# and runs a small host project that uses it through find_package.
file(REMOVE_RECURSE ${KRTES_WORK_DIR})
set(prefix ${KRTES_WORK_DIR}/prefix)

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "command failed (${rc}): ${ARGV}\n${out}\n${err}")
  endif()
  message("${out}")
endfunction()

run(${CMAKE_COMMAND} --install ${KRTES_BUILD_DIR} --prefix ${prefix})
run(${CMAKE_COMMAND} -S ${KRTES_CONSUMER_DIR} -B ${KRTES_WORK_DIR}/build -G ${KRTES_GENERATOR}
    -DCMAKE_CXX_COMPILER=${KRTES_CXX_COMPILER} -DCMAKE_BUILD_TYPE=${KRTES_BUILD_TYPE}
    "-DCMAKE_CXX_FLAGS=${KRTES_CXX_FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${KRTES_LINKER_FLAGS}"
    -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${KRTES_WORK_DIR}/build)
run(${KRTES_WORK_DIR}/build/consumer)
