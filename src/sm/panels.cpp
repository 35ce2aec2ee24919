#include "sm/panels.h"

#include "arith/panel_moves.h"
#include "sm/rows.h"

namespace nevrad {

namespace {

template <dense_layout Layout, class T>
struct panel_operands {
  static constexpr std::int64_t element(std::int64_t row, std::int64_t column, std::int64_t ld) {
    return Layout == dense_layout::column_major ? row + column * ld : row * ld + column;
  }
  const T* x;
  std::int32_t ldx;
  T* y;
  std::int32_t ldy;
  T alpha;
};

template <int W>
using width = std::integral_constant<int, W>;

// Visits panels of columns `first` to `count` - 1 as visit(width<W>{}, column): widest ones while
// they fit, then at most one of 8 and one of 4, then columns by themselves.
template <class T, class Visit>
NEVRAD_INLINE void for_each_panel(std::int32_t first, std::int32_t count, const Visit& visit) {
  constexpr int widest = cache_line / sizeof(T);
  std::int32_t j = first;
  for (; count - j >= widest; j += widest) visit(width<widest>{}, j);
  if constexpr (widest > 8) {
    if (count - j >= 8) {
      visit(width<8>{}, j);
      j += 8;
    }
  }
  if constexpr (widest > 4) {
    if (count - j >= 4) {
      visit(width<4>{}, j);
      j += 4;
    }
  }
  for (; j < count; ++j) visit(width<1>{}, j);
}

// A triangle that has stayed in its matrix. Where the solution's rows of W elements lie together in
// y, they are the panel. Columns are turned into rows some rows at a time, within a ring that holds
// as many rows as any row can reach.
template <triangle Side, diagonal Diagonal, dense_layout Layout, class T>
class row_solver {
 public:
  row_solver(const sm_blocks<T>& blocks, const panel_operands<Layout, T>& operands, T* panel)
      : rows_(blocks), order_(blocks.order), operands_(operands), panel_(panel) {
    const std::int64_t used = std::int64_t{blocks.reach} + rows_at_once;
    while (ring_ < used) ring_ *= 2;
  }

  // Solves all columns. A row waits for the one before it: chunks of a row-major row do so
  // together.
  void solve(std::int32_t count) const {
    if constexpr (Layout == dense_layout::row_major) {
      for (std::int32_t step = 0; step < order_; ++step) {
        const std::int32_t i = lower ? step : order_ - 1 - step;
        for_each_chunk(count, [=, this](auto w, std::int32_t j) {
          solve_row<w()>(i, operands_.x + j, operands_.ldx, operands_.y + j, operands_.ldy);
        });
      }
    } else {
      for_each_panel<T>(0, count, [=, this](auto w, std::int32_t j) {
        if constexpr (w() == 1) {
          solve_column(j);
        } else {
          solve_in_ring<w()>(j);
        }
      });
    }
  }

 private:
  static constexpr int widest = static_cast<int>(cache_line / sizeof(T));
  static constexpr bool lower = Side == triangle::lower;
  // A cache line of a column, and how far ahead lines are asked for.
  static constexpr std::int32_t rows_at_once = widest;
  static constexpr int bytes_ahead = (lower ? 8 : -8) * static_cast<int>(cache_line);

  // Visits chunks of columns, wide ones where for_each_panel has two panels: lanes are independent,
  // and more of them to an entry save loads of the entry. Memory is walked in one direction, which
  // hardware can follow.
  template <class Visit>
  static void for_each_chunk(std::int32_t count, const Visit& visit) {
    constexpr int wide = 2 * widest;
    const std::int32_t whole = count / wide * wide;
    if constexpr (lower) {
      for (std::int32_t j = 0; j < whole; j += wide) visit(width<wide>{}, j);
      for_each_panel<T>(whole, count, visit);
    } else {
      for_each_panel<T>(whole, count, visit);
      for (std::int32_t j = whole; j > 0;) visit(width<wide>{}, j -= wide);
    }
  }

  // W elements of row i, solved where they lie.
  template <int W>
  NEVRAD_INLINE void solve_row(std::int64_t i, const T* x, std::int64_t ldx, T* y, std::int64_t ldy)
      const {
    const strided_rows<W, T> solution{y - rows_.base() * ldy, ldy};
    const lanes<T, W> factor = broadcast<W>(to_lane(operands_.alpha));
    const lanes<T, W> row = multiply_fused(factor, load<W>(x + i * ldx));
    store(y + i * ldy, rows_.template solve<Diagonal>(static_cast<std::int32_t>(i), row, solution));
  }

  void solve_column(std::int32_t j) const {
    const auto& o = operands_;
    for (std::int32_t step = 0; step < order_; ++step) {
      const std::int32_t i = lower ? step : order_ - 1 - step;
      solve_row<1>(i, o.x + o.element(0, j, o.ldx), 1, o.y + o.element(0, j, o.ldy), 1);
    }
  }

  template <int W>
  void solve_in_ring(std::int32_t j) const {
    const auto& o = operands_;
    const std::int32_t base = rows_.base();
    // Row i is kept for index i + base, as the matrix has it.
    const bool whole = ring_ * W > std::int64_t{order_} * widest;
    const std::int64_t mask = whole ? -1 : ring_ - 1;
    T* const room = whole ? panel_ - base * W : panel_;
    const ring_rows<W, T> solution{room, mask};
    std::int32_t next = lower ? 0 : order_;
    while (lower ? next < order_ : next > 0) {
      // Turns end where the ring may end.
      const std::int32_t end = lower ? ((next + base) | (rows_at_once - 1)) + 1 - base : next;
      const std::int32_t begin = lower ? next : ((next - 1 + base) & -rows_at_once) - base;
      const std::int32_t first = begin < 0 ? 0 : begin;
      const std::int32_t last = end > order_ ? order_ : end;
      T* const part = room + ((first + base) & mask) * W;
      if constexpr (!fixed_hints) {
        // As many columns run side by side as hardware can hardly follow.
        for (int c = 0; c < W; ++c) {
          prefetch<cache::level1>(o.x + o.element(first, j + c, o.ldx), bytes_ahead);
          prefetch<cache::level1>(o.y + o.element(first, j + c, o.ldy), bytes_ahead);
        }
      }
      load_panel_columns<W>(part, o.x + o.element(first, j, o.ldx), o.ldx, last - first,
                            times_elements<T>{o.alpha});
      for (std::int32_t step = 0; step < last - first; ++step) {
        const std::int32_t r = lower ? step : last - first - 1 - step;
        T* const at = part + std::int64_t{r} * W;
        store(at, rows_.template solve<Diagonal>(first + r, load<W>(at), solution));
      }
      store_panel_columns<W>(part, o.y + o.element(first, j, o.ldy), o.ldy, last - first);
      next = lower ? last : first;
    }
  }

  triangle_rows<Side, T> rows_;
  std::int32_t order_;
  panel_operands<Layout, T> operands_;
  T* panel_;
  std::int64_t ring_ = rows_at_once;
};

// A triangle in blocks.
template <triangle Side, diagonal Diagonal, dense_layout Layout, class T>
class block_solver {
 public:
  block_solver(const sm_blocks<T>& blocks, const panel_operands<Layout, T>& operands, T* panel)
      : blocks_(blocks), operands_(operands), panel_(panel) {}

  // Solves columns j to j + W - 1.
  template <int W>
  void solve(std::int32_t j) const {
    std::int32_t loaded = 0;
    for (std::int32_t b = 0; b < blocks_.count; ++b) {
      const sm_block<T>& block = blocks_.records[b];
      for (; loaded <= block.reach; ++loaded) {
        load_rows<W>(loaded, j);
      }
      sm_solve<Side, Diagonal, W>(block, row_of<W>(b, 0));
      if (b + 1 < blocks_.count) subtract_strip<W>(b);
      store_rows<W>(b, j);
    }
  }

 private:
  // Row r of block b's slab in the panel.
  template <int W>
  T* row_of(std::int32_t b, std::int32_t r) const {
    return panel_ + (static_cast<std::int64_t>(blocks_.records[b].place) + r) * W;
  }

  template <int W>
  void subtract_strip(std::int32_t b) const {
    const sm_block<T>& block = blocks_.records[b];
    if (block.strip != nullptr) {
      sm_strip_listed<Side, W>(block, panel_, blocks_.panel_rows);
      return;
    }
    for (std::int32_t t = b + 1; t < blocks_.count; ++t) {
      const sm_block<T>& target = blocks_.records[t];
      const std::int32_t row = target.first - block.first;
      sm_strip<W>(block, row_of<W>(b, 0), row_of<W>(t, 0), row, row + target.cols);
    }
  }

  template <int W>
  void load_rows(std::int32_t b, std::int32_t j) const {
    const auto& o = operands_;
    const sm_block<T>& block = blocks_.records[b];
    const T* const at = o.x + o.element(block.first, j, o.ldx);
    const times_elements<T> scaled{o.alpha};
    if constexpr (Layout == dense_layout::column_major) {
      load_panel_columns<W>(row_of<W>(b, 0), at, o.ldx, block.cols, scaled);
    } else {
      load_panel_rows<W>(row_of<W>(b, 0), at, o.ldx, block.cols, scaled);
    }
  }

  template <int W>
  void store_rows(std::int32_t b, std::int32_t j) const {
    const auto& o = operands_;
    const sm_block<T>& block = blocks_.records[b];
    T* const at = o.y + o.element(block.first, j, o.ldy);
    if constexpr (Layout == dense_layout::column_major) {
      store_panel_columns<W>(row_of<W>(b, 0), at, o.ldy, block.cols);
    } else {
      store_panel_rows<W>(row_of<W>(b, 0), at, o.ldy, block.cols);
    }
  }

  const sm_blocks<T>& blocks_;
  panel_operands<Layout, T> operands_;
  T* panel_;
};

}  // namespace

template <triangle Side, diagonal Diagonal, dense_layout Layout, class T>
status sm_panels(const sm_blocks<T>& blocks,
                 const T* x,
                 std::int32_t count,
                 std::int32_t ldx,
                 T* y,
                 std::int32_t ldy,
                 T alpha) {
  const scratch<T> panel(
      rounded_aligned_alloc(cache_line, cache_line * static_cast<std::uint64_t>(blocks.order)));
  if (!panel) return alloc_failed;
  const panel_operands<Layout, T> operands{x, ldx, y, ldy, alpha};
  if (blocks.rows != nullptr) {
    row_solver<Side, Diagonal, Layout, T>(blocks, operands, panel.get()).solve(count);
  } else {
    const block_solver<Side, Diagonal, Layout, T> solver(blocks, operands, panel.get());
    for_each_panel<T>(0, count, [&](auto w, std::int32_t j) { solver.template solve<w()>(j); });
  }
  return success;
}

#define NEVRAD_INSTANTIATE_KIND(T, side, kind, order)                                \
  template status sm_panels<triangle::side, diagonal::kind, dense_layout::order, T>( \
      const sm_blocks<T>&, const T*, std::int32_t, std::int32_t, T*, std::int32_t, T);
#define NEVRAD_INSTANTIATE(letter, T)                     \
  NEVRAD_INSTANTIATE_KIND(T, upper, stored, column_major) \
  NEVRAD_INSTANTIATE_KIND(T, upper, unit, column_major)   \
  NEVRAD_INSTANTIATE_KIND(T, lower, stored, column_major) \
  NEVRAD_INSTANTIATE_KIND(T, lower, unit, column_major)   \
  NEVRAD_INSTANTIATE_KIND(T, upper, stored, row_major)    \
  NEVRAD_INSTANTIATE_KIND(T, upper, unit, row_major)      \
  NEVRAD_INSTANTIATE_KIND(T, lower, stored, row_major)    \
  NEVRAD_INSTANTIATE_KIND(T, lower, unit, row_major)
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE
#undef NEVRAD_INSTANTIATE_KIND

}  // namespace nevrad
