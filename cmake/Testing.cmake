# corveth_add_tests(TARGET SOURCE...): one GoogleTest executable, each of its cases a test of ctest. What runs on
# PostgreSQL carries that label and has a server, which ctest starts before the first and stops after the last.
# corveth_add_python_tests(NAME FOLDER [SERVER]): the unittest modules of FOLDER against the built library; with SERVER
# they have the PostgreSQL server too.

find_package(GTest REQUIRED)
find_package(Python3 3.9 REQUIRED COMPONENTS Interpreter)
include(GoogleTest)

set(CORVETH_TEST_ENVIRONMENT
    "CORVETH_SERVER=${CMAKE_BINARY_DIR}/prjCorveth.so"
    "CORVETH_CLI=${CMAKE_BINARY_DIR}/corveth"
    "PYTHONPATH=${PROJECT_SOURCE_DIR}/clients/python"
    "PYTHONDONTWRITEBYTECODE=1")

# Server and tests know each other by the folder of the socket, whose path must be short and open to a user without
# rights. Each build folder has its own.
string(MD5 build_mark ${CMAKE_BINARY_DIR})
string(SUBSTRING ${build_mark} 0 8 build_mark)
set(CORVETH_TEST_SERVER /tmp/corveth-server-${build_mark})
set(server_command ${PROJECT_SOURCE_DIR}/tests/support/server)
add_test(NAME server_start COMMAND ${server_command} start ${CORVETH_TEST_SERVER} --with-parent)
add_test(NAME server_stop COMMAND ${server_command} stop ${CORVETH_TEST_SERVER})
set_tests_properties(server_start PROPERTIES FIXTURES_SETUP server LABELS postgresql TIMEOUT 120)
set_tests_properties(server_stop PROPERTIES FIXTURES_CLEANUP server LABELS postgresql TIMEOUT 120)

# A plain interpreter that loads an instrumented library needs the sanitizer's run time before anything else, and
# what the interpreter itself never frees is not ours to report.
set(CORVETH_PRELOADED_ENVIRONMENT ${CORVETH_TEST_ENVIRONMENT})
if(CORVETH_SANITIZE MATCHES "address")
  set(run_times "")
  foreach(library libasan.so libstdc++.so)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${library}
                    OUTPUT_VARIABLE found OUTPUT_STRIP_TRAILING_WHITESPACE)
    list(APPEND run_times ${found})
  endforeach()
  list(JOIN run_times ":" run_times)
  list(APPEND CORVETH_PRELOADED_ENVIRONMENT "LD_PRELOAD=${run_times}" "ASAN_OPTIONS=detect_leaks=0")
endif()

function(corveth_add_tests target)
  add_executable(${target} ${ARGN})
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${target} PRIVATE corveth_options corveth GTest::gtest_main GTest::gmock SQLite::SQLite3
                        PkgConfig::libpq ${CMAKE_DL_LIBS} fmt::fmt nlohmann_json::nlohmann_json)
  corveth_precompile(${target} <gtest/gtest.h> <gmock/gmock.h>)
  # One value each: a list would come apart on its way through the discovery.
  set(server "ENVIRONMENT;CORVETH_SERVER=${CMAKE_BINARY_DIR}/prjCorveth.so")
  gtest_discover_tests(${target} TEST_FILTER -*/PostgreSQL* NO_PRETTY_VALUES DISCOVERY_TIMEOUT 60
                       PROPERTIES ${server} TIMEOUT 300)
  gtest_discover_tests(${target} TEST_FILTER */PostgreSQL* NO_PRETTY_VALUES DISCOVERY_TIMEOUT 60
                       PROPERTIES ${server} ENVIRONMENT_MODIFICATION CORVETH_TEST_SERVER=set:${CORVETH_TEST_SERVER}
                       TIMEOUT 300 LABELS postgresql FIXTURES_REQUIRED server)
endfunction()

function(corveth_add_python_tests name folder)
  add_test(NAME ${name} COMMAND ${Python3_EXECUTABLE} -m unittest discover -v -s ${folder} -t ${folder})
  set_tests_properties(${name} PROPERTIES ENVIRONMENT "${CORVETH_PRELOADED_ENVIRONMENT}" TIMEOUT 600)
  if("SERVER" IN_LIST ARGN)
    set_tests_properties(${name} PROPERTIES LABELS postgresql FIXTURES_REQUIRED server
                         ENVIRONMENT_MODIFICATION CORVETH_TEST_SERVER=set:${CORVETH_TEST_SERVER})
  endif()
endfunction()
