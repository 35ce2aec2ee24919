# clang 19 for the machine at hand: every AArch64 core, as the cross build has it, or x86-64 with AVX2
# and FMA3.
set(CMAKE_C_COMPILER clang-19)
set(CMAKE_CXX_COMPILER clang++-19)

if(CMAKE_HOST_SYSTEM_PROCESSOR STREQUAL "aarch64")
  set(core_flags "-march=armv8-a -mno-outline-atomics")
else()
  set(core_flags "-march=x86-64-v3")
endif()
set(CMAKE_C_FLAGS_INIT "${core_flags}")
set(CMAKE_CXX_FLAGS_INIT "${core_flags}")
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-fuse-ld=lld")
endforeach()
