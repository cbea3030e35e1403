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
          lib/cmake/plinth/plinthConfig.cmake lib/pkgconfig/plinth.pc bin/plinth-msgc)
  if(NOT EXISTS ${prefix}/${f})
    message(FATAL_ERROR "not installed: ${f}")
  endif()
endforeach()
# Internal headers stay in the source tree.
foreach(f diag/line_builder.h platform/crash_io.h platform/os/os_clock_hooks.h platform/os/os_tls.h
          message/msg_file.h message/string_format.h)
  if(EXISTS ${prefix}/include/plinth/${f})
    message(FATAL_ERROR "internal header installed: ${f}")
  endif()
endforeach()

# Installed programs find the library beside them: no LD_LIBRARY_PATH.
unset(ENV{LD_LIBRARY_PATH})
file(WRITE ${WORK_DIR}/names.txt "@@ORDER 0 1 2 3 4 5 8 6 7\nFIL 1000 E FILE_ENTRY=1000 \"Open failed\" Files 400 200 [Cannot open {1}]\n")
run(${prefix}/bin/plinth-msgc ${WORK_DIR}/names.txt)
if(NOT last_output MATCHES "FILE_ENTRY=1000")
  message(FATAL_ERROR "plinth-msgc printed: ${last_output}")
endif()

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
# Hidden visibility: internal helpers are not exported, the interface is.
execute_process(COMMAND nm -DC --defined-only ${prefix}/lib/libzlt-plinth-4.0.so OUTPUT_VARIABLE syms)
if(syms MATCHES "FormatStrings" OR NOT syms MATCHES "Logger::GetInstance")
  message(FATAL_ERROR "unexpected exported symbols")
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
run(c++ -std=c++20 ${SOURCE_DIR}/main.cpp -o ${WORK_DIR}/consumer-pc ${flags})
file(MAKE_DIRECTORY ${WORK_DIR}/pc)
run(${WORK_DIR}/consumer-pc ${WORK_DIR}/pc)
