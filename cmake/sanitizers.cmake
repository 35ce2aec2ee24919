# Instrumented builds by preset: NEVRAD_SANITIZER is empty, "address" (with UBSan), "thread",
# "fuzzer" (AddressSanitizer, and edges counted for the fuzzers) or "coverage".

set(NEVRAD_SANITIZER "" CACHE STRING "address, thread, fuzzer, coverage or nothing")
set_property(CACHE NEVRAD_SANITIZER PROPERTY STRINGS "" address thread fuzzer coverage)
set(NEVRAD_SANITIZER_ENVIRONMENT "")
set(NEVRAD_LIBRARY_FLAGS "")

if(NEVRAD_SANITIZER STREQUAL "fuzzer")
  # UBSan would triple the time to build; the inputs that are kept are replayed under it.
  set(sanitizer_flags -fsanitize=address,fuzzer-no-link)
elseif(NEVRAD_SANITIZER STREQUAL "coverage")
  # Of the library alone: what a test reaches of itself is not asked.
  set(NEVRAD_LIBRARY_FLAGS -fprofile-instr-generate -fcoverage-mapping -O1 -g1 -UNDEBUG)
  add_link_options(-fprofile-instr-generate)
elseif(NEVRAD_SANITIZER STREQUAL "address")
  set(sanitizer_flags -fsanitize=address,undefined -fno-sanitize-recover=all)
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
  message(FATAL_ERROR "NEVRAD_SANITIZER is '${NEVRAD_SANITIZER}': address, thread, fuzzer, coverage or nothing")
endif()

if(NEVRAD_SANITIZER STREQUAL "fuzzer")
  # Inputs are small: what optimising would save in a minute of them, it takes several times to build.
  add_compile_options(${sanitizer_flags} -O0 -g1 -UNDEBUG)
  add_link_options(${sanitizer_flags})
elseif(NOT NEVRAD_SANITIZER MATCHES "^(coverage)?$")
  # Assertions stay on, and the code is optimised a little: enough for speed, readable in a trace.
  add_compile_options(${sanitizer_flags} -O1 -g -UNDEBUG -fno-omit-frame-pointer)
  add_link_options(${sanitizer_flags})
endif()
