// Passes over dense vectors that drivers share: scaling y, and adding private vectors to it.
#pragma once

#include "arith/dense.h"
#include "arith/lanes.h"
#include "frame/regions.h"
#include "mv/thread_vectors.h"

#include <string.h>

#include <type_traits>

namespace nevrad {

// y_i *= beta on a team of `threads`.
template <class T>
void scale_on_team(int threads, std::int32_t count, T* y, T beta) {
  for_static_blocks_on_team(threads, count, [=](std::int32_t first, std::int32_t last) {
    dense_scale(last - first, y + first, beta);
  });
}

// The bits of a real element, or of both parts of a complex one together.
template <class T>
using bits_of = std::conditional_t<is_single<T>, std::uint32_t, std::uint64_t>;

template <class T>
NEVRAD_INLINE bits_of<T> all_bits(T a) {
  if constexpr (is_complex<T>) {
    return __builtin_bit_cast(bits_of<T>, a.re) | __builtin_bit_cast(bits_of<T>, a.im);
  } else {
    return __builtin_bit_cast(bits_of<T>, a);
  }
}

// One cleared vector for each of up to `budget` chunks of lines, one behind the other, and the
// bounds of the chunks.
template <class T>
struct chunk_vectors {
  scratch<T> elements;
  scratch<std::int32_t> bounds;
  std::int32_t length = 0;

  T* operator[](int c) const { return elements.get() + static_cast<std::int64_t>(c) * length; }

  T* cleared(int c) const {
    T* const vector = (*this)[c];
    memset(vector, 0, sizeof(T) * static_cast<std::uint64_t>(length));
    return vector;
  }

  // Answers 2 when memory is short, and also when the size does not fit.
  status allocate(std::int32_t count, int budget) {
    const auto parts = static_cast<std::uint64_t>(budget);
    std::uint64_t size = 0;
    if (checked_multiply(static_cast<std::uint64_t>(count), parts * sizeof(T), &size) != success) {
      return alloc_failed;
    }
    elements = scratch<T>(rounded_aligned_alloc(cache_line, size));
    if (!elements) return alloc_failed;
    bounds = scratch<std::int32_t>(plain_alloc((parts + 1) * sizeof(std::int32_t)));
    if (!bounds) return alloc_failed;
    length = count;
    return success;
  }
};

// y_i += vectors[v][i] for v ascending from 0 to count - 1, for i in first to last - 1. Blocks that
// stay in the nearest cache let each vector be read as one stream.
template <class T, class Vectors>
NEVRAD_INLINE void add_vectors(std::int32_t first,
                               std::int32_t last,
                               T* y,
                               int count,
                               const Vectors& vectors) {
  constexpr std::int32_t block = 8192 / sizeof(T);
  for (std::int32_t from = first; from < last; from += block) {
    const std::int32_t to = last - from > block ? from + block : last;
    for (int v = 0; v < count; ++v) {
      const T* const terms = vectors[v];
      for (std::int32_t i = from; i < to; ++i) y[i] = add(y[i], terms[i]);
    }
  }
}

// Phases one and three of a walk over columns. Elements could be dealt out in chunks of any size,
// to the same bits; whole blocks, because small chunks make two threads write to one cache line:
// chunks of four take four times as long.

// y_i = beta y_i, and for a diagonal of ones y_i += x_i alpha: it is added here and nowhere else.
// For first to last - 1; answers whether all of these are now +0.
template <diagonal Ones, class T>
NEVRAD_INLINE bool prepare_y(std::int32_t first,
                             std::int32_t last,
                             const T* x,
                             T* y,
                             T alpha,
                             T beta) {
  bits_of<T> seen{};
  for (std::int32_t i = first; i < last; ++i) {
    T yi = multiply_fused(y[i], beta);
    if constexpr (Ones == diagonal::unit) yi = multiply_add(yi, x[i], alpha);
    y[i] = yi;
    seen |= all_bits(yi);
  }
  return seen == 0;
}
template <diagonal Ones, class T>
void prepare_y_on_team(int budget, std::int32_t rows, const T* x, T* y, T alpha, T beta) {
  for_static_blocks_on_team(budget, rows, [=](std::int32_t first, std::int32_t last) {
    prepare_y<Ones>(first, last, x, y, alpha, beta);
  });
}

// y_i += vectors[t][i], t ascending.
template <class T>
void add_thread_vectors(int budget, std::int32_t rows, T* y, const thread_vectors<T>& vectors) {
  for_static_blocks_on_team(budget, rows, [&](std::int32_t first, std::int32_t last) {
    add_vectors(first, last, y, budget, vectors);
  });
}

}  // namespace nevrad
