// Prefetch hints: for reading by cache level and by how long the line is wanted, and for writing.
#pragma once

#include "arith/products.h"

namespace nevrad {

enum class cache : int { level1, level2 };
enum class hint : int { keep, stream };

// Hints that a kernel's description fixes stand in the AArch64 code as they are. Elsewhere they
// are a matter of measurement; a kernel that loses by them asks for `fixed_hints` first.
#if defined(__aarch64__)
inline constexpr bool fixed_hints = true;
#else
inline constexpr bool fixed_hints = false;
#endif

// Asks for the cache line `bytes` beyond `p`. Never faults, whatever the address.
template <cache Level, hint Hint = hint::keep>
NEVRAD_INLINE void prefetch(const void* p, std::ptrdiff_t bytes) {
  // The address is formed as a number: it may lie outside the caller's array.
  const auto address = reinterpret_cast<std::uintptr_t>(p) + static_cast<std::uintptr_t>(bytes);
#if defined(__aarch64__)
  __builtin_arm_prefetch(reinterpret_cast<const void*>(address), 0, static_cast<int>(Level),
                         Hint == hint::stream, 1);
#else
  constexpr int locality = Hint == hint::stream ? 0 : (Level == cache::level1 ? 3 : 2);
  __builtin_prefetch(reinterpret_cast<const void*>(address), 0, locality);
#endif
}

// Asks for the cache line of `p`, to be written soon and kept.
NEVRAD_INLINE void prefetch_for_write(const void* p) { __builtin_prefetch(p, 1, 3); }

}  // namespace nevrad
