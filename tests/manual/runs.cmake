# What the manual says about two OpenMP runtimes in one process.
if(NOT CMAKE_CROSSCOMPILING AND NOT NEVRAD_SANITIZER)
  add_test(NAME manual_two_runtimes COMMAND
    ${CMAKE_CURRENT_SOURCE_DIR}/manual/run_two_runtimes $<TARGET_SONAME_FILE:nevrad>)
  set_tests_properties(manual_two_runtimes PROPERTIES SKIP_RETURN_CODE 77)
endif()
