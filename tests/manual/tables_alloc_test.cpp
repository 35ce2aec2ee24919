// The tables of docs/manual.md, row by row: what a call reads, answers for nothing, allocates, and
// which results are the same bits for every budget. What a call leaves of the budget and does on a
// smaller team is held by the tests of all calls, what a matrix must be like by those of the tools.
#include "support/allocator.h"
#include "support/any_entry.h"
#include "support/threads.h"

#include <functional>

namespace nevrad_test {
namespace {

const char* const entries[] = {"csrmv",   "cscmv", "csrgemv", "csrsymv", "csrsv", "cscsv",
                               "csrtrsv", "csrmm", "cscmm",   "csrsm",   "cscsm"};

bool takes(const std::string& entry, const char* descra, int op) {
  if (entry == "csrgemv") return descra[0] == 'G';
  if (entry == "csrsymv") return descra[0] == 'S' && descra[2] == 'N' && op == 0;
  if (entry == "csrtrsv") return descra[0] == 'T';
  return !is_solve(entry) || descra[0] == 'T' || descra[0] == 'D';
}

// One call in a table: op(A) of order 23 with five vectors, or one.
template <class T>
struct example {
  std::string entry;
  const char* descra;
  int op;
  matrix<T> a;
  panel<T> x;

  char structure() const { return descra[0]; }
  bool lowers_budget() const { return entry == "csrmv" || entry == "cscmv" || entry == "cscmm"; }
  int run(const panel<T>& y, const matrix<T>& of, T alpha, T beta) const {
    return call_entry(entry, descra, op, of, alpha, x, beta, y);
  }
  panel<T> filled(T value) const {
    panel<T> y = x;
    for (std::int64_t i = 0; i < y.rows(); ++i) {
      for (std::int64_t j = 0; j < y.cols(); ++j) y(i, j) = value;
    }
    return y;
  }
};

template <class T>
void for_each_example(const std::function<void(const example<T>&)>& check) {
  constexpr int order = 23;
  for (const std::string entry : entries) {
    for (const char* const descra : all_descriptors) {
      for (int op = 0; op < 3; ++op) {
        if (!takes(entry, descra, op)) continue;
        SCOPED_TRACE(testing::Message() << entry << ' ' << descra << " transa " << op);
        generator random(static_cast<std::uint64_t>(op) + 1);
        matrix_kind kind;
        kind.rows = kind.cols = order;
        kind.base = descra[3] == 'F' ? 1 : 0;
        kind.kind = entry.starts_with("csr") ? compression::rows : compression::columns;
        kind.typical = op == 0 ? 3 : 12;
        kind.sorted = true;
        kind.diagonal = stored_diagonal::dominant;
        const bool many = has_many_vectors(entry);
        check({entry, descra, op, random_matrix<T>(random, kind),
               panel<T>::random(random, order, many ? 5 : 1,
                                many ? layout_of(descra) : layout::column_major)});
      }
    }
  }
}

template <class T>
class manual : public testing::Test {};
TYPED_TEST_SUITE(manual, all_types, type_names);

// "Who reads y": alpha 1 and beta 0 on a y of NaN.
TYPED_TEST(manual, says_who_reads_y) {
  using T = TypeParam;
  for_each_example<T>([](const example<T>& e) {
    const bool plain_real = !is_complex<T> && e.structure() == 'G';
    const bool overwritten =
        is_solve(e.entry) ||
        (plain_real && e.op == 0 && (e.entry == "csrmv" || e.entry == "csrgemv")) ||
        (plain_real && e.op != 0 && e.entry == "cscmv");
    panel<T> y = e.filled(quiet_nan<T>());
    ASSERT_EQ(e.run(y, e.a, make<T>(1), make<T>(0)), 0);
    for (std::int64_t i = 0; i < y.rows(); ++i) {
      EXPECT_EQ(element_is_nan(y(i, 0)), !overwritten) << "row " << i;
    }
    if (is_solve(e.entry) || is_three_array(e.entry)) return;
    // Any other alpha reads y in every product.
    y = e.filled(quiet_nan<T>());
    ASSERT_EQ(e.run(y, e.a, make<T>(2), make<T>(0)), 0);
    EXPECT_TRUE(element_is_nan(y(0, 0)));
  });
}

// "What empty means": a matrix without entries, on y = 3 with beta 2.
TYPED_TEST(manual, says_what_empty_means) {
  using T = TypeParam;
  for_each_example<T>([](const example<T>& e) {
    const char s = e.structure();
    // Nothing is promised for a triangular solve with one right-hand side.
    if (is_solve(e.entry) && !has_many_vectors(e.entry) && s == 'T') return;
    matrix<T> none = e.a;
    for (int i = 0; i < none.major(); ++i) none.begin[i] = none.end[i] = none.base;
    const bool refused = e.entry == "csrmm" || e.entry == "csrsm" ||
                         (e.entry == "cscsm" && s == 'T') || (e.entry == "cscmm" && s == 'G') ||
                         (e.entry == "cscmm" && s == 'T' && is_complex<T> && e.op == 2);
    const panel<T> y = e.filled(make<T>(3));
    EXPECT_EQ(e.run(y, none, make<T>(1), make<T>(2)), refused ? 3 : 0);
    if (refused) {
      EXPECT_SAME_ARRAYS(y.elements(), e.filled(make<T>(3)).elements());
    } else if (!is_solve(e.entry)) {
      const bool unit = s != 'G' && e.descra[2] == 'U';
      const T beta = is_three_array(e.entry) ? make<T>(0) : make<T>(6);
      EXPECT_LE(std::abs(widen(y(1, 0)) - widen(beta) - (unit ? widen(e.x(1, 0)) : wide<T>(0))),
                8 * epsilon<T>);
    }
  });
}

// "What a call allocates": who allocates nothing, on one thread and on several.
TYPED_TEST(manual, says_who_allocates_nothing) {
  using T = TypeParam;
  for_each_example<T>([](const example<T>& e) {
    const char s = e.structure();
    const bool conjugated_triangle = is_complex<T> && e.op == 2;
    bool one = false;      // nothing on a budget of 1
    bool several = false;  // nor on a larger one
    if (e.entry == "csrmv") {
      one = s == 'G' ? e.op == 0 : (s != 'T' || e.op == 0 || conjugated_triangle);
    } else if (e.entry == "cscmv") {
      one = s != 'G' || e.op != 0;
    } else if (e.entry == "csrgemv") {
      one = several = e.op == 0;
    } else if (e.entry == "csrsymv") {
      one = true;
    } else if (is_solve(e.entry) && !has_many_vectors(e.entry)) {
      one = several = true;
    }
    const panel<T> y = e.filled(make<T>(0));
    for (const int budget : {1, 5}) {
      if (budget > 1 && e.lowers_budget()) continue;
      const budget_scope threads(budget);
      const allocator_scope memory;
      ASSERT_EQ(e.run(y, e.a, make<T>(1), make<T>(0)), 0);
      EXPECT_EQ(memory.calls() == 0, budget == 1 ? one : several) << "budget " << budget;
    }
  });
}

// "Which results are the same bits": for every budget, or for every one above 1.
TYPED_TEST(manual, says_which_results_are_the_same_for_every_budget) {
  using T = TypeParam;
  for_each_example<T>([](const example<T>& e) {
    const bool every = is_solve(e.entry) || (e.entry == "csrgemv" && e.op == 0);
    const bool above_one = e.entry == "csrmm";
    if (!every && !above_one) return;
    panel<T> first = e.filled(make<T>(0.5));
    for (const int budget : {every ? 1 : 2, 2, 3, 7, 7}) {
      const budget_scope threads(budget);
      const panel<T> y = e.filled(make<T>(0.5));
      ASSERT_EQ(e.run(y, e.a, make<T>(1.5), make<T>(0.3)), 0);
      if (budget < 3) first = y;
      EXPECT_SAME_ARRAYS(y.elements(), first.elements()) << "budget " << budget;
    }
  });
}

}  // namespace
}  // namespace nevrad_test
