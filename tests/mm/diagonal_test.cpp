// Diagonal products to the bit: which of two roundings an element takes, and what it reads when B
// overlaps C.
#include "mm/calls.h"
#include "mm/model.h"

namespace nevrad_test {
namespace {

// One line of C, worked out in place in memory as a caller's arrays hold it, b perhaps within c.
template <class T>
using line_model = void (*)(int length, const T* b, T* c, const T* d, int step, T alpha, T beta);

template <class T>
bool apart(int length, const T* b, const T* c) {
  return b + length <= c || c + length <= b;
}

// Element i takes d[i * step].
template <class T>
void stored_line(int length, const T* b, T* c, const T* d, int step, T /*alpha*/, T beta) {
  const int grouped = length >= 4 && apart(length, b, c) ? length / 4 * 4 : 0;
  for (int i = 0; i < length; ++i) {
    const T di = d[i * step];
    if constexpr (is_complex<T>) {
      c[i] = exact_fused_product(beta, c[i]);
      c[i] = exact_add(c[i], exact_fused_product(di, b[i]));
    } else if (i < grouped) {
      c[i] = fused(c[i], beta, di * b[i]);
    } else {
      c[i] = c[i] * beta;
      c[i] = fused(di, b[i], c[i]);
    }
  }
}

template <class T>
void unit_line(int length, const T* b, T* c, const T* /*d*/, int /*step*/, T alpha, T beta) {
  const int grouped = length / 4 * 4;
  for (int i = 0; i < length; ++i) {
    if (i < grouped) {
      // Both are read before C is written.
      const T scaled =
          is_complex<T> ? exact_multiply_add(T{}, beta, c[i]) : exact_fused_product(c[i], beta);
      c[i] = is_complex<T> ? exact_multiply_add(scaled, alpha, b[i])
                           : exact_multiply_add(scaled, b[i], alpha);
    } else if constexpr (is_complex<T>) {
      c[i] = exact_add(exact_fused_product(beta, c[i]), exact_fused_product(alpha, b[i]));
    } else {
      c[i] = c[i] * beta;
      c[i] = fused(b[i], alpha, c[i]);
    }
  }
}

// alpha * A(i, i), the last of several entries counting.
template <class T>
array<T> collected(const matrix<T>& a, T alpha, bool turned) {
  array<T> d(a.rows);
  for (int i = 0; i < a.rows; ++i) {
    for (int p = a.begin[i] - a.base; p < a.end[i] - a.base; ++p) {
      if (a.indices[p] - a.base != i) continue;
      const T v = conjugated(a.values[p], turned);
      d[i] = exact_fused_product(alpha, v);
    }
  }
  return d;
}

// B begins `distance` elements behind C in one array (0: B is C), or lies apart.
inline constexpr int lies_apart = 1 << 20;

template <class T>
void expect_lines(generator& random, const char* code, int op, compression kind, int distance) {
  const bool unit = code[2] == 'U';
  for (const int order : {1, 3, 4, 7, 16, 21}) {
    const int n = random.integer(1, 23);
    const bool by_columns = code[3] == 'F';
    const int lines_of_c = by_columns ? n : order;
    const int length = by_columns ? order : n;
    const int ld = length + random.integer(0, 2);
    const T alpha = random.value<T>();
    const T beta = random.value<T>();
    lines<T> source(static_cast<std::size_t>(order));
    // Every other matrix holds its diagonal and nothing else.
    const bool plain = order % 2 != 0;
    for (int i = 0; i < order; ++i) {
      auto& line = source[static_cast<std::size_t>(i)];
      // None, one, or two of which the last counts.
      const int copies = plain ? 1 : random.integer(0, 2);
      for (int q = 0; q < copies; ++q) {
        line.emplace_back(i, random.value<T>());
        if (plain) continue;
        line.emplace_back(random.integer(0, order - 1) == i ? order - 1 - i : 0, quiet_nan<T>());
        if (line.back().first == i) line.pop_back();
      }
    }
    if (!plain) source[0].emplace_back(0, random.value<T>());
    const matrix<T> a = compress<T>(source, order, kind, by_columns ? 1 : 0);
    const array<T> d = collected(a, alpha, op == 2);
    const int extent = lines_of_c * ld;
    const int offset = distance == lies_apart ? extent : distance;
    const array<T> before = random.values<T>(extent + offset);
    for (const int budget : {1, 3}) {
      // Lines that overlap across chunks are nobody's to promise.
      if (budget > 1 && distance != lies_apart && distance != 0) continue;
      SCOPED_TRACE(testing::Message() << code << ", op " << op << ", order " << order << ", n " << n
                                      << ", budget " << budget << ", " << random);
      const array<T> want = before;
      for (int l = 0; l < lines_of_c; ++l) {
        T* const c = want.data() + l * ld;
        const T* const at = d.data() + (by_columns ? 0 : l);
        const int step = by_columns ? 1 : 0;
        const line_model<T> model = unit ? unit_line<T> : stored_line<T>;
        model(length, c + offset, c, at, step, alpha, beta);
      }
      const array<T> got = before;
      const budget_scope scope(budget);
      nevrad::matrix_handle<T> handle{};
      const auto copy = kind == compression::rows ? nevrad::owned_csr_from_arrays<T>
                                                  : nevrad::owned_csc_from_arrays<T>;
      ASSERT_EQ(copy(&handle, static_cast<unsigned>(a.base), order, order, a.begin.data(),
                     a.end.data(), a.indices.data(), a.values.data()),
                0);
      const nevrad::scoped_matrix<T> owned(handle.matrix);
      ASSERT_EQ(row_of<T>(kind, code)
                    .kernels.at[op](*owned,
                                    {got.data() + offset, n, ld, got.data(), ld, alpha, beta}),
                0);
      EXPECT_SAME_ARRAYS(got, want);
    }
  }
}

template <class T>
class diagonal_mm : public testing::Test {};
TYPED_TEST_SUITE(diagonal_mm, all_types, type_names);

TYPED_TEST(diagonal_mm, rounds_as_documented) {
  generator random(1);
  for (const compression kind : {compression::rows, compression::columns}) {
    for (const char* const code : {"D0NF", "D0NC", "D0UF", "D0UC"}) {
      for (const int op : {0, 1, 2}) expect_lines<TypeParam>(random, code, op, kind, lies_apart);
    }
  }
}

TYPED_TEST(diagonal_mm, reads_what_it_has_stored_where_b_overlaps_c) {
  generator random(2);
  for (const char* const code : {"D0NF", "D0NC", "D0UF", "D0UC"}) {
    for (const int op : {0, 2}) {
      // Of a complex element under ones it is left open when b is read.
      if (code[2] == 'U' && is_complex<TypeParam>) continue;
      expect_lines<TypeParam>(random, code, op, compression::rows, 0);
      // A line of B that begins within that of C goes element by element as a whole.
      if (code[2] == 'N') expect_lines<TypeParam>(random, code, op, compression::rows, 1);
    }
  }
}

// Only the stored diagonal is looked at, and none of it under a unit diagonal.
TYPED_TEST(diagonal_mm, reads_no_value_that_it_does_not_need) {
  using T = TypeParam;
  for (const char* const code : {"D0UF", "D0UC", "DLUF", "DUUC"}) {
    const auto a = compress<T>({{{0, quiet_nan<T>()}}, {{0, quiet_nan<T>()}}}, 2, compression::rows,
                               code[3] == 'F' ? 1 : 0);
    generator random(3);
    const auto b = panel<T>::random(random, 2, 5, layout_of(code));
    const auto c = panel<T>::random(random, 2, 5, layout_of(code));
    ASSERT_EQ(run_slot(a, code, 0, b, make<T>(1), make<T>(0), c), 0);
    for (int j = 0; j < 5; ++j) EXPECT_EQ(widen(c(1, j)), widen(b(1, j)));
  }
}

}  // namespace
}  // namespace nevrad_test
