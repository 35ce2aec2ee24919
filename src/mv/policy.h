// How the descriptor-driven products choose the thread budget from the matrix at hand.
#pragma once

#include "arith/products.h"
#include "frame/checks.h"
#include "frame/policy.h"

namespace nevrad {

// Eight threads for a matrix with enough entries, densely enough, one for all others and for every
// diagonal matrix.
NEVRAD_INLINE status apply_mv_thread_policy(matrix_structure structure,
                                            std::int32_t nnz,
                                            double density) {
  constexpr double least_density = 0.0001;
  constexpr std::int32_t most_entries_on_one = 799999;
  const bool many = structure != matrix_structure::diagonal && density >= least_density &&
                    nnz > most_entries_on_one;
  return lower_thread_budget(many ? 8 : 1);
}

}  // namespace nevrad
