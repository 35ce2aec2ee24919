// libFuzzer's entry for arguments. A failed expectation ends the run, so that the input is kept.
#include "fuzz/arguments.h"

// NOLINTBEGIN(readability-identifier-naming): the names that libFuzzer calls.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  testing::GTEST_FLAG(throw_on_failure) = true;
  testing::InitGoogleTest(argc, *argv);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  nevrad_test::fuzz_arguments(data, size);
  return 0;
}
// NOLINTEND(readability-identifier-naming)
