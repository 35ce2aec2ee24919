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
scratch<T> aligned_array(std::int64_t count) {
  return scratch<T>(
      rounded_aligned_alloc(cache_line, sizeof(T) * static_cast<std::uint64_t>(count)));
}

template <class T>
status alloc_owned(std::int32_t major,
                   std::int32_t rows,
                   std::int32_t cols,
                   std::int32_t nnz,
                   owned_matrix<T>** out) {
  scratch<owned_matrix<T>> record(plain_alloc(sizeof(owned_matrix<T>)));
  if (!record) return alloc_failed;
  auto pointers = aligned_array<std::int32_t>(static_cast<std::int64_t>(major) + 2);
  if (!pointers) return alloc_failed;
  auto indices = aligned_array<std::int32_t>(nnz);
  if (!indices) return alloc_failed;
  auto values = aligned_array<T>(nnz);
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

// Fills a record of `major` lines from the caller's arrays; nnz may be below 1.
template <class T>
void copy_arrays(owned_matrix<T>& a,
                 std::int32_t base,
                 std::int32_t major,
                 std::int32_t nnz,
                 const std::int32_t* pntrb,
                 const std::int32_t* pntre,
                 const std::int32_t* indx,
                 const T* val) {
  a.begin[0] = pntrb[0] - base;
  for (std::int32_t i = 0; i < major; ++i) a.end[i] = pntre[i] - base;
  for (std::int32_t j = 0; j < nnz; ++j) {
    a.indices[j] = indx[j] - base;
    a.values[j] = val[j];
  }
  a.base = 0;
  a.sorted = 0;
}

template <class T>
bool arrays_are_invalid(const matrix_handle<T>* handle,
                        unsigned one_based,
                        std::int32_t rows,
                        std::int32_t cols,
                        const std::int32_t* pntrb,
                        const std::int32_t* pntre,
                        const std::int32_t* indx,
                        const T* val) {
  return handle == nullptr || pntrb == nullptr || pntre == nullptr || indx == nullptr ||
         val == nullptr || one_based > 1 || rows < 1 || cols < 1;
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
                       owned_matrix<T>** out) {
  return alloc_owned(rows, rows, cols, nnz, out);
}

template <class T>
status owned_csc_alloc(std::int32_t rows,
                       std::int32_t cols,
                       std::int32_t nnz,
                       owned_matrix<T>** out) {
  return alloc_owned(cols, rows, cols, nnz, out);
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
  if (arrays_are_invalid(handle, one_based, rows, cols, pntrb, pntre, indx, val)) {
    return invalid_value;
  }
  const std::int32_t nnz = pntre[rows - 1] - pntrb[0];
  if (nnz < 1) return invalid_value;
  owned_matrix<T>* matrix = nullptr;
  const status result = owned_csr_alloc(rows, cols, nnz, &matrix);
  if (result != success) return result;
  copy_arrays(*matrix, static_cast<std::int32_t>(one_based), rows, nnz, pntrb, pntre, indx, val);
  *handle = {matrix, compression::rows};
  return success;
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
  if (arrays_are_invalid(handle, one_based, rows, cols, pntrb, pntre, indx, val)) {
    return invalid_value;
  }
  const std::int32_t nnz = pntre[cols - 1] - pntrb[0];
  owned_matrix<T>* matrix = nullptr;
  const status result = owned_csc_alloc(rows, cols, nnz, &matrix);
  if (result != success) return result;
  copy_arrays(*matrix, static_cast<std::int32_t>(one_based), cols, nnz, pntrb, pntre, indx, val);
  *handle = {matrix, compression::columns};
  return success;
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
  template status owned_csr_alloc(std::int32_t, std::int32_t, std::int32_t, owned_matrix<T>**);  \
  template status owned_csc_alloc(std::int32_t, std::int32_t, std::int32_t, owned_matrix<T>**);  \
  template status owned_csr_from_arrays(matrix_handle<T>*, unsigned, std::int32_t, std::int32_t, \
                                        const std::int32_t*, const std::int32_t*,                \
                                        const std::int32_t*, const T*);                          \
  template status owned_csc_from_arrays(matrix_handle<T>*, unsigned, std::int32_t, std::int32_t, \
                                        const std::int32_t*, const std::int32_t*,                \
                                        const std::int32_t*, const T*);                          \
  template void owned_csr_free(owned_matrix<T>*);                                                \
  template void owned_csc_free(owned_matrix<T>*);
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

}  // namespace nevrad
