// Every kernel of both tables against dense arithmetic in wider precision and, where the order of
// additions is fixed, bit for bit against a model of it.
//
// Small matrices bring every budget down to one thread at the entry, so the kernels are called
// through the tables here, with the budget as set.
#include "mv/structured_model.h"
#include "mv/tables.h"
#include "support/oracle.h"
#include "support/threads.h"

#include <numeric>
#include <vector>

namespace nevrad_test {
namespace {

using nevrad::cscmv_table;
using nevrad::csrmv_table;

template <class T>
class mv_tables : public testing::Test {};
TYPED_TEST_SUITE(mv_tables, all_types, type_names);

// Entries of a column, or of a row that is walked as a column, are found by binary search.
bool wants_sorted_lines(compression kind, const char* code, int op) {
  if (code[0] == 'G' || code[0] == 'D') return false;
  return kind == compression::columns || (code[0] == 'T' && op != 0);
}

// Only rows of the general product are taken as packed.
bool wants_packed_lines(compression kind, const char* code, int op) {
  return kind == compression::rows && code[0] == 'G' && op == 0;
}

// A Hermitian matrix counts as its own conjugate transpose and its transpose as its conjugate, so
// an imaginary part that its diagonal should not have stays in the one and turns in the other.
template <class T>
dense<T> operand(const matrix<T>& a, const char* code, int op) {
  if (code[0] != 'H') return dense_of(a, code, op);
  dense<T> d = dense_of(a, code);
  for (int i = 0; i < a.rows; ++i) {
    for (int j = 0; j < a.cols; ++j) d(i, j) = op == 1 ? std::conj(d(i, j)) : d(i, j);
  }
  return d;
}

// Walks over columns on several threads leave the last bits to chance.
bool order_is_fixed(const mv_call& call) {
  if (call.code[0] == 'D' || call.budget == 1) return true;
  if (call.code[0] == 'G') return true;
  if (call.by_rows()) return call.code[0] != 'T' || call.op == 0;
  return call.code[0] == 'T' && call.op != 0;
}

// A row of the general product, or a column that is taken as one, has a model of its own.
bool is_general_row_product(const mv_call& call) {
  return call.code[0] == 'G' && (call.op == 0) == call.by_rows();
}

// One matrix that the call takes, with its operands and what comes out.
template <class T>
struct mv_case {
  matrix<T> a;
  array<T> x;
  array<T> before;
  T alpha;
  T beta;
  dense<T> whole;

  mv_case(const mv_call& call, int rows, generator& random)
      : mv_case(call, draw(call, rows, random), random) {}
  mv_case(const mv_call& call, const matrix<T>& of, generator& random)
      : a(of),
        x(random.values<T>(call.op == 0 ? a.cols : a.rows)),
        before(random.values<T>(call.op == 0 ? a.rows : a.cols)),
        alpha(random.chance(3) ? make<T>(1) : random.value<T>()),
        beta(random.chance(3) ? make<T>(0) : random.value<T>()),
        whole(operand(a, call.code, call.op)) {}

  static matrix<T> draw(const mv_call& call, int rows, generator& random) {
    const bool packed = wants_packed_lines(call.kind, call.code, call.op);
    return random_matrix<T>(random, {.rows = rows,
                                     .cols = call.code[0] == 'G' ? random.integer(1, 40) : rows,
                                     .base = call.code[3] == 'F' ? 1 : 0,
                                     .kind = call.kind,
                                     .typical = random.integer(1, 12),
                                     .sorted = wants_sorted_lines(call.kind, call.code, call.op),
                                     .gap = packed ? 0 : random.integer(0, 2)});
  }

  void expect(const nevrad::mv_kernel<T> kernel, const mv_call& call) const {
    const budget_scope threads(call.budget);
    array<T> y = before;
    ASSERT_EQ(kernel(a.view(), x.data(), y.data(), alpha, beta), 0);
    ASSERT_TRUE(is_product(y, whole, x, alpha, beta, before));
    if (is_general_row_product(call) || !order_is_fixed(call)) return;
    ASSERT_SAME_ARRAYS(y, mv_model<T>(call, a, x, alpha, beta).product(before));
  }
};

// Calls check(kernel, call) for every slot of both tables, on a budget of 1.
template <class T, class Check>
void for_each_kernel(const Check& check) {
  for (const auto& row : csrmv_table<T>) {
    for (const int op : {0, 1, 2}) {
      SCOPED_TRACE(testing::Message() << row.code << " by rows, op " << op);
      check(row.kernels.at[op], mv_call{compression::rows, row.code, op, false, 1});
    }
  }
  for (const auto& row : cscmv_table<T>) {
    for (const int slot : {0, 1, 2, 3, 4, 5}) {
      SCOPED_TRACE(testing::Message() << row.code << " by columns, slot " << slot);
      check(row.kernels.at[slot], mv_call{compression::columns, row.code, slot % 3, slot >= 3, 1});
    }
  }
}

TYPED_TEST(mv_tables, give_the_product_of_their_descriptor_in_the_documented_order) {
  generator random(1);
  for_each_kernel<TypeParam>([&](auto kernel, mv_call call) {
    for (const int rows : {1, 3, 10, 41}) {
      const mv_case<TypeParam> one(call, rows, random);
      // One thread, and one of the teams: all of them over all kernels would be a minute of
      // regions.
      const int team = budgets[random.integer(1, 3)];
      for (const int budget : {1, rows == 3 ? 1 : team}) {
        SCOPED_TRACE(testing::Message() << rows << " rows, budget " << budget << ", " << random);
        call.budget = budget;
        one.expect(kernel, call);
      }
    }
  });
}

// Lines with entries at these distances from the diagonal, below it, beyond it or on both sides:
// those of grids and bands, which are taken four at a time. Some are short of an entry or reach
// further; some shapes are without their diagonal.
template <class T>
matrix<T> lines_of_one_shape(const mv_call& call, const std::vector<int>& away, generator& random) {
  constexpr int rows = 50;
  const int sides = random.integer(0, 2);
  std::vector<int> distances;
  for (auto d = away.rbegin(); sides != 1 && d != away.rend(); ++d) distances.push_back(-*d);
  if (!random.chance(5)) distances.push_back(0);
  for (const int d : away) {
    if (sides != 0) distances.push_back(d);
  }
  lines<T> source(rows);
  for (int i = 0; i < rows; ++i) {
    for (const int d : distances) {
      const int further = d == distances.front() ? -2 : d == distances.back() ? 2 : 0;
      const int j = i + d + (random.chance(60) ? further : 0);
      if (j < 0 || j >= rows || random.chance(300)) continue;
      source[at(i)].emplace_back(j, random.value<T>());
    }
  }
  return compress<T>(source, rows, call.kind, call.code[3] == 'F' ? 1 : 0);
}

// Puts two entries of no line ahead of a line.
template <class T>
void open_gap(matrix<T>& a, int line) {
  const int from = a.begin[line] - a.base;
  std::vector<T> values(a.values.begin(), a.values.end());
  std::vector<int> indices(a.indices.begin(), a.indices.end());
  values.insert(values.begin() + from, 2, quiet_nan<T>());
  indices.insert(indices.begin() + from, 2, a.base);
  a.values = array<T>(values);
  a.indices = array<int>(indices);
  for (int i = line; i < static_cast<int>(a.begin.size()); ++i) {
    a.begin[i] += 2;
    a.end[i] += 2;
  }
}

TYPED_TEST(mv_tables, take_lines_of_one_shape_in_the_documented_order) {
  std::vector<int> band(23);
  std::iota(band.begin(), band.end(), 1);
  generator random(3);
  for_each_kernel<TypeParam>([&](auto kernel, mv_call call) {
    if (call.code[0] == 'D') return;
    // The second group of shapes meets itself within four lines, or has runs of more than four.
    for (const std::vector<int>& away :
         {std::vector{1, 5, 20}, std::vector{4, 9, 26}, band, std::vector{1, 6, 7, 8, 12, 13, 14},
          std::vector{1, 2, 7, 12, 13, 20, 21, 22, 23}, std::vector{1, 2, 3}, std::vector{5, 6, 7},
          std::vector{2, 7, 8, 14}, std::vector{1, 4, 20}, std::vector{3, 7, 20},
          std::vector{1, 5, 8}, std::vector{4, 8, 9, 20}, std::vector{1, 2, 3, 4, 9, 15},
          std::vector{1, 6, 7, 8, 9, 10, 20}}) {
      // Complex lines are walked one by one, whatever their shape.
      if (!random.chance(is_complex<TypeParam> ? 4 : 2)) continue;
      mv_case<TypeParam> one(call, lines_of_one_shape<TypeParam>(call, away, random), random);
      if (!wants_packed_lines(call.kind, call.code, call.op) && random.chance(3)) {
        open_gap(one.a, random.integer(1, 40));
      }
      call.budget = random.chance(4) ? 3 : 1;
      SCOPED_TRACE(testing::Message() << "shape of " << away.size() << ", " << random);
      one.expect(kernel, call);
    }
  });
}

// beta = 0 leaves a y of +0, but for where it was negative; products too small for a number leave
// zeros of both signs.
TYPED_TEST(mv_tables, keep_the_signs_of_zeros) {
  using T = TypeParam;
  const T tiny = make<T>(is_single<T> ? 1e-30 : 1e-200);
  const budget_scope one_thread(1);
  generator random(4);
  for_each_kernel<T>([&](auto kernel, mv_call call) {
    if (is_general_row_product(call)) return;
    mv_case<T> one(call, lines_of_one_shape<T>(call, {1, 5, 20}, random), random);
    one.beta = T{};
    for (T& value : one.a.values) {
      if (!random.chance(3)) value = exact_product(value, tiny);
    }
    for (T& value : one.x) {
      if (!random.chance(3)) value = exact_product(value, tiny);
    }
    for (const bool negative : {false, true}) {
      SCOPED_TRACE(testing::Message() << (negative ? "one -0, " : "all +0, ") << random);
      for (T& value : one.before) value = make<T>(1);
      if (negative) one.before[one.before.size() / 2] = make<T>(-1);
      array<T> y = one.before;
      ASSERT_EQ(kernel(one.a.view(), one.x.data(), y.data(), one.alpha, one.beta), 0);
      ASSERT_SAME_ARRAYS(y,
                         mv_model<T>(call, one.a, one.x, one.alpha, one.beta).product(one.before));
    }
  });
}

TYPED_TEST(mv_tables, are_whole_on_a_smaller_team) {
  generator random(2);
  for_each_kernel<TypeParam>([&](auto kernel, mv_call call) {
    call.budget = 5;
    const mv_case<TypeParam> one(call, 30, random);
    in_callers_region([&] { one.expect(kernel, call); });
  });
}

// Slots that a real type shares, and those that are kernels of their own in a complex one.
TYPED_TEST(mv_tables, share_kernels_by_the_symmetry_of_the_matrix) {
  const auto& rows = csrmv_table<TypeParam>;
  constexpr bool complex = is_complex<TypeParam>;
  for (const auto& row : rows) {
    const auto& at = row.kernels.at;
    const char letter = row.code[0];
    const bool ones = letter == 'D' && row.code[2] == 'U';
    EXPECT_EQ(at[0] == at[1], letter == 'S' || letter == 'D' || (letter == 'H' && !complex));
    EXPECT_EQ(at[0] == at[2],
              letter == 'H' || ones || (!complex && (letter == 'S' || letter == 'D')));
    EXPECT_EQ(at[1] == at[2], ones || !complex);
  }
  // HLNF runs as SLNF in a real type.
  EXPECT_EQ(rows[10].kernels.at[0] == rows[2].kernels.at[0], !complex);
}

// In a chunk's walk an infinite alpha meets the zero terms behind each line; y is read whatever
// beta is, in all but the general product by rows.
TYPED_TEST(mv_tables, keep_nan_and_make_it_of_an_infinite_alpha) {
  using T = TypeParam;
  for_each_kernel<T>([&](auto kernel, const mv_call& call) {
    if (is_general_row_product(call)) return;
    const lines<T> nothing(6);
    const matrix<T> empty = compress<T>(nothing, 6, call.kind, call.code[3] == 'F' ? 1 : 0);
    const array<T> x(6, make<T>(1));
    for (const int budget : {1, 2}) {
      const budget_scope threads(budget);
      array<T> y(6, make<T>(2));
      y[4] = quiet_nan<T>();
      ASSERT_EQ(kernel(empty.view(), x.data(), y.data(), make<T>(1), make<T>(0)), 0);
      for (int i = 0; i < 6; ++i) EXPECT_EQ(element_is_nan(y[i]), i == 4);
    }
    if (!call.by_rows() || (call.code[0] != 'S' && (call.code[0] != 'H' || is_complex<T>))) return;
    array<T> y(6, make<T>(2));
    const T infinity = make<T>(std::numeric_limits<double>::infinity());
    kernel(empty.view(), x.data(), y.data(), infinity, make<T>(1));
    for (const T& yi : y) EXPECT_TRUE(element_is_nan(yi));
  });
}

// Row 0 of a matrix of 12 columns, by rows:
//   columns 3 1 3 2 | 5 6 7 8 | 3    with 3 twice in the first half of a trip and once in the tail
TYPED_TEST(mv_tables, lose_a_repeated_index_within_half_a_trip_alone) {
  using T = TypeParam;
  lines<T> one_line(1);
  const int columns[] = {3, 1, 3, 2, 5, 6, 7, 8, 3};
  for (int e = 0; e < 9; ++e) one_line[0].emplace_back(columns[e], make<T>(1 << e));
  const matrix<T> a = compress<T>(one_line, 12, compression::rows, 0);
  const array<T> x(1, make<T>(1));
  for (const int budget : {1, 2}) {
    const budget_scope threads(budget);
    array<T> y(12, make<T>(0));
    ASSERT_EQ(csrmv_table<T>[1].kernels.at[1](a.view(), x.data(), y.data(), make<T>(1), make<T>(0)),
              0);
    // The first 3 (value 1) is lost to the second (4); that in the tail (256) counts.
    EXPECT_SAME_ARRAYS(y, (array<T>{make<T>(0), make<T>(2), make<T>(8), make<T>(260), make<T>(0),
                                    make<T>(16), make<T>(32), make<T>(64), make<T>(128), make<T>(0),
                                    make<T>(0), make<T>(0)}));
  }
}

}  // namespace
}  // namespace nevrad_test
