// Owned copies when memory runs out: nothing stays behind, and nothing is handed out.
#include "matrix/record.h"
#include "support/allocator.h"
#include "support/matrix.h"

namespace nevrad_test {
namespace {

template <class T>
class record_alloc : public testing::Test {};
TYPED_TEST_SUITE(record_alloc, all_types, type_names);

TYPED_TEST(record_alloc, copies_take_four_blocks_and_give_back_on_failure) {
  using T = TypeParam;
  for (const compression kind : {compression::rows, compression::columns}) {
    generator random(11);
    matrix_kind like{.rows = 5, .cols = 4, .base = 1};
    like.kind = kind;
    const matrix<T> a = random_matrix<T>(random, like);
    const int blocks = expect_clean_failures([&] {
      nevrad::matrix_handle<T> handle{nullptr, compression::rows};
      const auto construct = kind == compression::rows ? nevrad::owned_csr_from_arrays<T>
                                                       : nevrad::owned_csc_from_arrays<T>;
      const nevrad::status result = construct(&handle, 1, a.rows, a.cols, a.begin.data(),
                                              a.end.data(), a.indices.data(), a.values.data());
      EXPECT_EQ(result == ORV_SPARSE_STATUS_SUCCESS, handle.matrix != nullptr);
      nevrad::owned_csr_free(handle.matrix);
      return result;
    });
    EXPECT_EQ(blocks, 4) << "record, pointers, indices, values";
  }
}

}  // namespace
}  // namespace nevrad_test
