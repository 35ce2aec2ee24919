// Products that may go straight from the lines of a triangle or of a transpose: to the bit those of
// the general product with the matrix written out, which goes by rows.
#include "mm/expanded.h"
#include "support/threads.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <vector>

namespace nevrad_test {
namespace {

NEVRAD_BY_TYPE(csrmm, orv_sparse_, csrmm)
NEVRAD_BY_TYPE(cscmm, orv_sparse_, cscmm)

// Lines of up to `most` entries near the diagonal, on both sides of it and on it, ascending, some
// twice on one place, and some lines empty.
template <class T>
matrix<T>
banded(generator& random, int rows, int cols, int reach, int most, compression kind, int base) {
  const int major = kind == compression::rows ? rows : cols;
  const int minor = kind == compression::rows ? cols : rows;
  lines<T> source(static_cast<std::size_t>(major));
  for (int i = 0; i < major; ++i) {
    auto& line = source[static_cast<std::size_t>(i)];
    int at = std::max(0, i - random.integer(0, reach));
    for (int left = random.chance(9) ? 0 : random.integer(1, most); left > 0; --left) {
      if (at >= minor || at > i + reach) break;
      line.emplace_back(at, random.value<T>());
      at += random.chance(8) ? 0 : random.integer(1, 2);
    }
  }
  return compress<T>(source, minor, kind, base);
}

template <class T>
panel<T> run(const char* code,
             int op,
             const matrix<T>& a,
             T alpha,
             const panel<T>& b,
             T beta,
             const panel<T>& before) {
  panel<T> c = before;
  const auto call = a.kind == compression::rows ? csrmm<T> : cscmm<T>;
  const auto pointers = a.pointers_in(true);
  EXPECT_EQ(call(op, a.rows, static_cast<int>(b.cols()), a.cols, alpha, code, a.values.data(),
                 a.indices.data(), pointers.begin, pointers.end, b.data(), b.ld(), beta, c.data(),
                 c.ld()),
            0);
  return c;
}

struct line_case {
  const char* code;
  int op;
  compression kind;
  int rows, cols, reach, most;
};
constexpr auto by_rows = compression::rows;
constexpr auto by_columns = compression::columns;
const line_case line_cases[] = {
    // Two column blocks.
    {"SLNF", 0, by_rows, 5300, 5300, 20, 40},
    {"SUUF", 2, by_columns, 5300, 5300, 9, 18},
    {"HUNF", 1, by_rows, 5300, 5300, 20, 40},
    {"TLUF", 1, by_rows, 5300, 5300, 9, 18},
    {"G00F", 0, by_columns, 5400, 5300, 24, 60},
    {"SLUC", 0, by_rows, 5300, 5300, 16, 24},
    {"HUNC", 2, by_columns, 5300, 5300, 20, 40},
    {"G00C", 1, by_rows, 5300, 5400, 20, 40},
    // One.
    {"SUNF", 1, by_rows, 1500, 1500, 30, 24},
    {"HLUF", 0, by_columns, 1500, 1500, 30, 24},
    {"G00F", 2, by_rows, 1500, 1300, 30, 24},
    {"TUNF", 2, by_rows, 1500, 1500, 30, 36},
    {"SUNC", 0, by_rows, 3000, 3000, 16, 32},
    {"TLNC", 2, by_rows, 3000, 3000, 40, 120},
    {"G00C", 0, by_columns, 2900, 3000, 20, 60},
    // Sparse enough for B to be read where it lies.
    {"SLNC", 0, by_rows, 900, 900, 5, 6},
    {"SUUC", 2, by_rows, 900, 900, 5, 6},
    {"HUNC", 1, by_rows, 900, 900, 5, 6},
    {"TLUC", 1, by_rows, 900, 900, 5, 6},
    {"TUNC", 2, by_columns, 900, 900, 5, 6},
    {"G00C", 0, by_columns, 1000, 900, 5, 6},
};

template <class T>
class mm_lines : public testing::Test {};
TYPED_TEST_SUITE(mm_lines, all_types, type_names);

TYPED_TEST(mm_lines, give_the_bits_of_rows) {
  using T = TypeParam;
  constexpr int chunk = 64 / static_cast<int>(sizeof(T));
  generator random(1);
  for (const line_case& row : line_cases) {
    const layout order = layout_of(row.code);
    const auto a = banded<T>(random, row.rows, row.cols, row.reach, row.most, row.kind,
                             order == layout::column_major ? 1 : 0);
    const auto general = expanded(a, row.code, row.op);
    const char* const general_code = order == layout::column_major ? "G00F" : "G00C";
    const int n = row.rows < 1000 ? 3 * chunk + 7 : chunk + 3;
    const auto b = panel<T>::random(random, general.cols, n, order, 1);
    auto before = panel<T>::random(random, general.rows, n, order, 2);
    const T alpha = random.value<T>();
    const T beta = random.value<T>();
    for (const int budget : {1, 3}) {
      if (budget > 1 && row.rows > 900) continue;
      SCOPED_TRACE(testing::Message()
                   << row.code << ", op " << row.op << ", " << row.rows << " rows, budget "
                   << budget << (row.kind == by_rows ? "" : ", by columns"));
      const budget_scope scope(budget);
      const panel<T> want = run(general_code, 0, general, alpha, b, beta, before);
      const panel<T> c = run(row.code, row.op, a, alpha, b, beta, before);
      EXPECT_SAME_ARRAYS(c.elements(), want.elements());
    }
  }
}

// Looking through lines, no entry is read behind the last one, which a line of its own may hold.
TEST(mm_lines_of_doubles, may_be_empty_behind_the_last_entry) {
  using T = double;
  constexpr int order = 600;
  generator random(3);
  lines<T> source(order);
  for (int i = 0; i <= 256; ++i) {
    source[at(i)].emplace_back(i, random.value<T>());
    if (i < 256) source[at(i)].emplace_back(i + 2, random.value<T>());
  }
  const auto a = compress<T>(source, order, compression::rows, 1);
  const auto b = panel<T>::random(random, order, 5, layout::column_major);
  const auto before = panel<T>::random(random, order, 5, layout::column_major);
  for (const char* const code : {"SUNF", "SLNF"}) {
    const budget_scope scope(1);
    const panel<T> want = run("G00F", 0, expanded(a, code, 0), 2.0, b, 3.0, before);
    EXPECT_SAME_ARRAYS(run(code, 0, a, 2.0, b, 3.0, before).elements(), want.elements());
  }
}

// A triangle that holds nothing else and every place of its diagonal, as most callers have it, and
// others: with a line that lacks it, a line that holds it twice and many that hold nothing; with
// one line out of order, also so that steps down between lines are as many as in order.
TYPED_TEST(mm_lines, give_the_bits_of_rows_for_a_triangle_alone) {
  using T = TypeParam;
  constexpr int rows = 5300;
  constexpr int reach = 9;
  constexpr int chunk = 64 / static_cast<int>(sizeof(T));
  generator random(3);
  for (const char* const code : {"SLNF", "SUNF", "SLUF", "SLNC", "HLNC"}) {
    enum kind { plain, odd, unordered, crossed };
    for (const kind made : {plain, odd, unordered, crossed}) {
      SCOPED_TRACE(testing::Message() << code << ", " << made);
      lines<T> source(rows);
      for (int i = 0; i < rows; ++i) {
        if (made == odd && i >= 3000 && i < 3600) continue;
        auto& line = source[at(i)];
        const bool lower = code[1] == 'L';
        const int last = lower ? i : std::min(i + reach, rows - 1);
        for (int j = lower ? std::max(0, i - reach) : i; j <= last; ++j) {
          const int copies = made == odd && i == j ? (i == 700 ? 0 : i == 1500 ? 2 : 1) : 1;
          for (int k = 0; k < copies; ++k) line.emplace_back(j, random.value<T>());
        }
        if (made == unordered && i == 2000) std::swap(line[3], line[5]);
        if (made != crossed || i != 2000) continue;
        const int other = lower ? i + 3 : i - 3;
        line = {{std::max(i, other), random.value<T>()}, {std::min(i, other), random.value<T>()}};
      }
      const layout order = layout_of(code);
      const bool in_columns = order == layout::column_major;
      const int n = (in_columns ? 1 : 4) * chunk + 3;
      const auto a = compress<T>(source, rows, by_rows, in_columns ? 1 : 0);
      const auto general = expanded(a, code, 0);
      const auto b = panel<T>::random(random, rows, n, order, 1);
      const auto before = panel<T>::random(random, rows, n, order, 2);
      const T alpha = random.value<T>();
      const T beta = random.value<T>();
      const budget_scope scope(1);
      const panel<T> want = run(in_columns ? "G00F" : "G00C", 0, general, alpha, b, beta, before);
      const panel<T> c = run(code, 0, a, alpha, b, beta, before);
      EXPECT_SAME_ARRAYS(c.elements(), want.elements());
    }
  }
}

// Neighbours of the diagonal, at the end of the matrix twice each.
TYPED_TEST(mm_lines, give_the_bits_of_rows_for_neighbours_that_stand_twice) {
  using T = TypeParam;
  constexpr int rows = 230;
  generator random(5);
  lines<T> source(rows);
  for (int i = 0; i < rows; ++i) {
    const int copies = i == 0 ? 0 : i < rows - 4 ? 1 : 2;
    for (int k = 0; k < copies; ++k) source[at(i)].emplace_back(i - 1, random.value<T>());
    source[at(i)].emplace_back(i, random.value<T>());
  }
  for (const char* const code : {"SLNC", "SLNF", "HLNC"}) {
    SCOPED_TRACE(code);
    const layout order = layout_of(code);
    const bool in_columns = order == layout::column_major;
    const auto a = compress<T>(source, rows, by_rows, in_columns ? 1 : 0);
    const auto general = expanded(a, code, 0);
    const auto b = panel<T>::random(random, rows, 4, order, 0);
    const auto before = panel<T>::random(random, rows, 4, order, 0);
    const T alpha = random.value<T>();
    const T beta = random.value<T>();
    const budget_scope scope(1);
    const char* const plain = in_columns ? "G00F" : "G00C";
    EXPECT_SAME_ARRAYS(run(code, 0, a, alpha, b, beta, before).elements(),
                       run(plain, 0, general, alpha, b, beta, before).elements());
  }
}

// Lines of a grid, each with the shape of the line before but where the grid ends, and one odd
// line.
TYPED_TEST(mm_lines, give_the_bits_of_rows_for_lines_of_one_shape) {
  using T = TypeParam;
  constexpr int chunk = 64 / static_cast<int>(sizeof(T));
  struct shape_case {
    const char* code;
    int rows;
    int line;  // of the grid
    std::vector<int> steps;
  };
  const shape_case cases[] = {
      {"SLNF", 5300, 40, {1, 40, 600}},   {"SLNF", 5300, 40, {1, 40, 2000}},
      {"SLNF", 5300, 30, {3, 60, 3000}},  {"SLNF", 1500, 50, {1, 50}},
      {"SUNF", 1500, 50, {1, 50}},        {"SLNC", 700, 20, {1, 20, 100}},
      {"SLNC", 600, 30, {2, 3, 31}},      {"SLNC", 1500, 60, {1, 60, 300}},
      {"SLNC", 1500, 20, {2, 7, 8}},      {"SLNC", 1500, 1500, {1}},
      {"HLNC", 1500, 90, {5, 90}},        {"SLNC", 1500, 90, {1, 90}},
      {"SLNC", 65540, 75, {1, 75, 5700}},  // in blocks, and the last step leads to another one
  };
  generator random(4);
  for (const shape_case& each : cases) {
    lines<T> source(at(each.rows));
    for (int i = 0; i < each.rows; ++i) {
      auto& line = source[at(i)];
      const bool lower = each.code[1] == 'L';
      line.emplace_back(i, random.value<T>());
      for (const int step : each.steps) {
        const bool at_end = step < 4 && (lower ? i : i + 1) % each.line == 0;
        const int other = lower ? i - step : i + step;
        if (at_end || other < 0 || other >= each.rows || (i == 444 && step > 1)) continue;
        line.emplace_back(other, random.value<T>());
      }
      if (lower) std::reverse(line.begin(), line.end());
    }
    const layout order = layout_of(each.code);
    const bool in_columns = order == layout::column_major;
    const auto a = compress<T>(source, each.rows, by_rows, in_columns ? 1 : 0);
    const auto general = expanded(a, each.code, 0);
    const int n = each.rows > 40000 ? chunk : 2 * chunk + 9;
    const auto b = panel<T>::random(random, each.rows, n, order, 1);
    const auto before = panel<T>::random(random, each.rows, n, order, 2);
    const T alpha = random.value<T>();
    const T beta = random.value<T>();
    for (const int budget : {1, 3}) {
      SCOPED_TRACE(testing::Message() << each.code << ", " << each.rows << " rows, first step "
                                      << each.steps[0] << ", budget " << budget);
      const budget_scope scope(budget);
      const panel<T> want = run(in_columns ? "G00F" : "G00C", 0, general, alpha, b, beta, before);
      const panel<T> c = run(each.code, 0, a, alpha, b, beta, before);
      EXPECT_SAME_ARRAYS(c.elements(), want.elements());
    }
  }
}

// Triangles of grids of up to three dimensions, whose entries lie on few diagonals. The diagonals
// that join the ends of a grid that wraps around are met late. Some lines are odd, and one has an
// entry where no other one has.
TYPED_TEST(mm_lines, give_the_bits_of_rows_for_grids) {
  using T = TypeParam;
  struct grid_case {
    const char* code;
    compression kind;
    std::vector<int> sides;
    bool corners;  // couple as well
    bool wraps;
    std::vector<int> columns;
  };
  const grid_case cases[] = {
      {"SLNF", by_rows, {9, 8, 10}, false, false, {4, 11}},
      {"SUNF", by_rows, {9, 8, 10}, true, false, {5, 16}},
      {"SUNF", by_columns, {23, 7}, false, true, {4, 9}},
      {"SLNF", by_rows, {11, 12, 5}, true, false, {7}},
      {"HLNF", by_rows, {50, 5}, true, true, {8, 10}},
      {"SLNF", by_rows, {700}, false, false, {12}},
      // Several column blocks; the last step leads to another one.
      {"SLNF", by_rows, {22, 20, 14}, false, false, {8, 9, 35}},
      {"SUNF", by_rows, {20, 18, 16}, true, false, {12}},
      {"SLNF", by_rows, {75, 75, 2}, false, true, {4, 3 + 4}},
  };
  generator random(6);
  for (const grid_case& each : cases) {
    int rows = 1;
    for (const int side : each.sides) rows *= side;
    const bool lower = (each.code[1] == 'L') == (each.kind == by_rows);
    for (const bool odd : {false, true}) {
      if (odd && is_complex<T>) continue;
      lines<T> source(at(rows));
      for (int i = 0; i < rows; ++i) {
        std::set<int> others;
        for (int to = 0; to < 27; ++to) {
          int other = 0;
          int stride = 1;
          int apart = 0;
          bool there = true;
          int way = to;
          int left = i;
          for (const int side : each.sides) {
            const int step = way % 3 - 1;
            const int place = left % side + step;
            there &= each.wraps || (place >= 0 && place < side);
            other += (place + side) % side * stride;
            apart += std::abs(step);
            stride *= side;
            left /= side;
            way /= 3;
          }
          constexpr int no_step[] = {0, 1, 4, 13};  // in the ways that are left
          if (!there || way != no_step[3 - each.sides.size()]) continue;
          if (apart > 1 && !each.corners) continue;
          if (other != i && ((other < i) != lower || (odd && i % 97 == 5))) continue;
          others.insert(other);
        }
        if (odd && i == rows / 3 * 2) others.insert(lower ? i - 3 : i + 3);
        for (const int other : others) source[at(i)].emplace_back(other, random.value<T>());
      }
      const auto a = compress<T>(source, rows, each.kind, 1);
      const auto general = expanded(a, each.code, 0);
      for (const int n : each.columns) {
        const auto b = panel<T>::random(random, rows, n, layout::column_major, 1);
        const auto before = panel<T>::random(random, rows, n, layout::column_major, 2);
        const T alpha = random.value<T>();
        const T beta = random.value<T>();
        const budget_scope scope(1);
        SCOPED_TRACE(testing::Message() << each.code << ", " << rows << " rows, n " << n
                                        << (odd ? ", odd lines" : ""));
        EXPECT_SAME_ARRAYS(run(each.code, 0, a, alpha, b, beta, before).elements(),
                           run("G00F", 0, general, alpha, b, beta, before).elements());
      }
    }
  }
}

// Rows that get nothing from a block of columns are left alone by it in panels, and get a sum of
// zero in the last columns: an infinite alpha tells.
TEST(mm_lines_of_doubles, leave_rows_without_entries_as_rows_do) {
  using T = double;
  constexpr int n = 64 / static_cast<int>(sizeof(T)) + 1;
  generator random(2);
  const T infinite = make<T>(std::numeric_limits<double>::infinity());
  for (const char* const code : {"SLNF", "SUNF"}) {
    const auto a = banded<T>(random, 5300, 5300, 20, 40, compression::rows, 1);
    // Rows at the blocks' border, without entries in the block of their diagonal.
    constexpr int border = 5300 / 2;
    for (int p = a.begin[border - 40] - 1; p < a.end[border + 40] - 1; ++p) {
      int& index = a.indices[p];
      index = code[1] == 'L' ? std::min(index, border) : std::max(index, border + 1);
    }
    const auto general = expanded(a, code, 0);
    const auto b = panel<T>::random(random, 5300, n, layout::column_major);
    const auto before = panel<T>::random(random, 5300, n, layout::column_major);
    const budget_scope scope(1);
    const panel<T> want = run("G00F", 0, general, infinite, b, make<T>(1), before);
    const panel<T> c = run(code, 0, a, infinite, b, make<T>(1), before);
    int finite = 0;
    for (std::int64_t i = 0; i < c.rows(); ++i) {
      for (int j = 0; j < n; ++j) {
        const bool same = same_bits(c(i, j), want(i, j));
        EXPECT_TRUE(same || (std::isnan(c(i, j)) && std::isnan(want(i, j)))) << i << ", " << j;
        finite += same && same_bits(c(i, j), before(i, j)) ? 1 : 0;
      }
    }
    EXPECT_GT(finite, 0);
  }
}

}  // namespace
}  // namespace nevrad_test
