// The thread budget. The program runs a second time under a thread limit of 4.
#include "frame/budget.h"

#include "support/threads.h"

#include <omp.h>

#include <algorithm>

namespace nevrad_test {
namespace {

int as_granted(int n) { return std::max(1, std::min(n, omp_get_thread_limit())); }

// Scopes put back what they found, so this holds wherever the test comes in its process.
TEST(budget, is_one_at_load) { EXPECT_EQ(orv_get_thread_num_(), 1); }

TEST(budget, takes_1_to_640_and_keeps_the_last_good_value) {
  const budget_scope restore(1);
  for (const int n : {640, 16, 2, 1, 5}) {
    EXPECT_EQ(orv_set_thread_num(n), ORV_SPARSE_STATUS_SUCCESS);
    EXPECT_EQ(orv_get_thread_num_(), as_granted(n));
  }
  for (const int n : {0, -1, 641, 2147483647, -2147483647 - 1}) {
    EXPECT_EQ(orv_set_thread_num(n), ORV_SPARSE_STATUS_INVALID_VALUE);
    EXPECT_EQ(orv_set_thread_num_(&n), ORV_SPARSE_STATUS_INVALID_VALUE);
    EXPECT_EQ(orv_get_thread_num_(), as_granted(5));
  }
  const int n = 3;
  EXPECT_EQ(orv_set_thread_num_(&n), ORV_SPARSE_STATUS_SUCCESS);
  EXPECT_EQ(orv_get_thread_num_(), 3);
}

TEST(budget, is_cut_to_the_thread_limit_on_every_read) {
  const budget_scope sixteen(16);
  EXPECT_EQ(nevrad::current_thread_budget(), std::min(16, omp_get_thread_limit()));
  // Whoever runs the program again with a limit wants to see it in force.
  if (const char* const limit = std::getenv("OMP_THREAD_LIMIT")) {
    EXPECT_EQ(orv_get_thread_num_(), std::atoi(limit));
  }
}

TEST(budget, thread_index_is_that_of_the_team) {
  EXPECT_EQ(nevrad::current_thread_index(), 0);
  int sum = 0;
#pragma omp parallel num_threads(3) reduction(+ : sum)
  sum += nevrad::current_thread_index();
  EXPECT_EQ(sum, 3);
}

}  // namespace
}  // namespace nevrad_test
