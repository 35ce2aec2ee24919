// Bytes of a fuzzer as numbers. Beyond the end everything is 0, so that every input is a case.
#pragma once

#include <cstddef>
#include <cstdint>

namespace nevrad_test {

class fuzz_input {
 public:
  fuzz_input(const std::uint8_t* data, std::size_t size) : data_(data), left_(size) {}

  bool empty() const { return left_ == 0; }
  int byte() {
    if (left_ == 0) return 0;
    --left_;
    return *data_++;
  }
  // 0 to below n.
  int below(int n) { return (byte() << 8 | byte()) % n; }

 private:
  const std::uint8_t* data_;
  std::size_t left_;
};

}  // namespace nevrad_test
