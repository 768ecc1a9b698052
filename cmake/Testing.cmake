# corveth_add_tests(TARGET SOURCE...): one GoogleTest executable, each of its cases a test of ctest.
# corveth_add_python_tests(NAME FOLDER): the unittest modules of FOLDER against the built server.

find_package(GTest REQUIRED)
find_package(Python3 3.9 REQUIRED COMPONENTS Interpreter)
include(GoogleTest)

set(CORVETH_TEST_ENVIRONMENT
    "CORVETH_SERVER=${CMAKE_BINARY_DIR}/prjCorveth.so"
    "CORVETH_CLI=${CMAKE_BINARY_DIR}/corveth"
    "PYTHONPATH=${PROJECT_SOURCE_DIR}/clients/python"
    "PYTHONDONTWRITEBYTECODE=1")

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
                        fmt::fmt nlohmann_json::nlohmann_json)
  corveth_precompile(${target} <gtest/gtest.h> <gmock/gmock.h>)
  gtest_discover_tests(${target} DISCOVERY_TIMEOUT 60 PROPERTIES ENVIRONMENT "${CORVETH_TEST_ENVIRONMENT}" TIMEOUT 300)
endfunction()

function(corveth_add_python_tests name folder)
  add_test(NAME ${name} COMMAND ${Python3_EXECUTABLE} -m unittest discover -v -s ${folder} -t ${folder})
  set_tests_properties(${name} PROPERTIES ENVIRONMENT "${CORVETH_PRELOADED_ENVIRONMENT}" TIMEOUT 600)
endfunction()
