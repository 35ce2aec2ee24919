// What every operation refuses, in which order, and that a refused call leaves everything as it
// was.
#include "support/operations.h"
#include "support/threads.h"

#include <map>
#include <set>
#include <sstream>

namespace nevrad_test {
namespace {

constexpr int most = 2147483645;

template <class T>
struct fault {
  std::string what;
  std::function<void(arguments<T>&)> plant;
};

// One value after the other in a field.
template <class T, class U>
std::vector<fault<T>> values(const char* name, U arguments<T>::* field, const std::vector<U>& bad) {
  std::vector<fault<T>> all;
  for (const U value : bad) {
    std::ostringstream what;
    what << name << " = ";
    if constexpr (std::is_same_v<U, int>) {
      what << value;
    } else {
      what << (value == nullptr ? "null" : value);
    }
    all.push_back({what.str(), [=](arguments<T>& x) { x.*field = value; }});
  }
  return all;
}

template <class T, class U>
std::vector<fault<T>> null(const char* name, U* arguments<T>::* field) {
  return {{std::string(name) + " is null", [=](arguments<T>& x) { x.*field = nullptr; }}};
}

// The faults of each name in the table of operations.
template <class T>
std::map<std::string, std::vector<fault<T>>> faults_of(const operation_of<T>& op) {
  using x = arguments<T>;
  const std::vector<int> no_dimension{0, -1, most + 1, most + 2, -most - 3};
  const std::vector<int> no_flag{2, -1};
  // An operand of order 3 by 2 columns, column-major: ldb or ldc has to cover 3 rows, and its
  // product with the columns to keep within the bound.
  const std::vector<int> no_leading{2, 0, -3, most / 2 + 1, most};
  const bool solves = op.descra[0] == 'T';
  static const int nothing[] = {1, 1, 1, 1};
  return {
      {"descra", values<T, const char*>("descra", &x::descra, {nullptr})},
      {"a", null<T>("a", &x::a)},
      {"ja", null<T>("ja", &x::ja)},
      {"ia", null<T>("ia", &x::ia)},
      {"ie", null<T>("ie", &x::ie)},
      {"b", null<T>("b", &x::b)},
      {"jb", null<T>("jb", &x::jb)},
      {"ib", null<T>("ib", &x::ib)},
      {"c", null<T>("c", &x::c)},
      {"jc", null<T>("jc", &x::jc)},
      {"ic", null<T>("ic", &x::ic)},
      {"op", values<T>("transa", &x::transa, {3, -1})},
      {"uplo", values<T>("uplo", &x::uplo, no_flag)},
      {"diag", values<T>("diag", &x::diag, no_flag)},
      {"m", values<T>("m", &x::m, no_dimension)},
      {"n", values<T>("n", &x::n, no_dimension)},
      {"k", values<T>("k", &x::k, no_dimension)},
      {"nnz", values<T>("nnz", &x::nnz, {0, -1, -most})},
      {"ldb", values<T>("ldb", &x::ldb, no_leading)},
      {"ldc", values<T>("ldc", &x::ldc, no_leading)},
      {"request", values<T>("request", &x::request, {3, -1})},
      {"row", values<T, const char*>("descra", &x::descra,
                                     {"g00F", "G00f", "X00F", "SXNF", "TLXC", "D0XF", "G00 ",
                                      "tlnf", "H0NC", solves ? "SLNF" : "D00F"})},
      {"square",
       {{"structure without square",
         [](arguments<T>& v) {
           v.descra = "SLNF";
           v.k = v.m == 4 ? 3 : 4;
           v.ldb = 4;
         }}}},
      {"empty",
       {{"no entries",
         [](arguments<T>& v) {
           v.ia = const_cast<int*>(nothing);
           v.ie = v.ia + 1;
         }}}},
  };
}

template <class T>
struct step {
  int status;
  std::vector<fault<T>> faults;
};

// "1: a ja | 3: op m" as steps.
template <class T>
std::vector<step<T>> steps_of(const operation_of<T>& op) {
  const auto known = faults_of<T>(op);
  std::vector<step<T>> steps;
  std::istringstream text(op.checks);
  for (std::string word; text >> word;) {
    if (word == "|") continue;
    if (word.back() == ':') {
      steps.push_back({std::stoi(word), {}});
      continue;
    }
    const auto& more = known.at(word);
    steps.back().faults.insert(steps.back().faults.end(), more.begin(), more.end());
  }
  return steps;
}

template <class T>
class statuses : public testing::Test {};
TYPED_TEST_SUITE(statuses, all_types, type_names);

// Every fault alone, and every two of them: the one of the earlier step decides. Nothing is
// written, and the budget stays.
TYPED_TEST(statuses, are_those_of_the_first_step_that_fails) {
  using T = TypeParam;
  const budget_scope five(5);
  int calls = 0;
  for (const operation_of<T>& op : all_operations<T>()) {
    generator random(1);
    const problem_of<T> untouched(random, {.op = op, .descra = op.descra}, 3, 2);
    random = generator(1);
    const problem_of<T> problem(random, {.op = op, .descra = op.descra}, 3, 2);
    const auto expect = [&](int status, const fault<T>& one, const fault<T>& other) {
      for (const auto& call : {op.by_value, op.by_reference}) {
        arguments<T> x = problem.x;
        other.plant(x);
        one.plant(x);
        EXPECT_EQ(call(x), status) << op.name << ": " << one.what << ", " << other.what;
        ++calls;
      }
    };
    const auto steps = steps_of<T>(op);
    for (std::size_t s = 0; s < steps.size(); ++s) {
      for (const fault<T>& first : steps[s].faults) {
        for (std::size_t t = s; t < steps.size(); ++t) {
          for (const fault<T>& second : steps[t].faults) expect(steps[s].status, first, second);
        }
      }
    }
    SCOPED_TRACE(op.name);
    expect_same_arrays(problem, untouched);
    EXPECT_EQ(orv_get_thread_num_(), 5);
  }
  this->RecordProperty("calls", calls);
}

// The largest dimension passes its test: what is asked next decides.
TYPED_TEST(statuses, dimensions_up_to_the_bound_pass) {
  using T = TypeParam;
  for (const operation_of<T>& op : all_operations<T>()) {
    if (op.checks[0] != '3') continue;
    generator random(1);
    problem_of<T> problem(random, {.op = op, .descra = op.descra}, 3, 2);
    problem.x.m = problem.x.n = problem.x.k = most;
    problem.x.ib = nullptr;
    EXPECT_EQ(op.by_value(problem.x), 1) << op.name;
  }
}

// A form by reference computes the same, and only the products that choose their threads by the
// matrix change the budget.
TYPED_TEST(statuses, are_those_of_the_form_by_value) {
  using T = TypeParam;
  const std::set<std::string> with_policy{"csrmv", "cscmv", "cscmm"};
  for (const operation_of<T>& op : all_operations<T>()) {
    for (const int transa : {0, 1, 2}) {
      generator random(1);
      const problem_of<T> one(random, {.op = op, .descra = op.descra, .transa = transa}, 7, 4);
      random = generator(1);
      const problem_of<T> other(random, {.op = op, .descra = op.descra, .transa = transa}, 7, 4);
      SCOPED_TRACE(testing::Message() << op.name << ", op " << transa);
      // Packed vectors repeat indices here, and threads' parts of a dot come together in any order.
      const int threads = op.tests("nnz") ? 1 : 3;
      const budget_scope budget(threads);
      EXPECT_EQ(op.by_value(one.x), 0) << op.name;
      EXPECT_EQ(orv_get_thread_num_(), with_policy.count(op.name) == 0 ? threads : 1) << op.name;
      EXPECT_EQ(orv_set_thread_num(threads), 0);
      EXPECT_EQ(op.by_reference(other.x), 0) << op.name;
      expect_same_arrays(one, other);
    }
  }
}

}  // namespace
}  // namespace nevrad_test
