// Records: views over the caller's arrays, and owned copies.
#include "matrix/record.h"

#include "support/matrix.h"

namespace nevrad_test {
namespace {

using nevrad::matrix_handle;
using nevrad::owned_matrix;
using nevrad::scoped_matrix;

template <class T>
class record : public testing::Test {
 protected:
  // Copies a by the constructor of its compression, as one_based says.
  static nevrad::status copy(const matrix<T>& a, unsigned one_based, matrix_handle<T>* handle) {
    const auto construct = a.kind == compression::rows ? nevrad::owned_csr_from_arrays<T>
                                                       : nevrad::owned_csc_from_arrays<T>;
    return construct(handle, one_based, a.rows, a.cols, a.begin.data(), a.end.data(),
                     a.indices.data(), a.values.data());
  }
};
TYPED_TEST_SUITE(record, all_types, type_names);

bool is_aligned(const void* p) { return reinterpret_cast<std::uintptr_t>(p) % 64 == 0; }

TYPED_TEST(record, copies_are_zero_based_aligned_and_of_unknown_order) {
  using T = TypeParam;
  for (int round = 0; round < 8; ++round) {
    generator random(static_cast<std::uint64_t>(round));
    SCOPED_TRACE(random);
    matrix_kind like{.rows = 7, .cols = 5, .base = round % 2, .sorted = round % 4 < 2};
    like.kind = round < 4 ? compression::rows : compression::columns;
    const auto a = random_matrix<T>(random, like);
    matrix_handle<T> handle{nullptr, compression::rows};
    ASSERT_EQ(this->copy(a, static_cast<unsigned>(a.base), &handle), 0);
    const scoped_matrix<T> owner(handle.matrix);
    const owned_matrix<T>& b = *owner;
    EXPECT_EQ(handle.kind, like.kind);
    EXPECT_EQ(b.rows, 7);
    EXPECT_EQ(b.cols, 5);
    EXPECT_EQ(b.base, 0);
    EXPECT_EQ(b.sorted, 0);
    EXPECT_EQ(b.end, b.begin + 1);
    EXPECT_TRUE(is_aligned(b.begin) && is_aligned(b.indices) && is_aligned(b.values));
    EXPECT_EQ(b.begin[0], 0);
    for (int i = 0; i < a.major(); ++i) EXPECT_EQ(b.end[i], a.end[i] - a.base);
    EXPECT_EQ(like.kind == compression::rows ? nevrad::csr_entries(b) : nevrad::csc_entries(b),
              a.entries());
    for (int p = 0; p < a.entries(); ++p) {
      EXPECT_EQ(b.indices[p], a.indices[p] - a.base);
      EXPECT_SAME_BITS(b.values[p], a.values[p]);
    }
    b.begin[a.major() + 1] = 0;  // the spare entry belongs to the record
  }
}

// Row 0 is entries 0 and 1; row 1 claims to begin at 3, behind a gap, and ends at 4:
//   values 10 11 | 12 | 13
// The copy takes row 1 from where row 0 ended, and 4 entries from the front of the arrays.
TYPED_TEST(record, copies_close_gaps_and_read_only_the_first_begin) {
  using T = TypeParam;
  matrix<T> a;
  a.rows = 2;
  a.cols = 4;
  a.begin = {0, 3};
  a.end = {2, 4};
  a.indices = {3, 1, 0, 2};
  a.values = {make<T>(10), make<T>(11), make<T>(12), make<T>(13)};
  matrix_handle<T> handle{nullptr, compression::rows};
  ASSERT_EQ(this->copy(a, 0, &handle), 0);
  const scoped_matrix<T> owner(handle.matrix);
  EXPECT_EQ(owner->begin[1], 2);
  EXPECT_EQ(owner->end[1], 4);
  for (int p = 0; p < 4; ++p) {
    EXPECT_EQ(owner->indices[p], a.indices[p]);
    EXPECT_SAME_BITS(owner->values[p], a.values[p]);
  }
}

// An operand of several arrays is the copy, whose gaps are closed; of three, the caller's own.
TYPED_TEST(record, operands_stay_in_place_where_that_is_the_same_matrix) {
  using T = TypeParam;
  const array<int> indices{4, 2, 1, 3};
  const array<T> values{make<T>(10), make<T>(11), make<T>(12), make<T>(13)};
  const array<int> begin{1, 4};
  const array<int> end{3, 5};
  const array<int> both{1, 3, 5};
  const array<int> shifted{2, 3, 5};
  for (const auto kind : {compression::rows, compression::columns}) {
    const auto take = [&](nevrad::matrix_operand<T>& into, const int* first, const int* last) {
      const int rows = kind == compression::rows ? 2 : 4;
      return into.take(kind, 1, rows, 6 - rows, first, last, indices.data(), values.data());
    };
    nevrad::matrix_operand<T> copied;
    ASSERT_EQ(take(copied, begin.data(), end.data()), 0);
    EXPECT_EQ(copied.record().base, 0);
    EXPECT_EQ(copied.record().begin[1], 2);
    nevrad::matrix_operand<T> offset;
    ASSERT_EQ(take(offset, shifted.data(), shifted.data() + 1), 0);
    EXPECT_EQ(offset.record().base, 0);
    nevrad::matrix_operand<T> in_place;
    ASSERT_EQ(take(in_place, both.data(), both.data() + 1), 0);
    EXPECT_EQ(in_place.record().values, values.data());
  }
}

TYPED_TEST(record, rejected_arguments_give_3_and_no_matrix) {
  using T = TypeParam;
  const array<int> begin{1};
  const array<int> end{2};
  const array<int> indices{1};
  const array<T> values{make<T>(1)};
  for (const auto construct :
       {nevrad::owned_csr_from_arrays<T>, nevrad::owned_csc_from_arrays<T>}) {
    matrix_handle<T> handle{nullptr, compression::rows};
    for (int fault = 0; fault < 9; ++fault) {
      const unsigned bases[] = {2, ~0U};
      EXPECT_EQ(construct(fault == 0 ? nullptr : &handle, fault >= 7 ? bases[fault - 7] : 1,
                          fault == 1 ? 0 : 1, fault == 2 ? 0 : 1,
                          fault == 3 ? nullptr : begin.data(), fault == 4 ? nullptr : end.data(),
                          fault == 5 ? nullptr : indices.data(),
                          fault == 6 ? nullptr : values.data()),
                ORV_SPARSE_STATUS_INVALID_VALUE)
          << "fault " << fault;
      EXPECT_EQ(handle.matrix, nullptr);
    }
  }
}

// No entries: no CSR matrix, but a CSC matrix of empty columns.
TYPED_TEST(record, only_columns_may_be_all_empty) {
  using T = TypeParam;
  const array<int> pointers{1, 1, 1};
  const array<int> indices(1);
  const array<T> values(1);
  matrix_handle<T> handle{nullptr, compression::rows};
  EXPECT_EQ(nevrad::owned_csr_from_arrays(&handle, 1, 2, 3, pointers.data(), pointers.data() + 1,
                                          indices.data(), values.data()),
            ORV_SPARSE_STATUS_INVALID_VALUE);
  EXPECT_EQ(handle.matrix, nullptr);
  ASSERT_EQ(nevrad::owned_csc_from_arrays(&handle, 1, 3, 2, pointers.data(), pointers.data() + 1,
                                          indices.data(), values.data()),
            ORV_SPARSE_STATUS_SUCCESS);
  const scoped_matrix<T> owner(handle.matrix);
  EXPECT_EQ(nevrad::csc_entries(*owner), 0);
  EXPECT_EQ(owner->begin[0], 0);
  EXPECT_EQ(owner->end[1], 0);
}

TYPED_TEST(record, freeing_nothing_is_allowed) {
  nevrad::owned_csr_free<TypeParam>(nullptr);
  nevrad::owned_csc_free<TypeParam>(nullptr);
}

}  // namespace
}  // namespace nevrad_test
