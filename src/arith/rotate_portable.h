// Complex multiply-accumulate by rotation out of fused operations: the same products, fused in the
// same order, as the AArch64 instruction, so the same bits.
#pragma once

namespace nevrad {

namespace detail {

template <class R, int N>
using vector_t = typename vector_of<R, N>::type;

template <int... I, class V>
NEVRAD_INLINE V real_parts(V v, std::integer_sequence<int, I...>) {
  return __builtin_shufflevector(v, v, (I & ~1)...);
}
template <int... I, class V>
NEVRAD_INLINE V imaginary_parts(V v, std::integer_sequence<int, I...>) {
  return __builtin_shufflevector(v, v, (I | 1)...);
}
template <int... I, class V>
NEVRAD_INLINE V swap_parts(V v, std::integer_sequence<int, I...>) {
  return __builtin_shufflevector(v, v, (I ^ 1)...);
}
// Negates the even (first = 0) or the odd (first = 1) places.
template <int First, int... I, class V>
NEVRAD_INLINE V negate_alternate(V v, std::integer_sequence<int, I...>) {
  constexpr int n = sizeof...(I);
  return __builtin_shufflevector(v, -v, ((I & 1) == First ? I + n : I)...);
}

}  // namespace detail

// acc plus one rotated product of a and b.
template <rotation Angle, class R, int W>
NEVRAD_INLINE lanes<complex<R>, W> rotate(lanes<complex<R>, W> acc,
                                          lanes<complex<R>, W> a,
                                          lanes<complex<R>, W> b) {
  constexpr auto places = std::make_integer_sequence<int, 2 * W>{};
  if constexpr (Angle == rotation::by_0) {
    acc.v = __builtin_elementwise_fma(detail::real_parts(a.v, places), b.v, acc.v);
  } else if constexpr (Angle == rotation::by_180) {
    acc.v = __builtin_elementwise_fma(-detail::real_parts(a.v, places), b.v, acc.v);
  } else {
    constexpr int first = Angle == rotation::by_90 ? 0 : 1;
    const auto im = detail::negate_alternate<first>(detail::imaginary_parts(a.v, places), places);
    acc.v = __builtin_elementwise_fma(im, detail::swap_parts(b.v, places), acc.v);
  }
  return acc;
}

}  // namespace nevrad
