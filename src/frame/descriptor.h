// Descriptors: how four characters and an operation pick a kernel. All selection happens here, at
// the entry of a call; no kernel looks at a descriptor.
#pragma once

#include "arith/element.h"
#include "frame/checks.h"

namespace nevrad {

// One row of a family's table. Kernels are indexed by operation: 0 none, 1 transpose, 2 conjugate
// transpose (and the same again from 3 on in a table of six slots).
template <class Kernel, int Slots>
struct kernel_slots {
  Kernel at[Slots];
};

template <class Kernel, int Slots = 3>
struct descra_row {
  const char* code;
  std::int32_t one_based;
  matrix_structure structure;
  kernel_slots<Kernel, Slots> kernels;
};

// The pattern of a row's slots states the arithmetic. In real types transpose and conjugate
// transpose are one kernel and a Hermitian matrix is a symmetric one; a symmetric matrix is its own
// transpose, a Hermitian one its own conjugate transpose; ones on a diagonal have no conjugate.
template <class T, class K>
constexpr kernel_slots<K, 3> by_operation(K plain, K transposed, K conjugated) {
  return {{plain, transposed, is_complex<T> ? conjugated : transposed}};
}
template <class T, class K>
constexpr kernel_slots<K, 3> by_symmetry(K plain, K conjugated) {
  return {{plain, plain, is_complex<T> ? conjugated : plain}};
}
template <class T, class K>
constexpr kernel_slots<K, 3> by_hermitian_symmetry(K plain, K transposed) {
  return {{plain, is_complex<T> ? transposed : plain, plain}};
}
template <class K>
constexpr kernel_slots<K, 3> same_for_all(K plain) {
  return {{plain, plain, plain}};
}

// A row of six slots: the operations twice, once for each half.
template <class K>
constexpr kernel_slots<K, 6> in_halves(kernel_slots<K, 3> first, kernel_slots<K, 3> second) {
  return {{first.at[0], first.at[1], first.at[2], second.at[0], second.at[1], second.at[2]}};
}

// Whether the text selects the code. Only the first four characters are read. A general code takes
// any text between its first and last letter, a diagonal one any triangle.
constexpr bool descra_matches(const char* matdescra, const char* code) {
  if (matdescra[0] != code[0] || matdescra[3] != code[3]) return false;
  if (matdescra[0] == 'G') return true;
  if (matdescra[0] == 'D') return matdescra[2] == code[2];
  return matdescra[1] == code[1] && matdescra[2] == code[2];
}

// The first row that the text selects, or null.
template <class Row, int Rows>
constexpr const Row* find_row(const Row (&table)[Rows], const char* matdescra) {
  for (const Row& row : table) {
    if (descra_matches(matdescra, row.code)) return &row;
  }
  return nullptr;
}

// Holds a table of a family against mistakes of the hand: every code leads to its own row, and the
// base and structure of a row say what its code says.
template <class Row, int Rows>
constexpr bool table_is_consistent(const Row (&table)[Rows], bool with_structure) {
  for (const Row& row : table) {
    if (find_row(table, row.code) != &row) return false;
    if (row.one_based != (row.code[3] == 'F' ? 1 : 0)) return false;
    const char letters[] = "GSHTD";
    const char letter = letters[static_cast<int>(row.structure)];
    if (with_structure && row.code[0] != letter) return false;
  }
  return true;
}

template <class Row, int Rows>
constexpr bool table_is_full(const Row (&table)[Rows]) {
  for (const Row& row : table) {
    for (const auto kernel : row.kernels.at) {
      if (kernel == nullptr) return false;
    }
  }
  return true;
}

}  // namespace nevrad
