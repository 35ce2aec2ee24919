# clang 19 from any Linux host to AArch64, against Debian's cross packages; its programs run under
# user-mode emulation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(CMAKE_C_COMPILER clang-19)
set(CMAKE_CXX_COMPILER clang++-19)
set(CMAKE_C_COMPILER_TARGET aarch64-linux-gnu)
set(CMAKE_CXX_COMPILER_TARGET aarch64-linux-gnu)

# scripts/setup unpacks the OpenMP runtime here. The folder precedes the compiler's own, which holds
# the host's libomp under the same name.
set(NEVRAD_AARCH64_OPENMP ${CMAKE_CURRENT_LIST_DIR}/../build/deps/aarch64/lib
    CACHE PATH "Folder of libomp.so for AArch64")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES NEVRAD_AARCH64_OPENMP)
if(NOT EXISTS ${NEVRAD_AARCH64_OPENMP}/libomp.so)
  message(FATAL_ERROR
    "no libomp.so for AArch64 in ${NEVRAD_AARCH64_OPENMP}: run scripts/setup first")
endif()
get_filename_component(NEVRAD_OPENMP_RPATH ${NEVRAD_AARCH64_OPENMP} ABSOLUTE)

# All cores; atomic operations without the helpers of the compiler's runtime library.
set(CMAKE_C_FLAGS_INIT "-march=armv8-a -mno-outline-atomics")
set(CMAKE_CXX_FLAGS_INIT "-march=armv8-a -mno-outline-atomics")
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-fuse-ld=lld -L${NEVRAD_OPENMP_RPATH}")
endforeach()

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L /usr/aarch64-linux-gnu -cpu max)
