// Solves against dense arithmetic in higher precision, and what the entries answer.
#include "support/oracle.h"
#include "support/threads.h"
#include "sv/solves.h"

#include <cstring>

namespace nevrad_test {
namespace {

template <class T>
class solves : public testing::Test {};
TYPED_TEST_SUITE(solves, all_types, type_names);

// Systems that are well conditioned: a diagonal above the rest of its line.
template <class T>
matrix<T> system_of(generator& random, int order, compression kind, int base) {
  matrix_kind like{.rows = order, .cols = order, .base = base, .kind = kind, .sorted = true};
  like.typical = random.integer(1, 9);
  like.gap = random.integer(0, 2);
  like.diagonal = stored_diagonal::dominant;
  return random_matrix<T>(random, like);
}

template <class T>
T scale_of(generator& random, int lot) {
  return lot % 3 == 0 ? nevrad::one<T>() : random.value<T>();
}

// Substitution in the wider type. An op other than 0 has been applied to a, so the triangle is
// found by looking.
template <class T>
dense<T> substituted(const dense<T>& a, T alpha, const array<T>& x, bool upper) {
  const std::int64_t n = a.rows();
  dense<T> y(n, 1);
  for (std::int64_t step = 0; step < n; ++step) {
    const std::int64_t i = upper ? n - 1 - step : step;
    wide<T> t = widen(alpha) * widen(x[i]);
    for (std::int64_t j = 0; j < n; ++j) {
      if (j != i) t -= a(i, j) * y(j, 0);
    }
    y(i, 0) = t / a(i, i);
  }
  return y;
}

// Both norms of the inverses of these systems are bounded by a small number, so that the error of
// the solution is bounded by the largest unknown.
template <class T>
testing::AssertionResult is_accurate(const array<T>& got, const dense<T>& want, T alpha) {
  wide_real<T> largest = std::abs(widen(alpha));
  for (std::int64_t i = 0; i < got.size(); ++i) largest = std::max(largest, std::abs(want(i, 0)));
  for (std::int64_t i = 0; i < got.size(); ++i) {
    const wide_real<T> error = std::abs(widen(got[i]) - want(i, 0));
    if (!(error <= 16 * epsilon<T> * static_cast<wide_real<T>>(got.size() + 4) * largest)) {
      return testing::AssertionFailure()
             << "y[" << i << "] is " << got[i] << ", want " << want(i, 0);
    }
  }
  return testing::AssertionSuccess();
}

TYPED_TEST(solves, agree_with_dense_arithmetic) {
  using T = TypeParam;
  int lot = 0;
  for (const compression kind : {compression::rows, compression::columns}) {
    for (const int order : {1, 2, 5, 18, 41}) {
      for (const char* const descra : solve_descriptors) {
        for (int op = 0; op < 3; ++op) {
          generator random(static_cast<std::uint64_t>(++lot));
          SCOPED_TRACE(testing::Message()
                       << descra << " op " << op << " order " << order << ' ' << random);
          const matrix<T> a = system_of<T>(random, order, kind, descra[3] == 'F');
          const T alpha = scale_of<T>(random, lot);
          const array<T> x = random.values<T>(order);
          const array<T> y = solved(a, descra, op, alpha, x);
          const dense<T> full = dense_of(a, descra, op);
          EXPECT_TRUE(is_solution(y, full, alpha, x));
          const bool upper = (descra[1] == 'U') != (op != 0);
          EXPECT_TRUE(is_accurate(y, substituted(full, alpha, x, upper), alpha));

          array<T> in_place = x;
          EXPECT_EQ(solve(a, descra, op, alpha, in_place.data(), in_place.data()), 0);
          EXPECT_SAME_ARRAYS(in_place, y);
        }
      }
    }
  }
}

// The forms without a descriptor and those with an underscore are the same solves.
TYPED_TEST(solves, have_the_same_bits_in_every_form) {
  using T = TypeParam;
  for (const int base : {0, 1}) {
    generator random(static_cast<std::uint64_t>(base) + 700);
    const int order = 19;
    matrix_kind like{.rows = order, .cols = order, .base = base, .sorted = true};
    like.diagonal = stored_diagonal::dominant;
    const matrix<T> a = random_matrix<T>(random, like);
    const array<int> ia = a.pointers();
    const array<T> x = random.values<T>(order);
    const T one = nevrad::one<T>();
    const auto plain = base == 1 ? csrtrsv_one_based<T> : csrtrsv_zero_based<T>;
    const auto referring =
        base == 1 ? csrtrsv_one_based_by_reference<T> : csrtrsv_zero_based_by_reference<T>;

    for (int lot = 0; lot < 12; ++lot) {
      const int uplo = lot & 1;
      const int diag = (lot >> 1) & 1;
      const int op = lot / 4;
      const std::string descra = triangle_descriptor({uplo == 1, diag == 1, op}, base);
      SCOPED_TRACE(testing::Message() << descra << " op " << op);
      const array<T> want = solved(a, descra, op, one, x);

      array<T> y(order);
      EXPECT_EQ(plain(uplo, op, diag, order, a.values.data(), ia.data(), a.indices.data(), x.data(),
                      y.data()),
                0);
      EXPECT_SAME_ARRAYS(y, want);
      array<T> by_reference(order);
      EXPECT_EQ(referring(&uplo, &op, &diag, &order, a.values.data(), ia.data(), a.indices.data(),
                          x.data(), by_reference.data()),
                0);
      EXPECT_SAME_ARRAYS(by_reference, want);

      const T alpha = random.value<T>();
      for (const compression kind : {compression::rows, compression::columns}) {
        matrix<T> b = a;
        b.kind = kind;
        const auto entry =
            kind == compression::rows ? csrsv_by_reference<T> : cscsv_by_reference<T>;
        array<T> z(order);
        EXPECT_EQ(entry(&op, &order, &alpha, descra.c_str(), b.values.data(), b.indices.data(),
                        b.begin.data(), b.end.data(), x.data(), z.data()),
                  0);
        EXPECT_SAME_ARRAYS(z, solved(b, descra, op, alpha, x));
      }
    }
  }
}

TYPED_TEST(solves, of_order_one_divide_by_the_diagonal) {
  using T = TypeParam;
  for (const compression kind : {compression::rows, compression::columns}) {
    for (const char* const descra : {"TLNF", "TLNC", "TUNF", "TUNC", "D0NF", "D0NC"}) {
      const int base = descra[3] == 'F' ? 1 : 0;
      const matrix<T> a = compress<T>({{{0, make<T>(4)}}}, 1, kind, base);
      for (int op = 0; op < 3; ++op) {
        EXPECT_SAME_BITS(solved(a, descra, op, make<T>(2), array<T>{make<T>(8)})[0], make<T>(4));
      }
    }
  }
}

// Four characters without a terminator; of a diagonal code the second is not read.
TYPED_TEST(solves, read_four_letters_of_a_descriptor) {
  using T = TypeParam;
  const matrix<T> a = compress<T>({{{0, make<T>(2)}}, {{1, make<T>(4)}}}, 2, compression::rows, 0);
  const array<T> x{make<T>(8), make<T>(8)};
  const array<T> want{make<T>(4), make<T>(2)};
  for (const char* const text : {"TLNC", "D0NC", "DLNC", "DUNC", "D?NC"}) {
    array<char> letters(4);
    std::memcpy(letters.data(), text, 4);
    array<T> y(2);
    EXPECT_EQ(solve(a, letters.data(), 0, nevrad::one<T>(), x.data(), y.data()), 0) << text;
    EXPECT_SAME_ARRAYS(y, want);
  }
  for (const char* const text : {"G00F", "G00C", "SLNF", "SUUC", "HLNF", "HUNC", "tLNC", "TlNC",
                                 "T0NC", "TLXC", "TLNX", "D00C", "X0NC", "    "}) {
    for (const compression kind : {compression::rows, compression::columns}) {
      matrix<T> b = a;
      b.kind = kind;
      array<T> y(2, make<T>(7));
      EXPECT_EQ(solve(b, text, 0, nevrad::one<T>(), x.data(), y.data()), 3) << text;
      EXPECT_SAME_BITS(y[0], make<T>(7));
    }
  }
}

}  // namespace
}  // namespace nevrad_test
