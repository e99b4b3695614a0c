# Builds and runs examples/consumer against this build of Quarn.
#   MODE=install: install the build into a scratch prefix and use find_package(Quarn CONFIG) and pkg-config
#   MODE=subdirectory: add the source tree with add_subdirectory()
# Inputs: SOURCE_DIR, BINARY_DIR, WORK_DIR, CXX_COMPILER, MODE.
function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE out)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "${ARGN}\n${out}")
    endif()
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
set(consumer_build ${WORK_DIR}/build)
if(MODE STREQUAL "install")
    set(prefix ${WORK_DIR}/prefix)
    run(${CMAKE_COMMAND} --install ${BINARY_DIR} --prefix ${prefix})
    run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/examples/consumer -B ${consumer_build}
        -DCMAKE_CXX_COMPILER=${CXX_COMPILER} -DCMAKE_PREFIX_PATH=${prefix})
    file(GLOB pc_files ${prefix}/lib*/pkgconfig/quarn.pc ${prefix}/lib/*/pkgconfig/quarn.pc)
    if(NOT pc_files)
        message(FATAL_ERROR "quarn.pc was not installed")
    endif()
    file(READ ${pc_files} pc)
    if(NOT pc MATCHES "Version: 3\\.2\\.20" OR NOT pc MATCHES "-lquarn")
        message(FATAL_ERROR "quarn.pc is incomplete:\n${pc}")
    endif()
else()
    run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/examples/consumer -B ${consumer_build}
        -DCMAKE_CXX_COMPILER=${CXX_COMPILER} -DQUARN_SOURCE_DIR=${SOURCE_DIR})
endif()
run(${CMAKE_COMMAND} --build ${consumer_build})
run(${consumer_build}/consumer)
