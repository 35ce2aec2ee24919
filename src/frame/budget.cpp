#include "frame/budget.h"

#include <omp.h>

#include <atomic>

namespace nevrad {

namespace {

// Relaxed: a plain load and store in the machine code. A reader sees the old or the new value, and
// either is good enough for a team size.
constinit std::atomic<std::int32_t> thread_budget{1};

}  // namespace

int current_thread_budget() {
  const int budget = thread_budget.load(std::memory_order_relaxed);
  if (budget < 2) return 1;  // whatever the limit is
  const int limit = omp_get_thread_limit();
  const int smaller = budget < limit ? budget : limit;
  return smaller < 2 ? 1 : smaller;
}

int current_thread_index() { return omp_get_thread_num(); }

status set_thread_budget(int n) {
  if (n < 1 || n > max_thread_budget) return invalid_value;
  thread_budget.store(n, std::memory_order_relaxed);
  return success;
}

}  // namespace nevrad
