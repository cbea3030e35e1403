# Installs the build tree into WORK_DIR/prefix, then configures, builds and
# runs the consumer project against it, and compiles it once more with the
# flags that pkg-config gives.
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGV}\n${out}\n${err}")
  endif()
  set(last_output "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

foreach(f include/plinth/plinth.h include/plinth/logger/logger.h lib/libzlt-plinth-4.0.so
          lib/cmake/plinth/plinthConfig.cmake lib/pkgconfig/plinth.pc)
  if(NOT EXISTS ${prefix}/${f})
    message(FATAL_ERROR "not installed: ${f}")
  endif()
endforeach()

run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/build -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Release)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${WORK_DIR}/build/consumer ${WORK_DIR})
if(NOT last_output MATCHES "consumer wrote")
  message(FATAL_ERROR "consumer printed: ${last_output}")
endif()

# The library's SONAME is its file name.
execute_process(COMMAND objdump -p ${prefix}/lib/libzlt-plinth-4.0.so OUTPUT_VARIABLE dyn)
if(NOT dyn MATCHES "SONAME +libzlt-plinth-4.0.so")
  message(FATAL_ERROR "unexpected SONAME:\n${dyn}")
endif()

# The installed viewer finds the installed library through its RUNPATH.
run(${prefix}/bin/plinth-spy --help)
if(NOT last_output MATCHES "usage: plinth-spy")
  message(FATAL_ERROR "plinth-spy --help printed: ${last_output}")
endif()

set(ENV{PKG_CONFIG_PATH} ${prefix}/lib/pkgconfig)
run(pkg-config --cflags --libs plinth)
string(STRIP "${last_output}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(c++ -std=c++20 ${SOURCE_DIR}/main.cpp -o ${WORK_DIR}/consumer-pc ${flags} -Wl,-rpath,${prefix}/lib)
run(${WORK_DIR}/consumer-pc ${WORK_DIR})
