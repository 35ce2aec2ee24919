// Complex multiply-accumulate by rotation: one fcmla for each 16 bytes (8 for a single `c`).
#pragma once

#include <arm_neon.h>

namespace nevrad {

namespace detail {

template <rotation Angle>
NEVRAD_INLINE float32x2_t fcmla(float32x2_t acc, float32x2_t a, float32x2_t b) {
  if constexpr (Angle == rotation::by_0) return vcmla_f32(acc, a, b);
  if constexpr (Angle == rotation::by_90) return vcmla_rot90_f32(acc, a, b);
  if constexpr (Angle == rotation::by_180) return vcmla_rot180_f32(acc, a, b);
  if constexpr (Angle == rotation::by_270) return vcmla_rot270_f32(acc, a, b);
}

template <rotation Angle>
NEVRAD_INLINE float32x4_t fcmla(float32x4_t acc, float32x4_t a, float32x4_t b) {
  if constexpr (Angle == rotation::by_0) return vcmlaq_f32(acc, a, b);
  if constexpr (Angle == rotation::by_90) return vcmlaq_rot90_f32(acc, a, b);
  if constexpr (Angle == rotation::by_180) return vcmlaq_rot180_f32(acc, a, b);
  if constexpr (Angle == rotation::by_270) return vcmlaq_rot270_f32(acc, a, b);
}

template <rotation Angle>
NEVRAD_INLINE float64x2_t fcmla(float64x2_t acc, float64x2_t a, float64x2_t b) {
  if constexpr (Angle == rotation::by_0) return vcmlaq_f64(acc, a, b);
  if constexpr (Angle == rotation::by_90) return vcmlaq_rot90_f64(acc, a, b);
  if constexpr (Angle == rotation::by_180) return vcmlaq_rot180_f64(acc, a, b);
  if constexpr (Angle == rotation::by_270) return vcmlaq_rot270_f64(acc, a, b);
}

template <class R, int W>
struct piece {
  using type = float64x2_t;
};
template <int W>
struct piece<float, W> {
  using type = std::conditional_t<W == 1, float32x2_t, float32x4_t>;
};

}  // namespace detail

// acc plus one rotated product of a and b.
template <rotation Angle, class R, int W>
NEVRAD_INLINE lanes<complex<R>, W> rotate(lanes<complex<R>, W> acc,
                                          lanes<complex<R>, W> a,
                                          lanes<complex<R>, W> b) {
  using piece = typename detail::piece<R, W>::type;
  constexpr int pieces = sizeof(acc.v) / sizeof(piece);
  piece sum[pieces], first[pieces], second[pieces];
  __builtin_memcpy(sum, &acc.v, sizeof sum);
  __builtin_memcpy(first, &a.v, sizeof first);
  __builtin_memcpy(second, &b.v, sizeof second);
  for (int i = 0; i < pieces; ++i) sum[i] = detail::fcmla<Angle>(sum[i], first[i], second[i]);
  __builtin_memcpy(&acc.v, sum, sizeof sum);
  return acc;
}

}  // namespace nevrad
