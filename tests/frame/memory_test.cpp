// Sizes that meet in 64 bits, and aligned memory.
#include "frame/memory.h"

#include <gtest/gtest.h>

#include <cstring>

namespace nevrad_test {
namespace {

constexpr std::uint64_t most = ~std::uint64_t{0};

TEST(checked_multiply, answers_by_the_size_of_the_product) {
  struct {
    std::uint64_t a, b;
    nevrad::status status;
    std::uint64_t result;
  } const cases[] = {
      {0, most, nevrad::success, 0},
      {most, 0, nevrad::success, 0},
      {1, most, nevrad::success, most},
      {std::uint64_t{1} << 32, (std::uint64_t{1} << 32) - 1, nevrad::success, most - 0xFFFFFFFF},
      {std::uint64_t{1} << 32, std::uint64_t{1} << 32, nevrad::overflow, 77},
      {most, 2, nevrad::overflow, 77},
      {most, most, nevrad::overflow, 77},
  };
  for (const auto& c : cases) {
    std::uint64_t result = 77;
    EXPECT_EQ(nevrad::checked_multiply(c.a, c.b, &result), c.status) << c.a << " * " << c.b;
    EXPECT_EQ(result, c.result) << c.a << " * " << c.b;
    EXPECT_EQ(nevrad::checked_multiply(c.a, c.b, nullptr), nevrad::null_pointer);
  }
}

TEST(aligned_memory, is_aligned_and_rounded_up) {
  EXPECT_EQ(nevrad::rounded_aligned_alloc(0, 100), nullptr);
  EXPECT_EQ(nevrad::zeroed_aligned_alloc(0, 100), nullptr);
  for (const std::uint64_t size : {1U, 63U, 64U, 65U, 1000U}) {
    const std::uint64_t rounded = (size + 63) / 64 * 64;
    void* const p = nevrad::rounded_aligned_alloc(nevrad::cache_line, size);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % nevrad::cache_line, 0);
    std::memset(p, 0xFF, rounded);  // the whole rounded block belongs to the caller
    nevrad::release_memory(p);

    nevrad::scratch<unsigned char> cleared(nevrad::zeroed_aligned_alloc(nevrad::cache_line, size));
    ASSERT_TRUE(cleared);
    for (std::uint64_t i = 0; i < rounded; ++i) {
      ASSERT_EQ(cleared[static_cast<std::int64_t>(i)], 0) << "byte " << i << " of " << size;
    }
  }
  nevrad::release_memory(nullptr);
}

}  // namespace
}  // namespace nevrad_test
