// How the products with compressed columns choose the thread budget from the matrix at hand.
#pragma once

#include "arith/products.h"
#include "frame/policy.h"

namespace nevrad {

// One thread for a matrix of few entries or little density, 32 at most for all others.
NEVRAD_INLINE status apply_mm_thread_policy(std::int32_t nnz, int m, int k) {
  constexpr std::int32_t least_entries = 50000;
  constexpr double most_density_on_one = 0.0005;
  const bool many = nnz >= least_entries && matrix_density(nnz, m, k) > most_density_on_one;
  return lower_thread_budget(many ? 32 : 1);
}

}  // namespace nevrad
