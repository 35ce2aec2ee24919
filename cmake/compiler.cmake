# One compiler and one OpenMP runtime: fixed rounding is promised for code that clang 19 compiles,
# and a process that forks keeps computing with LLVM's libomp only.

foreach(language C CXX)
  if(NOT CMAKE_${language}_COMPILER_ID STREQUAL "Clang"
     OR NOT CMAKE_${language}_COMPILER_VERSION MATCHES "^19\\.")
    message(FATAL_ERROR
      "nevrad is built with clang 19; the ${language} compiler here is "
      "${CMAKE_${language}_COMPILER_ID} ${CMAKE_${language}_COMPILER_VERSION} "
      "(${CMAKE_${language}_COMPILER}). Use a preset: cmake --preset release")
  endif()
endforeach()

# What is not written fused must not be fused, in the tests and peers as well.
add_compile_options(-ffp-contract=off)

# Whether the flags ask for AArch64 cores of which some lack the complex rotations.
include(CheckCXXSourceCompiles)
set(CMAKE_REQUIRED_QUIET ON)
check_cxx_source_compiles([[
#if !defined(__aarch64__) || defined(__ARM_FEATURE_COMPLEX)
#error one form of the complex kernels serves all of them
#endif
int main() {}
]] NEVRAD_TWO_FORMS)
if(NEVRAD_TWO_FORMS)
  message(STATUS "Complex kernels: two forms, of which the library chooses when it is loaded")
endif()

# Other spellings of the flag, from the environment or a cache, would bring another runtime.
if("${CMAKE_CXX_FLAGS} ${CMAKE_EXE_LINKER_FLAGS} ${CMAKE_SHARED_LINKER_FLAGS}"
   MATCHES "-fopenmp=lib(gomp|iomp5)|-l(gomp|iomp5)")
  message(FATAL_ERROR "nevrad runs on LLVM's libomp alone; the flags ask for ${CMAKE_MATCH_0}")
endif()

add_library(nevrad_openmp INTERFACE)
target_compile_options(nevrad_openmp INTERFACE -fopenmp=libomp)
target_link_options(nevrad_openmp INTERFACE -fopenmp=libomp)

# The names of the libraries that a trial program loads are what counts, so they are read from it.
set(trial_source ${CMAKE_BINARY_DIR}/CMakeFiles/openmp_trial.cpp)
set(trial_program ${CMAKE_BINARY_DIR}/CMakeFiles/openmp_trial)
file(WRITE ${trial_source} [[
#include <omp.h>
extern "C" int __kmpc_global_thread_num(void*);
int main() {
  int threads = 0;
#pragma omp parallel reduction(+ : threads)
  threads += 1;
  return threads + __kmpc_global_thread_num(nullptr) + omp_get_max_threads() == 0;
}
]])
try_compile(trial_links ${CMAKE_BINARY_DIR}/openmp_trial SOURCES ${trial_source}
  COMPILE_DEFINITIONS -fopenmp=libomp LINK_OPTIONS -fopenmp=libomp
  OUTPUT_VARIABLE trial_output
  COPY_FILE ${trial_program} COPY_FILE_ERROR trial_copy_error)
if(NOT trial_links OR trial_copy_error)
  message(FATAL_ERROR
    "OpenMP programs do not link with LLVM's libomp (Debian: libomp-19-dev):\n${trial_output}")
endif()
file(STRINGS ${trial_program} runtimes REGEX "^lib(omp|gomp|iomp5)[^/]*\\.so")
if(NOT runtimes MATCHES "^libomp[^;]*$")
  message(FATAL_ERROR "nevrad runs on LLVM's libomp alone; a trial program loads: ${runtimes}")
endif()
message(STATUS "OpenMP runtime: ${runtimes}")

add_library(nevrad_warnings INTERFACE)
target_compile_options(nevrad_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wvla -Wundef
  -Wimplicit-fallthrough -Wcast-align -Wcast-qual
  -Wno-psabi -Wno-gcc-compat -Wno-pass-failed
  -Werror
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Wextra-semi -Wold-style-cast
    -Wno-c99-extensions>)
