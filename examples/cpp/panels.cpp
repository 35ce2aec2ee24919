// Many right-hand sides at once, in complex numbers: multiplies a lower triangular matrix by a
// panel of vectors, solves with it, and compares what comes back.
#include <nevrad.h>

#include <algorithm>
#include <complex>
#include <cstdio>
#include <vector>

using complex = std::complex<double>;

namespace {

struct matrix {
  int order = 0;
  std::vector<int> row = {0};  // row i holds the entries row[i] up to row[i + 1]
  std::vector<int> column;
  std::vector<complex> value;
};

matrix make_lower_band(int order, int width) {
  matrix a;
  a.order = order;
  for (int i = 0; i < order; ++i) {
    for (int j = std::max(0, i - width); j <= i; ++j) {
      a.column.push_back(j);
      a.value.push_back(j == i ? complex(4.0, 1.0) : complex(0.5, -0.25) / double(1 + i - j));
    }
    a.row.push_back(static_cast<int>(a.column.size()));
  }
  return a;
}

}  // namespace

int main() {
  const int columns = 8;
  const matrix a = make_lower_band(2000, 6);
  const int n = a.order;
  std::vector<complex> x(static_cast<std::size_t>(n) * columns);
  for (std::size_t i = 0; i < x.size(); ++i) x[i] = complex(1.0 + i % 7, i % 5);
  std::vector<complex> b(x.size()), back(x.size());

  // "TLNC": the lower triangle with its stored diagonal, indices from 0, panels in row-major order,
  // so that the leading dimension is the number of columns.
  orv_set_thread_num(2);
  int status = orv_sparse_zcsrmm(0, n, columns, n, {1.0, 0.0}, "TLNC", a.value.data(),
                                 a.column.data(), a.row.data(), a.row.data() + 1, x.data(), columns,
                                 {0.0, 0.0}, b.data(), columns);
  if (status == ORV_SPARSE_STATUS_SUCCESS) {
    status =
        orv_sparse_zcsrsm(0, n, columns, {1.0, 0.0}, "TLNC", a.value.data(), a.column.data(),
                          a.row.data(), a.row.data() + 1, b.data(), columns, back.data(), columns);
  }
  if (status != ORV_SPARSE_STATUS_SUCCESS) {
    std::fprintf(stderr, "nevrad: status %d\n", status);
    return 1;
  }
  double error = 0.0;
  for (std::size_t i = 0; i < x.size(); ++i) error = std::max(error, std::abs(back[i] - x[i]));
  std::printf("%d unknowns, %d right-hand sides: largest error %.1e\n", n, columns, error);
  return error < 1e-12 ? 0 : 1;
}
