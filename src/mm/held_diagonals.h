// Symmetric matrices whose triangle lies on few diagonals, as those of grids do.
//
// The values of such a triangle are turned over, as lines are reached, so that those of a diagonal
// lie one behind another. A diagonal of the triangle is its mirror as well: row i of all of the
// matrix meets the value of line i with the diagonal's column, and that of a line further on with
// its own. So neighbouring rows, as lanes, take all their entries in ascending order from values
// that are neighbours, and no sum is open for longer than its row. Which rows lack which entries is
// told by a word a row.
#pragma once

#include "matrix/line_shapes.h"
#include "mm/panel_window.h"

#include <algorithm>
#include <bit>

namespace nevrad {

// The places of a triangle's entries: their index less the number of their line, ascending.
struct held_diagonals {
  static constexpr int most = 32;  // bits of a word
  std::int32_t count = 0;
  std::int32_t place[most];

  std::uint32_t all() const { return ~std::uint32_t{0} >> (most - count); }
  std::int32_t reach() const { return std::max(std::abs(place[0]), std::abs(place[count - 1])); }
  // False where there is no room.
  bool add(std::int32_t at) {
    std::int32_t* const end = place + count;
    std::int32_t* const found = std::lower_bound(place, end, at);
    if (found != end && *found == at) return true;
    if (count == most) return false;
    std::copy_backward(found, end, end + 1);
    *found = at;
    ++count;
    return true;
  }
};

// The words of lines: the diagonals that a line has entries on, one bit each. Lines of a grid are
// of few kinds, and one of each length is remembered.
class line_words {
 public:
  explicit line_words(const held_diagonals& known) : known_(known) {}

  // 0 when an entry is not on a diagonal that is known, or comes out of order.
  template <class T>
  NEVRAD_INLINE std::uint32_t of_line(const compressed_matrix<T>& a, std::int32_t i) {
    const std::int64_t first = a.begin[i] - a.base;
    const std::int64_t length = a.end[i] - a.base - first;
    if (length <= 0 || length > held_diagonals::most) return 0;
    kind& like = kinds_[length & (kinds - 1)];
    if (like.length != length || !is_like(like, a.indices + first, a.base + i)) {
      look(a.indices + first, length, a.base + i, like);
    }
    return like.word;
  }

 private:
  static constexpr int kinds = 8;
  struct kind {
    std::int64_t length = 0;
    std::uint32_t word = 0;
    std::int32_t place[held_diagonals::most];
  };

  static NEVRAD_INLINE bool is_like(const kind& like,
                                    const std::int32_t* indices,
                                    std::int32_t number) {
    using namespace detail;
    const auto differ_at = [&](std::int64_t k) NEVRAD_INLINED {
      return (load_as<four_unsigned>(indices + k) - static_cast<std::uint32_t>(number)) ^
             load_as<four_unsigned>(like.place + k);
    };
    if (like.length < 4) {
      std::int32_t differ = 0;
      for (std::int64_t k = 0; k < like.length; ++k) {
        differ |= (indices[k] - number) ^ like.place[k];
      }
      return differ == 0;
    }
    four_unsigned differ = differ_at(like.length - 4);
    for (std::int64_t k = 0; k < like.length - 4; k += 4) differ |= differ_at(k);
    return __builtin_reduce_or(differ) == 0;
  }
  [[gnu::noinline]] void look(const std::int32_t* indices,
                              std::int64_t length,
                              std::int32_t number,
                              kind& like) const {
    like.length = 0;
    like.word = 0;
    std::uint32_t word = 0;
    int k = 0;
    for (std::int64_t p = 0; p < length; ++p, ++k) {
      const std::int32_t place = indices[p] - number;
      while (k < known_.count && known_.place[k] < place) ++k;
      if (k == known_.count || known_.place[k] != place) return;
      word |= std::uint32_t{1} << k;
      like.place[p] = place;
    }
    like.length = length;
    like.word = word;
  }

  const held_diagonals& known_;
  kind kinds_[kinds];
};

// Calls visit(first line, count, word) for the lines in turn, one or a block of them at a time.
// Answers the number of the first line of which there is no word, or that of all lines.
template <class T, class Visit>
std::int32_t visit_words(const held_diagonals& known,
                         const compressed_matrix<T>& a,
                         const Visit& visit) {
  const std::int32_t last_block = a.rows - lines_a_block;
  line_words words(known);
  line_shape shape;
  std::uint32_t of_shape = 0;
  std::int32_t i = 0;
  while (i < a.rows) {
    if (i <= last_block) {
      if (shape.length > 0 && a.end[i] - a.begin[i] == shape.length) {
        const std::int32_t from = i;
        shaped_blocks<T> blocks(shape, a, i, a.base);
        while (blocks.has_shape(i, i + a.base)) {
          visit(i, lines_a_block, of_shape);
          blocks.next();
          i += lines_a_block;
          if (i > last_block) break;
        }
        if (i != from) continue;
      }
      if (i >= shape.next_look && may_have_shape(a, i) && learn_line_shape(a, i, a.base, shape)) {
        of_shape = words.of_line(a, i);
        if (of_shape == 0) return i;
        continue;
      }
    }
    const std::uint32_t word = words.of_line(a, i);
    if (word == 0) return i;
    visit(i, 1, word);
    ++i;
  }
  return i;
}

// Whether line i + 1 is line i moved on by one place.
template <class T>
bool next_moves_on(const compressed_matrix<T>& a, std::int32_t i) {
  const std::int64_t first = a.begin[i] - a.base;
  const std::int64_t second = a.begin[i + 1] - a.base;
  const std::int64_t length = a.end[i] - a.begin[i];
  if (a.end[i + 1] - a.begin[i + 1] != length) return false;
  for (std::int64_t k = 0; k < length; ++k) {
    if (a.indices[second + k] - 1 != a.indices[first + k]) return false;
  }
  return true;
}

// Finds the diagonals of a triangle that holds nothing else, ascending, and its own diagonal in all
// lines. False where there are more than `most`, or where the lines change their kind more often
// than each `least_run` of them: rows that lack different entries than their neighbours take
// several times as long. Others than triangles of grids and bands are told by some of their lines.
template <class T>
bool find_diagonals(const compressed_matrix<T>& a,
                    triangle side,
                    std::int32_t most,
                    std::int32_t least_run,
                    held_diagonals& found) {
  constexpr std::int32_t samples = 32;
  constexpr std::int32_t pairs = 3;  // of neighbouring lines, a sample
  const std::int32_t least = 4 * samples;
  const std::int64_t entries = csr_entries(a);
  if (a.rows < least || a.begin[0] != a.base || entries < a.rows) return false;
  const auto add_line = [&](std::int32_t i) {
    for (std::int64_t p = a.begin[i] - a.base; p < a.end[i] - a.base; ++p) {
      if (!found.add(a.indices[p] - a.base - i) || found.count > most) return false;
    }
    return true;
  };
  std::int32_t alike = 0;
  for (std::int32_t s = 0; s < samples; ++s) {
    const auto i = static_cast<std::int32_t>(std::int64_t{a.rows - pairs} * s / samples);
    if (a.end[i] - a.begin[i] > most || !add_line(i)) return false;
    for (std::int32_t k = 0; k < pairs; ++k) alike += next_moves_on(a, i + k) ? 1 : 0;
  }
  if (found.count == 0 || 5 * alike < 4 * samples * pairs) return false;
  // Diagonals at the border of a grid that wraps around are met on the way.
  for (int again = 0; again < 4; ++again) {
    const bool lower = side == triangle::lower;
    const std::int32_t own = lower ? found.count - 1 : 0;
    if (found.place[own] != 0 || entries * 2 < std::int64_t{a.rows} * found.count) return false;
    std::uint32_t common = found.all();
    std::uint32_t before = common;
    std::int64_t changes = 0;
    std::int32_t end = a.begin[0];
    const std::int32_t stop =
        visit_words(found, a, [&](std::int32_t i, int count, std::uint32_t w) {
          common &= a.begin[i] == end ? w : 0;  // packed
          end = a.end[i + count - 1];
          changes += w != before ? 1 : 0;
          before = w;
        });
    if ((common >> own & 1) == 0 || changes * least_run > std::max(stop, least)) return false;
    if (stop == a.rows) return true;
    const std::int32_t known = found.count;
    if (!add_line(stop) || found.count == known) return false;
  }
  return false;
}

}  // namespace nevrad
