# Builds a small host project against the library, the way a host would take
# it (KRTES_CONSUMER_MODE: "installed" installs the build into a scratch
# prefix and uses find_package; "subdirectory" adds the source tree), runs
# it, and checks that an internal header cannot be included from there.
file(REMOVE_RECURSE ${KRTES_WORK_DIR})
set(prefix ${KRTES_WORK_DIR}/prefix)

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "command failed (${rc}): ${ARGV}\n${out}\n${err}")
  endif()
  message("${out}")
endfunction()

if(KRTES_CONSUMER_MODE STREQUAL "installed")
  run(${CMAKE_COMMAND} --install ${KRTES_BUILD_DIR} --prefix ${prefix})
endif()
run(${CMAKE_COMMAND} -S ${KRTES_CONSUMER_DIR} -B ${KRTES_WORK_DIR}/build -G ${KRTES_GENERATOR}
    -DKRTES_CONSUMER_MODE=${KRTES_CONSUMER_MODE} -DKRTES_SOURCE_DIR=${KRTES_SOURCE_DIR}
    -DCMAKE_CXX_COMPILER=${KRTES_CXX_COMPILER} -DCMAKE_BUILD_TYPE=${KRTES_BUILD_TYPE}
    "-DCMAKE_CXX_FLAGS=${KRTES_CXX_FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${KRTES_LINKER_FLAGS}"
    -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${KRTES_WORK_DIR}/build --target consumer)
run(${KRTES_WORK_DIR}/build/consumer)

execute_process(COMMAND ${CMAKE_COMMAND} --build ${KRTES_WORK_DIR}/build --target internal_probe
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(rc EQUAL 0)
  message(FATAL_ERROR "a host could include the internal header tin/KrDelaunayCore.h")
endif()
if(NOT "${out}${err}" MATCHES "KrDelaunayCore.h")
  message(FATAL_ERROR "the internal-header probe failed for another reason:\n${out}\n${err}")
endif()
message("internal header unreachable from the host, as it should be")
file(REMOVE_RECURSE ${KRTES_WORK_DIR})
