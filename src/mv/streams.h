// How the loops over compressed lines keep their two streams coming where no hint is fixed.
#pragma once

#include "arith/prefetch.h"

namespace nevrad {

// On x86-64 the hardware's own prefetch stops at the end of a page; a line of each array far enough
// ahead to lie beyond it keeps a product outside the cache near the speed of memory. Elsewhere
// nothing: the kernels' own hints are given there.
inline constexpr int stream_values_ahead = 3072;
inline constexpr int stream_indices_ahead = 1536;

template <class T>
NEVRAD_INLINE void fetch_streams(const T* values, const std::int32_t* indices) {
  if constexpr (!fixed_hints) {
    prefetch<cache::level1>(values, stream_values_ahead);
    prefetch<cache::level1>(indices, stream_indices_ahead);
  }
}

}  // namespace nevrad
