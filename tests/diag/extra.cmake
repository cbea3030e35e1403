# plinth-levels' tests run the real program.
if(TARGET plinth-levels)
  add_dependencies(test_diag plinth-levels)
  target_compile_definitions(test_diag PRIVATE PLINTH_LEVELS_PATH="$<TARGET_FILE:plinth-levels>")
endif()
