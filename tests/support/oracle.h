// Dense arithmetic in wider precision, which the library's results are held against.
#pragma once

#include "support/matrix.h"

namespace nevrad_test {

// A dense matrix of wide numbers. Beside each element stands the sum of the magnitudes that were
// added up in it, which error bounds need where entries at one place cancel.
template <class T>
class dense {
 public:
  dense(std::int64_t rows, std::int64_t cols)
      : rows_(rows),
        cols_(cols),
        elements_(static_cast<std::size_t>(rows * cols)),
        sizes_(elements_.size()) {}

  std::int64_t rows() const { return rows_; }
  std::int64_t cols() const { return cols_; }
  wide<T>& operator()(std::int64_t i, std::int64_t j) { return elements_[at(i, j)]; }
  const wide<T>& operator()(std::int64_t i, std::int64_t j) const { return elements_[at(i, j)]; }

  void add(std::int64_t i, std::int64_t j, wide<T> value) { add(i, j, value, std::abs(value)); }
  void add(std::int64_t i, std::int64_t j, wide<T> value, wide_real<T> size) {
    elements_[at(i, j)] += value;
    sizes_[at(i, j)] += size;
  }
  wide_real<T> size(std::int64_t i, std::int64_t j) const {
    return std::max(std::abs(elements_[at(i, j)]), sizes_[at(i, j)]);
  }

 private:
  std::size_t at(std::int64_t i, std::int64_t j) const {
    return static_cast<std::size_t>(i * cols_ + j);
  }

  std::int64_t rows_;
  std::int64_t cols_;
  std::vector<wide<T>> elements_;
  std::vector<wide_real<T>> sizes_;
};

enum class layout { column_major, row_major };

// The layout that a descriptor asks for by its last letter.
inline layout layout_of(const char* descra) {
  return descra[3] == 'F' ? layout::column_major : layout::row_major;
}

// A dense operand in the caller's arrays, with guards around it and NaN in the padding that a
// leading dimension beyond the least makes.
template <class T>
class panel {
 public:
  panel(std::int64_t rows, std::int64_t cols, layout order, int extra = 0)
      : rows_(rows),
        cols_(cols),
        order_(order),
        ld_(static_cast<int>(order == layout::column_major ? rows : cols) + extra),
        elements_(ld_ * (order == layout::column_major ? cols : rows), quiet_nan<T>()) {}

  static panel random(generator& random,
                      std::int64_t rows,
                      std::int64_t cols,
                      layout order,
                      int extra = 0) {
    panel p(rows, cols, order, extra);
    for (std::int64_t i = 0; i < rows; ++i) {
      for (std::int64_t j = 0; j < cols; ++j) p(i, j) = random.value<T>();
    }
    return p;
  }

  T& operator()(std::int64_t i, std::int64_t j) const {
    return elements_[order_ == layout::column_major ? i + j * ld_ : i * ld_ + j];
  }
  std::int64_t rows() const { return rows_; }
  std::int64_t cols() const { return cols_; }
  int ld() const { return ld_; }
  T* data() const { return elements_.data(); }
  const array<T>& elements() const { return elements_; }

  // Whether the padding still holds NaN alone.
  bool padding_intact() const {
    const std::int64_t used = order_ == layout::column_major ? rows_ : cols_;
    for (std::int64_t p = 0; p < elements_.size(); ++p) {
      if (p % ld_ >= used && !element_is_nan(elements_[p])) return false;
    }
    return true;
  }

 private:
  std::int64_t rows_;
  std::int64_t cols_;
  layout order_;
  int ld_;
  array<T> elements_;
};

template <class T>
dense<T> widen_panel(const panel<T>& p) {
  dense<T> d(p.rows(), p.cols());
  for (std::int64_t i = 0; i < p.rows(); ++i) {
    for (std::int64_t j = 0; j < p.cols(); ++j) d(i, j) = widen(p(i, j));
  }
  return d;
}
// A vector as one column.
template <class T>
dense<T> widen_vector(const array<T>& v) {
  dense<T> d(v.size(), 1);
  for (std::int64_t i = 0; i < v.size(); ++i) d(i, 0) = widen(v[i]);
  return d;
}

// The 30 descriptors.
inline constexpr const char* all_descriptors[] = {"G00F", "G00C", "SLNF", "SLNC", "SLUF", "SLUC",
                                                  "SUNF", "SUNC", "SUUF", "SUUC", "HLNF", "HLNC",
                                                  "HLUF", "HLUC", "HUNF", "HUNC", "HUUF", "HUUC",
                                                  "TLNF", "TLNC", "TLUF", "TLUC", "TUNF", "TUNC",
                                                  "TUUF", "TUUC", "D0NF", "D0NC", "D0UF", "D0UC"};

// The matrix that the stored entries stand for under a descriptor. Entries at one place add up; a
// Hermitian diagonal is taken as stored. The last letter of the descriptor is not looked at: the
// base is the holder's own.
template <class T>
dense<T> dense_of(const matrix<T>& a, const char* descra) {
  const char structure = descra[0];
  const bool upper = descra[1] == 'U';
  const bool unit = descra[2] == 'U' && structure != 'G';
  const bool mirrored = structure == 'S' || structure == 'H';
  dense<T> d(a.rows, a.cols);
  for (int line = 0; line < a.major(); ++line) {
    for (int p = a.begin[line] - a.base; p < a.end[line] - a.base; ++p) {
      const int other = a.indices[p] - a.base;
      const int i = a.kind == compression::rows ? line : other;
      const int j = a.kind == compression::rows ? other : line;
      const wide<T> value = widen(a.values[p]);
      if (structure == 'G') {
        d.add(i, j, value);
      } else if (i == j) {
        if (!unit) d.add(i, i, value);
      } else if (structure != 'D' && (j > i) == upper) {
        d.add(i, j, value);
        if (mirrored) d.add(j, i, structure == 'H' ? std::conj(value) : value);
      }
    }
  }
  if (unit) {
    for (int i = 0; i < std::min(a.rows, a.cols); ++i) d(i, i) = 1;
  }
  return d;
}

// op: 0 as it is, 1 transposed, 2 conjugated and transposed.
template <class T>
dense<T> apply_op(const dense<T>& a, int op) {
  if (op == 0) return a;
  dense<T> t(a.cols(), a.rows());
  for (std::int64_t i = 0; i < a.rows(); ++i) {
    for (std::int64_t j = 0; j < a.cols(); ++j) {
      t.add(j, i, op == 2 ? std::conj(a(i, j)) : a(i, j), a.size(i, j));
    }
  }
  return t;
}
template <class T>
dense<T> dense_of(const matrix<T>& a, const char* descra, int op) {
  return apply_op(dense_of(a, descra), op);
}

// alpha A B + beta C, and beside each element the sum of the magnitudes that went into it.
template <class T>
struct bounded_product {
  dense<T> value;
  dense<T> magnitude;
};
template <class T>
bounded_product<T> product(const dense<T>& a,
                           const dense<T>& b,
                           T alpha,
                           T beta,
                           const dense<T>& c) {
  bounded_product<T> r{dense<T>(a.rows(), b.cols()), dense<T>(a.rows(), b.cols())};
  const wide<T> alpha_wide = widen(alpha);
  const wide<T> beta_wide = widen(beta);
  for (std::int64_t i = 0; i < a.rows(); ++i) {
    for (std::int64_t j = 0; j < b.cols(); ++j) {
      wide<T> sum = 0;
      wide_real<T> size = 0;
      for (std::int64_t l = 0; l < a.cols(); ++l) {
        if (a.size(i, l) == 0) continue;
        sum += a(i, l) * b(l, j);
        size += a.size(i, l) * b.size(l, j);
      }
      r.value(i, j) = alpha_wide * sum + beta_wide * c(i, j);
      r.magnitude(i, j) = std::abs(alpha_wide) * size + std::abs(beta_wide) * std::abs(c(i, j));
    }
  }
  return r;
}

// |got - want| <= factor * eps * magnitude in every element. A sum of n terms keeps within
// factor n + a few, whatever its order.
template <class T>
testing::AssertionResult is_close(const dense<T>& got,
                                  const bounded_product<T>& want,
                                  double factor) {
  for (std::int64_t i = 0; i < got.rows(); ++i) {
    for (std::int64_t j = 0; j < got.cols(); ++j) {
      const wide_real<T> error = std::abs(got(i, j) - want.value(i, j));
      const wide_real<T> bound =
          static_cast<wide_real<T>>(factor) * epsilon<T> * want.magnitude(i, j).real();
      if (!(error <= bound)) {
        return testing::AssertionFailure()
               << "element (" << i << ", " << j << ") is " << got(i, j) << ", want "
               << want.value(i, j) << ", error " << error << " above " << bound;
      }
    }
  }
  return testing::AssertionSuccess();
}

// y against alpha op(A) x + beta y_before; panels against C = alpha op(A) B + beta C_before.
template <class T>
testing::AssertionResult is_product(const array<T>& y,
                                    const dense<T>& a,
                                    const array<T>& x,
                                    T alpha,
                                    T beta,
                                    const array<T>& y_before) {
  return is_close(widen_vector(y), product(a, widen_vector(x), alpha, beta, widen_vector(y_before)),
                  static_cast<double>(a.cols()) + 16);
}
template <class T>
testing::AssertionResult is_product(const panel<T>& c,
                                    const dense<T>& a,
                                    const panel<T>& b,
                                    T alpha,
                                    T beta,
                                    const panel<T>& c_before) {
  if (!c.padding_intact()) return testing::AssertionFailure() << "padding of C was written";
  return is_close(widen_panel(c), product(a, widen_panel(b), alpha, beta, widen_panel(c_before)),
                  static_cast<double>(a.cols()) + 16);
}

// A solution of A x = alpha b by its residual: |alpha b - A x| <= c eps (|A| |x| + |alpha b|).
template <class T>
testing::AssertionResult is_solution(const dense<T>& x,
                                     const dense<T>& a,
                                     T alpha,
                                     const dense<T>& b) {
  auto residual = product(a, x, make<T>(-1), alpha, b);
  return is_close(dense<T>(b.rows(), b.cols()), residual, 4 * static_cast<double>(a.cols()) + 32);
}
template <class T>
testing::AssertionResult is_solution(const panel<T>& x,
                                     const dense<T>& a,
                                     T alpha,
                                     const panel<T>& b) {
  if (!x.padding_intact()) return testing::AssertionFailure() << "padding of X was written";
  return is_solution(widen_panel(x), a, alpha, widen_panel(b));
}

}  // namespace nevrad_test
