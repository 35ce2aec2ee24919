#include "matrix/expand.h"

#include "arith/products.h"
#include "matrix/sorted_rows.h"

#include <string.h>

namespace nevrad {

namespace {

// Which entries of the source are taken.
template <class T>
struct taken_triangle {
  const compressed_matrix<T>& source;
  triangle side;
  diagonal ones;

  // Calls take(row, column, value) for each taken entry and, with ones on the diagonal,
  // take_one(row) behind the entries of each row.
  template <class Take, class TakeOne>
  NEVRAD_INLINE void for_each(const Take& take, const TakeOne& take_one) const {
    const std::int32_t base = source.base;
    const bool unit = ones == diagonal::unit;
    for (std::int32_t i = 0; i < source.rows; ++i) {
      const std::int64_t last = source.end[i] - base;
      for (std::int64_t e = source.begin[i] - base; e < last; ++e) {
        const std::int32_t c = source.indices[e] - base;
        const bool inside = side == triangle::lower ? c < i : c > i;
        if (inside || (c == i && !unit)) take(i, c, source.values[e]);
      }
      if (unit) take_one(i);
    }
  }
};

// Entries of each line of the transposed triangle (a) and of the result (b), and their totals.
struct line_counts {
  std::int32_t* a;
  std::int32_t* b;
  std::int32_t total_a = 0;
  std::int32_t total_b = 0;
};

// A result being filled by lines in any order: next[c] is the next free slot of line c. The pointer
// array has room for that, see the transposition.
template <class T>
class line_filler {
 public:
  line_filler(owned_matrix<T>& result, const std::int32_t* count) : result_(result) {
    std::int32_t* const p = result.begin;
    p[0] = 0;
    p[1] = 0;
    for (std::int32_t c = 0; c < result.rows; ++c) p[c + 2] = p[c + 1] + count[c];
    result.base = 0;
    result.sorted = 1;
  }
  NEVRAD_INLINE void add(std::int32_t line, std::int32_t index, T value) const {
    const std::int32_t slot = result_.begin[line + 1]++;
    result_.indices[slot] = index;
    result_.values[slot] = value;
  }

 private:
  owned_matrix<T>& result_;
};

// Stage one: the transpose of the taken triangle, conjugated or not; ones stay ones.
template <conjugation C, class T>
void transpose_taken(const taken_triangle<T>& taken,
                     owned_matrix<T>& result,
                     const std::int32_t* count) {
  const line_filler<T> lines(result, count);
  taken.for_each([&](std::int32_t i, std::int32_t c,
                     T value) { lines.add(c, i, conj_if<C>(value)); },
                 [&](std::int32_t i) { lines.add(i, i, one<T>()); });
}

// Stage two: transposes back, with a mirror image of each entry off the diagonal or without. The
// first of each pair is the entry in its own place, the second its image.
enum class mirror { none, plain, image_conjugated, entry_conjugated };

template <mirror M, class T>
void transpose_back(const owned_matrix<T>& source,
                    owned_matrix<T>& result,
                    const std::int32_t* count) {
  constexpr auto in_place = M == mirror::entry_conjugated ? conjugation::yes : conjugation::no;
  constexpr auto in_image = M == mirror::image_conjugated ? conjugation::yes : conjugation::no;
  const line_filler<T> lines(result, count);
  for (std::int32_t r = 0; r < source.rows; ++r) {
    for (std::int32_t e = source.begin[r]; e < source.end[r]; ++e) {
      const std::int32_t c = source.indices[e];
      const T v = source.values[e];
      if (c == r) {
        lines.add(r, r, v);
        continue;
      }
      lines.add(c, r, conj_if<in_place>(v));
      if constexpr (M != mirror::none) lines.add(r, c, conj_if<in_image>(v));
    }
  }
}

template <class T>
line_counts count_taken(const taken_triangle<T>& taken, std::int32_t* block, bool mirrored) {
  const std::int32_t rows = taken.source.rows;
  line_counts counts{block, block + rows};
  memset(block, 0, 2 * sizeof(std::int32_t) * static_cast<std::uint64_t>(rows));
  std::int64_t entries = 0;
  std::int64_t images = 0;
  const auto count_one = [&](std::int32_t i, std::int32_t c) {
    ++counts.a[c];
    ++counts.b[i];
    ++entries;
    if (mirrored && i != c) {
      ++counts.b[c];
      ++images;
    }
  };
  taken.for_each([&](std::int32_t i, std::int32_t c, const T& /*value*/) { count_one(i, c); },
                 [&](std::int32_t i) { count_one(i, i); });
  counts.total_a = static_cast<std::int32_t>(entries);
  counts.total_b = static_cast<std::int32_t>(entries + images);
  return counts;
}

// For expand_at_once: `a` counts the images of each row, `b` its own entries.
template <class T>
line_counts count_images(const taken_triangle<T>& taken, std::int32_t* block, bool mirrored) {
  const compressed_matrix<T>& source = taken.source;
  const std::int32_t rows = source.rows;
  const std::int32_t base = source.base;
  const bool lower = taken.side == triangle::lower;
  const bool unit = taken.ones == diagonal::unit;
  line_counts counts{block, block + rows};
  memset(block, 0, sizeof(std::int32_t) * static_cast<std::uint64_t>(rows));
  std::int64_t entries = 0;
  std::int64_t on_diagonal = 0;
  for (std::int32_t i = 0; i < rows; ++i) {
    const std::int64_t last = source.end[i] - base;
    std::int32_t inside = 0;
    std::int32_t stored = 0;
    for (std::int64_t e = source.begin[i] - base; e < last; ++e) {
      const std::int32_t c = source.indices[e] - base;
      stored += c == i ? 1 : 0;
      if (lower ? c >= i : c <= i) continue;
      ++inside;
      ++counts.a[c];
    }
    const std::int32_t diagonals = unit ? 1 : stored;
    counts.b[i] = inside + diagonals;
    entries += inside;
    on_diagonal += diagonals;
  }
  counts.total_a = static_cast<std::int32_t>(entries + on_diagonal);
  counts.total_b = static_cast<std::int32_t>((mirrored ? 2 * entries : entries) + on_diagonal);
  return counts;
}

// Where the rows of the source ascend, the second transposition brings the taken entries back to
// where they stood: they are copied there, and only their images are scattered. A row's images come
// from rows further up (an upper triangle's, in front of its own entries) or further down (behind
// them), in the order in which those rows are walked.
template <conjugation C, mirror M, class T>
void expand_at_once(const taken_triangle<T>& taken,
                    owned_matrix<T>& result,
                    const line_counts& counts) {
  constexpr bool mirrored = M != mirror::none;
  constexpr bool entry_turned = (C == conjugation::yes) != (M == mirror::entry_conjugated);
  constexpr bool image_turned = (C == conjugation::yes) != (M == mirror::image_conjugated);
  const bool lower = taken.side == triangle::lower;
  const std::int32_t rows = taken.source.rows;
  std::int32_t* const begin = result.begin;
  std::int32_t* const next = counts.b;  // where a row's next image goes
  std::int32_t at = 0;
  for (std::int32_t i = 0; i < rows; ++i) {
    const std::int32_t images = mirrored ? counts.a[i] : 0;
    const std::int32_t own = counts.b[i];
    begin[i] = at;
    next[i] = lower ? at + own : at;
    at += own + images;
  }
  begin[rows] = at;
  result.base = 0;
  result.sorted = 1;
  std::int32_t row = -1;
  std::int32_t slot = 0;
  const auto put = [&](std::int32_t i, std::int32_t c, T value) {
    if (i != row) {
      row = i;
      slot = lower ? begin[i] : next[i];
    }
    result.indices[slot] = c;
    result.values[slot++] = value;
  };
  taken.for_each(
      [&](std::int32_t i, std::int32_t c, T value) {
        if (i == c) {
          put(i, c, conj_if<C>(value));
          return;
        }
        put(i, c, conj_if<entry_turned ? conjugation::yes : conjugation::no>(value));
        if constexpr (mirrored) {
          const std::int32_t to = next[c]++;
          result.indices[to] = i;
          result.values[to] = conj_if<image_turned ? conjugation::yes : conjugation::no>(value);
        }
      },
      [&](std::int32_t i) { put(i, i, one<T>()); });
}

template <class T>
scratch<std::int32_t> count_block(const compressed_matrix<T>& source) {
  const std::uint64_t words = 2 * static_cast<std::uint64_t>(source.rows);
  return scratch<std::int32_t>(rounded_aligned_alloc(cache_line, words * sizeof(std::int32_t)));
}

template <conjugation C, mirror M, class T>
status expand_with_stages(const taken_triangle<T>& taken, owned_matrix<T>** out) {
  const std::int32_t rows = taken.source.rows;
  const scratch<std::int32_t> block = count_block(taken.source);
  if (!block) return alloc_failed;
  // Ones stand behind the other entries of a row when they are walked.
  const bool at_once = (taken.ones == diagonal::stored || taken.side == triangle::lower) &&
                       rows_ascend(taken.source);
  constexpr bool mirrored = M != mirror::none;
  const line_counts counts = at_once ? count_images(taken, block.get(), mirrored)
                                     : count_taken(taken, block.get(), mirrored);
  scoped_matrix<T> transposed;
  const status made = owned_csr_alloc(rows, rows, counts.total_a, transposed.out());
  if (made != success) return made;
  owned_matrix<T>* result = nullptr;
  const status made_result = owned_csr_alloc(rows, rows, counts.total_b, &result);
  if (made_result != success) return made_result;
  *out = result;
  if (at_once) {
    expand_at_once<C, M>(taken, *result, counts);
    return success;
  }
  transpose_taken<C>(taken, *transposed, counts.a);
  transpose_back<M>(*transposed, *result, counts.b);
  return success;
}

template <conjugation C, class T>
status extract_transposed(const taken_triangle<T>& taken, owned_matrix<T>** out) {
  const std::int32_t rows = taken.source.rows;
  const scratch<std::int32_t> block = count_block(taken.source);
  if (!block) return alloc_failed;
  const line_counts counts = count_taken(taken, block.get(), false);
  owned_matrix<T>* result = nullptr;
  const status made = owned_csr_alloc(rows, rows, counts.total_a, &result);
  if (made != success) return made;
  transpose_taken<C>(taken, *result, counts.a);
  *out = result;
  return success;
}

}  // namespace

template <class T>
status expand_symmetric(const compressed_matrix<T>& source,
                        triangle side,
                        diagonal ones,
                        owned_matrix<T>** out) {
  return expand_with_stages<conjugation::no, mirror::plain, T>({source, side, ones}, out);
}

template <class T>
status expand_symmetric_conjugate(const compressed_matrix<T>& source,
                                  triangle side,
                                  diagonal ones,
                                  owned_matrix<T>** out) {
  return expand_with_stages<conjugation::yes, mirror::plain, T>({source, side, ones}, out);
}

template <class T>
status expand_hermitian(const compressed_matrix<T>& source,
                        triangle side,
                        diagonal ones,
                        owned_matrix<T>** out) {
  return expand_with_stages<conjugation::no, mirror::image_conjugated, T>({source, side, ones},
                                                                          out);
}

template <class T>
status expand_hermitian_conjugate(const compressed_matrix<T>& source,
                                  triangle side,
                                  diagonal ones,
                                  owned_matrix<T>** out) {
  return expand_with_stages<conjugation::no, mirror::entry_conjugated, T>({source, side, ones},
                                                                          out);
}

template <class T>
status extract_triangle(const compressed_matrix<T>& source,
                        triangle side,
                        diagonal ones,
                        owned_matrix<T>** out) {
  return expand_with_stages<conjugation::no, mirror::none, T>({source, side, ones}, out);
}

template <class T>
status extract_triangle_transposed(const compressed_matrix<T>& source,
                                   triangle side,
                                   diagonal ones,
                                   owned_matrix<T>** out) {
  return extract_transposed<conjugation::no, T>({source, side, ones}, out);
}

template <class T>
status extract_triangle_conjugate_transposed(const compressed_matrix<T>& source,
                                             triangle side,
                                             diagonal ones,
                                             owned_matrix<T>** out) {
  return extract_transposed<conjugation::yes, T>({source, side, ones}, out);
}

template <class T>
expansion_form form_of(expansion<T> expand) {
  using enum entry_use;
  if (expand == extract_triangle<T>) return {plain, none, plain};
  if (expand == extract_triangle_transposed<T>) return {none, plain, plain};
  if constexpr (is_complex<T>) {
    if (expand == expand_symmetric_conjugate<T>) return {conjugated, conjugated, conjugated};
    if (expand == expand_hermitian<T>) return {plain, conjugated, plain};
    if (expand == expand_hermitian_conjugate<T>) return {conjugated, plain, plain};
    if (expand == extract_triangle_conjugate_transposed<T>) return {none, conjugated, conjugated};
  }
  return {plain, plain, plain};
}

#define NEVRAD_INSTANTIATE_ONE(name, T) \
  template status name(const compressed_matrix<T>&, triangle, diagonal, owned_matrix<T>**);
#define NEVRAD_INSTANTIATE(letter, T)                    \
  NEVRAD_INSTANTIATE_ONE(expand_symmetric, T)            \
  NEVRAD_INSTANTIATE_ONE(extract_triangle, T)            \
  NEVRAD_INSTANTIATE_ONE(extract_triangle_transposed, T) \
  template expansion_form form_of(expansion<T>);
NEVRAD_FOR_EACH_TYPE(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE
#define NEVRAD_INSTANTIATE(letter, T)                   \
  NEVRAD_INSTANTIATE_ONE(expand_symmetric_conjugate, T) \
  NEVRAD_INSTANTIATE_ONE(expand_hermitian, T)           \
  NEVRAD_INSTANTIATE_ONE(expand_hermitian_conjugate, T) \
  NEVRAD_INSTANTIATE_ONE(extract_triangle_conjugate_transposed, T)
NEVRAD_FOR_EACH_COMPLEX(NEVRAD_INSTANTIATE)
#undef NEVRAD_INSTANTIATE
#undef NEVRAD_INSTANTIATE_ONE

}  // namespace nevrad
