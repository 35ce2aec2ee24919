// Sums and products of compressed matrices in the plainest form: every step as it is documented,
// one row at a time, on vectors. What the library may do faster is held against these to the bit,
// output arrays and statuses alike.
#pragma once

#include "support/oracle.h"
#include "support/threads.h"

#include <map>

namespace nevrad_test {

NEVRAD_BY_TYPE(csradd, orv_sparse_, csradd)
NEVRAD_BY_TYPE(csrmultcsr, orv_sparse_, csrmultcsr)
NEVRAD_BY_TYPE(csrmultd, orv_sparse_, csrmultd)

template <class T>
using row = std::vector<std::pair<int, T>>;

// a b + sum by fused steps, a the first operand; conj(a) b + sum where asked for.
template <class T>
T fused(T a, T b, T sum, bool conjugated = false) {
  if constexpr (is_complex<T>) {
    const auto im = conjugated ? -a.im : a.im;
    return {std::fma(-im, b.im, std::fma(a.re, b.re, sum.re)),
            std::fma(im, b.re, std::fma(a.re, b.im, sum.im))};
  } else {
    return std::fma(a, b, sum);
  }
}

template <class T>
T scaled(T beta, T b) {
  if constexpr (is_complex<T>) {
    return {std::fma(beta.re, b.re, -(beta.im * b.im)), std::fma(beta.im, b.re, beta.re * b.im)};
  } else {
    return b * beta;
  }
}

template <class T>
T summed(T a, T beta, T b) {
  if constexpr (is_complex<T>) {
    const T product = scaled(beta, b);
    return {product.re + a.re, product.im + a.im};
  } else {
    return std::fma(b, beta, a);
  }
}

template <class T>
lines<T> lines_of(const matrix<T>& a) {
  lines<T> all(static_cast<std::size_t>(a.major()));
  for (int i = 0; i < a.major(); ++i) {
    for (int p = a.begin[i] - a.base; p < a.end[i] - a.base; ++p) {
      all[static_cast<std::size_t>(i)].emplace_back(a.indices[p] - a.base, a.values[p]);
    }
  }
  return all;
}

// Ascending columns; equal ones keep their order.
template <class T>
row<T> ascending(const row<T>& entries) {
  std::multimap<int, T> sorted;
  for (const auto& entry : entries) sorted.insert(entry);
  return {sorted.begin(), sorted.end()};
}

template <class T>
lines<T> transposed(const lines<T>& a, int cols, bool conjugated) {
  lines<T> t(static_cast<std::size_t>(cols));
  for (std::size_t i = 0; i < a.size(); ++i) {
    for (auto [column, value] : a[i]) {
      if constexpr (is_complex<T>) value.im = conjugated ? -value.im : value.im;
      t[static_cast<std::size_t>(column)].emplace_back(static_cast<int>(i), value);
    }
  }
  return t;
}

template <class T>
bool has_entries(const lines<T>& a) {
  return std::any_of(a.begin(), a.end(), [](const row<T>& entries) { return !entries.empty(); });
}

// A call with a compressed result. The output arrays go in as the caller left them.
template <class T>
struct sparse_call {
  int transa = 0;
  int request = 0;
  int sort = 0;
  matrix<T> A;
  matrix<T> B;
  T beta = make<T>(1);
  int nzmax = 0;
};

template <class T>
struct sparse_result {
  int status = 0;
  array<T> c;
  array<int> jc;
  array<int> ic;

  // Room for `room` entries, marked so that a stray write shows.
  sparse_result(int rows, std::int64_t room)
      : c(room, make<T>(-77, 77)), jc(room, -77), ic(rows + 1, -77) {}

  void put(std::int64_t at, int column, T value) {
    jc[at] = column;
    c[at] = value;
  }
};

template <class T>
void expect_same(const sparse_result<T>& got, const sparse_result<T>& want) {
  EXPECT_EQ(got.status, want.status);
  EXPECT_SAME_ARRAYS(got.ic, want.ic);
  EXPECT_SAME_ARRAYS(got.jc, want.jc);
  EXPECT_SAME_ARRAYS(got.c, want.c);
}

inline void sum_up(array<int>& ic) {
  ic[0] = 1;
  for (std::int64_t i = 1; i < ic.size(); ++i) ic[i] += ic[i - 1];
}

// One row of a sum; what stands from `tail` on was copied after one of the rows had ended.
template <class T>
struct merged_row {
  row<T> entries;
  std::size_t tail = 0;
};
template <class T>
merged_row<T> merge(const row<T>& a, const row<T>& b, T beta) {
  merged_row<T> m;
  std::size_t p = 0;
  std::size_t q = 0;
  while (p < a.size() && q < b.size()) {
    if (a[p].first < b[q].first) {
      m.entries.push_back(a[p++]);
    } else if (a[p].first == b[q].first) {
      m.entries.emplace_back(b[q].first, summed(a[p].second, beta, b[q].second));
      ++p, ++q;
    } else {
      m.entries.emplace_back(b[q].first, scaled(beta, b[q].second));
      ++q;
    }
  }
  m.tail = m.entries.size();
  for (; p < a.size(); ++p) m.entries.push_back(a[p]);
  for (; q < b.size(); ++q) m.entries.emplace_back(b[q].first, scaled(beta, b[q].second));
  return m;
}

template <class T>
int pairs(const row<T>& a, const row<T>& b) {
  int n = 0;
  for (const auto& p : a) {
    for (const auto& q : b) n += p.first == q.first ? 1 : 0;
  }
  return n;
}

template <class T>
int reference_sum(const sparse_call<T>& call, int budget, sparse_result<T>& out) {
  lines<T> a = lines_of(call.A);
  lines<T> b = lines_of(call.B);
  if (call.sort == 1 || call.sort == 3) {
    if (!has_entries(a)) return 3;
    for (row<T>& entries : a) entries = ascending(entries);
  }
  if (call.sort == 2 || call.sort == 3) {
    if (!has_entries(b)) return 3;
    for (row<T>& entries : b) entries = ascending(entries);
  }
  if (call.transa != 0) {
    if (!has_entries(b)) return 3;
    b = transposed(b, call.B.cols, call.transa == 2);
  }

  if (budget == 1 && call.request == 0) {
    out.ic[0] = 1;
    int pos = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
      const merged_row<T> m = merge(a[i], b[i], call.beta);
      for (std::size_t t = 0; t < m.tail; ++t, ++pos) {
        if (pos >= call.nzmax) return 3;
        out.put(pos, m.entries[t].first + 1, m.entries[t].second);
      }
      if (pos + static_cast<int>(m.entries.size() - m.tail) > call.nzmax) return 3;
      for (std::size_t t = m.tail; t < m.entries.size(); ++t, ++pos) {
        out.put(pos, m.entries[t].first + 1, m.entries[t].second);
      }
      out.ic[static_cast<std::int64_t>(i) + 1] = pos + 1;
    }
    return 0;
  }
  if (call.request < 2) {
    for (std::size_t i = 0; i < a.size(); ++i) {
      out.ic[static_cast<std::int64_t>(i) + 1] =
          static_cast<int>(a[i].size() + b[i].size()) - pairs(a[i], b[i]);
    }
    sum_up(out.ic);
  }
  if (budget == 1 && call.request == 1) return 0;
  if (out.ic[out.ic.size() - 1] - out.ic[0] > call.nzmax) return 3;
  if (call.request == 1) return 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::int64_t pos = out.ic[static_cast<std::int64_t>(i)] - out.ic[0];
    for (const auto& [column, value] : merge(a[i], b[i], call.beta).entries) {
      out.put(pos++, out.ic[0] + column, value);
    }
  }
  return 0;
}

// One row of a product, columns in order of first touch.
template <class T>
row<T> multiplied_row(const row<T>& a, const lines<T>& b, int cols) {
  row<T> found;
  std::vector<int> place(static_cast<std::size_t>(cols), -1);
  for (const auto& [k, v] : a) {
    for (const auto& [column, u] : b[static_cast<std::size_t>(k)]) {
      int& at = place[static_cast<std::size_t>(column)];
      if (at < 0) {
        at = static_cast<int>(found.size());
        found.emplace_back(column, T{});
      }
      T& sum = found[static_cast<std::size_t>(at)].second;
      sum = fused(v, u, sum);
    }
  }
  return found;
}

template <class T>
int reference_product(const sparse_call<T>& call, int budget, sparse_result<T>& out) {
  lines<T> a = lines_of(call.A);
  const lines<T> b = lines_of(call.B);
  if (call.transa != 0) {
    if (!has_entries(a)) return 3;
    a = transposed(a, call.A.cols, call.transa == 2);
  }

  const bool one_pass = budget == 1 && call.request == 0;
  const bool by_first_touch = one_pass && call.nzmax >= 102400;
  lines<T> c;
  for (const row<T>& entries : a) {
    c.push_back(multiplied_row(entries, b, call.B.cols));
    if (!by_first_touch) c.back() = ascending(c.back());
  }
  if (one_pass) {
    out.ic[0] = 1;
    int pos = 0;
    for (std::size_t i = 0; i < c.size(); ++i) {
      if (by_first_touch && pos + static_cast<int>(c[i].size()) > call.nzmax) return 3;
      for (const auto& [column, value] : c[i]) {
        if (pos >= call.nzmax) return 3;
        out.put(pos++, column + 1, value);
      }
      out.ic[static_cast<std::int64_t>(i) + 1] = pos + 1;
    }
    return 0;
  }
  if (call.request < 2) {
    for (std::size_t i = 0; i < c.size(); ++i) {
      out.ic[static_cast<std::int64_t>(i) + 1] = static_cast<int>(c[i].size());
    }
    sum_up(out.ic);
    if (call.request == 1) return 0;
  }
  if (out.ic[out.ic.size() - 1] - out.ic[0] > call.nzmax) return 3;
  for (std::size_t i = 0; i < c.size(); ++i) {
    std::int64_t pos = out.ic[static_cast<std::int64_t>(i)] - 1;
    for (const auto& [column, value] : c[i]) out.put(pos++, column + 1, value);
  }
  return 0;
}

// The dense product: columns of op(A) weighted by the entries of a column of B, four entries a
// group, whose elements are all read before one of them is written.
template <class T>
void reference_dense_product(int transa, const matrix<T>& A, const matrix<T>& B, panel<T>& c) {
  const lines<T> a = lines_of(A);
  const lines<T> x = transa == 0 ? transposed(a, A.cols, false) : a;
  const lines<T> y = transposed(lines_of(B), B.cols, false);
  for (std::size_t j = 0; j < y.size(); ++j) {
    const auto element = [&](int i) -> T& { return c(i, static_cast<std::int64_t>(j)); };
    for (std::int64_t i = 0; i < c.rows(); ++i) c(i, static_cast<std::int64_t>(j)) = T{};
    for (const auto& [r, v] : y[j]) {
      const row<T>& column = x[static_cast<std::size_t>(r)];
      const std::size_t grouped = column.size() / 4 * 4;
      for (std::size_t e = 0; e < column.size();) {
        const std::size_t size = e < grouped ? 4 : 1;
        std::vector<T> sums;
        for (std::size_t g = e; g < e + size; ++g) {
          sums.push_back(fused(column[g].second, v, element(column[g].first), transa == 2));
        }
        for (std::size_t g = 0; g < size; ++g) element(column[e + g].first) = sums[g];
        e += size;
      }
    }
  }
}

}  // namespace nevrad_test
