# Installs the build tree once into WORK_DIR/prefix, builds the README's quick
# starts (examples/) against it and runs each; runs the installed tools.
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
run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/build -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Release)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
foreach(example diag ring messages)
  file(MAKE_DIRECTORY ${WORK_DIR}/run-${example})
  run(${WORK_DIR}/build/quickstart_${example} ${WORK_DIR}/run-${example})
  message(STATUS "quickstart_${example}: ${last_output}")
endforeach()

# The installed tools find the installed library through their RUNPATH.
run(${prefix}/bin/plinth-levels --help)
if(NOT last_output MATCHES "usage: plinth-levels")
  message(FATAL_ERROR "plinth-levels --help printed: ${last_output}")
endif()
run(${prefix}/bin/plinth-levels --file ${prefix}/share/plinth/sample_DiagLvls.ini)
run(${prefix}/bin/plinth-msgc --help)
