// Descriptors: which text selects which code, and what a table's rows hold.
#include "frame/descriptor.h"

#include "support/oracle.h"

#include <string>

namespace nevrad_test {
namespace {

// The selection rule written as a set of letters per position, independent of the matching code:
// every text of four letters of a small alphabet selects what this says, and nothing else.
std::string selected_code(const std::string& text) {
  const char last = text[3];
  if (last != 'F' && last != 'C') return "";
  switch (text[0]) {
    case 'G':
      return std::string("G00") + last;
    case 'D':
      if (text[2] != 'N' && text[2] != 'U') return "";
      return std::string("D0") + text[2] + last;
    case 'S':
    case 'H':
    case 'T': {
      const bool known = (text[1] == 'L' || text[1] == 'U') && (text[2] == 'N' || text[2] == 'U');
      return known ? text : "";
    }
    default:
      return "";
  }
}

TEST(descriptors, select_one_code_or_none) {
  const std::string alphabet = "GSHTDLUNFC0gx ";
  int matched = 0;
  for (const char a : alphabet) {
    for (const char b : alphabet) {
      for (const char c : alphabet) {
        for (const char d : alphabet) {
          const std::string text{a, b, c, d};
          const std::string want = selected_code(text);
          for (const char* const code : all_descriptors) {
            const bool matches = nevrad::descra_matches(text.data(), code);
            ASSERT_EQ(matches, want == code) << text << " against " << code;
            matched += matches ? 1 : 0;
          }
        }
      }
    }
  }
  EXPECT_GT(matched, 30);
}

TEST(descriptors, are_read_to_the_fourth_letter_only) {
  const array<char> text{'S', 'L', 'N', 'F'};  // no terminator, and nothing readable behind
  EXPECT_TRUE(nevrad::descra_matches(text.data(), "SLNF"));
}

using kernel = int (*)();
int a() { return 1; }
int b() { return 2; }
int c() { return 3; }

template <class T>
class slots : public testing::Test {};
TYPED_TEST_SUITE(slots, all_types, type_names);

TYPED_TEST(slots, follow_the_symmetry_of_the_matrix) {
  using T = TypeParam;
  const auto expect = [](const nevrad::kernel_slots<kernel, 3>& got, int s0, int s1, int s2) {
    EXPECT_EQ(got.at[0](), s0);
    EXPECT_EQ(got.at[1](), s1);
    EXPECT_EQ(got.at[2](), s2);
  };
  expect(nevrad::by_operation<T, kernel>(a, b, c), 1, 2, is_complex<T> ? 3 : 2);
  expect(nevrad::by_symmetry<T, kernel>(a, b), 1, 1, is_complex<T> ? 2 : 1);
  expect(nevrad::by_hermitian_symmetry<T, kernel>(a, b), 1, is_complex<T> ? 2 : 1, 1);
  expect(nevrad::same_for_all<kernel>(a), 1, 1, 1);
}

}  // namespace
}  // namespace nevrad_test
