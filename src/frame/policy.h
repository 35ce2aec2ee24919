// What the entries share that choose the thread budget from the matrix at hand.
#pragma once

#include "frame/budget.h"

namespace nevrad {

// Entries per possible entry, as two divisions in this order.
inline double matrix_density(std::int32_t nnz, int m, int k) {
  return static_cast<double>(nnz) / static_cast<double>(m) / static_cast<double>(k);
}

// Lowers the budget of the whole process to `wanted` when it is above; never raises it, and nobody
// restores it.
inline status lower_thread_budget(int wanted) {
  return current_thread_budget() > wanted ? set_thread_budget(wanted) : success;
}

}  // namespace nevrad
