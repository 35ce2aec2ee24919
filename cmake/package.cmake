# Debian packages of an installed build: libnevrad1 with the shared library, libnevrad-dev with what
# programs are built from. "cpack --config build/PRESET/CPackConfig.cmake" makes them in seconds.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME nevrad)
# Each package has a summary of its own.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE nevrad)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "The nevrad developers <maintainers@nevrad.example>")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
  set(processor "It runs on every core of this architecture, and uses the complex rotations of
Armv8.3-A where a core has them.")
else()
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE amd64)
  set(processor "The library needs a processor with the instructions of x86-64-v3.")
endif()
set(about "It computes products of CSR and CSC matrices with vectors and dense
matrices, triangular solves, and sums and products of sparse matrices, in
four element types and on OpenMP threads. The rounding of every operation
is fixed and documented, and the same on all architectures.

${processor}
")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libnevrad${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# As dpkg-shlibdeps finds it, which cannot look into packages of another architecture.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "libc6 (>= 2.17), libomp5-19 (>= 1:19.1.6)")
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "sparse BLAS with fixed rounding (shared library)
${about}
This package contains the shared library.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libnevrad-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "libnevrad${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
# The static library is linked with the OpenMP runtime's development files.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_RECOMMENDS libomp-19-dev)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "sparse BLAS with fixed rounding (development files)
${about}
This package contains the header, the static library, the files for CMake
and pkg-config, the source of the Fortran module, manual pages and examples.")

set(CPACK_NEVRAD_SOURCE_DIR ${PROJECT_SOURCE_DIR})
set(CPACK_NEVRAD_STRIP ${CMAKE_STRIP})
set(CPACK_NEVRAD_SHLIBS
  "libnevrad ${PROJECT_VERSION_MAJOR} libnevrad${PROJECT_VERSION_MAJOR} (>= ${PROJECT_VERSION})\n")
# Every function has been there from the first version on.
file(STRINGS src/exports.map functions REGEX "^    [A-Za-z_]+;$")
list(TRANSFORM functions REPLACE "^    ([A-Za-z_]+);$" " \\1@Base ${PROJECT_VERSION}")
list(PREPEND functions
  "libnevrad.so.${PROJECT_VERSION_MAJOR} libnevrad${PROJECT_VERSION_MAJOR} #MINVER#"
  "* Build-Depends-Package: libnevrad-dev")
set(CPACK_NEVRAD_SYMBOLS ${functions})
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/debian/finish_files.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/debian/finish_packages.cmake)
include(CPack)
