#include "sm/panels.h"

#include "arith/panel_moves.h"
#include "arith/stream.h"
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

// Rows in use, one after another in a ring of `size`. Those from index `start` on stand first, in a
// lower triangle up to the newest one, in an upper one `size` of them; the others are older.
template <triangle Side, int W, class T>
class turning_rows {
 public:
  turning_rows(T* panel, std::int64_t start, std::int64_t size)
      : panel_(panel), split_(start), size_(size) {
    if constexpr (Side == triangle::upper) split_ += size;
  }

  // Rows of indices below `split` stand in one part of the ring, the others in the other.
  std::int64_t split() const { return split_; }
  NEVRAD_INLINE lanes<T, W> below(std::int64_t index) const {
    return load<W>(panel_ + (index - split_ + size_) * W);
  }
  NEVRAD_INLINE lanes<T, W> above(std::int64_t index) const {
    return load<W>(panel_ + (index - split_) * W);
  }
  NEVRAD_INLINE T* at(std::int64_t index) const {
    const std::int64_t place = scalar(index - split_);
    const std::int64_t turned = scalar(place + size_);
    return panel_ + (place < 0 ? turned : place) * W;
  }
  NEVRAD_INLINE lanes<T, W> operator()(std::int64_t index) const { return load<W>(at(index)); }

  // Goes round, where the row of this index, or a turn's first one, finds the ring full.
  NEVRAD_INLINE void make_room(std::int64_t index) {
    if constexpr (Side == triangle::lower) {
      if (index == split_ + size_) split_ += size_;
    } else {
      if (index < split_ - size_) split_ -= size_;
    }
  }
  std::int64_t start() const { return Side == triangle::lower ? split_ : split_ - size_; }

 private:
  T* panel_;
  std::int64_t split_;
  std::int64_t size_;
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

// A triangle that has stayed in its matrix. The solved rows that a row can reach are kept in a
// ring, for columns, which are turned into rows some at a time, and for rows that go past the
// caches to y. Other rows stand in y alone.
template <triangle Side, diagonal Diagonal, dense_layout Layout, class T>
class row_solver {
 public:
  row_solver(const sm_blocks<T>& blocks, const panel_operands<Layout, T>& operands, T* panel)
      : rows_(blocks),
        order_(blocks.order),
        reach_(blocks.reach),
        operands_(operands),
        panel_(panel) {}

  void solve(std::int32_t count) const {
    if constexpr (Layout == dense_layout::row_major) {
      if constexpr (has_streaming_stores) {
        if (may_stream_rows(count)) {
          solve_rows<true>(count);
          finish_streaming();
          return;
        }
      }
      solve_rows<false>(count);
    } else {
      if constexpr (has_streaming_stores) {
        if (may_stream_columns(count)) {
          solve_columns<true>(count);
          finish_streaming();
          return;
        }
      }
      solve_columns<false>(count);
    }
  }

 private:
  static constexpr int widest = static_cast<int>(cache_line / sizeof(T));
  static constexpr bool lower = Side == triangle::lower;
  // A cache line of a column.
  static constexpr std::int32_t rows_at_once = rows_of_line<T>;
  // How far ahead the dense operands are asked for: rows of row-major ones, else lines of a column.
  // Halves of rows and columns side by side are more than hardware follows.
  static constexpr int rows_ahead = lower ? 8 : -8;
  static constexpr int x_bytes_ahead = (lower ? 8 : -8) * static_cast<int>(cache_line);
  static constexpr int y_bytes_ahead = x_bytes_ahead / 2;
  // Less is likely to be in cache before, or wanted there after the call. Lines of columns cost
  // more than those of rows, which come one after another.
  static constexpr std::int64_t streamed_bytes =
      Layout == dense_layout::row_major ? 2 << 20 : 1 << 20;

  std::int32_t row_at(std::int32_t step) const { return lower ? step : order_ - 1 - step; }

  // Whether y is large, its chunks of rows fill lines, or follow each other without a gap, and the
  // ring has room in the panel.
  bool may_stream_rows(std::int32_t count) const {
    const std::uint64_t size = sizeof(T) * static_cast<std::uint64_t>(count);
    const std::uint64_t across = sizeof(T) * static_cast<std::uint64_t>(operands_.ldy);
    const auto start = reinterpret_cast<std::uintptr_t>(operands_.y);
    const bool lines = ((start | across | size) & (cache_line - 1)) == 0;
    const bool no_gaps = size == across && ((start | size) & 15) == 0 && count % 4 == 0;
    return (lines || no_gaps) && is_large(count) && ring_fits(count);
  }

  // Whether y is large, and lines of all columns begin in the same rows.
  bool may_stream_columns(std::int32_t count) const {
    const std::uint64_t across = sizeof(T) * static_cast<std::uint64_t>(operands_.ldy);
    const auto start = reinterpret_cast<std::uintptr_t>(operands_.y);
    return across % cache_line == 0 && start % sizeof(T) == 0 && is_large(count);
  }

  bool is_large(std::int32_t count) const {
    return std::int64_t{sizeof(T)} * count * order_ >= streamed_bytes;
  }

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

  // All columns of row-major operands. A row waits for the one before it: several chunks of a row
  // do so together, a single one hands the row on.
  template <bool Streamed>
  void solve_rows(std::int32_t count) const {
    int chunks = 0;
    for_each_chunk(count, [&](auto, std::int32_t) { ++chunks; });
    const std::int32_t at_once = chunks == 1 ? order_ : 1;
    const std::int64_t size = rows_of_ring();
    const std::int64_t base = rows_.base();
    turning_rows<Side, 1, T> ring{panel_, lower ? base : base + order_ - size, size};
    for (std::int32_t step = 0; step < order_; step += at_once) {
      if constexpr (Streamed) ring.make_room(row_at(step) + base);
      for_each_chunk(count, [&](auto w, std::int32_t j) {
        solve_chunk<Streamed && (w() > 1), w()>(step, step + at_once, j, j, ring.start());
      });
    }
  }

  // Steps `from` to `to` - 1 for W columns, the first of which begins at x_at in x and y_at in y; a
  // column of a column-major matrix is taken for a row-major matrix.
  template <bool Streamed, int W>
  void solve_chunk(std::int32_t from,
                   std::int32_t to,
                   std::int64_t x_at,
                   std::int64_t y_at,
                   std::int64_t ring_start = 0) const {
    constexpr bool by_rows = Layout == dense_layout::row_major;
    const std::int64_t ldx = by_rows ? operands_.ldx : 1;
    const std::int64_t ldy = by_rows ? operands_.ldy : 1;
    const triangle_rows<Side, T> matrix = rows_;  // a copy: see solve_in_ring
    const T* const x = operands_.x + x_at;
    T* const y = operands_.y + y_at;
    const std::int32_t base = matrix.base();
    auto solution = [&] {
      if constexpr (Streamed) {
        return turning_rows<Side, W, T>(panel_ + y_at * rows_of_ring(), ring_start, rows_of_ring());
      } else {
        return strided_rows<W, T>{y - base * ldy, ldy};
      }
    }();
    const lanes<T, W> factor = broadcast<W>(to_lane(operands_.alpha));
    lanes<T, W> newest = zero_lanes<T, W>();
    if (from > 0) newest = solution(row_at(from - 1) + base);
    for (std::int32_t step = from; step < to; ++step) {
      const std::int64_t i = row_at(step);
      if constexpr (Streamed) solution.make_room(i + base);
      if constexpr (!fixed_hints && W >= widest) {
        for (int c = 0; c < W; c += widest) {
          prefetch_element(x, (i + rows_ahead) * ldx + c);
          if constexpr (!Streamed) prefetch_element(y, (i + rows_ahead) * ldy + c);
        }
      }
      const lanes<T, W> row = multiply_fused(factor, load<W>(x + i * ldx));
      const auto r = static_cast<std::int32_t>(i);
      newest = matrix.template solve<Diagonal>(r, matrix.own_bound(r), row, solution, &newest);
      if constexpr (Streamed) {
        store(solution.at(i + base), newest);
        store_streaming(y + i * ldy, newest);
      } else {
        store(y + i * ldy, newest);
      }
    }
  }

  // The address may lie outside the matrix.
  NEVRAD_INLINE static void prefetch_element(const T* from, std::int64_t element, int more = 0) {
    prefetch<cache::level1>(from, element * static_cast<std::int64_t>(sizeof(T)) + more);
  }

  // All columns of column-major operands. Two panels at once save loads of the entries, and are
  // more chains of sums for cores to work on; but lines of y that are fetched would be too many
  // then.
  template <bool Streamed>
  void solve_columns(std::int32_t count) const {
    constexpr int wide = 2 * widest;
    std::int32_t done = 0;
    if constexpr (Streamed || !has_streaming_stores) {
      if (ring_fits(wide)) {
        for (; count - done >= wide; done += wide) solve_in_ring<Streamed, wide>(done);
      }
    }
    for_each_panel<T>(done, count, [=, this](auto w, std::int32_t j) {
      if constexpr (w() == 1) {
        solve_chunk<false, 1>(0, order_, operands_.element(0, j, operands_.ldx),
                              operands_.element(0, j, operands_.ldy));
      } else {
        solve_in_ring<Streamed, w()>(j);
      }
    });
  }

  // Those that a turn may use and its own, by whole turns.
  std::int64_t rows_of_ring() const {
    return (std::int64_t{reach_} + 2 * rows_at_once - 1) & -std::int64_t{rows_at_once};
  }
  bool ring_fits(std::int32_t width) const {
    return rows_of_ring() * width <= std::int64_t{order_} * widest;
  }

  // Columns j to j + W - 1 take turns: a cache line of each of them becomes rows of the ring, which
  // are solved there, and go back.
  template <bool Streamed, int W>
  void solve_in_ring(std::int32_t j) const {
    const auto& o = operands_;
    // Copies of what the loop uses: the compiler has to take members for changed by every store.
    const triangle_rows<Side, T> matrix = rows_;
    const times_elements<T> scaled{o.alpha};
    const std::int64_t ldx = o.ldx;
    const std::int64_t ldy = o.ldy;
    const std::int32_t order = order_;
    const T* const x = o.x + o.element(0, j, o.ldx);
    T* const y = o.y + o.element(0, j, o.ldy);
    const std::int32_t base = matrix.base();
    const std::int32_t before = rows_before_line(y);
    turning_rows<Side, W, T> solution = rows_in_use<W>(before);
    lanes<T, W> newest = zero_lanes<T, W>();
    std::int32_t next = lower ? 0 : order;
    while (lower ? next < order : next > 0) {
      // Rows of one line and one block.
      const std::int32_t own = matrix.own_bound(lower ? next : next - 1);
      const std::int32_t first =
          lower ? next : largest(0, line_of(next - 1, before), own - base - sm_block_size);
      const std::int32_t last = lower ? -largest(-order, -line_of(next, before) - rows_at_once,
                                                 base - own - sm_block_size)
                                      : next;
      const std::int32_t rows = last - first;
      solution.make_room(first + base);
      T* const part = solution.at(first + base);
      if (rows == rows_at_once) {
        load_panel_lines<W>(part, x + first, ldx, scaled);
      } else {
        load_panel_columns<W>(part, x + first, ldx, rows, scaled);
      }
      for (std::int32_t step = 0; step < rows; ++step) {
        const std::int32_t r = lower ? step : rows - 1 - step;
        if constexpr (!fixed_hints) {
          if (W >= rows_at_once || step < W) {
            prefetch_columns<W>(x + first + step * ldx, ldx, x_bytes_ahead);
            if constexpr (!Streamed) {
              prefetch_columns<W>(y + first + step * ldy, ldy, y_bytes_ahead);
            }
          }
        }
        T* const at = part + r * W;
        newest = matrix.template solve<Diagonal>(first + r, own, load<W>(at), solution, &newest);
        store(at, newest);
      }
      if (rows == rows_at_once) {
        store_panel_lines<Streamed, W>(part, y + first, ldy);
      } else {
        store_panel_columns<W>(part, y + first, ldy, rows);
      }
      next = lower ? last : first;
    }
  }

  // Before the first turn. Turns fill the ring without a gap, so that none is cut by its end: the
  // first one stands where it would if it had all its rows. Where no ring fits, every row has its
  // own place.
  template <int W>
  turning_rows<Side, W, T> rows_in_use(std::int32_t before) const {
    const std::int32_t base = rows_.base();
    if (!ring_fits(W)) return {panel_, base, order_};
    const std::int64_t size = rows_of_ring();
    if constexpr (lower) return {panel_, base + line_of(0, before), size};
    return {panel_, base + line_of(order_ - 1, before) + rows_at_once - size, size};
  }

  static std::int32_t largest(std::int32_t a, std::int32_t b, std::int32_t c) {
    const std::int32_t larger = a > b ? a : b;
    return larger > c ? larger : c;
  }

  // The row in which the line of a column begins that holds row i, `before` rows standing in front
  // of the first whole line.
  static std::int32_t line_of(std::int32_t i, std::int32_t before) {
    return ((i - before) & -rows_at_once) + before;
  }

  // How many rows stand in front of the first line that begins in a column.
  static std::int32_t rows_before_line(const T* y) {
    const auto at = reinterpret_cast<std::uintptr_t>(y);
    if (at % sizeof(T) != 0) return 0;
    return static_cast<std::int32_t>((std::uintptr_t{0} - at) % cache_line / sizeof(T));
  }

  // Of every eighth column, or as many as a line has rows: columns take turns, a row's work apart.
  // Asked for at once, their lines would wait for each other.
  template <int W>
  NEVRAD_INLINE static void prefetch_columns(const T* from, std::int64_t ld, int bytes) {
    for (int c = 0; c < W; c += rows_at_once) prefetch_element(from, c * ld, bytes);
  }

  triangle_rows<Side, T> rows_;
  std::int32_t order_;
  std::int32_t reach_;
  panel_operands<Layout, T> operands_;
  T* panel_;
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

template <class T>
scratch<T> sm_panel(const sm_blocks<T>& blocks) {
  return scratch<T>(
      rounded_aligned_alloc(cache_line, cache_line * static_cast<std::uint64_t>(blocks.order)));
}

template <triangle Side, diagonal Diagonal, dense_layout Layout, class T>
void sm_panels(const sm_blocks<T>& blocks,
               T* panel,
               const T* x,
               std::int32_t count,
               std::int32_t ldx,
               T* y,
               std::int32_t ldy,
               T alpha) {
  const panel_operands<Layout, T> operands{x, ldx, y, ldy, alpha};
  if (blocks.rows != nullptr) {
    row_solver<Side, Diagonal, Layout, T>(blocks, operands, panel).solve(count);
  } else {
    const block_solver<Side, Diagonal, Layout, T> solver(blocks, operands, panel);
    for_each_panel<T>(0, count, [&](auto w, std::int32_t j) { solver.template solve<w()>(j); });
  }
}

#define NEVRAD_INSTANTIATE_KIND(T, side, kind, order)                              \
  template void sm_panels<triangle::side, diagonal::kind, dense_layout::order, T>( \
      const sm_blocks<T>&, T*, const T*, std::int32_t, std::int32_t, T*, std::int32_t, T);
#define NEVRAD_INSTANTIATE(letter, T)                     \
  template scratch<T> sm_panel(const sm_blocks<T>&);      \
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
