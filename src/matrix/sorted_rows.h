// A CSR matrix with ascending rows, for the drivers that rely on the order.
#pragma once

#include "matrix/transpose.h"

namespace nevrad {

// Whether the column numbers of every row ascend, equal ones allowed: then sorting by transposing
// twice, which is stable, would give the same arrays. One pass over the indices. Each row of the
// record begins where the one before it ends, as those of owned matrices do; the base may be 1.
template <class T>
bool rows_ascend(const compressed_matrix<T>& a);

// The same of rows lo up to but excluding hi.
template <class T>
bool rows_ascend(const compressed_matrix<T>& a, std::int32_t lo, std::int32_t hi);

// How many of the first `count` indices are above the one behind them.
inline std::int32_t count_descents(const std::int32_t* indices, std::int32_t count) {
  std::int32_t descents = 0;
  for (std::int32_t p = 0; p < count; ++p) descents += indices[p] > indices[p + 1] ? 1 : 0;
  return descents;
}

// Sorts by csr_sort_by_double_transpose, unless the rows ascend already: then `get` is the source
// itself, in its base, flagged as sorted, and only the memory that sorting takes is asked for, so
// that a call fails where sorting would fail. That memory is never touched, which costs nothing.
template <class T>
class sorted_rows {
 public:
  // Statuses of csr_sort_by_double_transpose. The source must outlive the object. `ascending` is
  // what rows_ascend tells of a source with entries.
  status sort(const compressed_matrix<T>& source, bool ascending);
  status sort(const compressed_matrix<T>& source) {
    return sort(source, csr_entries(source) > 0 && rows_ascend(source));
  }
  const owned_matrix<T>& get() const { return record_; }

  // Gives back what sorting took, unless the rows in use lie in it: what follows may need it.
  void release_unread(bool rows_in_use) {
    const bool reads_copy = copy_.get() != nullptr && record_.indices == copy_->indices;
    if (!(rows_in_use && reads_copy)) owned_csr_free(copy_.release());
  }

 private:
  compressed_matrix<T> record_{};
  scoped_matrix<T> copy_;
};

}  // namespace nevrad
