// What nevrad-check and the manual say that an entry demands of its matrix is enough: on matrices
// that have nothing more than what is demanded, every result is right.
#include "check/rules.h"
#include "support/trial.h"

namespace nevrad_test {
namespace {

using tools::storage;
using tools::use;

// A random matrix that meets the demands and no more: gaps, disorder, places stored twice, empty
// lines and missing diagonals wherever they are not ruled out.
template <class T>
matrix<T> barely_fit(generator& random, const use& of, int order, int base, int typical) {
  matrix_kind kind;
  kind.rows = order;
  kind.cols = of.square ? order : order - 6;
  kind.base = base;
  kind.kind = of.by == storage::rows ? compression::rows : compression::columns;
  kind.typical = typical;
  kind.sorted = of.sorted;
  kind.duplicates = !of.unique;
  kind.gap = of.packed ? 0 : 2;
  kind.diagonal = of.diagonal ? stored_diagonal::dominant : stored_diagonal::some;
  return random_matrix<T>(random, kind);
}

// Whether a use is that of a form; a count alone has no result to be right.
template <class T>
bool is_use(const form_of<T>& form, const use& of) {
  const std::string name = form.op.name;
  return name.substr(0, name.find(' ')) == of.entry && form.request == 0 &&
         std::string(of.structures).find(form.structure()[0]) != std::string::npos &&
         std::string(of.operations).find(static_cast<char>('0' + form.transa)) != std::string::npos;
}

template <class T>
void check_use(const form_of<T>& form, const use& of, int number, int order, int typical) {
  generator random(static_cast<std::uint64_t>(number));
  const int budget = number / 2 % 2 == 0 ? 1 : 3;
  SCOPED_TRACE(testing::Message() << form << ", budget " << budget << ", " << random);
  const budget_scope threads(budget);
  const auto a = barely_fit<T>(random, of, order, form.base(), typical);
  trial<T> call(form, a, 5, static_cast<std::uint64_t>(number));
  ASSERT_EQ(call.run(), 0);
  EXPECT_TRUE(call.is_right());
}

template <class T>
class rules : public testing::Test {};
TYPED_TEST_SUITE(rules, all_types, type_names);

TYPED_TEST(rules, of_what_a_matrix_must_be_like_are_enough) {
  int number = 0;
  const auto forms = all_forms<TypeParam>();
  for (const use& of : tools::all_uses()) {
    for (const auto& form : forms) {
      if (!is_use(form, of)) continue;
      // Short lines, and lines that are long for the products by rows.
      const int typical = ++number % 2 == 0 ? 3 : 12;
      check_use(form, of, number, 27, typical);
    }
  }
  EXPECT_GT(number, 250);
}

// Columns of 150 entries and more have kernels of their own.
TEST(rules, of_long_columns_are_enough) {
  int number = 0;
  for (const use& of : tools::all_uses()) {
    for (const auto& form : all_forms<double>()) {
      const std::string code = form.structure();
      const bool one_of_them = code == "G00F" || code == "SLNC" || code == "SUUF" ||
                               code == "TLNF" || code == "TUNC" || code == "D0NF";
      if (!form.op.is("cscmv") || !is_use(form, of) || !one_of_them) continue;
      check_use(form, of, 4 * ++number + 2, 176, 170);
    }
  }
}

}  // namespace
}  // namespace nevrad_test
