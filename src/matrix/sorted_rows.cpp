#include "matrix/sorted_rows.h"

#include <algorithm>

namespace nevrad {

namespace {

// What transposing takes beside its result.
bool probe_counts(std::int32_t cols) {
  return probe_memory(cache_line, sizeof(std::int32_t) * static_cast<std::uint64_t>(cols));
}

// What transposing to a matrix of `rows` rows takes.
template <class T>
bool probe_transpose(std::int32_t rows, std::int32_t nnz) {
  return probe_counts(rows) && probe_owned<T>(rows, nnz);
}

// Up to here counting what goes before each entry is faster than moving entries about.
constexpr std::int32_t few_entries = 48;

// The place of each entry by index and place, without a branch.
void find_places(const std::int32_t* indices, std::int32_t count, std::int64_t* place) {
  std::int64_t key[few_entries];
  for (std::int32_t p = 0; p < count; ++p) key[p] = (std::int64_t{indices[p]} << 32) + p;
  for (std::int32_t p = 0; p < count; ++p) place[p] = 0;
  for (std::int32_t q = 0; q < count; ++q) {
    const std::int64_t other = key[q];
    for (std::int32_t p = 0; p < count; ++p) place[p] += key[p] > other ? 1 : 0;
  }
}

// Sorts one row into other arrays by index and place, without memory of its own.
template <class T>
void sort_row(const T* values,
              const std::int32_t* indices,
              std::int32_t count,
              T* to_values,
              std::int32_t* to_indices) {
  if (count <= few_entries) {
    std::int64_t place[few_entries];
    find_places(indices, count, place);
    for (std::int32_t p = 0; p < count; ++p) {
      to_values[place[p]] = values[p];
      to_indices[place[p]] = indices[p];
    }
    return;
  }
  std::int32_t* const places = to_indices;
  for (std::int32_t p = 0; p < count; ++p) places[p] = p;
  std::sort(places, places + count, [indices](std::int32_t a, std::int32_t b) {
    return indices[a] != indices[b] ? indices[a] < indices[b] : a < b;
  });
  for (std::int32_t p = 0; p < count; ++p) {
    const std::int32_t from = places[p];
    to_values[p] = values[from];
    to_indices[p] = indices[from];
  }
}

}  // namespace

template <class T>
bool rows_ascend(const compressed_matrix<T>& a, std::int32_t lo, std::int32_t hi) {
  const std::int32_t base = a.base;
  if (a.begin[0] != base) return false;
  const std::int32_t* const indices = a.indices - base;
  // Steps down from one row to the next are no fault, so they are counted apart.
  const std::int32_t start = a.begin[lo];
  if (start == a.end[hi - 1]) return true;
  std::int32_t between_rows = 0;
  for (std::int32_t i = lo; i < hi; ++i) {
    const std::int32_t first = a.begin[i];
    const std::int32_t last = a.end[i];
    if (last < first) return false;
    if (first > start && last > first) between_rows += indices[first - 1] > indices[first] ? 1 : 0;
  }
  const std::int32_t last = a.end[hi - 1] - 1;
  return count_descents(indices + start, last - start) == between_rows;
}

template <class T>
bool rows_ascend(const compressed_matrix<T>& a) {
  return rows_ascend(a, 0, a.rows);
}

template <class T>
compressed_matrix<T> rows_in_order<T>::sorted(std::int32_t lo, std::int32_t hi) const {
  compressed_matrix<T> result = record_;
  result.values = room_->values;
  result.indices = room_->indices;
  for (std::int32_t i = lo; i < hi; ++i) {
    const std::int64_t first = record_.begin[i] - record_.base;
    const std::int32_t count = std::max(record_.end[i] - record_.begin[i], 0);
    sort_row(record_.values + first, record_.indices + first, count, result.values + first,
             result.indices + first);
  }
  return result;
}

template <class T>
status sorted_rows<T>::sort(const compressed_matrix<T>& source, bool ascending) {
  const std::int32_t nnz = csr_entries(source);
  if (nnz < 1 || !ascending) {
    const status sorted = csr_sort_by_double_transpose(source, copy_.out());
    if (sorted == success) record_ = *copy_;
    return sorted;
  }
  const bool there = probe_transpose<T>(source.cols, nnz) && probe_transpose<T>(source.rows, nnz);
  if (!there) return alloc_failed;
  record_ = source;
  record_.sorted = 1;
  return success;
}

template <class T>
status sorted_rows<T>::sort_when_taken(const compressed_matrix<T>& source) {
  const std::int32_t nnz = csr_entries(source);
  if (nnz < 1 || source.begin[0] != source.base) return sort(source, false);
  if (!probe_transpose<T>(source.cols, nnz) || !probe_counts(source.rows)) return alloc_failed;
  record_ = source;
  record_.sorted = 1;
  return owned_csr_alloc(source.rows, source.cols, nnz, copy_.out(), memory_use::set_aside);
}

#define NEVRAD_INSTANTIATE(letter, T)                                                 \
  template bool rows_ascend(const compressed_matrix<T>&);                             \
  template bool rows_ascend(const compressed_matrix<T>&, std::int32_t, std::int32_t); \
  template class rows_in_order<T>;                                                    \
  template class sorted_rows<T>;
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

}  // namespace nevrad
