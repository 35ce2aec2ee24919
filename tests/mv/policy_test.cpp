// Statuses of the matrix-vector entries, and what a call does to the thread budget.
#include "support/matrix.h"
#include "support/threads.h"

#include <functional>

namespace nevrad_test {
namespace {

NEVRAD_BY_TYPE(csrmv, orv_sparse_, csrmv)
NEVRAD_BY_TYPE(csrmv_ref, orv_sparse_, csrmv_)
NEVRAD_BY_TYPE(gemv_one_based, orv_sparse_, csrgemv)
NEVRAD_BY_TYPE(gemv_one_based_ref, orv_sparse_, csrgemv_)
NEVRAD_BY_TYPE(gemv_zero_based, orv_csparse_, csrgemv)
NEVRAD_BY_TYPE(gemv_zero_based_ref, orv_csparse_, csrgemv_)

// A call's arguments, all of them good: the identity of order 2, one-based.
template <class T>
struct arguments {
  int transa = 0;
  int m = 2;
  int k = 2;
  T alpha = make<T>(1);
  T beta = make<T>(2);
  const char* matdescra = "G00F";
  array<T> val{make<T>(1), make<T>(1)};
  array<int> indx{1, 2};
  array<int> ia{1, 2, 3};
  array<T> x{make<T>(5), make<T>(6)};
  array<T> y{make<T>(7), make<T>(8)};
  std::vector<bool> null = std::vector<bool>(7, false);

  template <class P>
  P* pass(P* p, std::size_t which) const {
    return null[which] ? nullptr : p;
  }

  nevrad::status csrmv_by_value() const {
    return csrmv<T>(transa, m, k, alpha, pass(matdescra, 0), pass(val.data(), 1),
                    pass(indx.data(), 2), pass(ia.data(), 3), pass(ia.data() + 1, 4),
                    pass(x.data(), 5), beta, pass(y.data(), 6));
  }
  nevrad::status csrmv_by_reference() const {
    return csrmv_ref<T>(&transa, &m, &k, &alpha, pass(matdescra, 0), pass(val.data(), 1),
                        pass(indx.data(), 2), pass(ia.data(), 3), pass(ia.data() + 1, 4),
                        pass(x.data(), 5), &beta, pass(y.data(), 6));
  }
  template <class Entry>
  nevrad::status gemv(const Entry& entry) const {
    return entry(transa, m, pass(val.data(), 1), pass(ia.data(), 3), pass(indx.data(), 2),
                 pass(x.data(), 5), pass(y.data(), 6));
  }
  template <class Entry>
  nevrad::status gemv_by_reference(const Entry& entry) const {
    return entry(&transa, &m, pass(val.data(), 1), pass(ia.data(), 3), pass(indx.data(), 2),
                 pass(x.data(), 5), pass(y.data(), 6));
  }
};

template <class T>
struct fault {
  nevrad::status status;
  std::function<void(arguments<T>&)> plant;
};

template <class T>
std::vector<fault<T>> pointer_faults(const std::vector<std::size_t>& which) {
  std::vector<fault<T>> all;
  all.reserve(which.size());
  for (const std::size_t p : which) {
    all.push_back({ORV_SPARSE_STATUS_NULL_POINTER, [p](auto& v) { v.null[p] = true; }});
  }
  return all;
}
template <class T, class U>
void add_values(std::vector<fault<T>>& all, U arguments<T>::* field, const std::vector<U>& values) {
  for (const U value : values) {
    all.push_back({ORV_SPARSE_STATUS_INVALID_VALUE, [=](auto& v) { v.*field = value; }});
  }
}

// Every fault by itself and every two of them together. A null pointer outranks a bad value; a
// call that fails leaves y and the budget as they were.
template <class T, class Call>
void expect_statuses(const std::vector<fault<T>>& faults, const Call& call) {
  const budget_scope five(5);
  for (const auto& one : faults) {
    for (const auto& other : faults) {
      arguments<T> v;
      one.plant(v);
      other.plant(v);
      const array<T> before = v.y;
      EXPECT_EQ(call(v), std::min(one.status, other.status));
      EXPECT_SAME_ARRAYS(v.y, before);
      EXPECT_EQ(orv_get_thread_num_(), 5);
    }
  }
}

constexpr int too_large = 2147483646;

template <class T>
class mv_statuses : public testing::Test {};
TYPED_TEST_SUITE(mv_statuses, all_types, type_names);

TYPED_TEST(mv_statuses, of_the_product_by_descriptor) {
  using T = TypeParam;
  auto faults = pointer_faults<T>({0, 1, 2, 3, 4, 5, 6});
  add_values<T, int>(faults, &arguments<T>::transa, {3, -1});
  add_values<T, int>(faults, &arguments<T>::m, {0, -7, too_large});
  add_values<T, int>(faults, &arguments<T>::k, {0, -7, too_large});
  add_values<T, const char*>(faults, &arguments<T>::matdescra,
                             {"g00F", "G00f", "X00F", "SXNF", "TLXC", "D0XF", "G00 "});
  // Only general matrices may be rectangular.
  for (const char* const square : {"SLNF", "HUUC", "TUNF", "D0NC"}) {
    faults.push_back({ORV_SPARSE_STATUS_INVALID_VALUE, [=](auto& v) {
                        v.matdescra = square;
                        v.k = v.m > 0 && v.m != 3 ? 3 : v.k;
                      }});
  }
  expect_statuses<T>(faults, [](const auto& v) { return v.csrmv_by_value(); });
  expect_statuses<T>(faults, [](const auto& v) { return v.csrmv_by_reference(); });
}

TYPED_TEST(mv_statuses, of_the_three_array_forms) {
  using T = TypeParam;
  auto faults = pointer_faults<T>({1, 2, 3, 5, 6});
  add_values<T, int>(faults, &arguments<T>::transa, {3, -1});
  add_values<T, int>(faults, &arguments<T>::m, {0, -7, too_large});
  expect_statuses<T>(faults, [](const auto& v) { return v.gemv(gemv_one_based<T>); });
  expect_statuses<T>(faults, [](const auto& v) { return v.gemv(gemv_zero_based<T>); });
  expect_statuses<T>(faults,
                     [](const auto& v) { return v.gemv_by_reference(gemv_one_based_ref<T>); });
  expect_statuses<T>(faults,
                     [](const auto& v) { return v.gemv_by_reference(gemv_zero_based_ref<T>); });
}

TYPED_TEST(mv_statuses, of_good_arguments) {
  using T = TypeParam;
  for (const char* const general : {"G00F", "GxyF", "GLUF"}) {
    arguments<T> v;
    v.matdescra = general;
    v.k = 3;
    EXPECT_EQ(v.csrmv_by_value(), ORV_SPARSE_STATUS_SUCCESS) << general;
    EXPECT_SAME_ARRAYS(v.y, (array<T>{make<T>(19), make<T>(22)}));
  }
}

// m by k with `entries` of them in the last row and the others empty, all in the first column, so
// that a call is quick whatever the size that it claims.
struct sized {
  int m, k, entries;
};

template <class T>
int budget_after(int before, const char* descra, const sized& size) {
  const int base = descra[3] == 'F' ? 1 : 0;
  array<int> ends(size.m, base);
  ends[size.m - 1] = size.entries + base;
  array<int> begins(size.m, base);
  const array<int> indices(std::max(size.entries, 1), base);
  const array<T> values(std::max(size.entries, 1));
  const array<T> x(size.k);
  array<T> y(size.m);
  const budget_scope budget(before);
  EXPECT_EQ(csrmv<T>(0, size.m, size.k, make<T>(1), descra, values.data(), indices.data(),
                     begins.data(), ends.data(), x.data(), make<T>(0), y.data()),
            ORV_SPARSE_STATUS_SUCCESS);
  return orv_get_thread_num_();
}

template <class T>
class thread_policy : public testing::Test {};
// The policy is one code for all types; s makes the large cases cheap.
TYPED_TEST_SUITE(thread_policy, testing::Types<float>, type_names);

TYPED_TEST(thread_policy, lowers_to_eight_or_to_one_and_never_raises) {
  using T = TypeParam;
  struct {
    const char* descra;
    sized size;
    int wanted;
  } const cases[] = {
      {"G00F", {1000, 1000, 800000}, 8},
      {"G00C", {1000, 1000, 799999}, 1},     // one entry too few
      {"G00F", {100000, 80000, 800000}, 8},  // a density of 0.0001 to the bit
      {"G00F", {100000, 80001, 800000}, 1},  // just below
      {"G00F", {90000, 88889, 800001}, 1},   // 0.0001 if m * k were formed first
      {"G00C", {2, 2, 0}, 1},
      {"G00F", {1, 1, 1}, 1},
      {"SLNF", {900, 900, 800000}, 8},
      {"D0NC", {900, 900, 800000}, 1},  // a diagonal matrix is never worth a team
  };
  for (const auto& c : cases) {
    for (const int before : {1, 2, 7, 8, 9, 16}) {
      EXPECT_EQ(budget_after<T>(before, c.descra, c.size), std::min(before, c.wanted))
          << c.descra << ' ' << c.size.m << " by " << c.size.k << ", " << c.size.entries
          << " entries, budget " << before;
    }
  }
}

// What a call has lowered stays lowered: for the next call, of any family, until it is set again.
TYPED_TEST(thread_policy, outlives_the_call) {
  using T = TypeParam;
  const budget_scope budget(6);
  arguments<T> v;
  EXPECT_EQ(v.gemv(gemv_one_based<T>), 0);
  EXPECT_EQ(orv_get_thread_num_(), 6) << "the three-array form touches no budget";
  EXPECT_EQ(v.csrmv_by_value(), 0);
  EXPECT_EQ(orv_get_thread_num_(), 1);
  EXPECT_EQ(v.csrmv_by_value(), 0);
  EXPECT_EQ(v.gemv(gemv_one_based<T>), 0);
  EXPECT_EQ(orv_get_thread_num_(), 1);
}

}  // namespace
}  // namespace nevrad_test
