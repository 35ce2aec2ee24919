// C := alpha * A * B + beta * C with column-major B and C, for matrices whose rows mostly move on
// as those of grids do. Real elements.
//
// With four neighbouring rows as lanes, the elements of B that an entry meets in a column are
// neighbours, and so are those of C: nothing is packed, and nothing turned over but the values of
// the entries. An element's sum and its order are those of row_parts.h.
#pragma once

#include "arith/tile.h"
#include "matrix/line_shapes.h"
#include "matrix/sorted_rows.h"
#include "mm/block_updates.h"
#include "mm/operands.h"
#include "mm/ragged_blocks.h"
#include "mm/row_parts.h"

namespace nevrad {

// Whether most rows are in ascending blocks of four that move on. Judged by some blocks; where the
// guess turns out wrong, only time is lost: other rows are gathered out of the columns of B, which
// takes several times as long as with B packed.
template <class T>
bool rows_move_on(const compressed_matrix<T>& a) {
  constexpr std::int32_t samples = 24;
  constexpr std::int32_t enough = 32;
  constexpr std::int32_t looked_at = 2 * lines_a_block;
  if (a.rows < looked_at) return false;
  if (meets_distant_rows(a)) return false;
  const auto moves_on = [&](std::int32_t i) {
    line_shape shape;
    return may_have_shape(a, i) && learn_line_shape(a, i, a.base, shape);
  };
  std::int32_t found = 0;
  for (std::int32_t s = 0; s < samples; ++s) {
    const std::int64_t last = a.rows - looked_at;
    const auto r = static_cast<std::int32_t>(last * s / (samples - 1));
    found += (moves_on(r) ? 1 : 0) + (moves_on(r + lines_a_block) ? 1 : 0);
  }
  return found >= enough;
}

// Whether columns begin at the same place of a page: then they push each other out of the first
// level of cache.
template <class T>
bool columns_collide(std::int32_t ld) {
  constexpr std::int64_t page = 4096;
  const std::int64_t beyond = std::int64_t{ld} * std::int64_t{sizeof(T)} % page;
  return beyond < std::int64_t{cache_line} || beyond > page - std::int64_t{cache_line};
}

// Whether a product is faster so than with B packed.
template <class T>
bool takes_rows_as_lanes(const compressed_matrix<T>& a, const mm_operands<T>& o) {
  if constexpr (is_complex<T>) return false;
  const bool are_many = o.n >= 8;  // columns
  if (are_many && (columns_collide<T>(o.ldb) || columns_collide<T>(o.ldc))) return false;
  if (stay_in_cache<T>(a.cols, o.n)) {
    // There the arithmetic bounds the product. Four elements may fill half of a register only, and
    // where packing is spread over many entries, the rows at the ends of lines take as long, unless
    // many columns share what is found out about them.
    constexpr bool half_filled = is_single<T> && !fixed_hints;
    const bool is_packing_cheap =
        o.n >= 16 && o.n < 24 && csr_entries(a) >= std::int64_t{16} * a.rows;
    if ((half_filled && are_many) || is_packing_cheap) return false;
  }
  return rows_move_on(a);
}

// Asks for entries that are used later, as many with each block as last for all of them: asked for
// at once they would hold up the loads of what is used now.
template <class T>
class entries_ahead {
 public:
  // The `entries` from here on, within `steps` steps.
  void begin(const T* values,
             const std::int32_t* indices,
             std::int64_t entries,
             std::int64_t steps) {
    values_ = values;
    indices_ = indices;
    left_ = (entries + index_line - 1) / index_line;
    lines_a_step_ = steps == 0 ? 0 : (left_ + steps - 1) / steps;
  }

  // To level 2: with the lines of many columns they would push each other out of level 1.
  NEVRAD_INLINE void ask(std::int64_t steps) {
    if constexpr (fixed_hints) return;
    std::int64_t lines = std::min(lines_a_step_ * steps, left_);
    left_ -= lines;
    for (; lines > 0; --lines) {
      for (std::int64_t k = 0; k < index_line; k += value_line) {
        prefetch<cache::level2>(values_ + k, 0);
      }
      prefetch<cache::level2>(indices_, 0);
      values_ += index_line;
      indices_ += index_line;
    }
  }

 private:
  static constexpr std::int64_t value_line = cache_line / sizeof(T);
  static constexpr std::int64_t index_line = cache_line / sizeof(std::int32_t);

  const T* values_ = nullptr;
  const std::int32_t* indices_ = nullptr;
  std::int64_t left_ = 0;  // lines of indices, and the values that belong to them
  std::int64_t lines_a_step_ = 0;
};

// The rows go a segment at a time, all columns of one before those of the next: blocks of one shape
// as long as there is room for their values, ragged ones between them, and rows that are in none.
template <class T>
class moving_columns {
 public:
  moving_columns(const rows_in_order<T>& rows, const mm_operands<T>& o)
      : rows_(rows),
        a_(rows.shape()),
        o_(o),
        bounds_(a_.cols),
        any_ragged_(o.n >= few_columns || !stay_in_cache<T>(a_.cols, o.n)),
        alpha_(broadcast<4>(to_lane(o.alpha))),
        beta_(broadcast<4>(to_lane(o.beta))) {}

  // Rows lo to hi - 1.
  void multiply(std::int32_t lo, std::int32_t hi) {
    for (std::int32_t i = lo; i < hi;) {
      i = take_segment(i, hi);
      look_ahead(i, hi);
      std::int32_t j = 0;
      for (; o_.n - j >= 8; j += 8) multiply_group<8>(j);
      if (o_.n - j >= 4) {
        multiply_group<4>(j);
        j += 4;
      }
      for (; j < o_.n; ++j) multiply_column(j);
    }
  }

 private:
  // Of values. Where several groups of columns pass over a segment it is large, as neighbouring
  // lines of a grid meet the same elements of B: one group's are in level 1, those of all are not.
  // Else it leaves level 1 to B and C.
  static constexpr std::int32_t room = 8192;
  static constexpr std::int32_t little_room = 512;
  static constexpr std::int32_t few_blocks = 16;
  static constexpr std::int32_t few_columns = 16;
  static constexpr std::int32_t most_pieces = 64;

  static constexpr int columns_ahead = 512;          // bytes, to level 2
  static constexpr std::int64_t few_ahead = 512;     // entries, where segments are short
  static constexpr std::int64_t level2 = 512 << 10;  // bytes of it that hold what was met before

  // Blocks one behind the other, or a row.
  struct piece {
    std::int32_t row;
    std::int32_t blocks;  // none: a row
    std::int32_t done;    // rows of one more block that are among those before; none: no such block
    bool was_sorted;      // a row that is read from sorted_
    const T* values;      // of blocks
    const ragged_block<T>* ragged;  // what the one block is; null: blocks of the shape
  };

  // Makes this segment's blocks ask for the entries of the next one, which begins with row i.
  void look_ahead(std::int32_t i, std::int32_t hi) {
    if constexpr (!fixed_hints) {
      ahead_ = {};
      if (i >= hi) return;
      std::int64_t blocks = 0;
      for (std::int32_t t = 0; t < pieces_; ++t) blocks += piece_[t].blocks;
      const std::int64_t passes = o_.n / 8 + (o_.n % 8) / 4 + o_.n % 4;
      const std::int64_t first = a_.begin[i] - a_.base + (o_.n < few_columns ? few_ahead : 0);
      ahead_.begin(a_.values + first, a_.indices + first, filled_, blocks * passes);
    }
  }

  // The places at which rows of B are met that are not in level 2: no place met them before, or
  // one so long ago that others have taken their place.
  void find_leads() {
    leads_ = 0;
    const std::int64_t of_row = 2 * std::int64_t{sizeof(T)} * o_.n +
                                std::int64_t{sizeof(T) + sizeof(std::int32_t)} * shape_.length;
    for (std::int32_t k = 0; k + 1 < shape_.length && o_.n >= few_columns; ++k) {
      const std::int64_t rows = shape_.places[k + 1] - shape_.places[k];
      if (rows * of_row > level2) lead_[leads_++] = shape_.places[k];
    }
    lead_[leads_++] = shape_.places[shape_.length - 1];
  }

  // Answers the row behind it.
  std::int32_t take_segment(std::int32_t i, std::int32_t hi) {
    pieces_ = 0;
    filled_ = 0;
    bool any_blocks = false;
    while (i < hi && pieces_ < most_pieces && filled_ <= most_filled()) {
      if (i >= unshaped_ && has_shape(i, hi)) {
        if (i + lines_a_block > parts_.row_stop) {
          if (any_blocks) break;
          parts_.find(shape_.places, shape_.length, bounds_, i);
          find_leads();
        }
        if (i + lines_a_block <= parts_.row_stop) {
          i = take_blocks(i, hi);
          any_blocks = true;
          continue;
        }
        unshaped_ = parts_.row_stop;
      }
      const bool are_four = i + lines_a_block <= hi;
      ragged_block<T>* const ragged = are_four ? ragged_.find(a_, i) : nullptr;
      if (ragged != nullptr && ragged->is_inside(a_, i)) {
        if (i + lines_a_block > ragged->parts.row_stop) {
          if (pieces_ > 0) break;
          ragged->find_parts(bounds_, i);
        }
        if (i + lines_a_block <= ragged->parts.row_stop) {
          if (filled_ + lines_a_block * ragged->length > room) break;
          take_ragged(*ragged, i);
          i += lines_a_block;
          any_blocks = true;
          continue;
        }
      }
      if (may_be_learnt(i, hi)) {
        if (any_blocks) break;
        if (learn_line_shape(a_, i, a_.base, shape_)) {
          parts_.row_stop = 0;
          continue;
        }
      }
      if (ragged == nullptr && may_be_ragged(i, hi)) {
        if (pieces_ > 0) break;
        if (ragged_.learn(a_, i) != nullptr) continue;
      }
      take_row(i);
      ++i;
    }
    return i;
  }

  // Whether a block begins with row i.
  bool has_shape(std::int32_t i, std::int32_t hi) const {
    return shape_.length > 0 && a_.end[i] - a_.begin[i] == shape_.length &&
           i + lines_a_block <= hi &&
           shaped_blocks<T>(shape_, a_, i, a_.base).has_shape(i, i + a_.base);
  }

  std::int32_t most_filled() const {
    const std::int32_t block = lines_a_block * shape_.length;
    return (o_.n < few_columns ? std::min(few_blocks * block, little_room) : room) - block;
  }

  bool may_be_learnt(std::int32_t i, std::int32_t hi) const {
    return i + lines_a_block <= hi && i >= unshaped_ && i >= shape_.next_look &&
           may_have_shape(a_, i) && is_line_block(a_, i, a_.base);
  }

  bool may_be_ragged(std::int32_t i, std::int32_t hi) const {
    return any_ragged_ && i + lines_a_block <= hi && shape_.length > 0 && ragged_.may_be_learnt();
  }

  void take_ragged(const ragged_block<T>& block, std::int32_t i) {
    T* const values = values_ + filled_;
    const std::int32_t first = a_.begin[i] - a_.base;
    hint_entries(a_.values + first, a_.indices + first);
    block.spread(a_, i, values);
    filled_ += lines_a_block * block.length;
    piece_[pieces_++] = {i, 1, 0, false, values, &block};
  }

  // Takes the blocks from row i on that have the shape and the parts, one at least, as one piece.
  // Answers the row behind them.
  std::int32_t take_blocks(std::int32_t i, std::int32_t hi) {
    const auto stop = static_cast<std::int32_t>(std::min<std::int64_t>(hi, parts_.row_stop));
    const std::int64_t length = shape_.length;
    const std::int32_t most = most_filled();
    piece& taken = piece_[pieces_];
    taken = {i, 0, 0, false, values_ + filled_, nullptr};
    shaped_blocks<T> blocks(shape_, a_, i, a_.base);
    do {
      hint_entries(blocks.values, blocks.indices);
      turn_over(blocks.values);
      blocks.next();
      ++taken.blocks;
      i += lines_a_block;
    } while (i + lines_a_block <= stop && filled_ <= most && blocks.has_shape(i, i + a_.base));
    ++pieces_;
    // Rows left over, if they have the shape, are taken with the last ones before them.
    if (filled_ > most) return i;
    if (i + lines_a_block <= stop && (may_be_ragged(i, hi) || ragged_.find(a_, i) != nullptr)) {
      return i;
    }
    for (std::int32_t rest = lines_a_block - 1; rest > 0; --rest) {
      const std::int32_t first = i + rest - lines_a_block;
      if (i + rest > stop || a_.end[i + rest - 1] - a_.end[i - 1] != rest * length) continue;
      const shaped_blocks<T> block(shape_, a_, first, a_.base);
      if (!block.has_shape(first, first + a_.base)) continue;
      turn_over(block.values);
      taken.done = lines_a_block - rest;
      return i + rest;
    }
    return i;
  }

  NEVRAD_INLINE void turn_over(const T* values) {
    const std::int64_t length = shape_.length;
    T* const to = values_ + filled_;
    for (std::int64_t k = 0; k < length; k += tile_size) {
      // The last tile may overlap the one before.
      const std::int64_t at = std::min(k, length - tile_size);
      store_tile(to + at * tile_size, tile_size, transpose(load_tile(values + at, length)));
    }
    filled_ += lines_a_block * shape_.length;
  }

  NEVRAD_INLINE void hint_entries(const T* values, const std::int32_t* indices) const {
    if constexpr (fixed_hints) {
      const std::int64_t entries = std::int64_t{lines_a_block} * shape_.length;
      constexpr panel_hints hints = default_panel_hints<T>;
      for (std::int64_t k = panel_group; k <= entries; k += panel_group) {
        prefetch<cache::level1>(indices + k, hints.indices_near);
        prefetch<cache::level1>(values + k, hints.values_near);
        prefetch<cache::level2>(indices + k, hints.indices_far);
        prefetch<cache::level2>(values + k, hints.values_far);
      }
    }
  }

  void take_row(std::int32_t i) {
    const bool in_order = ascends(i);
    if (!in_order) sorted_ = rows_.take(i, i + 1);
    piece_[pieces_++] = {i, 0, 0, !in_order, nullptr, nullptr};
  }

  bool ascends(std::int32_t i) const {
    const std::int32_t* const indices = a_.indices - a_.base;
    for (std::int64_t p = a_.begin[i] + 1; p < a_.end[i]; ++p) {
      if (indices[p] < indices[p - 1]) return false;
    }
    return true;
  }

  block_form<T> form_of(const piece& taken) const {
    if (taken.ragged == nullptr) return {shape_.places, &parts_, nullptr};
    return {taken.ragged->places, &taken.ragged->parts, taken.ragged->kept};
  }

  row_entries<T> entries_of(const piece& row) const {
    return row_entries<T>(row.was_sorted ? sorted_ : a_, row.row, 1);
  }

  // The segment in columns j to j + N - 1.
  template <int N>
  void multiply_group(std::int32_t j) {
    for (std::int32_t t = 0; t < pieces_; ++t) {
      const piece& taken = piece_[t];
      const T* const b = line_at(o_.b, j, o_.ldb);
      T* const c = line_at(o_.c, j, o_.ldc) + taken.row;
      if (taken.blocks == 0) {
        multiply_row<N>(entries_of(taken), b, c);
        continue;
      }
      block_group<T> group{taken.values, b + taken.row, c, 0, o_.ldb, o_.ldc};
      const block_form<T> form = form_of(taken);
      if (taken.ragged != nullptr) {
        ahead_.ask(1);
        hint_columns<N>(group, taken.row / lines_a_block);
        update_ragged<N, gaps::left_alone>(form, group);
        continue;
      }
      for (std::int32_t block = 0; block < taken.blocks; ++block) {
        ahead_.ask(1);
        hint_columns<N>(group, taken.row / lines_a_block + block);
        update_block_group<N, gaps::left_alone>(form, group, alpha_, beta_);
        move_on(group, 1);
      }
      if (taken.done > 0) update_rest<N, gaps::left_alone>(form, group, taken.done);
    }
  }

  // A line of each column lasts for two blocks or more: in turn, those of C and those of B, at the
  // places where the shape meets rows of B first.
  template <int N>
  NEVRAD_INLINE void hint_columns(const block_group<T>& group, std::int32_t block) const {
    if constexpr (!fixed_hints) {
      if (block % 2 == 0) {
        for (int q = 0; q < N; ++q) {
          prefetch<cache::level2>(group.c + q * group.c_step, columns_ahead);
        }
      } else {
        for (std::int32_t k = 0; k < leads_; ++k) {
          const T* const lead = group.b + lead_[k];
          for (int q = 0; q < N; ++q) {
            prefetch<cache::level2>(lead + q * group.b_step, columns_ahead);
          }
        }
      }
    }
  }

  // In column j, which is one of the last, four blocks at once.
  void multiply_column(std::int32_t j) {
    const std::int64_t block_values = std::int64_t{lines_a_block} * shape_.length;
    for (std::int32_t t = 0; t < pieces_; ++t) {
      const piece& taken = piece_[t];
      const T* const b = line_at(o_.b, j, o_.ldb);
      T* const c = line_at(o_.c, j, o_.ldc) + taken.row;
      if (taken.blocks == 0) {
        const row_entries<T> row = entries_of(taken);
        const auto x = [at = b - row.base](std::int32_t index) { return at[index]; };
        update_column(row, bounds_, x, c, 1, o_.alpha, o_.beta);
        continue;
      }
      block_group<T> group{taken.values, b + taken.row, c,
                           block_values, lines_a_block, lines_a_block};
      const block_form<T> form = form_of(taken);
      if (taken.ragged != nullptr) {
        ahead_.ask(1);
        update_ragged<1, gaps::add_zero>(form, group);
        continue;
      }
      std::int32_t left = taken.blocks;
      for (; left >= 4; left -= 4) {
        ahead_.ask(4);
        update_block_group<4, gaps::add_zero>(form, group, alpha_, beta_);
        move_on(group, 4);
      }
      for (; left > 0; --left) {
        update_block_group<1, gaps::add_zero>(form, group, alpha_, beta_);
        move_on(group, 1);
      }
      if (taken.done > 0) update_rest<1, gaps::add_zero>(form, group, taken.done);
    }
  }

  NEVRAD_INLINE void move_on(block_group<T>& group, std::int64_t blocks) const {
    group.values += blocks * lines_a_block * shape_.length;
    group.b += blocks * lines_a_block;
    group.c += blocks * lines_a_block;
  }

  template <int N, gaps Gaps>
  [[gnu::noinline]] void update_ragged(const block_form<T>& form,
                                       const block_group<T>& group) const {
    update_block_group<N, Gaps, row_kind::ragged>(form, group, alpha_, beta_);
  }

  // The last rows of a block, the first `done` of which lie before the group and have their result.
  template <int N, gaps Gaps>
  NEVRAD_INLINE void update_rest(const block_form<T>& form,
                                 const block_group<T>& group,
                                 std::int32_t done) {
    T block[N * lines_a_block];
    block_group<T> aside = group;
    aside.b -= done;
    aside.c = block;
    aside.c_step = lines_a_block;
    for (int q = 0; q < N; ++q) {
      store(block + q * lines_a_block, load<4>(group.c + (q * group.c_step - done)));
    }
    update_block_group<N, Gaps>(form, aside, alpha_, beta_);
    for (int q = 0; q < N; ++q) {
      for (std::int32_t r = done; r < lines_a_block; ++r) {
        group.c[q * group.c_step + r - done] = block[q * lines_a_block + r];
      }
    }
  }

  // One row in N columns.
  template <int N>
  [[gnu::noinline]] void multiply_row(const row_entries<T>& row, const T* b, T* c) const {
    const std::int64_t ldb = o_.ldb;
    const std::int64_t ldc = o_.ldc;
    const T alpha = o_.alpha;
    const T beta = o_.beta;
    for (int q = 0; q < N; ++q) c[q * ldc] *= beta;
    std::int64_t p = row.begin;
    const std::int64_t end = row.end[0];
    while (p < end) {
      const std::int32_t stop = bounds_.stop_of(row.indices[p] - row.base) + row.base;
      T sum[N];
      for (int q = 0; q < N; ++q) sum[q] = zero<T>();
      for_each_of_part(row.indices, p, end, stop, [&] {
        const T* const at = b + (row.indices[p] - row.base);
        for (int q = 0; q < N; ++q) sum[q] = fma(row.values[p], at[q * ldb], sum[q]);
        ++p;
      });
      for (int q = 0; q < N; ++q) c[q * ldc] = fma(sum[q], alpha, c[q * ldc]);
    }
  }

  const rows_in_order<T> rows_;
  const compressed_matrix<T> a_;
  const mm_operands<T> o_;
  const block_bounds bounds_;
  // Whether ragged blocks are looked for. It pays within many columns or on many rows.
  const bool any_ragged_;
  const lanes<T, 4> alpha_;
  const lanes<T, 4> beta_;
  compressed_matrix<T> sorted_{};
  line_shape shape_;
  ragged_blocks<T> ragged_;
  shape_parts parts_;
  std::int64_t unshaped_ = 0;  // in rows in front of it the parts differ within a block
  std::int32_t leads_ = 0;
  std::int32_t lead_[longest_shape];
  entries_ahead<T> ahead_;
  std::int32_t pieces_ = 0;
  std::int32_t filled_ = 0;  // of values_
  piece piece_[most_pieces];
  alignas(cache_line) T values_[room];
};

}  // namespace nevrad
