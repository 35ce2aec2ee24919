// Which of its two kernels a product of a column-stored matrix takes.
#include "mv/tables.h"
#include "support/matrix.h"
#include "support/threads.h"

#include <sys/mman.h>
#include <unistd.h>

namespace nevrad_test {
namespace {

NEVRAD_BY_TYPE(cscmv, orv_sparse_, cscmv)
NEVRAD_BY_TYPE(csrmv, orv_sparse_, csrmv)
template <class T>
class structured_entries : public testing::Test {};
TYPED_TEST_SUITE(structured_entries, all_types, type_names);

template <class T>
array<T> run_cscmv(const matrix<T>& a,
                   int op,
                   const char* descra,
                   const array<T>& x,
                   T alpha,
                   T beta,
                   const array<T>& before) {
  array<T> y = before;
  EXPECT_EQ(cscmv<T>(op, a.rows, a.cols, alpha, descra, a.values.data(), a.indices.data(),
                     a.begin.data(), a.end.data(), x.data(), beta, y.data()),
            0);
  return y;
}

// Full columns of 150 entries are long; with one entry less on average they are short. The two
// halves add in different orders, and their kernels tell which one ran.
TYPED_TEST(structured_entries, columns_of_150_entries_on_average_are_long) {
  using T = TypeParam;
  generator random(1);
  for (const int rows : {149, 150, 151}) {
    lines<T> full(static_cast<std::size_t>(rows));
    for (auto& line : full) {
      for (int i = 0; i < rows; ++i) line.emplace_back(i, random.value<T>());
    }
    const matrix<T> a = compress<T>(full, rows, compression::columns, 0);
    const auto x = random.values<T>(rows);
    const auto before = random.values<T>(rows);
    const T alpha = random.value<T>();
    const T beta = random.value<T>();
    const budget_scope budget(1);
    for (const auto& row : nevrad::cscmv_table<T>) {
      if (row.one_based == 1 || row.code[0] == 'D') continue;
      for (const int op : {0, 1, 2}) {
        SCOPED_TRACE(testing::Message() << row.code << ", op " << op << ", " << rows);
        const int slot = rows >= 150 ? op : op + 3;
        array<T> want = before;
        row.kernels.at[slot](a.view(), x.data(), want.data(), alpha, beta);
        EXPECT_SAME_ARRAYS(run_cscmv(a, op, row.code, x, alpha, beta, before), want);
      }
    }
  }
}

// More entries than caches hold go other ways, of which the values show nothing: a lower triangle
// by columns, which is an upper one by rows. All sums are exact.
TYPED_TEST(structured_entries, more_than_caches_hold) {
  using T = TypeParam;
  constexpr int order = is_native ? 2000 : 200;
  array<T> values(order * (order + 1) / 2);
  array<int> indices(values.size());
  array<int> pointers(order + 1);
  array<T> x(order);
  array<T> below(order);
  array<T> beyond(order);
  std::vector<int> sum_below(order);
  std::vector<int> sum_beyond(order);
  int p = 0;
  for (int j = 0; j < order; ++j) {
    x[j] = make<T>(j % 3 - 1);
    pointers[j] = p;
    for (int i = j; i < order; ++i, ++p) {
      const int value = (i * 7 + j * 3) % 5 - 2;
      values[p] = make<T>(value);
      indices[p] = i;
      sum_below[at(i)] += value * (j % 3 - 1);
      sum_beyond[at(j)] += value * (i % 3 - 1);
    }
  }
  pointers[order] = p;
  const T one = make<T>(1);
  for (const int budget : {1, 3}) {
    const budget_scope threads(budget);
    ASSERT_EQ(cscmv<T>(0, order, order, one, "TLNC", values.data(), indices.data(), pointers.data(),
                       pointers.data() + 1, x.data(), make<T>(0), below.data()),
              0);
    ASSERT_EQ(csrmv<T>(0, order, order, one, "G00C", values.data(), indices.data(), pointers.data(),
                       pointers.data() + 1, x.data(), make<T>(0), beyond.data()),
              0);
    for (int i = 0; i < order; ++i) {
      ASSERT_EQ(widen(below[i]), widen(make<T>(sum_below[at(i)]))) << i;
      ASSERT_EQ(widen(beyond[i]), widen(make<T>(sum_beyond[at(i)]))) << i;
    }
  }
}

// The columns of a grid, so many and so short that threads are handed some dozens at once. All sums
// are exact.
TYPED_TEST(structured_entries, teams_take_each_column_once) {
  using T = TypeParam;
  constexpr int order = 2467;
  constexpr int distances[] = {0, 1, 6, 40};
  lines<T> below(order);
  lines<T> beyond(order);
  std::vector<int> sums(order);
  for (int j = 0; j < order; ++j) {
    for (const int d : distances) {
      const int i = j + d;
      if (i >= order) continue;
      below[at(j)].emplace_back(i, make<T>(1 + d % 3));
      beyond[at(i)].emplace_back(j, make<T>(1 + d % 3));
      sums[at(i)] += (1 + d % 3) * (j % 5 - 2);
      if (d > 0) sums[at(j)] += (1 + d % 3) * (i % 5 - 2);
    }
  }
  array<T> x(order);
  for (int j = 0; j < order; ++j) x[j] = make<T>(j % 5 - 2);
  const budget_scope threads(3);
  for (const auto& row : nevrad::cscmv_table<T>) {
    if ((row.code[0] != 'S' && row.code[0] != 'H') || row.code[2] != 'N') continue;
    SCOPED_TRACE(row.code);
    const auto& entries = row.code[1] == 'L' ? below : beyond;
    const matrix<T> a = compress<T>(entries, order, compression::columns, row.one_based);
    array<T> y(order);
    row.kernels.at[0](a.view(), x.data(), y.data(), make<T>(1), make<T>(0));
    for (int i = 0; i < order; ++i) ASSERT_EQ(widen(y[i]), widen(make<T>(sums[at(i)]))) << i;
  }
}

// Columns without entries say nothing of the shape of the four before them, wherever they point to.
// What lies in front of the indices cannot be read.
TYPED_TEST(structured_entries, empty_columns_read_nothing) {
  using T = TypeParam;
  constexpr int order = 40;
  constexpr int entries = 150 * order;  // that columns count as long
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const std::size_t bytes = (entries * sizeof(int) + page - 1) / page * page;
  void* const mapped = mmap(nullptr, page + bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(mapped, MAP_FAILED);
  int* const indices = reinterpret_cast<int*>(static_cast<char*>(mapped) + page);
  ASSERT_EQ(mprotect(indices, bytes, PROT_READ | PROT_WRITE), 0);
  const array<T> values(entries, make<T>(1));
  const array<T> x(order, make<T>(1));
  array<T> y(order);
  array<int> begin(order);
  array<int> end(order);
  std::vector<int> want(order);
  int p = 0;
  for (int j = 0; j < 4; ++j) {
    begin[j] = p;
    for (const int below : {0, 1, 2, 4}) {
      indices[p++] = j + below;
      ++want[at(j + below)];
      if (below > 0) ++want[at(j)];
    }
    end[j] = p;
  }
  begin[order - 1] = entries - 1;
  end[order - 1] = entries;
  indices[entries - 1] = order - 1;
  ++want[order - 1];
  for (const int budget : {1, 2}) {
    const budget_scope threads(budget);
    ASSERT_EQ(cscmv<T>(0, order, order, make<T>(1), "SLNC", values.data(), indices, begin.data(),
                       end.data(), x.data(), make<T>(0), y.data()),
              0);
    for (int i = 0; i < order; ++i) ASSERT_EQ(widen(y[i]), widen(make<T>(want[at(i)]))) << i;
  }
  munmap(mapped, page + bytes);
}

}  // namespace
}  // namespace nevrad_test
