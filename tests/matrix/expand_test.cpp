// Expansion of stored triangles: which entries, where, in which order, to the bit.
#include "matrix/expand.h"
#include "support/matrix.h"

namespace nevrad_test {
namespace {

using nevrad::diagonal;
using nevrad::owned_matrix;
using nevrad::scoped_matrix;
using nevrad::triangle;

template <class T>
T conjugate(T a) {
  if constexpr (is_complex<T>) return {a.re, -a.im};
  return a;
}

enum class shape { symmetric, symmetric_conj, hermitian, hermitian_conj, plain, transposed, both };

// Entry by entry: (row, column) in ascending order, equal places in their order.
template <class T>
lines<T> expected(const matrix<T>& a, shape what, triangle side, diagonal ones) {
  lines<T> rows(static_cast<std::size_t>(a.rows));
  const auto add = [&](int i, int j, T v) {
    auto& row = rows[static_cast<std::size_t>(i)];
    auto place = row.end();
    while (place != row.begin() && (place - 1)->first > j) --place;
    row.insert(place, {j, v});
  };
  for (int i = 0; i < a.rows; ++i) {
    for (int p = a.begin[i] - a.base; p < a.end[i] - a.base; ++p) {
      const int j = a.indices[p] - a.base;
      const T v = a.values[p];
      if (i == j && ones == diagonal::unit) continue;
      if (i != j && (j > i) != (side == triangle::upper)) continue;
      const bool whole = what == shape::symmetric_conj || what == shape::both;
      switch (what) {
        case shape::plain:
          add(i, j, v);
          break;
        case shape::transposed:
        case shape::both:
          add(j, i, whole ? conjugate(v) : v);
          break;
        default:
          if (i == j) {
            add(i, i, whole ? conjugate(v) : v);
          } else {
            add(i, j, whole || what == shape::hermitian_conj ? conjugate(v) : v);
            add(j, i, whole || what == shape::hermitian ? conjugate(v) : v);
          }
      }
    }
    if (ones == diagonal::unit) add(i, i, make<T>(1));
  }
  return rows;
}

template <class T>
void check(const matrix<T>& a, nevrad::expansion<T> expand, shape what) {
  for (const triangle side : {triangle::lower, triangle::upper}) {
    for (const diagonal ones : {diagonal::stored, diagonal::unit}) {
      SCOPED_TRACE(testing::Message()
                   << "shape " << static_cast<int>(what) << ", upper " << (side == triangle::upper)
                   << ", unit " << (ones == diagonal::unit));
      scoped_matrix<T> out;
      ASSERT_EQ(expand(a.view(), side, ones, out.out()), 0);
      const lines<T> want = expected(a, what, side, ones);
      EXPECT_EQ(out->rows, a.rows);
      EXPECT_EQ(out->cols, a.rows);
      EXPECT_EQ(out->base, 0);
      EXPECT_EQ(out->sorted, 1);
      EXPECT_EQ(out->begin[0], 0);
      for (int i = 0; i < a.rows; ++i) {
        const auto& row = want[static_cast<std::size_t>(i)];
        ASSERT_EQ(out->end[i] - out->begin[i], static_cast<int>(row.size())) << "row " << i;
        int p = out->begin[i];
        for (const auto& [column, value] : row) {
          EXPECT_EQ(out->indices[p], column);
          EXPECT_SAME_BITS(out->values[p], value);
          ++p;
        }
      }
    }
  }
}

template <class T>
class expansion_test : public testing::Test {};
TYPED_TEST_SUITE(expansion_test, all_types, type_names);

TYPED_TEST(expansion_test, takes_one_triangle_and_sorts) {
  using T = TypeParam;
  for (int round = 0; round < 24; ++round) {
    generator random(static_cast<std::uint64_t>(round));
    SCOPED_TRACE(random);
    const int order = random.integer(1, 14);
    // Rows that ascend already are expanded in another way.
    const auto a = random_matrix<T>(random, {.rows = order,
                                             .cols = order,
                                             .base = round % 2,
                                             .typical = random.integer(0, 5),
                                             .sorted = round % 4 < 2,
                                             .duplicates = round % 3 == 0});
    check<T>(a, nevrad::expand_symmetric<T>, shape::symmetric);
    check<T>(a, nevrad::extract_triangle<T>, shape::plain);
    check<T>(a, nevrad::extract_triangle_transposed<T>, shape::transposed);
    if constexpr (is_complex<T>) {
      check<T>(a, nevrad::expand_symmetric_conjugate<T>, shape::symmetric_conj);
      check<T>(a, nevrad::expand_hermitian<T>, shape::hermitian);
      check<T>(a, nevrad::expand_hermitian_conjugate<T>, shape::hermitian_conj);
      check<T>(a, nevrad::extract_triangle_conjugate_transposed<T>, shape::both);
    }
  }
}

}  // namespace
}  // namespace nevrad_test
