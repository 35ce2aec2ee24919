// What a solve with many right-hand sides has to give, to the bit: the documented order of
// operations in plain scalar code, one right-hand side at a time.
#pragma once

#include "arith/lanes.h"
#include "support/oracle.h"
#include "support/threads.h"

#include <algorithm>
#include <string>

namespace nevrad_test {

using nevrad::multiply_add;
using nevrad::multiply_fused;

NEVRAD_BY_TYPE(csrsm, orv_sparse_, csrsm)
NEVRAD_BY_TYPE(cscsm, orv_sparse_, cscsm)
NEVRAD_BY_TYPE(csrsm_by_reference, orv_sparse_, csrsm_)
NEVRAD_BY_TYPE(cscsm_by_reference, orv_sparse_, cscsm_)

inline constexpr const char* triangular_codes[] = {"TLNF", "TLNC", "TLUF", "TLUC",
                                                   "TUNF", "TUNC", "TUUF", "TUUC"};

struct solve_case {
  std::string code;
  int op = 0;

  bool upper_stored() const { return code[1] == 'U'; }
  bool upper() const { return upper_stored() != (op != 0); }
  bool unit() const { return code[2] == 'U'; }
  int base() const { return code[3] == 'F' ? 1 : 0; }
  layout order() const { return layout_of(code.c_str()); }
};

// The rows of op(A), ascending, duplicates in their order; all entries, of both triangles.
template <class T>
lines<T> operated_rows(const matrix<T>& a, int op) {
  lines<T> rows(static_cast<std::size_t>(a.rows));
  for (int line = 0; line < a.major(); ++line) {
    for (int p = a.begin[line] - a.base; p < a.end[line] - a.base; ++p) {
      int i = line;
      int j = a.indices[p] - a.base;
      if ((a.kind == compression::rows) != (op == 0)) std::swap(i, j);
      T value = a.values[p];
      if constexpr (is_complex<T>) {
        if (op == 2) value.im = -value.im;
      }
      auto& row = rows[static_cast<std::size_t>(i)];
      const auto behind = std::upper_bound(row.begin(), row.end(), j,
                                           [](int l, const auto& r) { return l < r.first; });
      row.emplace(behind, j, value);
    }
  }
  return rows;
}

template <class T>
T reference_reciprocal(T a) {
  if constexpr (is_complex<T>) {
    using real = real_of<T>;
    const real size = std::fma(a.re, a.re, a.im * a.im);
    return {std::fma(a.im, real{0}, a.re) / size, std::fma(a.re, real{0}, -a.im) / size};
  } else {
    return T{1} / a;
  }
}

// One right-hand side, in place, by blocks of 1024 columns.
template <class T>
class reference_solve {
 public:
  reference_solve(const lines<T>& rows, bool unit, std::vector<T>& v)
      : rows_(rows), unit_(unit), order_(static_cast<int>(rows.size())), v_(v) {}

  void lower() {
    for (int low = 0; low < order_; low += 1024) {
      const int high = std::min(low + 1024, order_);
      int cursor = low;
      for (int r = low; r < high; ++r) {
        const auto entries = select(r, low, r + 1);
        if (entries.empty()) continue;
        finish(cursor++, sum(r, entries, 0, entries.size() - 1), r, entries.back());
      }
      for (int r = high; r < order_; ++r) subtract_strip(r, select(r, low, high));
    }
  }

  void upper() {
    for (int high = order_; high > 0; high -= 1024) {
      const int low = std::max(high - 1024, 0);
      int cursor = high;
      for (int r = high - 1; r >= low; --r) {
        const auto entries = select(r, r, high);
        if (entries.empty()) continue;
        finish(--cursor, sum(r, entries, 1, entries.size()), r, entries.front());
      }
      for (int r = 0; r < low; ++r) subtract_strip(r, select(r, low, high));
    }
  }

 private:
  using row = std::vector<std::pair<int, T>>;

  row select(int r, int low, int high) const {
    row entries;
    for (const auto& entry : rows_[static_cast<std::size_t>(r)]) {
      if (low <= entry.first && entry.first < high) entries.push_back(entry);
    }
    return entries;
  }
  T& at(int r) const { return v_[static_cast<std::size_t>(r)]; }

  // A diagonal entry enters as its reciprocal, wherever it stands.
  T value(int r, const std::pair<int, T>& entry) const {
    return entry.first == r ? reference_reciprocal(entry.second) : entry.second;
  }
  T sum(int r, const row& entries, std::size_t first, std::size_t last) const {
    T total{};
    for (std::size_t k = first; k < last; ++k) {
      total = multiply_add(total, at(entries[k].first), value(r, entries[k]));
    }
    return total;
  }
  void finish(int place, T total, int r, const std::pair<int, T>& last) {
    T result = nevrad::subtract(at(place), total);
    if (!unit_) {
      const T factor = value(r, last);
      if constexpr (is_complex<T>) {
        result = multiply_add(T{}, result, factor);
      } else {
        result = result * factor;
      }
    }
    at(place) = result;
  }
  void subtract_strip(int r, const row& entries) {
    if (!entries.empty()) at(r) = nevrad::subtract(at(r), sum(r, entries, 0, entries.size()));
  }

  const lines<T>& rows_;
  bool unit_;
  int order_;
  std::vector<T>& v_;
};

// Y for a whole panel.
template <class T>
panel<T> reference_solution(const matrix<T>& a, const solve_case& c, T alpha, const panel<T>& x) {
  const lines<T> rows = operated_rows(a, c.op);
  panel<T> y(x.rows(), x.cols(), c.order());
  for (std::int64_t j = 0; j < x.cols(); ++j) {
    std::vector<T> v(static_cast<std::size_t>(x.rows()));
    for (std::int64_t i = 0; i < x.rows(); ++i) {
      v[static_cast<std::size_t>(i)] = multiply_fused(alpha, x(i, j));
    }
    reference_solve<T> solve(rows, c.unit(), v);
    c.upper() ? solve.upper() : solve.lower();
    for (std::int64_t i = 0; i < x.rows(); ++i) y(i, j) = v[static_cast<std::size_t>(i)];
  }
  return y;
}

template <class T>
nevrad::status solve(const matrix<T>& a,
                     const solve_case& c,
                     T alpha,
                     const panel<T>& x,
                     const panel<T>& y) {
  const auto entry = a.kind == compression::rows ? csrsm<T> : cscsm<T>;
  const auto n = static_cast<int>(x.cols());
  const auto pointers = a.pointers_in((c.op + n) % 2 == 0);
  return entry(c.op, a.rows, n, alpha, c.code.c_str(), a.values.data(), a.indices.data(),
               pointers.begin, pointers.end, x.data(), x.ld(), y.data(), y.ld());
}

template <class T>
testing::AssertionResult same_panels(const panel<T>& got, const panel<T>& want) {
  if (!got.padding_intact()) return testing::AssertionFailure() << "padding was written";
  for (std::int64_t j = 0; j < got.cols(); ++j) {
    for (std::int64_t i = 0; i < got.rows(); ++i) {
      if (!same_bits(got(i, j), want(i, j))) {
        return testing::AssertionFailure() << std::hexfloat << "element (" << i << ", " << j
                                           << ") is " << got(i, j) << ", want " << want(i, j);
      }
    }
  }
  return testing::AssertionSuccess();
}

// What is wrong with the diagonals of a large matrix.
enum class flaw : std::uint8_t { none, missing_diagonals, empty_rows, duplicates };

// A matrix of both triangles: a few entries near the diagonal in every line, a few anywhere in some
// and everywhere in a few. Diagonals dominate, so that solutions stay within bounds.
template <class T>
matrix<T> large_matrix(generator& random, int order, int base, compression kind, flaw wrong) {
  lines<T> source(static_cast<std::size_t>(order));
  for (int i = 0; i < order; ++i) {
    auto& line = source[static_cast<std::size_t>(i)];
    const auto add = [&](int j, double scale) {
      const T v = random.value<T>();
      line.emplace_back(j, narrow<T>(widen(v) * static_cast<wide_real<T>>(scale)));
    };
    if (wrong == flaw::empty_rows && random.chance(20)) continue;
    const int lot = random.integer(0, 999);
    for (int k = random.integer(0, 6); k > 0; --k) {
      const int j = i + random.integer(-9, 9);
      if (0 <= j && j < order && j != i) add(j, 0.03);
    }
    for (int k = lot < 200 ? random.integer(1, 9) : 0; k > 0; --k) {
      const int j = random.integer(0, order - 1);
      if (j != i) add(j, 0.03);
    }
    if (lot == 999) {
      for (int j = 0; j < order; ++j) {
        if (j != i) add(j, 0.1 / order);
      }
    }
    const bool missing = wrong == flaw::missing_diagonals && random.chance(10);
    if (!missing) {
      add(i, 0.5);
      line.back().second =
          nevrad::add(line.back().second, make<T>(widen(line.back().second).real() > 0 ? 1 : -1));
    }
    if (wrong == flaw::duplicates && random.chance(10)) add(i, 1);
    std::sort(line.begin(), line.end(),
              [](const auto& l, const auto& r) { return l.first < r.first; });
    if (random.chance(4)) std::reverse(line.begin(), line.end());
  }
  if (source[0].empty()) source[0].emplace_back(0, make<T>(2));
  return compress<T>(source, order, kind, base);
}

}  // namespace nevrad_test
