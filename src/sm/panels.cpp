#include "sm/panels.h"

#include "sm/kernels.h"
#include "sm/moves.h"

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

template <triangle Side, diagonal Diagonal, dense_layout Layout, class T>
class panel_solver {
 public:
  panel_solver(const sm_blocks<T>& blocks, const panel_operands<Layout, T>& operands, T* panel)
      : blocks_(blocks), operands_(operands), panel_(panel) {}

  // Solves columns j to j + W - 1.
  template <int W>
  void solve(std::int32_t j) const {
    if (blocks_.rows != nullptr) {
      solve_by_rows<W>(j);
    } else {
      solve_by_blocks<W>(j);
    }
  }

 private:
  // Rows that are loaded, solved and stored at once: few enough for the first level of cache, and
  // whole cache lines of a column.
  static constexpr std::int32_t rows_at_once = 32;

  template <int W>
  void solve_by_rows(std::int32_t j) const {
    for (std::int32_t b = 0; b < blocks_.count; ++b) {
      const std::int32_t cols = blocks_.records[b].cols;
      for (std::int32_t done = 0; done < cols; done += rows_at_once) {
        const std::int32_t rows = cols - done < rows_at_once ? cols - done : rows_at_once;
        const std::int32_t first = Side == triangle::lower ? done : cols - done - rows;
        load_rows<W>(b, first, first + rows, j);
        sm_solve_rows<Side, Diagonal, W>(blocks_, b, panel_, first, first + rows);
        store_rows<W>(b, first, first + rows, j);
      }
    }
  }

  template <int W>
  void solve_by_blocks(std::int32_t j) const {
    std::int32_t loaded = 0;
    for (std::int32_t b = 0; b < blocks_.count; ++b) {
      const sm_block<T>& block = blocks_.records[b];
      for (; loaded <= block.reach; ++loaded) {
        load_rows<W>(loaded, 0, blocks_.records[loaded].cols, j);
      }
      sm_solve<Side, Diagonal, W>(block, row_of<W>(b, 0));
      if (b + 1 < blocks_.count) subtract_strip<W>(b);
      store_rows<W>(b, 0, block.cols, j);
    }
  }

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
  void load_rows(std::int32_t b, std::int32_t first, std::int32_t last, std::int32_t j) const {
    const auto& o = operands_;
    const T* const at = o.x + o.element(blocks_.records[b].first + first, j, o.ldx);
    if constexpr (Layout == dense_layout::column_major) {
      sm_load_col<W>(row_of<W>(b, first), at, o.ldx, last - first, o.alpha);
    } else {
      sm_load_row<W>(row_of<W>(b, first), at, o.ldx, last - first, o.alpha);
    }
  }

  template <int W>
  void store_rows(std::int32_t b, std::int32_t first, std::int32_t last, std::int32_t j) const {
    const auto& o = operands_;
    T* const at = o.y + o.element(blocks_.records[b].first + first, j, o.ldy);
    if constexpr (Layout == dense_layout::column_major) {
      sm_store_col<W>(row_of<W>(b, first), at, o.ldy, last - first);
    } else {
      sm_store_row<W>(row_of<W>(b, first), at, o.ldy, last - first);
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
  constexpr int widest = cache_line / sizeof(T);
  const scratch<T> panel(
      rounded_aligned_alloc(cache_line, cache_line * static_cast<std::uint64_t>(blocks.order)));
  if (!panel) return alloc_failed;
  const panel_solver<Side, Diagonal, Layout, T> solver(
      blocks, panel_operands<Layout, T>{x, ldx, y, ldy, alpha}, panel.get());
  std::int32_t j = 0;
  for (; count - j >= widest; j += widest) solver.template solve<widest>(j);
  if constexpr (widest > 8) {
    if (count - j >= 8) {
      solver.template solve<8>(j);
      j += 8;
    }
  }
  if constexpr (widest > 4) {
    if (count - j >= 4) {
      solver.template solve<4>(j);
      j += 4;
    }
  }
  for (; j < count; ++j) solver.template solve<1>(j);
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
