// The one record by which kernels see a compressed matrix.
//
// A record is compressed by rows (CSR) or by columns (CSC); which of the two is known from the
// function that handles it and is not stored. A "major line" is a row in CSR and a column in CSC.
#pragma once

#include "frame/memory.h"

namespace nevrad {

template <class T>
struct compressed_matrix {
  T* values;
  std::int32_t* begin;    // position of each major line's first entry, in the record's base
  std::int32_t* end;      // one past each major line's last entry, in the record's base
  std::int32_t* indices;  // minor index of each entry, in the record's base
  std::int32_t rows;
  std::int32_t cols;
  std::int32_t base;    // 0 or 1
  std::int32_t sorted;  // 1: minor indices ascend within every line; owned matrices only
};

// A view lies on an entry's stack over the caller's arrays, in the caller's index base, and has no
// meaningful `sorted`. Kernels take it by reference to const and do not write through it.
template <class T>
using compressed_view = compressed_matrix<T>;

// An owned matrix lies on the heap. Its base is 0; its pointer array has two entries more than
// major lines; `end` is that same array one entry further, so a line ends where the next begins,
// and the last entry is a spare for the transposition. Its arrays are aligned to 64 bytes.
template <class T>
using owned_matrix = compressed_matrix<T>;

enum class compression : std::uint64_t { rows = 1, columns = 2 };

// What the copying constructors hand out.
template <class T>
struct matrix_handle {
  owned_matrix<T>* matrix;
  compression kind;
};

template <class T>
void view_csr_init(compressed_view<T>& view,
                   const T* values,
                   const std::int32_t* begin,
                   const std::int32_t* end,
                   const std::int32_t* indices,
                   std::int32_t rows,
                   std::int32_t cols,
                   std::int32_t base);
template <class T>
void view_csc_init(compressed_view<T>& view,
                   const T* values,
                   const std::int32_t* begin,
                   const std::int32_t* end,
                   const std::int32_t* indices,
                   std::int32_t rows,
                   std::int32_t cols,
                   std::int32_t base);

// Stored entries, in 32-bit arithmetic; the base cancels out.
template <class T>
std::int32_t csr_entries(const compressed_matrix<T>& a) {
  return a.end[a.rows - 1] - a.begin[0];
}
template <class T>
std::int32_t csc_entries(const compressed_matrix<T>& a) {
  return a.end[a.cols - 1] - a.begin[0];
}

// Allocates an owned matrix with nnz entries. Arrays, base and sorted are not set. Answers 2 and
// leaves nothing allocated when memory is short.
template <class T>
status owned_csr_alloc(std::int32_t rows,
                       std::int32_t cols,
                       std::int32_t nnz,
                       owned_matrix<T>** out,
                       memory_use use = memory_use::filled);
template <class T>
status owned_csc_alloc(std::int32_t rows,
                       std::int32_t cols,
                       std::int32_t nnz,
                       owned_matrix<T>** out);

// Whether they would give one, as probe_memory tells of its arrays.
template <class T>
bool probe_owned(std::int32_t major, std::int32_t nnz);

// Copies the caller's arrays to base 0, sorted 0. Lines are taken as packed: of pntrb only the
// first entry is read, and each line begins where the one before it ended. Answers 2, or 3 for a
// null, a bad base or a dimension below 1. A CSR matrix without entries gives 3; a CSC matrix
// without entries is copied.
template <class T>
status owned_csr_from_arrays(matrix_handle<T>* handle,
                             unsigned one_based,
                             std::int32_t rows,
                             std::int32_t cols,
                             const std::int32_t* pntrb,
                             const std::int32_t* pntre,
                             const std::int32_t* indx,
                             const T* val);
template <class T>
status owned_csc_from_arrays(matrix_handle<T>* handle,
                             unsigned one_based,
                             std::int32_t rows,
                             std::int32_t cols,
                             const std::int32_t* pntrb,
                             const std::int32_t* pntre,
                             const std::int32_t* indx,
                             const T* val);

// Null is allowed.
template <class T>
void owned_csr_free(owned_matrix<T>* matrix);
template <class T>
void owned_csc_free(owned_matrix<T>* matrix);

// Frees an owned matrix at the end of the scope, whatever way the scope is left.
template <class T>
class scoped_matrix {
 public:
  scoped_matrix() = default;
  explicit scoped_matrix(owned_matrix<T>* matrix) : matrix_(matrix) {}
  scoped_matrix(const scoped_matrix&) = delete;
  scoped_matrix& operator=(const scoped_matrix&) = delete;
  ~scoped_matrix() { owned_csr_free(matrix_); }

  // Where a constructor stores its result; to be used on an empty owner.
  owned_matrix<T>** out() { return &matrix_; }
  owned_matrix<T>* get() const { return matrix_; }
  owned_matrix<T>& operator*() const { return *matrix_; }
  owned_matrix<T>* operator->() const { return matrix_; }
  owned_matrix<T>* release() {
    owned_matrix<T>* const matrix = matrix_;
    matrix_ = nullptr;
    return matrix;
  }

 private:
  owned_matrix<T>* matrix_ = nullptr;
};

// The caller's matrix where it lies, for a call that is to work on an owned copy. Where the lines
// are packed and their pointers are one array, as three-array callers have them, the record is a
// view in the caller's base, and memory for a copy is only probed, so that the call fails where
// copying would. Else it is the copy. Both have sorted 0.
template <class T>
class matrix_operand {
 public:
  // Statuses of owned_csr_from_arrays or owned_csc_from_arrays.
  status take(compression kind,
              unsigned one_based,
              std::int32_t rows,
              std::int32_t cols,
              const std::int32_t* pntrb,
              const std::int32_t* pntre,
              const std::int32_t* indx,
              const T* val);
  const compressed_matrix<T>& record() const { return record_; }

 private:
  scoped_matrix<T> memory_;
  compressed_matrix<T> record_{};
};

}  // namespace nevrad
