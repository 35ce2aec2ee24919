// The words of lines on few diagonals, which are told once and read again.
#include "mm/held_diagonals.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace {

using namespace nevrad;

// A lower triangle on diagonals at 0, -1, -2 and so on, whose line i has those of word(i).
struct few_diagonals {
  std::vector<std::uint32_t> words;  // bit k: the k-th diagonal, ascending
  std::vector<std::int32_t> begin{1};
  std::vector<std::int32_t> indices;
  std::vector<float> values;

  template <class Word>
  few_diagonals(int rows, int count, const Word& word) {
    for (int i = 0; i < rows; ++i) {
      std::uint32_t has = 0;
      for (int k = 0; k < count; ++k) {
        const int column = i - (count - 1 - k);
        if (column < 0 || (word(i) >> k & 1U) == 0) continue;
        has |= 1U << k;
        indices.push_back(column + 1);
      }
      words.push_back(has);
      begin.push_back(static_cast<std::int32_t>(indices.size()) + 1);
    }
    values.resize(indices.size());
  }

  compressed_matrix<float> matrix() {
    compressed_matrix<float> a{};
    a.rows = a.cols = static_cast<std::int32_t>(words.size());
    a.base = 1;
    a.begin = begin.data();
    a.end = begin.data() + 1;
    a.indices = indices.data();
    a.values = values.data();
    return a;
  }
};

void expect_words_again(few_diagonals& lines, std::int32_t least_told, std::int32_t most_told) {
  const compressed_matrix<float> a = lines.matrix();
  held_diagonals found;
  told_runs told;
  ASSERT_TRUE(find_diagonals(a, triangle::lower, held_diagonals::most, 8, found, told));
  EXPECT_GE(told.lines(), least_told);
  EXPECT_LE(told.lines(), most_told);
  word_reader<float> reader(found, a, told);
  std::vector<std::uint32_t> again;
  std::int32_t stop = 0;
  for (std::int32_t step = 1; stop < a.rows; step = step % 1000 + 61) {
    stop = std::min(stop + step, a.rows);
    reader.to(stop, [&](std::int32_t first, std::int32_t count, std::uint32_t word) {
      ASSERT_EQ(first, static_cast<std::int32_t>(again.size()));
      again.insert(again.end(), static_cast<std::size_t>(count), word);
    });
    ASSERT_EQ(stop, static_cast<std::int32_t>(again.size()));
  }
  EXPECT_EQ(again, lines.words);
}

TEST(line_words, are_told_for_runs_of_any_length) {
  few_diagonals lines(9000, 5, [](int i) { return i % 4500 == 17 ? 0b10110U : 0b11111U; });
  expect_words_again(lines, 9000, 9000);
}

TEST(line_words, are_read_again_behind_more_kinds_than_are_told) {
  few_diagonals lines(5000, 8, [](int i) {
    return i < 900 ? 0xffU : 0x80U | static_cast<std::uint32_t>(i / 20 % 64 * 2);
  });
  expect_words_again(lines, 900, 4999);
}

TEST(line_words, are_read_again_behind_more_runs_than_are_told) {
  constexpr int rows = 10 * 17000;
  few_diagonals lines(rows, 4, [](int i) { return i / 10 % 2 == 0 ? 0b1111U : 0b1011U; });
  expect_words_again(lines, 100000, rows - 1);
}

}  // namespace
