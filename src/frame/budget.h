// The thread budget: the one number that the library keeps between calls.
#pragma once

#include "frame/status.h"

namespace nevrad {

inline constexpr int max_thread_budget = 640;

// The team that a driver requests: the budget, cut to the runtime's thread limit, at least 1. The
// limit is asked on every read, since a program may change it.
int current_thread_budget();

// The calling thread's index within the current parallel region.
int current_thread_index();

// Stores n when it lies in 1 to max_thread_budget, otherwise answers 3.
status set_thread_budget(int n);

}  // namespace nevrad
