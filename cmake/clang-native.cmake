# clang 19 for the machine at hand: x86-64 with AVX2 and FMA3.
set(CMAKE_C_COMPILER clang-19)
set(CMAKE_CXX_COMPILER clang++-19)

set(CMAKE_C_FLAGS_INIT "-march=x86-64-v3")
set(CMAKE_CXX_FLAGS_INIT "-march=x86-64-v3")
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-fuse-ld=lld")
endforeach()
