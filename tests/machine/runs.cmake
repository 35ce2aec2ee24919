# The instructions of the AArch64 kernels as they ship.
if(NEVRAD_TWO_FORMS AND CMAKE_BUILD_TYPE STREQUAL "Release" AND NOT NEVRAD_SANITIZER)
  add_test(NAME machine_code
    COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/machine/check_code
      ${CMAKE_CURRENT_SOURCE_DIR}/machine/kernels.txt $<TARGET_OBJECTS:nevrad_objects>
      --rotating $<TARGET_OBJECTS:nevrad_rotating_objects>
    COMMAND_EXPAND_LISTS)
endif()
