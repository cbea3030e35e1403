# The crash tests run plinth-crashme, which crashes in the way they ask for.
add_dependencies(test_crash plinth-crashme)
target_compile_definitions(test_crash PRIVATE PLINTH_CRASHME="$<TARGET_FILE:plinth-crashme>")
