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

// How many of the first `count` indices are below the one behind them.
inline std::int32_t count_ascents(const std::int32_t* indices, std::int32_t count) {
  std::int32_t ascents = 0;
  for (std::int32_t p = 0; p < count; ++p) ascents += indices[p] < indices[p + 1] ? 1 : 0;
  return ascents;
}

// The rows of a matrix, in order when they are asked for. A row of a product depends on no other
// row, so each range of rows may be looked at just before it is used, by the thread that uses it.
template <class T>
class rows_in_order {
 public:
  // Of a matrix whose rows ascend. Implicit: where that is known, it is all there is to tell.
  rows_in_order(const compressed_matrix<T>& ascending)  // NOLINT(google-explicit-constructor)
      : record_(ascending) {}
  // Of any packed matrix, whose first row begins at its base; rows that need sorting are sorted
  // into the values and indices of `room`, at their positions.
  rows_in_order(const compressed_matrix<T>& source, const owned_matrix<T>* room)
      : record_(source), room_(room) {
    record_.sorted = 1;
  }

  // Dimensions and row pointers; the entries of a row are in the order of the source.
  const compressed_matrix<T>& shape() const { return record_; }
  // Whether all rows are in order already.
  bool known() const { return room_ == nullptr; }
  bool ascend(std::int32_t lo, std::int32_t hi) const {
    return known() || hi <= lo || rows_ascend(record_, lo, hi);
  }
  // A record in which rows lo up to but excluding hi ascend, entries with equal indices in the
  // order of the source; positions are those of the source. Asked for by one thread for each row.
  compressed_matrix<T> take(std::int32_t lo, std::int32_t hi) const {
    return ascend(lo, hi) ? record_ : sorted(lo, hi);
  }

 private:
  compressed_matrix<T> sorted(std::int32_t lo, std::int32_t hi) const;

  compressed_matrix<T> record_;
  const owned_matrix<T>* room_ = nullptr;
};

// Sorts by csr_sort_by_double_transpose, unless the rows ascend already: then `get` is the source
// itself, in its base, flagged as sorted, and the memory that sorting takes is only probed, so that
// a call fails where sorting would fail.
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

  // For users that take ranges of rows: sets the memory aside now and leaves looking at the order
  // to `in_order`.
  status sort_when_taken(const compressed_matrix<T>& source);
  rows_in_order<T> in_order() const {
    return reads_copy() ? rows_in_order<T>(record_) : rows_in_order<T>(record_, copy_.get());
  }

  // Gives back what sorting took, unless the rows in use lie in it, of which it tells: what follows
  // may need it.
  bool release_unread(bool rows_in_use) {
    const bool kept = rows_in_use && reads_copy();
    if (!kept) owned_csr_free(copy_.release());
    return kept;
  }

 private:
  bool reads_copy() const { return copy_.get() != nullptr && record_.indices == copy_->indices; }

  compressed_matrix<T> record_{};
  scoped_matrix<T> copy_;
};

}  // namespace nevrad
