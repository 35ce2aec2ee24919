#include "mm/line_products.h"

#include "frame/regions.h"
#include "mm/column_blocks.h"
#include "mm/direct_lines.h"
#include "mm/drivers.h"
#include "mm/ring_lines.h"
#include "mm/turned_columns.h"

namespace nevrad {

namespace {

// The memory that a transposed or expanded copy takes. What making it takes besides is asked for
// and given back, as when it is made: what follows may need it.
template <class T>
struct copy_room {
  scoped_matrix<T> copy;

  status take(const held_lines<T>& held, const line_survey& found, std::int32_t nnz) {
    const std::int32_t rows = held.result_rows();
    const scratch<std::int32_t> words(
        rounded_aligned_alloc(cache_line,
                              sizeof(std::int32_t) * static_cast<std::uint64_t>(words_of(held))));
    if (!words) return alloc_failed;
    scoped_matrix<T> staged;
    if (held.has_own()) {
      const auto taken = static_cast<std::int32_t>(found.off_diagonal + found.on_diagonal);
      const status made = owned_csr_alloc(rows, rows, taken, staged.out());
      if (made != success) return made;
    }
    return owned_csr_alloc(rows, held.lines.rows, nnz, copy.out());
  }

  // Two counts a row of an expansion, one of a transposition.
  static std::int64_t words_of(const held_lines<T>& held) {
    return (held.which == taken::all ? 1 : 2) * std::int64_t{held.result_rows()};
  }
};

// Entries of the matrix that the lines hold, as wide as a copy counts them.
template <class T>
std::int32_t held_entries(const held_lines<T>& held, const line_survey& found) {
  if (held.which == taken::all) return csr_entries(held.lines);
  const std::int64_t images = held.has_own() ? found.off_diagonal : 0;
  return static_cast<std::int32_t>(found.off_diagonal + found.on_diagonal + images);
}

// The lines of a triangle go to the parts of their rows by entries.
template <class T>
void multiply_direct(const held_lines<T>& held,
                     const line_survey& found,
                     const mm_operands<T>& o,
                     int budget) {
  if (budget == 1) {
    multiply_lines_direct(held, found, 0, held.result_rows(), o);
    return;
  }
  part_bounds part;
  partition_by_nnz(held.lines.end, held.lines.rows, budget, part.at, held.lines.base);
  for_each_part_on_team(budget, [&](int t) {
    multiply_lines_direct(held, found, part.at[t], part.at[t + 1], o);
  });
}

// In the rounding of the sweeps: multiply(store) with the room for panels of B. Statuses and the
// state of C as those of mm_cols_serial and mm_rows_serial: row-major, a matrix of a single block
// takes beta on the way.
template <class T, class Multiply>
status multiply_swept(const held_lines<T>& held,
                      dense_layout layout,
                      const mm_operands<T>& o,
                      std::int32_t nnz,
                      const Multiply& multiply) {
  const std::int32_t rows = held.result_rows();
  const std::int32_t cols = held.lines.rows;
  const bool in_rows = layout == dense_layout::row_major;
  const bool one_block = cols <= mm_block_cols;
  const bool chunked = in_rows && one_block;
  const auto scaled = [&](status result) {
    if (in_rows) {
      dense_scale_lines(rows, o.n, o.beta, o.c, o.ldc);
    } else {
      dense_scale_lines(o.n, rows, o.beta, o.c, o.ldc);
    }
    return result;
  };
  const scratch<T> store = panel_store<T>(cols, chunked ? mm_chunk<T> : o.n);
  if (!store) return chunked ? alloc_failed : scaled(alloc_failed);
  if (!one_block) {
    if (nnz == 0) return scaled(success);
    const std::int32_t blocks = block_count(cols, mm_block_cols);
    if (!probe_column_blocks<T>(rows, nnz, blocks)) return scaled(alloc_failed);
  }
  multiply(store.get());
  return success;
}

// Whether columns of a dense matrix meet in the same few sets of a cache.
template <class T>
bool columns_meet(std::int32_t ld) {
  constexpr std::int64_t one_way = 4096;
  return std::int64_t{ld} * std::int64_t{sizeof(T)} % one_way == 0;
}

// Whether a product, column-major, goes by diagonals, by cases measured: where those of a lower
// triangle are many, or most of its lines differ, and B and C stay in cache, a ring takes less.
template <class T>
bool goes_by_diagonals(const held_lines<T>& held,
                       const mm_operands<T>& o,
                       held_diagonals& diagonals,
                       told_runs& told) {
  constexpr std::int32_t few = 8;
  if (!held.has_own() || held.ones == diagonal::unit || o.n < panel_group) return false;
  if (columns_meet<T>(o.ldb) || columns_meet<T>(o.ldc)) return false;
  const bool lower = held.which == taken::lower;
  const bool single = o.n % panel_group != 0;
  const bool cached = stay_in_cache<T>(held.lines.rows, 2 * o.n);
  const triangle side = lower ? triangle::lower : triangle::upper;
  const std::int32_t most = lower && cached && !single ? few : held_diagonals::most;
  // Single columns go row by row where neighbours differ.
  const std::int32_t least_run = single ? 15 : 8;
  if (!find_diagonals(held.lines, side, most, least_run, diagonals, told)) return false;
  const bool are_few = cached ? o.n < 2 * mm_chunk<T> : diagonals.count <= few;
  const bool in_ring = lower && !single && !are_few;
  return !in_ring || told.are_mostly_alike();
}

// False, and nothing done, where the copy would be too small for what is needed.
template <class T>
bool multiply_by_diagonals(const held_lines<T>& held,
                           const held_diagonals& diagonals,
                           const told_runs& told,
                           const mm_operands<T>& o,
                           status* result) {
  const std::int32_t rows = held.lines.rows;
  line_survey found{true};
  found.on_diagonal = rows;
  found.off_diagonal = std::int64_t{csr_entries(held.lines)} - rows;
  const std::int32_t nnz = held_entries(held, found);
  if (nnz < turned_values<T>::elements(diagonals, rows) || nnz < 2 * std::int64_t{rows}) {
    return false;
  }
  copy_room<T> room;
  *result = room.take(held, found, nnz);
  if (*result != success) return true;
  *result = multiply_swept(held, dense_layout::column_major, o, nnz, [&](T* /*store*/) {
    const triangle side = held.which == taken::lower ? triangle::lower : triangle::upper;
    const turned_room<T> values{room.copy->values,
                                reinterpret_cast<std::uint32_t*>(room.copy->indices)};
    turned_columns<T>(diagonals, told, held.lines, side, o, values).multiply();
  });
  return true;
}

// Apart, for what it keeps on the stack.
template <class T>
[[gnu::noinline]] bool try_by_diagonals(const held_lines<T>& held,
                                        const mm_operands<T>& o,
                                        status* result) {
  held_diagonals diagonals;
  told_runs told;
  return goes_by_diagonals(held, o, diagonals, told) &&
         multiply_by_diagonals(held, diagonals, told, o, result);
}

// Whether a ring is worth it, by cases measured. The copy costs once, and by entry. A ring costs by
// chunk of columns: a row some entries, more of them where lines reach over the width of a block
// and rows get their sums in several parts. Of a lower triangle that holds its diagonal an entry
// costs what it does in the general product.
template <class T>
bool ring_pays(const held_lines<T>& held,
               const line_survey& found,
               dense_layout layout,
               std::int64_t size,
               std::int32_t n,
               std::int32_t nnz) {
  const bool in_rows = layout == dense_layout::row_major;
  const std::int32_t chunk = in_rows                        ? 2 * mm_chunk<T>
                             : goes_by_wide_chunks<T>(size) ? widest_chunk<T>
                                                            : mm_chunk<T>;
  const std::int32_t chunks = (n + chunk - 1) / chunk;
  const double rows = held.result_rows();
  const double reach = (static_cast<double>(found.below) + found.above) / mm_block_cols;
  const bool quick = held.which == taken::lower && held.has_own() && found.diagonal_in_all_lines;
  const double quick_row = in_rows ? 2 + 3.5 * reach : 4 + 10 * reach;
  const double more = quick ? rows * quick_row + nnz / 16.0 : 8 * rows * (1 + reach) + nnz;
  return chunks * more <= 3.5 * nnz;
}

}  // namespace

template <class T>
bool multiply_held_lines(const held_lines<T>& held,
                         dense_layout layout,
                         const mm_operands<T>& o,
                         status* result) {
  const int budget = current_thread_budget();
  const bool in_rows = layout == dense_layout::row_major;
  // On a team, rows are shared where a triangle's lines are in place and C holds their sums.
  if (budget > 1 && (!in_rows || is_complex<T> || !held.has_own())) return false;
  // Without entries there may be no indices to look at.
  if (held.which == taken::all && csr_entries(held.lines) < 1) return false;
  if constexpr (!is_complex<T>) {
    if (!in_rows && budget == 1 && held.which != taken::all && try_by_diagonals(held, o, result)) {
      return true;
    }
  }
  const line_survey found = survey(held);
  if (!found.ascending && (held.which != taken::all || !in_rows)) return false;
  const std::int32_t nnz = held_entries(held, found);
  const std::int32_t rows = held.result_rows();
  const std::int32_t cols = held.lines.rows;
  copy_room<T> room;
  if (in_rows && rows_go_direct(rows, cols, nnz, budget)) {
    // Complex sums are not kept in C.
    if constexpr (is_complex<T>) return false;
    *result = room.take(held, found, nnz);
    if constexpr (!is_complex<T>) {
      if (*result == success) multiply_direct(held, found, o, budget);
    }
    return true;
  }
  if (!found.ascending || budget > 1) return false;
  // An entry in a block that holds no other one of its row, nor of that of its image, is a part of
  // its own. Single columns would have something to add for the parts between.
  const bool to_tell = in_rows && held.has_own() && o.n % 4 == 0;
  const line_survey reached = to_tell ? far_apart(found, mm_block_cols) : found;
  const std::int64_t size = ring_size<T>(reached, rows, held.lines.base);
  const std::int64_t elements = ring_elements<T>(layout, size, o.n);
  if (nnz < elements || nnz < 2 * size || room.words_of(held) < 2 * size) return false;
  if (!ring_pays(held, reached, layout, size, o.n, nnz)) return false;
  *result = room.take(held, found, nnz);
  if (*result != success) return true;
  const ring_room<T> ring{room.copy->values, room.copy->indices, size};
  const bool two = nnz >= 2 * std::int64_t{widest_chunk<T>} * size && nnz >= 4 * size;
  *result = multiply_swept(held, layout, o, nnz, [&](T* store) {
    multiply_lines_in_rings(held, layout, reached, ring, two, o, store);
  });
  return true;
}

template <class T>
bool multiply_transposed(const compressed_matrix<T>& lines,
                         conjugation conjugated,
                         dense_layout layout,
                         const mm_operands<T>& o,
                         status* result) {
  const entry_use use = conjugated == conjugation::yes ? entry_use::conjugated : entry_use::plain;
  const expansion_form form{entry_use::none, use, use};
  return multiply_held_lines<T>({lines, form, taken::all, diagonal::stored}, layout, o, result);
}

#define NEVRAD_INSTANTIATE(letter, T)                                                          \
  template bool multiply_held_lines(const held_lines<T>&, dense_layout, const mm_operands<T>&, \
                                    status*);                                                  \
  template bool multiply_transposed(const compressed_matrix<T>&, conjugation, dense_layout,    \
                                    const mm_operands<T>&, status*);
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE

}  // namespace nevrad
