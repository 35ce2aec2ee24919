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
template <int W, class T>
NEVRAD_INLINE lanes<T, W> diag_updated(lanes<T, W> c,
                                       lanes<T, W> d,
                                       lanes<T, W> b,
                                       lanes<T, W> beta) {
  if constexpr (is_complex<T>) {
    return add(multiply_fused(beta, c), multiply_fused(d, b));
  } else {
    return multiply_add(multiply(d, b), c, beta);
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

// One line, its first `whole` elements by vectors; diag.at<W>(i) gives the diagonal elements that
// go with element i and those behind it.
template <class T, class Diag>
NEVRAD_INLINE void diag_update_line(std::int32_t length,
                                    std::int32_t whole,
                                    const T* b,
                                    T* c,
                                    T beta,
                                    const Diag& diag) {
  constexpr int wide =
      4 * diag_step * static_cast<int>(sizeof(T)) <= 128 ? 4 * diag_step : 2 * diag_step;
  std::int32_t i = 0;
  const auto update = [&](auto w) {
    constexpr int W = w();
    const auto scale = broadcast<W>(to_lane(beta));
    const auto d = diag.template at<W>(i);
    store(c + i, diag_updated(load<W>(c + i), d, load<W>(b + i), scale));
  };
  for (; whole - i >= wide; i += wide) update(std::integral_constant<int, wide>{});
  if constexpr (wide > 2 * diag_step) {
    constexpr int half = wide / 2;
    if (whole - i >= half) {
      update(std::integral_constant<int, half>{});
      i += half;
    }
  }
  for (; whole - i >= diag_step; i += diag_step) update(std::integral_constant<int, diag_step>{});
  for (; i < length; ++i)
    diag_update_element(c + i, to_element(diag.template at<1>(i)), b + i, beta);
}

// How many elements of a line of C go by vectors: none where it overlaps the line of B.
template <class T>
std::int32_t elements_by_vectors(std::int32_t length, const T* b, const T* c) {
  const std::uint64_t bytes = sizeof(T) * static_cast<std::uint64_t>(length);
  return ranges_overlap(c, bytes, b, bytes) ? 0 : length / diag_step * diag_step;
}

template <class T>
struct diag_array {
  const T* values;
  template <int W>
  NEVRAD_INLINE lanes<T, W> at(std::int32_t i) const {
    return load<W>(values + i);
  }
};

// The elements as they are stored, alpha still to come.
template <class T>
struct diag_scaled {
  const T* values;
  T alpha;
  template <int W>
  NEVRAD_INLINE lanes<T, W> at(std::int32_t i) const {
    return multiply_fused(broadcast<W>(to_lane(alpha)), load<W>(values + i));
  }
};

template <class T>
struct diag_constant {
  lane<T> value;
  template <int W>
  NEVRAD_INLINE lanes<T, W> at(std::int32_t /*i*/) const {
    return broadcast<W>(value);
  }
};

// Column-major: element i of a line goes with diagonal element i.
template <class T, class Diag>
void diag_update_cols(const dense_lines<T>& lines,
                      const Diag& diag,
                      std::int32_t lo,
                      std::int32_t hi) {
  for (std::int32_t j = lo; j < hi; ++j) {
    const T* const from = line_at(lines.b, j, lines.ldb);
    T* const to = line_at(lines.c, j, lines.ldc);
    diag_update_line(lines.length, elements_by_vectors(lines.length, from, to), from, to,
                     lines.beta, diag);
  }
}

// Row-major: all elements of line i go with diag(i).
template <class T, class Diag>
void diag_update_rows(const dense_lines<T>& lines,
                      const Diag& diag,
                      std::int32_t lo,
                      std::int32_t hi) {
  // Lines may be short: where B and C lie apart, that is found out once.
  const auto bytes = [&](std::int32_t ld) {
    return sizeof(T) * static_cast<std::uint64_t>(std::int64_t{hi - lo - 1} * ld + lines.length);
  };
  const bool apart = !ranges_overlap(line_at(lines.c, lo, lines.ldc), bytes(lines.ldc),
                                     line_at(lines.b, lo, lines.ldb), bytes(lines.ldb));
  const std::int32_t whole = lines.length / diag_step * diag_step;
  for (std::int32_t i = lo; i < hi; ++i) {
    const T* const from = line_at(lines.b, i, lines.ldb);
    T* const to = line_at(lines.c, i, lines.ldc);
    diag_update_line(lines.length, apart ? whole : elements_by_vectors(lines.length, from, to),
                     from, to, lines.beta, diag_constant<T>{to_lane(diag(i))});
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

// One line.
template <class T>
NEVRAD_INLINE void unit_update_line(std::int64_t length, const T* from, T* to, T alpha, T beta) {
  std::int64_t i = 0;
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

// C = beta * C + alpha * B, in either layout.
template <class T>
void unit_update(const dense_lines<T>& lines, std::int32_t lo, std::int32_t hi, T alpha) {
  if (hi <= lo) return;
  const std::int32_t length = lines.length;
  const T* const b = line_at(lines.b, lo, lines.ldb);
  T* const c = line_at(lines.c, lo, lines.ldc);
  // Lines of whole steps that lie one behind the other are one line. Of floats it goes by larger
  // steps than short ones do, which shows where B and C overlap.
  const std::int64_t all = std::int64_t{hi - lo} * length;
  constexpr int whole = std::is_same_v<T, float> ? unit_trip : diag_step;
  if (length % whole == 0 && lines.ldb == length && lines.ldc == length) {
    unit_update_line(all, b, c, alpha, lines.beta);
    return;
  }
  for (std::int32_t l = 0; l < hi - lo; ++l) {
    unit_update_line(length, line_at(b, l, lines.ldb), line_at(c, l, lines.ldc), alpha, lines.beta);
  }
}

}  // namespace nevrad
