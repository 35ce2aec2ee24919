// Updates of lines of C by a diagonal matrix: lines lo up to but excluding hi.
#pragma once

#include "arith/lanes.h"
#include "arith/prefetch.h"
#include "mm/operands.h"

namespace nevrad {

// Elements a step, and what unit_update takes at once and fetches ahead where it streams.
inline constexpr int diag_step = 4;
inline constexpr int unit_trip = 16;
inline constexpr int unit_ahead = 1024;  // bytes, level 1, keep

// Lines of `length` elements: columns in one layout, rows in the other.
template <class T>
struct dense_lines {
  std::int32_t length;
  const T* b;
  std::int32_t ldb;
  T* c;
  std::int32_t ldc;
  T beta;
};

inline bool ranges_overlap(const void* a,
                           std::uint64_t a_bytes,
                           const void* b,
                           std::uint64_t b_bytes) {
  const auto from_a = reinterpret_cast<std::uintptr_t>(a);
  const auto from_b = reinterpret_cast<std::uintptr_t>(b);
  return from_a < from_b + b_bytes && from_b < from_a + a_bytes;
}

// beta * c + d * b, where vectors go: real d * b rounded, then c * beta fused on top.
template <class T>
NEVRAD_INLINE T diag_updated(T c, T d, T b, T beta) {
  if constexpr (is_complex<T>) {
    return add(multiply_fused(beta, c), multiply_fused(d, b));
  } else {
    return fma(c, beta, d * b);
  }
}

// The same where single elements go: c * beta rounded and stored, so that b at the same place sees
// it, then d * b on top, fused when real.
template <class T>
NEVRAD_INLINE void diag_update_element(T* c, T d, const T* b, T beta) {
  *c = multiply_fused(beta, *c);
  if constexpr (is_complex<T>) {
    *c = add(*c, multiply_fused(d, *b));
  } else {
    *c = fma(d, *b, *c);
  }
}

// One line; diag(i) is the diagonal element that goes with element i.
template <class T, class Diag>
NEVRAD_INLINE void diag_update_line(std::int32_t length,
                                    const T* b,
                                    T* c,
                                    T beta,
                                    bool overlap,
                                    const Diag& diag) {
  std::int32_t i = 0;
  if (length >= diag_step && !overlap) {
    const std::int32_t whole = length / diag_step * diag_step;
    T* __restrict to = c;
    for (; i < whole; ++i) to[i] = diag_updated(to[i], diag(i), b[i], beta);
  }
  for (; i < length; ++i) diag_update_element(c + i, diag(i), b + i, beta);
}

// Column-major: element i of a line goes with diagonal element i.
template <class T>
void diag_update_cols(const dense_lines<T>& lines,
                      const T* diag_values,
                      std::int32_t lo,
                      std::int32_t hi) {
  const std::uint64_t bytes = sizeof(T) * static_cast<std::uint64_t>(lines.length);
  for (std::int32_t j = lo; j < hi; ++j) {
    const T* const from = line_at(lines.b, j, lines.ldb);
    T* const to = line_at(lines.c, j, lines.ldc);
    const bool overlap =
        ranges_overlap(to, bytes, from, bytes) || ranges_overlap(to, bytes, diag_values, bytes);
    diag_update_line(lines.length, from, to, lines.beta, overlap,
                     [=](std::int32_t i) { return diag_values[i]; });
  }
}

// Row-major: all elements of line i go with diagonal element i.
template <class T>
void diag_update_rows(const dense_lines<T>& lines,
                      const T* diag_values,
                      std::int32_t lo,
                      std::int32_t hi) {
  const std::uint64_t bytes = sizeof(T) * static_cast<std::uint64_t>(lines.length);
  for (std::int32_t i = lo; i < hi; ++i) {
    const T* const from = line_at(lines.b, i, lines.ldb);
    T* const to = line_at(lines.c, i, lines.ldc);
    const T d = diag_values[i];
    diag_update_line(lines.length, from, to, lines.beta, ranges_overlap(to, bytes, from, bytes),
                     [=](std::int32_t) { return d; });
  }
}

// W elements at once: beta * c, then alpha * b on top, both read before c is written.
template <int W, class T>
NEVRAD_INLINE void unit_update_lanes(const T* b, T* c, lanes<T, W> alpha, lanes<T, W> beta) {
  const lanes<T, W> from = load<W>(b);
  if constexpr (is_complex<T>) {
    const lanes<T, W> t = multiply_add(zero_lanes<T, W>(), beta, load<W>(c));
    store(c, multiply_add(t, alpha, from));
  } else {
    store(c, multiply_add(multiply(load<W>(c), beta), from, alpha));
  }
}

// C = beta * C + alpha * B, in either layout.
template <class T>
void unit_update(const dense_lines<T>& lines, std::int32_t lo, std::int32_t hi, T alpha) {
  const std::int32_t length = lines.length;
  const T beta = lines.beta;
  for (std::int32_t l = lo; l < hi; ++l) {
    const T* const from = line_at(lines.b, l, lines.ldb);
    T* const to = line_at(lines.c, l, lines.ldc);
    std::int32_t i = 0;
    if constexpr (std::is_same_v<T, float>) {
      const auto scale = broadcast<unit_trip>(to_lane(alpha));
      const auto scale_c = broadcast<unit_trip>(to_lane(beta));
      for (; length - i >= unit_trip; i += unit_trip) {
        if constexpr (fixed_hints) {
          prefetch<cache::level1>(to + i, unit_ahead);
          prefetch<cache::level1>(from + i, unit_ahead);
        }
        unit_update_lanes(from + i, to + i, scale, scale_c);
      }
    }
    const auto scale = broadcast<diag_step>(to_lane(alpha));
    const auto scale_c = broadcast<diag_step>(to_lane(beta));
    for (; length - i >= diag_step; i += diag_step) {
      unit_update_lanes(from + i, to + i, scale, scale_c);
    }
    for (; i < length; ++i) {
      to[i] = multiply_fused(beta, to[i]);
      if constexpr (is_complex<T>) {
        to[i] = add(to[i], multiply_fused(alpha, from[i]));
      } else {
        to[i] = fma(from[i], alpha, to[i]);
      }
    }
  }
}

}  // namespace nevrad
