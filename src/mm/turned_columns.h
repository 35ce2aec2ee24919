// C := alpha * A * B + beta * C in the rounding of the sweeps, column-major and real, straight from
// a triangle of a symmetric A that lies on few diagonals (see held_diagonals.h).
//
// Neighbouring rows as lanes: B and C are read where they lie, and nothing is packed.
#pragma once

#include "arith/tile.h"
#include "mm/held_diagonals.h"
#include "mm/operands.h"
#include "mm/panels.h"
#include "mm/row_parts.h"

namespace nevrad {

// Rows that go side by side as lanes: a half of a cache line of a column.
template <class T>
inline constexpr int rows_in_lanes = static_cast<int>(cache_line / 2 / sizeof(T));

// Room for the elements and words of a ring.
template <class T>
struct turned_room {
  T* elements;
  std::uint32_t* words;
};

// The values of a triangle by diagonals, and the words of its lines, in a ring of lines.
template <class T>
class turned_values {
 public:
  // Lines that are turned over at once, and that a ring holds besides those within reach. All
  // columns of some go by such lines: less often from one set of streams to the next.
  static constexpr std::int32_t lines_at_once = 1024;

  static std::int64_t ring_lines(const held_diagonals& diagonals, std::int32_t rows) {
    constexpr std::int64_t whole = 64;
    const std::int64_t wanted = std::int64_t{diagonals.reach()} + lines_at_once;
    return (std::min<std::int64_t>(wanted, rows) + whole - 1) / whole * whole;
  }
  static std::int64_t elements(const held_diagonals& diagonals, std::int32_t rows) {
    return step(ring_lines(diagonals, rows)) * diagonals.count;
  }

  turned_values(const held_diagonals& diagonals,
                const told_runs& told,
                const compressed_matrix<T>& a,
                const turned_room<T>& room)
      : a_(a),
        reader_(diagonals, a, told),
        count_(diagonals.count),
        room_(room.elements),
        words_(room.words),
        ring_(ring_lines(diagonals, a.rows)),
        step_(step(ring_)) {}

  std::int64_t ring() const { return ring_; }
  // Values of diagonal k from a line on, with those of lines up to the next multiple of ring()
  // behind it, and few more.
  const T* at(int k, std::int64_t line) const { return room_ + k * step_ + line % ring_; }
  // The words of lines, up to the next multiple of ring().
  const std::uint32_t* words(std::int64_t line) const { return words_ + line % ring_; }

  // Turns over all lines in front of line `stop`.
  void turn_to(std::int64_t stop) {
    const auto end = static_cast<std::int32_t>(std::min<std::int64_t>(stop, a_.rows));
    if (turned_ >= end) return;
    reader_.to(end, [&](std::int32_t line, std::int32_t count, std::uint32_t word) {
      while (count > 0) {
        const std::int64_t slot = line % ring_;
        const auto some = static_cast<std::int32_t>(std::min<std::int64_t>(count, ring_ - slot));
        turn(line, some, word, slot);
        line += some;
        count -= some;
      }
    });
    turned_ = end;
  }

 private:
  static constexpr std::int64_t over = 8;

  // From one diagonal to the next: the first lines stand behind the last ones once more.
  static std::int64_t step(std::int64_t lines) { return (lines + over) | 8; }

  // Lines of one word.
  void turn(std::int32_t line, std::int32_t count, std::uint32_t word, std::int64_t slot) {
    T* to = room_ + slot;
    for (std::int32_t i = 0; i < count; ++i) words_[slot + i] = word;
    // The lines are packed.
    const std::int64_t length = std::popcount(word);
    const T* values = a_.values + (a_.begin[line] - a_.base);
    std::int32_t left = count;
    for (; left >= lines_a_block; left -= lines_a_block) {
      turn_block(values, word, to);
      values += lines_a_block * length;
      to += lines_a_block;
    }
    for (; left > 0; --left, values += length, ++to) turn_line(values, word, to);
    if (slot < over) {
      for (int k = 0; k < count_; ++k) {
        T* const first = room_ + k * step_;
        for (int e = 0; e < over; ++e) first[ring_ + e] = first[e];
      }
    }
  }
  void turn_line(const T* values, std::uint32_t word, T* to) const {
    for (; word != 0; word &= word - 1) to[std::countr_zero(word) * step_] = *values++;
  }
  void turn_block(const T* values, std::uint32_t word, T* to) const {
    const std::int64_t step = step_;
    const std::int64_t length = std::popcount(word);
    const auto take = [&](const T* from) {
      const tile<T> t = transpose(load_tile(from, length));
      for (int e = 0; e < tile_size; ++e) {
        store(to + std::countr_zero(word) * step, t.line[e]);
        word &= word - 1;
      }
    };
    std::int64_t left = length;
    for (; left >= tile_size; left -= tile_size, values += tile_size) take(values);
    for (; left > 0; --left, ++values, word &= word - 1) {
      T* const at = to + std::countr_zero(word) * step;
      for (int r = 0; r < lines_a_block; ++r) at[r] = values[r * length];
    }
  }

  compressed_matrix<T> a_;
  word_reader<T> reader_;
  int count_;
  T* room_;
  std::uint32_t* words_;
  std::int64_t ring_;
  std::int64_t step_;
  std::int32_t turned_ = 0;
};

// What rows take their entries from, in ascending order.
struct turned_sources {
  static constexpr int most = 2 * held_diagonals::most;
  int count = 0;
  int diagonal[most];
  bool own[most];            // or the image of another line's
  std::int64_t place[most];  // from a row to that of B

  turned_sources(const held_diagonals& diagonals, triangle side) {
    const auto add_own = [&] {
      for (int k = 0; k < diagonals.count; ++k) add(k, true, diagonals.place[k]);
    };
    if (side == triangle::lower) add_own();
    for (int k = diagonals.count - 1; k >= 0; --k) {
      if (diagonals.place[k] != 0) add(k, false, -std::int64_t{diagonals.place[k]});
    }
    if (side == triangle::upper) add_own();
  }

 private:
  void add(int k, bool of_line, std::int64_t at) {
    diagonal[count] = k;
    own[count] = of_line;
    place[count++] = at;
  }
};

// Columns of a product.
template <class T>
class turned_columns {
 public:
  turned_columns(const held_diagonals& diagonals,
                 const told_runs& told,
                 const compressed_matrix<T>& a,
                 triangle side,
                 const mm_operands<T>& o,
                 const turned_room<T>& room)
      : diagonals_(diagonals),
        told_(told),
        sources_(diagonals, side),
        side_(side),
        a_(a),
        o_(o),
        room_(room),
        bounds_(a.cols),
        rows_(a.rows) {
    const int own_diagonal = side == triangle::lower ? diagonals.count - 1 : 0;
    usual_own_ = told.lines() > 0 ? told.usual_word() : diagonals.all();
    usual_images_ = usual_own_ & ~(std::uint32_t{1} << own_diagonal);
    for (int k = 0; k < diagonals.count; ++k) {
      if ((usual_own_ >> k & 1) == 0) continue;
      lead_ = std::max<std::int64_t>(lead_, std::abs(diagonals.place[k]));
    }
  }

  // All columns: those behind the last four in the rounding of single ones.
  void multiply() const {
    constexpr std::int32_t most = 4;
    std::int32_t j = 0;
    while (o_.n - j >= 8) {
      const std::int32_t groups = std::min((o_.n - j) / 8, most);
      multiply_groups<8, false>(j, groups);
      j += 8 * groups;
    }
    if (o_.n - j >= 4) {
      multiply_groups<4, false>(j, 1);
      j += 4;
    }
    switch (o_.n - j) {
      case 1:
        return multiply_groups<1, true>(j, 1);
      case 2:
        return multiply_groups<2, true>(j, 1);
      case 3:
        return multiply_groups<3, true>(j, 1);
      default:
        return;
    }
  }

 private:
  static constexpr int L = rows_in_lanes<T>;
  using some = lanes<T, L>;

  // Which diagonals rows have entries on, from the first of some rows on: of those of their own
  // lines, and of their images.
  struct row_words {
    const std::uint32_t* own;
    const std::uint32_t* image;
  };
  struct source {
    const T* values;     // those of row i at values[i]
    std::int64_t place;  // from a row to that of B
  };
  // Columns that go side by side where entries are lacking, as AArch64 has registers for.
  template <int G>
  static constexpr int some_at_once = fixed_hints ? std::min(G, 4) : G;

  // Sources from `first` on, which are of one part of the rows.
  struct segment {
    int first;
    int stop;
    std::int32_t part;
  };
  // How rows find their sources. It holds for rows from `since` on as long as they are in
  // front of `until`.
  struct plan {
    std::int64_t since = 0;
    std::int64_t until = 0;
    bool whole = false;  // no source is of two parts
    int segments = 0;
    source from[turned_sources::most];
    segment part[turned_sources::most];
    // Of the rows that most are like.
    int usual_segments = 0;
    source usual_from[turned_sources::most];
    segment usual_part[turned_sources::most];
  };

  using word_lanes = lanes<std::int32_t, L>;
  using masks =
      typename detail::vector_of<std::conditional_t<sizeof(T) == 8, std::int64_t, std::int32_t>,
                                 L>::type;

  // What rows of which some lack entries meet.
  struct some_sources {
    struct met {
      const T* values;
      std::int64_t place;
      bool all;  // rows meet it
      masks has;
    };
    struct part {
      int stop;
      masks has;
    };
    int segments = 0;
    met from[turned_sources::most];
    part of[turned_sources::most];
  };

  void make_plan(const turned_values<T>& values, std::int32_t i, plan& p) const {
    const std::int64_t ring = values.ring();
    std::int64_t until = std::int64_t{rows_} - L + 1;
    p.since = i;
    p.whole = true;
    p.segments = 0;
    p.usual_segments = 0;
    int usual = 0;
    for (int s = 0; s < sources_.count; ++s) {
      const std::int64_t place = sources_.place[s];
      const auto column =
          static_cast<std::int32_t>(std::clamp<std::int64_t>(i + place, 0, rows_ - 1));
      const std::int32_t stop = bounds_.stop_of(column);
      const std::int32_t part = bounds_.block_of(column);
      if (stop < rows_) {
        p.whole &= i + place + L <= stop;
        until = std::min(until, stop - place - L + 1);
      }
      if (i + place < 0) until = std::min(until, -place);
      const std::int64_t line = sources_.own[s] ? i : column;
      until = std::min(until, i + ring - line % ring);
      p.from[s] = {values.at(sources_.diagonal[s], line) - i, place};
      if (s == 0 || p.part[p.segments - 1].part != part) p.part[p.segments++] = {s, s, part};
      p.part[p.segments - 1].stop = s + 1;
      if (((sources_.own[s] ? usual_own_ : usual_images_) >> sources_.diagonal[s] & 1) == 0)
        continue;
      if (usual == 0 || p.usual_part[p.usual_segments - 1].part != part) {
        p.usual_part[p.usual_segments++] = {usual, usual, part};
      }
      p.usual_from[usual++] = p.from[s];
      p.usual_part[p.usual_segments - 1].stop = usual;
    }
    p.until = p.whole ? until : std::int64_t{i} + 1;
  }

  // The words of images for rows first to stop - 1, from those of lines.
  void find_images(const turned_values<T>& values,
                   std::int32_t first,
                   std::int32_t stop,
                   std::uint32_t* images) const {
    std::fill(images, images + (stop - first), 0U);
    for (int k = 0; k < diagonals_.count; ++k) {
      const std::int32_t place = diagonals_.place[k];
      if (place == 0) continue;
      const std::uint32_t bit = std::uint32_t{1} << k;
      // Row i gets the entry of line i - place.
      std::int32_t i = std::max(first, place);
      const std::int32_t end = std::min(stop, rows_ + std::min(place, 0));
      while (i < end) {
        const std::int64_t line = std::int64_t{i} - place;
        const std::uint32_t* const words = values.words(line);
        const auto some = static_cast<std::int32_t>(
            std::min<std::int64_t>(end - i, values.ring() - line % values.ring()));
        for (std::int32_t e = 0; e < some; ++e) images[i - first + e] |= words[e] & bit;
        i += some;
      }
    }
  }

  template <int G, bool Single>
  [[gnu::noinline]] void multiply_groups(std::int32_t j, std::int32_t groups) const {
    turned_values<T> values(diagonals_, told_, a_, room_);
    const bool lower = side_ == triangle::lower;
    const std::int64_t ahead = lower ? diagonals_.reach() : 0;
    std::uint32_t images[turned_values<T>::lines_at_once];
    plan p;
    std::int32_t i = 0;
    while (i < rows_) {
      const std::int64_t left =
          std::min<std::int64_t>(rows_ - i, values.ring() - i % values.ring());
      const auto stop =
          i + static_cast<std::int32_t>(std::min<std::int64_t>(left, values.lines_at_once));
      values.turn_to(stop + ahead);
      find_images(values, i, stop, images);
      const row_words words{values.words(i), images};
      for (std::int32_t g = 0; g < groups; ++g) {
        const T* const b = line_at(o_.b, j + g * G, o_.ldb);
        T* const c = line_at(o_.c, j + g * G, o_.ldc);
        multiply_lines<G, Single>(values, words, i, stop, b, c, p);
      }
      i = stop;
    }
  }

  // Rows first to stop - 1 of a group of columns, whose words these are.
  template <int G, bool Single>
  NEVRAD_INLINE void multiply_lines(const turned_values<T>& values,
                                    row_words words,
                                    std::int32_t first,
                                    std::int32_t stop,
                                    const T* b,
                                    T* c,
                                    plan& p) const {
    some_sources found;
    std::int32_t i = first;
    for (; i + L <= stop; i += L, words.own += L, words.image += L) {
      if (i < p.since || i >= p.until) make_plan(values, i, p);
      if (p.whole && all_are(words.own, usual_own_) && all_are(words.image, usual_images_)) {
        add_rows<G, Single>(p, i, b, c);
        continue;
      }
      if constexpr (!Single) {
        if (p.whole && find_some(p, i, words, found)) {
          for (int k = 0; k < G; k += some_at_once<G>) {
            add_some<some_at_once<G>>(found, i, line_at(b, k, o_.ldb), line_at(c, k, o_.ldc));
          }
          continue;
        }
      }
      for (int r = 0; r < L; ++r) add_row<G, Single>(values, words, r, i + r, b, c);
    }
    for (int r = 0; i < stop; ++r, ++i) add_row<G, Single>(values, words, r, i, b, c);
  }

  static NEVRAD_INLINE bool all_are(const std::uint32_t* words, std::uint32_t word) {
    const auto differ =
        load<L>(reinterpret_cast<const std::int32_t*>(words)).v ^ static_cast<std::int32_t>(word);
    return __builtin_reduce_or(differ) == 0;
  }
  static NEVRAD_INLINE std::uint32_t common(const std::uint32_t* words) {
    std::uint32_t w = words[0];
    for (int r = 1; r < L; ++r) w &= words[r];
    return w;
  }
  static NEVRAD_INLINE std::uint32_t any(const std::uint32_t* words) {
    std::uint32_t w = words[0];
    for (int r = 1; r < L; ++r) w |= words[r];
    return w;
  }

  // Rows that have the usual entries.
  template <int G, bool Single>
  NEVRAD_INLINE void add_rows(const plan& p, std::int32_t i, const T* b_at, T* c_at) const {
    const T* const b = b_at + i;
    T* const c = c_at + i;
    if constexpr (!fixed_hints) {
      for (int k = 0; k < G; ++k) {
        const T* const lead = b + lead_;
        prefetch<cache::level1>(lead + k * std::int64_t{o_.ldb}, 8 * cache_line);
        prefetch<cache::level1>(c + k * std::int64_t{o_.ldc}, 8 * cache_line);
      }
    }
    if constexpr (Single) scale_rows<G>(c);
    std::int32_t next = 0;  // the part behind the last one
    for (int q = 0; q < p.usual_segments; ++q) {
      const segment of = p.usual_part[q];
      const source* const from = p.usual_from + of.first;
      const source* const stop = p.usual_from + of.stop;
      if (Single && of.part != next) pass_over<G>(c);
      if (Single || q > 0) {
        add_part<G, false>(from, stop, i, b, c, o_);
      } else {
        add_part<G, true>(from, stop, i, b, c, o_);
      }
      next = of.part + 1;
    }
    if (Single && next != bounds_.count()) pass_over<G>(c);
  }

  template <int G, bool First>
  [[gnu::noinline]] static void add_part(const source* from,
                                         const source* stop,
                                         std::int64_t i,
                                         const T* b,
                                         T* c,
                                         const mm_operands<T>& o) {
    const std::int64_t ldb = o.ldb;
    some sum[G];
    for (int k = 0; k < G; ++k) sum[k] = zero_lanes<T, L>();
#pragma clang loop unroll(disable)
    for (; from < stop; ++from) {
      const some v = load<L>(from->values + i);
      const T* const x = b + from->place;
#pragma clang loop unroll(full)
      for (int k = 0; k < G; ++k) sum[k] = multiply_add(sum[k], v, load<L>(x + k * ldb));
    }
    const std::int64_t ldc = o.ldc;
    const some alpha = broadcast<L>(to_lane(o.alpha));
    const some beta = broadcast<L>(to_lane(o.beta));
#pragma clang loop unroll(full)
    for (int k = 0; k < G; ++k) {
      T* const at = c + k * ldc;
      some row = load<L>(at);
      if (First) row = multiply_fused(row, beta);
      store(at, multiply_add(row, sum[k], alpha));
    }
  }

  template <int G>
  void scale_rows(T* c) const {
    for (int k = 0; k < G; ++k, c += o_.ldc) {
      store(c, multiply_fused(load<L>(c), broadcast<L>(to_lane(o_.beta))));
    }
  }
  // Single columns get a sum of zero for parts that hold nothing of a row, once for a run of them.
  template <int G>
  void pass_over(T* c) const {
    const some alpha = broadcast<L>(to_lane(o_.alpha));
    for (int k = 0; k < G; ++k, c += o_.ldc) {
      store(c, multiply_add(load<L>(c), zero_lanes<T, L>(), alpha));
    }
  }

  // False, where rows of B would be read that are not there.
  [[gnu::noinline]] bool find_some(const plan& p,
                                   std::int32_t i,
                                   const row_words& words,
                                   some_sources& found) const {
    const std::uint32_t all_own = common(words.own);
    const std::uint32_t all_images = common(words.image);
    const std::uint32_t any_own = any(words.own);
    const std::uint32_t any_images = any(words.image);
    const word_lanes own = load<L>(reinterpret_cast<const std::int32_t*>(words.own));
    const word_lanes images = load<L>(reinterpret_cast<const std::int32_t*>(words.image));
    int count = 0;
    found.segments = 0;
    for (int q = 0; q < p.segments; ++q) {
      masks met{};
      for (int s = p.part[q].first; s < p.part[q].stop; ++s) {
        const int bit = sources_.diagonal[s];
        const bool is_own = sources_.own[s];
        if (((is_own ? any_own : any_images) >> bit & 1) == 0) continue;
        const std::int64_t place = p.from[s].place;
        if (i + place < 0 || i + place + L > rows_) return false;
        const bool all = ((is_own ? all_own : all_images) >> bit & 1) != 0;
        const masks has = mask_of(is_own ? own : images, bit);
        met |= has;
        found.from[count++] = {p.from[s].values + i, place, all, has};
      }
      if (__builtin_reduce_or(met) != 0) found.of[found.segments++] = {count, met};
    }
    return true;
  }

  template <int G>
  [[gnu::noinline]] void add_some(const some_sources& found,
                                  std::int32_t i,
                                  const T* b_at,
                                  T* c_at) const {
    const T* const b = b_at + i;
    T* const c = c_at + i;
    const std::int64_t ldb = o_.ldb;
    const std::int64_t ldc = o_.ldc;
    const some alpha = broadcast<L>(to_lane(o_.alpha));
    const some beta = broadcast<L>(to_lane(o_.beta));
    int s = 0;
    for (int q = 0; q < found.segments; ++q) {
      some sum[G];
      for (int k = 0; k < G; ++k) sum[k] = zero_lanes<T, L>();
#pragma clang loop unroll(disable)
      for (; s < found.of[q].stop; ++s) {
        const auto& from = found.from[s];
        const some v = load<L>(from.values);
        const T* const x = b + from.place;
        if (from.all) {
#pragma clang loop unroll(full)
          for (int k = 0; k < G; ++k) sum[k] = multiply_add(sum[k], v, load<L>(x + k * ldb));
        } else {
          const masks has = from.has;
#pragma clang loop unroll(full)
          for (int k = 0; k < G; ++k) {
            const some more = multiply_add(sum[k], v, load<L>(x + k * ldb));
            sum[k].v = has ? more.v : sum[k].v;
          }
        }
      }
      const masks has = found.of[q].has;
      for (int k = 0; k < G; ++k) {
        some row = load<L>(c + k * ldc);
        if (q == 0) row = multiply_fused(row, beta);
        const some more = multiply_add(row, sum[k], alpha);
        store(c + k * ldc, some{has ? more.v : row.v});
      }
    }
  }
  static NEVRAD_INLINE masks mask_of(word_lanes words, int bit) {
    const auto has = (words.v << (31 - bit)) >> 31;
    return __builtin_convertvector(has, masks);
  }

  // Any row.
  template <int G, bool Single>
  [[gnu::noinline]] void add_row(const turned_values<T>& values,
                                 const row_words& words,
                                 int r,
                                 std::int32_t i,
                                 const T* b,
                                 T* c_at) const {
    T* const c = c_at + i;
    const std::int64_t ldb = o_.ldb;
    const std::int64_t ldc = o_.ldc;
    T sum[G] = {};
    T y[G];
    for (int k = 0; k < G; ++k) y[k] = c[k * ldc] * o_.beta;
    std::int32_t next = 0;  // the part behind the last one
    std::int64_t stop = 0;  // of the open part
    const auto close = [&] {
      for (int k = 0; k < G; ++k) {
        y[k] = fma(sum[k], o_.alpha, y[k]);
        sum[k] = T{};
      }
    };
    const auto pass_over = [&](bool others) {
      if (!Single || !others) return;
      for (int k = 0; k < G; ++k) y[k] = fma(T{}, o_.alpha, y[k]);
    };
    for (int s = 0; s < sources_.count; ++s) {
      const std::uint32_t word = sources_.own[s] ? words.own[r] : words.image[r];
      if ((word >> sources_.diagonal[s] & 1) == 0) continue;
      const auto column = static_cast<std::int32_t>(i + sources_.place[s]);
      if (column >= stop) {
        if (stop > 0) close();
        const std::int32_t part = bounds_.block_of(column);
        pass_over(part != next);
        next = part + 1;
        stop = bounds_.stop_of(column);
      }
      const T v = *values.at(sources_.diagonal[s], sources_.own[s] ? i : column);
      for (int k = 0; k < G; ++k) sum[k] = fma(v, b[column + k * ldb], sum[k]);
    }
    close();
    pass_over(next != bounds_.count());
    for (int k = 0; k < G; ++k) c[k * ldc] = y[k];
  }

  const held_diagonals& diagonals_;
  const told_runs& told_;
  turned_sources sources_;
  triangle side_;
  compressed_matrix<T> a_;
  mm_operands<T> o_;
  turned_room<T> room_;
  block_bounds bounds_;
  std::int32_t rows_;
  // The entries of rows that most are like: not all, where some diagonal has but few.
  std::uint32_t usual_own_;
  std::uint32_t usual_images_;
  std::int64_t lead_ = 0;  // how far such rows reach ahead
};

}  // namespace nevrad
