// Finding out that rows ascend already, held against the sort that it saves.
#include "matrix/sorted_rows.h"
#include "support/matrix.h"

#include <algorithm>

namespace nevrad_test {
namespace {

using nevrad::matrix_handle;
using nevrad::owned_matrix;
using nevrad::rows_ascend;
using nevrad::scoped_matrix;
using nevrad::sorted_rows;

template <class T>
class sorted_rows_test : public testing::Test {};
TYPED_TEST_SUITE(sorted_rows_test, all_types, type_names);

template <class T>
void copy_owned(const matrix<T>& a, scoped_matrix<T>& out) {
  matrix_handle<T> handle{};
  ASSERT_EQ(nevrad::owned_csr_from_arrays(&handle, static_cast<unsigned>(a.base), a.rows, a.cols,
                                          a.begin.data(), a.end.data(), a.indices.data(),
                                          a.values.data()),
            0);
  *out.out() = handle.matrix;
}

TYPED_TEST(sorted_rows_test, gives_what_sorting_gives) {
  using T = TypeParam;
  for (int round = 0; round < 60; ++round) {
    generator random(static_cast<std::uint64_t>(round));
    SCOPED_TRACE(random);
    const bool ordered = round % 2 == 0;
    const bool long_rows = round % 8 == 5;
    const auto made = random_matrix<T>(random, {.rows = random.integer(1, 40),
                                                .cols = long_rows ? 90 : random.integer(1, 12),
                                                .base = 1,
                                                .typical = long_rows ? 40 : random.integer(0, 3),
                                                .sorted = ordered,
                                                .duplicates = true});
    scoped_matrix<T> a;
    copy_owned(made, a);
    scoped_matrix<T> literal;
    ASSERT_EQ(nevrad::csr_sort_by_double_transpose(*a, literal.out()), 0);
    // The same rows in the base in which the caller has them.
    const array<int> pointers = made.pointers();
    nevrad::compressed_view<T> view{made.values.data(),
                                    pointers.data(),
                                    pointers.data() + 1,
                                    made.indices.data(),
                                    made.rows,
                                    made.cols,
                                    1,
                                    0};
    EXPECT_EQ(rows_ascend(view), rows_ascend(*a));
    sorted_rows<T> by_ranges;
    ASSERT_EQ(by_ranges.sort_when_taken(view), 0);
    const auto rows = by_ranges.in_order();
    for (int lo = 0; lo < made.rows; lo += 3) {
      const int hi = std::min(lo + 3, made.rows);
      const auto range = rows.take(lo, hi);
      EXPECT_EQ(range.values == view.values, ordered || rows_ascend(view, lo, hi));
      for (int p = range.begin[lo] - 1; p < range.end[hi - 1] - 1; ++p) {
        EXPECT_EQ(range.indices[p] - range.base, literal->indices[p]);
        EXPECT_SAME_BITS(range.values[p], literal->values[p]);
      }
    }
    sorted_rows<T> found;
    ASSERT_EQ(found.sort(*a), 0);
    const owned_matrix<T>& got = found.get();
    if (ordered) EXPECT_EQ(got.values, a->values) << "sorted without need";
    EXPECT_EQ(got.sorted, 1);
    EXPECT_EQ(a->sorted, 0);
    const int nnz = csr_entries(*literal);
    ASSERT_EQ(csr_entries(got), nnz);
    for (int i = 0; i <= a->rows; ++i) EXPECT_EQ(got.begin[i], literal->begin[i]);
    for (int p = 0; p < nnz; ++p) {
      EXPECT_EQ(got.indices[p], literal->indices[p]);
      EXPECT_SAME_BITS(got.values[p], literal->values[p]);
    }
  }
}

TYPED_TEST(sorted_rows_test, one_step_down_within_a_row_is_found_anywhere) {
  using T = TypeParam;
  const T v = make<T>(1);
  // Rows of 1, 2, 3 ... entries with an empty one behind each; every row starts again at column 0.
  int entries = 0;
  for (int length = 1; length < 9; ++length) entries += length;
  for (int fault = 0; fault < entries; ++fault) {
    lines<T> source;
    int entry = 0;
    bool faulty = false;
    for (int length = 1; length < 9; ++length) {
      auto& row = source.emplace_back();
      for (int p = 0; p < length; ++p, ++entry) {
        const bool lower = entry == fault && p > 0;
        faulty = faulty || lower;
        row.emplace_back(lower ? 2 * p - 1 : 2 * p + 2, v);
      }
      source.emplace_back();
    }
    scoped_matrix<T> a;
    copy_owned(compress<T>(source, 20, compression::rows, 0), a);
    EXPECT_EQ(rows_ascend(*a), !faulty) << "entry " << fault;
  }
}

TYPED_TEST(sorted_rows_test, refuses_a_matrix_without_entries) {
  using T = TypeParam;
  int begin[] = {0, 0, 0, 0};
  nevrad::compressed_view<T> empty{nullptr, begin, begin + 1, nullptr, 2, 3, 0, 0};
  sorted_rows<T> found;
  EXPECT_EQ(found.sort(empty), ORV_SPARSE_STATUS_INVALID_VALUE);
}

}  // namespace
}  // namespace nevrad_test
