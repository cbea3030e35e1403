# The generator's tests run the real program.
if(TARGET plinth-msgc)
  add_dependencies(test_message plinth-msgc)
  target_compile_definitions(test_message PRIVATE PLINTH_MSGC_PATH="$<TARGET_FILE:plinth-msgc>")
endif()
