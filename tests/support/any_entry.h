// One call for all entries that take a matrix and dense operands, so that a test can go through
// them by name.
#pragma once

#include "support/operations.h"

namespace nevrad_test {

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
  static const auto all = all_operations<T>();
  const bool three = is_three_array(entry);
  const std::string name = entry + (three && descra[3] == 'C' ? " of C" : "");
  const auto called = std::find_if(all.begin(), all.end(),
                                   [&](const operation_of<T>& o) { return name == o.name; });
  const array<int> pointers = three ? a.pointers() : array<int>(0);
  return called->by_value({.transa = op,
                           .uplo = descra[1] == 'U',
                           .diag = descra[2] == 'U',
                           .m = a.rows,
                           .n = static_cast<int>(x.cols()),
                           .k = a.cols,
                           .ldb = x.ld(),
                           .ldc = y.ld(),
                           .alpha = alpha,
                           .beta = beta,
                           .descra = descra,
                           .a = a.values.data(),
                           .ja = a.indices.data(),
                           .ia = three ? pointers.data() : a.begin.data(),
                           .ie = a.end.data(),
                           .b = x.data(),
                           .c = y.data()});
}

}  // namespace nevrad_test
