// The matrix that a descriptor and an operation make of the stored one.
#pragma once

#include "support/oracle.h"

namespace nevrad_test {

// The general matrix that a structured one stands for, by rows, with the entries of a place in
// their stored order: the product is that of the general row, to the bit.
template <class T>
matrix<T> expanded(const matrix<T>& a, const char* code, int op) {
  const bool upper = code[1] == 'U';
  lines<T> rows(at(op == 0 ? a.rows : a.cols));
  const auto put = [&](int i, int c, T v, bool turned) {
    rows[at(i)].emplace_back(c, conjugated(v, turned));
  };
  const bool hermitian = code[0] == 'H';
  // Which image is conjugated: the stored one or its mirror image.
  const bool stored = hermitian ? op == 1 : op == 2;
  const bool mirrored = hermitian ? op != 1 : op == 2;
  for (int line = 0; line < a.major(); ++line) {
    for (int p = a.begin[line] - a.base; p < a.end[line] - a.base; ++p) {
      const int other = a.indices[p] - a.base;
      const int i = a.kind == compression::rows ? line : other;
      const int c = a.kind == compression::rows ? other : line;
      const T v = a.values[p];
      if (code[0] == 'G') {
        put(op == 0 ? i : c, op == 0 ? c : i, v, op == 2);
      } else if (i == c) {
        if (code[2] == 'N') put(i, i, v, !hermitian && op == 2);
      } else if ((c > i) == upper) {
        if (code[0] != 'T' || op == 0) put(i, c, v, stored);
        if (code[0] != 'T' || op != 0) put(c, i, v, mirrored);
      }
    }
    if (code[2] == 'U') put(line, line, make<T>(1), false);
  }
  return compress<T>(rows, op == 0 ? a.cols : a.rows, compression::rows, a.base);
}

}  // namespace nevrad_test
