# CPack runs this on the installed files, before it makes packages of them: what Debian's policy asks
# of a package beyond what an installation has.
file(GLOB roots LIST_DIRECTORIES true ${CPACK_TEMPORARY_DIRECTORY}/*)
foreach(root ${roots})
  get_filename_component(component ${root} NAME)
  string(TOUPPER ${component} component)
  set(package ${CPACK_DEBIAN_${component}_PACKAGE_NAME})
  if(NOT package)
    continue()
  endif()
  set(doc ${root}/usr/share/doc/${package})
  file(MAKE_DIRECTORY ${doc})
  file(COPY ${CPACK_NEVRAD_SOURCE_DIR}/packaging/debian/copyright DESTINATION ${doc})
  file(COPY_FILE ${CPACK_NEVRAD_SOURCE_DIR}/packaging/debian/changelog ${doc}/changelog.Debian)
  if(EXISTS ${root}/usr/share/doc/nevrad)
    file(RENAME ${root}/usr/share/doc/nevrad/examples ${doc}/examples)
    file(REMOVE_RECURSE ${root}/usr/share/doc/nevrad)
  endif()
  file(GLOB_RECURSE texts ${doc}/changelog.Debian ${root}/usr/share/man/*)
  foreach(text ${texts})
    execute_process(COMMAND gzip -9n ${text} COMMAND_ERROR_IS_FATAL ANY)
  endforeach()
  file(WRITE ${root}/usr/share/lintian/overrides/${package}
    "# The project packages itself: no request in Debian's tracker is closed by that.\n"
    "${package}: initial-upload-closes-no-bugs *\n")
  # The prefix is the system's: said so, pkg-config leaves out the folders that compilers know.
  file(GLOB_RECURSE descriptions ${root}/usr/lib/*.pc)
  foreach(description ${descriptions})
    file(READ ${description} text)
    string(REGEX REPLACE "(^|\n)prefix=[^\n]*" "\\1prefix=/usr" text "${text}")
    file(WRITE ${description} "${text}")
  endforeach()
  # "Installing with strip" leaves static libraries alone.
  file(GLOB_RECURSE archives ${root}/usr/lib/*.a)
  foreach(archive ${archives})
    execute_process(COMMAND ${CPACK_NEVRAD_STRIP} --strip-debug --remove-section=.comment ${archive}
      COMMAND_ERROR_IS_FATAL ANY)
  endforeach()
endforeach()
