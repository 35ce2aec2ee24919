// Sums and products of compressed matrices in the plainest form: every step as it is documented,
// one row at a time, on vectors. What the library may do faster is held against these to the bit,
// output arrays and statuses alike.
#pragma once

#include "support/exact.h"
#include "support/oracle.h"
#include "support/threads.h"

namespace nevrad_test {

NEVRAD_BY_TYPE(csradd, orv_sparse_, csradd)
NEVRAD_BY_TYPE(csrmultcsr, orv_sparse_, csrmultcsr)
NEVRAD_BY_TYPE(csrmultd, orv_sparse_, csrmultd)

template <class T>
bool has_entries(const lines<T>& a) {
  return std::any_of(a.begin(), a.end(), [](const row<T>& entries) { return !entries.empty(); });
}

// A call with a compressed result: A + beta op(B), or op(A) B.
enum class operation { sum, product };

template <class T>
struct sparse_call {
  operation what;
  int transa = 0;
  int request = 0;
  int sort = 0;
  matrix<T> A;
  matrix<T> B;
  T beta = make<T>(1);
  int nzmax = 0;

  explicit sparse_call(operation kind) : what(kind) {}
  bool adds() const { return what == operation::sum; }
  int rows() const { return adds() || transa == 0 ? A.rows : A.cols; }
};

// The output arrays go in as the caller left them.
template <class T>
struct sparse_result {
  int status = 0;
  array<T> c;
  array<int> jc;
  array<int> ic;

  // Room for `room` entries, marked so that a stray write shows.
  sparse_result(int rows, std::int64_t room)
      : c(room, make<T>(-77, 77)), jc(room, -77), ic(rows + 1, -77) {}

  void put(std::int64_t p, int column, T value) {
    jc[p] = column;
    c[p] = value;
  }
  int total() const { return ic[ic.size() - 1] - ic[0]; }
};

template <class T>
int run(const sparse_call<T>& x, sparse_result<T>& out) {
  const array<int> ia = x.A.pointers();
  const array<int> ib = x.B.pointers();
  const T* const a = x.A.values.data();
  const T* const b = x.B.values.data();
  const int* const ja = x.A.indices.data();
  const int* const jb = x.B.indices.data();
  return x.adds()
             ? csradd<T>(x.transa, x.request, x.sort, x.A.rows, x.A.cols, a, ja, ia.data(), x.beta,
                         b, jb, ib.data(), out.c.data(), out.jc.data(), out.ic.data(), x.nzmax)
             : csrmultcsr<T>(x.transa, x.request, x.sort, x.A.rows, x.A.cols, x.B.cols, a, ja,
                             ia.data(), b, jb, ib.data(), out.c.data(), out.jc.data(),
                             out.ic.data(), x.nzmax);
}

// A row of a result: how many entries are counted for it, and what is written. On one thread each
// entry below `together` looks for its own room, the others for the room of all of them.
template <class T>
struct result_row {
  int count = 0;
  row<T> entries;
  std::size_t together = 0;
};

template <class T>
result_row<T> added(const row<T>& a, const row<T>& b, T beta) {
  const auto scaled = [&](const auto& e) {
    return std::make_pair(e.first, exact_fused_product(beta, e.second));
  };
  result_row<T> sum;
  std::size_t p = 0;
  std::size_t q = 0;
  while (p < a.size() && q < b.size()) {
    if (a[p].first < b[q].first) {
      sum.entries.push_back(a[p++]);
    } else if (a[p].first > b[q].first) {
      sum.entries.push_back(scaled(b[q++]));
    } else if constexpr (is_complex<T>) {
      sum.entries.push_back(scaled(b[q++]));
      sum.entries.back().second = exact_add(sum.entries.back().second, a[p++].second);
    } else {
      sum.entries.emplace_back(a[p].first, fused(b[q].second, beta, a[p].second));
      ++p, ++q;
    }
  }
  sum.together = sum.entries.size();
  for (; p < a.size(); ++p) sum.entries.push_back(a[p]);
  for (; q < b.size(); ++q) sum.entries.push_back(scaled(b[q]));
  sum.count = static_cast<int>(a.size() + b.size());
  for (const auto& e : a) {
    for (const auto& f : b) sum.count -= e.first == f.first ? 1 : 0;
  }
  return sum;
}

// Columns in order of first touch.
template <class T>
result_row<T> multiplied(const row<T>& a, const lines<T>& b, int cols) {
  result_row<T> product;
  std::vector<int> place(at(cols), -1);
  for (const auto& [k, v] : a) {
    for (const auto& [column, u] : b[at(k)]) {
      if (place[at(column)] < 0) {
        place[at(column)] = product.count++;
        product.entries.emplace_back(column, T{});
      }
      T& sum = product.entries[at(place[at(column)])].second;
      sum = exact_multiply_add(sum, v, u);
    }
  }
  return product;
}

// Writes the rows as the request, the budget and the capacity have it.
template <class T>
int deliver(const sparse_call<T>& call,
            const std::vector<result_row<T>>& rows,
            bool one_thread,
            bool whole_rows,
            sparse_result<T>& out) {
  array<int>& ic = out.ic;
  if (one_thread && call.request == 0) {
    ic[0] = 1;
    int pos = 0;
    for (std::size_t i = 0; i < rows.size(); ++i) {
      const row<T>& entries = rows[i].entries;
      for (std::size_t e = 0; e <= entries.size(); ++e) {
        if (whole_rows && e == rows[i].together) {
          if (pos + static_cast<int>(entries.size() - e) > call.nzmax) return 3;
        }
        if (e == entries.size()) break;
        if ((!whole_rows || e < rows[i].together) && pos >= call.nzmax) return 3;
        out.put(pos++, entries[e].first + 1, entries[e].second);
      }
      ic[static_cast<int>(i) + 1] = pos + 1;
    }
    return 0;
  }
  if (call.request < 2) {
    ic[0] = 1;
    for (int i = 1; i < ic.size(); ++i) ic[i] = ic[i - 1] + rows[at(i) - 1].count;
  }
  if (call.request == 1 && (one_thread || !call.adds())) return 0;
  if (out.total() > call.nzmax) return 3;
  if (call.request == 1) return 0;
  const int origin = call.adds() ? ic[0] : 1;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    std::int64_t pos = ic[static_cast<int>(i)] - origin;
    for (const auto& [column, value] : rows[i].entries) out.put(pos++, column + origin, value);
  }
  return 0;
}

// The rows of a call's result, in both orders of their columns.
template <class T>
struct expected_rows {
  bool refused = false;  // an operand to be sorted or transposed has no entries
  std::vector<result_row<T>> ordered;
  std::vector<result_row<T>> by_first_touch;

  explicit expected_rows(const sparse_call<T>& call) {
    lines<T> a = lines_of(call.A);
    lines<T> b = lines_of(call.B);
    lines<T>* const operands[] = {&a, &b};
    for (int o = 0; call.adds() && o < 2; ++o) {
      if (call.sort != o + 1 && call.sort != 3) continue;
      refused = refused || !has_entries(*operands[o]);
      for (row<T>& entries : *operands[o]) entries = ascending(entries);
    }
    if (call.transa != 0) {
      lines<T>& op = call.adds() ? b : a;
      refused = refused || !has_entries(op);
      op = transposed(op, call.adds() ? call.B.cols : call.A.cols, call.transa == 2);
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
      ordered.push_back(call.adds() ? added(a[i], b[i], call.beta)
                                    : multiplied(a[i], b, call.B.cols));
      by_first_touch.push_back(ordered.back());
      if (!call.adds()) ordered.back().entries = ascending(ordered.back().entries);
    }
  }
};

template <class T>
int reference(const sparse_call<T>& call,
              int budget,
              const expected_rows<T>& rows,
              sparse_result<T>& out) {
  if (rows.refused) return 3;
  const bool one_thread = budget == 1;
  if (!call.adds() && one_thread && call.request == 0 && call.nzmax >= 102400) {
    return deliver(call, rows.by_first_touch, one_thread, true, out);
  }
  return deliver(call, rows.ordered, one_thread, call.adds(), out);
}

// Row pointers as request 1 gives them.
template <class T>
array<int> pattern(sparse_call<T> call, const expected_rows<T>& rows) {
  call.request = 1;
  sparse_result<T> out(call.rows(), 0);
  reference(call, 1, rows, out);
  return out.ic;
}

template <class T>
void compare(const sparse_call<T>& call,
             int budget,
             const expected_rows<T>& rows,
             const sparse_result<T>& before) {
  SCOPED_TRACE(testing::Message() << "transa " << call.transa << " request " << call.request
                                  << " sort " << call.sort << " nzmax " << call.nzmax << " budget "
                                  << budget);
  sparse_result<T> want = before;
  want.status = reference(call, budget, rows, want);
  sparse_result<T> got = before;
  const budget_scope threads(budget);
  got.status = run(call, got);
  EXPECT_EQ(got.status, want.status);
  EXPECT_SAME_ARRAYS(got.ic, want.ic);
  EXPECT_SAME_ARRAYS(got.jc, want.jc);
  EXPECT_SAME_ARRAYS(got.c, want.c);
}

inline const std::vector<int> all_budgets(std::begin(budgets), std::end(budgets));

// All requests, and capacities around the size of the result, from the arrays that request 1 would
// give. Room beyond the capacity is what a merge of rows in no order may need.
template <class T>
void compare_capacities(sparse_call<T> call, const std::vector<int>& on_budgets, int slack = 0) {
  const expected_rows<T> rows(call);
  const array<int> ic = pattern(call, rows);
  const int total = std::max(0, ic[ic.size() - 1] - 1);  // 0 too where the call is refused
  for (call.request = 0; call.request < 3; ++call.request) {
    for (const int nzmax : {total, total - 1, total / 2, 0, -1, 102399, 102400}) {
      call.nzmax = nzmax;
      sparse_result<T> before(call.rows(), total + slack);
      if (call.request == 2) before.ic = ic;
      for (const int budget : on_budgets) compare(call, budget, rows, before);
    }
  }
}

// A caller's row pointers may leave room behind rows, and those of a sum count from another base.
template <class T>
void compare_callers_pointers(sparse_call<T> call) {
  call.request = 2;
  const expected_rows<T> rows(call);
  array<int> ic = pattern(call, rows);
  for (int i = 0; i < ic.size(); ++i) ic[i] += 2 * i + (call.adds() ? 4 : 0);
  sparse_result<T> before(call.rows(), ic[ic.size() - 1] - ic[0]);
  before.ic = ic;
  for (const int budget : budgets) {
    for (const int spare : {0, -1}) {
      call.nzmax = before.total() + spare;
      compare(call, budget, rows, before);
    }
  }
}

// Signs of zero, infinities and NaN.
template <class T>
std::vector<T> special_values() {
  return {make<T>(0, -0.0), make<T>(-0.0, 0), make<T>(std::numeric_limits<double>::infinity(), 1),
          quiet_nan<T>(), make<T>(3, -2)};
}

// The dense product: columns of op(A) weighted by the entries of a column of B, four entries a
// group, whose elements are all read before one of them is written.
template <class T>
void reference_dense_product(int transa, const matrix<T>& A, const matrix<T>& B, panel<T>& c) {
  const lines<T> a = lines_of(A);
  const lines<T> x = transa == 0 ? transposed(a, A.cols) : a;
  const lines<T> y = transposed(lines_of(B), B.cols);
  const auto how = transa == 2 ? conjugate::yes : conjugate::no;
  for (std::size_t j = 0; j < y.size(); ++j) {
    const auto element = [&](int i) -> T& { return c(i, static_cast<std::int64_t>(j)); };
    for (int i = 0; i < c.rows(); ++i) element(i) = T{};
    for (const auto& [r, v] : y[j]) {
      const row<T>& column = x[at(r)];
      const std::size_t grouped = column.size() / 4 * 4;
      for (std::size_t e = 0; e < column.size();) {
        const std::size_t size = e < grouped ? 4 : 1;
        row<T> sums;
        for (std::size_t g = e; g < e + size; ++g) {
          const auto& [i, u] = column[g];
          sums.emplace_back(i, exact_multiply_add(element(i), u, v, how));
        }
        for (const auto& [i, sum] : sums) element(i) = sum;
        e += size;
      }
    }
  }
}

}  // namespace nevrad_test
