// Exported sums and products of compressed matrices.
#include "frame/exports.h"
#include "spsp/tables.h"

namespace nevrad {

namespace {

// Values are tested before pointers in the two operations with a compressed result, and after them
// in the one with a dense result.

constexpr status check_input_arrays(const void* a,
                                    const void* ja,
                                    const void* ia,
                                    const void* b,
                                    const void* jb,
                                    const void* ib) {
  return check_three_pointers(a, ja, ia) | check_three_pointers(b, jb, ib);
}

// Which operands the argument `sort` of a sum names.
constexpr bool sorts_first(int sort) { return sort == 1 || sort == 3; }
constexpr bool sorts_second(int sort) { return sort == 2 || sort == 3; }

// Puts a sorted copy in the place of a view.
template <class T>
status sort_operand(compressed_view<T>& view, scoped_matrix<T>& sorted) {
  const status made = csr_sort_by_double_transpose(view, sorted.out());
  if (made == success) view = *sorted;
  return made;
}

template <class T>
status csradd(int transa,
              int request,
              int sort,
              int m,
              int n,
              const T* a,
              const int* ja,
              const int* ia,
              T beta,
              const T* b,
              const int* jb,
              const int* ib,
              T* c,
              int* jc,
              int* ic,
              int nzmax) {
  if (check_op(static_cast<unsigned>(transa)) != success) return invalid_value;
  if (check_dim2(m, n) != success) return invalid_value;
  if (check_input_arrays(a, ja, ia, b, jb, ib) != success) return null_pointer;
  const status checked = check_request(request, c, jc, ic);
  if (checked != success) return checked;

  const bool plain = transa == 0;
  compressed_view<T> A;
  compressed_view<T> B;
  view_csr_init(A, a, ia, ia + 1, ja, m, n, 1);
  view_csr_init(B, b, ib, ib + 1, jb, plain ? m : n, plain ? n : m, 1);
  scoped_matrix<T> sorted_a;
  scoped_matrix<T> sorted_b;
  status made = sorts_first(sort) ? sort_operand(A, sorted_a) : success;
  if (made == success && sorts_second(sort)) made = sort_operand(B, sorted_b);
  if (made != success) return made;
  return csradd_table<T>.at[transa](request, A, B, c, jc, ic, nzmax, beta);
}

// Rows may be in any order here, so `sort` is not looked at.
template <class T>
status csrmultcsr(int transa,
                  int request,
                  int /*sort*/,
                  int m,
                  int n,
                  int k,
                  const T* a,
                  const int* ja,
                  const int* ia,
                  const T* b,
                  const int* jb,
                  const int* ib,
                  T* c,
                  int* jc,
                  int* ic,
                  int nzmax) {
  if (check_op(static_cast<unsigned>(transa)) != success) return invalid_value;
  if (check_dim3(m, n, k) != success) return invalid_value;
  if (check_input_arrays(a, ja, ia, b, jb, ib) != success) return null_pointer;
  const status checked = check_request(request, c, jc, ic);
  if (checked != success) return checked;

  compressed_view<T> A;
  compressed_view<T> B;
  view_csr_init(A, a, ia, ia + 1, ja, m, n, 1);
  view_csr_init(B, b, ib, ib + 1, jb, transa == 0 ? n : m, k, 1);
  return csrmultcsr_table<T>.at[transa](request, A, B, c, jc, ic, nzmax);
}

template <class T>
status owned_copy(scoped_matrix<T>& copy,
                  int rows,
                  int cols,
                  const T* values,
                  const int* indices,
                  const int* pointers) {
  matrix_handle<T> handle{};
  const status made =
      owned_csr_from_arrays(&handle, 1U, rows, cols, pointers, pointers + 1, indices, values);
  *copy.out() = handle.matrix;
  return made;
}

template <class T>
status csrmultd(int transa,
                int m,
                int n,
                int k,
                const T* a,
                const int* ja,
                const int* ia,
                const T* b,
                const int* jb,
                const int* ib,
                T* c,
                int ldc) {
  if (check_input_arrays(a, ja, ia, b, jb, ib) != success || c == nullptr) return null_pointer;
  if (check_op(static_cast<unsigned>(transa)) != success) return invalid_value;
  if (check_dim3(m, n, k) != success) return invalid_value;
  if ((transa == 0 ? m : n) > ldc) return invalid_value;
  if (multiply_guard(ldc, k) != success) return invalid_value;

  scoped_matrix<T> A;
  status made = owned_copy(A, m, n, a, ja, ia);
  if (made != success) return made;
  scoped_matrix<T> B;
  made = owned_copy(B, transa == 0 ? n : m, k, b, jb, ib);
  if (made != success) return made;
  return csrmultd_table<T>.at[transa](*A, *B, c, ldc);
}

}  // namespace

#define NEVRAD_SPSP_ENTRIES(letter, T)                                                            \
  NEVRAD_ENTRY(orv_sparse_##letter##csradd, csradd<T>, (value, int, transa),                      \
               (value, int, request), (value, int, sort), (value, int, m), (value, int, n),       \
               (array, const T, a), (array, const int, ja), (array, const int, ia),               \
               (value, T, beta), (array, const T, b), (array, const int, jb),                     \
               (array, const int, ib), (array, T, c), (array, int, jc), (array, int, ic),         \
               (value, int, nzmax))                                                               \
  NEVRAD_ENTRY(orv_sparse_##letter##csrmultcsr, csrmultcsr<T>, (value, int, transa),              \
               (value, int, request), (value, int, sort), (value, int, m), (value, int, n),       \
               (value, int, k), (array, const T, a), (array, const int, ja),                      \
               (array, const int, ia), (array, const T, b), (array, const int, jb),               \
               (array, const int, ib), (array, T, c), (array, int, jc), (array, int, ic),         \
               (value, int, nzmax))                                                               \
  NEVRAD_ENTRY(orv_sparse_##letter##csrmultd, csrmultd<T>, (value, int, transa), (value, int, m), \
               (value, int, n), (value, int, k), (array, const T, a), (array, const int, ja),     \
               (array, const int, ia), (array, const T, b), (array, const int, jb),               \
               (array, const int, ib), (array, T, c), (value, int, ldc))
NEVRAD_FOR_EACH_TYPE(NEVRAD_SPSP_ENTRIES)
#undef NEVRAD_SPSP_ENTRIES

}  // namespace nevrad
