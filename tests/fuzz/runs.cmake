# Programs that search for inputs, guided by coverage of the library. scripts/fuzz runs them.
if(NEVRAD_SANITIZER STREQUAL "fuzzer")
  foreach(what structure arguments)
    add_executable(nevrad_fuzz_${what} ${CMAKE_CURRENT_SOURCE_DIR}/fuzz/${what}_fuzz.cpp)
    target_link_libraries(nevrad_fuzz_${what} PRIVATE
      nevrad_objects nevrad_test_support nevrad_warnings GTest::gtest)
    target_link_options(nevrad_fuzz_${what} PRIVATE -fsanitize=fuzzer)
    set_target_properties(nevrad_fuzz_${what} PROPERTIES
      RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests)
  endforeach()
endif()
