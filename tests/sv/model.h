// The documented walks, written from their description with plain positions and one scalar at a
// time. What a kernel does by table, template and register stands here as one loop over places.
#pragma once

#include "support/exact.h"
#include "sv/solves.h"

namespace nevrad_test {

template <class T>
T quotient(T t, T d, bool fused_denominator = false) {
  if constexpr (is_complex<T>) {
    const T n = exact_fused_product(conjugated(d), t);
    const auto s =
        fused_denominator ? std::fma(d.re, d.re, d.im * d.im) : d.re * d.re + d.im * d.im;
    return {n.re / s, n.im / s};
  } else {
    return t / d;
  }
}

// One solve by its walk. `lines_are_rows` after the exchange that a transposed operation makes.
template <class T>
class solve_model {
 public:
  solve_model(const matrix<T>& a, const solve_form& form) : a_(a), unit_(form.unit) {
    conjugated_ = form.op == 2;
    rows_ = (a.kind == compression::rows) == (form.op == 0);
    lower_ = form.upper == (form.op != 0);
  }

  array<T> operator()(T alpha, const array<T>& x) const {
    array<T> y(a_.rows);
    for (int i = 0; i < a_.rows; ++i) y[i] = exact_fused_product(x[i], alpha);
    if (rows_ && lower_) {
      for (int i = 0; i < a_.rows; ++i) row_forward(i, y);
    } else if (rows_) {
      for (int i = a_.rows - 1; i >= 0; --i) row_backward(i, y);
    } else if (lower_) {
      for (int j = 0; j < a_.rows; ++j) column(j, y);
    } else {
      for (int j = a_.rows - 1; j >= 0; --j) column(j, y);
    }
    return y;
  }

 private:
  int index(int p) const { return a_.indices[p] - a_.begin[0]; }
  T element(int p) const { return conjugated(a_.values[p], conjugated_); }
  int first(int line) const { return a_.begin[line] - a_.begin[0]; }
  int last(int line) const { return a_.end[line] - a_.begin[0]; }

  // d comes as the kernels see it, already conjugated where the form is.
  T over(T t, T d) const { return unit_ ? t : quotient(t, d); }

  void row_forward(int i, const array<T>& y) const {
    T s[2] = {};
    T d{};
    const auto use = [&](int p, int sum) {
      s[sum] = exact_multiply_add(s[sum], element(p), y[index(p)]);
    };
    int p = first(i);
    const int length = last(i) - p;
    bool done = false;
    for (int trip = 0; trip < length / 4 && !done; ++trip, p += 4) {
      int used = 0;  // how many of the four, from the first
      if (index(p + 3) < i) {
        used = 4;
      } else if (unit_) {
        while (index(p + used) < i) ++used;
        done = true;
      } else {
        for (int k = 3; k >= 0 && !done; --k) {
          if (index(p + k) == i) {
            used = k;
            d = element(p + k);
            done = true;
          }
        }
      }
      for (int k = 0; k < used; ++k) use(p + k, k % 2);
    }
    if (!done && length % 4 != 0) {
      for (int count = 0; count <= length % 4; ++count, ++p) {
        if (index(p) == i) d = element(p);
        if (index(p) >= i) break;
        use(p, 0);
      }
    }
    y[i] = over(exact_subtract(exact_subtract(y[i], s[0]), s[1]), d);
  }

  void row_backward(int i, const array<T>& y) const {
    T s[4] = {};
    T d{};
    const auto use = [&](int p, int sum) {
      s[sum] = exact_multiply_add(s[sum], element(p), y[index(p)]);
    };
    int e = last(i);
    const int length = e - first(i);
    bool done = false;
    for (int group = 0; group < length / 4 && !done; ++group, e -= 4) {
      const int p = e - 4;
      if (index(p) > i) {
        for (int r = 0; r < 4; ++r) use(p + r, r);
        continue;
      }
      done = true;
      if (index(p) == i) {
        d = element(p);
        use(p + 1, 0);
        use(p + 2, 0);
        use(p + 3, 1);
      } else if (index(p + 1) == i) {
        d = element(p + 1);
        use(p + 2, 0);
        use(p + 3, 1);
      } else if (index(p + 2) == i) {
        d = element(p + 2);
        use(p + 3, 0);
      } else {
        d = element(p + 3);
      }
    }
    if (!done) {
      int p = first(i) + length % 4 - 1;
      for (; index(p) != i; --p) use(p, 0);
      d = element(p);
    }
    if constexpr (is_complex<T>) {
      y[i] = over(exact_subtract(y[i], exact_add(exact_add(s[2], s[3]), exact_add(s[0], s[1]))), d);
    } else {
      y[i] = over((y[i] - (s[1] + s[2])) - (s[3] + s[0]), d);
    }
  }

  void column(int j, const array<T>& y) const {
    if (first(j) == last(j)) return;
    int low = first(j);
    int high = last(j);
    while (high - low > 1) {
      const int half = (high - low) >> 1;
      if (index(low + half) <= j) {
        low += half;
      } else {
        high = low + half;
      }
    }
    const T t = over(y[j], element(low));
    y[j] = t;
    const int from = lower_ ? low + 1 : first(j);
    const int to = lower_ ? last(j) : low;
    for (int p = from; p < to; ++p)
      y[index(p)] = exact_multiply_subtract(y[index(p)], element(p), t);
  }

  const matrix<T>& a_;
  bool unit_;
  bool conjugated_;
  bool rows_;
  bool lower_;
};

}  // namespace nevrad_test
