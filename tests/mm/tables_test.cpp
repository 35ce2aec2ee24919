// Every row and slot of both tables on one thread and on several, which calls of the entries by
// columns do not reach with small matrices; and to the bit against the general product.
#include "mm/calls.h"
#include "mm/expanded.h"

namespace nevrad_test {
namespace {

using nevrad::diagonal;
using nevrad::triangle;

const char* name_of(compression kind) { return kind == compression::rows ? "rows" : "columns"; }

// A Hermitian matrix counts as its own conjugate transpose, so an imaginary part that its diagonal
// should not have stays as it is under every operation.
template <class T>
dense<T> operand(const matrix<T>& a, const char* code, int op) {
  return dense_of(a, code, code[0] == 'H' && op == 2 ? 0 : op);
}

// One problem of the shapes that an operation asks for.
template <class T>
struct problem {
  const char* code;
  int op;
  matrix<T> a;
  T alpha;
  T beta;
  panel<T> b;
  panel<T> before;

  problem(generator& random, const char* descra, int operation, matrix<T> matrix_a, int n)
      : code(descra),
        op(operation),
        a(std::move(matrix_a)),
        alpha(random.value<T>()),
        beta(random.value<T>()),
        b(panel<T>::random(random, op == 0 ? a.cols : a.rows, n, layout_of(code), 1)),
        before(panel<T>::random(random, op == 0 ? a.rows : a.cols, n, layout_of(code), 2)) {}

  panel<T> run(int budget) const {
    const budget_scope scope(budget);
    panel<T> c = before;
    EXPECT_EQ(run_slot(a, code, op, b, alpha, beta, c), 0);
    EXPECT_EQ(orv_get_thread_num_(), budget);
    return c;
  }
};

template <class T>
class mm_tables : public testing::Test {};
TYPED_TEST_SUITE(mm_tables, all_types, type_names);

TYPED_TEST(mm_tables, agree_with_dense_arithmetic) {
  using T = TypeParam;
  generator random(1);
  for (const compression kind : {compression::rows, compression::columns}) {
    for (const char* const code : all_descriptors) {
      for (const int op : {0, 1, 2}) {
        const int order = random.integer(1, 16);
        const int cols = code[0] == 'G' ? random.integer(1, 16) : order;
        const problem<T> p(random, code, op,
                           random_matrix<T>(random, {.rows = order,
                                                     .cols = cols,
                                                     .base = code[3] == 'F' ? 1 : 0,
                                                     .kind = kind,
                                                     .sorted = random.chance(2),
                                                     .duplicates = code[0] != 'D'}),
                           random.integer(1, 19));
        SCOPED_TRACE(testing::Message()
                     << code << " by " << name_of(kind) << ", op " << op << ", " << random);
        for (const int budget : {1, 3}) {
          EXPECT_TRUE(
              is_product(p.run(budget), operand(p.a, code, op), p.b, p.alpha, p.beta, p.before));
        }
      }
    }
  }
}

TYPED_TEST(mm_tables, gives_the_bits_of_the_general_product) {
  using T = TypeParam;
  generator random(2);
  for (const compression kind : {compression::rows, compression::columns}) {
    for (const char* const code : all_descriptors) {
      if (code[0] == 'G' || code[0] == 'D') continue;
      for (const int op : {0, 1, 2}) {
        const int order = random.integer(2, 12);
        lines<T> source(static_cast<std::size_t>(order));
        for (auto& line : source) {
          const int length = random.integer(0, order);
          for (int p = 0; p < length; ++p)
            line.emplace_back(random.integer(0, order - 1), random.template value<T>());
        }
        source[0].emplace_back(order - 1, random.template value<T>());
        const problem<T> p(random, code, op,
                           compress<T>(source, order, kind, code[3] == 'F' ? 1 : 0), 7);
        problem<T> general = p;
        general.code = code[3] == 'F' ? "G00F" : "G00C";
        general.op = 0;
        general.a = expanded(p.a, code, op);
        if (general.a.entries() == 0) continue;
        const int budget = random.chance(2) ? 1 : 3;
        SCOPED_TRACE(testing::Message() << code << " by " << name_of(kind) << ", op " << op
                                        << ", budget " << budget << ", " << random);
        EXPECT_SAME_ARRAYS(p.run(budget).elements(), general.run(budget).elements());
      }
    }
  }
}

// A general matrix by columns is the same matrix by rows, sorted.
TYPED_TEST(mm_tables, columns_give_the_bits_of_rows) {
  using T = TypeParam;
  generator random(3);
  for (const char* const code : {"G00F", "G00C"}) {
    for (const int op : {0, 1, 2}) {
      const problem<T> p(random, code, op,
                         random_matrix<T>(random, {.rows = 17,
                                                   .cols = 23,
                                                   .base = code[3] == 'F' ? 1 : 0,
                                                   .kind = compression::columns,
                                                   .duplicates = true}),
                         9);
      problem<T> by_rows = p;
      by_rows.a = compress<T>(transposed(lines_of(p.a), 17), 23, compression::rows, p.a.base);
      for (const int budget : {1, 3}) {
        SCOPED_TRACE(testing::Message() << code << ", op " << op << ", budget " << budget);
        EXPECT_SAME_ARRAYS(p.run(budget).elements(), by_rows.run(budget).elements());
      }
    }
  }
}

// A gate that runs on nothing, to see what the frames answer to a null.
template <class T>
nevrad::status idle_gate(const nevrad::compressed_matrix<T>&, const nevrad::mm_operands<T>&) {
  return 0;
}

TYPED_TEST(mm_tables, frames_differ_in_their_answer_to_null) {
  using T = TypeParam;
  using namespace nevrad;
  generator random(5);
  const auto made = random_matrix<T>(random, {.rows = 3, .cols = 3});
  const auto a = made.view();
  const array<T> b(9);
  const array<T> c(9);
  const struct {
    mm_frame<T> frame;
    status answer;
  } frames[] = {{mm_structured<T>, null_pointer},
                {mm_structured_view<T>, invalid_value},
                {mm_structured_converted<T>, invalid_value}};
  for (const auto& [frame, answer] : frames) {
    const auto run = [&, f = frame](const owned_matrix<T>* matrix, const T* from, T* to,
                                    expansion<T> expand, mm_kernel<T> gate) {
      return f(matrix, {from, 3, 3, to, 3, one<T>(), one<T>()},
               {triangle::lower, diagonal::stored, expand, gate});
    };
    const expansion<T> expand = expand_symmetric<T>;
    EXPECT_EQ(run(&a, b.data(), c.data(), expand, idle_gate<T>), success);
    EXPECT_EQ(run(nullptr, b.data(), c.data(), expand, idle_gate<T>), answer);
    EXPECT_EQ(run(&a, nullptr, c.data(), expand, idle_gate<T>), answer);
    EXPECT_EQ(run(&a, b.data(), nullptr, expand, idle_gate<T>), answer);
    EXPECT_EQ(run(&a, b.data(), c.data(), nullptr, idle_gate<T>), answer);
    EXPECT_EQ(run(&a, b.data(), c.data(), expand, nullptr), answer);
  }
}

TYPED_TEST(mm_tables, tables_have_their_own_order_of_rows) {
  using T = TypeParam;
  const char* const by_columns[] = {"G00F", "G00C", "SUNF", "SUNC", "SLNF", "SLNC", "SUUF", "SUUC",
                                    "SLUF", "SLUC", "TLNF", "TLNC", "TLUF", "TLUC", "TUNF", "TUNC",
                                    "TUUF", "TUUC", "HLNF", "HLNC", "HLUF", "HLUC", "HUNF", "HUNC",
                                    "HUUF", "HUUC", "D0NF", "D0NC", "D0UF", "D0UC"};
  for (int i = 0; i < 30; ++i) {
    EXPECT_STREQ(nevrad::csrmm_table<T>[i].code, all_descriptors[i]);
    EXPECT_STREQ(nevrad::cscmm_table<T>[i].code, by_columns[i]);
  }
}

}  // namespace
}  // namespace nevrad_test
