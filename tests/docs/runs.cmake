# The documentation is the same for every target.
if(NOT CMAKE_CROSSCOMPILING AND NOT NEVRAD_SANITIZER)
  add_test(NAME docs COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/docs/run)
  set_tests_properties(docs PROPERTIES SKIP_RETURN_CODE 77)
endif()
