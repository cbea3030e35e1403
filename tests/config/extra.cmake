# The tool's tests run the real program.
if(TARGET plinth-ini)
  add_dependencies(test_config plinth-ini)
  target_compile_definitions(test_config PRIVATE PLINTH_INI_PATH="$<TARGET_FILE:plinth-ini>")
endif()
