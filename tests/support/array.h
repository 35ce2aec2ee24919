// Arrays that notice a write outside of them.
#pragma once

#include "support/types.h"

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#if __has_feature(address_sanitizer)
#include <sanitizer/asan_interface.h>
#endif

namespace nevrad_test {

// n elements between two guard zones, indexed by signed numbers. The destructor holds the guards
// against what was put there; under AddressSanitizer they also cannot be read. `misaligned_by`
// moves the first element off its 64-byte boundary by that many elements.
template <class T>
class array {
 public:
  array() : array(0) {}
  explicit array(std::int64_t n, T value = T{}, std::int64_t misaligned_by = 0)
      : size_(n),
        lead_(guard_bytes + misaligned_by * std::int64_t{sizeof(T)}),
        bytes_(lead_ + n * std::int64_t{sizeof(T)} + guard_bytes),
        block_(static_cast<unsigned char*>(::operator new(to_size(bytes_), alignment))) {
    std::memset(block_.get(), pattern, to_size(bytes_));
    for (std::int64_t i = 0; i < n; ++i) data()[i] = value;
    poison(true);
  }
  array(std::initializer_list<T> values) : array(static_cast<std::int64_t>(values.size())) {
    std::copy(values.begin(), values.end(), data());
  }
  explicit array(const std::vector<T>& values) : array(static_cast<std::int64_t>(values.size())) {
    std::copy(values.begin(), values.end(), data());
  }
  array(const array& other) : array(other.size()) { std::copy(other.begin(), other.end(), data()); }
  array(array&&) noexcept = default;
  array& operator=(const array& other) {
    if (this != &other) *this = array(other);
    return *this;
  }
  array& operator=(array&& other) noexcept {
    if (this != &other) {
      check();
      size_ = other.size_;
      lead_ = other.lead_;
      bytes_ = other.bytes_;
      block_ = std::move(other.block_);
    }
    return *this;
  }
  ~array() { check(); }

  T* data() const { return reinterpret_cast<T*>(block_.get() + lead_); }
  std::int64_t size() const { return size_; }
  T* begin() const { return data(); }
  T* end() const { return data() + size_; }
  T& operator[](std::int64_t i) const { return data()[i]; }

  // Whether the guards hold what they held.
  bool intact() const {
    if (!block_) return true;
    poison(false);
    bool same = true;
    for (std::int64_t i = 0; i < lead_; ++i) same = same && block_.get()[i] == pattern;
    const std::int64_t behind = lead_ + size_ * std::int64_t{sizeof(T)};
    for (std::int64_t i = behind; i < bytes_; ++i) same = same && block_.get()[i] == pattern;
    poison(true);
    return same;
  }

 private:
  static constexpr std::align_val_t alignment{64};
  static constexpr std::int64_t guard_bytes = 128;
  static constexpr unsigned char pattern = 0xA5;

  struct free_block {
    void operator()(unsigned char* p) const { ::operator delete(p, alignment); }
  };

  static std::size_t to_size(std::int64_t n) { return static_cast<std::size_t>(n); }

  void check() const {
    EXPECT_TRUE(intact()) << "something was written outside of an array of " << size_;
    if (block_) poison(false);
  }

  void poison([[maybe_unused]] bool on) const {
#if __has_feature(address_sanitizer)
    const std::int64_t behind = lead_ + size_ * std::int64_t{sizeof(T)};
    if (on) {
      __asan_poison_memory_region(block_.get(), to_size(lead_));
      __asan_poison_memory_region(block_.get() + behind, to_size(bytes_ - behind));
    } else {
      __asan_unpoison_memory_region(block_.get(), to_size(bytes_));
    }
#endif
  }

  std::int64_t size_;
  std::int64_t lead_;
  std::int64_t bytes_;
  std::unique_ptr<unsigned char, free_block> block_;
};

// EXPECT_PRED_FORMAT2(equal_arrays, got, want): the same length and bits, NaN by class.
template <class T>
testing::AssertionResult equal_arrays(const char* got_text,
                                      const char* want_text,
                                      const array<T>& got,
                                      const array<T>& want) {
  if (got.size() != want.size()) {
    return testing::AssertionFailure() << got_text << " has " << got.size() << " elements, "
                                       << want_text << " has " << want.size();
  }
  for (std::int64_t i = 0; i < got.size(); ++i) {
    bool same = false;
    if constexpr (std::is_integral_v<T>) {
      same = got[i] == want[i];
    } else {
      same = same_bits(got[i], want[i]);
    }
    if (!same) {
      return testing::AssertionFailure() << std::hexfloat << got_text << '[' << i << "] is "
                                         << got[i] << "\n  " << want_text << " is " << want[i];
    }
  }
  return testing::AssertionSuccess();
}
#define ASSERT_SAME_ARRAYS(got, want) ASSERT_PRED_FORMAT2(::nevrad_test::equal_arrays, got, want)
#define EXPECT_SAME_ARRAYS(got, want) EXPECT_PRED_FORMAT2(::nevrad_test::equal_arrays, got, want)

}  // namespace nevrad_test
