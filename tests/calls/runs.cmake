if(NOT CMAKE_CROSSCOMPILING)
  nevrad_test_run(calls_thread_limit TARGET nevrad_calls_tests FILTER "forms*agree*"
    ENVIRONMENT OMP_THREAD_LIMIT=4)
  nevrad_test_run(calls_dynamic TARGET nevrad_calls_tests FILTER "forms*smaller_team*"
    ENVIRONMENT OMP_DYNAMIC=true)
endif()
if(NEVRAD_TWO_FORMS AND CMAKE_CROSSCOMPILING)
  # Cores without the complex rotations.
  foreach(core cortex-a72 neoverse-n1)
    nevrad_test_run(calls_${core} TARGET nevrad_calls_tests CORE ${core}
      FILTER "core.*:both_forms*differ*:forms/c.agree*:forms/z.agree*")
  endforeach()
endif()
if(NEVRAD_SANITIZER STREQUAL "thread")
  add_executable(nevrad_planted_race ${CMAKE_CURRENT_SOURCE_DIR}/calls/planted_race.cpp)
  target_link_libraries(nevrad_planted_race PRIVATE nevrad_objects nevrad_openmp nevrad_warnings)
  target_include_directories(nevrad_planted_race PRIVATE
    ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src)
  add_test(NAME calls_planted_race COMMAND nevrad_planted_race)
  set_tests_properties(calls_planted_race PROPERTIES
    ENVIRONMENT "${NEVRAD_TEST_ENVIRONMENT}"
    PASS_REGULAR_EXPRESSION "WARNING: ThreadSanitizer: data race.*planted_race")
endif()
