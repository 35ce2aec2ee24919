// The order of every addition, bit for bit, and what the walks do where a diagonal is missing.
#include "sv/model.h"

namespace nevrad_test {
namespace {

template <class T>
class solve_order : public testing::Test {};
TYPED_TEST_SUITE(solve_order, all_types, type_names);

// The same matrix with one more entry behind the last line: a walk that leaves its row ends there.
template <class T>
matrix<T> with_spare_entry(matrix<T> a, int index, T value) {
  std::vector<T> values(a.values.begin(), a.values.end());
  std::vector<int> indices(a.indices.begin(), a.indices.end());
  values.push_back(value);
  indices.push_back(index + a.base);
  a.values = array<T>(values);
  a.indices = array<int>(indices);
  return a;
}

template <class T>
void expect_model(const matrix<T>& a, const solve_form& form, generator& random) {
  SCOPED_TRACE(testing::Message() << triangle_descriptor(form, a.base) << " op " << form.op
                                  << (a.kind == compression::rows ? " rows " : " columns ")
                                  << "order " << a.rows << ' ' << random);
  const T alpha = random.value<T>();
  const array<T> x = random.values<T>(a.rows);
  const std::string descra = triangle_descriptor(form, a.base);
  const array<T> want = solve_model<T>(a, form)(alpha, x);
  EXPECT_SAME_ARRAYS(solved(a, descra, form.op, alpha, x), want);
  EXPECT_EQ(solve(a, descra.c_str(), form.op, alpha, x.data(), x.data()), 0);
  EXPECT_SAME_ARRAYS(x, want);
}

solve_form form_of(int lot) { return {(lot & 1) != 0, (lot & 2) != 0, lot / 4 % 3}; }

TYPED_TEST(solve_order, is_that_of_the_walk) {
  using T = TypeParam;
  for (int lot = 0; lot < 480; ++lot) {
    generator random(static_cast<std::uint64_t>(lot) + 1000);
    matrix_kind like{.sorted = true};
    like.rows = like.cols = random.integer(1, 24);
    like.kind = random.chance(2) ? compression::rows : compression::columns;
    like.base = random.integer(0, 1);
    like.typical = random.integer(1, 10);
    like.duplicates = random.chance(4);
    like.gap = random.integer(0, 1);
    like.diagonal = stored_diagonal::all;
    expect_model(random_matrix<T>(random, like), form_of(lot), random);
  }
}

// Columns may lack their diagonal: the search tells which entry stands in for it.
TYPED_TEST(solve_order, of_columns_is_kept_without_diagonals) {
  using T = TypeParam;
  for (int lot = 0; lot < 240; ++lot) {
    generator random(static_cast<std::uint64_t>(lot) + 2000);
    solve_form form = form_of(lot);
    matrix_kind like{.sorted = true};
    like.rows = like.cols = random.integer(1, 20);
    like.kind = form.op == 0 ? compression::columns : compression::rows;
    like.base = random.integer(0, 1);
    like.typical = random.integer(1, 6);
    like.diagonal = random.chance(2) ? stored_diagonal::some : stored_diagonal::none;
    expect_model(random_matrix<T>(random, like), form, random);
  }
}

// What a row without its diagonal gives is open; rows that do not need it are solved as ever.
TYPED_TEST(solve_order, of_other_rows_is_kept_beside_one_without_diagonal) {
  using T = TypeParam;
  generator random(2500);
  const auto v = [&] { return random.value<T>(); };
  const lines<T> source{{{0, v()}},
                        {{0, v()}, {2, v()}, {3, v()}, {4, v()}},
                        {{0, v()}, {2, v()}},
                        {{0, v()}, {2, v()}, {3, v()}, {4, v()}},
                        {{0, v()}, {2, v()}, {3, v()}, {4, v()}}};
  const auto a = compress<T>(source, 5, compression::rows, 0);
  const T alpha = v();
  const array<T> x = random.values<T>(5);
  const array<T> want = solve_model<T>(a, {})(alpha, x);
  const array<T> got = solved(a, "TLNC", 0, alpha, x);
  for (const int i : {0, 2, 3, 4}) EXPECT_SAME_BITS(got[i], want[i]) << i;
}

// Unit rows may lack their diagonal too; the tail of a row then looks at the entry behind it.
TYPED_TEST(solve_order, of_unit_rows_is_kept_without_diagonals) {
  using T = TypeParam;
  for (int lot = 0; lot < 240; ++lot) {
    generator random(static_cast<std::uint64_t>(lot) + 3000);
    const int op = lot % 3;
    matrix_kind like{.sorted = true};
    like.rows = like.cols = random.integer(1, 20);
    like.kind = op == 0 ? compression::rows : compression::columns;
    like.base = random.integer(0, 1);
    like.typical = random.integer(1, 6);
    like.diagonal = random.chance(2) ? stored_diagonal::some : stored_diagonal::none;
    const matrix<T> a = with_spare_entry(random_matrix<T>(random, like), 0, random.value<T>());
    expect_model(a, {op != 0, true, op}, random);
  }
}

// Of three rows
//     1  .  .
//     2  1  .      with no diagonal stored: the first row is empty,
//     .  3  1      and 5 at column 0 is what follows the last one,
// row 1 adds 2 y_0 and looks at the 3 of column 1: at its diagonal, so it ends. Row 2 adds 3 y_1
// and then the entry behind.
TYPED_TEST(solve_order, of_a_tail_counts_down_to_zero_inclusive) {
  using T = TypeParam;
  const auto number = [](double v) { return make<T>(v); };
  const matrix<T> a = with_spare_entry(compress<T>({{}, {{0, number(2)}}, {{1, number(3)}}}, 3,
                                                   compression::rows, 1),
                                       0, number(5));
  const array<T> x{number(1), number(10), number(100)};
  const array<T> y = solved(a, "TLUF", 0, number(1), x);
  EXPECT_SAME_ARRAYS(y, (array<T>{number(1), number(8), number(100 - 3 * 8 - 5 * 1)}));
}

// Row 1 of
//     2  4  8
//     .  .  1      lacks its diagonal: the walk runs on into row 0, takes 8 y_2 with it,
//     .  .  2      and stops at the 4, whose column is 1.
TYPED_TEST(solve_order, of_a_backward_walk_runs_into_the_row_before) {
  using T = TypeParam;
  const auto number = [](double v) { return make<T>(v); };
  const matrix<T> a = compress<T>({{{0, number(2)}, {1, number(4)}, {2, number(8)}},
                                   {{2, number(1)}},
                                   {{2, number(2)}}},
                                  3, compression::rows, 0);
  const array<T> x{number(100), number(17), number(2)};
  const double y2 = 1;
  const double y1 = (17 - (1 + 8) * y2) / 4;
  const double y0 = (100 - 8 * y2 - 4 * y1) / 2;
  EXPECT_SAME_ARRAYS(solved(a, "TUNC", 0, number(1), x),
                     (array<T>{number(y0), number(y1), number(y2)}));
}

// A group of four whose first column is left of the diagonal and that does not hold it: the fourth
// element divides, and none is used.
TYPED_TEST(solve_order, of_a_backward_group_takes_its_fourth_for_the_diagonal) {
  using T = TypeParam;
  const auto number = [](double v) { return make<T>(v); };
  lines<T> rows(5);
  for (int i = 0; i < 5; ++i) rows[static_cast<std::size_t>(i)] = {{i, number(1)}};
  rows[2] = {{0, number(3)}, {1, number(3)}, {3, number(3)}, {4, number(8)}};
  const matrix<T> a = compress<T>(rows, 5, compression::rows, 0);
  const array<T> x(5, number(16));
  EXPECT_SAME_BITS(solved(a, "TUNC", 0, number(1), x)[2], number(2));
  EXPECT_SAME_BITS(solved(a, "TUUC", 0, number(1), x)[2], number(16));
}

TYPED_TEST(solve_order, of_diagonal_solves) {
  using T = TypeParam;
  for (int lot = 0; lot < 36; ++lot) {
    generator random(static_cast<std::uint64_t>(lot) + 4000);
    SCOPED_TRACE(random);
    matrix_kind like{.rows = 21, .cols = 21};
    like.kind = lot % 2 == 0 ? compression::rows : compression::columns;
    like.base = random.integer(0, 1);
    like.gap = random.integer(0, 1);
    const int op = lot % 3;
    const matrix<T> a = random_matrix<T>(random, like);
    const T alpha = random.value<T>();
    const array<T> x = random.values<T>(a.rows);
    const array<T> before = random.values<T>(a.rows);
    array<T> want(a.rows);
    array<T> y(a.rows);
    std::copy(before.begin(), before.end(), y.begin());
    for (int i = 0; i < a.rows; ++i) {
      want[i] = before[i];  // what a line without a diagonal entry keeps
      for (int p = a.begin[i] - a.base; p < a.end[i] - a.base; ++p) {
        if (a.indices[p] != i + a.base) continue;
        const T d = conjugated(a.values[p], op == 2);
        want[i] = quotient(exact_fused_product(x[i], alpha), d, true);
        break;
      }
    }
    EXPECT_EQ(solve(a, a.base == 1 ? "D0NF" : "D0NC", op, alpha, x.data(), y.data()), 0);
    EXPECT_SAME_ARRAYS(y, want);

    for (int i = 0; i < a.rows; ++i) want[i] = exact_fused_product(x[i], alpha);
    EXPECT_SAME_ARRAYS(solved(a, a.base == 1 ? "D0UF" : "D0UC", op, alpha, x), want);
  }
}

}  // namespace
}  // namespace nevrad_test
