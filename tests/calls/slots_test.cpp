// Every form of every operation, on several budgets, against dense arithmetic in wider precision;
// and the same bits on whatever team the runtime grants.
#include "support/trial.h"

#include <dlfcn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <set>
#include <thread>

namespace nevrad_test {
namespace {

constexpr int order = 13;
constexpr int columns = 5;

template <class T>
class forms : public testing::Test {
 protected:
  const std::vector<form_of<T>> all = all_forms<T>();

  // Every n-th form, another rest of the division for each seed.
  template <class Body>
  void for_some(int n, std::uint64_t seed, const Body& body) const {
    for (std::size_t f = seed % static_cast<std::size_t>(n); f < all.size();
         f += static_cast<std::size_t>(n)) {
      SCOPED_TRACE(testing::Message() << all[f] << ", seed " << seed);
      body(all[f]);
    }
  }
};
TYPED_TEST_SUITE(forms, all_types, type_names);

TYPED_TEST(forms, agree_with_dense_arithmetic) {
  for (const int budget : {1, 2, 3, 8}) {
    for (int round = 0; round < std::max(1, depth()); ++round) {
      const auto seed = static_cast<std::uint64_t>(budget) + static_cast<std::uint64_t>(round) * 16;
      this->for_some(one_in(5), seed, [&](const auto& form) {
        const budget_scope threads(budget);
        trial<TypeParam> call(form, order + round, columns, seed);
        EXPECT_EQ(call.run(), 0);
        EXPECT_TRUE(call.is_right());
      });
    }
  }
  this->RecordProperty("forms", static_cast<int>(this->all.size()));
}

// Teams that divide nothing, and teams that are not granted.
TYPED_TEST(forms, have_the_same_bits_on_a_smaller_team) {
  for (int budget = 1; budget <= 17; budget += one_in(5)) {
    const auto seed = static_cast<std::uint64_t>(budget);
    this->for_some(17, seed, [&](const auto& form) {
      const budget_scope threads(budget);
      trial<TypeParam> whole(form, order, columns, seed);
      EXPECT_EQ(whole.run(), 0);
      EXPECT_TRUE(whole.is_right());
      const budget_scope again(budget);
      trial<TypeParam> alone(form, order, columns, seed);
      in_callers_region([&] { EXPECT_EQ(alone.run(), 0); });
      alone.expect_same(whole);
    });
  }
}

TYPED_TEST(forms, take_the_largest_budget) {
  const std::set<std::string> parallel{"csrmm", "csrsm", "csrgemv", "csrmultd"};
  for (const form_of<TypeParam>& form : this->all) {
    if (parallel.count(form.op.name) == 0 || form.transa != 1) continue;
    if (form.structure() != "G00F" && form.structure() != "TLNF") continue;
    SCOPED_TRACE(testing::Message() << form);
    const budget_scope threads(640);
    trial<TypeParam> call(form, order, columns, 5);
    EXPECT_EQ(call.run(), 0);
    EXPECT_TRUE(call.is_right());
  }
}

// Callers at once share nothing but the budget, which some of the calls change.
TYPED_TEST(forms, may_be_called_from_many_threads) {
  const budget_scope threads(2);
  std::vector<std::thread> callers;
  callers.reserve(8);
  for (std::uint64_t caller = 0; caller < 8; ++caller) {
    callers.emplace_back([this, caller] {
      this->for_some(23, caller, [&](const auto& form) {
        trial<TypeParam> call(form, order, columns, caller);
        EXPECT_EQ(call.run(), 0);
        EXPECT_TRUE(call.is_right());
      });
    });
  }
  for (std::thread& caller : callers) caller.join();
}

// Neither the race checker nor an emulator follows threads into a child.
#if defined(__x86_64__) && !__has_feature(thread_sanitizer)

// A child of a process that has computed on threads computes on threads.
TYPED_TEST(forms, run_in_a_forked_child) {
  const budget_scope threads(3);
  const form_of<TypeParam>& form = this->all[this->all.size() - 2];
  trial<TypeParam> before(form, order, columns, 1);
  ASSERT_EQ(before.run(), 0);
  const pid_t child = fork();
  if (child == 0) {
    alarm(300);
    trial<TypeParam> call(form, order, columns, 1);
    _exit(call.run() == 0 && call.is_right() ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

// The shared library comes and goes, with its budget, whatever its regions have left in the
// runtime.
TEST(library, is_loaded_and_unloaded_again) {
  using set_budget = int (*)(int);
  using get_budget = int (*)();
  const array<double> a{1, 2, 3};
  const array<int> pointers{1, 2, 3, 4};
  const array<int> indices{1, 2, 3};
  for (int time = 0; time < 100; ++time) {
    void* const library = dlopen(NEVRAD_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    const auto entry = [&](const char* name) { return dlsym(library, name); };
    EXPECT_EQ(reinterpret_cast<get_budget>(entry("orv_get_thread_num_"))(), 1);
    EXPECT_EQ(reinterpret_cast<set_budget>(entry("orv_set_thread_num"))(3), 0);
    const auto multiply =
        reinterpret_cast<decltype(&orv_sparse_dcsrmultd)>(entry("orv_sparse_dcsrmultd"));
    const array<double> c(9, 7);
    EXPECT_EQ(multiply(0, 3, 3, 3, a.data(), indices.data(), pointers.data(), a.data(),
                       indices.data(), pointers.data(), c.data(), 3),
              0);
    EXPECT_SAME_ARRAYS(c, (array<double>{1, 0, 0, 0, 4, 0, 0, 0, 9}));
    EXPECT_EQ(dlclose(library), 0);
  }
}

#endif

}  // namespace
}  // namespace nevrad_test
