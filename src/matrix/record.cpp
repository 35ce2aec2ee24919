#include "matrix/record.h"

namespace nevrad {

namespace {

// The record's arrays are read only through a view; its fields serve owned matrices too, and so
// are pointers to non-const.
template <class T>
void init_view(compressed_view<T>& view,
               const T* values,
               const std::int32_t* begin,
               const std::int32_t* end,
               const std::int32_t* indices,
               std::int32_t rows,
               std::int32_t cols,
               std::int32_t base) {
  view.values = const_cast<T*>(values);
  view.begin = const_cast<std::int32_t*>(begin);
  view.end = const_cast<std::int32_t*>(end);
  view.indices = const_cast<std::int32_t*>(indices);
  view.rows = rows;
  view.cols = cols;
  view.base = base;
}

template <class T>
std::uint64_t array_bytes(std::int64_t count) {
  return sizeof(T) * static_cast<std::uint64_t>(count);
}

template <class T>
scratch<T> aligned_array(std::int64_t count, memory_use use) {
  return scratch<T>(rounded_aligned_alloc(cache_line, array_bytes<T>(count), use));
}

template <class T>
status alloc_owned(std::int32_t major,
                   std::int32_t rows,
                   std::int32_t cols,
                   std::int32_t nnz,
                   owned_matrix<T>** out,
                   memory_use use) {
  scratch<owned_matrix<T>> record(plain_alloc(sizeof(owned_matrix<T>)));
  if (!record) return alloc_failed;
  auto pointers = aligned_array<std::int32_t>(static_cast<std::int64_t>(major) + 2, use);
  if (!pointers) return alloc_failed;
  auto indices = aligned_array<std::int32_t>(nnz, use);
  if (!indices) return alloc_failed;
  auto values = aligned_array<T>(nnz, use);
  if (!values) return alloc_failed;

  owned_matrix<T>& a = record[0];
  a.rows = rows;
  a.cols = cols;
  a.begin = pointers.release();
  a.end = a.begin + 1;
  a.indices = indices.release();
  a.values = values.release();
  *out = record.release();
  return success;
}

// What the caller hands over for a matrix.
template <class T>
struct caller_arrays {
  unsigned one_based;
  std::int32_t rows;
  std::int32_t cols;
  const std::int32_t* pntrb;
  const std::int32_t* pntre;
  const std::int32_t* indx;
  const T* val;

  bool invalid() const {
    return pntrb == nullptr || pntre == nullptr || indx == nullptr || val == nullptr ||
           one_based > 1 || rows < 1 || cols < 1;
  }
  std::int32_t major(compression kind) const { return kind == compression::rows ? rows : cols; }
  std::int32_t entries(compression kind) const { return pntre[major(kind) - 1] - pntrb[0]; }
};

// Only compressed rows refuse a matrix without entries.
template <class T>
status check_arrays(const caller_arrays<T>& from, compression kind) {
  const bool refused = from.invalid() || (kind == compression::rows && from.entries(kind) < 1);
  return refused ? invalid_value : success;
}

// Checked arrays into an owned matrix; nnz may be below 1.
template <class T>
status copy_arrays(const caller_arrays<T>& from, compression kind, owned_matrix<T>** out) {
  const auto base = static_cast<std::int32_t>(from.one_based);
  const std::int32_t major = from.major(kind);
  const std::int32_t nnz = from.entries(kind);
  const status made = alloc_owned(major, from.rows, from.cols, nnz, out, memory_use::filled);
  if (made != success) return made;
  owned_matrix<T>& a = **out;
  a.begin[0] = from.pntrb[0] - base;
  for (std::int32_t i = 0; i < major; ++i) a.end[i] = from.pntre[i] - base;
  for (std::int32_t j = 0; j < nnz; ++j) {
    a.indices[j] = from.indx[j] - base;
    a.values[j] = from.val[j];
  }
  a.base = 0;
  a.sorted = 0;
  return success;
}

template <class T>
status copied_matrix(matrix_handle<T>* handle, compression kind, const caller_arrays<T>& from) {
  if (handle == nullptr) return invalid_value;
  owned_matrix<T>* matrix = nullptr;
  status result = check_arrays(from, kind);
  if (result == success) result = copy_arrays(from, kind, &matrix);
  if (result != success) return result;
  *handle = {matrix, kind};
  return success;
}

template <class T>
void free_owned(owned_matrix<T>* matrix) {
  if (matrix == nullptr) return;
  release_memory(matrix->begin);
  release_memory(matrix->indices);
  release_memory(matrix->values);
  release_memory(matrix);
}

}  // namespace

template <class T>
void view_csr_init(compressed_view<T>& view,
                   const T* values,
                   const std::int32_t* begin,
                   const std::int32_t* end,
                   const std::int32_t* indices,
                   std::int32_t rows,
                   std::int32_t cols,
                   std::int32_t base) {
  init_view(view, values, begin, end, indices, rows, cols, base);
}

template <class T>
void view_csc_init(compressed_view<T>& view,
                   const T* values,
                   const std::int32_t* begin,
                   const std::int32_t* end,
                   const std::int32_t* indices,
                   std::int32_t rows,
                   std::int32_t cols,
                   std::int32_t base) {
  init_view(view, values, begin, end, indices, rows, cols, base);
}

template <class T>
status owned_csr_alloc(std::int32_t rows,
                       std::int32_t cols,
                       std::int32_t nnz,
                       owned_matrix<T>** out,
                       memory_use use) {
  return alloc_owned(rows, rows, cols, nnz, out, use);
}

template <class T>
status owned_csc_alloc(std::int32_t rows,
                       std::int32_t cols,
                       std::int32_t nnz,
                       owned_matrix<T>** out) {
  return alloc_owned(cols, rows, cols, nnz, out, memory_use::filled);
}

// As alloc_owned asks.
template <class T>
bool probe_owned(std::int32_t major, std::int32_t nnz) {
  return probe_plain_memory(sizeof(owned_matrix<T>)) &&
         probe_memory(cache_line, array_bytes<std::int32_t>(std::int64_t{major} + 2)) &&
         probe_memory(cache_line, array_bytes<std::int32_t>(nnz)) &&
         probe_memory(cache_line, array_bytes<T>(nnz));
}

template <class T>
status owned_csr_from_arrays(matrix_handle<T>* handle,
                             unsigned one_based,
                             std::int32_t rows,
                             std::int32_t cols,
                             const std::int32_t* pntrb,
                             const std::int32_t* pntre,
                             const std::int32_t* indx,
                             const T* val) {
  return copied_matrix(handle, compression::rows, {one_based, rows, cols, pntrb, pntre, indx, val});
}

template <class T>
status owned_csc_from_arrays(matrix_handle<T>* handle,
                             unsigned one_based,
                             std::int32_t rows,
                             std::int32_t cols,
                             const std::int32_t* pntrb,
                             const std::int32_t* pntre,
                             const std::int32_t* indx,
                             const T* val) {
  return copied_matrix(handle, compression::columns,
                       {one_based, rows, cols, pntrb, pntre, indx, val});
}

template <class T>
status matrix_operand<T>::take(compression kind,
                               unsigned one_based,
                               std::int32_t rows,
                               std::int32_t cols,
                               const std::int32_t* pntrb,
                               const std::int32_t* pntre,
                               const std::int32_t* indx,
                               const T* val) {
  const caller_arrays<T> from{one_based, rows, cols, pntrb, pntre, indx, val};
  const auto base = static_cast<std::int32_t>(one_based);
  const status checked = check_arrays(from, kind);
  if (checked != success) return checked;
  if (pntre == pntrb + 1 && pntrb[0] == base) {
    if (!probe_owned<T>(from.major(kind), from.entries(kind))) return alloc_failed;
    init_view(record_, val, pntrb, pntre, indx, rows, cols, base);
    record_.sorted = 0;
    return success;
  }
  const status copied = copy_arrays(from, kind, memory_.out());
  if (copied == success) record_ = *memory_;
  return copied;
}

template <class T>
void owned_csr_free(owned_matrix<T>* matrix) {
  free_owned(matrix);
}

template <class T>
void owned_csc_free(owned_matrix<T>* matrix) {
  free_owned(matrix);
}

#define NEVRAD_INSTANTIATE(letter, T)                                                            \
  template void view_csr_init(compressed_view<T>&, const T*, const std::int32_t*,                \
                              const std::int32_t*, const std::int32_t*, std::int32_t,            \
                              std::int32_t, std::int32_t);                                       \
  template void view_csc_init(compressed_view<T>&, const T*, const std::int32_t*,                \
                              const std::int32_t*, const std::int32_t*, std::int32_t,            \
                              std::int32_t, std::int32_t);                                       \
  template status owned_csr_alloc(std::int32_t, std::int32_t, std::int32_t, owned_matrix<T>**,   \
                                  memory_use);                                                   \
  template status owned_csc_alloc(std::int32_t, std::int32_t, std::int32_t, owned_matrix<T>**);  \
  template bool probe_owned<T>(std::int32_t, std::int32_t);                                      \
  template status owned_csr_from_arrays(matrix_handle<T>*, unsigned, std::int32_t, std::int32_t, \
                                        const std::int32_t*, const std::int32_t*,                \
                                        const std::int32_t*, const T*);                          \
  template status owned_csc_from_arrays(matrix_handle<T>*, unsigned, std::int32_t, std::int32_t, \
                                        const std::int32_t*, const std::int32_t*,                \
                                        const std::int32_t*, const T*);                          \
  template class matrix_operand<T>;                                                              \
  template void owned_csr_free(owned_matrix<T>*);                                                \
  template void owned_csc_free(owned_matrix<T>*);
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

}  // namespace nevrad
