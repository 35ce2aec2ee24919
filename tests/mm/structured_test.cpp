// Products with matrices of every structure in both storages, against dense arithmetic, and what is
// fixed to the bit in the diagonal ones.
#include "mm/model.h"
#include "support/threads.h"

namespace nevrad_test {
namespace {

NEVRAD_BY_TYPE(csrmm, orv_sparse_, csrmm)
NEVRAD_BY_TYPE(cscmm, orv_sparse_, cscmm)

template <class T>
int multiply(const char* descra,
             int op,
             const matrix<T>& a,
             T alpha,
             const panel<T>& b,
             T beta,
             const panel<T>& c) {
  const auto call = a.kind == compression::rows ? csrmm<T> : cscmm<T>;
  const auto n = static_cast<int>(c.cols());
  const auto pointers = a.pointers_in((op + n) % 2 == 0);
  return call(op, a.rows, n, a.cols, alpha, descra, a.values.data(), a.indices.data(),
              pointers.begin, pointers.end, b.data(), b.ld(), beta, c.data(), c.ld());
}

template <class T>
class structured_mm : public testing::Test {};
TYPED_TEST_SUITE(structured_mm, all_types, type_names);

TYPED_TEST(structured_mm, agrees_with_dense_arithmetic) {
  using T = TypeParam;
  std::uint64_t round = 0;
  for (const compression kind : {compression::rows, compression::columns}) {
    for (const char* const descra : all_descriptors) {
      for (const int op : {0, 1, 2}) {
        generator random(++round);
        const int budget = random.chance(2) ? 1 : 3;
        SCOPED_TRACE(testing::Message()
                     << descra << ", op " << op << ", budget " << budget
                     << (kind == compression::rows ? ", rows, " : ", columns, ") << random);
        const layout order = layout_of(descra);
        const int m = random.integer(1, 16);
        const int k = descra[0] == 'G' ? random.integer(1, 16) : m;
        const int n = random.integer(1, 21);
        const auto a = random_matrix<T>(random, {.rows = m,
                                                 .cols = k,
                                                 .base = order == layout::column_major ? 1 : 0,
                                                 .kind = kind,
                                                 .typical = random.integer(0, 5),
                                                 .sorted = random.chance(2),
                                                 .duplicates = descra[0] != 'D'});
        const T alpha = random.value<T>();
        const T beta = random.value<T>();
        const auto b = panel<T>::random(random, op == 0 ? k : m, n, order, random.integer(0, 2));
        const auto before =
            panel<T>::random(random, op == 0 ? m : k, n, order, random.integer(0, 2));
        const budget_scope scope(budget);
        const panel<T> c = before;
        ASSERT_EQ(multiply(descra, op, a, alpha, b, beta, c), 0);
        // A Hermitian matrix is its own conjugate transpose; its diagonal is taken as stored.
        const int effective = descra[0] == 'H' && op == 2 ? 0 : op;
        EXPECT_TRUE(is_product(c, dense_of(a, descra, effective), b, alpha, beta, before));
      }
    }
  }
}

// An empty matrix by columns is refused where a transposition sees it.
TYPED_TEST(structured_mm, matrix_without_entries) {
  using T = TypeParam;
  generator random(1);
  matrix<T> a = compress<T>(lines<T>(5), 5, compression::columns, 0);
  a.values = array<T>(1);
  a.indices = array<int>(1);
  const T alpha = random.value<T>();
  const T beta = make<T>(0.5);
  for (const char* const descra : all_descriptors) {
    for (const int op : {0, 1, 2}) {
      SCOPED_TRACE(testing::Message() << descra << ", op " << op);
      a.base = descra[3] == 'F' ? 1 : 0;
      for (int i = 0; i < 5; ++i) a.begin[i] = a.end[i] = a.base;
      const auto b = panel<T>::random(random, 5, 6, layout_of(descra));
      const auto before = panel<T>::random(random, 5, 6, layout_of(descra));
      panel<T> c = before;
      a.kind = compression::rows;
      EXPECT_EQ(multiply(descra, op, a, alpha, b, beta, c), 3);
      EXPECT_SAME_ARRAYS(c.elements(), before.elements());
      a.kind = compression::columns;
      const bool refused = descra[0] == 'G' || (is_complex<T> && descra[0] == 'T' && op == 2);
      EXPECT_EQ(multiply(descra, op, a, alpha, b, beta, c), refused ? 3 : 0);
      if (refused) {
        EXPECT_SAME_ARRAYS(c.elements(), before.elements());
      } else {
        EXPECT_TRUE(is_product(c, dense_of(a, descra, op), b, alpha, beta, before));
      }
    }
  }
}

// The two roundings of a diagonal update: elements in whole groups of four, and the others.
template <class T>
T grouped(T c, T d, T b, T beta) {
  if constexpr (is_complex<T>) {
    return sum_of(product_fused(beta, c), product_fused(d, b));
  } else {
    return std::fma(c, beta, d * b);
  }
}
template <class T>
T single(T c, T d, T b, T beta) {
  if constexpr (is_complex<T>) {
    return sum_of(product_fused(beta, c), product_fused(d, b));
  } else {
    return std::fma(d, b, c * beta);
  }
}

TYPED_TEST(structured_mm, diagonal_updates_to_the_bit) {
  using T = TypeParam;
  for (const char* const descra : {"D0NF", "D0NC", "DXUF", "D0UC"}) {
    for (const int m : {1, 3, 4, 7, 18, 37}) {
      const int n = 40 - m;
      for (const compression kind : {compression::rows, compression::columns}) {
        for (const int op : {0, 1, 2}) {
          for (const int budget : {1, 3}) {
            generator random(static_cast<std::uint64_t>(m));
            SCOPED_TRACE(testing::Message()
                         << descra << ", " << m << " rows, op " << op << ", budget " << budget);
            const layout order = layout_of(descra);
            const bool unit = descra[2] == 'U';
            // Row i: a foreign entry, the diagonal twice, and every third row without it.
            lines<T> source(static_cast<std::size_t>(m));
            std::vector<T> d(source.size());
            const T alpha = random.value<T>();
            const T beta = random.value<T>();
            for (int i = 0; i < m; ++i) {
              auto& row = source[static_cast<std::size_t>(i)];
              row.emplace_back(m - 1 - i == i ? (i + 1) % m : m - 1 - i,
                               unit ? quiet_nan<T>() : random.value<T>());
              if (row[0].first == i) row.clear();
              if (i % 3 != 2) {
                row.emplace_back(i, random.value<T>());
                row.emplace_back(i, random.value<T>());
                T v = row.back().second;
                if constexpr (is_complex<T>) {
                  if (op == 2) v.im = -v.im;
                }
                d[static_cast<std::size_t>(i)] = product_fused(alpha, v);
              }
            }
            if (m == 1 && source[0].empty()) source[0].emplace_back(0, random.value<T>());
            const auto a = compress<T>(source, m, kind, order == layout::column_major ? 1 : 0);
            const auto b = panel<T>::random(random, m, n, order, 1);
            const auto before = panel<T>::random(random, m, n, order, 2);
            const budget_scope scope(budget);
            const panel<T> c = before;
            ASSERT_EQ(multiply(descra, op, a, alpha, b, beta, c), 0);
            const bool cols = order == layout::column_major;
            const int length = cols ? m : n;
            panel<T> want = before;
            for (int i = 0; i < m; ++i) {
              for (int j = 0; j < n; ++j) {
                const bool in_group = (cols ? i : j) < length / 4 * 4;
                const T x = b(i, j);
                T& w = want(i, j);
                if (!unit) {
                  const T di = d[static_cast<std::size_t>(i)];
                  w = in_group ? grouped(w, di, x, beta) : single(w, di, x, beta);
                } else if (is_complex<T> && in_group) {
                  w = rotate_add(rotate_add(T{}, beta, w), alpha, x);
                } else {
                  w = single(w, alpha, x, beta);
                }
              }
            }
            EXPECT_SAME_ARRAYS(c.elements(), want.elements());
          }
        }
      }
    }
  }
}

// B = C: elements go one by one, and b is read behind the stored product with beta.
TYPED_TEST(structured_mm, diagonal_update_of_c_by_itself) {
  using T = TypeParam;
  generator random(2);
  const int m = 9;
  lines<T> source(m);
  for (int i = 0; i < m; ++i)
    source[static_cast<std::size_t>(i)].emplace_back(i, random.value<T>());
  const T alpha = random.value<T>();
  const T beta = random.value<T>();
  for (const char* const descra : {"D0NF", "D0NC"}) {
    const layout order = layout_of(descra);
    const auto a = compress<T>(source, m, compression::rows, order == layout::column_major ? 1 : 0);
    const auto before = panel<T>::random(random, m, 11, order);
    const panel<T> c = before;
    ASSERT_EQ(multiply(descra, 0, a, alpha, c, beta, c), 0);
    for (int i = 0; i < m; ++i) {
      const T d = product_fused(alpha, source[static_cast<std::size_t>(i)][0].second);
      for (int j = 0; j < 11; ++j) {
        const T t = product_fused(beta, before(i, j));
        T want{};
        if constexpr (is_complex<T>) {
          want = sum_of(t, product_fused(d, t));
        } else {
          want = std::fma(d, t, t);
        }
        EXPECT_SAME_BITS(c(i, j), want);
      }
    }
  }
}

struct policy_case {
  int entries, order, before, after;
};

TYPED_TEST(structured_mm, columns_lower_the_budget_and_leave_it) {
  using T = TypeParam;
  for (const policy_case row : {policy_case{49999, 1000, 8, 1},
                                {50000, 10000, 8, 1},
                                {50000, 1000, 64, 32},
                                {50000, 1000, 16, 16},
                                {49999, 1000, 1, 1},
                                {50001, 10000, 2, 2}}) {
    SCOPED_TRACE(testing::Message() << row.entries << " entries, order " << row.order);
    // Diagonal, so that the call is cheap whatever the arrays hold.
    array<T> values(row.entries, make<T>(1));
    array<int> indices(row.entries, 0);
    array<int> begin(row.order, 0);
    array<int> end(row.order, row.entries);
    array<T> b(row.order, make<T>(1));
    array<T> c(row.order, make<T>(1));
    const T one = make<T>(1);
    const budget_scope scope(row.before);
    const int limit = orv_get_thread_num_();
    if (limit != row.before) continue;
    EXPECT_EQ(cscmm<T>(0, row.order, 0, row.order, one, "D0UC", values.data(), indices.data(),
                       begin.data(), end.data(), b.data(), 1, one, c.data(), 1),
              3);
    EXPECT_EQ(orv_get_thread_num_(), row.before) << "a failed test of dimensions";
    EXPECT_EQ(cscmm<T>(0, row.order, 1, row.order, one, "D0UC", values.data(), indices.data(),
                       begin.data(), end.data(), b.data(), 1, one, c.data(), 1),
              0);
    EXPECT_EQ(orv_get_thread_num_(), row.after);
  }
}

}  // namespace
}  // namespace nevrad_test
