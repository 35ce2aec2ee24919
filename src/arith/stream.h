// Stores of results that are larger than the caches and not read again by the call.
#pragma once

#include "arith/lanes.h"

namespace nevrad {

// x86-64 fetches a line before it is written, unless told that the store is to pass the caches by;
// AArch64 cores notice by themselves that whole lines are written one after another.
#if defined(__x86_64__)
inline constexpr bool has_streaming_stores = true;
#else
inline constexpr bool has_streaming_stores = false;
#endif

// Lanes of `Piece` bytes or more, to an address on as many. Pays where the lines get whole at once.
template <int Piece = 16, class T, int W>
NEVRAD_INLINE void store_streaming(T* to, lanes<T, W> a) {
  typedef long long piece __attribute__((vector_size(Piece), may_alias));
  static_assert(sizeof a.v % sizeof(piece) == 0);
  piece pieces[sizeof a.v / sizeof(piece)];
  __builtin_memcpy(pieces, &a.v, sizeof a.v);
  auto* at = reinterpret_cast<piece*>(to);
  for (const piece& p : pieces) __builtin_nontemporal_store(p, at++);
}

// Makes streaming stores visible to other threads in the order of the program.
NEVRAD_INLINE void finish_streaming() {
#if defined(__x86_64__)
  __builtin_ia32_sfence();
#endif
}

}  // namespace nevrad
