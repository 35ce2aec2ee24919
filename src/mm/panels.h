// Panels: a dense matrix repacked so that the elements which one sparse entry needs lie together.
//
// A panel of width w holds w neighbouring columns of B. With h the height, the number of B's rows,
// the panel that begins at column j lies at element offset j * h of its store, and its row i is the
// w contiguous elements at i * w. A widest panel has rows of 64 bytes that start on a cache line.
#pragma once

#include "arith/lanes.h"
#include "frame/memory.h"

namespace nevrad {

// Columns in 64 bytes: the width of the widest panel.
template <class T>
inline constexpr int mm_chunk = static_cast<int>(cache_line / sizeof(T));

template <int W>
using panel_width = std::integral_constant<int, W>;

// Visits the panels of n columns in the order in which a store is filled and swept, as
// visit(panel_width<W>{}, first column): widest ones while they fit, then at most one of 8 and one
// of 4. Returns the first column that is in none of them; at most 3 are left.
template <class T, class Visit>
NEVRAD_INLINE std::int32_t for_each_panel(std::int32_t n, const Visit& visit) {
  constexpr int widest = mm_chunk<T>;
  std::int32_t j = 0;
  for (; n - j >= widest; j += widest) visit(panel_width<widest>{}, j);
  if constexpr (widest > 8) {
    if (n - j >= 8) {
      visit(panel_width<8>{}, j);
      j += 8;
    }
  }
  if constexpr (widest > 4) {
    if (n - j >= 4) {
      visit(panel_width<4>{}, j);
      j += 4;
    }
  }
  return j;
}

// Visits chunks of columns, first column and width, as for_each_panel does, but wider ones first:
// lanes are independent, and more of them to an entry save loads of the entry.
template <class T, class Visit>
NEVRAD_INLINE std::int32_t for_each_chunk(std::int32_t n, const Visit& visit) {
  constexpr int wide = 2 * mm_chunk<T>;
  std::int32_t j = 0;
  for (; n - j >= wide; j += wide) visit(panel_width<wide>{}, j);
  return j + for_each_panel<T>(n - j, [&](auto w, std::int32_t at) { visit(w, j + at); });
}

// Where the panel that begins at column j lies in its store.
template <class T>
NEVRAD_INLINE T* panel_at(T* store, std::int32_t j, std::int32_t h) {
  return store + static_cast<std::int64_t>(j) * h;
}

// Room for all panels of n columns; not cleared, as every element that a sweep reads is written.
template <class T>
constexpr std::uint64_t panel_store_bytes(std::int32_t h, std::int32_t n) {
  return static_cast<std::uint64_t>(static_cast<std::int64_t>(h) * n) * sizeof(T);
}
template <class T>
scratch<T> panel_store(std::int32_t h, std::int32_t n) {
  return scratch<T>(rounded_aligned_alloc(cache_line, panel_store_bytes<T>(h, n)));
}
template <class T>
bool probe_panel_store(std::int32_t h, std::int32_t n) {
  return probe_memory(cache_line, panel_store_bytes<T>(h, n));
}

// Fill the panels of `width` columns of B, `first` at their element (0, 0), each panel in a region
// of its own over the h rows.

// Column-major B. Columns behind the narrowest panel, at most 3, are not copied: a sweep reads them
// where they lie.
template <class T>
void pack_cols_all(std::int32_t h, const T* first, std::int32_t width, std::int32_t ldb, T* store);

// The same in chunks, whose panels are wider.
template <class T>
void pack_cols_chunks(std::int32_t h,
                      const T* first,
                      std::int32_t width,
                      std::int32_t ldb,
                      T* store);

// Row-major B. Columns behind the narrowest panel become panels of width 1.
template <class T>
void pack_rows_all(std::int32_t h, const T* first, std::int32_t width, std::int32_t ldb, T* store);

}  // namespace nevrad
