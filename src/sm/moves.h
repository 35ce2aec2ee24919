// Moves between the caller's dense matrices and a panel of W columns: scaled by alpha on the way
// in, as they are on the way out. `at` is the matrix's element in the panel's first row and column.
#pragma once

#include "arith/tile.h"

namespace nevrad {

// to[i] = factor * from[i], the factor being the first operand. `to` may be `from`.
template <class T>
NEVRAD_INLINE void scale_line(T* to, const T* from, std::int64_t n, T factor) {
  constexpr int at_once = 64 / sizeof(T) / 2;
  const auto wide = broadcast<at_once>(to_lane(factor));
  std::int64_t i = 0;
  for (; i + at_once <= n; i += at_once)
    store(to + i, multiply_fused(wide, load<at_once>(from + i)));
  for (; i < n; ++i) to[i] = multiply_fused(factor, from[i]);
}

template <int W, class T>
void sm_load_row(T* panel, const T* at, std::int32_t ld, std::int32_t rows, T alpha) {
  const lanes<T, W> factor = broadcast<W>(to_lane(alpha));
  for (std::int32_t r = 0; r < rows; ++r, panel += W, at += ld) {
    store(panel, multiply_fused(factor, load<W>(at)));
  }
}

template <int W, class T>
void sm_store_row(const T* panel, T* at, std::int32_t ld, std::int32_t rows) {
  for (std::int32_t r = 0; r < rows; ++r, panel += W, at += ld) store(at, load<W>(panel));
}

// Columns are turned into panel rows by tiles of four by four.
template <int W, class T>
void sm_load_col(T* panel, const T* at, std::int64_t ld, std::int32_t rows, T alpha) {
  if constexpr (W == 1) {
    scale_line(panel, at, rows, alpha);
  } else {
    const auto factor = broadcast<tile_size>(to_lane(alpha));
    std::int32_t r = 0;
    for (; r + tile_size <= rows; r += tile_size, panel += tile_size * W) {
      for (int c = 0; c < W; c += tile_size) {
        tile<T> t = load_tile(at + r + c * ld, ld);
        for (auto& line : t.line) line = multiply_fused(factor, line);
        store_tile(panel + c, W, transpose(t));
      }
    }
    for (; r < rows; ++r, panel += W) {
      for (int c = 0; c < W; ++c) panel[c] = multiply_fused(alpha, at[r + c * ld]);
    }
  }
}

template <int W, class T>
void sm_store_col(const T* panel, T* at, std::int64_t ld, std::int32_t rows) {
  if constexpr (W == 1) {
    __builtin_memcpy(at, panel, sizeof(T) * static_cast<std::uint64_t>(rows));
  } else {
    std::int32_t r = 0;
    for (; r + tile_size <= rows; r += tile_size, panel += tile_size * W) {
      for (int c = 0; c < W; c += tile_size) {
        store_tile(at + r + c * ld, ld, transpose(load_tile(panel + c, W)));
      }
    }
    for (; r < rows; ++r, panel += W) {
      for (int c = 0; c < W; ++c) at[r + c * ld] = panel[c];
    }
  }
}

}  // namespace nevrad
