// Rows in the parts that column blocks would hold, where they lie.
//
// An element of C sums the blocks of its row in ascending order and has nothing to do with other
// rows. So walking row by row, part by part, gives the bits that walking block by block gives,
// without a copy of the entries and without looking at the many pairs of a row and a block that
// hold nothing. Blocks are better when their rows are long: a block keeps its part of a panel in
// cache while all rows pass.
#pragma once

#include "arith/ascent.h"
#include "arith/panel_row.h"
#include "mm/column_blocks.h"
#include "mm/line_kernels.h"
#include "mm/operands.h"
#include "mm/panels.h"

#include <algorithm>

namespace nevrad {

// Where blocks of mm_block_cols columns end: full ones first, then the last two or one. The width
// is a constant here, since a division by a variable would cost as much as an entry's product.
class block_bounds {
 public:
  explicit block_bounds(std::int32_t cols) : cols_(cols) {
    std::int32_t done = 0;
    while (next_block_width(cols, done, mm_block_cols) == mm_block_cols) {
      done += mm_block_cols;
      ++full_;
      if (done == cols) break;
    }
    full_end_ = done;
    middle_ = done == cols ? cols : done + next_block_width(cols, done, mm_block_cols);
  }

  std::int32_t count() const { return full_ + (full_end_ < cols_) + (middle_ < cols_); }
  // How many are full, and the first column of the last of two others.
  std::int32_t full() const { return full_; }
  std::int32_t middle() const { return middle_; }
  std::int32_t block_of(std::int32_t column) const {
    return column < full_end_ ? column / mm_block_cols : full_ + (column >= middle_ ? 1 : 0);
  }
  // The first column of the block that holds the column.
  std::int32_t start_of(std::int32_t column) const {
    if (column < full_end_) return column / mm_block_cols * mm_block_cols;
    return column < middle_ ? full_end_ : middle_;
  }
  // One past the last column of the block that holds the column.
  std::int32_t stop_of(std::int32_t column) const {
    if (column < full_end_) return (column / mm_block_cols + 1) * mm_block_cols;
    return column < middle_ ? middle_ : cols_;
  }

 private:
  std::int32_t cols_;
  std::int32_t full_ = 0;
  std::int32_t full_end_ = 0;
  std::int32_t middle_ = 0;
};

// Rows that are multiplied at once, a panel or a chunk of columns at a time: few enough for their
// entries and their part of C to stay in the first level of cache, and whole cache lines of a
// column of C.
inline constexpr std::int32_t mm_rows_at_once = 32;

// The entries of packed, ascending rows, from row `first` on. Positions and indices are in the
// matrix's base, and `values` and `indices` shifted to match.
template <class T>
struct row_entries {
  const T* values;
  const std::int32_t* indices;
  const std::int32_t* end;  // of each row
  std::int32_t begin;
  std::int32_t rows;
  std::int32_t base;

  row_entries(const compressed_matrix<T>& a, std::int32_t first, std::int32_t count)
      : values(a.values - a.base),
        indices(a.indices - a.base),
        end(a.end + first),
        begin(a.begin[first]),
        rows(count),
        base(a.base) {}

  // Rows of so many entries that the chain of a sum holds up a row.
  bool are_long() const {
    constexpr std::int64_t long_row = 12;
    return rows > 0 && end[rows - 1] - begin >= long_row * rows;
  }
};

// Rows of B that lie far apart, in a row-major matrix or a panel: what later entries meet is asked
// for entry by entry, as bursts would leave the memory idle in between.
template <class Rows>
struct distant_rows : Rows {
  const std::int32_t* indices;    // of all entries
  std::int64_t last;              // the last one of them
  std::int64_t last_element = 0;  // of a row, where no other chunk asks for it
};
template <class Rows>
inline constexpr bool are_distant = false;
template <class Rows>
inline constexpr bool are_distant<distant_rows<Rows>> = true;

// Asks for what an entry some way behind position p meets.
template <class Rows>
NEVRAD_INLINE void ask_for_later(const Rows& /*rows*/, std::int64_t /*p*/) {}
template <class Rows>
NEVRAD_INLINE void ask_for_later(const distant_rows<Rows>& rows, std::int64_t p) {
  constexpr std::int64_t entries_ahead = 128;
  rows.ask_for(rows.indices[std::min(p + entries_ahead, rows.last)], rows.last_element);
}

// Two values by turns in R lanes, and the first or second of them in W lanes.
template <int... I, class T>
NEVRAD_INLINE lanes<T, sizeof...(I)> repeat_pair(lanes<T, 2> a, std::integer_sequence<int, I...>) {
  return {__builtin_shufflevector(a.v, a.v, (I & 1)...)};
}
template <int Second, class T, int R, int... I>
NEVRAD_INLINE lanes<T, sizeof...(I)> spread_of_pair(lanes<T, R> a,
                                                    std::integer_sequence<int, I...>) {
  return {__builtin_shufflevector(a.v, a.v, (I % R & ~1) + Second...)};
}

// Entries p and p + 1, in turn, on top of a sum: loads bound these loops, and entries taken
// together need less of them. `source` has the entries, what becomes of their values first, and
// what one adds.
template <class T, int W, class Source>
NEVRAD_INLINE lanes<T, W> add_two_entries(lanes<T, W> sum, const Source& source, std::int64_t p) {
  source.look_ahead(p);
  source.look_ahead(p + 1);
  const index_pair i = load_indices(source.indices + p);
  const lanes<T, 2> pair = load<2>(source.values + p);
  constexpr int half_line = static_cast<int>(cache_line / 2 / sizeof(T));
  if constexpr (!fixed_hints && !is_complex<T> && W >= half_line) {
    // Moves within halves of a 256-bit register take less than those across.
    using all = std::make_integer_sequence<int, W>;
    const auto v = source.prepare(repeat_pair(pair, std::make_integer_sequence<int, half_line>{}));
    sum = source.add(sum, spread_of_pair<0>(v, all{}), i.first);
    return source.add(sum, spread_of_pair<1>(v, all{}), i.second);
  } else {
    const lanes<T, 2> v = source.prepare(pair);
    sum = source.add(sum, broadcast<W>(lane_at<0>(v)), i.first);
    return source.add(sum, broadcast<W>(lane_at<1>(v)), i.second);
  }
}

// Entries p to p + 3 likewise, of real values: two complex doubles fill a register already.
template <class T, int W, class Source>
NEVRAD_INLINE lanes<T, W> add_four_entries(lanes<T, W> sum, const Source& source, std::int64_t p) {
  for (std::int64_t q = p; q < p + 4; ++q) source.look_ahead(q);
  const auto v = source.prepare(load<4>(source.values + p));
  sum = source.add(sum, broadcast<W>(lane_at<0>(v)), source.indices[p]);
  sum = source.add(sum, broadcast<W>(lane_at<1>(v)), source.indices[p + 1]);
  sum = source.add(sum, broadcast<W>(lane_at<2>(v)), source.indices[p + 2]);
  return source.add(sum, broadcast<W>(lane_at<3>(v)), source.indices[p + 3]);
}

// Entries p up to but excluding `end`.
template <class T, int W, class Source>
NEVRAD_INLINE lanes<T, W> add_entries(lanes<T, W> sum,
                                      const Source& source,
                                      std::int64_t p,
                                      std::int64_t end) {
  // Most rows are short: unrolled further, their ends cost more than the entries.
  if constexpr (!is_complex<T>) {
#pragma clang loop unroll(disable)
    for (; p + 3 < end; p += 4) sum = add_four_entries(sum, source, p);
  }
#pragma clang loop unroll(disable)
  for (; p + 1 < end; p += 2) sum = add_two_entries(sum, source, p);
  if (p < end) {
    source.look_ahead(p);
    sum = source.add(sum, broadcast<W>(source.prepare(load<1>(source.values + p))),
                     source.indices[p]);
  }
  return sum;
}

// The same in two chunks side by side, each with its source. What both need of an entry is loaded
// once, and their chains hide each other.
template <class T, int W, class Source>
NEVRAD_INLINE void add_entries_side_by_side(lanes<T, W>& left,
                                            lanes<T, W>& right,
                                            const Source& source,
                                            const Source& beside,
                                            std::int64_t p,
                                            std::int64_t end) {
#pragma clang loop unroll(disable)
  for (; p + 1 < end; p += 2) {
    left = add_two_entries(left, source, p);
    right = add_two_entries(right, beside, p);
  }
  left = add_entries(left, source, p, end);
  right = add_entries(right, beside, p, end);
}

// Entries p up to but excluding `middle` on top of `first`, those from there up to but excluding
// `end` on top of `second`. The sums of one row are a chain, of which long rows leave hardware no
// other to see; so both go in step.
template <class T, int W, class Source>
NEVRAD_INLINE void add_entries_in_step(lanes<T, W>& first,
                                       lanes<T, W>& second,
                                       const Source& source,
                                       std::int64_t p,
                                       std::int64_t middle,
                                       std::int64_t end) {
  std::int64_t q = middle;
  std::int64_t both = std::min(middle - p, end - q);
  if constexpr (!is_complex<T>) {
#pragma clang loop unroll(disable)
    for (; both > 3; both -= 4, p += 4, q += 4) {
      first = add_four_entries(first, source, p);
      second = add_four_entries(second, source, q);
    }
  }
#pragma clang loop unroll(disable)
  for (; both > 1; both -= 2, p += 2, q += 2) {
    first = add_two_entries(first, source, p);
    second = add_two_entries(second, source, q);
  }
  first = add_entries(first, source, p, middle);
  second = add_entries(second, source, q, end);
}

// What an entry adds to the sum of a part: its value times the elements of B that go with it.
template <class T, class Rows>
struct value_times_row {
  const T* values;
  const std::int32_t* indices;
  Rows rows;

  NEVRAD_INLINE void look_ahead(std::int64_t p) const { ask_for_later(rows, p); }
  template <int N>
  NEVRAD_INLINE lanes<T, N> prepare(lanes<T, N> v) const {
    return v;
  }
  template <int W>
  NEVRAD_INLINE lanes<T, W> add(lanes<T, W> sum, lanes<T, W> v, std::int64_t index) const {
    return multiply_add(sum, rows(index), v);
  }
};

// Whether as many rows of so many elements stay in cache.
template <class T>
bool stay_in_cache(std::int32_t rows, std::int32_t elements) {
  constexpr std::int64_t cached = std::int64_t{8} << 20;
  return std::int64_t{rows} * elements * std::int64_t{sizeof(T)} < cached;
}

// Whether rows meet rows of B that lie far apart, and the next row others, in no order that
// hardware follows: out of cache, they are asked for ahead. Judged by some rows.
template <class T>
bool meets_distant_rows(const compressed_matrix<T>& a) {
  constexpr std::int32_t samples = 24;
  constexpr std::int64_t far_apart = 512;
  constexpr std::int64_t long_step = 64;
  if (fixed_hints) return false;
  std::int64_t reach = 0;  // from the first to the last entry of a row
  std::int64_t entries = 1;
  std::int64_t step = 0;  // from the first to the first of the next one, and so the last
  std::int64_t pairs = 1;
  for (std::int32_t s = 0; s < samples; ++s) {
    const auto r = static_cast<std::int32_t>(std::int64_t{a.rows} * s / samples);
    const std::int64_t first = a.begin[r] - a.base;
    const std::int64_t last = a.end[r] - a.base;
    if (last <= first) continue;
    reach += a.indices[last - 1] - a.indices[first];
    entries += last - first;
    if (r + 1 == a.rows || a.end[r + 1] - a.base <= last) continue;
    const std::int64_t next_last = a.end[r + 1] - a.base;
    step += std::abs(std::int64_t{a.indices[last]} - a.indices[first]) +
            std::abs(std::int64_t{a.indices[next_last - 1]} - a.indices[last - 1]);
    pairs += 2;
  }
  return reach / entries > far_apart && step / pairs > long_step;
}

// Rows of a row-major B of which each row of A meets those next to what the row before it met: out
// of cache, they, C and the entries are asked for some rows ahead.
//
// Into the second level: the first has too few places for lines on their way from memory, and what
// they have to wait for, all other lines wait for as well. From the second level hardware takes
// them in time.
//
// Where rows are not whole lines, or too wide, that loses up to a third: there less is asked for,
// near and into the first level.
enum class hints : bool { near, far };
template <int W, hints Hints, class T>
struct passing_rows : strided_rows<W, T> {
  bool with_entries;  // ask for those as well
};

template <class T>
bool rows_are_whole_lines(const mm_operands<T>& o) {
  constexpr int line = static_cast<int>(cache_line / sizeof(T));
  constexpr int widest = 2 * line;
  constexpr int most = 256 * line;
  const bool in_chunks = o.n < 2 * widest ? o.n % line == 0 : o.n % widest == 0;
  return in_chunks && o.n <= most && o.ldb % line == 0 && o.ldc % line == 0;
}

// Rows of B in other columns.
template <class Rows>
NEVRAD_INLINE Rows columns_on(Rows rows, std::int32_t columns) {
  rows.at += columns;
  return rows;
}

// How rows of A meet those of a row-major B.
template <class T>
class row_meetings {
  static constexpr std::int32_t long_row_lines = 16;

 public:
  // Chunks have the first `in_chunks` columns, single ones follow.
  row_meetings(const compressed_matrix<T>& a, const mm_operands<T>& o, std::int32_t in_chunks)
      : in_chunks_(in_chunks),
        first_asks_(first_asks(o.n, in_chunks)),
        indices_(a.indices),
        last_(std::int64_t{csr_entries(a)} - 1),
        n_(o.n),
        far_(rows_are_whole_lines(o)),
        shift_(shift_of(std::int64_t{o.ldb} * std::int64_t{sizeof(T)})) {
    if (fixed_hints || stay_in_cache<T>(a.cols, o.ldb)) return;
    way_ = meets_distant_rows(a) ? way::distant : way::passing;
  }

  bool distant() const { return way_ == way::distant; }
  // Distant, and asked for chunk by chunk.
  bool by_chunks() const {
    return distant() && n_ < long_row_lines * static_cast<std::int32_t>(cache_line / sizeof(T));
  }

  // Calls body with the rows of W columns of B from `column` on, of the one kind or the other.
  // MayBeDistant: of kernels that are called for distant rows as well. The last chunk asks for the
  // single columns behind it too.
  // Pair: of kernels for two chunks, which near hints do not gain by.
  template <int W, bool MayBeDistant, bool Pair, class Body>
  NEVRAD_INLINE std::int32_t with_rows(const T* b,
                                       std::int64_t ld,
                                       std::int32_t column,
                                       const Body& body) const {
    const T* const at = b + column;
    if constexpr (!fixed_hints) {
      if constexpr (MayBeDistant) {
        if (way_ == way::distant && (column == 0 || !first_asks_)) {
          const bool is_last = first_asks_ || column + W >= in_chunks_;
          const bool is_whole = n_ == column + W && ends_with_line(at + W, ld);
          const std::int64_t last_element = is_last && !is_whole ? n_ - 1 - column : 0;
          return body(distant_rows<strided_rows<W, T>>{{at, ld}, indices_, last_, last_element});
        }
      }
      if constexpr (sizeof(T) * W >= cache_line) {
        // Of many columns each chunk would ask again.
        if (way_ == way::passing) {
          if constexpr (!Pair) {
            if (!far_) {
              return body(passing_rows<W, hints::near, T>{{at, ld}, n_ <= 2 * mm_chunk<T>});
            }
          }
          return body(passing_rows<W, hints::far, T>{{at, ld}, column == 0});
        }
      }
      if constexpr (W > 1) {
        if (shift_ >= 0) return body(shifted_rows<W, T>{at, static_cast<std::uint32_t>(shift_)});
      }
    }
    return body(strided_rows<W, T>{at, ld});
  }

 private:
  enum class way : std::uint8_t { at_hand, passing, distant };

  static int shift_of(std::int64_t bytes) {
    return (bytes & (bytes - 1)) == 0 ? __builtin_ctzll(static_cast<std::uint64_t>(bytes)) : -1;
  }
  static bool ends_with_line(const T* end, std::int64_t ld) {
    constexpr std::int64_t line = cache_line / sizeof(T);
    return reinterpret_cast<std::uintptr_t>(end) % cache_line == 0 && ld % line == 0;
  }
  // Whether the first chunk asks for the whole row, by cases measured: where little is behind it,
  // and where the row is so long that memory gives it faster in one piece.
  static bool first_asks(std::int32_t n, std::int32_t in_chunks) {
    constexpr std::int32_t line = cache_line / sizeof(T);
    std::int32_t width = 2 * line;
    while (width > in_chunks) width /= 2;
    return n <= width + line || n >= long_row_lines * line;
  }

  way way_ = way::at_hand;
  std::int32_t in_chunks_;
  bool first_asks_;
  const std::int32_t* indices_;
  std::int64_t last_;
  std::int32_t n_;
  bool far_;
  int shift_;  // by which a row becomes bytes of B, or -1
};

// Asks for what comes behind entries p to end - 1 of a row and its part of C. Of B that is what the
// last entry leads on to: all else was met by earlier rows.
template <class T, class Rows>
NEVRAD_INLINE void fetch_rows_behind(const Rows& /*rows*/,
                                     const std::int32_t* /*indices*/,
                                     std::int64_t /*p*/,
                                     std::int64_t /*end*/,
                                     const T* /*c*/,
                                     std::int64_t /*ldc*/) {}
template <int W, hints Hints, class T>
NEVRAD_INLINE void fetch_rows_behind(const passing_rows<W, Hints, T>& rows,
                                     const std::int32_t* indices,
                                     std::int64_t p,
                                     std::int64_t end,
                                     const T* c,
                                     std::int64_t ldc) {
  constexpr std::int64_t size = sizeof(T);
  constexpr std::int64_t near = std::max<std::int64_t>(8 * cache_line / (W * size), 1);
  if (p >= end) return;
  for (std::int64_t j = 0; j < W; j += cache_line / size) {
    const T* const last = rows.at + indices[end - 1] * rows.ld;
    if constexpr (Hints == hints::far) {
      prefetch<cache::level2>(last, (8 * near * rows.ld + j) * size);
      prefetch<cache::level2>(c, (8 * near * ldc + j) * size);
    } else {
      prefetch<cache::level1>(rows.at + indices[p] * rows.ld, (near * rows.ld + j) * size);
      prefetch<cache::level1>(last, (near * rows.ld + j) * size);
      prefetch<cache::level1>(c, (near * ldc + j) * size);
    }
  }
}

// Of distant rows each entry asks for its own. Next to them hardware loses the rows of C as well.
template <int W, class T>
NEVRAD_INLINE void fetch_rows_behind(const distant_rows<strided_rows<W, T>>& /*rows*/,
                                     const std::int32_t* /*indices*/,
                                     std::int64_t /*p*/,
                                     std::int64_t /*end*/,
                                     const T* c,
                                     std::int64_t ldc) {
  constexpr std::int64_t size = sizeof(T);
  constexpr std::int64_t rows_ahead = 32;
  for (std::int64_t j = 0; j < W; j += cache_line / size) {
    prefetch<cache::level1>(c, (rows_ahead * ldc + j) * size);
  }
}

// Asks for as many entries as p to end - 1 are, so many bytes ahead of them.
template <cache Level, class T>
NEVRAD_INLINE void fetch_entries(const T* values,
                                 const std::int32_t* indices,
                                 std::int64_t p,
                                 std::int64_t end,
                                 int values_ahead,
                                 int indices_ahead) {
  constexpr int in_line = cache_line / sizeof(std::int32_t);
  for (; p < end; p += in_line) {
    for (int at = 0; at < in_line * static_cast<int>(sizeof(T)); at += cache_line) {
      prefetch<Level>(values + p, values_ahead + at);
    }
    prefetch<Level>(indices + p, indices_ahead);
  }
}

// Asks for entries behind p to end - 1: next to the many streams of B hardware loses theirs.
template <class T, class Rows>
NEVRAD_INLINE void fetch_entries_behind(const Rows& /*rows*/,
                                        const T* /*values*/,
                                        const std::int32_t* /*indices*/,
                                        std::int64_t /*p*/,
                                        std::int64_t /*end*/) {}
template <int W, hints Hints, class T>
NEVRAD_INLINE void fetch_entries_behind(const passing_rows<W, Hints, T>& rows,
                                        const T* values,
                                        const std::int32_t* indices,
                                        std::int64_t p,
                                        std::int64_t end) {
  constexpr bool far = Hints == hints::far;
  constexpr int ahead = far ? 8192 : 2048;
  constexpr auto level = far ? cache::level2 : cache::level1;
  constexpr int indices_ahead = ahead / int{sizeof(T)} * int{sizeof(std::int32_t)};
  if (rows.with_entries) fetch_entries<level>(values, indices, p, end, ahead, indices_ahead);
}

template <class Rows, class T>
NEVRAD_INLINE void fetch_entries_behind(const distant_rows<Rows>& /*rows*/,
                                        const T* values,
                                        const std::int32_t* indices,
                                        std::int64_t p,
                                        std::int64_t end) {
  // Indices are looked at before the rows that they are of.
  fetch_entries<cache::level1>(values, indices, p, end, 2048, 4096);
}

// Calls add_next(), which moves p on by one, for the entries from p on that lie in front of `end`
// and whose indices are below `stop`, of which there is one at least. One test an entry: of a part
// that is not the row's last one, the entry behind it ends the loop.
template <class Add>
NEVRAD_INLINE void for_each_of_part(const std::int32_t* indices,
                                    std::int64_t& p,
                                    std::int64_t end,
                                    std::int32_t stop,
                                    const Add& add_next) {
  if (indices[end - 1] < stop) {
#pragma clang loop unroll(disable)
    do {
      add_next();
    } while (p < end);
  } else {
#pragma clang loop unroll(disable)
    do {
      add_next();
    } while (indices[p] < stop);
  }
}

// The sum over the entries from p on that lie in front of `end` and whose indices are below `stop`,
// of which there is one at least. Moves p behind them.
template <int W, class T, class Rows>
NEVRAD_INLINE lanes<T, W> multiply_part(const row_entries<T>& a,
                                        std::int64_t& p,
                                        std::int64_t end,
                                        std::int32_t stop,
                                        const Rows& rows) {
  const std::int64_t first = p;
  if constexpr (fixed_hints) {
    p = a.indices[end - 1] < stop ? end : p + 1;
    while (p < end && a.indices[p] < stop) ++p;
    return multiply_panel_row<W>(a.values + first, a.indices + first,
                                 static_cast<std::int32_t>(p - first), rows);
  }
  // Most parts are short: looking for their end, and groups of four, would cost more than the sums.
  lanes<T, W> sum = zero_lanes<T, W>();
  if (a.indices[end - 1] < stop) {
    p = end;
    return add_entries(sum, value_times_row<T, Rows>{a.values, a.indices, rows}, first, end);
  }
#pragma clang loop unroll(disable)
  do {
    ask_for_later(rows, p);
    sum = multiply_add(sum, rows(a.indices[p]), broadcast<W>(load<1>(a.values + p)));
    ++p;
  } while (a.indices[p] < stop);
  return sum;
}

// Whether entries p to end - 1 of a row all lie in one block, of which there is one at least.
template <class T>
NEVRAD_INLINE bool is_one_part(const row_entries<T>& a,
                               const block_bounds& bounds,
                               std::int64_t p,
                               std::int64_t end) {
  return p < end && a.indices[end - 1] < bounds.stop_of(a.indices[p] - a.base) + a.base;
}

// The sums over entries p to middle - 1 and middle to end - 1.
template <int W, class T, class Rows>
NEVRAD_INLINE lanes_pair<T, W> multiply_part_pair(const row_entries<T>& a,
                                                  std::int64_t p,
                                                  std::int64_t middle,
                                                  std::int64_t end,
                                                  const Rows& rows) {
  if constexpr (fixed_hints) {
    return multiply_panel_row_pair<W>(a.values + p, a.indices + p,
                                      static_cast<std::int32_t>(middle - p), a.values + middle,
                                      a.indices + middle, static_cast<std::int32_t>(end - middle),
                                      rows);
  }
  lanes_pair<T, W> sum{zero_lanes<T, W>(), zero_lanes<T, W>()};
  const value_times_row<T, Rows> source{a.values, a.indices, rows};
  add_entries_in_step(sum.first, sum.second, source, p, middle, end);
  return sum;
}

// Whether a kernel makes sure on its way that rows ascend, row by row before it touches C. It stops
// at the first that does not.
enum class order : bool { known, looked_at };

// Updates two chunks of W columns side by side in a row of C, of entries p to end - 1.
template <int W, class T, class Rows>
NEVRAD_INLINE void update_side_by_side(const row_entries<T>& a,
                                       const block_bounds& bounds,
                                       std::int64_t p,
                                       std::int64_t end,
                                       const Rows& rows,
                                       T* c,
                                       lanes<T, W> scale,
                                       lanes<T, W> scale_c) {
  using source = value_times_row<T, Rows>;
  const source left_of_b{a.values, a.indices, rows};
  const source right_of_b{a.values, a.indices, columns_on(rows, W)};
  // Two chunks of C and two of sums do not fit in registers.
  store(c, multiply_fused(load<W>(c), scale_c));
  store(c + W, multiply_fused(load<W>(c + W), scale_c));
  while (p < end) {
    const std::int32_t stop = bounds.stop_of(a.indices[p] - a.base) + a.base;
    lanes<T, W> left = zero_lanes<T, W>();
    lanes<T, W> right = zero_lanes<T, W>();
    if (a.indices[end - 1] < stop) {
      add_entries_side_by_side(left, right, left_of_b, right_of_b, p, end);
      p = end;
    } else {
#pragma clang loop unroll(disable)
      do {
        left = add_entries(left, left_of_b, p, p + 1);
        right = add_entries(right, right_of_b, p, p + 1);
        ++p;
      } while (a.indices[p] < stop);
    }
    store(c, multiply_add(load<W>(c), left, scale));
    store(c + W, multiply_add(load<W>(c + W), right, scale));
  }
}

// Updates W columns of the rows of C, ldc apart: c * beta, then alpha times each part's sum in
// turn. Parts without entries leave c alone. Of two chunks, the second is that of the next W
// columns. Answers with the number of rows done.
template <int W, order Order = order::known, int Chunks = 1, class T, class Rows>
NEVRAD_INLINE std::int32_t update_rows(const row_entries<T>& entries,
                                       const block_bounds& block_bounds_of,
                                       const Rows& rows_of_b,
                                       T* c,
                                       std::int64_t ldc,
                                       T alpha,
                                       T beta) {
  // In registers, whatever is stored.
  const row_entries<T> a = entries;
  const block_bounds bounds = block_bounds_of;
  const Rows rows = rows_of_b;
  const lanes<T, W> scale = broadcast<W>(to_lane(alpha));
  const lanes<T, W> scale_c = broadcast<W>(to_lane(beta));
  std::int64_t p = a.begin;
  std::int32_t i = 0;
  if constexpr (Chunks == 1 && sizeof(T) * W <= cache_line) {
    if (a.are_long()) {
      for (; i + 1 < a.rows; i += 2, c += 2 * ldc) {
        const std::int64_t middle = a.end[i];
        const std::int64_t end = a.end[i + 1];
        if constexpr (Order == order::looked_at) {
          ascent_check ascent;
          ascent.look_at(a.indices, p, middle);
          ascent.look_at(a.indices, middle, end);
          if (!ascent.ascends()) break;
        }
        if (!is_one_part(a, bounds, p, middle) || !is_one_part(a, bounds, middle, end)) break;
        fetch_rows_behind(rows, a.indices, p, middle, c, ldc);
        fetch_rows_behind(rows, a.indices, middle, end, c + ldc, ldc);
        fetch_entries_behind(rows, a.values, a.indices, p, end);
        const lanes_pair<T, W> sum = multiply_part_pair<W>(a, p, middle, end, rows);
        store(c, multiply_add(multiply_fused(load<W>(c), scale_c), sum.first, scale));
        store(c + ldc, multiply_add(multiply_fused(load<W>(c + ldc), scale_c), sum.second, scale));
        p = end;
      }
    }
  }
  for (; i < a.rows; ++i, c += ldc) {
    const std::int64_t end = a.end[i];
    if constexpr (Order == order::looked_at) {
      ascent_check ascent;
      ascent.look_at(a.indices, p, end);
      if (!ascent.ascends()) break;
    }
    fetch_rows_behind(rows, a.indices, p, end, c, ldc);
    fetch_entries_behind(rows, a.values, a.indices, p, end);
    if constexpr (Chunks == 2) {
      fetch_rows_behind(columns_on(rows, W), a.indices, p, end, c + W, ldc);
      update_side_by_side(a, bounds, p, end, rows, c, scale, scale_c);
      p = end;
      continue;
    }
    lanes<T, W> row = multiply_fused(load<W>(c), scale_c);
    while (p < end) {
      const std::int32_t stop = bounds.stop_of(a.indices[p] - a.base) + a.base;
      row = multiply_add(row, multiply_part<W>(a, p, end, stop, rows), scale);
    }
    store(c, row);
  }
  return i;
}

// The same for one of the last columns, x(index) being the element of B: with a sum of zero once
// for each run of blocks between, before and behind that hold nothing of a row. Adding a zero twice
// changes no more than adding it once.
template <order Order = order::known, class T, class Column>
NEVRAD_INLINE std::int32_t update_column(const row_entries<T>& entries,
                                         const block_bounds& block_bounds_of,
                                         const Column& x,
                                         T* c,
                                         std::int64_t ldc,
                                         T alpha,
                                         T beta) {
  const row_entries<T> a = entries;
  const block_bounds bounds = block_bounds_of;
  std::int64_t p = a.begin;
  std::int32_t i = 0;
  for (; i < a.rows; ++i, c += ldc) {
    const std::int64_t end = a.end[i];
    if constexpr (Order == order::looked_at) {
      ascent_check ascent;
      ascent.look_at(a.indices, p, end);
      if (!ascent.ascends()) break;
    }
    T y = multiply_fused(*c, beta);
    std::int32_t next_block = 0;
    while (p < end) {
      const std::int32_t column = a.indices[p] - a.base;
      const std::int32_t block = bounds.block_of(column);
      const std::int32_t stop = bounds.stop_of(column) + a.base;
      if (block != next_block) y = add_scaled(y, alpha, zero<T>());
      T sum = zero<T>();
      for_each_of_part(a.indices, p, end, stop, [&] {
        sum = add_product(sum, a.values[p], x(a.indices[p]));
        ++p;
      });
      y = add_scaled(y, alpha, sum);
      next_block = block + 1;
    }
    *c = next_block == bounds.count() ? y : add_scaled(y, alpha, zero<T>());
  }
  return i;
}

}  // namespace nevrad
