// Lanes: W elements side by side in registers, 128 bytes at most.
//
// One text for both targets: compiler vectors give fmla and fmla by lane on AArch64 and 256-bit
// fused operations on x86-64. Complex rotations are the exception; rotate() comes from one of two
// files, by whether the cores have them. Functions take lanes by value and are always inlined, so
// no lane goes through memory.
#pragma once

#include "arith/products.h"

#include <type_traits>
#include <utility>

namespace nevrad {

namespace detail {

template <class R, int N>
struct vector_of {
  typedef R type __attribute__((vector_size(sizeof(R) * N)));
};
template <class R>
struct vector_of<R, 1> {
  using type = R;
};

}  // namespace detail

template <class T, int W>
struct lanes {
  using real = real_of<T>;
  static constexpr int parts = element<T>::parts * W;
  using storage = typename detail::vector_of<real, parts>::type;
  static_assert(sizeof(T) * W <= 128, "lanes hold two cache lines at most");

  storage v;
};

// One element in a register, in the form in which the multiply-accumulates take it.
template <class T>
using lane = lanes<T, 1>;

// Steps of a complex multiply-accumulate, by the angle of the second operand. With a the first
// operand:    degrees   real part      imaginary part
//                   0   + a.re b.re    + a.re b.im
//                  90   - a.im b.im    + a.im b.re
//                 180   - a.re b.re    - a.re b.im
//                 270   + a.im b.im    - a.im b.re
// Each step fuses one product a part into the accumulator.
enum class rotation : int { by_0, by_90, by_180, by_270 };

template <class T, int W>
NEVRAD_INLINE lanes<T, W> zero_lanes() {
  return {typename lanes<T, W>::storage{}};
}

template <int W, class T>
NEVRAD_INLINE lanes<T, W> load(const T* from) {
  lanes<T, W> r;
  __builtin_memcpy(&r.v, from, sizeof r.v);
  return r;
}

struct index_pair {
  std::int64_t first;
  std::int64_t second;
};

// Two neighbouring indices, sign-extended, in one load: loops over compressed lines are bound by
// loads. AArch64 has an instruction for the pair, which the compiler finds by itself.
NEVRAD_INLINE index_pair load_indices(const std::int32_t* at) {
#if defined(__aarch64__)
  return {at[0], at[1]};
#else
  static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__);
  std::int64_t both;
  __builtin_memcpy(&both, at, sizeof both);
  return {static_cast<std::int32_t>(both), both >> 32};
#endif
}

// Four elements at the places that four indices name, as plain scalar loads.
template <class T>
NEVRAD_INLINE lanes<T, 4> gather(const T* from, const std::int32_t* at) {
  const index_pair low = load_indices(at);
  const index_pair high = load_indices(at + 2);
  if constexpr (is_complex<T>) {
    const T elements[4] = {from[low.first], from[low.second], from[high.first], from[high.second]};
    return load<4>(elements);
  } else {
    return {typename lanes<T, 4>::storage{from[low.first], from[low.second], from[high.first],
                                          from[high.second]}};
  }
}

template <class T, int W>
NEVRAD_INLINE void store(T* to, lanes<T, W> a) {
  __builtin_memcpy(to, &a.v, sizeof a.v);
}

template <class T>
NEVRAD_INLINE lane<T> to_lane(T a) {
  return load<1>(&a);
}

template <class T>
NEVRAD_INLINE T to_element(lane<T> a) {
  T r;
  store(&r, a);
  return r;
}

// The same element in every lane.
template <int W, class T>
NEVRAD_INLINE lanes<T, W> broadcast(lane<T> a) {
  if constexpr (W == 1) {
    return a;
  } else {
    lanes<T, W> r;
    for (int i = 0; i < W; ++i) {
      if constexpr (is_complex<T>) {
        r.v[2 * i] = a.v[0];
        r.v[2 * i + 1] = a.v[1];
      } else {
        r.v[i] = a.v;
      }
    }
    return r;
  }
}

// Lane I alone; a multiply-accumulate by its broadcast becomes the form by lane on AArch64.
template <int I, class T, int W>
NEVRAD_INLINE lane<T> lane_at(lanes<T, W> a) {
  static_assert(I >= 0 && I < W);
  if constexpr (is_complex<T>) {
    return {typename lane<T>::storage{a.v[2 * I], a.v[2 * I + 1]}};
  } else {
    return {a.v[I]};
  }
}

template <class T, int W>
NEVRAD_INLINE lanes<T, W> add(lanes<T, W> a, lanes<T, W> b) {
  return {a.v + b.v};
}

template <class T, int W>
NEVRAD_INLINE lanes<T, W> subtract(lanes<T, W> a, lanes<T, W> b) {
  return {a.v - b.v};
}

// Rounded products, lane by lane. Real types.
template <class T, int W>
NEVRAD_INLINE lanes<T, W> multiply(lanes<T, W> a, lanes<T, W> b) {
  static_assert(!is_complex<T>);
  return {a.v * b.v};
}

namespace detail {

// a b for complex elements side by side. With a = p + q i and b = u + v i the parts of the rounded
// products are -(q v) and p v; the sign is exact wherever it is set.
template <int... I, class V>
NEVRAD_INLINE V multiply_complex(V a, V b, std::integer_sequence<int, I...>) {
  const V re_b = __builtin_shufflevector(b, b, (I & ~1)...);
  const V im_b = __builtin_shufflevector(b, b, (I | 1)...);
  const V swapped_a = __builtin_shufflevector(a, a, (I ^ 1)...);
  const V rounded = swapped_a * im_b;
  const V negated = -rounded;
  const V inner =
      __builtin_shufflevector(negated, rounded, ((I & 1) != 0 ? I + int{sizeof...(I)} : I)...);
  return __builtin_elementwise_fma(a, re_b, inner);
}

}  // namespace detail

// The fused product of products.h, lane by lane.
template <class T, int W>
NEVRAD_INLINE lanes<T, W> multiply_fused(lanes<T, W> a, lanes<T, W> b) {
  if constexpr (is_complex<T>) {
    return {detail::multiply_complex(a.v, b.v, std::make_integer_sequence<int, 2 * W>{})};
  } else {
    return {a.v * b.v};
  }
}

}  // namespace nevrad

#if defined(__ARM_FEATURE_COMPLEX)
#include "arith/rotate_aarch64.h"
#else
#include "arith/rotate_portable.h"
#endif

namespace nevrad {

// Keeps the loads of `next` ahead of what is done with `acc` from here on: no instruction, but the
// compiler's scheduler, which would sink each load to its first use, does not cross it. That of
// x86-64 leaves the loads where they are.
template <class T, int W>
NEVRAD_INLINE void load_ahead(lanes<T, W>& acc, lanes<T, W>& next) {
#if defined(__aarch64__)
  using piece = typename detail::vector_of<float, 4>::type;
  constexpr int pieces = sizeof(acc.v) / sizeof(piece);
  if constexpr (pieces > 4) {
    return;  // wide lanes have chains enough, and would not fit twice
  } else if constexpr (pieces == 0) {
    asm volatile("" : "+w"(acc.v), "+w"(next.v));
  } else {
    piece a[pieces], n[pieces];
    __builtin_memcpy(a, &acc.v, sizeof a);
    __builtin_memcpy(n, &next.v, sizeof n);
    if constexpr (pieces == 1) {
      asm volatile("" : "+w"(a[0]), "+w"(n[0]));
    } else if constexpr (pieces == 2) {
      asm volatile("" : "+w"(a[0]), "+w"(a[1]), "+w"(n[0]), "+w"(n[1]));
    } else {
      asm volatile(""
                   : "+w"(a[0]), "+w"(a[1]), "+w"(a[2]), "+w"(a[3]), "+w"(n[0]), "+w"(n[1]),
                     "+w"(n[2]), "+w"(n[3]));
    }
    __builtin_memcpy(&acc.v, a, sizeof a);
    __builtin_memcpy(&next.v, n, sizeof n);
  }
#else
  static_cast<void>(acc);
  static_cast<void>(next);
#endif
}

// acc + a b, or acc + conj(a) b. Real: one fused operation. Complex: rotations 0 and 90, or 0 and
// 270, with a as the first operand.
template <conjugation C = conjugation::no, class T, int W>
NEVRAD_INLINE lanes<T, W> multiply_add(lanes<T, W> acc, lanes<T, W> a, lanes<T, W> b) {
  if constexpr (is_complex<T>) {
    acc = rotate<rotation::by_0>(acc, a, b);
    return rotate<(C == conjugation::no ? rotation::by_90 : rotation::by_270)>(acc, a, b);
  } else {
    return {__builtin_elementwise_fma(a.v, b.v, acc.v)};
  }
}

// acc - a b, or acc - conj(a) b: rotations 180 and 270, or 180 and 90.
template <conjugation C = conjugation::no, class T, int W>
NEVRAD_INLINE lanes<T, W> multiply_subtract(lanes<T, W> acc, lanes<T, W> a, lanes<T, W> b) {
  if constexpr (is_complex<T>) {
    acc = rotate<rotation::by_180>(acc, a, b);
    return rotate<(C == conjugation::no ? rotation::by_270 : rotation::by_90)>(acc, a, b);
  } else {
    return {__builtin_elementwise_fma(-a.v, b.v, acc.v)};
  }
}

// The same on elements as they lie in memory.
template <conjugation C = conjugation::no, class T>
NEVRAD_INLINE T multiply_add(T acc, T a, T b) {
  if constexpr (is_complex<T>) {
    return to_element(multiply_add<C>(to_lane(acc), to_lane(a), to_lane(b)));
  } else {
    return fma(a, b, acc);
  }
}

}  // namespace nevrad
