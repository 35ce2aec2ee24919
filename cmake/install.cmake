# What "cmake --install" lays down, in two components: runtime (the shared library and its soname's
# link) and development (everything else).

# Debian's loader, linker, pkg-config and CMake look below the architecture's own folder, in /usr and
# in /usr/local.
set(multiarch ${CMAKE_C_COMPILER_TARGET})
if(NOT multiarch)
  set(multiarch ${CMAKE_LIBRARY_ARCHITECTURE})
endif()
if(multiarch AND EXISTS /etc/debian_version AND NOT DEFINED CMAKE_INSTALL_LIBDIR)
  set(CMAKE_INSTALL_LIBDIR lib/${multiarch} CACHE PATH "Folder of libraries below the prefix")
endif()
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/nevrad)
set(installed_targets nevrad)
if(NEVRAD_BUILD_STATIC)
  list(APPEND installed_targets nevrad_static)
endif()
install(TARGETS ${installed_targets} EXPORT nevradTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# The module's source, since a compiled module suits one version of one compiler.
install(FILES include/nevrad.h fortran/nevrad.f90
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

# Where the static library's user finds the OpenMP runtime to link: the folder that the compiler takes
# it from. Debian's packages of the runtime use one folder on all architectures, so the host's stands
# for the target's.
set(openmp_folder "")
execute_process(COMMAND ${CMAKE_C_COMPILER} -print-file-name=libomp.so
  OUTPUT_VARIABLE openmp_library OUTPUT_STRIP_TRAILING_WHITESPACE)
if(IS_ABSOLUTE "${openmp_library}")
  cmake_path(NORMAL_PATH openmp_library)
  cmake_path(GET openmp_library PARENT_PATH openmp_folder)
endif()

install(EXPORT nevradTargets NAMESPACE nevrad::
  DESTINATION ${package_dir} COMPONENT development)
configure_package_config_file(cmake/nevradConfig.cmake.in
  ${PROJECT_BINARY_DIR}/install/nevradConfig.cmake
  INSTALL_DESTINATION ${package_dir} PATH_VARS CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/install/nevradConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/install/nevradConfig.cmake
  ${PROJECT_BINARY_DIR}/install/nevradConfigVersion.cmake
  DESTINATION ${package_dir} COMPONENT development)

# The prefix is told from the file's own place, so that it holds for every --prefix and DESTDIR.
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH prefix_from_pkgconfig /${pkgconfig_dir} /)
string(REGEX REPLACE "/$" "" prefix_from_pkgconfig "${prefix_from_pkgconfig}")
set(openmp_link "-lomp")
if(openmp_folder)
  set(openmp_link "-L${openmp_folder} -lomp")
endif()
configure_file(cmake/nevrad.pc.in ${PROJECT_BINARY_DIR}/install/nevrad.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/install/nevrad.pc
  DESTINATION ${pkgconfig_dir} COMPONENT development)

# Manual pages, where they have been made (by the target doc).
install(DIRECTORY ${PROJECT_BINARY_DIR}/doc/man/man3
  DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT development OPTIONAL)

install(FILES docs/manual.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
install(DIRECTORY examples/c examples/cpp examples/fortran examples/python
  DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT development
  PATTERN "__pycache__" EXCLUDE)
