// The library's entries by element type, without their letters: entries<T>::csrmv.
#pragma once

#include "nevrad.h"

#include <complex>

namespace tools {

template <class T>
struct entries;

#define NEVRAD_TOOL_ENTRIES(letter)                                         \
  static constexpr auto csrmv = orv_sparse_##letter##csrmv;                 \
  static constexpr auto cscmv = orv_sparse_##letter##cscmv;                 \
  static constexpr auto csrgemv_one_based = orv_sparse_##letter##csrgemv;   \
  static constexpr auto csrgemv_zero_based = orv_csparse_##letter##csrgemv; \
  static constexpr auto csrsymv_one_based = orv_sparse_##letter##csrsymv;   \
  static constexpr auto csrsymv_zero_based = orv_csparse_##letter##csrsymv; \
  static constexpr auto csrsv = orv_sparse_##letter##csrsv;                 \
  static constexpr auto cscsv = orv_sparse_##letter##cscsv;                 \
  static constexpr auto csrtrsv_one_based = orv_sparse_##letter##csrtrsv;   \
  static constexpr auto csrtrsv_zero_based = orv_csparse_##letter##csrtrsv; \
  static constexpr auto csrmm = orv_sparse_##letter##csrmm;                 \
  static constexpr auto cscmm = orv_sparse_##letter##cscmm;                 \
  static constexpr auto csrsm = orv_sparse_##letter##csrsm;                 \
  static constexpr auto cscsm = orv_sparse_##letter##cscsm;                 \
  static constexpr auto csradd = orv_sparse_##letter##csradd;               \
  static constexpr auto csrmultcsr = orv_sparse_##letter##csrmultcsr;       \
  static constexpr auto csrmultd = orv_sparse_##letter##csrmultd;           \
  static constexpr auto axpyi = orv_sparse_##letter##axpyi;                 \
  static constexpr auto gthr = orv_sparse_##letter##gthr;                   \
  static constexpr auto gthrz = orv_sparse_##letter##gthrz;                 \
  static constexpr auto sctr = orv_sparse_##letter##sctr;
#define NEVRAD_TOOL_REAL_ENTRIES(letter)                  \
  static constexpr auto roti = orv_sparse_##letter##roti; \
  static constexpr auto doti = orv_sparse_##letter##doti;
#define NEVRAD_TOOL_COMPLEX_ENTRIES(letter)                         \
  static constexpr auto dotui_sub = orv_sparse_##letter##dotui_sub; \
  static constexpr auto dotci_sub = orv_sparse_##letter##dotci_sub;

template <>
struct entries<float> {
  NEVRAD_TOOL_ENTRIES(s)
  NEVRAD_TOOL_REAL_ENTRIES(s)
};
template <>
struct entries<double> {
  NEVRAD_TOOL_ENTRIES(d)
  NEVRAD_TOOL_REAL_ENTRIES(d)
};
template <>
struct entries<std::complex<float>> {
  NEVRAD_TOOL_ENTRIES(c)
  NEVRAD_TOOL_COMPLEX_ENTRIES(c)
};
template <>
struct entries<std::complex<double>> {
  NEVRAD_TOOL_ENTRIES(z)
  NEVRAD_TOOL_COMPLEX_ENTRIES(z)
};

#undef NEVRAD_TOOL_ENTRIES
#undef NEVRAD_TOOL_REAL_ENTRIES
#undef NEVRAD_TOOL_COMPLEX_ENTRIES

}  // namespace tools
