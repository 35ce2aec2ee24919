#include "matrix/sorted_rows.h"

namespace nevrad {

namespace {

// Asks for what transposing `source` takes.
template <class T>
status reserve_transpose(std::int32_t rows,
                         std::int32_t cols,
                         std::int32_t nnz,
                         scoped_matrix<T>& result) {
  const std::uint64_t count_size = sizeof(std::int32_t) * static_cast<std::uint64_t>(cols);
  const scratch<std::int32_t> count(rounded_aligned_alloc(cache_line, count_size));
  if (!count) return alloc_failed;
  return owned_csr_alloc(cols, rows, nnz, result.out());
}

}  // namespace

template <class T>
bool rows_ascend(const compressed_matrix<T>& a, std::int32_t lo, std::int32_t hi) {
  const std::int32_t base = a.base;
  if (a.begin[0] != base) return false;
  const std::int32_t* const indices = a.indices;
  // Steps down from one row to the next are no fault, so they are counted apart.
  const std::int32_t start = a.begin[lo] - base;
  std::int32_t between_rows = 0;
  for (std::int32_t i = lo; i < hi; ++i) {
    const std::int32_t first = a.begin[i] - base;
    const std::int32_t last = a.end[i] - base;
    if (last < first) return false;
    if (first > start && last > first) between_rows += indices[first - 1] > indices[first] ? 1 : 0;
  }
  const std::int32_t last = a.end[hi - 1] - base - 1;
  return count_descents(indices + start, last - start) == between_rows;
}

template <class T>
bool rows_ascend(const compressed_matrix<T>& a) {
  return rows_ascend(a, 0, a.rows);
}

template <class T>
status sorted_rows<T>::sort(const compressed_matrix<T>& source, bool ascending) {
  const std::int32_t nnz = csr_entries(source);
  if (nnz < 1 || !ascending) {
    const status sorted = csr_sort_by_double_transpose(source, copy_.out());
    if (sorted == success) record_ = *copy_;
    return sorted;
  }
  scoped_matrix<T> transposed;
  const status there = reserve_transpose(source.rows, source.cols, nnz, transposed);
  if (there != success) return there;
  const status back = reserve_transpose(source.cols, source.rows, nnz, copy_);
  if (back != success) return back;
  record_ = source;
  record_.sorted = 1;
  return success;
}

#define NEVRAD_INSTANTIATE(letter, T)                                                 \
  template bool rows_ascend(const compressed_matrix<T>&);                             \
  template bool rows_ascend(const compressed_matrix<T>&, std::int32_t, std::int32_t); \
  template class sorted_rows<T>;
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

}  // namespace nevrad
