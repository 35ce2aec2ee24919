// A matrix whose lines hold op(A) by columns, or half of it by rows and half by columns.
//
// Such a line i sends images: entry (i, c) adds to row c of the result. Walking the lines in
// ascending order gives every row its entries in ascending order, as a transposed or expanded copy
// would, so that a product can do without the copy. A half's own entries stand in front of the
// images that a row gets (lower triangle) or behind them (upper), in the walk as in a sorted row.
#pragma once

#include "arith/lanes.h"
#include "matrix/expand.h"
#include "matrix/sorted_rows.h"

#include <algorithm>
#include <limits>

namespace nevrad {

// Which entries of a line are taken: all, as images, or those of a triangle, with its diagonal.
enum class taken { all, lower, upper };

template <class T>
struct held_lines {
  const compressed_matrix<T>& lines;
  expansion_form form;  // with images; of all entries nothing else
  taken which;
  diagonal ones;

  bool has_own() const { return form.own != entry_use::none; }
  std::int32_t result_rows() const { return which == taken::all ? lines.cols : lines.rows; }
};

// Positions of a line's entries off the diagonal, and on it.
struct line_parts {
  std::int64_t first;
  std::int64_t last;
  std::int64_t diag_first;
  std::int64_t diag_last;
};

// A copy of what a loop over lines reads, apart from what it writes. Positions and indices are in
// the matrix's base, and `values` and `indices` shifted to match.
template <taken Which, class T>
struct line_reader {
  const T* values;
  const std::int32_t* indices;
  const std::int32_t* begin;
  const std::int32_t* end;
  std::int32_t base;
  bool ones;
  bool plain;  // see line_survey

  explicit line_reader(const held_lines<T>& held, bool plain_lines = false)
      : values(held.lines.values - held.lines.base),
        indices(held.lines.indices - held.lines.base),
        begin(held.lines.begin),
        end(held.lines.end),
        base(held.lines.base),
        ones(held.ones == diagonal::unit),
        plain(plain_lines) {}

  // Of a triangle the line must ascend.
  NEVRAD_INLINE line_parts parts(std::int32_t i) const {
    const std::int64_t first = begin[i];
    const std::int64_t last = end[i];
    if constexpr (Which == taken::all) return {first, last, last, last};
    if (plain) {
      if constexpr (Which == taken::lower) return {first, last - 1, last - 1, last};
      return {first + 1, last, first, first + 1};
    }
    const std::int32_t at = i + base;
    if constexpr (Which == taken::lower) {
      std::int64_t p = last;
      while (p > first && indices[p - 1] > at) --p;
      const std::int64_t diag_last = p;
      while (p > first && indices[p - 1] == at) --p;
      return {first, p, p, ones ? p : diag_last};
    } else {
      std::int64_t p = first;
      while (p < last && indices[p] < at) ++p;
      const std::int64_t diag_first = p;
      while (p < last && indices[p] == at) ++p;
      return {p, last, ones ? p : diag_first, p};
    }
  }
};

// Lines that are compared with the one before at once.
inline constexpr std::int32_t compared_lines = 4;

// Whether lines of L entries, whose indices these are, hold what the line before holds, one column
// further on.
template <int L>
NEVRAD_INLINE bool move_on_by_one(const std::int32_t* indices) {
  auto others = (load<4>(indices + L).v - load<4>(indices).v) ^ 1;
  for (int j = 4; j < compared_lines * L; j += 4) {
    others |= (load<4>(indices + L + j).v - load<4>(indices + j).v) ^ 1;
  }
  return __builtin_reduce_or(others) == 0;
}

// How many lines of L entries from line i on, in front of line `stop`, have the shape of line i.
// The lines are packed.
template <int L>
NEVRAD_INLINE std::int32_t lines_of_shape(const std::int32_t* end,
                                          const std::int32_t* at,
                                          std::int32_t most) {
  std::int32_t n = 1;
  for (; n + compared_lines <= most; n += compared_lines, at += compared_lines * L) {
    // Then all indices that are compared lie in these lines.
    if (end[n + compared_lines - 1] - end[n - 1] != compared_lines * L) break;
    const auto lengths = load<compared_lines>(end + n).v - load<compared_lines>(end + n - 1).v;
    if (__builtin_reduce_or(lengths ^ L) != 0 || !move_on_by_one<L>(at)) break;
  }
  for (; n < most && end[n] - end[n - 1] == L; ++n, at += L) {
    std::int32_t other = 0;
    for (int j = 0; j < L; ++j) other |= (at[L + j] - at[j]) ^ 1;
    if (other != 0) break;
  }
  return n;
}

// Entries of the longest lines that are compared, their diagonal among them.
inline constexpr std::int32_t longest_compared = 4;

// The same for lines of any length; long ones are not compared.
template <taken Which, class T>
NEVRAD_INLINE std::int32_t lines_of_shape(const line_reader<Which, T>& a,
                                          std::int32_t i,
                                          std::int32_t stop) {
  const std::int32_t* const end = a.end + i;
  const std::int32_t first = a.begin[i];
  const std::int32_t* const at = a.indices + first;
  switch (end[0] - first) {
    case 2:
      return lines_of_shape<2>(end, at, stop - i);
    case 3:
      return lines_of_shape<3>(end, at, stop - i);
    case longest_compared:
      return lines_of_shape<longest_compared>(end, at, stop - i);
    default:
      return 1;
  }
}

// Calls body(constant) with the lines' kind as an integral constant.
template <class T, class Body>
auto with_taken(const held_lines<T>& held, const Body& body) {
  switch (held.which) {
    case taken::lower:
      return body(std::integral_constant<taken, taken::lower>{});
    case taken::upper:
      return body(std::integral_constant<taken, taken::upper>{});
    default:
      return body(std::integral_constant<taken, taken::all>{});
  }
}

// What a plan needs to know of all lines: whether they ascend, and if so how many entries are taken
// and how far from its line's number an index lies at most, below and above.
struct line_survey {
  bool ascending;
  std::int64_t off_diagonal = 0;
  std::int64_t on_diagonal = 0;
  std::int32_t below = std::numeric_limits<std::int32_t>::max();
  std::int32_t above = std::numeric_limits<std::int32_t>::max();
  bool diagonal_in_all_lines = false;
  bool plain = false;  // lines of a triangle that hold their diagonal once, and just taken entries
  bool short_lines = false;  // see lines_of_shape; of those that are plain
  // Of short plain lines of a lower triangle, where all were looked at so: the next smaller
  // distance below that there is. Negative, where that is not known.
  std::int32_t near = -1;
  std::int32_t far = 0;  // see far_apart
};

// Where entries at the greatest distance below lie farther than `apart` from all others, they can
// be told from these: found with that distance as `far`, and the others alone within reach.
inline line_survey far_apart(line_survey found, std::int32_t apart) {
  if (!found.plain || found.near < 0 || found.below - found.near < apart) return found;
  found.far = found.below;
  found.below = found.near;
  return found;
}

// Takes a line's two greatest distances below, in this order, into account.
inline void add_distances(line_survey& found, std::int32_t farthest, std::int32_t next) {
  if (found.near < 0) return;
  if (farthest > found.below) {
    found.near = std::max(found.near, found.below);
    found.below = farthest;
  } else if (farthest < found.below) {
    found.near = std::max(found.near, farthest);
  }
  found.near = std::max(found.near, next);
}

// The lines from r up to but excluding `stop`, looked through; false where they do not ascend.
template <taken Which, class T>
bool survey_each(const line_reader<Which, T>& a,
                 std::int32_t r,
                 std::int32_t stop,
                 line_survey& found) {
  for (std::int32_t i = r; i < stop; ++i) {
    const line_parts part = a.parts(i);
    if (a.end[i] < a.begin[i]) return false;
    if (count_descents(a.indices + a.begin[i], a.end[i] - a.begin[i] - 1) > 0) return false;
    found.off_diagonal += part.last - part.first;
    found.on_diagonal += part.diag_last - part.diag_first;
    found.diagonal_in_all_lines &= part.diag_last > part.diag_first || a.ones;
    found.plain &= part.diag_last - part.diag_first == 1 &&
                   part.last - part.first + 1 == a.end[i] - a.begin[i];
    if (part.first == part.last) continue;
    if constexpr (Which == taken::lower) {
      const std::int32_t at = i + a.base;
      const bool more = part.last - part.first > 1;
      add_distances(found, at - a.indices[part.first], more ? at - a.indices[part.first + 1] : 0);
    }
    found.below = std::max(found.below, i + a.base - a.indices[part.first]);
    found.above = std::max(found.above, a.indices[part.last - 1] - i - a.base);
  }
  return true;
}

// The same for plain lines that have others on both sides, most of them in runs of one shape, of
// which the first line tells all. False, and nothing found, where there are others.
template <taken Which, class T>
[[gnu::noinline]] bool survey_runs(const line_reader<Which, T>& lines,
                                   std::int32_t r,
                                   std::int32_t stop,
                                   line_survey& found) {
  constexpr bool lower = Which == taken::lower;
  const line_reader<Which, T> a = lines;
  const std::int32_t* const indices = a.indices;
  std::int32_t runs = (stop - r) / 8;
  std::int32_t farthest = 0;
  line_survey distances = found;
  std::int64_t first = a.begin[r];
  const std::int64_t start = first;
  for (std::int32_t i = r; i < stop;) {
    const std::int64_t last = a.end[i];
    if (last <= first || --runs < 0) return false;
    const std::int32_t at = i + a.base;
    const std::int32_t n = lines_of_shape(a, i, stop);
    if (indices[lower ? last - 1 : first] != at) return false;
    std::int32_t steps_down = 0;
    for (std::int64_t p = first + 1; p < last; ++p) {
      steps_down += indices[p] <= indices[p - 1] ? 1 : 0;
    }
    if (steps_down != 0) return false;
    farthest = std::max(farthest, lower ? at - indices[first] : indices[last - 1] - at);
    if (lower && last - first > 1) {
      add_distances(distances, at - indices[first], at - indices[first + 1]);
    }
    first += n * (last - first);
    i += n;
  }
  found.near = distances.near;
  found.off_diagonal += first - start - (stop - r);
  found.on_diagonal += stop - r;
  std::int32_t& reached = lower ? found.below : found.above;
  reached = std::max(reached, farthest);
  return true;
}

// The same for plain lines that have others on both sides, without an index twice: such a line
// tells by its first and last entries. False, and nothing found, where there is another one.
template <taken Which, class T>
[[gnu::noinline]] bool survey_plain(const line_reader<Which, T>& a,
                                    std::int32_t r,
                                    std::int32_t stop,
                                    line_survey& found) {
  constexpr bool lower = Which == taken::lower;
  const std::int32_t start = a.begin[r];
  const std::int32_t* const end = a.end;
  const std::int32_t* const indices = a.indices;
  const std::int32_t base = a.base;
  if (end[stop - 1] <= start) return false;
  std::int32_t other = 0;
  std::int32_t longer = 0;  // lines of several entries: with the next or last one a step down
  std::int32_t farthest = 0;
  std::int64_t first = start;
  for (std::int32_t i = r; i < stop; ++i) {
    const std::int64_t last = end[i];
    if (last <= first) return false;
    const std::int32_t at = i + base;
    const std::int32_t reach = lower ? at - indices[first] : indices[last - 1] - at;
    other |= at ^ indices[lower ? last - 1 : first];
    longer += reach > 0 ? 1 : 0;
    farthest = std::max(farthest, reach);
    first = last;
  }
  // The step between the first or last of these lines and the one that is not looked at.
  longer -= (lower ? indices[start] < r + base : indices[first - 1] > stop - 1 + base) ? 1 : 0;
  const auto entries = static_cast<std::int32_t>(first - start);
  if (other != 0 || entries - 1 - count_ascents(indices + start, entries - 1) != longer) {
    return false;
  }
  found.off_diagonal += entries - (stop - r);
  found.on_diagonal += stop - r;
  std::int32_t& reached = lower ? found.below : found.above;
  reached = std::max(reached, farthest);
  return true;
}

// The same for lines that have others on both sides and hold something, nothing that is not taken,
// and their diagonal once at most.
template <taken Which, class T>
[[gnu::noinline]] bool survey_taken(const line_reader<Which, T>& a,
                                    std::int32_t r,
                                    std::int32_t stop,
                                    line_survey& found) {
  constexpr bool lower = Which == taken::lower;
  const std::int32_t start = a.begin[r];
  const std::int32_t* const end = a.end;
  const std::int32_t* const indices = a.indices;
  const std::int32_t base = a.base;
  if (end[stop - 1] <= start) return false;
  const std::int32_t descents = count_descents(indices + start, end[stop - 1] - start - 1);
  std::int32_t other = 0;
  std::int32_t steps_down = 0;  // from one line to the next
  std::int32_t on_diagonal = 0;
  std::int32_t lowest = 0;
  std::int32_t highest = 0;
  std::int64_t first = start;
  std::int32_t before = indices[first];
  for (std::int32_t i = r; i < stop; ++i) {
    const std::int64_t last = end[i];
    if (last <= first) return false;
    const std::int32_t at = i + base;
    const std::int32_t low = indices[first];
    const std::int32_t high = indices[last - 1];
    steps_down += before > low ? 1 : 0;
    if constexpr (Which != taken::all) {
      const std::int32_t inner = lower ? high : low;
      const std::int32_t next = indices[lower ? last - 2 : first + 1];
      on_diagonal += inner == at ? 1 : 0;
      // Of a single entry the neighbour is another line's: it can mislead, but to no fault.
      other |= (lower ? inner > at : inner < at) ? 1 : 0;
      other |= next == at ? 1 : 0;
    }
    if constexpr (Which != taken::upper) lowest = std::min(lowest, low - at);
    if constexpr (Which != taken::lower) highest = std::max(highest, high - at);
    before = high;
    first = last;
  }
  const auto entries = static_cast<std::int32_t>(first - start);
  if (other != 0 || descents != steps_down) return false;
  found.off_diagonal += entries - on_diagonal;
  found.on_diagonal += on_diagonal;
  found.diagonal_in_all_lines &= on_diagonal == stop - r || a.ones;
  found.below = std::max(found.below, -lowest);
  found.above = std::max(found.above, highest);
  return true;
}

// A few lines at a time, so that what the test for order has read is still at hand.
template <taken Which, class T>
line_survey survey_lines(const held_lines<T>& held) {
  constexpr std::int32_t at_once = 256;
  line_survey found{true, 0, 0, 0, 0, true, Which != taken::all};
  const line_reader<Which, T> a(held);
  const std::int32_t rows = held.lines.rows;
  found.near = Which == taken::lower ? 0 : -1;
  // Lines without runs are looked at for some only now and then.
  found.short_lines = csr_entries(held.lines) <= longest_compared * std::int64_t{rows};
  std::int32_t without_runs = 0;
  if (a.begin[0] != a.base || !survey_each(a, 0, std::min(1, rows), found)) return {false};
  std::int32_t stop = 1;
  for (std::int32_t r = stop; r < rows; r = stop) {
    stop = r + std::min(at_once, rows - r);
    // Some entry lies in front of these lines, and one behind them.
    const bool within = a.begin[r] > a.base && a.end[stop - 1] < a.end[rows - 1];
    if constexpr (Which != taken::all) {
      if (within && found.plain && !a.ones) {
        if (found.short_lines && without_runs++ % 16 == 0 && survey_runs(a, r, stop, found)) {
          without_runs = 0;
          continue;
        }
        found.near = -1;
        if (survey_plain(a, r, stop, found)) continue;
      }
    }
    if (within && survey_taken(a, r, stop, found)) {
      found.near = -1;
      found.plain = false;
      continue;
    }
    if (!survey_each(a, r, stop, found)) return {false};
  }
  if (Which != taken::all && a.ones) found.on_diagonal = rows;
  return found;
}

template <class T>
line_survey survey(const held_lines<T>& held) {
  return with_taken(held, [&](auto which) { return survey_lines<which()>(held); });
}

}  // namespace nevrad
