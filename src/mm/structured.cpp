#include "mm/structured.h"

#include "frame/checks.h"

namespace nevrad {

namespace {

template <class T>
bool any_null(const owned_matrix<T>* a,
              const T* b,
              const T* c,
              expansion<T> expand,
              mm_kernel<T> gate) {
  return a == nullptr || b == nullptr || c == nullptr || expand == nullptr || gate == nullptr;
}

template <class T>
status expand_and_multiply(const owned_matrix<T>& a,
                           const T* b,
                           std::int32_t n,
                           std::int32_t ldb,
                           T* c,
                           std::int32_t ldc,
                           triangle side,
                           diagonal ones,
                           expansion<T> expand,
                           mm_kernel<T> gate,
                           T alpha,
                           T beta) {
  scoped_matrix<T> expanded;
  const status result = expand(a, side, ones, expanded.out());
  if (result != success) return result;
  return gate(*expanded, b, n, ldb, c, ldc, alpha, beta);
}

}  // namespace

template <class T>
status mm_structured(const owned_matrix<T>* a,
                     const T* b,
                     std::int32_t n,
                     std::int32_t ldb,
                     T* c,
                     std::int32_t ldc,
                     triangle side,
                     diagonal ones,
                     expansion<T> expand,
                     mm_kernel<T> gate,
                     T alpha,
                     T beta) {
  if (any_null(a, b, c, expand, gate)) return null_pointer;
  return expand_and_multiply(*a, b, n, ldb, c, ldc, side, ones, expand, gate, alpha, beta);
}

template <class T>
status mm_structured_view(const owned_matrix<T>* a,
                          const T* b,
                          std::int32_t n,
                          std::int32_t ldb,
                          T* c,
                          std::int32_t ldc,
                          triangle side,
                          diagonal ones,
                          expansion<T> expand,
                          mm_kernel<T> gate,
                          T alpha,
                          T beta) {
  if (any_null(a, b, c, expand, gate)) return invalid_value;
  compressed_matrix<T> view;
  csc_view_as_csr(a, &view);
  return expand_and_multiply(view, b, n, ldb, c, ldc, side, ones, expand, gate, alpha, beta);
}

template <class T>
status mm_structured_converted(const owned_matrix<T>* a,
                               const T* b,
                               std::int32_t n,
                               std::int32_t ldb,
                               T* c,
                               std::int32_t ldc,
                               triangle side,
                               diagonal ones,
                               expansion<T> expand,
                               mm_kernel<T> gate,
                               T alpha,
                               T beta) {
  if (any_null(a, b, c, expand, gate)) return invalid_value;
  scoped_matrix<T> converted;
  const status result = csc_to_csr(a, converted.out());
  if (result != success) return result;
  return expand_and_multiply(*converted, b, n, ldb, c, ldc, side, ones, expand, gate, alpha, beta);
}

#define NEVRAD_INSTANTIATE_ONE(name, T)                                                  \
  template status name(const owned_matrix<T>*, const T*, std::int32_t, std::int32_t, T*, \
                       std::int32_t, triangle, diagonal, expansion<T>, mm_kernel<T>, T, T);
#define NEVRAD_INSTANTIATE(letter, T)           \
  NEVRAD_INSTANTIATE_ONE(mm_structured, T)      \
  NEVRAD_INSTANTIATE_ONE(mm_structured_view, T) \
  NEVRAD_INSTANTIATE_ONE(mm_structured_converted, T)
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE
#undef NEVRAD_INSTANTIATE_ONE

}  // namespace nevrad
