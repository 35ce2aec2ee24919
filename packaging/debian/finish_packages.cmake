# CPack runs this on the packages that it has made, and puts into them what it cannot write itself:
# that packages of several architectures stand beside each other, and for the shared library what
# programs linked with it depend on, and the refresh of the loader's cache.
foreach(file ${CPACK_PACKAGE_FILES})
  set(folder ${file}.unpacked)
  file(REMOVE_RECURSE ${folder})
  execute_process(COMMAND dpkg-deb --raw-extract ${file} ${folder} COMMAND_ERROR_IS_FATAL ANY)
  set(control ${folder}/DEBIAN/control)
  file(READ ${control} text)
  string(REGEX REPLACE "(\nArchitecture: [a-z0-9]+\n)" "\\1Multi-Arch: same\n" text "${text}")
  file(WRITE ${control} "${text}")
  if(file MATCHES "/libnevrad[0-9]+_[^/]*$")
    file(WRITE ${folder}/DEBIAN/shlibs "${CPACK_NEVRAD_SHLIBS}")
    list(JOIN CPACK_NEVRAD_SYMBOLS "\n" symbols)
    file(WRITE ${folder}/DEBIAN/symbols "${symbols}\n")
    file(WRITE ${folder}/DEBIAN/triggers "activate-noawait ldconfig\n")
  endif()
  execute_process(COMMAND dpkg-deb --root-owner-group --build ${folder} ${file}
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE_RECURSE ${folder})
endforeach()
