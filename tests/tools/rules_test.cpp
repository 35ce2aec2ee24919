// What nevrad-check and the manual say that an entry demands of its matrix is enough: on matrices
// that have nothing more than what is demanded, every result is right.
#include "check/rules.h"
#include "support/any_entry.h"
#include "support/oracle.h"
#include "support/threads.h"

#include <string>

namespace nevrad_test {
namespace {

using tools::storage;
using tools::use;

NEVRAD_BY_TYPE(csradd, orv_sparse_, csradd)
NEVRAD_BY_TYPE(csrmultcsr, orv_sparse_, csrmultcsr)
NEVRAD_BY_TYPE(csrmultd, orv_sparse_, csrmultd)

// A random matrix that meets the demands and no more: gaps, disorder, places stored twice, empty
// lines and missing diagonals wherever they are not ruled out.
template <class T>
matrix<T> barely_fit(generator& random, const use& of, int rows, int cols, int base, int typical) {
  matrix_kind kind;
  kind.rows = rows;
  kind.cols = of.square ? rows : cols;
  kind.base = base;
  kind.kind = of.by == storage::rows ? compression::rows : compression::columns;
  kind.typical = typical;
  kind.sorted = of.sorted;
  kind.duplicates = !of.unique;
  kind.gap = of.packed ? 0 : 2;
  kind.diagonal = of.diagonal ? stored_diagonal::dominant : stored_diagonal::some;
  return random_matrix<T>(random, kind);
}

// A Hermitian matrix has a real diagonal.
template <class T>
void drop_imaginary_diagonal(const matrix<T>& a) {
  if constexpr (is_complex<T>) {
    for (int line = 0; line < a.major(); ++line) {
      for (int p = a.begin[line] - a.base; p < a.end[line] - a.base; ++p) {
        if (a.indices[p] - a.base == line) a.values[p].im = 0;
      }
    }
  }
}

bool is(const use& of, const char* entry) { return std::string(of.entry) == entry; }

template <class T>
void check_dense(generator& random,
                 const std::string& entry,
                 const char* descra,
                 int op,
                 const matrix<T>& a) {
  const dense<T> full = dense_of(a, descra, op);
  const bool fixed = is_three_array(entry);
  const T alpha = fixed ? make<T>(1) : random.value<T>();
  const T beta = fixed ? make<T>(0) : random.value<T>();
  const bool many = has_many_vectors(entry);
  const layout order = many ? layout_of(descra) : layout::column_major;
  const auto x = panel<T>::random(random, full.cols(), many ? 5 : 1, order);
  auto y = panel<T>::random(random, full.rows(), x.cols(), order);
  const panel<T> before = y;
  ASSERT_EQ(call_entry(entry, descra, op, a, alpha, x, beta, y), 0);
  if (is_solve(entry)) {
    EXPECT_TRUE(is_solution(y, full, alpha, x));
  } else {
    EXPECT_TRUE(is_product(y, full, x, alpha, beta, before));
  }
}

// The second operand meets the same demands as the first, but may store places twice in a product.
template <class T>
void check_sparse(generator& random, const use& of, int op, const matrix<T>& a) {
  const bool sum = is(of, "csradd");
  constexpr int k = 9;
  const int b_rows = sum ? (op == 0 ? a.rows : a.cols) : (op == 0 ? a.cols : a.rows);
  const int b_cols = sum ? (op == 0 ? a.cols : a.rows) : k;
  use of_b = of;
  if (!sum) of_b.unique = false;
  const matrix<T> b = barely_fit<T>(random, of_b, b_rows, b_cols, 1, 3);
  const array<int> ia = a.pointers();
  const array<int> ib = b.pointers();
  const int rows = sum || op == 0 ? a.rows : a.cols;
  const int cols = sum ? a.cols : k;
  const T beta = random.value<T>();
  dense<T> got(rows, cols);
  const int room = rows * cols;
  array<T> c(room);
  array<int> jc(room);
  array<int> ic(rows + 1);
  const T* const av = a.values.data();
  const T* const bv = b.values.data();
  const int* const ja = a.indices.data();
  const int* const jb = b.indices.data();
  if (is(of, "csrmultd")) {
    ASSERT_EQ(csrmultd<T>(op, a.rows, a.cols, k, av, ja, ia.data(), bv, jb, ib.data(), c.data(),
                          rows),
              0);
    for (int p = 0; p < room; ++p) got(p % rows, p / rows) = widen(c[p]);
  } else {
    const int status = sum ? csradd<T>(op, 0, 0, a.rows, a.cols, av, ja, ia.data(), beta, bv, jb,
                                       ib.data(), c.data(), jc.data(), ic.data(), room)
                           : csrmultcsr<T>(op, 0, 0, a.rows, a.cols, k, av, ja, ia.data(), bv, jb,
                                           ib.data(), c.data(), jc.data(), ic.data(), room);
    ASSERT_EQ(status, 0);
    for (int i = 0; i < rows; ++i) {
      for (int p = ic[i] - 1; p < ic[i + 1] - 1; ++p) got.add(i, jc[p] - 1, widen(c[p]));
    }
  }
  const dense<T> left = dense_of(a, "G00F", sum ? 0 : op);
  const dense<T> right = dense_of(b, "G00F", sum ? op : 0);
  if (sum) {
    // A + beta op(B) as beta op(B) I + 1 A
    dense<T> ones(cols, cols);
    for (int j = 0; j < cols; ++j) ones(j, j) = 1;
    EXPECT_TRUE(is_close(got, product(right, ones, beta, make<T>(1), left), 16));
  } else {
    const dense<T> nothing(rows, cols);
    EXPECT_TRUE(is_close(got, product(left, right, make<T>(1), make<T>(0), nothing),
                         static_cast<double>(left.cols()) + 16));
  }
}

template <class T>
void check_use(generator& random,
               const use& of,
               const char* descra,
               int op,
               int typical,
               int order) {
  const int base = descra[3] == 'F' ? 1 : 0;
  const matrix<T> a = barely_fit<T>(random, of, order, order - 6, base, typical);
  if (descra[0] == 'H') drop_imaginary_diagonal(a);
  const std::string entry = of.entry;
  if (entry.starts_with("csradd") || entry.starts_with("csrmult")) {
    if (base == 1) check_sparse(random, of, op, a);
  } else {
    check_dense(random, entry, descra, op, a);
  }
}

// Whether a use takes the descriptor and the operation. csrsymv stores its diagonal.
bool takes(const use& of, const char* descra, int op) {
  if (is(of, "csrsymv") && descra[2] != 'N') return false;
  return std::string(of.structures).find(descra[0]) != std::string::npos &&
         std::string(of.operations).find(static_cast<char>('0' + op)) != std::string::npos;
}

template <class T>
class rules : public testing::Test {};
TYPED_TEST_SUITE(rules, all_types, type_names);

TYPED_TEST(rules, of_what_a_matrix_must_be_like_are_enough) {
  int number = 0;
  for (const use& of : tools::all_uses()) {
    for (const char* const descra : all_descriptors) {
      for (int op = 0; op < 3; ++op) {
        if (!takes(of, descra, op)) continue;
        // Short lines, and lines that are long for the products by rows; one thread, and three.
        const int typical = ++number % 2 == 0 ? 3 : 12;
        const int budget = number / 2 % 2 == 0 ? 1 : 3;
        generator random(static_cast<std::uint64_t>(number));
        SCOPED_TRACE(testing::Message() << of.entry << ' ' << descra << " transa " << op
                                        << " budget " << budget << ", " << random);
        const budget_scope threads(budget);
        check_use<TypeParam>(random, of, descra, op, typical, 27);
      }
    }
  }
  EXPECT_GT(number, 250);
}

// Columns of 150 entries and more have kernels of their own.
TEST(rules, of_long_columns_are_enough) {
  std::uint64_t number = 0;
  for (const use& of : tools::all_uses()) {
    if (!is(of, "cscmv")) continue;
    for (const char* const descra : {"G00F", "SLNC", "SUUF", "TLNF", "TUNC", "D0NF"}) {
      for (int op = 0; op < 2; ++op) {
        if (!takes(of, descra, op)) continue;
        generator random(++number);
        SCOPED_TRACE(testing::Message() << descra << " transa " << op << ", " << random);
        const budget_scope threads(3);
        check_use<double>(random, of, descra, op, 170, 176);
      }
    }
  }
}

}  // namespace
}  // namespace nevrad_test
