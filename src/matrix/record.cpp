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
scratch<T> aligned_array(std::int64_t count, memory_use use) {
  return scratch<T>(
      rounded_aligned_alloc(cache_line, sizeof(T) * static_cast<std::uint64_t>(count), use));
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

// Checks the arguments and allocates. Only compressed rows refuse a matrix without entries.
template <class T>
status room_for_copy(const caller_arrays<T>& from,
                     compression kind,
                     owned_matrix<T>** out,
                     memory_use use = memory_use::filled) {
  if (from.invalid()) return invalid_value;
  const std::int32_t nnz = from.entries(kind);
  if (kind == compression::rows && nnz < 1) return invalid_value;
  return alloc_owned(from.major(kind), from.rows, from.cols, nnz, out, use);
}

// nnz may be below 1.
template <class T>
void copy_arrays(owned_matrix<T>& a, const caller_arrays<T>& from, compression kind) {
  const auto base = static_cast<std::int32_t>(from.one_based);
  const std::int32_t major = from.major(kind);
  const std::int32_t nnz = from.entries(kind);
  a.begin[0] = from.pntrb[0] - base;
  for (std::int32_t i = 0; i < major; ++i) a.end[i] = from.pntre[i] - base;
  for (std::int32_t j = 0; j < nnz; ++j) {
    a.indices[j] = from.indx[j] - base;
    a.values[j] = from.val[j];
  }
  a.base = 0;
  a.sorted = 0;
}

template <class T>
status copied_matrix(matrix_handle<T>* handle, compression kind, const caller_arrays<T>& from) {
  if (handle == nullptr) return invalid_value;
  owned_matrix<T>* matrix = nullptr;
  const status result = room_for_copy(from, kind, &matrix);
  if (result != success) return result;
  copy_arrays(*matrix, from, kind);
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
  const bool packed = !from.invalid() && pntre == pntrb + 1 && pntrb[0] == base;
  const status result =
      room_for_copy(from, kind, memory_.out(), packed ? memory_use::set_aside : memory_use::filled);
  if (result != success) return result;
  if (packed) {
    init_view(record_, val, pntrb, pntre, indx, rows, cols, base);
    record_.sorted = 0;
  } else {
    copy_arrays(*memory_, from, kind);
    record_ = *memory_;
  }
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
  template status owned_csr_alloc(std::int32_t, std::int32_t, std::int32_t, owned_matrix<T>**,   \
                                  memory_use);                                                   \
  template status owned_csc_alloc(std::int32_t, std::int32_t, std::int32_t, owned_matrix<T>**);  \
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
