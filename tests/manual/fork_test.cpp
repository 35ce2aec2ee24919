// What the manual says about fork: a child computes, also after its parent has had threads.
#include "support/any_entry.h"
#include "support/threads.h"

#include <sys/wait.h>
#include <unistd.h>

namespace nevrad_test {
namespace {

TEST(fork, leaves_a_child_that_computes_on_threads_of_its_own) {
#ifdef NEVRAD_EMULATED
  GTEST_SKIP() << "the emulator fails in the child of a process with threads";
#endif
#if __has_feature(thread_sanitizer)
  GTEST_SKIP() << "the sanitizer forbids threads behind a fork";
#endif
  generator random(1);
  const auto a = random_matrix<double>(random, {.rows = 300, .cols = 300});
  const auto x = panel<double>::random(random, 300, 1, layout::column_major);
  const budget_scope three(3);
  panel<double> want(300, 1, layout::column_major);
  ASSERT_EQ(call_entry("csrgemv", "G00C", 0, a, 1.0, x, 0.0, want), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    // The budget came along, and can be changed on this side alone.
    bool right = orv_get_thread_num_() == 3 && orv_set_thread_num(2) == 0;
    panel<double> y(300, 1, layout::column_major);
    right = right && call_entry("csrgemv", "G00C", 0, a, 1.0, x, 0.0, y) == 0;
    for (int i = 0; i < 300; ++i) right = right && same_bits(y(i, 0), want(i, 0));
    _exit(right ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status;
  EXPECT_EQ(orv_get_thread_num_(), 3);
}

}  // namespace
}  // namespace nevrad_test
