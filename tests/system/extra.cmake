# Two builds of one plug-in under the same file name: one beside
# libzlt-plinth-4.0.so, where DynamicLibrary looks first for a bare name,
# and one in a directory of its own, loaded by path.
foreach(origin 1 2)
  set(plugin plinth-test-plugin-${origin})
  add_library(${plugin} MODULE ${CMAKE_CURRENT_SOURCE_DIR}/system/plugin/plugin.cpp)
  target_compile_definitions(${plugin} PRIVATE PLUGIN_ORIGIN=${origin})
  set_target_properties(${plugin} PROPERTIES OUTPUT_NAME plinth-test-plugin NO_SONAME ON)
  add_dependencies(test_system ${plugin})
endforeach()
set_target_properties(plinth-test-plugin-1 PROPERTIES
  LIBRARY_OUTPUT_DIRECTORY $<TARGET_FILE_DIR:plinth>)
set_target_properties(plinth-test-plugin-2 PROPERTIES
  LIBRARY_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/plugin-elsewhere)
target_compile_definitions(test_system PRIVATE
  PLINTH_TEST_PLUGIN_ELSEWHERE="$<TARGET_FILE:plinth-test-plugin-2>")
