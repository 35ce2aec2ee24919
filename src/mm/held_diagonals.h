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

// Walks the lines in turn, from a given one on, and tells their words.
template <class T>
class word_walk {
 public:
  word_walk(const held_diagonals& known, const compressed_matrix<T>& a, std::int32_t first)
      : a_(a), words_(known), line_(first) {}

  // Calls visit(first line, count, word) for the lines in front of line `stop`, one or a block of
  // them at a time. Answers the number of the first line of which there is no word, or `stop`.
  template <class Visit>
  std::int32_t to(std::int32_t stop, const Visit& visit) {
    const std::int32_t last_block = stop - lines_a_block;
    std::int32_t i = line_;
    while (i < stop) {
      if (i <= last_block) {
        if (shape_.length > 0 && a_.end[i] - a_.begin[i] == shape_.length) {
          const std::int32_t from = i;
          shaped_blocks<T> blocks(shape_, a_, i, a_.base);
          while (blocks.has_shape(i, i + a_.base)) {
            visit(i, lines_a_block, of_shape_);
            blocks.next();
            i += lines_a_block;
            if (i > last_block) break;
          }
          if (i != from) continue;
        }
        if (i >= shape_.next_look && may_have_shape(a_, i) &&
            learn_line_shape(a_, i, a_.base, shape_)) {
          of_shape_ = words_.of_line(a_, i);
          if (of_shape_ == 0) break;
          continue;
        }
      }
      const std::uint32_t word = words_.of_line(a_, i);
      if (word == 0) break;
      visit(i, 1, word);
      ++i;
    }
    line_ = i;
    return i;
  }

 private:
  const compressed_matrix<T> a_;
  line_words words_;
  line_shape shape_;
  std::uint32_t of_shape_ = 0;
  std::int32_t line_;
};

// The words of the first lines, by runs, so that their indices need not be read again: of all lines
// of a grid of some hundred thousand.
class told_runs {
 public:
  void clear() {
    count_ = 0;
    kinds_ = 0;
    lines_ = 0;
    open_ = 0;
    full_ = false;
  }
  // Lines behind those of before, all of one word, which is not 0 and not that of those before.
  void open(std::int32_t line, std::uint32_t word) {
    close(line);
    open_ = word;
  }
  // Those that are open reach to the line.
  void close(std::int32_t line) {
    if (open_ == 0 || full_) return;
    const std::uint32_t* const kind = std::find(kind_, kind_ + kinds_, open_);
    const auto k = static_cast<int>(kind - kind_);
    if (k == most_kinds) full_ = true;
    if (k == kinds_ && !full_) {
      kind_[kinds_] = open_;
      lines_of_kind_[kinds_++] = 0;
    }
    const std::int32_t before = lines_;
    while (lines_ < line && !full_) {
      const std::int32_t lines = std::min(line - lines_, longest);
      run_[count_++] = static_cast<std::uint16_t>((lines - 1) * most_kinds + k);
      lines_ += lines;
      full_ = count_ == most_runs;
    }
    if (lines_ > before) lines_of_kind_[k] += lines_ - before;
  }

  std::int32_t lines() const { return lines_; }
  std::int32_t lines_of(int run) const { return run_[run] / most_kinds + 1; }
  std::uint32_t word_of(int run) const { return kind_[run_[run] % most_kinds]; }
  // Whether most of these lines have the same word.
  bool are_mostly_alike() const {
    const auto* const most = std::max_element(lines_of_kind_, lines_of_kind_ + kinds_);
    return kinds_ > 0 && *most > lines_ / 4 * 3;
  }
  // The word of most of these lines; 0 when there are none.
  std::uint32_t usual_word() const {
    const auto* const most = std::max_element(lines_of_kind_, lines_of_kind_ + kinds_);
    return kinds_ > 0 ? kind_[most - lines_of_kind_] : 0;
  }

 private:
  static constexpr int most_runs = 16384;
  static constexpr int most_kinds = 32;
  static constexpr std::int32_t longest = 65536 / most_kinds;

  int count_ = 0;
  int kinds_ = 0;
  std::int32_t lines_ = 0;  // of all runs
  std::uint32_t open_ = 0;
  bool full_ = false;
  std::uint32_t kind_[most_kinds];
  std::int32_t lines_of_kind_[most_kinds];
  std::uint16_t run_[most_runs];
};

// The words of lines in turn: those that are told, and those of the others.
template <class T>
class word_reader {
 public:
  word_reader(const held_diagonals& known, const compressed_matrix<T>& a, const told_runs& told)
      : told_(told),
        rest_(known, a, told.lines()),
        left_(told.lines() > 0 ? told.lines_of(0) : 0) {}

  // Calls visit(first line, count, word) for the lines in front of line `stop` that are left.
  template <class Visit>
  void to(std::int32_t stop, const Visit& visit) {
    const std::int32_t end = std::min(stop, told_.lines());
    while (line_ < end) {
      const std::int32_t count = std::min(left_, end - line_);
      visit(line_, count, told_.word_of(run_));
      line_ += count;
      left_ -= count;
      if (left_ == 0 && line_ < told_.lines()) left_ = told_.lines_of(++run_);
    }
    if (line_ < stop) line_ = rest_.to(stop, visit);
  }

 private:
  const told_runs& told_;
  word_walk<T> rest_;
  int run_ = 0;
  std::int32_t line_ = 0;
  std::int32_t left_;  // of the run
};

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
// several times as long. What the look through all lines finds is told. Others than triangles of
// grids and bands are told by some of their lines.
template <class T>
bool find_diagonals(const compressed_matrix<T>& a,
                    triangle side,
                    std::int32_t most,
                    std::int32_t least_run,
                    held_diagonals& found,
                    told_runs& told) {
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
    std::uint32_t before = 0;
    std::int64_t changes = 0;
    std::int32_t end = a.begin[0];
    told.clear();
    const std::int32_t stop =
        word_walk<T>(found, a, 0)
            .to(a.rows, [&](std::int32_t i, int count, std::uint32_t w) NEVRAD_INLINED {
              common &= a.begin[i] == end ? w : 0;  // packed
              end = a.end[i + count - 1];
              if (w == before) return;
              before = w;
              ++changes;
              told.open(i, w);
            });
    if ((common >> own & 1) == 0 || changes * least_run > std::max(stop, least)) return false;
    if (stop == a.rows) {
      told.close(stop);
      return true;
    }
    const std::int32_t known = found.count;
    if (!add_line(stop) || found.count == known) return false;
  }
  return false;
}

}  // namespace nevrad
