# How tests become programs and runs.
#
#   nevrad_test(NAME sources... [OBJECTS | SHARED] [LINK_OPTIONS flag...])
#     builds nevrad_NAME_tests with GoogleTest's main and tests/support, on the library's objects
#     (hidden names can be reached; the default) or on the shared library, and registers a run.
#   nevrad_test_run(NAME TARGET program [SHARDS n] [FILTER pattern] [CORE model]
#                   [ENVIRONMENT VAR=value...])
#     registers one more run of a program: what an environment variable changes needs a process of
#     its own. A run is cut into shards so that ctest can spread it over the cores. CORE is the
#     emulator's name of a processor, in the place of the one with all instructions.

# Threads that wait without spinning: teams here are often larger than the machine. The default team
# is odd and not one, so that work which does not divide evenly is the usual case.
set(NEVRAD_TEST_ENVIRONMENT
  OMP_WAIT_POLICY=passive OMP_NUM_THREADS=3 ${NEVRAD_SANITIZER_ENVIRONMENT})
if(CMAKE_CROSSCOMPILING)
  list(APPEND NEVRAD_TEST_ENVIRONMENT NEVRAD_CORE=max)
endif()

function(nevrad_test_run name)
  cmake_parse_arguments(PARSE_ARGV 1 run "" "TARGET;SHARDS;FILTER;CORE" "ENVIRONMENT")
  if(NOT run_SHARDS)
    set(run_SHARDS 1)
  endif()
  set(arguments --gtest_brief=1 --gtest_color=no)
  if(run_FILTER)
    list(APPEND arguments "--gtest_filter=${run_FILTER}")
  endif()
  set(program ${run_TARGET})
  if(run_CORE)
    string(REPLACE "-cpu;max" "-cpu;${run_CORE}" program "${CMAKE_CROSSCOMPILING_EMULATOR}")
    list(APPEND program $<TARGET_FILE:${run_TARGET}>)
    list(APPEND run_ENVIRONMENT NEVRAD_CORE=${run_CORE})
  endif()
  math(EXPR last "${run_SHARDS} - 1")
  foreach(shard RANGE ${last})
    set(run_name ${name})
    if(run_SHARDS GREATER 1)
      string(APPEND run_name ".${shard}")
    endif()
    add_test(NAME ${run_name} COMMAND ${program} ${arguments})
    # Later settings of a variable win, so a run can change what all of them have.
    set_tests_properties(${run_name} PROPERTIES ENVIRONMENT
      "GTEST_TOTAL_SHARDS=${run_SHARDS};GTEST_SHARD_INDEX=${shard};${NEVRAD_TEST_ENVIRONMENT};${run_ENVIRONMENT}")
  endforeach()
endfunction()

function(nevrad_test name)
  cmake_parse_arguments(PARSE_ARGV 1 test "OBJECTS;SHARED" "SHARDS" "LINK_OPTIONS")
  set(target nevrad_${name}_tests)
  add_executable(${target} ${test_UNPARSED_ARGUMENTS})
  if(test_SHARED)
    target_link_libraries(${target} PRIVATE nevrad nevrad_openmp)
  else()
    target_link_libraries(${target} PRIVATE nevrad_objects)
  endif()
  target_link_libraries(${target} PRIVATE
    nevrad_test_support nevrad_warnings GTest::gtest_main GTest::gmock)
  # The library is built as it ships; its tests only have to be quick to build. Those of the
  # arithmetic layer are that layer, inlined.
  if(name MATCHES "^arith")
    target_compile_options(${target} PRIVATE -O2)
  else()
    target_compile_options(${target} PRIVATE -O1)
  endif()
  target_link_options(${target} PRIVATE ${test_LINK_OPTIONS})
  target_compile_definitions(${target} PRIVATE
    NEVRAD_LIBRARY="$<TARGET_SONAME_FILE:nevrad>"
    NEVRAD_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
  add_dependencies(${target} nevrad)
  set_target_properties(${target} PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests)
  nevrad_test_run(${name} TARGET ${target} SHARDS ${test_SHARDS})
endfunction()
