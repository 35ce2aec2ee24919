// One call for all entries that take a matrix and dense operands, so that a test can go through
// them by name.
#pragma once

#include "support/matrix.h"
#include "support/oracle.h"

#include <string>

namespace nevrad_test {

namespace by_name {
NEVRAD_BY_TYPE(csrmv, orv_sparse_, csrmv)
NEVRAD_BY_TYPE(cscmv, orv_sparse_, cscmv)
NEVRAD_BY_TYPE(gemv_from_one, orv_sparse_, csrgemv)
NEVRAD_BY_TYPE(gemv_from_zero, orv_csparse_, csrgemv)
NEVRAD_BY_TYPE(symv_from_one, orv_sparse_, csrsymv)
NEVRAD_BY_TYPE(symv_from_zero, orv_csparse_, csrsymv)
NEVRAD_BY_TYPE(csrsv, orv_sparse_, csrsv)
NEVRAD_BY_TYPE(cscsv, orv_sparse_, cscsv)
NEVRAD_BY_TYPE(trsv_from_one, orv_sparse_, csrtrsv)
NEVRAD_BY_TYPE(trsv_from_zero, orv_csparse_, csrtrsv)
NEVRAD_BY_TYPE(csrmm, orv_sparse_, csrmm)
NEVRAD_BY_TYPE(cscmm, orv_sparse_, cscmm)
NEVRAD_BY_TYPE(csrsm, orv_sparse_, csrsm)
NEVRAD_BY_TYPE(cscsm, orv_sparse_, cscsm)
}  // namespace by_name

inline bool has_many_vectors(const std::string& entry) {
  return entry.ends_with("mm") || entry.ends_with("sm");
}
inline bool is_solve(const std::string& entry) {
  return entry.ends_with("sv") || entry.ends_with("sm");
}
inline bool is_three_array(const std::string& entry) {
  return entry == "csrgemv" || entry == "csrsymv" || entry == "csrtrsv";
}

// Y = alpha op(A) X + beta Y by a product, op(A) Y = alpha X by a solve. Vectors are panels of one
// column. The three-array forms take alpha as 1 and beta as 0.
template <class T>
int call_entry(const std::string& entry,
               const char* descra,
               int op,
               const matrix<T>& a,
               T alpha,
               const panel<T>& x,
               T beta,
               const panel<T>& y) {
  using namespace by_name;
  const bool by_rows = entry.starts_with("csr");
  const bool from_one = descra[3] == 'F';
  const int upper = descra[1] == 'U' ? 1 : 0;
  const auto n = static_cast<int>(x.cols());
  const T* const val = a.values.data();
  const int* const indx = a.indices.data();
  const int* const begin = a.begin.data();
  const int* const end = a.end.data();
  if (is_three_array(entry)) {
    const array<int> ia = a.pointers();
    if (entry == "csrtrsv") {
      const auto solve = from_one ? trsv_from_one<T> : trsv_from_zero<T>;
      return solve(upper, op, descra[2] == 'U' ? 1 : 0, a.rows, val, ia.data(), indx, x.data(),
                   y.data());
    }
    const bool general = entry == "csrgemv";
    const auto gemv = from_one ? gemv_from_one<T> : gemv_from_zero<T>;
    const auto symv = from_one ? symv_from_one<T> : symv_from_zero<T>;
    return general ? gemv(op, a.rows, val, ia.data(), indx, x.data(), y.data())
                   : symv(upper, a.rows, val, ia.data(), indx, x.data(), y.data());
  }
  if (entry.ends_with("mm")) {
    const auto product = by_rows ? csrmm<T> : cscmm<T>;
    return product(op, a.rows, n, a.cols, alpha, descra, val, indx, begin, end, x.data(), x.ld(),
                   beta, y.data(), y.ld());
  }
  if (entry.ends_with("sm")) {
    const auto solve = by_rows ? csrsm<T> : cscsm<T>;
    return solve(op, a.rows, n, alpha, descra, val, indx, begin, end, x.data(), x.ld(), y.data(),
                 y.ld());
  }
  if (entry.ends_with("sv")) {
    const auto solve = by_rows ? csrsv<T> : cscsv<T>;
    return solve(op, a.rows, alpha, descra, val, indx, begin, end, x.data(), y.data());
  }
  const auto product = by_rows ? csrmv<T> : cscmv<T>;
  return product(op, a.rows, a.cols, alpha, descra, val, indx, begin, end, x.data(), beta,
                 y.data());
}

}  // namespace nevrad_test
