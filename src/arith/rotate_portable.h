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
// Negates the even (First = 0) or the odd (First = 1) places: one exclusive or with a constant.
template <int First, int... I, class V>
NEVRAD_INLINE V negate_alternate(V v, std::integer_sequence<int, I...>) {
  using real = std::remove_reference_t<decltype(v[0])>;
  using word = std::conditional_t<sizeof(real) == 4, std::uint32_t, std::uint64_t>;
  constexpr word sign = word{1} << (8 * sizeof(word) - 1);
  using words = vector_t<word, sizeof...(I)>;
  constexpr words signs = {((I & 1) == First ? sign : word{0})...};
  return __builtin_bit_cast(V, __builtin_bit_cast(words, v) ^ signs);
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
    // The sign is set on b, which the panel kernels broadcast: once an entry, not once a register.
    const auto swapped = detail::negate_alternate<first>(detail::swap_parts(b.v, places), places);
    acc.v = __builtin_elementwise_fma(detail::imaginary_parts(a.v, places), swapped, acc.v);
  }
  return acc;
}

}  // namespace nevrad
