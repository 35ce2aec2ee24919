// Each allocation of a product failing in turn: status 2, nothing lost, and C in a documented
// state.
#include "mm/panels.h"

#include "support/allocator.h"
#include "support/oracle.h"
#include "support/threads.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <vector>

namespace nevrad_test {
namespace {

NEVRAD_BY_TYPE(csrmm, orv_sparse_, csrmm)
NEVRAD_BY_TYPE(cscmm, orv_sparse_, cscmm)

// What C may hold when memory is short: what it held before, or that times beta.
enum class left { untouched, may_be_scaled };

struct failure_case {
  const char* what;
  const char* descra;
  int op, rows, cols, typical, budget;
  left state;
  bool by_columns = false;
};
const failure_case failure_cases[] = {
    {"columns, one block", "G00F", 0, 12, 20, 4, 1, left::may_be_scaled},
    {"columns, blocks", "G00F", 0, 12, 6000, 9, 1, left::may_be_scaled},
    {"columns, long block rows", "G00F", 0, 6, 6000, 300, 1, left::may_be_scaled},
    {"columns, transposed", "G00F", 1, 20, 12, 4, 1, left::may_be_scaled},
    {"columns, conjugated", "G00F", 2, 20, 12, 4, 1, left::may_be_scaled},
    {"columns, three threads", "G00F", 0, 12, 6000, 9, 3, left::may_be_scaled},
    {"rows, direct", "G00C", 0, 12, 3000, 4, 1, left::untouched},
    {"rows, direct, three threads", "G00C", 0, 12, 3000, 4, 3, left::untouched},
    {"rows, chunks", "G00C", 0, 12, 20, 4, 1, left::untouched},
    {"rows, chunks, transposed", "G00C", 1, 12, 20, 4, 1, left::untouched},
    {"rows, blocks", "G00C", 0, 6, 6000, 300, 1, left::may_be_scaled},
    {"rows, packed, three threads", "G00C", 0, 12, 20, 4, 3, left::may_be_scaled},
    {"symmetric", "SLNF", 0, 12, 12, 4, 1, left::may_be_scaled},
    {"hermitian", "HUUC", 1, 12, 12, 4, 1, left::untouched},
    {"triangular", "TUNC", 0, 12, 12, 4, 1, left::untouched},
    {"triangular, conjugated", "TLNF", 2, 12, 12, 4, 1, left::may_be_scaled},
    {"diagonal", "D0NF", 0, 12, 12, 4, 1, left::untouched},
    {"diagonal, conjugated, three threads", "D0NC", 2, 12, 12, 4, 3, left::untouched},
    {"columns stored, converted", "G00C", 0, 12, 20, 4, 1, left::untouched, true},
    {"columns stored, viewed", "G00F", 1, 12, 20, 4, 1, left::may_be_scaled, true},
    {"columns stored, conjugated", "G00C", 2, 12, 20, 4, 1, left::untouched, true},
    {"columns stored, triangular", "TLNC", 2, 12, 12, 4, 1, left::untouched, true},
};

template <class T>
class failing_mm : public testing::Test {};
TYPED_TEST_SUITE(failing_mm, all_types, type_names);

TYPED_TEST(failing_mm, leaves_c_as_documented) {
  using T = TypeParam;
  int calls_of_copy = 0;
  for (int round = 0; round < 2 * static_cast<int>(std::size(failure_cases)); ++round) {
    const failure_case& row = failure_cases[round / 2];
    SCOPED_TRACE(row.what);
    generator random(1);
    const layout order = layout_of(row.descra);
    const auto a =
        random_matrix<T>(random, {.rows = row.rows,
                                  .cols = row.cols,
                                  .base = order == layout::column_major ? 1 : 0,
                                  .kind = row.by_columns ? compression::columns : compression::rows,
                                  .typical = row.typical,
                                  .nasty = false});
    const T alpha = random.value<T>();
    // Times one half is exact, so a scaled element is known to the bit in every form of product.
    const T beta = make<T>(0.5);
    // Taken in place, a matrix asks for the memory that a copy would take.
    const auto pointers = a.pointers_in(round % 2 != 0);
    const bool turned = row.op != 0;
    const auto b = panel<T>::random(random, turned ? row.rows : row.cols, 11, order, 1);
    const auto before = panel<T>::random(random, turned ? row.cols : row.rows, 11, order, 2);
    const budget_scope budget(row.budget);
    panel<T> done = before;
    const auto run = [&](const panel<T>& c) {
      const auto call = row.by_columns ? cscmm<T> : csrmm<T>;
      return call(row.op, a.rows, 11, a.cols, alpha, row.descra, a.values.data(), a.indices.data(),
                  pointers.begin, pointers.end, b.data(), b.ld(), beta, c.data(), c.ld());
    };
    ASSERT_EQ(run(done), 0);
    bool whole_was_scaled = false;
    const int calls = expect_clean_failures([&] {
      const panel<T> c = before;
      const nevrad::status result = run(c);
      bool all_scaled = result != 0;
      for (std::int64_t i = 0; i < c.rows(); ++i) {
        bool untouched = true;
        bool scaled = true;
        bool complete = true;
        for (int j = 0; j < 11; ++j) {
          untouched = untouched && same_bits(c(i, j), before(i, j));
          scaled = scaled && widen(c(i, j)) == widen(before(i, j)) * wide_real<T>(0.5);
          complete = complete && same_bits(c(i, j), done(i, j));
        }
        all_scaled = all_scaled && scaled;
        if (result == 0) {
          EXPECT_TRUE(complete) << "row " << i;
        } else if (row.state == left::untouched) {
          EXPECT_TRUE(untouched) << "row " << i;
        } else {
          EXPECT_TRUE(untouched || scaled || (row.budget > 1 && complete)) << "row " << i;
        }
      }
      whole_was_scaled = whole_was_scaled || all_scaled;
      return result;
    });
    // Without its panels a product leaves C scaled.
    if (row.state == left::may_be_scaled) EXPECT_TRUE(whole_was_scaled);
    // The owned copy alone takes four.
    EXPECT_GE(calls, row.state == left::untouched ? 4 : 5);
    if (round % 2 != 0) EXPECT_EQ(calls, calls_of_copy);
    calls_of_copy = calls;
  }
}

// Two threads pack what their rows need of B side by side into one store. In a band their parts are
// small, and here the second one just fits in behind the first.
TYPED_TEST(failing_mm, keeps_the_panels_of_all_threads_within_their_store) {
  using T = TypeParam;
  constexpr int n = 4;
  const int order = 64 * nevrad::mm_chunk<T> + 76;
  array<int> begin(order + 1);
  std::iota(begin.begin(), begin.end(), 1);
  const array<T> values(n * order, make<T>(1));
  array<T> c(n * order, make<T>(3));
  const budget_scope budget(2);
  const allocator_scope memory;
  ASSERT_EQ(csrmm<T>(0, order, n, order, make<T>(1), "G00F", values.data(), begin.data(),
                     begin.data(), begin.data() + 1, values.data(), order, make<T>(1), c.data(),
                     order),
            0);
  for (const T& element : c) EXPECT_EQ(widen(element), wide_real<T>(4));
}

// Straight from a triangle, over one block of columns and over two: C is left as a product with the
// expanded matrix leaves it, which scales all of C but where one block serves rows, or rows go
// direct.
TYPED_TEST(failing_mm, leaves_c_as_expanding_does_where_it_goes_straight) {
  using T = TypeParam;
  constexpr int n = 8;
  const T beta = make<T>(0.5);
  const budget_scope budget(1);
  for (const auto& [order, below] : {std::pair{2000, 12}, {5400, 12}, {5400, 2}}) {
    for (const char* const code : {"SLNF", "SLNC"}) {
      SCOPED_TRACE(testing::Message() << code << ", " << order << ", " << below);
      const bool columns = layout_of(code) == layout::column_major;
      const int base = columns ? 1 : 0;
      array<int> begin(order + 1);
      std::vector<int> indices;
      for (int i = 0; i < order; ++i) {
        begin[i] = static_cast<int>(indices.size()) + base;
        for (int j = std::max(0, i - below); j <= i; ++j) indices.push_back(j + base);
      }
      begin[order] = static_cast<int>(indices.size()) + base;
      const array<T> values(static_cast<std::int64_t>(indices.size()), make<T>(1));
      const array<T> b(n * order, make<T>(1));
      const int ld = columns ? order : n;
      bool scaled = false;
      expect_clean_failures([&] {
        array<T> c(n * order, make<T>(3));
        const nevrad::status result =
            csrmm<T>(0, order, n, order, make<T>(1), code, values.data(), indices.data(),
                     begin.data(), begin.data() + 1, b.data(), ld, beta, c.data(), ld);
        if (result != 0) {
          const bool all_scaled = widen(c[0]) == wide_real<T>(1.5);
          for (const T& element : c) {
            EXPECT_EQ(widen(element), all_scaled ? wide_real<T>(1.5) : wide_real<T>(3));
          }
          scaled = scaled || all_scaled;
        }
        return result;
      });
      EXPECT_EQ(scaled, columns || (order > 5120 && below > 2));
    }
  }
}

// A product straight from a triangle asks for what expanding it takes, and as expanding does, gives
// all but the copy back before it asks for more.
TYPED_TEST(failing_mm, holds_no_more_than_an_expansion_would) {
  using T = TypeParam;
  constexpr int n = 16;
  constexpr int order = 2000;
  constexpr int below = 12;
  array<int> begin(order + 1);
  std::vector<int> columns;
  for (int i = 0; i < order; ++i) {
    begin[i] = static_cast<int>(columns.size()) + 1;
    for (int j = std::max(0, i - below); j <= i; ++j) columns.push_back(j + 1);
  }
  begin[order] = static_cast<int>(columns.size()) + 1;
  const std::uint64_t taken = columns.size();
  const array<T> values(static_cast<std::int64_t>(taken), make<T>(1));
  const array<T> b(n * order, make<T>(1));
  const array<T> c(n * order, make<T>(3));
  const budget_scope budget(1);
  const allocator_scope memory;
  ASSERT_EQ(csrmm<T>(0, order, n, order, make<T>(1), "SLNF", values.data(), columns.data(),
                     begin.data(), begin.data() + 1, b.data(), order, make<T>(1), c.data(), order),
            0);
  const auto bytes = [](std::uint64_t entries) {
    return sizeof(int) * (order + 2) + (sizeof(T) + sizeof(int)) * entries + 512;
  };
  const std::uint64_t making = bytes(taken) + sizeof(int) * 2 * order;
  const std::uint64_t multiplying = sizeof(T) * n * order;
  EXPECT_LE(memory.peak(),
            bytes(taken) + bytes(2 * taken - order) + std::max(making, multiplying) + 512);
}

}  // namespace
}  // namespace nevrad_test
