# The viewer's tests run the installed program's build.
add_dependencies(test_spy plinth-spy)
target_compile_definitions(test_spy PRIVATE PLINTH_SPY_PROGRAM="$<TARGET_FILE:plinth-spy>")
