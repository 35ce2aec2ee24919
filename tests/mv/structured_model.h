// Products of structured, transposed and column-stored matrices told one element at a time: every
// order and rounding as it must be, on as many threads as leave it fixed.
#pragma once

#include "frame/partition.h"
#include "support/exact.h"
#include "support/matrix.h"

#include <functional>

namespace nevrad_test {

// One call of a kernel of the tables.
struct mv_call {
  compression kind;
  const char* code;
  int op;
  bool short_columns;
  int budget;

  bool by_rows() const { return kind == compression::rows; }
  bool upper() const { return code[1] == 'U'; }
  bool unit() const { return code[2] == 'U'; }
  // Whether an index beyond the line's own number is on the kept side.
  bool keeps_beyond() const { return upper() == by_rows(); }
};

template <class T>
class mv_model {
 public:
  mv_model(const mv_call& call, const matrix<T>& a, const array<T>& x, T alpha, T beta)
      : call_(call), a_(a), x_(x), alpha_(alpha), beta_(beta) {}

  array<T> product(const array<T>& before) const {
    array<T> y = before;
    switch (call_.code[0]) {
      case 'G':
        scattered(y);
        break;
      case 'S':
      case 'H':
        mirrored(y);
        break;
      case 'T':
        triangular(y);
        break;
      default:
        diagonal(y);
        break;
    }
    return y;
  }

 private:
  using vector = array<T>;
  using line_walk = std::function<void(int line, vector& v)>;

  static conjugate if_so(bool yes) { return yes ? conjugate::yes : conjugate::no; }
  static T turned(T a, conjugate how) {
    if constexpr (is_complex<T>) {
      if (how == conjugate::yes) return {a.re, -a.im};
    }
    return a;
  }
  // A product formed by itself and then added; real types fuse it all the same.
  static T add_whole(T sum, T a, T b, conjugate how = conjugate::no) {
    if constexpr (!is_complex<T>) return fused(a, b, sum);
    return exact_add(sum, exact_fused_product(turned(a, how), b));
  }

  int major() const { return a_.major(); }
  int index(int p) const { return a_.indices[p] - a_.base; }
  int first(int line) const { return a_.begin[line] - a_.base; }
  int last(int line) const { return a_.end[line] - a_.base; }
  bool beyond(int j, int i) const { return call_.keeps_beyond() ? j > i : j < i; }
  T scaled(T y) const { return exact_fused_product(y, beta_); }

  // Sums per part of the lines, then all of them in ascending order.
  void scattered(vector& y) const {
    const auto count = static_cast<int>(y.size());
    std::vector<int> part(static_cast<std::size_t>(call_.budget) + 1);
    nevrad::partition_by_nnz(a_.end.data(), major(), call_.budget, part.data());
    const bool conjugated = call_.op == 2 && is_complex<T>;
    vector total(count);
    for (std::size_t t = 0; t + 1 < part.size(); ++t) {
      vector own(count);
      for (int i = part[t]; i < part[t + 1]; ++i) {
        for (int p = first(i); p < last(i); ++p) {
          T& target = own[index(p)];
          target = exact_multiply_add(target, a_.values[p], x_[i], if_so(conjugated));
        }
      }
      for (int i = 0; i < count; ++i) total[i] = exact_add(total[i], own[i]);
    }
    for (int i = 0; i < count; ++i) {
      if (call_.budget > 1 || conjugated) {
        y[i] = add_whole(scaled(y[i]), total[i], alpha_);
      } else if constexpr (is_complex<T>) {
        y[i] = exact_add(exact_fused_product(beta_, y[i]), exact_fused_product(alpha_, total[i]));
      } else {
        y[i] = fused(y[i], beta_, exact_fused_product(total[i], alpha_));
      }
    }
  }

  // On one thread straight into scaled y; else a vector a chunk, added in ascending order.
  void in_chunks(vector& y, const line_walk& walk) const {
    for (T& yi : y) yi = scaled(yi);
    if (call_.budget == 1) {
      for (int i = 0; i < major(); ++i) walk(i, y);
      return;
    }
    std::vector<int> bounds(static_cast<std::size_t>(call_.budget) + 1);
    const int n = nevrad::partition_by_fours(major(), call_.budget, bounds.data());
    for (int c = 0; c < n; ++c) {
      vector own(y.size());
      for (int i = bounds[static_cast<std::size_t>(c)]; i < bounds[static_cast<std::size_t>(c) + 1];
           ++i) {
        walk(i, own);
      }
      for (int i = 0; i < y.size(); ++i) y[i] = exact_add(y[i], own[i]);
    }
  }

  // Columns (of a row-stored matrix: of its transpose) on one thread: into one vector.
  void in_columns(vector& y, const line_walk& walk) const {
    vector own(y.size());
    const bool descending = call_.code[0] == 'H' && !call_.upper() && is_complex<T>;
    for (int c = 0; c < major(); ++c) walk(descending ? major() - 1 - c : c, own);
    for (int i = 0; i < y.size(); ++i) {
      y[i] = scaled(y[i]);
      if (call_.unit()) y[i] = exact_multiply_add(y[i], x_[i], alpha_);
      y[i] = exact_add(y[i], own[i]);
    }
  }

  // The four sums of the entries at positions from to to - 1.
  T dot(int from, int to, conjugate how) const {
    T sums[4] = {};
    const int in_groups = (to - from) / 4 * 4;
    for (int e = 0; e < to - from; ++e) {
      T& sum = sums[e < in_groups ? e % 4 : 0];
      sum = exact_multiply_add(sum, a_.values[from + e], x_[index(from + e)], how);
    }
    return exact_add(exact_add(sums[3], sums[2]), exact_add(sums[1], sums[0]));
  }

  void mirrored(vector& y) const {
    const bool hermitian = call_.code[0] == 'H' && is_complex<T>;
    conjugate gather = if_so(call_.op == 2);
    conjugate mirror = gather;
    conjugate on_diagonal = gather;
    if (hermitian) {
      // A row-stored element is gathered as it is and mirrored conjugated, a column-stored one the
      // other way round, and all of it turns for the transpose.
      gather = if_so((call_.op == 1) == call_.by_rows());
      mirror = if_so((call_.op == 1) != call_.by_rows());
      on_diagonal = if_so(call_.op == 1);
    }
    if (call_.by_rows() || (call_.short_columns && call_.budget == 1)) {
      in_chunks(y, [=, this](int i, vector& v) {
        mirror_line(i, v, hermitian, gather, mirror, on_diagonal);
      });
    } else {
      in_columns(y,
                 [=, this](int c, vector& v) { mirror_column(c, v, gather, mirror, on_diagonal); });
    }
  }

  void mirror_line(int i,
                   vector& v,
                   bool hermitian,
                   conjugate gather,
                   conjugate mirror,
                   conjugate on_diagonal) const {
    const auto step = hermitian ? add_whole : exact_multiply_add<T>;
    const T xa = exact_fused_product(x_[i], alpha_);
    T acc = call_.unit() ? x_[i] : T{};
    for (int p = first(i); p < last(i); ++p) {
      const int j = index(p);
      if (beyond(j, i)) {
        acc = step(acc, a_.values[p], x_[j], gather);
        v[j] = step(v[j], a_.values[p], xa, mirror);
      } else if (j == i && !call_.unit()) {
        acc = step(acc, a_.values[p], x_[i], on_diagonal);
      }
    }
    v[i] = step(v[i], acc, alpha_, conjugate::no);
    for (int further = 0; further < 3 && !hermitian; ++further) {
      v[i] = exact_multiply_add(v[i], T{}, alpha_);
    }
  }

  void mirror_column(int c,
                     vector& v,
                     conjugate gather,
                     conjugate mirror,
                     conjugate on_diagonal) const {
    int from = last(c);
    int to = first(c);
    for (int p = first(c); p < last(c); ++p) {
      const int r = index(p);
      if (beyond(r, c)) {
        from = std::min(from, p);
        to = p + 1;
      } else if (r == c && !call_.unit()) {
        const T term = exact_fused_product(turned(a_.values[p], on_diagonal), alpha_);
        v[c] = exact_multiply_add(v[c], term, x_[c]);
      }
    }
    if (from >= to) return;
    scatter(c, from, to, v, mirror);
    v[c] = exact_multiply_add(v[c], alpha_, dot(from, to, gather));
  }

  void scatter(int c, int from, int to, vector& v, conjugate how) const {
    const T xc = exact_fused_product(x_[c], alpha_);
    for (int p = from; p < to; ++p) {
      v[index(p)] = exact_multiply_add(v[index(p)], a_.values[p], xc, how);
    }
  }

  bool kept(int j, int i) const { return beyond(j, i) || (j == i && !call_.unit()); }

  void triangular(vector& y) const {
    const bool conjugated = call_.op == 2 && is_complex<T>;
    if (call_.by_rows() && call_.op == 0) {
      for (int i = 0; i < major(); ++i) {
        T acc = call_.unit() ? x_[i] : T{};
        for (int p = first(i); p < last(i); ++p) {
          if (kept(index(p), i)) acc = add_whole(acc, a_.values[p], x_[index(p)]);
        }
        y[i] = add_whole(scaled(y[i]), acc, alpha_);
      }
    } else if (call_.by_rows() && conjugated) {
      in_chunks(y, [this](int i, vector& v) {
        const T xa = exact_fused_product(x_[i], alpha_);
        for (int p = first(i); p < last(i); ++p) {
          const int j = index(p);
          if (kept(j, i)) v[j] = add_whole(v[j], a_.values[p], xa, conjugate::yes);
        }
        if (call_.unit()) v[i] = add_whole(v[i], x_[i], alpha_);
      });
    } else if (call_.by_rows() || call_.op == 0) {
      triangle_scattered(y);
    } else {
      triangle_gathered(y, if_so(conjugated));
    }
  }

  void triangle_scattered(vector& y) const {
    if (!call_.by_rows() && call_.short_columns && call_.budget == 1) {
      for (T& yi : y) yi = scaled(yi);
      for (int i = 0; i < major(); ++i) {
        const T xa = exact_fused_product(x_[i], alpha_);
        for (int p = first(i); p < last(i); ++p) {
          const int j = index(p);
          if (kept(j, i)) y[j] = exact_multiply_add(y[j], a_.values[p], xa);
        }
        if (call_.unit()) y[i] = exact_multiply_add(y[i], x_[i], alpha_);
      }
      return;
    }
    in_columns(y, [this](int c, vector& v) {
      for (int p = first(c); p < last(c); ++p) {
        if (kept(index(p), c)) scatter(c, p, p + 1, v, conjugate::no);
      }
    });
  }

  void triangle_gathered(vector& y, conjugate how) const {
    for (int c = 0; c < major(); ++c) {
      if (call_.short_columns && call_.budget == 1) {
        T acc = call_.unit() ? x_[c] : T{};
        for (int p = first(c); p < last(c); ++p) {
          if (kept(index(p), c)) acc = exact_multiply_add(acc, a_.values[p], x_[index(p)], how);
        }
        y[c] = exact_multiply_add(scaled(y[c]), acc, alpha_);
        continue;
      }
      int from = last(c);
      int to = first(c);
      for (int p = first(c); p < last(c); ++p) {
        if (!kept(index(p), c)) continue;
        from = std::min(from, p);
        to = p + 1;
      }
      T sum = from < to ? dot(from, to, how) : T{};
      if (call_.unit()) sum = exact_add(x_[c], sum);
      y[c] = exact_multiply_add(scaled(y[c]), alpha_, sum);
    }
  }

  void diagonal(vector& y) const {
    if (call_.by_rows()) {
      for (int i = 0; i < major(); ++i) {
        // The unit form alone rounds the product with x apart in complex types.
        y[i] =
            call_.unit() ? add_whole(scaled(y[i]), x_[i], alpha_) : add_diagonal(scaled(y[i]), i);
      }
      return;
    }
    in_chunks(y, [this](int i, vector& v) {
      v[i] = call_.unit() ? exact_multiply_add(v[i], alpha_, x_[i]) : add_diagonal(v[i], i);
    });
  }

  T add_diagonal(T sum, int i) const {
    for (int p = first(i); p < last(i); ++p) {
      if (index(p) != i) continue;
      const T element = turned(a_.values[p], if_so(call_.op == 2));
      const T term = exact_fused_product(element, x_[i]);
      if constexpr (!is_complex<T>) return fused(alpha_, term, sum);
      return add_whole(sum, term, alpha_);
    }
    return sum;
  }

  mv_call call_;
  const matrix<T>& a_;
  const array<T>& x_;
  T alpha_;
  T beta_;
};

}  // namespace nevrad_test
