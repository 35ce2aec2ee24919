// Every exported operation in one table: how it is called, by value and by reference, and which
// tests it makes of its arguments, in which order.
//
// All operations take their arguments from one record, so that a test can spoil an argument, choose
// an operation at random or run all of them without knowing any.
#pragma once

#include "support/oracle.h"

#include <functional>
#include <sstream>
#include <string>

namespace nevrad_test {

// Arguments by the names that they have in matrix products. Where an operation has others: x of a
// product with a vector is b, y is c; of a packed vector, values are a and indices ja, the dense
// vector is c, or b where it is only read.
template <class T>
struct arguments {
  int transa = 0;
  int uplo = 0;
  int diag = 0;
  int request = 0;
  int sort = 0;
  int nnz = 0;
  int m = 0;
  int n = 0;
  int k = 0;
  int ldb = 0;
  int ldc = 0;
  int nzmax = 0;
  T alpha{};
  T beta{};
  const char* descra = "";
  T* a = nullptr;
  int* ja = nullptr;
  int* ia = nullptr;
  int* ie = nullptr;
  T* b = nullptr;
  int* jb = nullptr;
  int* ib = nullptr;
  T* c = nullptr;
  int* jc = nullptr;
  int* ic = nullptr;
};

template <class T>
struct operation_of {
  const char* name;
  const char* descra;  // one that it takes; "" where it has none
  // Steps in their order, each the status that a fault gives and the arguments that are tested.
  const char* checks;
  int base;
  std::function<int(const arguments<T>&)> by_value;
  std::function<int(const arguments<T>&)> by_reference;

  bool is(const char* kind) const { return std::string(name).find(kind) != std::string::npos; }
  bool by_columns() const { return is("csc"); }
  // Whether there is an argument of the checks that is called so.
  bool tests(const char* argument) const {
    std::istringstream words(checks);
    for (std::string word; words >> word;) {
      if (word == argument) return true;
    }
    return false;
  }
};

// What a form by reference takes for a field: scalars through a pointer, arrays as they are.
template <class U>
const U* referred(const U& value) {
  return &value;
}
template <class U>
U* referred(U* const& array) {
  return array;
}

template <class T, class Value, class Reference, class... Fields>
operation_of<T> operation(const char* name,
                          const char* descra,
                          int base,
                          const char* checks,
                          Value by_value,
                          Reference by_reference,
                          Fields arguments<T>::*... fields) {
  return {name,
          descra,
          checks,
          base,
          [=](const arguments<T>& x) { return by_value(x.*fields...); },
          [=](const arguments<T>& x) { return by_reference(referred(x.*fields)...); }};
}

#define NEVRAD_FORMS(prefix, op)                                           \
  pick<T>(&prefix##s##op, &prefix##d##op, &prefix##c##op, &prefix##z##op), \
      pick<T>(&prefix##s##op##_, &prefix##d##op##_, &prefix##c##op##_, &prefix##z##op##_)

// clang-format off
template <class T>
std::vector<operation_of<T>> all_operations() {
  using x = arguments<T>;
  const char* const by_matrix = "1: descra a ja ia ie b c | 3: op m k row square";
  const char* const by_solve  = "1: descra a ja ia ie b c | 3: op m row";
  const char* const by_panel  = "1: descra a ja ia ie b c | 3: op m n ldb ldc row";
  const char* const by_values = "3: op m n | 1: a ja ia b jb ib | 3: request | 1: c jc ic";
  std::vector<operation_of<T>> all = {
    operation<T>("axpyi",        "",     0, "1: a ja c | 3: nnz",                 NEVRAD_FORMS(orv_sparse_, axpyi),     &x::nnz, &x::alpha, &x::a, &x::ja, &x::c),
    operation<T>("gthr",         "",     0, "1: a ja c | 3: nnz",                 NEVRAD_FORMS(orv_sparse_, gthr),      &x::nnz, &x::c, &x::a, &x::ja),
    operation<T>("gthrz",        "",     0, "1: a ja c | 3: nnz",                 NEVRAD_FORMS(orv_sparse_, gthrz),     &x::nnz, &x::c, &x::a, &x::ja),
    operation<T>("sctr",         "",     0, "1: a ja c | 3: nnz",                 NEVRAD_FORMS(orv_sparse_, sctr),      &x::nnz, &x::a, &x::ja, &x::c),
    operation<T>("csrmv",        "G00F", 1, by_matrix,                            NEVRAD_FORMS(orv_sparse_, csrmv),     &x::transa, &x::m, &x::k, &x::alpha, &x::descra, &x::a, &x::ja, &x::ia, &x::ie, &x::b, &x::beta, &x::c),
    operation<T>("cscmv",        "G00F", 1, by_matrix,                            NEVRAD_FORMS(orv_sparse_, cscmv),     &x::transa, &x::m, &x::k, &x::alpha, &x::descra, &x::a, &x::ja, &x::ia, &x::ie, &x::b, &x::beta, &x::c),
    operation<T>("csrgemv",      "",     1, "1: a ja ia b c | 3: op m",           NEVRAD_FORMS(orv_sparse_, csrgemv),   &x::transa, &x::m, &x::a, &x::ia, &x::ja, &x::b, &x::c),
    operation<T>("csrgemv of C", "",     0, "1: a ja ia b c | 3: op m",           NEVRAD_FORMS(orv_csparse_, csrgemv),  &x::transa, &x::m, &x::a, &x::ia, &x::ja, &x::b, &x::c),
    operation<T>("csrsymv",      "",     1, "1: a ja ia b c | 3: uplo m",         NEVRAD_FORMS(orv_sparse_, csrsymv),   &x::uplo, &x::m, &x::a, &x::ia, &x::ja, &x::b, &x::c),
    operation<T>("csrsymv of C", "",     0, "1: a ja ia b c | 3: uplo m",         NEVRAD_FORMS(orv_csparse_, csrsymv),  &x::uplo, &x::m, &x::a, &x::ia, &x::ja, &x::b, &x::c),
    operation<T>("csrsv",        "TLNF", 1, by_solve,                             NEVRAD_FORMS(orv_sparse_, csrsv),     &x::transa, &x::m, &x::alpha, &x::descra, &x::a, &x::ja, &x::ia, &x::ie, &x::b, &x::c),
    operation<T>("cscsv",        "TLNF", 1, by_solve,                             NEVRAD_FORMS(orv_sparse_, cscsv),     &x::transa, &x::m, &x::alpha, &x::descra, &x::a, &x::ja, &x::ia, &x::ie, &x::b, &x::c),
    operation<T>("csrtrsv",      "",     1, "1: a ja ia b c | 3: uplo op diag m", NEVRAD_FORMS(orv_sparse_, csrtrsv),   &x::uplo, &x::transa, &x::diag, &x::m, &x::a, &x::ia, &x::ja, &x::b, &x::c),
    operation<T>("csrtrsv of C", "",     0, "1: a ja ia b c | 3: uplo op diag m", NEVRAD_FORMS(orv_csparse_, csrtrsv),  &x::uplo, &x::transa, &x::diag, &x::m, &x::a, &x::ia, &x::ja, &x::b, &x::c),
    operation<T>("csrmm",        "G00F", 1, "1: descra a ja ia ie b c | 3: op m n k ldb ldc row square empty", NEVRAD_FORMS(orv_sparse_, csrmm), &x::transa, &x::m, &x::n, &x::k, &x::alpha, &x::descra, &x::a, &x::ja, &x::ia, &x::ie, &x::b, &x::ldb, &x::beta, &x::c, &x::ldc),
    operation<T>("cscmm",        "G00F", 1, "1: descra a ja ia ie b c | 3: op m n k ldb ldc row square",       NEVRAD_FORMS(orv_sparse_, cscmm), &x::transa, &x::m, &x::n, &x::k, &x::alpha, &x::descra, &x::a, &x::ja, &x::ia, &x::ie, &x::b, &x::ldb, &x::beta, &x::c, &x::ldc),
    operation<T>("csrsm",        "TLNF", 1, by_panel,                             NEVRAD_FORMS(orv_sparse_, csrsm),     &x::transa, &x::m, &x::n, &x::alpha, &x::descra, &x::a, &x::ja, &x::ia, &x::ie, &x::b, &x::ldb, &x::c, &x::ldc),
    operation<T>("cscsm",        "TLNF", 1, by_panel,                             NEVRAD_FORMS(orv_sparse_, cscsm),     &x::transa, &x::m, &x::n, &x::alpha, &x::descra, &x::a, &x::ja, &x::ia, &x::ie, &x::b, &x::ldb, &x::c, &x::ldc),
    operation<T>("csradd",       "",     1, by_values,                            NEVRAD_FORMS(orv_sparse_, csradd),    &x::transa, &x::request, &x::sort, &x::m, &x::n, &x::a, &x::ja, &x::ia, &x::beta, &x::b, &x::jb, &x::ib, &x::c, &x::jc, &x::ic, &x::nzmax),
    operation<T>("csrmultcsr",   "",     1, "3: op m n k | 1: a ja ia b jb ib | 3: request | 1: c jc ic", NEVRAD_FORMS(orv_sparse_, csrmultcsr), &x::transa, &x::request, &x::sort, &x::m, &x::n, &x::k, &x::a, &x::ja, &x::ia, &x::b, &x::jb, &x::ib, &x::c, &x::jc, &x::ic, &x::nzmax),
    operation<T>("csrmultd",     "",     1, "1: a ja ia b jb ib c | 3: op m n k ldc empty", NEVRAD_FORMS(orv_sparse_, csrmultd), &x::transa, &x::m, &x::n, &x::k, &x::a, &x::ja, &x::ia, &x::b, &x::jb, &x::ib, &x::c, &x::ldc),
  };
  const char* const by_dot = "1: a ja b c | 3: nnz";
  if constexpr (is_complex<T>) {
    all.push_back(operation<T>("dotui_sub", "", 0, by_dot, pick<T>(0, 0, &orv_sparse_cdotui_sub, &orv_sparse_zdotui_sub), pick<T>(0, 0, &orv_sparse_cdotui_sub_, &orv_sparse_zdotui_sub_), &x::nnz, &x::a, &x::ja, &x::b, &x::c));
    all.push_back(operation<T>("dotci_sub", "", 0, by_dot, pick<T>(0, 0, &orv_sparse_cdotci_sub, &orv_sparse_zdotci_sub), pick<T>(0, 0, &orv_sparse_cdotci_sub_, &orv_sparse_zdotci_sub_), &x::nnz, &x::a, &x::ja, &x::b, &x::c));
  } else {
    all.push_back(operation<T>("doti", "", 0, by_dot, pick<T>(&orv_sparse_sdoti, &orv_sparse_ddoti, 0, 0), pick<T>(&orv_sparse_sdoti_, &orv_sparse_ddoti_, 0, 0), &x::nnz, &x::a, &x::ja, &x::b, &x::c));
    all.push_back(operation<T>("roti", "", 0, "1: a ja c | 3: nnz", pick<T>(&orv_sparse_sroti, &orv_sparse_droti, 0, 0), pick<T>(&orv_sparse_sroti_, &orv_sparse_droti_, 0, 0), &x::nnz, &x::a, &x::ja, &x::c, &x::alpha, &x::beta));
  }
  return all;
}
// clang-format on
#undef NEVRAD_FORMS

// One way to call an operation: a slot of a table, a triangle, a request.
template <class T>
struct form_of {
  operation_of<T> op;
  const char* descra = "";
  int transa = 0;
  int uplo = 0;
  int diag = 0;
  int request = 0;

  int base() const { return descra[0] == '\0' ? op.base : descra[3] == 'F'; }

  // The descriptor of the same matrix, where the operation takes none.
  std::string structure() const {
    if (descra[0] != '\0') return descra;
    const std::string triangle = std::string(uplo == 0 ? "L" : "U") + (diag == 0 ? "N" : "U");
    if (op.tests("diag")) return "T" + triangle + "F";
    return op.tests("uplo") ? "S" + triangle + "F" : "G00F";
  }
  friend std::ostream& operator<<(std::ostream& out, const form_of& f) {
    return out << f.op.name << ' ' << f.structure() << ", op " << f.transa << ", request "
               << f.request;
  }
};

// Every form of every operation that has an operand in compressed form.
template <class T>
std::vector<form_of<T>> all_forms() {
  std::vector<form_of<T>> all;
  for (const operation_of<T>& op : all_operations<T>()) {
    if (op.tests("nnz")) continue;
    std::vector<const char*> codes;
    if (op.descra[0] == '\0') codes.push_back("");
    for (const char* const code : all_descriptors) {
      const bool solves = code[0] == 'T' || code[0] == 'D';
      if (op.descra[0] == 'G' || (op.descra[0] == 'T' && solves)) codes.push_back(code);
    }
    for (const char* const code : codes) {
      for (int transa = 0; transa < (op.tests("op") ? 3 : 1); ++transa) {
        for (int uplo = 0; uplo < (op.tests("uplo") ? 2 : 1); ++uplo) {
          for (int diag = 0; diag < (op.tests("diag") ? 2 : 1); ++diag) {
            for (int request = 0; request < (op.tests("request") ? 3 : 1); ++request) {
              all.push_back({op, code, transa, uplo, diag, request});
            }
          }
        }
      }
    }
  }
  return all;
}

// A matrix that every form takes: square, with sorted lines and large diagonals.
template <class T>
matrix<T> problem_matrix(generator& random, const form_of<T>& form, int order) {
  return random_matrix<T>(random,
                          {.rows = order,
                           .cols = order,
                           .base = form.base(),
                           .kind = form.op.by_columns() ? compression::columns : compression::rows,
                           .sorted = true,
                           .diagonal = stored_diagonal::dominant});
}

// The second operand of an operation on two: what is added to A, or multiplied by op(A).
template <class T>
matrix<T> second_matrix(generator& random, const form_of<T>& form, const matrix<T>& a, int cols) {
  const bool sum = form.op.is("csradd");
  const bool turned = form.transa != 0;
  return random_matrix<T>(random, {.rows = turned == sum ? a.cols : a.rows,
                                   .cols = !sum     ? cols
                                           : turned ? a.rows
                                                    : a.cols,
                                   .base = 1,
                                   .sorted = sum,
                                   .duplicates = !sum});
}

// Arrays and arguments of one call, with `columns` right-hand sides.
template <class T>
struct problem_of {
  matrix<T> A;
  matrix<T> B;
  array<int> ia;
  array<int> ib;
  array<T> b;
  array<T> c;
  array<int> jc;
  array<int> ic;
  arguments<T> x;

  problem_of(generator& random, const form_of<T>& form, int order, int columns)
      : problem_of(random, form, problem_matrix<T>(random, form, order), columns) {}
  problem_of(generator& random, const form_of<T>& form, const matrix<T>& a, int columns)
      : A(a), B(second_matrix(random, form, a, columns)), ia(A.pointers()), ib(B.pointers()) {
    const int longest = std::max({a.rows, a.cols, columns});
    b = random.values<T>(longest * longest);
    c = random.values<T>(longest * longest);
    jc = array<int>(longest * longest, -77);
    ic = array<int>(longest + 1, -77);
    const bool packed = A.values.size() == A.entries();
    const bool with_sparse = form.op.tests("jb");
    x = {.transa = form.transa,
         .uplo = form.uplo,
         .diag = form.diag,
         .request = form.request,
         .nnz = A.entries(),
         .m = A.rows,
         .n = with_sparse ? A.cols : columns,
         .k = with_sparse ? B.cols : A.cols,
         .ldb = longest,
         .ldc = longest,
         .nzmax = longest * longest,
         .alpha = random.value<T>(),
         .beta = random.value<T>(),
         .descra = form.descra,
         .a = A.values.data(),
         .ja = A.indices.data(),
         .ia = packed ? ia.data() : A.begin.data(),
         .ie = packed ? ia.data() + 1 : A.end.data(),
         .b = with_sparse ? B.values.data() : b.data(),
         .jb = B.indices.data(),
         .ib = ib.data(),
         .c = c.data(),
         .jc = jc.data(),
         .ic = ic.data()};
  }
  problem_of(const problem_of&) = delete;
  problem_of& operator=(const problem_of&) = delete;
  ~problem_of() = default;
};

// Whether two problems hold the same arrays, to the bit.
template <class T>
void expect_same_arrays(const problem_of<T>& got, const problem_of<T>& want) {
  EXPECT_SAME_ARRAYS(got.A.values, want.A.values);
  EXPECT_SAME_ARRAYS(got.b, want.b);
  EXPECT_SAME_ARRAYS(got.c, want.c);
  EXPECT_SAME_ARRAYS(got.jc, want.jc);
  EXPECT_SAME_ARRAYS(got.ic, want.ic);
}

}  // namespace nevrad_test
