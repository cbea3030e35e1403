# Stand-ins for the database library, each under the real file name in a
# folder of its own; a test copies one into a fresh folder that it puts on
# the library search path of a child process.
foreach(variant 1 2 3)
  set(plugin plinth-test-dbdest-${variant})
  add_library(${plugin} MODULE ${CMAKE_CURRENT_SOURCE_DIR}/dbdest/plugins/test_plugin.cpp)
  target_compile_definitions(${plugin} PRIVATE VARIANT=${variant})
  target_include_directories(${plugin} PRIVATE ${PROJECT_SOURCE_DIR}/src)
  set_target_properties(${plugin} PROPERTIES OUTPUT_NAME zlt-plinth-db-4.0 NO_SONAME ON
    LIBRARY_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/dbdest-variant-${variant})
  add_dependencies(test_dbdest ${plugin})
  target_compile_definitions(test_dbdest PRIVATE DBDEST_VARIANT_${variant}="$<TARGET_FILE:${plugin}>")
endforeach()

# The real library end to end, found on the search path that the test's
# environment gives: SQLite needs nothing more, PostgreSQL a throw-away
# server that a fixture starts before and stops after the tests.
set(PLINTH_PG_DIR ${CMAKE_CURRENT_BINARY_DIR}/dbdest-pg)
foreach(store sqlite pg)
  file(GLOB store_sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/dbdest/${store}/*.cpp)
  add_executable(test_db${store} ${store_sources})
  target_link_libraries(test_db${store} PRIVATE plinth::plinth GTest::gtest GTest::gtest_main
    PkgConfig::SQLITE3 PkgConfig::LIBPQ)
  target_include_directories(test_db${store} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
  target_compile_options(test_db${store} PRIVATE -Wall -Wextra)
  target_compile_definitions(test_db${store} PRIVATE
    PLINTH_PG_DIR="${PLINTH_PG_DIR}" PLINTH_PG_SCRIPT="${PROJECT_SOURCE_DIR}/scripts/pg_cluster")
  add_dependencies(test_db${store} plinth-db)
endforeach()
gtest_discover_tests(test_dbsqlite DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
  PROPERTIES ENVIRONMENT "LD_LIBRARY_PATH=${PROJECT_BINARY_DIR}/dbdest/lib")
gtest_discover_tests(test_dbpg DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
  PROPERTIES ENVIRONMENT "LD_LIBRARY_PATH=${PROJECT_BINARY_DIR}/dbdest/lib"
  FIXTURES_REQUIRED plinth_pg RESOURCE_LOCK plinth_pg)
add_test(NAME dbdest.pg.start COMMAND ${PROJECT_SOURCE_DIR}/scripts/pg_cluster start ${PLINTH_PG_DIR})
add_test(NAME dbdest.pg.stop COMMAND ${PROJECT_SOURCE_DIR}/scripts/pg_cluster stop ${PLINTH_PG_DIR})
set_tests_properties(dbdest.pg.start PROPERTIES FIXTURES_SETUP plinth_pg RESOURCE_LOCK plinth_pg)
set_tests_properties(dbdest.pg.stop PROPERTIES FIXTURES_CLEANUP plinth_pg RESOURCE_LOCK plinth_pg)
