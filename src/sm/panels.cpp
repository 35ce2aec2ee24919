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

// Where slabs stand in the scratch. A slab is loaded when the sweep first reaches it and stored as
// soon as it is solved, so no more of them are alive at once than a strip reaches across, and the
// scratch is used in turn: the panel stays in cache for matrices with a narrow profile. When all
// slabs are alive, the scratch is the panel, row by row.
template <triangle Side>
class slab_places {
 public:
  template <class T>
  explicit slab_places(const sm_blocks<T>& blocks)
      : turns_(blocks.window < blocks.count ? blocks.window : 0),
        rows_(turns_ > 0 ? turns_ * sm_block_size : blocks.order) {}

  std::int32_t rows() const { return rows_; }
  // The scratch row of the first row of block b's slab.
  template <class T>
  std::int32_t row_of(const sm_block<T>& block, std::int32_t b) const {
    if (turns_ == 0) return block.first;
    const std::int32_t turn = b % turns_ * sm_block_size;
    return Side == triangle::lower ? turn : rows_ - turn - block.cols;
  }

 private:
  std::int32_t turns_;
  std::int32_t rows_;
};

template <triangle Side, diagonal Diagonal, dense_layout Layout, class T>
class panel_solver {
 public:
  panel_solver(const sm_blocks<T>& blocks, const panel_operands<Layout, T>& operands, T* panel)
      : blocks_(blocks), operands_(operands), panel_(panel), places_(blocks) {}

  // Solves columns j to j + W - 1.
  template <int W>
  void solve(std::int32_t j) const {
    std::int32_t loaded = 0;
    for (std::int32_t b = 0; b < blocks_.count; ++b) {
      const sm_block<T>& block = blocks_.records[b];
      for (; loaded <= block.reach; ++loaded) load_slab<W>(loaded, j);
      sm_solve<Side, Diagonal, W>(block, slab_of<W>(b));
      if (b + 1 < blocks_.count) subtract_strip<W>(b);
      store_slab<W>(b, j);
    }
  }

 private:
  template <int W>
  T* slab_of(std::int32_t b) const {
    return panel_ + static_cast<std::int64_t>(places_.row_of(blocks_.records[b], b)) * W;
  }

  template <int W>
  void subtract_strip(std::int32_t b) const {
    const sm_block<T>& block = blocks_.records[b];
    if (block.strip != nullptr) {
      sm_strip_listed<Side, W>(block, panel_, places_.row_of(block, b), places_.rows());
      return;
    }
    for (std::int32_t t = b + 1; t < blocks_.count; ++t) {
      const sm_block<T>& target = blocks_.records[t];
      const std::int32_t row = target.first - block.first;
      sm_strip<W>(block, slab_of<W>(b), slab_of<W>(t), row, row + target.cols);
    }
  }

  template <int W>
  void load_slab(std::int32_t b, std::int32_t j) const {
    const sm_block<T>& block = blocks_.records[b];
    const auto& o = operands_;
    const T* const at = o.x + o.element(block.first, j, o.ldx);
    if constexpr (Layout == dense_layout::column_major) {
      sm_load_col<W>(slab_of<W>(b), at, o.ldx, block.cols, o.alpha);
    } else {
      sm_load_row<W>(slab_of<W>(b), at, o.ldx, block.cols, o.alpha);
    }
  }

  template <int W>
  void store_slab(std::int32_t b, std::int32_t j) const {
    const sm_block<T>& block = blocks_.records[b];
    const auto& o = operands_;
    T* const at = o.y + o.element(block.first, j, o.ldy);
    if constexpr (Layout == dense_layout::column_major) {
      sm_store_col<W>(slab_of<W>(b), at, o.ldy, block.cols);
    } else {
      sm_store_row<W>(slab_of<W>(b), at, o.ldy, block.cols);
    }
  }

  const sm_blocks<T>& blocks_;
  panel_operands<Layout, T> operands_;
  T* panel_;
  slab_places<Side> places_;
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
