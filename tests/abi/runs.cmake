# The sanitizers' own libraries come beside libc, libm and libomp.
if(NEVRAD_SANITIZER)
  set(dependencies any-dependencies)
else()
  set(dependencies "")
endif()
add_test(NAME abi_exports COMMAND
  ${CMAKE_CURRENT_SOURCE_DIR}/abi/check_exports
  $<TARGET_SONAME_FILE:nevrad> ${PROJECT_SOURCE_DIR}/include/nevrad.h ${dependencies})

# Anew after functions have been added: tests/abi/check_abi --store LIBRARY include tests/abi/nevrad.abi
if(NOT NEVRAD_SANITIZER)
  add_test(NAME abi_types COMMAND
    ${CMAKE_CURRENT_SOURCE_DIR}/abi/check_abi
    $<TARGET_SONAME_FILE:nevrad> ${PROJECT_SOURCE_DIR}/include
    ${CMAKE_CURRENT_SOURCE_DIR}/abi/nevrad.abi)
endif()

# The shared library on a core without the complex rotations.
if(NEVRAD_TWO_FORMS AND CMAKE_CROSSCOMPILING)
  nevrad_test_run(abi_cortex-a72 TARGET nevrad_abi_tests CORE cortex-a72)
endif()
