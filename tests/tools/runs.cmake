# The rules by which nevrad-check judges are held against the library; the tools themselves are run
# where they are built.
target_sources(nevrad_tools_tests PRIVATE ${PROJECT_SOURCE_DIR}/tools/check/rules.cpp)
target_include_directories(nevrad_tools_tests PRIVATE ${PROJECT_SOURCE_DIR}/tools)
if(NEVRAD_BUILD_TOOLS)
  add_test(NAME tools_run COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/tools/run ${PROJECT_BINARY_DIR})
endif()
