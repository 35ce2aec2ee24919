#include "mm/panels.h"

#include "arith/panel_moves.h"
#include "frame/regions.h"

#include <algorithm>

namespace nevrad {

namespace {

// The most threads on which a panel of width W is filled.
template <int W, class T>
constexpr int pack_team_cap = std::min(W, mm_chunk<T>) >= 8 ? 32 : 8;

template <int W, class T>
int pack_team() {
  return std::min(current_thread_budget(), pack_team_cap<W, T>);
}

// Element c of row i is first[i + c * ldb].
template <int W, class T>
void pack_cols_panel(std::int32_t h, const T* first, std::int32_t ldb, T* panel) {
  for_static_blocks_on_team(pack_team<W, T>(), h, [=](std::int32_t begin, std::int32_t end) {
    T* const rows = panel + static_cast<std::int64_t>(begin) * W;
    load_panel_columns<W>(rows, first + begin, ldb, end - begin, as_it_is{});
  });
}

// Row i is the W elements at first + i * ldb.
template <int W, class T>
void pack_rows_panel(std::int32_t h, const T* first, std::int32_t ldb, T* panel) {
  for_static_blocks_on_team(pack_team<W, T>(), h, [=](std::int32_t begin, std::int32_t end) {
    const T* from = first + static_cast<std::int64_t>(begin) * ldb;
    T* row = panel + static_cast<std::int64_t>(begin) * W;
    for (std::int32_t i = begin; i < end; ++i, row += W, from += ldb) store(row, load<W>(from));
  });
}

}  // namespace

template <class T>
void pack_cols_all(std::int32_t h, const T* first, std::int32_t width, std::int32_t ldb, T* store) {
  for_each_panel<T>(width, [=](auto w, std::int32_t j) {
    pack_cols_panel<w()>(h, first + static_cast<std::int64_t>(j) * ldb, ldb, panel_at(store, j, h));
  });
}

template <class T>
void pack_cols_chunks(std::int32_t h,
                      const T* first,
                      std::int32_t width,
                      std::int32_t ldb,
                      T* store) {
  for_each_chunk<T>(width, [=](auto w, std::int32_t j) {
    pack_cols_panel<w()>(h, first + static_cast<std::int64_t>(j) * ldb, ldb, panel_at(store, j, h));
  });
}

template <class T>
void pack_rows_all(std::int32_t h, const T* first, std::int32_t width, std::int32_t ldb, T* store) {
  std::int32_t j = for_each_panel<T>(width, [=](auto w, std::int32_t at) {
    pack_rows_panel<w()>(h, first + at, ldb, panel_at(store, at, h));
  });
  for (; j < width; ++j) pack_rows_panel<1>(h, first + j, ldb, panel_at(store, j, h));
}

#define NEVRAD_INSTANTIATE(letter, T)                                                     \
  template void pack_cols_all(std::int32_t, const T*, std::int32_t, std::int32_t, T*);    \
  template void pack_cols_chunks(std::int32_t, const T*, std::int32_t, std::int32_t, T*); \
  template void pack_rows_all(std::int32_t, const T*, std::int32_t, std::int32_t, T*);
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

}  // namespace nevrad
