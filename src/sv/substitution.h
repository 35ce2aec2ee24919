// What the four substitution kernels share.
#pragma once

#include "arith/lanes.h"
#include "arith/prefetch.h"
#include "matrix/record.h"

namespace nevrad {

// Entries a trip, and how far ahead of the read position a trip fetches, in bytes.
namespace substitution_table {

inline constexpr int entries_a_trip = 4;
inline constexpr int near_ahead = 256;  // level 1, keep
inline constexpr int far_ahead = 4096;  // level 2, keep

}  // namespace substitution_table

template <cache Level, class T>
NEVRAD_INLINE void fetch_entries_ahead(const std::int32_t* indices, const T* values) {
  if constexpr (fixed_hints) {
    using namespace substitution_table;
    constexpr int ahead = Level == cache::level1 ? near_ahead : far_ahead;
    prefetch<Level>(indices, ahead);
    prefetch<Level>(values, ahead);
  }
}

// a / d, or a / conj(d). Complex: both parts of the fused product conj(d) a (or d a) over the one
// real denominator |d|^2, whose two products are rounded. The denominator does not wait for a.
template <conjugation C, class T>
NEVRAD_INLINE T divide(T a, T d) {
  if constexpr (is_complex<T>) {
    const auto denominator = d.re * d.re + d.im * d.im;
    const T numerator = multiply_fused(C == conjugation::no ? conj(d) : d, a);
    return {numerator.re / denominator, numerator.im / denominator};
  } else {
    return a / d;
  }
}

}  // namespace nevrad
