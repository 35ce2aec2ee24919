// The thread budget and the teams that a test runs under.
#pragma once

#include "frame/status.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace nevrad_test {

// Budgets that every family is run with: one thread, an even team, teams that divide nothing.
inline constexpr int budgets[] = {1, 2, 3, 7};

// Tests run twenty times slower under emulation. Where there are many cases, one in so many is
// taken there; the native run takes all.
#ifdef __x86_64__
inline constexpr bool is_native = true;
#else
inline constexpr bool is_native = false;
#endif

// How many times as many random cases as usual: NEVRAD_TEST_DEPTH, 1 where it is not set. With 0
// there are as few cases as under emulation.
inline int depth() {
  const char* const text = std::getenv("NEVRAD_TEST_DEPTH");
  return text == nullptr ? 1 : std::atoi(text);
}
inline int one_in(int n) { return is_native && depth() > 0 ? 1 : n; }

// Sets the budget for a scope and puts the old one back, also where a call has lowered it.
class budget_scope {
 public:
  explicit budget_scope(int n) : before_(orv_get_thread_num_()) {
    EXPECT_EQ(orv_set_thread_num(n), 0);
  }
  budget_scope(const budget_scope&) = delete;
  budget_scope& operator=(const budget_scope&) = delete;
  ~budget_scope() { orv_set_thread_num(before_); }

 private:
  int before_;
};

// Runs body once, inside a region of the caller's own with two threads: a region that the library
// opens there gets a team of one unless the caller has allowed nesting.
template <class Body>
void in_callers_region(const Body& body) {
#pragma omp parallel num_threads(2)
  {
#pragma omp single
    body();
  }
}

}  // namespace nevrad_test
