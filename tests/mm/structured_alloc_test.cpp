// Structured and column products when memory is short.
#include "support/allocator.h"

#include "mm/calls.h"

namespace nevrad_test {
namespace {

template <class T>
class failing_structured_mm : public testing::Test {};
TYPED_TEST_SUITE(failing_structured_mm, all_types, type_names);

// Everything is given back, and C is as it was or, behind the expansion, scaled by beta. Threads
// may have finished their rows.
TYPED_TEST(failing_structured_mm, leave_c_as_documented) {
  using T = TypeParam;
  const T beta = make<T>(0.5);  // exact, so that a scaled element is known to the bit
  for (const compression kind : {compression::rows, compression::columns}) {
    for (const char* const code : {"G00F", "SLNF", "TUUC", "D0NF", "D0NC", "D0UF", "D0UC"}) {
      for (const int op : {0, 1, 2}) {
        for (const int budget : {1, 2}) {
          // What the team's own failures leave is tested with the general product.
          if (budget > 1 && code[0] != 'D' && op != 2) continue;
          SCOPED_TRACE(testing::Message() << code << ", op " << op << ", budget " << budget
                                          << (kind == compression::rows ? "" : ", by columns"));
          generator random(1);
          const auto a = random_matrix<T>(
              random, {.rows = 6, .cols = 6, .base = code[3] == 'F' ? 1 : 0, .kind = kind});
          const auto b = panel<T>::random(random, 6, 5, layout_of(code));
          const auto before = panel<T>::random(random, 6, 5, layout_of(code));
          const T alpha = random.value<T>();
          const budget_scope scope(budget);
          const panel<T> done = before;
          ASSERT_EQ(run_slot(a, code, op, b, alpha, beta, done), 0);
          const int calls = expect_clean_failures([&] {
            const panel<T> c = before;
            const nevrad::status result = run_slot(a, code, op, b, alpha, beta, c);
            if (result == 0) {
              EXPECT_SAME_ARRAYS(c.elements(), done.elements());
            } else if (code[0] == 'D') {
              EXPECT_SAME_ARRAYS(c.elements(), before.elements());
            } else {
              for (std::int64_t i = 0; i < 6; ++i) {
                const bool whole = budget > 1 && same_bits(c(i, 0), done(i, 0));
                const bool untouched = same_bits(c(i, 0), before(i, 0));
                const bool scaled = widen(c(i, 0)) == widen(before(i, 0)) * wide_real<T>(0.5);
                EXPECT_TRUE(untouched || scaled || whole) << "row " << i;
              }
            }
            return result;
          });
          if (code[0] != 'D') continue;
          // The copy takes four, a stored diagonal one more, and chunks one.
          const bool in_chunks = budget > 1 && (kind == compression::columns || op == 2);
          EXPECT_EQ(calls, 4 + (code[2] == 'N' ? 1 : 0) + (in_chunks ? 1 : 0));
        }
      }
    }
  }
}

}  // namespace
}  // namespace nevrad_test
