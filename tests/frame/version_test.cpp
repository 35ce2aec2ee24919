// The version record, through the caller's eyes: a block of bytes.
#include "frame/status.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace nevrad_test {
namespace {

TEST(version, fills_texts_and_nothing_behind_them) {
  const char* const texts[] = {"Talmora Corvane",    "26.1.RC1",  "Corvane-orv",
                               "1.26.1.RC1",         "1",         "zephan",
                               "corvane-orv-spblas", "1.26.1.RC1"};
  std::string block(900, '#');
  auto* const record = reinterpret_cast<version_record*>(block.data());
  static_assert(sizeof(version_record) == 800 && alignof(version_record) == 1);
  for (int call = 0; call < 2; ++call) {
    EXPECT_EQ(NEVRADGetVersion(record), 1);
    std::string want(900, '#');
    for (std::size_t field = 0; field < 8; ++field) {
      want.replace(field * 100, std::strlen(texts[field]) + 1, texts[field],
                   std::strlen(texts[field]) + 1);
    }
    EXPECT_EQ(block, want);
  }
  EXPECT_EQ(NEVRADGetVersion(nullptr), 0);
}

}  // namespace
}  // namespace nevrad_test
