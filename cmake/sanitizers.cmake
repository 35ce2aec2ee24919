# Sanitizers by preset: NEVRAD_SANITIZER is empty, "address" (with UBSan) or "thread".

set(NEVRAD_SANITIZER "" CACHE STRING "address, thread or nothing")
set_property(CACHE NEVRAD_SANITIZER PROPERTY STRINGS "" address thread)
set(NEVRAD_SANITIZER_ENVIRONMENT "")

if(NEVRAD_SANITIZER STREQUAL "address")
  # Edges are counted for the fuzzers; other programs count for nobody.
  set(sanitizer_flags -fsanitize=address,undefined,fuzzer-no-link -fno-sanitize-recover=all)
  set(NEVRAD_SANITIZER_ENVIRONMENT
    "ASAN_OPTIONS=detect_stack_use_after_return=1" "UBSAN_OPTIONS=print_stacktrace=1"
    "LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/cmake/leaks.supp:print_suppressions=0")
elseif(NEVRAD_SANITIZER STREQUAL "thread")
  set(sanitizer_flags -fsanitize=thread)
  # Archer tells ThreadSanitizer how the runtime synchronises; it stands beside the runtime itself.
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libarcher.so
    OUTPUT_VARIABLE archer OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT IS_ABSOLUTE "${archer}" OR NOT EXISTS "${archer}")
    find_library(NEVRAD_ARCHER NAMES archer PATHS /usr/lib/llvm-19/lib NO_DEFAULT_PATH)
    set(archer ${NEVRAD_ARCHER})
  endif()
  if(NOT archer)
    message(FATAL_ERROR "libarcher.so is missing (Debian: libomp-19-dev)")
  endif()
  get_filename_component(archer ${archer} REALPATH)
  set(NEVRAD_SANITIZER_ENVIRONMENT
    "OMP_TOOL_LIBRARIES=${archer}"
    "TSAN_OPTIONS=ignore_noninstrumented_modules=1 history_size=4")
elseif(NOT NEVRAD_SANITIZER STREQUAL "")
  message(FATAL_ERROR "NEVRAD_SANITIZER is '${NEVRAD_SANITIZER}': address, thread or nothing")
endif()

if(NEVRAD_SANITIZER)
  # Assertions stay on, and the code is optimised a little: enough for speed, readable in a trace.
  add_compile_options(${sanitizer_flags} -O1 -g -UNDEBUG -fno-omit-frame-pointer)
  add_link_options(${sanitizer_flags})
endif()
