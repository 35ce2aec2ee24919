// Plain passes over dense vectors.
#pragma once

#include "arith/products.h"

namespace nevrad {

// v[i] *= s. The product is taken also when s is 1 or 0, so NaN and infinity stay.
template <class T>
NEVRAD_INLINE void dense_scale(std::int32_t n, T* v, T s) {
  for (std::int32_t i = 0; i < n; ++i) v[i] = multiply_fused(v[i], s);
}

// out[i] = in[i] * s; out may be in.
template <class T>
NEVRAD_INLINE void dense_scale_copy(T* out, const T* in, std::int32_t n, T s) {
  for (std::int32_t i = 0; i < n; ++i) out[i] = multiply_fused(in[i], s);
}

}  // namespace nevrad
