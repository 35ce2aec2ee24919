// General products of matrices whose rows mostly move on by one column, as those of grids, which
// are taken some at a time: to the bit as row by row.
#include "mm/model.h"
#include "support/threads.h"

#include <limits>
#include <utility>

namespace nevrad_test {
namespace {

NEVRAD_BY_TYPE(csrmm, orv_sparse_, csrmm)

struct grid {
  int x, y, z;
  int shift = 0;   // of all columns
  int behind = 0;  // columns behind the last one that has entries
};

// Entries at the neighbours along the axes, or at all, less those outside of the grid.
template <class T>
lines<T> stencil(generator& random, grid g, bool all) {
  lines<T> source;
  for (int i = 0; i < g.x * g.y * g.z; ++i) {
    const int x = i % g.x;
    const int y = i / g.x % g.y;
    const int z = i / g.x / g.y;
    auto& row = source.emplace_back();
    for (int s = 0; s < 27; ++s) {
      const int dx = s % 3 - 1;
      const int dy = s / 3 % 3 - 1;
      const int dz = s / 9 - 1;
      if (!all && dx * dx + dy * dy + dz * dz > 1) continue;
      if (x + dx < 0 || x + dx >= g.x || y + dy < 0 || y + dy >= g.y || z + dz < 0 ||
          z + dz >= g.z) {
        continue;
      }
      row.emplace_back(g.shift + i + dx + g.x * (dy + g.y * dz), random.value<T>());
    }
  }
  return source;
}

template <class T>
void expect_model(const matrix<T>& a, T alpha, T beta, const panel<T>& b, const panel<T>& before) {
  panel<T> c = before;
  const auto pointers = a.pointers_in(true);
  ASSERT_EQ(csrmm<T>(0, a.rows, static_cast<int>(b.cols()), a.cols, alpha, "G00F", a.values.data(),
                     a.indices.data(), pointers.begin, pointers.end, b.data(), b.ld(), beta,
                     c.data(), c.ld()),
            0);
  const panel<T> want = model_product(path::swept, a, 0, b, alpha, beta, before);
  EXPECT_SAME_ARRAYS(c.elements(), want.elements());
}
template <class T>
void expect_model(generator& random, const matrix<T>& a, int n, int budget, T alpha, T beta) {
  SCOPED_TRACE(testing::Message() << random << ", " << a.rows << " by " << a.cols << ", n = " << n
                                  << ", budget " << budget);
  const budget_scope scope(budget);
  const auto b = panel<T>::random(random, a.cols, n, layout::column_major, n % 2);
  const auto before = panel<T>::random(random, a.rows, n, layout::column_major, n % 3);
  expect_model(a, alpha, beta, b, before);
}
template <class T>
void expect_model(generator& random, const lines<T>& source, int cols, int n, int budget) {
  const auto a = compress<T>(source, cols, compression::rows, 1);
  expect_model(random, a, n, budget, random.value<T>(), random.value<T>());
}
int columns_of(grid g) { return g.shift + g.x * g.y * g.z + g.behind; }

template <class T>
class mm_grids : public testing::Test {};
TYPED_TEST_SUITE(mm_grids, all_types, type_names);

TYPED_TEST(mm_grids, add_in_the_fixed_order_at_every_width) {
  using T = TypeParam;
  for (int n = 1; n <= 29; ++n) {
    generator random(static_cast<std::uint64_t>(n));
    // Lines that end with each number of rows left over.
    const grid g{21 + n % 4, 3, 2};
    for (const bool all : {false, true}) {
      expect_model(random, stencil<T>(random, g, all), columns_of(g), n, 1 + n % 3);
    }
  }
}

// Blocks of columns end within blocks of rows, and between entries that are side by side; those in
// front, between and behind hold nothing of a row.
TYPED_TEST(mm_grids, end_a_sum_where_a_block_of_columns_ends) {
  using T = TypeParam;
  generator random(30);
  for (const grid& g : {grid{30, 9, 4, 4500, 600}, grid{41, 5, 2, 10050, 5200},
                        grid{400, 2, 2, 2400, 1500}, grid{70, 5, 1, 0, 6000}}) {
    for (const int n : {3, 13, 19, 28}) {
      expect_model(random, stencil<T>(random, g, g.z != 4), columns_of(g), n, 1 + n % 2);
    }
  }
  // Neighbours of a line far away.
  const grid wide{1300, 2, 4};
  expect_model(random, stencil<T>(random, wide, false), columns_of(wide), 9, 1);
}

// What is found of rows that are all alike must not be taken for granted of the next.
TYPED_TEST(mm_grids, see_a_single_entry_that_differs) {
  using T = TypeParam;
  const grid g{24, 4, 3};
  const int cols = columns_of(g) + 40;
  for (int fault = 0; fault < 48; ++fault) {
    generator random(static_cast<std::uint64_t>(100 + fault));
    auto source = stencil<T>(random, g, fault % 2 == 0);
    for (int times = 0; times < 3; ++times) {
      auto& row = source[at(random.integer(0, g.x * g.y * g.z - 1))];
      const auto place =
          static_cast<std::size_t>(random.integer(0, static_cast<int>(row.size()) - 2));
      switch (fault / 2 % 6) {
        case 0:  // out of order
          std::swap(row[place], row[place + 1]);
          break;
        case 1:
          row.erase(row.begin() + static_cast<std::ptrdiff_t>(place));
          break;
        case 2:
          row.emplace_back(cols - 1, random.value<T>());
          break;
        case 3:
          row.clear();
          break;
        case 4:  // twice on one place
          row[place].first = row[place + 1].first;
          break;
        case 5:
          row.back().first += random.integer(1, 30);
          break;
      }
      if (row.size() < 2) row = {{1, random.value<T>()}, {0, random.value<T>()}};
    }
    expect_model(random, source, cols, 1 + fault % 19, 1 + fault % 3);
  }
}

// A row of a block takes nothing from the others, and a part without entries leaves C alone but in
// the last columns.
TYPED_TEST(mm_grids, keep_what_is_not_finite_in_its_place) {
  using T = TypeParam;
  using R = real_of<T>;
  const T huge = make<T>(std::numeric_limits<R>::infinity());
  // Nothing in blocks of columns in front and behind, or in front alone.
  for (const grid& g : {grid{60, 3, 2, 5000, 6000}, grid{60, 3, 2, 10400}}) {
    generator random(200);
    auto source = stencil<T>(random, g, false);
    const auto sound = compress<T>(source, columns_of(g), compression::rows, 1);
    source[at(70)][1].second = huge;
    source[at(133)][2].second = make<T>(std::numeric_limits<R>::quiet_NaN());
    const auto a = compress<T>(source, columns_of(g), compression::rows, 1);
    for (const int n : {8, 11}) {
      expect_model(random, a, n, 1, random.value<T>(), make<T>(0));
      expect_model(random, a, n, 2, make<T>(0), random.value<T>());
      expect_model(random, a, n, 1, random.value<T>(), make<T>(R{-0.0}));
      expect_model(random, sound, n, 1, huge, random.value<T>());
    }
  }
}

// Where lines end, some rows have no entry at a place where their neighbours have one.
TYPED_TEST(mm_grids, take_nothing_where_only_neighbours_have_entries) {
  using T = TypeParam;
  using R = real_of<T>;
  const grid g{25, 4, 3};
  const int n = 29;
  for (const bool all : {false, true}) {
    generator random(300);
    const auto source = stencil<T>(random, g, all);
    const auto b = panel<T>::random(random, columns_of(g), n, layout::column_major);
    const auto c = panel<T>::random(random, columns_of(g), n, layout::column_major);
    // Within lines, the first of one and the last of another.
    for (const int i : {3, 43, 125, 224, 243}) {
      for (int j = 0; j < n; ++j) b(i, j) = make<T>(std::numeric_limits<R>::infinity());
    }
    expect_model(compress<T>(source, columns_of(g), compression::rows, 1), make<T>(1), make<T>(1),
                 b, c);
  }
}

// A sum may be -0, by underflow, when the row ends and its neighbours do not. What these meet at
// the beginning of the next line would turn its sign.
TYPED_TEST(mm_grids, keep_the_sign_of_zero_where_rows_end_before_their_neighbours) {
  using T = TypeParam;
  using R = real_of<T>;
  constexpr int line = 26;
  constexpr int lines_of_all = 12;
  const R tiny = std::numeric_limits<R>::min();
  lines<T> source;
  for (int i = 0; i < line * lines_of_all; ++i) {
    auto& row = source.emplace_back();
    for (const int step : {-line, -1, 0, 1}) {
      const bool leaves_line = (i % line == 0 && step == -1) || (i % line == line - 1 && step == 1);
      if (i + step >= 0 && !leaves_line) row.emplace_back(i + step, make<T>(-tiny));
    }
  }
  const int n = 19;
  panel<T> b(line * lines_of_all, n, layout::column_major);
  panel<T> c(line * lines_of_all, n, layout::column_major);
  for (int j = 0; j < n; ++j) {
    for (int i = 0; i < line * lines_of_all; ++i) {
      b(i, j) = make<T>(i % line == 0 ? -tiny : tiny);
      c(i, j) = make<T>(R{-0.0}, R{-0.0});
    }
  }
  expect_model(compress<T>(source, line * lines_of_all, compression::rows, 1), make<T>(1),
               make<T>(1), b, c);
}

}  // namespace
}  // namespace nevrad_test
