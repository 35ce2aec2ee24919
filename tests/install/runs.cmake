# The library as its users get it: installed, found, linked and packaged, from the outside. These
# build programs with other compilers than ours, so a sanitizer's runtime would not come with them.
if(NEVRAD_SANITIZER OR NOT NEVRAD_BUILD_STATIC)
  return()
endif()

set(NEVRAD_INSTALL_TEST_ENVIRONMENT
  BUILD=${PROJECT_BINARY_DIR} SOURCE=${PROJECT_SOURCE_DIR} WORK=${PROJECT_BINARY_DIR}/install-tests
  LIBDIR=${CMAKE_INSTALL_LIBDIR} VERSION=${PROJECT_VERSION} OMP_WAIT_POLICY=passive)
if(CMAKE_CROSSCOMPILING)
  string(JOIN " " emulator ${CMAKE_CROSSCOMPILING_EMULATOR})
  list(APPEND NEVRAD_INSTALL_TEST_ENVIRONMENT
    TARGET=${CMAKE_C_COMPILER_TARGET} "EMULATOR=${emulator}" OPENMP=${NEVRAD_OPENMP_RPATH})
endif()

# nevrad_install_test(NAME TASK [argument...] [SETUP fixture] [REQUIRED fixture])
function(nevrad_install_test name)
  cmake_parse_arguments(PARSE_ARGV 1 test "" "SETUP;REQUIRED" "")
  add_test(NAME ${name}
    COMMAND ${PROJECT_SOURCE_DIR}/tests/install/run ${test_UNPARSED_ARGUMENTS})
  set_tests_properties(${name} PROPERTIES
    ENVIRONMENT "${NEVRAD_INSTALL_TEST_ENVIRONMENT}" LABELS install
    FIXTURES_SETUP "${test_SETUP}" FIXTURES_REQUIRED "${test_REQUIRED}")
endfunction()

nevrad_install_test(install_pages pages SETUP pages)
nevrad_install_test(install_prefix prefix SETUP prefix REQUIRED pages)
nevrad_install_test(install_destdir destdir REQUIRED pages)
foreach(language c cpp fortran)
  nevrad_install_test(install_${language} readme ${language} REQUIRED prefix)
endforeach()
nevrad_install_test(install_static static REQUIRED prefix)

if(NOT CMAKE_CROSSCOMPILING)
  nevrad_install_test(install_openmp openmp REQUIRED prefix)
endif()
# A build for another folder of libraries than Debian's makes no packages for Debian.
if(CMAKE_INSTALL_LIBDIR STREQUAL "lib/${multiarch}")
  nevrad_install_test(package_build packages SETUP packages REQUIRED pages)
  nevrad_install_test(package_lintian lintian REQUIRED packages)
  nevrad_install_test(package_use packaged REQUIRED packages)
else()
  message(STATUS "Debian packages are not tested: libraries go to ${CMAKE_INSTALL_LIBDIR}")
endif()

# Fortran: the module's text, then its interfaces at work.
if(NOT CMAKE_CROSSCOMPILING)
  add_test(NAME fortran_module
    COMMAND ${PROJECT_SOURCE_DIR}/tests/fortran/check_module ${PROJECT_SOURCE_DIR})
  set_tests_properties(fortran_module PROPERTIES LABELS fortran)
endif()
nevrad_install_test(fortran_build fortran SETUP fortran REQUIRED prefix)
foreach(family frame vector mv sv mm sm spsp external)
  nevrad_install_test(fortran_${family} family ${family} REQUIRED fortran)
endforeach()
