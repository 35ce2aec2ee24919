// The complex products of products.h on elements held as one lane.
#pragma once

#include "arith/lanes.h"

namespace nevrad {

// Every product rounded, then their difference and sum.
template <class R>
NEVRAD_INLINE lane<complex<R>> multiply_plain(lane<complex<R>> a, lane<complex<R>> b) {
  const auto by_re = a.v * __builtin_shufflevector(b.v, b.v, 0, 0);
  const auto by_im =
      __builtin_shufflevector(a.v, a.v, 1, 0) * __builtin_shufflevector(b.v, b.v, 1, 1);
  return {__builtin_shufflevector(by_re - by_im, by_re + by_im, 0, 3)};
}

template <class R>
NEVRAD_INLINE lane<complex<R>> multiply_by_width(lane<complex<R>> a, lane<complex<R>> b) {
  if constexpr (is_single<complex<R>>) {
    return multiply_fused(a, b);
  } else {
    return multiply_plain(a, b);
  }
}

}  // namespace nevrad
