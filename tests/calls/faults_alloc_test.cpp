// Every allocation of every form of every operation failing in turn, alone and with all later ones:
// the status, what is given back, and that the next call works.
#include "support/allocator.h"
#include "support/operations.h"
#include "support/threads.h"

namespace nevrad_test {
namespace {

// A triangle by rows that is walked as columns keeps the lack of private vectors to itself.
template <class T>
bool is_silent(const form_of<T>& form) {
  const bool as_columns = form.transa == 1 || (form.transa == 2 && !is_complex<T>);
  return form.op.is("csrmv") && form.descra[0] == 'T' && as_columns;
}

// What a failure may leave of a dense result: what was there, or that times beta, one half;
// elements that other threads have finished; of a product of two sparse matrices, zeros.
template <class T>
void expect_documented_state(const form_of<T>& form,
                             const array<T>& c,
                             const array<T>& before,
                             const array<T>& done,
                             bool alone) {
  if (form.op.tests("request")) return;
  const bool unit = form.op.is("mv") && form.structure()[2] == 'U';
  const bool whole = form.op.is("mm") && form.structure()[0] == 'D';
  for (std::int64_t i = 0; i < c.size() && !unit; ++i) {
    const bool other = widen(c[i]) == widen(before[i]) * wide_real<T>(0.5) ||
                       (!alone && same_bits(c[i], done[i])) ||
                       (form.op.is("csrmultd") && same_bits(c[i], T{}));
    EXPECT_TRUE(same_bits(c[i], before[i]) || (other && !whole)) << "element " << i;
  }
}

template <class T>
class faults : public testing::Test {};
TYPED_TEST_SUITE(faults, all_types, type_names);

TYPED_TEST(faults, leave_nothing_behind) {
  using T = TypeParam;
  const auto all = all_forms<T>();
  for (std::size_t f = 0; f < all.size(); f += at(one_in(5))) {
    const form_of<T>& form = all[f];
    for (const int budget : {1, 3}) {
      SCOPED_TRACE(testing::Message() << form << ", budget " << budget);
      const auto run = [&](const problem_of<T>& problem, failing mode, int n, bool& refused) {
        const budget_scope threads(budget);
        arguments<T> pattern = problem.x;
        pattern.request = 1;
        if (form.request == 2) EXPECT_EQ(form.op.by_value(pattern), 0);
        const allocator_scope memory(mode, n);
        const int status = form.op.by_value(problem.x);
        refused = memory.refused() > 0;
        EXPECT_EQ(memory.live(), 0);
        return status;
      };
      bool refused = false;
      generator random(1);
      problem_of<T> done(random, form, 5, 3);
      done.x.beta = make<T>(0.5);
      const array<T> before = done.c;
      ASSERT_EQ(run(done, failing::never, 0, refused), 0);
      for (const failing mode : {failing::once, failing::from_then_on}) {
        refused = true;
        for (int n = 1; refused; ++n) {
          random = generator(1);
          problem_of<T> problem(random, form, 5, 3);
          problem.x.beta = make<T>(0.5);
          SCOPED_TRACE(testing::Message() << "allocation " << n);
          const int status = run(problem, mode, n, refused);
          EXPECT_EQ(status, refused && !is_silent(form) ? 2 : 0);
          if (refused) {
            expect_documented_state(form, problem.c, before, done.c, budget == 1);
          } else {
            expect_same_arrays(problem, done);
          }
        }
      }
    }
  }
}

// Dimensions and entry counts at their bounds: the memory asked for is that of their 64-bit sizes,
// and not having it is status 2.
TYPED_TEST(faults, of_sizes_beyond_32_bits) {
  using T = TypeParam;
  constexpr int most = 2147483645;
  constexpr std::uint64_t bytes_of_indices = std::uint64_t{most} * 4;
  const auto rounded = [](std::uint64_t size) { return (size + 63) / 64 * 64; };
  for (const form_of<T>& form : all_forms<T>()) {
    // One row, with `entries` entries in columns up to the bound.
    const operation_of<T>& op = form.op;
    const bool sparse_result = op.is("csradd") || op.is("csrmultcsr");
    const bool copies = op.is("mm") || op.is("sm") || op.is("csrmultd");
    if (!(sparse_result || copies) || form.transa != 0) continue;
    if (op.is("csrmultcsr") && form.request == 2) continue;
    SCOPED_TRACE(testing::Message() << form);
    generator random(1);
    problem_of<T> problem(random, form, 1, 1);
    arguments<T>& x = problem.x;
    problem.ia[0] = form.base();
    problem.ia[1] = copies ? most + form.base() : 1 + form.base();
    x.m = 1;
    x.k = op.is("csrmultcsr") ? most : 1;
    x.n = op.is("csradd") ? most : 1;
    x.sort = 1;
    const budget_scope threads(1);
    const allocator_scope memory(failing::large);
    EXPECT_EQ(op.by_value(x), 2);
    EXPECT_EQ(memory.largest(), op.is("csrmultcsr") ? bytes_of_indices : rounded(bytes_of_indices));
    EXPECT_EQ(memory.live(), 0);
  }
}

}  // namespace
}  // namespace nevrad_test
