# The exits library of the message logger, and a second test program that
# finds it through LD_LIBRARY_PATH. The first program runs without it.
# The test program holds the library's objects and exports their public
# symbols; the exits library binds to those when it is loaded, so the
# process has one copy of each singleton.
set(msglogger_dir ${CMAKE_CURRENT_LIST_DIR})
add_library(zlt-loggerexits SHARED ${msglogger_dir}/exits/loggerexits.cpp)
target_include_directories(zlt-loggerexits PRIVATE $<TARGET_PROPERTY:plinth::internal,INTERFACE_INCLUDE_DIRECTORIES>)
set_target_properties(zlt-loggerexits PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/exits)

add_executable(test_msglogger_exits ${msglogger_dir}/exits/exits_test.cpp)
target_link_libraries(test_msglogger_exits PRIVATE plinth::internal GTest::gtest GTest::gtest_main)
set_target_properties(test_msglogger_exits PROPERTIES ENABLE_EXPORTS ON)
target_include_directories(test_msglogger_exits PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
target_compile_options(test_msglogger_exits PRIVATE -Wall -Wextra)
add_dependencies(test_msglogger_exits zlt-loggerexits)
gtest_discover_tests(test_msglogger_exits DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
  PROPERTIES ENVIRONMENT "LD_LIBRARY_PATH=${CMAKE_CURRENT_BINARY_DIR}/exits")
