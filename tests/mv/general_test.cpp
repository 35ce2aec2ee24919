// y = alpha A x + beta y for general matrices stored by rows: against dense arithmetic, and to the
// bit against the element-by-element model.
#include "mv/general.h"

#include "frame/partition.h"
#include "mv/general_model.h"
#include "support/oracle.h"
#include "support/threads.h"

#include <numeric>

namespace nevrad_test {
namespace {

NEVRAD_BY_TYPE(csrmv, orv_sparse_, csrmv)
enum class walk { short_rows, long_rows };

// The walk that the mean row length asks for; the last end counts as it stands, base included.
template <class T>
walk walk_of(const matrix<T>& a) {
  return static_cast<float>(a.end[a.rows - 1]) / static_cast<float>(a.rows) < 10.0F
             ? walk::short_rows
             : walk::long_rows;
}

template <class T>
array<T> model(walk how,
               const matrix<T>& a,
               const array<T>& x,
               T alpha,
               T beta,
               const array<T>& before) {
  array<T> y = before;
  if (how == walk::short_rows) {
    short_rows_model(a, a.base, x, y, alpha, beta, 0, a.rows);
  } else {
    long_rows_model(a, x, y, alpha, beta, 0, a.rows);
  }
  return y;
}

template <class T>
nevrad::status run_csrmv(const matrix<T>& a, const array<T>& x, T alpha, T beta, array<T>& y) {
  return csrmv<T>(0, a.rows, a.cols, alpha, a.base == 1 ? "G00F" : "G00C", a.values.data(),
                  a.indices.data(), a.begin.data(), a.end.data(), x.data(), beta, y.data());
}

// Rows of the lengths given, columns in random order.
template <class T>
matrix<T> rows_of_lengths(generator& random,
                          const std::vector<int>& lengths,
                          int cols,
                          int base,
                          int gap = 0) {
  lines<T> source;
  for (const int length : lengths) {
    auto& line = source.emplace_back();
    for (int e = 0; e < length; ++e) {
      line.emplace_back(random.integer(0, cols - 1), random.value<T>());
    }
  }
  return compress<T>(source, cols, compression::rows, base, gap);
}

template <class T>
class general_product : public testing::Test {};
TYPED_TEST_SUITE(general_product, all_types, type_names);

// Every row length through all remainders of the loops, bit for bit, on every budget.
TYPED_TEST(general_product, adds_in_the_documented_order) {
  using T = TypeParam;
  std::vector<int> few;
  std::vector<int> many;
  for (int length = 0; length <= 17; ++length) few.push_back(length * 7 % 18);
  for (int length = 0; length <= 41; ++length) many.push_back(length * 11 % 42);
  for (const auto& lengths : {few, many}) {
    for (const int base : {0, 1}) {
      generator random(static_cast<std::uint64_t>(base));
      SCOPED_TRACE(random);
      const auto a = rows_of_lengths<T>(random, lengths, 23, base);
      ASSERT_EQ(walk_of(a), lengths.size() == few.size() ? walk::short_rows : walk::long_rows);
      const auto x = random.values<T>(23);
      const auto before = random.values<T>(a.rows);
      const T any = random.value<T>();
      const std::pair<T, T> scalars[] = {{make<T>(1), T{}},
                                         {make<T>(1), random.value<T>()},
                                         {any, T{}},
                                         {any, random.value<T>()}};
      for (const auto& [alpha, beta] : scalars) {
        const array<T> want = model(walk_of(a), a, x, alpha, beta, before);
        for (const int threads : budgets) {
          const budget_scope budget(threads);
          array<T> y = before;
          ASSERT_EQ(nevrad::csr_mv_driver<T>(a.view(), x.data(), y.data(), alpha, beta), 0);
          EXPECT_SAME_ARRAYS(y, want) << "on " << threads;
        }
      }
    }
  }
}

// Rows that move on by one column, in runs of all lengths up to nine rows between rows that do not,
// or that do but for one entry: in what order a row is summed must not depend on its neighbours.
TYPED_TEST(general_product, sums_moving_rows_as_any_others) {
  using T = TypeParam;
  for (const bool many : {false, true}) {
    for (const int base : {0, 1}) {
      generator random(6);
      SCOPED_TRACE(random);
      constexpr int cols = 90;
      lines<T> source;
      for (int length = many ? 8 : 0; length <= (many ? 30 : 12); ++length) {
        for (int rows = 1; rows <= 9; ++rows) {
          std::vector<int> first(static_cast<std::size_t>(length));
          for (int& column : first) column = random.integer(0, cols - 10);
          const int odd_row = random.integer(0, 2 * rows);
          for (int r = 0; r < rows; ++r) {
            auto& line = source.emplace_back();
            for (const int column : first) line.emplace_back(column + r, random.value<T>());
            if (r == odd_row && length > 0) {
              line[static_cast<std::size_t>(random.integer(0, length - 1))].first = 0;
            }
          }
          source.emplace_back();
          for (int e = random.integer(0, length); e > 0; --e) {
            source.back().emplace_back(random.integer(0, cols - 1), random.value<T>());
          }
        }
      }
      enum class layout { packed, gaps, hidden_rows };
      for (const layout kind : {layout::packed, layout::gaps, layout::hidden_rows}) {
        const int gap = kind == layout::gaps ? 2 : 0;
        auto a = compress<T>(source, cols, compression::rows, base, gap);
        if (kind == layout::hidden_rows) {
          // The entries of every sixth row belong to none: what lies between rows is of the same
          // kind.
          int kept = 0;
          for (int i = 0; i < a.rows; ++i) {
            if (i % 6 == 2) continue;
            a.begin[kept] = a.begin[i];
            a.end[kept] = a.end[i];
            ++kept;
          }
          a.rows = kept;
        }
        for (T& value : a.values) {
          if (element_is_nan(value)) value = random.value<T>();
        }
        ASSERT_EQ(walk_of(a), many ? walk::long_rows : walk::short_rows);
        const auto x = random.values<T>(cols);
        const auto before = random.values<T>(a.rows);
        for (const T alpha : {make<T>(1), random.value<T>()}) {
          for (const T beta : {T{}, random.value<T>()}) {
            const array<T> want = model(walk_of(a), a, x, alpha, beta, before);
            array<T> y = before;
            ASSERT_EQ(nevrad::csr_mv_driver<T>(a.view(), x.data(), y.data(), alpha, beta), 0);
            EXPECT_SAME_ARRAYS(y, want) << "layout " << static_cast<int>(kind);
          }
        }
      }
    }
  }
}

// The raw last end decides, in single precision: 10 rows of 10 entries are long, with one entry
// less they are short, and a base of 1 counts as an entry.
TYPED_TEST(general_product, counts_the_mean_row_from_the_raw_last_end) {
  using T = TypeParam;
  struct {
    int base;
    int entries;
    walk how;
  } const cases[] = {{0, 100, walk::long_rows},
                     {0, 99, walk::short_rows},
                     {1, 99, walk::long_rows},
                     {1, 98, walk::short_rows}};
  for (const auto& c : cases) {
    generator random(3);
    std::vector<int> lengths(10, 9);
    lengths[4] = c.entries - 81;
    const auto a = rows_of_lengths<T>(random, lengths, 30, c.base);
    const auto x = random.values<T>(30);
    const auto before = random.values<T>(10);
    const T alpha = random.value<T>();
    const T beta = random.value<T>();
    array<T> y = before;
    ASSERT_EQ(run_csrmv(a, x, alpha, beta, y), 0);
    EXPECT_SAME_ARRAYS(y, model(c.how, a, x, alpha, beta, before));
    const walk other = c.how == walk::long_rows ? walk::short_rows : walk::long_rows;
    EXPECT_FALSE(equal_arrays("", "", y, model(other, a, x, alpha, beta, before)))
        << "the values must tell the two walks apart";
  }
}

// Short rows walk on through a gap, long rows leave it out; the range of every thread begins at
// the begin of its first row.
TYPED_TEST(general_product, treats_gaps_as_each_walk_does) {
  using T = TypeParam;
  for (const int typical : {3, 14}) {
    generator random(4);
    std::vector<int> lengths(21);
    for (int& length : lengths) length = random.integer(typical - 2, typical + 2);
    auto a = rows_of_lengths<T>(random, lengths, 19, 1, 2);
    for (T& value : a.values) {
      if (element_is_nan(value)) value = random.value<T>();  // gaps that show in the bits
    }
    const auto x = random.values<T>(19);
    const auto before = random.values<T>(a.rows);
    const T alpha = random.value<T>();
    const T beta = random.value<T>();
    const walk how = walk_of(a);
    EXPECT_EQ(how == walk::short_rows, typical == 3);
    for (const int threads : budgets) {
      const budget_scope budget(threads);
      array<int> part(threads + 1);
      nevrad::partition_by_nnz(a.end.data(), a.rows, threads, part.data());
      array<T> want = before;
      for (int t = 0; t < threads; ++t) {
        if (how == walk::short_rows) {
          short_rows_model(a, a.base, x, want, alpha, beta, part[t], part[t + 1]);
        } else {
          long_rows_model(a, x, want, alpha, beta, part[t], part[t + 1]);
        }
      }
      array<T> y = before;
      ASSERT_EQ(nevrad::csr_mv_driver<T>(a.view(), x.data(), y.data(), alpha, beta), 0);
      EXPECT_SAME_ARRAYS(y, want) << "on " << threads;
    }
  }
}

// One-based arrays under a zero-based descriptor: long rows take the first begin as the base of
// everything and come out right; short rows go by the descriptor and read one place further on.
TYPED_TEST(general_product, takes_its_offset_as_each_walk_does) {
  using T = TypeParam;
  for (const int length : {2, 16}) {
    generator random(5);
    auto a = rows_of_lengths<T>(random, std::vector<int>(9, length), 11, 1, 1);
    for (T& value : a.values) {
      if (element_is_nan(value)) value = random.value<T>();
    }
    for (int i = 1; i < a.rows; ++i) a.begin[i] = a.end[i - 1];  // packed but for the last entry
    for (int i = 0; i < a.rows; ++i) a.end[i] -= i;
    for (int i = 1; i < a.rows; ++i) a.begin[i] = a.end[i - 1];
    const auto x = random.values<T>(12);
    const auto before = random.values<T>(9);
    const T alpha = random.value<T>();
    const T beta = random.value<T>();
    array<T> want = before;
    a.base = 0;
    if (walk_of(a) == walk::short_rows) {
      short_rows_model(a, 0, x, want, alpha, beta, 0, a.rows);
    } else {
      long_rows_model(a, x, want, alpha, beta, 0, a.rows);
    }
    array<T> y = before;
    ASSERT_EQ(run_csrmv(a, x, alpha, beta, y), 0);
    EXPECT_SAME_ARRAYS(y, want);
  }
}

template <class T>
class conjugated_rows : public testing::Test {};
TYPED_TEST_SUITE(conjugated_rows, complex_types, type_names);

TYPED_TEST(conjugated_rows, conjugate_the_matrix_alone) {
  using T = TypeParam;
  generator random(11);
  std::vector<int> lengths(20);
  std::iota(lengths.begin(), lengths.end(), 0);
  const auto a = rows_of_lengths<T>(random, lengths, 13, 1, 1);
  const auto x = random.values<T>(13);
  const auto before = random.values<T>(20);
  for (const T alpha : {make<T>(1), random.value<T>()}) {
    const T beta = random.value<T>();
    array<T> want = before;
    long_rows_model(a, x, want, alpha, beta, 0, 20, conjugate::yes);
    array<T> y = before;
    EXPECT_EQ(nevrad::csr_mv_long_rows_conj(alpha, a.view(), x.data(), beta, y.data(), 0, 20), 0);
    EXPECT_SAME_ARRAYS(y, want);
    auto turned = a;
    turned.values = array<T>(a.values.size());
    for (std::int64_t p = 0; p < a.values.size(); ++p) turned.values[p] = nevrad::conj(a.values[p]);
    EXPECT_TRUE(is_product(y, dense_of(turned, "G00C"), x, alpha, beta, before));
  }
}

template <class T>
class nearly_one : public testing::Test {};
TYPED_TEST_SUITE(nearly_one, real_types, type_names);

// Short rows take alpha within a tolerance for 1 and beta for 0; long rows take them as given.
TYPED_TEST(nearly_one, counts_as_one_on_short_rows_alone) {
  using T = TypeParam;
  const bool single = is_single<T>;
  const double ulp = std::numeric_limits<T>::epsilon();
  const double inside = single ? 8 * ulp : 45 * ulp;   // 9.54e-7, 9.992e-15
  const double outside = single ? 9 * ulp : 46 * ulp;  // 1.07e-6, 1.02e-14
  const double small = single ? 9e-7 : 9e-15;
  const double larger = single ? 1.1e-6 : 1.1e-14;
  struct {
    double alpha, beta;
    bool overwrites;
  } const cases[] = {
      {1 + inside, 0, true},     {1 + outside, 0, false},     {1 - inside / 2, 0, true},
      {1, small, true},          {1, -small, true},           {1, larger, false},
      {1 + inside, small, true}, {1 + outside, small, false}, {std::nan(""), 0, false},
      {1, std::nan(""), false},
  };
  for (const int length : {3, 20}) {
    generator random(12);
    const auto a = rows_of_lengths<T>(random, std::vector<int>(6, length), 25, 0);
    const auto x = random.values<T>(25);
    const array<T> sums = model(walk_of(a), a, x, T{1}, T{0}, array<T>(6));
    for (const auto& c : cases) {
      const auto alpha = static_cast<T>(c.alpha);
      const auto beta = static_cast<T>(c.beta);
      array<T> before = random.values<T>(6);
      array<T> y = before;
      ASSERT_EQ(run_csrmv(a, x, alpha, beta, y), 0);
      EXPECT_SAME_ARRAYS(y, model(walk_of(a), a, x, alpha, beta, before));
      before[0] = quiet_nan<T>();
      y = before;
      ASSERT_EQ(run_csrmv(a, x, alpha, beta, y), 0);
      const bool overwrites = length == 3 && c.overwrites;
      EXPECT_EQ(std::isnan(y[0]), !overwrites) << c.alpha << ' ' << c.beta;
      if (overwrites) {
        EXPECT_SAME_ARRAYS(y, sums);
      }
    }
  }
}

}  // namespace
}  // namespace nevrad_test
