// Exported sparse vector operations: one check, one region, nothing else.
#include "frame/checks.h"
#include "frame/exports.h"
#include "frame/regions.h"
#include "vector/dot.h"
#include "vector/update.h"

namespace nevrad {

namespace {

// Null pointers first, then the count, then body(first, last) over static blocks of positions.
template <class Body>
status for_packed_positions(const void* a,
                            const void* b,
                            const void* c,
                            int nnz,
                            const Body& body) {
  if (check_three_pointers(a, b, c) != success) return null_pointer;
  if (nnz < 1) return invalid_value;
  for_static_blocks_on_team(current_thread_budget(), nnz, body);
  return success;
}

template <class T>
status axpyi(int nnz, T alpha, const T* x, const int* indx, T* y) {
  return for_packed_positions(x, indx, y, nnz, [=](std::int32_t first, std::int32_t last) {
    axpyi_block(alpha, x, indx, y, first, last);
  });
}

template <class T>
status gthr(int nnz, const T* y, T* x, const int* indx) {
  return for_packed_positions(y, x, indx, nnz, [=](std::int32_t first, std::int32_t last) {
    gthr_block(y, x, indx, first, last);
  });
}

template <class T>
status gthrz(int nnz, T* y, T* x, const int* indx) {
  return for_packed_positions(y, x, indx, nnz, [=](std::int32_t first, std::int32_t last) {
    gthrz_block(y, x, indx, first, last);
  });
}

template <class T>
status sctr(int nnz, const T* x, const int* indx, T* y) {
  return for_packed_positions(x, indx, y, nnz, [=](std::int32_t first, std::int32_t last) {
    sctr_block(x, indx, y, first, last);
  });
}

template <class T>
status roti(int nnz, T* x, const int* indx, T* y, T c, T s) {
  return for_packed_positions(x, indx, y, nnz, [=](std::int32_t first, std::int32_t last) {
    roti_block(x, indx, y, c, s, first, last);
  });
}

template <class T>
status check_dot(int nnz, const T* x, const int* indx, const T* y, const T* result) {
  if (check_four_pointers(result, indx, x, y) != success) return null_pointer;
  return nnz < 1 ? invalid_value : success;
}

// The partial sums meet in the runtime's reduction, whose order is the runtime's.
template <class T>
[[gnu::noinline]] T dot_on_team(int threads, int nnz, const T* x, const int* indx, const T* y) {
  T sum = 0;
#pragma omp parallel num_threads(threads) reduction(+ : sum)
  {
    const static_block block = block_of(nnz, omp_get_num_threads(), omp_get_thread_num());
    sum += dot_block<conjugation::no>(x, indx, y, block.first, block.last);
  }
  return sum;
}

template <conjugation C, class T>
[[gnu::noinline]] T complex_dot_on_team(int threads,
                                        int nnz,
                                        const T* x,
                                        const int* indx,
                                        const T* y) {
  real_of<T> re = 0;
  real_of<T> im = 0;
#pragma omp parallel num_threads(threads) reduction(+ : re, im)
  {
    const static_block block = block_of(nnz, omp_get_num_threads(), omp_get_thread_num());
    const T sum = dot_block<C>(x, indx, y, block.first, block.last);
    re += sum.re;
    im += sum.im;
  }
  return {re, im};
}

template <class T>
status doti(int nnz, const T* x, const int* indx, const T* y, T* result) {
  const status checked = check_dot(nnz, x, indx, y, result);
  if (checked != success) return checked;
  const int budget = current_thread_budget();
  // Added to 0 as in a region, where a chain that ends at -0 gives 0.
  *result = budget < 2 ? T{0} + dot_block<conjugation::no>(x, indx, y, 0, nnz)
                       : dot_on_team(budget, nnz, x, indx, y);
  return success;
}

// `z` on a budget of exactly 1 opens no region and rounds as a rotation does; every other case
// rounds as the region does. The two differ in the last bits, and stay so.
template <conjugation C, class T>
status complex_dot(int nnz, const T* x, const int* indx, const T* y, T* result) {
  const status checked = check_dot(nnz, x, indx, y, result);
  if (checked != success) return checked;
  const int budget = current_thread_budget();
  if (!is_single<T> && budget == 1) {
    *result = dot_rotated<C>(x, indx, y, nnz);
  } else {
    *result = budget < 2 ? dot_block<C>(x, indx, y, 0, nnz)
                         : complex_dot_on_team<C>(budget, nnz, x, indx, y);
  }
  return success;
}

}  // namespace

#define NEVRAD_UPDATES(letter, T)                                                          \
  NEVRAD_ENTRY(orv_sparse_##letter##axpyi, axpyi<T>, (value, int, nnz), (value, T, alpha), \
               (array, const T, x), (array, const int, indx), (array, T, y))               \
  NEVRAD_ENTRY(orv_sparse_##letter##gthr, gthr<T>, (value, int, nnz), (array, const T, y), \
               (array, T, x), (array, const int, indx))                                    \
  NEVRAD_ENTRY(orv_sparse_##letter##gthrz, gthrz<T>, (value, int, nnz), (array, T, y),     \
               (array, T, x), (array, const int, indx))                                    \
  NEVRAD_ENTRY(orv_sparse_##letter##sctr, sctr<T>, (value, int, nnz), (array, const T, x), \
               (array, const int, indx), (array, T, y))
NEVRAD_FOR_EACH_TYPE(NEVRAD_UPDATES)
#undef NEVRAD_UPDATES

#define NEVRAD_REAL_FORMS(letter, T)                                                       \
  NEVRAD_ENTRY(orv_sparse_##letter##roti, roti<T>, (value, int, nnz), (array, T, x),       \
               (array, const int, indx), (array, T, y), (value, T, c), (value, T, s))      \
  NEVRAD_ENTRY(orv_sparse_##letter##doti, doti<T>, (value, int, nnz), (array, const T, x), \
               (array, const int, indx), (array, const T, y), (array, T, result))
NEVRAD_FOR_EACH_REAL(NEVRAD_REAL_FORMS)
#undef NEVRAD_REAL_FORMS

#define NEVRAD_COMPLEX_DOTS(letter, T)                                             \
  NEVRAD_ENTRY(orv_sparse_##letter##dotui_sub, (complex_dot<conjugation::no, T>),  \
               (value, int, nnz), (array, const T, x), (array, const int, indx),   \
               (array, const T, y), (array, T, result))                            \
  NEVRAD_ENTRY(orv_sparse_##letter##dotci_sub, (complex_dot<conjugation::yes, T>), \
               (value, int, nnz), (array, const T, x), (array, const int, indx),   \
               (array, const T, y), (array, T, result))
NEVRAD_FOR_EACH_COMPLEX(NEVRAD_COMPLEX_DOTS)
#undef NEVRAD_COMPLEX_DOTS

}  // namespace nevrad
