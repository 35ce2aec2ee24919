// Where a matrix lies, which tells how a row kernel keeps memory busy.
#pragma once

#include "arith/prefetch.h"
#include "matrix/record.h"

#include <type_traits>

namespace nevrad {

// Where no hint is fixed it depends on where the matrix lies: within the caches most hints cost.
enum class traffic { fixed, in_cache, outside };

template <class T>
NEVRAD_INLINE bool lies_outside_cache(const compressed_view<T>& a) {
  constexpr std::int64_t from_bytes = 16 << 20;
  const std::int64_t entries = std::int64_t{a.end[a.rows - 1]} - a.begin[0];
  return entries * static_cast<std::int64_t>(sizeof(T) + sizeof(std::int32_t)) >= from_bytes;
}

// Calls run(where) with the traffic of `a` as a constant of its own type.
template <class T, class Run>
NEVRAD_INLINE void with_traffic(const compressed_view<T>& a, const Run& run) {
  if constexpr (fixed_hints) {
    run(std::integral_constant<traffic, traffic::fixed>{});
  } else if (lies_outside_cache(a)) {
    run(std::integral_constant<traffic, traffic::outside>{});
  } else {
    run(std::integral_constant<traffic, traffic::in_cache>{});
  }
}

}  // namespace nevrad
