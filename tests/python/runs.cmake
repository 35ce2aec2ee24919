# The Python example, with the system's own Python, which is the one that has SciPy.
if(NOT CMAKE_CROSSCOMPILING AND NOT NEVRAD_SANITIZER)
  add_test(NAME python COMMAND
    /usr/bin/python3 ${CMAKE_CURRENT_SOURCE_DIR}/python/check.py $<TARGET_SONAME_FILE:nevrad>)
  set_tests_properties(python PROPERTIES SKIP_RETURN_CODE 77
    ENVIRONMENT "OMP_WAIT_POLICY=passive;OPENBLAS_NUM_THREADS=1")
endif()
