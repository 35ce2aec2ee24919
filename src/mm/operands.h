// The dense side of a product C := alpha * op(A) * B + beta * C.
#pragma once

#include "arith/element.h"

namespace nevrad {

// B and C have n columns and one layout, which the kernel's name tells.
template <class T>
struct mm_operands {
  const T* b;
  std::int32_t n;
  std::int32_t ldb;
  T* c;
  std::int32_t ldc;
  T alpha;
  T beta;
};

// Where the line i of a dense matrix begins.
template <class T>
constexpr T* line_at(T* dense, std::int32_t i, std::int32_t ld) {
  return dense + static_cast<std::int64_t>(i) * ld;
}

}  // namespace nevrad
