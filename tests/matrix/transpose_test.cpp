// Transposition, conversion and sorting against lists of entries.
#include "matrix/transpose.h"

#include "support/matrix.h"
#include "support/threads.h"

namespace nevrad_test {
namespace {

using nevrad::scoped_matrix;
using nevrad::status;

template <class T>
class transposition : public testing::Test {};
TYPED_TEST_SUITE(transposition, all_types, type_names);

template <class T>
class conj_transposition : public testing::Test {};
TYPED_TEST_SUITE(conj_transposition, complex_types, type_names);

template <class T>
lines<T> minor_lines(const matrix<T>& a, bool turned = false) {
  return transposed(lines_of(a), a.minor(), turned);
}

template <class T>
void expect_lines(const nevrad::owned_matrix<T>& got, const lines<T>& want, int rows, int cols) {
  EXPECT_EQ(got.rows, rows);
  EXPECT_EQ(got.cols, cols);
  EXPECT_EQ(got.base, 0);
  EXPECT_EQ(got.sorted, 1);
  EXPECT_EQ(got.end, got.begin + 1);
  int p = 0;
  for (std::size_t c = 0; c < want.size(); ++c) {
    ASSERT_EQ(got.begin[c], p);
    for (const auto& [index, value] : want[c]) {
      ASSERT_EQ(got.indices[p], index);
      ASSERT_TRUE(same_bits(got.values[p], value));
      ++p;
    }
  }
  EXPECT_EQ(got.begin[want.size()], p);
}

// Shapes from one entry to lines that are much longer than others, unsorted, with duplicates.
template <class T, class Check>
void for_each_matrix(compression kind, const Check& check) {
  for (int round = 0; round < 20; ++round) {
    generator random(static_cast<std::uint64_t>(round));
    SCOPED_TRACE(random);
    const auto a = random_matrix<T>(random, {.rows = random.integer(1, 30),
                                             .cols = random.integer(1, 30),
                                             .base = round % 2,
                                             .kind = kind,
                                             .typical = random.integer(0, 6),
                                             .duplicates = random.chance(2)});
    for (const int budget : budgets) {
      SCOPED_TRACE(budget);
      const budget_scope threads(budget);
      check(a);
    }
  }
}

TYPED_TEST(transposition, exchanges_lines_in_order) {
  using T = TypeParam;
  for_each_matrix<T>(compression::rows, [](const matrix<T>& a) {
    for (const auto transpose : {nevrad::csr_transpose<T>, nevrad::csr_transpose_parallel<T>}) {
      scoped_matrix<T> t;
      ASSERT_EQ(transpose(a.view(), t.out()), 0);
      expect_lines(*t, minor_lines(a), a.cols, a.rows);
    }
  });
  for_each_matrix<T>(compression::columns, [](const matrix<T>& a) {
    for (const auto transpose : {nevrad::csc_transpose<T>, nevrad::csc_transpose_parallel<T>}) {
      scoped_matrix<T> t;
      ASSERT_EQ(transpose(a.view(), t.out()), 0);
      expect_lines(*t, minor_lines(a), a.cols, a.rows);
    }
  });
}

TYPED_TEST(conj_transposition, negates_imaginary_parts) {
  using T = TypeParam;
  for_each_matrix<T>(compression::rows, [](const matrix<T>& a) {
    for (const auto transpose :
         {nevrad::csr_conj_transpose<T>, nevrad::csr_conj_transpose_parallel<T>}) {
      scoped_matrix<T> t;
      ASSERT_EQ(transpose(a.view(), t.out()), 0);
      expect_lines(*t, minor_lines(a, true), a.cols, a.rows);
      scoped_matrix<T> back;
      ASSERT_EQ(transpose(*t, back.out()), 0);
      expect_lines(*back, ascending(lines_of(a)), a.rows, a.cols);
    }
  });
  for_each_matrix<T>(compression::columns, [](const matrix<T>& a) {
    for (const auto transpose :
         {nevrad::csc_conj_transpose<T>, nevrad::csc_conj_transpose_parallel<T>}) {
      scoped_matrix<T> t;
      ASSERT_EQ(transpose(a.view(), t.out()), 0);
      expect_lines(*t, minor_lines(a, true), a.cols, a.rows);
    }
  });
}

TYPED_TEST(transposition, sorts_and_converts) {
  using T = TypeParam;
  for_each_matrix<T>(compression::rows, [](const matrix<T>& a) {
    scoped_matrix<T> sorted;
    ASSERT_EQ(nevrad::csr_sort_by_double_transpose(a.view(), sorted.out()), 0);
    expect_lines(*sorted, ascending(lines_of(a)), a.rows, a.cols);
    const auto view = a.view();
    for (const auto convert : {nevrad::csr_to_csc<T>, nevrad::csr_to_csc_parallel<T>}) {
      scoped_matrix<T> columns;
      ASSERT_EQ(convert(&view, columns.out()), 0);
      expect_lines(*columns, minor_lines(a), a.rows, a.cols);
    }
  });
  for_each_matrix<T>(compression::columns, [](const matrix<T>& a) {
    const auto view = a.view();
    for (const auto convert : {nevrad::csc_to_csr<T>, nevrad::csc_to_csr_parallel<T>}) {
      scoped_matrix<T> rows;
      ASSERT_EQ(convert(&view, rows.out()), 0);
      expect_lines(*rows, minor_lines(a), a.rows, a.cols);
    }
  });
}

TYPED_TEST(transposition, refuses_rows_without_entries_and_takes_such_columns) {
  using T = TypeParam;
  const matrix<T> rows = compress<T>(lines<T>(3), 2, compression::rows, 1);
  const matrix<T> columns = compress<T>(lines<T>(2), 3, compression::columns, 1);
  const auto row_view = rows.view();
  const auto column_view = columns.view();
  const lines<T> nothing_in_two(2);
  const lines<T> nothing_in_three(3);
  for (const int budget : {1, 3}) {
    const budget_scope threads(budget);
    scoped_matrix<T> none;
    EXPECT_EQ(nevrad::csr_transpose(row_view, none.out()), ORV_SPARSE_STATUS_INVALID_VALUE);
    EXPECT_EQ(nevrad::csr_transpose_parallel(row_view, none.out()),
              ORV_SPARSE_STATUS_INVALID_VALUE);
    EXPECT_EQ(nevrad::csr_sort_by_double_transpose(row_view, none.out()),
              ORV_SPARSE_STATUS_INVALID_VALUE);
    EXPECT_EQ(nevrad::csc_to_csr(&column_view, none.out()), ORV_SPARSE_STATUS_INVALID_VALUE);
    EXPECT_EQ(none.get(), nullptr);

    scoped_matrix<T> t;
    EXPECT_EQ(nevrad::csc_transpose_parallel(column_view, t.out()), 0);
    expect_lines(*t, nothing_in_three, 2, 3);
    scoped_matrix<T> converted;
    EXPECT_EQ(nevrad::csr_to_csc(&row_view, converted.out()), 0);
    expect_lines(*converted, nothing_in_two, 3, 2);
  }
}

TYPED_TEST(transposition, conversions_and_views_take_null) {
  using T = TypeParam;
  generator random(3);
  const matrix<T> a = random_matrix<T>(random, {.rows = 3, .cols = 5, .base = 1});
  const auto view = a.view();
  scoped_matrix<T> none;
  for (const auto convert : {nevrad::csr_to_csc<T>, nevrad::csr_to_csc_parallel<T>,
                             nevrad::csc_to_csr<T>, nevrad::csc_to_csr_parallel<T>}) {
    EXPECT_EQ(convert(nullptr, none.out()), ORV_SPARSE_STATUS_NULL_POINTER);
    EXPECT_EQ(convert(&view, nullptr), ORV_SPARSE_STATUS_NULL_POINTER);
  }
  EXPECT_EQ(none.get(), nullptr);
  nevrad::compressed_view<T> exchanged = view;
  nevrad::csr_view_as_csc<T>(nullptr, &exchanged);
  nevrad::csr_view_as_csc<T>(&view, nullptr);
  EXPECT_EQ(exchanged.rows, 3);
  nevrad::csr_view_as_csc(&view, &exchanged);
  EXPECT_EQ(exchanged.rows, 5);
  EXPECT_EQ(exchanged.cols, 3);
  EXPECT_EQ(exchanged.base, 1);
  EXPECT_EQ(exchanged.values, view.values);
  EXPECT_EQ(exchanged.end, view.end);
  // In place, and back.
  nevrad::csc_view_as_csr(&exchanged, &exchanged);
  EXPECT_EQ(exchanged.rows, 3);
  EXPECT_EQ(exchanged.cols, 5);
}

// Beyond the second-level cache the scatter looks ahead in the positions, whose order need not be
// that of the lines, unless the lines are short. Here line 1 ends three positions before the arrays
// do.
TYPED_TEST(transposition, looks_ahead_within_the_positions) {
  using T = TypeParam;
  for (const auto& [count, usual] : {std::pair(1800, 80), std::pair(is_native ? 20000 : 200, 7)}) {
    generator random(5);
    lines<T> source(static_cast<std::size_t>(count));
    for (auto& line : source) {
      const int length = &line == &source.back() ? 3 : usual;
      for (int k = 0; k < length; ++k) {
        line.emplace_back(random.integer(0, 299), random.template value<T>());
      }
    }
    matrix<T> a = compress(source, 300, compression::rows, 1);
    std::swap(a.begin[1], a.begin[count - 2]);
    std::swap(a.end[1], a.end[count - 2]);
    const budget_scope threads(3);
    for (const auto transpose : {nevrad::csr_transpose<T>, nevrad::csr_transpose_parallel<T>}) {
      scoped_matrix<T> t;
      ASSERT_EQ(transpose(a.view(), t.out()), 0);
      expect_lines(*t, minor_lines(a), a.cols, a.rows);
    }
  }
}

}  // namespace
}  // namespace nevrad_test
