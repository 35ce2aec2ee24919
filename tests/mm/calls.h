// Products called as their tables hold them, past the entries, so that the budget stays as it is
// set also where an entry would lower it.
#pragma once

#include "mm/tables.h"

#include "support/oracle.h"
#include "support/threads.h"

namespace nevrad_test {

template <class T>
using mm_table_row = nevrad::mm_row<T>;

template <class T>
const mm_table_row<T>& row_of(compression kind, const char* code) {
  using namespace nevrad;
  return kind == compression::rows ? *find_row(csrmm_table<T>, code)
                                   : *find_row(cscmm_table<T>, code);
}

// The kernel of one slot on an owned copy of `a`, as an entry runs it.
template <class T>
nevrad::status run_slot(const matrix<T>& a,
                        const char* code,
                        int op,
                        const panel<T>& b,
                        T alpha,
                        T beta,
                        const panel<T>& c) {
  nevrad::matrix_handle<T> handle{};
  const auto copy = a.kind == compression::rows ? nevrad::owned_csr_from_arrays<T>
                                                : nevrad::owned_csc_from_arrays<T>;
  const nevrad::status copied =
      copy(&handle, static_cast<unsigned>(a.base), a.rows, a.cols, a.begin.data(), a.end.data(),
           a.indices.data(), a.values.data());
  if (copied != 0) return copied;
  const nevrad::scoped_matrix<T> owned(handle.matrix);
  return row_of<T>(a.kind, code)
      .kernels.at[op](*owned, {b.data(), static_cast<int>(b.cols()), b.ld(), c.data(), c.ld(),
                               alpha, beta});
}

}  // namespace nevrad_test
