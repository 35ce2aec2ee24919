// How the products with compressed columns choose the thread budget from the matrix at hand.
#pragma once

#include "frame/budget.h"

namespace nevrad {

// One thread for a matrix of few entries or little density, 32 at most for all others. Only ever
// lowers the budget, which is the whole process's, and nobody restores it.
inline status apply_mm_thread_policy(std::int32_t nnz, int m, int k) {
  constexpr std::int32_t least_entries = 50000;
  constexpr double most_density_on_one = 0.0005;
  bool many = false;
  if (nnz >= least_entries) {
    many = static_cast<double>(nnz) / static_cast<double>(m) / static_cast<double>(k) >
           most_density_on_one;
  }
  const int wanted = many ? 32 : 1;
  return current_thread_budget() > wanted ? set_thread_budget(wanted) : success;
}

}  // namespace nevrad
