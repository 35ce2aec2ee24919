// Triangular solves with many right-hand sides: to the bit, and against higher precision.
#include "sm/drivers.h"
#include "sm/panels.h"
#include "sm/reference.h"

namespace nevrad_test {
namespace {

template <class T>
class many_solve : public testing::Test {};
TYPED_TEST_SUITE(many_solve, all_types, type_names);

constexpr int column_counts[] = {1, 3, 4, 15, 16, 17, 21, 23, 31};
constexpr int count_of_columns(int k) { return column_counts[k % 9]; }

// The 48 combinations of triangular code, operation and compression.
struct combination {
  solve_case what;
  compression kind;
};
combination combination_number(int k) {
  return {{triangular_codes[k % 8], k / 8 % 3},
          k / 24 % 2 == 0 ? compression::rows : compression::columns};
}

template <class T>
void expect_reference(generator& random, const matrix<T>& a, const solve_case& c, int columns) {
  SCOPED_TRACE(testing::Message() << c.code << ", op " << c.op << ", order " << a.rows << ", "
                                  << columns << " columns");
  const T alpha = random.value<T>();
  const auto x = panel<T>::random(random, a.rows, columns, c.order(), random.integer(0, 3));
  const panel<T> y(a.rows, columns, c.order(), random.integer(0, 3));
  ASSERT_EQ(solve(a, c, alpha, x, y), 0);
  EXPECT_TRUE(same_panels(y, reference_solution(a, c, alpha, x)));
}

TYPED_TEST(many_solve, agrees_with_higher_precision) {
  using T = TypeParam;
  for (int k = 0; k < 96; ++k) {
    generator random(static_cast<std::uint64_t>(k));
    SCOPED_TRACE(random);
    auto [c, kind] = combination_number(k);
    matrix_kind like{.base = c.base(), .typical = random.integer(0, 6)};
    like.rows = like.cols = k % 3 == 0 ? 7 : random.integer(1, 40);
    like.kind = kind;
    like.diagonal = stored_diagonal::dominant;
    const auto a = random_matrix<T>(random, like);
    const int n = count_of_columns(k / 2);
    SCOPED_TRACE(testing::Message() << c.code << ", op " << c.op << ", " << n << " columns");
    const T alpha = random.value<T>();
    const auto x = panel<T>::random(random, a.rows, n, c.order(), k % 2);
    const panel<T> y(a.rows, n, c.order(), k % 3);
    const budget_scope budget(budgets[random.integer(0, 3)]);
    ASSERT_EQ(solve(a, c, alpha, x, y), 0);
    EXPECT_TRUE(is_solution(y, dense_of(a, c.code.c_str(), c.op), alpha, x));
  }
}

TYPED_TEST(many_solve, has_the_documented_bits_at_small_orders) {
  using T = TypeParam;
  for (int k = 0; k < 240; ++k) {
    generator random(static_cast<std::uint64_t>(1000 + k));
    SCOPED_TRACE(random);
    const auto [c, kind] = combination_number(k);
    matrix_kind like{.base = c.base(), .typical = random.integer(0, 6)};
    like.rows = like.cols = k % 5 == 0 ? 1 : (k % 5 == 1 ? 7 : random.integer(2, 30));
    like.kind = kind;
    like.duplicates = random.chance(2);
    // Missing diagonals and empty rows have an outcome too.
    like.diagonal = random.chance(2) ? stored_diagonal::some : stored_diagonal::all;
    const budget_scope budget(budgets[random.integer(0, 3)]);
    expect_reference(random, random_matrix<T>(random, like), c, count_of_columns(k / 3));
  }
}

TYPED_TEST(many_solve, has_the_documented_bits_across_blocks) {
  using T = TypeParam;
  int k = 0;
  for (const int order : {1023, 1024, 1025, 2048, 2500}) {
    // Every kind of solve at every order, and with every flaw at one of them at least.
    for (int code = 0; code < 8; ++code, ++k) {
      generator random(static_cast<std::uint64_t>(2000 + k));
      SCOPED_TRACE(random);
      const solve_case c{triangular_codes[code], random.integer(0, 2)};
      const auto wrong = static_cast<flaw>((code + k / 8) % 4);
      const auto kind = random.chance(2) ? compression::rows : compression::columns;
      const budget_scope budget(budgets[random.integer(0, 3)]);
      expect_reference(random, large_matrix<T>(random, order, c.base(), kind, wrong), c,
                       count_of_columns(k));
    }
  }
}

TYPED_TEST(many_solve, solves_large_systems) {
  using T = TypeParam;
  for (int k = 0; k < 4; ++k) {
    generator random(static_cast<std::uint64_t>(3000 + k));
    SCOPED_TRACE(random);
    const solve_case c{triangular_codes[2 * k + (k & 1)], k % 3};
    const auto a = large_matrix<T>(random, 2500, c.base(), compression::rows, flaw::none);
    const T alpha = random.value<T>();
    const auto x = panel<T>::random(random, a.rows, 21, c.order());
    const panel<T> y(a.rows, 21, c.order());
    ASSERT_EQ(solve(a, c, alpha, x, y), 0);
    const lines<T> rows = operated_rows(a, c.op);
    for (std::int64_t j = 0; j < x.cols(); ++j) {
      for (int i = 0; i < a.rows; ++i) {
        wide<T> residual = widen(alpha) * widen(x(i, j));
        wide_real<T> size = std::abs(residual);
        const auto take = [&](wide<T> value, int column) {
          residual -= value * widen(y(column, j));
          size += std::abs(value) * std::abs(widen(y(column, j)));
        };
        for (const auto& [column, value] : rows[static_cast<std::size_t>(i)]) {
          const bool inside = c.upper() ? column > i : column < i;
          if (inside || (column == i && !c.unit())) take(widen(value), column);
        }
        if (c.unit()) take(1, i);
        ASSERT_LE(std::abs(residual), 200 * epsilon<T> * size) << c.code << " row " << i;
      }
    }
  }
}

TYPED_TEST(many_solve, is_the_same_for_every_budget_and_in_place) {
  using T = TypeParam;
  for (const int order : {40, 2500}) {
    for (int code = 0; code < 8; code += order == 40 ? 1 : 5) {
      const solve_case c{triangular_codes[code], code % 3};
      generator random(static_cast<std::uint64_t>(4000 + code));
      SCOPED_TRACE(random);
      const auto kind = code / 2 % 2 == 0 ? compression::rows : compression::columns;
      const auto a = large_matrix<T>(random, order, c.base(), kind, flaw::none);
      const T alpha = random.value<T>();
      // Rows of whole cache lines, which threads then share out by lines.
      const auto x = panel<T>::random(random, order, 31, c.order(), 1);
      const panel<T> alone(order, 31, c.order());
      ASSERT_EQ(solve(a, c, alpha, x, alone), 0);
      for (const int threads : budgets) {
        const budget_scope budget(threads);
        panel<T> y = x;
        ASSERT_EQ(solve(a, c, alpha, y, y), 0);
        EXPECT_TRUE(same_panels(y, alone)) << c.code << ", budget " << threads;
        const panel<T> nested(order, 31, c.order(), 1);
        in_callers_region([&] { EXPECT_EQ(solve(a, c, alpha, x, nested), 0); });
        EXPECT_TRUE(same_panels(nested, alone)) << c.code << ", nested, budget " << threads;
      }
    }
  }
}

// A triangle whose rows use the one `reach` before them. `gaps` leaves out diagonals.
template <class T>
matrix<T> two_diagonals(generator& random, bool lower, int order, int reach, bool gaps, int base) {
  lines<T> source(static_cast<std::size_t>(order));
  for (int i = 0; i < order; ++i) {
    const int j = lower ? i - reach : i + reach;
    auto& line = source[static_cast<std::size_t>(i)];
    if (0 <= j && j < i) line.emplace_back(j, random.value<T>());
    if (!gaps || i % 50 != 49) line.emplace_back(i, make<T>(3, 1));
    if (i < j && j < order) line.emplace_back(j, random.value<T>());
  }
  return compress<T>(source, order, compression::rows, base);
}

// The triangle of `a`, which has to outlive it, in the form told.
template <class T, nevrad::triangle Side>
nevrad::sm_blocks<T> blocks_of(const nevrad::compressed_matrix<T>& a, nevrad::triangle_form form) {
  nevrad::sm_blocks<T> blocks;
  constexpr auto build = Side == nevrad::triangle::lower ? nevrad::sm_build_lower_blocks<T>
                                                         : nevrad::sm_build_upper_blocks<T>;
  EXPECT_EQ(build(a, a.rows, nevrad::look_at_rows<Side>(a), blocks, form), 0);
  return blocks;
}

// Columns `first` to `last` - 1 of the solution, which has n columns.
template <nevrad::triangle Side, nevrad::dense_layout Layout, class T>
void solve_columns(const nevrad::sm_blocks<T>& blocks,
                   const array<T>& x,
                   const array<T>& y,
                   int n,
                   int first,
                   int last) {
  constexpr bool by_rows = Layout == nevrad::dense_layout::row_major;
  const int ld = by_rows ? n : blocks.order;
  const std::int64_t at = std::int64_t{first} * (by_rows ? 1 : ld);
  const auto panel = nevrad::sm_panel(blocks);
  nevrad::sm_panels<Side, nevrad::diagonal::stored, Layout>(blocks, panel.get(), x.data() + at,
                                                            last - first, ld, y.data() + at, ld,
                                                            make<T>(0.5));
}

// Every form of a triangle against blocks that visit every row, on profiles for which slabs take
// turns in the panel, just fill it, and need all of it.
template <class T, nevrad::triangle Side, nevrad::dense_layout Layout>
void expect_same_forms(int order, int reach, bool gaps) {
  using nevrad::triangle_form;
  // Two panels at once where they fit, one, one that is narrower, and columns by themselves.
  constexpr int n = 3 * 64 / static_cast<int>(sizeof(T)) + 6;
  generator random(static_cast<std::uint64_t>(order + reach));
  SCOPED_TRACE(testing::Message() << random << ", order " << order << ", reach " << reach);
  const auto a = two_diagonals<T>(random, Side == nevrad::triangle::lower, order, reach, gaps,
                                  Layout == nevrad::dense_layout::row_major ? 0 : 1);
  const auto view = a.view();
  const auto x = random.values<T>(std::int64_t{order} * n);
  array<T> want;
  for (const auto form : {triangle_form::blocks, triangle_form::listed_blocks, triangle_form::rows,
                          triangle_form::by_length}) {
    const auto blocks = blocks_of<T, Side>(view, form);
    EXPECT_EQ(blocks.rows != nullptr, !gaps && form >= triangle_form::rows);
    if (form == triangle_form::listed_blocks) EXPECT_NE(blocks.records[0].strip, nullptr);
    array<T> y(x.size());
    solve_columns<Side, Layout>(blocks, x, y, n, 0, n);
    if (form == triangle_form::blocks) {
      want = y;
    } else {
      EXPECT_SAME_ARRAYS(y, want);
    }
  }
}

TYPED_TEST(many_solve, has_the_same_bits_in_every_form) {
  for (const int order : {4096, 5001}) {
    for (const int reach : {1, 1024, 1025, 2047}) {
      const bool gaps = (order + reach) % 2 == 0;
      using nevrad::dense_layout;
      using nevrad::triangle;
      using T = TypeParam;
      expect_same_forms<T, triangle::lower, dense_layout::row_major>(order, reach, gaps);
      expect_same_forms<T, triangle::upper, dense_layout::column_major>(order, reach, gaps);
      expect_same_forms<T, triangle::lower, dense_layout::column_major>(order, reach, !gaps);
      expect_same_forms<T, triangle::upper, dense_layout::row_major>(order, reach, !gaps);
    }
  }
}

// Row-major results beyond the size from which they go past the caches: by shares of columns that
// fill lines, by shares that do not, by rows without a gap, and in place.
template <class T, nevrad::triangle Side>
void expect_same_large_results(int reach) {
  constexpr auto layout = nevrad::dense_layout::row_major;
  constexpr int order = 1 << 14;
  constexpr int n = 256 / static_cast<int>(sizeof(T));
  generator random(static_cast<std::uint64_t>(reach));
  SCOPED_TRACE(testing::Message() << random << ", reach " << reach);
  const auto a = two_diagonals<T>(random, Side == nevrad::triangle::lower, order, reach, false, 0);
  const auto view = a.view();
  const auto x = random.values<T>(std::int64_t{order} * n);
  array<T> want(x.size());
  const auto visited = blocks_of<T, Side>(view, nevrad::triangle_form::listed_blocks);
  solve_columns<Side, layout>(visited, x, want, n, 0, n);
  const auto blocks = blocks_of<T, Side>(view, nevrad::triangle_form::rows);
  array<T> halves(x.size());
  solve_columns<Side, layout>(blocks, x, halves, n, 0, n / 2);
  solve_columns<Side, layout>(blocks, x, halves, n, n / 2, n);
  EXPECT_SAME_ARRAYS(halves, want);
  array<T> between_lines(x.size());
  solve_columns<Side, layout>(blocks, x, between_lines, n, 0, 1);
  constexpr int large_enough = 2 + 128 / static_cast<int>(sizeof(T));
  solve_columns<Side, layout>(blocks, x, between_lines, n, 1, large_enough);
  solve_columns<Side, layout>(blocks, x, between_lines, n, large_enough, n);
  EXPECT_SAME_ARRAYS(between_lines, want);
  array<T> in_place = x;
  solve_columns<Side, layout>(blocks, in_place, in_place, n, 0, n);
  EXPECT_SAME_ARRAYS(in_place, want);
}

TYPED_TEST(many_solve, has_the_same_bits_in_large_results) {
  for (const int reach : {1, 1025}) {
    expect_same_large_results<TypeParam, nevrad::triangle::lower>(reach);
    expect_same_large_results<TypeParam, nevrad::triangle::upper>(reach);
  }
}

// The same of column-major results: two panels at once and what is left of them, the first lines of
// the columns beginning `shift` elements before y, and the last ones not full.
template <class T, nevrad::triangle Side>
void expect_same_large_columns(int reach, int shift) {
  constexpr auto layout = nevrad::dense_layout::column_major;
  constexpr int ld = 1 << 13;
  constexpr int order = ld - 5;
  constexpr int n = 2 * 64 / static_cast<int>(sizeof(T)) + 7;
  generator random(static_cast<std::uint64_t>(reach + shift));
  SCOPED_TRACE(testing::Message() << random << ", reach " << reach << ", shift " << shift);
  const auto a = two_diagonals<T>(random, Side == nevrad::triangle::lower, order, reach, false, 1);
  const auto view = a.view();
  const auto x = random.values<T>(std::int64_t{ld} * n + shift);
  const auto solved = [&](nevrad::triangle_form form) {
    array<T> y = x;
    const auto blocks = blocks_of<T, Side>(view, form);
    const auto panel = nevrad::sm_panel(blocks);
    T* const start = y.data() + shift;
    nevrad::sm_panels<Side, nevrad::diagonal::stored, layout>(blocks, panel.get(), start, n, ld,
                                                              start, ld, make<T>(0.5));
    return y;
  };
  EXPECT_SAME_ARRAYS(solved(nevrad::triangle_form::rows),
                     solved(nevrad::triangle_form::listed_blocks));
}

TYPED_TEST(many_solve, has_the_same_bits_in_large_columns) {
  expect_same_large_columns<TypeParam, nevrad::triangle::lower>(1025, 3);
  expect_same_large_columns<TypeParam, nevrad::triangle::upper>(1, 3);
}

// What threads find out about their shares of the rows is what one finds out about all, faults in
// the rows at which shares meet and at the ends included.
template <nevrad::triangle Side>
void expect_same_facts() {
  constexpr bool lower = Side == nevrad::triangle::lower;
  constexpr int order = 3 * 8192 + 5;
  generator random(1);
  const auto plain = two_diagonals<double>(random, lower, order, 3, false, 1);
  const auto look = [](const matrix<double>& a, int budget) {
    return nevrad::look_at_rows<Side>(a.view(), budget);
  };
  EXPECT_TRUE(look(plain, 2).diagonals_at_end && look(plain, 2).reach == 3);
  for (const int row : {0, 4, 8192, 8193, order / 2 - 1, order / 2, order / 2 + 1, order - 1}) {
    const int first = plain.begin[row] - 1;
    const int last = plain.end[row] - 2;
    matrix<double> unsorted = plain;
    std::swap(unsorted.indices[first], unsorted.indices[last]);
    matrix<double> displaced = plain;
    displaced.indices[lower ? last : first] += lower ? -1 : 1;
    matrix<double> twice = plain;
    twice.indices[lower ? first : last] = row + 1;
    for (const auto& a : {unsorted, displaced, twice}) {
      const auto want = look(a, 1);
      for (const int budget : {2, 3}) {
        const auto got = look(a, budget);
        EXPECT_EQ(got.ascending, want.ascending) << row;
        EXPECT_EQ(got.diagonals_at_end, want.diagonals_at_end) << row;
        EXPECT_EQ(got.reach, want.reach) << row;
      }
    }
    EXPECT_EQ(look(unsorted, 2).ascending, first == last) << row;
    EXPECT_FALSE(look(displaced, 2).diagonals_at_end) << row;
  }
}

TEST(many_solve_facts, are_the_same_for_every_budget) {
  expect_same_facts<nevrad::triangle::lower>();
  expect_same_facts<nevrad::triangle::upper>();
}

// Whether the rows are sorted is told by 0 and 1.
TYPED_TEST(many_solve, refuses_a_mark_of_sorting_that_means_nothing) {
  using T = TypeParam;
  const array<T> one(1, make<T>(1));
  const array<int> pointers{0, 1};
  nevrad::compressed_matrix<T> a{};
  nevrad::view_csr_init(a, one.data(), pointers.data(), pointers.data() + 1, pointers.data(), 1, 1,
                        0);
  for (const int sorted : {0, 1, 2}) {
    a.sorted = sorted;
    array<T> y(1, make<T>(9));
    constexpr auto driver = nevrad::sm_driver<nevrad::triangle::lower, nevrad::diagonal::stored,
                                              nevrad::dense_layout::row_major, T>;
    EXPECT_EQ(driver(a, one.data(), 1, 1, y.data(), 1, make<T>(2)), sorted == 2 ? 3 : 0);
    EXPECT_SAME_BITS(y[0], make<T>(sorted == 2 ? 9 : 2));
  }
}

// Outcomes that are documented where a diagonal is missing, on a matrix for the naked eye:
//
//        . . . .      Row 0 has no entry in the lower triangle: the rows behind it work one place
//        3 2 . .      off. Row 1: y0 = (x0 - 3 x0) / 2; row 2: y1 = (x1 - 5 y1's old x1) / 4 ...
//        . 5 4 .
//        . . . .
TEST(many_solve_outcomes, an_empty_row_moves_those_behind_it) {
  const lines<double> source = {{}, {{0, 3.0}, {1, 2.0}}, {{1, 5.0}, {2, 4.0}}, {}};
  const auto a = compress<double>(source, 4, compression::rows, 0);
  const array<double> x{7, 11, 13, 17};
  array<double> y(4);
  ASSERT_EQ(csrsm<double>(0, 4, 1, 1.0, "TLNC", a.values.data(), a.indices.data(), a.begin.data(),
                          a.end.data(), x.data(), 1, y.data(), 1),
            0);
  EXPECT_SAME_ARRAYS(y, (array<double>{(7 - 3 * 7) * 0.5, (11 - 5 * 11) * 0.25, 13, 17}));
}

//        2 . .        Row 1 stores no diagonal: 3 is taken for its reciprocal as it stands, and for
//        3 . .        a unit diagonal is passed over. Row 2 has its diagonal.
//        . 5 4
TEST(many_solve_outcomes, a_missing_diagonal_is_taken_from_its_neighbour) {
  const lines<double> source = {{{0, 2.0}}, {{0, 3.0}}, {{1, 5.0}, {2, 4.0}}};
  const auto a = compress<double>(source, 3, compression::rows, 0);
  const array<double> x{8, 11, 13};
  array<double> y(3);
  const auto run = [&](const char* code) {
    return csrsm<double>(0, 3, 1, 1.0, code, a.values.data(), a.indices.data(), a.begin.data(),
                         a.end.data(), x.data(), 1, y.data(), 1);
  };
  ASSERT_EQ(run("TLNC"), 0);
  EXPECT_SAME_ARRAYS(y, (array<double>{4, 33, (13 - 5 * 33) * 0.25}));
  ASSERT_EQ(run("TLUC"), 0);
  EXPECT_SAME_ARRAYS(y, (array<double>{8, 11, 13 - 5 * 11}));
}

TEST(many_solve_outcomes, a_zero_diagonal_shows_in_the_result_alone) {
  const array<double> zero{0.0};
  const array<complex64> complex_zero{complex64{0, 0}};
  const array<int> index{0}, begin{0}, end{1};
  array<double> y(1);
  const array<double> x{3.0};
  ASSERT_EQ(csrsm<double>(0, 1, 1, 1.0, "TLNC", zero.data(), index.data(), begin.data(), end.data(),
                          x.data(), 1, y.data(), 1),
            0);
  EXPECT_TRUE(std::isinf(y[0]));
  ASSERT_EQ(csrsm<double>(0, 1, 1, 0.0, "TLNC", zero.data(), index.data(), begin.data(), end.data(),
                          x.data(), 1, y.data(), 1),
            0);
  EXPECT_TRUE(std::isnan(y[0])) << "alpha = 0 is not special";
  array<complex64> v(1);
  const array<complex64> u{complex64{3, 1}};
  ASSERT_EQ(csrsm<complex64>(0, 1, 1, {1, 0}, "TUNC", complex_zero.data(), index.data(),
                             begin.data(), end.data(), u.data(), 1, v.data(), 1),
            0);
  EXPECT_TRUE(element_is_nan(v[0]));
}

}  // namespace
}  // namespace nevrad_test
