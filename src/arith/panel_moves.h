// Moves between a dense matrix and a panel of W columns. `at` is the matrix's element in the
// panel's first row and column; `change` is applied to the elements on their way in, as lanes of
// any width; what comes out is a plain copy.
#pragma once

#include "arith/stream.h"
#include "arith/tile.h"

namespace nevrad {

struct as_it_is {
  template <class L>
  NEVRAD_INLINE L operator()(L lanes) const {
    return lanes;
  }
};

// The factor times the elements, the factor being the first operand.
template <class T>
struct times_elements {
  T factor;
  template <int W>
  NEVRAD_INLINE lanes<T, W> operator()(lanes<T, W> elements) const {
    return multiply_fused(broadcast<W>(to_lane(factor)), elements);
  }
};

// The elements times the factor.
template <class T>
struct elements_times {
  T factor;
  template <int W>
  NEVRAD_INLINE lanes<T, W> operator()(lanes<T, W> elements) const {
    return multiply_fused(elements, broadcast<W>(to_lane(factor)));
  }
};

// to[i] = change(from[i]); `to` may be `from`.
template <class T, class Change>
NEVRAD_INLINE void move_line(T* to, const T* from, std::int64_t n, const Change& change) {
  constexpr int at_once = 64 / sizeof(T) / 2;
  std::int64_t i = 0;
  for (; i + at_once <= n; i += at_once) store(to + i, change(load<at_once>(from + i)));
  for (; i < n; ++i) store(to + i, change(load<1>(from + i)));
}

template <int W, class T, class Change>
NEVRAD_INLINE void load_panel_rows(T* panel,
                                   const T* at,
                                   std::int64_t ld,
                                   std::int32_t rows,
                                   const Change& change) {
  for (std::int32_t r = 0; r < rows; ++r, panel += W, at += ld) store(panel, change(load<W>(at)));
}

template <int W, class T>
NEVRAD_INLINE void store_panel_rows(const T* panel, T* at, std::int64_t ld, std::int32_t rows) {
  for (std::int32_t r = 0; r < rows; ++r, panel += W, at += ld) store(at, load<W>(panel));
}

// Columns are turned into panel rows by tiles of four by four.
template <int W, class T, class Change>
NEVRAD_INLINE void load_panel_columns(T* panel,
                                      const T* at,
                                      std::int64_t ld,
                                      std::int32_t rows,
                                      const Change& change) {
  if constexpr (W == 1) {
    move_line(panel, at, rows, change);
  } else {
    std::int32_t r = 0;
    for (; r + tile_size <= rows; r += tile_size, panel += tile_size * W) {
      for (int c = 0; c < W; c += tile_size) {
        tile<T> t = load_tile(at + r + c * ld, ld);
        for (auto& line : t.line) line = change(line);
        store_tile(panel + c, W, transpose(t));
      }
    }
    for (; r < rows; ++r, panel += W) {
      for (int c = 0; c < W; ++c) store(panel + c, change(load<1>(at + r + c * ld)));
    }
  }
}

template <int W, class T>
NEVRAD_INLINE void store_panel_columns(const T* panel, T* at, std::int64_t ld, std::int32_t rows) {
  if constexpr (W == 1) {
    move_line(at, panel, rows, as_it_is{});
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

// As many rows of a column-major matrix as a cache line of a column holds. Each line is moved
// whole, before the next: columns that are a power of two apart share a few places in the cache.
template <class T>
inline constexpr int rows_of_line = static_cast<int>(cache_line / sizeof(T));

template <int W, class T, class Change>
NEVRAD_INLINE void load_panel_lines(T* panel, const T* at, std::int64_t ld, const Change& change) {
  for (int c = 0; c < W; c += tile_size) {
    for (int r = 0; r < rows_of_line<T>; r += tile_size) {
      tile<T> t = load_tile(at + r + c * ld, ld);
      for (auto& line : t.line) line = change(line);
      store_tile(panel + r * W + c, W, transpose(t));
    }
  }
}

// Streamed: past the caches; the lines begin where those of the cache do.
template <bool Streamed, int W, class T>
NEVRAD_INLINE void store_panel_lines(const T* panel, T* at, std::int64_t ld) {
  constexpr int tiles = rows_of_line<T> / tile_size;
  constexpr int piece = sizeof(T) * tile_size < 32 ? 16 : 32;
  for (int c = 0; c < W; c += tile_size) {
    tile<T> t[tiles];
    for (int k = 0; k < tiles; ++k) {
      t[k] = transpose(load_tile(panel + k * tile_size * W + c, W));
    }
    for (int i = 0; i < tile_size; ++i) {
      T* const line = at + (c + i) * ld;
      for (int k = 0; k < tiles; ++k) {
        if constexpr (Streamed) {
          store_streaming<piece>(line + k * tile_size, t[k].line[i]);
        } else {
          store(line + k * tile_size, t[k].line[i]);
        }
      }
    }
  }
}

}  // namespace nevrad
