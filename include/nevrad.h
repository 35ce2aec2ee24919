/*
 * nevrad: sparse BLAS for compressed matrices (CSR, CSC) and vectors in plain arrays.
 *
 * Names: orv_sparse_ or orv_csparse_, a type letter, the storage and the operation.
 *   s  float    d  double    c  complex of two floats    z  complex of two doubles
 *
 * Status. Every operation answers with an orv_sparse_status_t; nothing is printed or thrown.
 * Arguments are tested before anything is touched, pointers first, then values, so that a failed
 * test leaves the caller's arrays as they were. The contents of arrays are never tested.
 *
 * Fortran. Each name also exists with a trailing underscore: the same arguments in the same order,
 * with every scalar passed by reference. The underscore says how scalars travel and nothing about
 * the index base. A null reference to a scalar is not detected.
 *
 * Threads. Operations run on OpenMP threads (LLVM's libomp); the thread budget, 1 at load, says on
 * how many. See orv_set_thread_num.
 *
 * Aliasing. Unless said otherwise, an array that is written must not overlap any other argument.
 */
#ifndef NEVRAD_H
#define NEVRAD_H

#include <stdint.h>

/*
 * Complex elements: the platform's complex number, real part first, passed by value where the
 * argument is a scalar. A program with a complex type of its own, of the same layout and calling
 * convention, defines both macros before it includes this header.
 */
#if defined(NEVRAD_COMPLEX_FLOAT) && defined(NEVRAD_COMPLEX_DOUBLE)
typedef NEVRAD_COMPLEX_FLOAT nevrad_complex_float;
typedef NEVRAD_COMPLEX_DOUBLE nevrad_complex_double;
#elif defined(__cplusplus)
#include <complex>
typedef std::complex<float> nevrad_complex_float;
typedef std::complex<double> nevrad_complex_double;
#else
typedef float _Complex nevrad_complex_float;
typedef double _Complex nevrad_complex_double;
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* The result of an operation. The value 4 is not assigned. */
typedef int32_t orv_sparse_status_t;

enum {
  ORV_SPARSE_STATUS_SUCCESS = 0,       /* the operation ran to its end */
  ORV_SPARSE_STATUS_NULL_POINTER = 1,  /* a required pointer is null */
  ORV_SPARSE_STATUS_ALLOC_FAILED = 2,  /* memory for the call could not be had */
  ORV_SPARSE_STATUS_INVALID_VALUE = 3, /* a number or code is out of its range */
  ORV_SPARSE_STATUS_OVERFLOW = 5,      /* a size does not fit; internal, never returned */
  ORV_SPARSE_STATUS_NOT_SUPPORTED = 6  /* no kernel for this descriptor and operation */
};

/* ---------------------------------------------------------------------------------------------
 * Thread budget
 * ------------------------------------------------------------------------------------------- */

/*
 * Sets the number of threads that an operation may use, for the whole process and all families.
 * n: 1 to 640; anything else gives status 3 and changes nothing.
 *
 * The budget is 1 when the library is loaded. orv_sparse_?csrmv, ?cscmv and ?cscmm may lower it
 * (see there) and do not restore it: set it again before a call that is to run on more threads.
 */
orv_sparse_status_t orv_set_thread_num(int n);
orv_sparse_status_t orv_set_thread_num_(const int* n);

/* The number of threads in force: the budget, cut to the runtime's thread limit, at least 1. */
int orv_get_thread_num_(void);

/* ---------------------------------------------------------------------------------------------
 * Version
 * ------------------------------------------------------------------------------------------- */

/* Eight texts, each with its terminator; bytes behind a terminator keep what they held. */
typedef struct {
  char product_name[100];
  char product_version[100];
  char component_name[100];
  char component_version[100];
  char component_revision[100];
  char compiler_name[100];
  char package_name[100];
  char package_version[100];
} version_record;

/* Fills the record. Returns 1 when it was filled and 0 when the pointer is null: not a status. */
int32_t NEVRADGetVersion(version_record* record);

/* ---------------------------------------------------------------------------------------------
 * Sparse vector operations
 * ------------------------------------------------------------------------------------------- */

/*
 * A packed sparse vector is a pair of arrays: x with nnz values and indx with nnz positions. The
 * positions are zero-based offsets into the dense vector y, in the underscore forms too. Neither
 * they nor the length of y are tested.
 *
 * Status: 1 when an array is null, 3 when nnz is below 1 (nnz = 0 is an error), else 0.
 * Threads: one region on the thread budget, each thread a contiguous block of positions in
 * ascending order. With a position twice in indx the result is defined on one thread only.
 */

/*
 * y[indx[i]] += alpha * x[i]
 *
 * Real: one fused multiply-add. Complex: the product with one fused and one rounded product a
 * part, then one addition a part. alpha = 0 makes the pass too, so NaN in x reaches y.
 */
orv_sparse_status_t orv_sparse_saxpyi(int nnz, float alpha, const float* x, const int* indx,
                                      float* y);
orv_sparse_status_t orv_sparse_saxpyi_(const int* nnz, const float* alpha, const float* x,
                                       const int* indx, float* y);
orv_sparse_status_t orv_sparse_daxpyi(int nnz, double alpha, const double* x, const int* indx,
                                      double* y);
orv_sparse_status_t orv_sparse_daxpyi_(const int* nnz, const double* alpha, const double* x,
                                       const int* indx, double* y);
orv_sparse_status_t orv_sparse_caxpyi(int nnz, nevrad_complex_float alpha,
                                      const nevrad_complex_float* x, const int* indx,
                                      nevrad_complex_float* y);
orv_sparse_status_t orv_sparse_caxpyi_(const int* nnz, const nevrad_complex_float* alpha,
                                       const nevrad_complex_float* x, const int* indx,
                                       nevrad_complex_float* y);
orv_sparse_status_t orv_sparse_zaxpyi(int nnz, nevrad_complex_double alpha,
                                      const nevrad_complex_double* x, const int* indx,
                                      nevrad_complex_double* y);
orv_sparse_status_t orv_sparse_zaxpyi_(const int* nnz, const nevrad_complex_double* alpha,
                                       const nevrad_complex_double* x, const int* indx,
                                       nevrad_complex_double* y);

/* x[i] = y[indx[i]] */
orv_sparse_status_t orv_sparse_sgthr(int nnz, const float* y, float* x, const int* indx);
orv_sparse_status_t orv_sparse_sgthr_(const int* nnz, const float* y, float* x, const int* indx);
orv_sparse_status_t orv_sparse_dgthr(int nnz, const double* y, double* x, const int* indx);
orv_sparse_status_t orv_sparse_dgthr_(const int* nnz, const double* y, double* x, const int* indx);
orv_sparse_status_t orv_sparse_cgthr(int nnz, const nevrad_complex_float* y,
                                     nevrad_complex_float* x, const int* indx);
orv_sparse_status_t orv_sparse_cgthr_(const int* nnz, const nevrad_complex_float* y,
                                      nevrad_complex_float* x, const int* indx);
orv_sparse_status_t orv_sparse_zgthr(int nnz, const nevrad_complex_double* y,
                                     nevrad_complex_double* x, const int* indx);
orv_sparse_status_t orv_sparse_zgthr_(const int* nnz, const nevrad_complex_double* y,
                                      nevrad_complex_double* x, const int* indx);

/* x[i] = y[indx[i]], then y[indx[i]] = 0 */
orv_sparse_status_t orv_sparse_sgthrz(int nnz, float* y, float* x, const int* indx);
orv_sparse_status_t orv_sparse_sgthrz_(const int* nnz, float* y, float* x, const int* indx);
orv_sparse_status_t orv_sparse_dgthrz(int nnz, double* y, double* x, const int* indx);
orv_sparse_status_t orv_sparse_dgthrz_(const int* nnz, double* y, double* x, const int* indx);
orv_sparse_status_t orv_sparse_cgthrz(int nnz, nevrad_complex_float* y, nevrad_complex_float* x,
                                      const int* indx);
orv_sparse_status_t orv_sparse_cgthrz_(const int* nnz, nevrad_complex_float* y,
                                       nevrad_complex_float* x, const int* indx);
orv_sparse_status_t orv_sparse_zgthrz(int nnz, nevrad_complex_double* y, nevrad_complex_double* x,
                                      const int* indx);
orv_sparse_status_t orv_sparse_zgthrz_(const int* nnz, nevrad_complex_double* y,
                                       nevrad_complex_double* x, const int* indx);

/* y[indx[i]] = x[i] */
orv_sparse_status_t orv_sparse_ssctr(int nnz, const float* x, const int* indx, float* y);
orv_sparse_status_t orv_sparse_ssctr_(const int* nnz, const float* x, const int* indx, float* y);
orv_sparse_status_t orv_sparse_dsctr(int nnz, const double* x, const int* indx, double* y);
orv_sparse_status_t orv_sparse_dsctr_(const int* nnz, const double* x, const int* indx, double* y);
orv_sparse_status_t orv_sparse_csctr(int nnz, const nevrad_complex_float* x, const int* indx,
                                     nevrad_complex_float* y);
orv_sparse_status_t orv_sparse_csctr_(const int* nnz, const nevrad_complex_float* x,
                                      const int* indx, nevrad_complex_float* y);
orv_sparse_status_t orv_sparse_zsctr(int nnz, const nevrad_complex_double* x, const int* indx,
                                     nevrad_complex_double* y);
orv_sparse_status_t orv_sparse_zsctr_(const int* nnz, const nevrad_complex_double* x,
                                      const int* indx, nevrad_complex_double* y);

/*
 * Plane rotation, real types only: x[i] takes c * x[i] + s * y[indx[i]], and y[indx[i]] takes
 * c * y[indx[i]] - s * x[i] with the old x[i]. The product with c is fused, that with s rounded.
 */
orv_sparse_status_t orv_sparse_sroti(int nnz, float* x, const int* indx, float* y, float c,
                                     float s);
orv_sparse_status_t orv_sparse_sroti_(const int* nnz, float* x, const int* indx, float* y,
                                      const float* c, const float* s);
orv_sparse_status_t orv_sparse_droti(int nnz, double* x, const int* indx, double* y, double c,
                                     double s);
orv_sparse_status_t orv_sparse_droti_(const int* nnz, double* x, const int* indx, double* y,
                                      const double* c, const double* s);

/*
 * Dot products: *result takes the sum of x[i] * y[indx[i]] (doti, dotui_sub) or of
 * conj(x[i]) * y[indx[i]] (dotci_sub). result must not be null (status 1) and is written on
 * success only.
 *
 * On a budget of 1 the terms are added in the order of positions: real types as one chain of fused
 * multiply-adds. With more threads the partial sums are combined in the order of the runtime's
 * reduction, so the last bits may differ from run to run. z rounds its products differently on one
 * thread (fused) and on several (plain).
 */
orv_sparse_status_t orv_sparse_sdoti(int nnz, const float* x, const int* indx, const float* y,
                                     float* result);
orv_sparse_status_t orv_sparse_sdoti_(const int* nnz, const float* x, const int* indx,
                                      const float* y, float* result);
orv_sparse_status_t orv_sparse_ddoti(int nnz, const double* x, const int* indx, const double* y,
                                     double* result);
orv_sparse_status_t orv_sparse_ddoti_(const int* nnz, const double* x, const int* indx,
                                      const double* y, double* result);
orv_sparse_status_t orv_sparse_cdotui_sub(int nnz, const nevrad_complex_float* x, const int* indx,
                                          const nevrad_complex_float* y,
                                          nevrad_complex_float* result);
orv_sparse_status_t orv_sparse_cdotui_sub_(const int* nnz, const nevrad_complex_float* x,
                                           const int* indx, const nevrad_complex_float* y,
                                           nevrad_complex_float* result);
orv_sparse_status_t orv_sparse_zdotui_sub(int nnz, const nevrad_complex_double* x, const int* indx,
                                          const nevrad_complex_double* y,
                                          nevrad_complex_double* result);
orv_sparse_status_t orv_sparse_zdotui_sub_(const int* nnz, const nevrad_complex_double* x,
                                           const int* indx, const nevrad_complex_double* y,
                                           nevrad_complex_double* result);
orv_sparse_status_t orv_sparse_cdotci_sub(int nnz, const nevrad_complex_float* x, const int* indx,
                                          const nevrad_complex_float* y,
                                          nevrad_complex_float* result);
orv_sparse_status_t orv_sparse_cdotci_sub_(const int* nnz, const nevrad_complex_float* x,
                                           const int* indx, const nevrad_complex_float* y,
                                           nevrad_complex_float* result);
orv_sparse_status_t orv_sparse_zdotci_sub(int nnz, const nevrad_complex_double* x, const int* indx,
                                          const nevrad_complex_double* y,
                                          nevrad_complex_double* result);
orv_sparse_status_t orv_sparse_zdotci_sub_(const int* nnz, const nevrad_complex_double* x,
                                           const int* indx, const nevrad_complex_double* y,
                                           nevrad_complex_double* result);

/* ---------------------------------------------------------------------------------------------
 * Matrix-vector products
 * ------------------------------------------------------------------------------------------- */

/*
 * y = alpha * op(A) * x + beta * y, A stored by rows
 *
 * transa     0: op(A) = A, 1: transpose, 2: conjugate transpose
 * m, k       rows and columns of A, each 1 to 2147483645; equal unless A is general
 * matdescra  four characters: structure (G general, S symmetric, H Hermitian, T triangular,
 *            D diagonal), stored triangle (L, U), diagonal (N stored, U taken as ones), index base
 *            (F one-based, C zero-based). Of G only the last is read, of D the second is not.
 *            H means S in the real types.
 * val, indx  elements and their column numbers
 * pntrb, pntre  m each: where a row's entries begin, and one past their end, in the index base
 * x          k elements (m when transposed)
 * y          m elements (k when transposed)
 *
 * The arrays may hold the full matrix: of S, H and T only the named triangle counts, of D only the
 * first entry on the diagonal of each row; where the diagonal is taken as ones a stored one is
 * skipped. The diagonal of H is used as stored, imaginary part included.
 *
 * beta is applied by reading y: NaN in y survives beta = 0, except where alpha is 1 and beta 0 in
 * the real general product, which overwrites y. In that product with a mean row length below 10,
 * "1" and "0" are meant within 1e-6 (s) or 1e-14 (d).
 *
 * Rows may be empty. In the general product rows may be unsorted, and rows shorter than 10 on
 * average must be packed: each begins where the row before it ended. Rows of S and H, and of T with
 * transa 0, may be unsorted; of T with transa 1 (real: and 2) they must ascend. pntrb[0] is the
 * index base. In the general transposed product, and T with transa 1, a row holds each column once.
 *
 * Memory for the call, with n elements in y and b the budget: the general transposed product takes
 * b * n elements, S and H, and complex T with transa 2, b * n when b is above 1, T with transa 1
 * (real: and 2) b * n. All others take nothing to speak of.
 *
 * Status: 1 null pointer; 3 transa, dimension, descriptor or a matrix that is not square; 2 memory,
 * with y as it was; 6 no kernel. T with transa 1 (real: and 2) answers 0 without memory too, and
 * then leaves y at beta * y (plus alpha * x where the diagonal is taken as ones).
 *
 * Threads: the call may lower the thread budget, and leaves it lowered: to 1 when A is diagonal,
 * has fewer than 800000 entries or a density below 0.0001, and otherwise to 8 when it is above.
 * orv_sparse_?csrgemv and its relatives do not touch the budget. Results of the general product,
 * untransposed, are the same bits for every budget; those of T with transa 1 (real: and 2) on
 * several threads may differ in the last bits from run to run; all others depend on the budget
 * alone.
 */
orv_sparse_status_t orv_sparse_scsrmv(int transa, int m, int k, float alpha, const char* matdescra,
                                      const float* val, const int* indx, const int* pntrb,
                                      const int* pntre, const float* x, float beta, float* y);
orv_sparse_status_t orv_sparse_scsrmv_(const int* transa, const int* m, const int* k,
                                       const float* alpha, const char* matdescra, const float* val,
                                       const int* indx, const int* pntrb, const int* pntre,
                                       const float* x, const float* beta, float* y);
orv_sparse_status_t orv_sparse_dcsrmv(int transa, int m, int k, double alpha, const char* matdescra,
                                      const double* val, const int* indx, const int* pntrb,
                                      const int* pntre, const double* x, double beta, double* y);
orv_sparse_status_t orv_sparse_dcsrmv_(const int* transa, const int* m, const int* k,
                                       const double* alpha, const char* matdescra,
                                       const double* val, const int* indx, const int* pntrb,
                                       const int* pntre, const double* x, const double* beta,
                                       double* y);
orv_sparse_status_t orv_sparse_ccsrmv(int transa, int m, int k, nevrad_complex_float alpha,
                                      const char* matdescra, const nevrad_complex_float* val,
                                      const int* indx, const int* pntrb, const int* pntre,
                                      const nevrad_complex_float* x, nevrad_complex_float beta,
                                      nevrad_complex_float* y);
orv_sparse_status_t orv_sparse_ccsrmv_(const int* transa, const int* m, const int* k,
                                       const nevrad_complex_float* alpha, const char* matdescra,
                                       const nevrad_complex_float* val, const int* indx,
                                       const int* pntrb, const int* pntre,
                                       const nevrad_complex_float* x,
                                       const nevrad_complex_float* beta, nevrad_complex_float* y);
orv_sparse_status_t orv_sparse_zcsrmv(int transa, int m, int k, nevrad_complex_double alpha,
                                      const char* matdescra, const nevrad_complex_double* val,
                                      const int* indx, const int* pntrb, const int* pntre,
                                      const nevrad_complex_double* x, nevrad_complex_double beta,
                                      nevrad_complex_double* y);
orv_sparse_status_t orv_sparse_zcsrmv_(const int* transa, const int* m, const int* k,
                                       const nevrad_complex_double* alpha, const char* matdescra,
                                       const nevrad_complex_double* val, const int* indx,
                                       const int* pntrb, const int* pntre,
                                       const nevrad_complex_double* x,
                                       const nevrad_complex_double* beta, nevrad_complex_double* y);

/*
 * y = alpha * op(A) * x + beta * y, A stored by columns
 *
 * The arguments, beta, NaN, status and threads are those of orv_sparse_?csrmv, but:
 *
 * val, indx  elements and their row numbers
 * pntrb, pntre  k each: where a column's entries begin, and one past their end, in the index base
 *
 * Kernels are chosen by the mean number of entries a column, 150 or more being long. Columns must
 * ascend in S, H and T, but for short ones on one thread. A column holds each row once in G with
 * transa 0 and in S, H and T.
 *
 * beta is applied by reading y, but for the real general product with transa 1 or 2, alpha 1 and
 * beta 0, which overwrites y.
 *
 * Memory for the call, with n elements in y and b the budget: b * n elements for G with transa 0;
 * for S, H, and T with transa 0, where columns are long or b is above 1; for D where b is above 1.
 * All others take none. Without it the status is 2, with y as it was for G and D and with y at
 * beta * y (plus alpha * x where the diagonal is taken as ones) for S, H and T. T with short
 * columns answers 0 in any case.
 *
 * Results of S, H and T on several threads may differ in the last bits from run to run.
 */
orv_sparse_status_t orv_sparse_scscmv(int transa, int m, int k, float alpha, const char* matdescra,
                                      const float* val, const int* indx, const int* pntrb,
                                      const int* pntre, const float* x, float beta, float* y);
orv_sparse_status_t orv_sparse_scscmv_(const int* transa, const int* m, const int* k,
                                       const float* alpha, const char* matdescra, const float* val,
                                       const int* indx, const int* pntrb, const int* pntre,
                                       const float* x, const float* beta, float* y);
orv_sparse_status_t orv_sparse_dcscmv(int transa, int m, int k, double alpha, const char* matdescra,
                                      const double* val, const int* indx, const int* pntrb,
                                      const int* pntre, const double* x, double beta, double* y);
orv_sparse_status_t orv_sparse_dcscmv_(const int* transa, const int* m, const int* k,
                                       const double* alpha, const char* matdescra,
                                       const double* val, const int* indx, const int* pntrb,
                                       const int* pntre, const double* x, const double* beta,
                                       double* y);
orv_sparse_status_t orv_sparse_ccscmv(int transa, int m, int k, nevrad_complex_float alpha,
                                      const char* matdescra, const nevrad_complex_float* val,
                                      const int* indx, const int* pntrb, const int* pntre,
                                      const nevrad_complex_float* x, nevrad_complex_float beta,
                                      nevrad_complex_float* y);
orv_sparse_status_t orv_sparse_ccscmv_(const int* transa, const int* m, const int* k,
                                       const nevrad_complex_float* alpha, const char* matdescra,
                                       const nevrad_complex_float* val, const int* indx,
                                       const int* pntrb, const int* pntre,
                                       const nevrad_complex_float* x,
                                       const nevrad_complex_float* beta, nevrad_complex_float* y);
orv_sparse_status_t orv_sparse_zcscmv(int transa, int m, int k, nevrad_complex_double alpha,
                                      const char* matdescra, const nevrad_complex_double* val,
                                      const int* indx, const int* pntrb, const int* pntre,
                                      const nevrad_complex_double* x, nevrad_complex_double beta,
                                      nevrad_complex_double* y);
orv_sparse_status_t orv_sparse_zcscmv_(const int* transa, const int* m, const int* k,
                                       const nevrad_complex_double* alpha, const char* matdescra,
                                       const nevrad_complex_double* val, const int* indx,
                                       const int* pntrb, const int* pntre,
                                       const nevrad_complex_double* x,
                                       const nevrad_complex_double* beta, nevrad_complex_double* y);

/*
 * y = op(A) * x for a general square matrix of order m in three-array form
 *
 * a, ja  elements and column numbers
 * ia     m + 1 row pointers: row i is entries ia[i] to ia[i + 1] - 1
 * x, y   m elements each
 *
 * The orv_sparse_ form is one-based, the orv_csparse_ form zero-based; neither takes a descriptor
 * nor changes the thread budget. The kernels are those of orv_sparse_?csrmv with alpha = 1 and
 * beta = 0: in the complex types, and in the real transposed products, y is read and multiplied by
 * 0, so y must hold finite numbers on entry.
 *
 * Status: 1 null pointer; 3 transa or m; 2 memory; 6 no kernel.
 */
orv_sparse_status_t orv_sparse_scsrgemv(int transa, int m, const float* a, const int* ia,
                                        const int* ja, const float* x, float* y);
orv_sparse_status_t orv_sparse_scsrgemv_(const int* transa, const int* m, const float* a,
                                         const int* ia, const int* ja, const float* x, float* y);
orv_sparse_status_t orv_sparse_dcsrgemv(int transa, int m, const double* a, const int* ia,
                                        const int* ja, const double* x, double* y);
orv_sparse_status_t orv_sparse_dcsrgemv_(const int* transa, const int* m, const double* a,
                                         const int* ia, const int* ja, const double* x, double* y);
orv_sparse_status_t orv_sparse_ccsrgemv(int transa, int m, const nevrad_complex_float* a,
                                        const int* ia, const int* ja, const nevrad_complex_float* x,
                                        nevrad_complex_float* y);
orv_sparse_status_t orv_sparse_ccsrgemv_(const int* transa, const int* m,
                                         const nevrad_complex_float* a, const int* ia,
                                         const int* ja, const nevrad_complex_float* x,
                                         nevrad_complex_float* y);
orv_sparse_status_t orv_sparse_zcsrgemv(int transa, int m, const nevrad_complex_double* a,
                                        const int* ia, const int* ja,
                                        const nevrad_complex_double* x, nevrad_complex_double* y);
orv_sparse_status_t orv_sparse_zcsrgemv_(const int* transa, const int* m,
                                         const nevrad_complex_double* a, const int* ia,
                                         const int* ja, const nevrad_complex_double* x,
                                         nevrad_complex_double* y);
orv_sparse_status_t orv_csparse_scsrgemv(int transa, int m, const float* a, const int* ia,
                                         const int* ja, const float* x, float* y);
orv_sparse_status_t orv_csparse_scsrgemv_(const int* transa, const int* m, const float* a,
                                          const int* ia, const int* ja, const float* x, float* y);
orv_sparse_status_t orv_csparse_dcsrgemv(int transa, int m, const double* a, const int* ia,
                                         const int* ja, const double* x, double* y);
orv_sparse_status_t orv_csparse_dcsrgemv_(const int* transa, const int* m, const double* a,
                                          const int* ia, const int* ja, const double* x, double* y);
orv_sparse_status_t orv_csparse_ccsrgemv(int transa, int m, const nevrad_complex_float* a,
                                         const int* ia, const int* ja,
                                         const nevrad_complex_float* x, nevrad_complex_float* y);
orv_sparse_status_t orv_csparse_ccsrgemv_(const int* transa, const int* m,
                                          const nevrad_complex_float* a, const int* ia,
                                          const int* ja, const nevrad_complex_float* x,
                                          nevrad_complex_float* y);
orv_sparse_status_t orv_csparse_zcsrgemv(int transa, int m, const nevrad_complex_double* a,
                                         const int* ia, const int* ja,
                                         const nevrad_complex_double* x, nevrad_complex_double* y);
orv_sparse_status_t orv_csparse_zcsrgemv_(const int* transa, const int* m,
                                          const nevrad_complex_double* a, const int* ia,
                                          const int* ja, const nevrad_complex_double* x,
                                          nevrad_complex_double* y);

/*
 * y = A * x for a symmetric matrix of order m in three-array form, of which one triangle counts
 *
 * uplo   0: the lower triangle, 1: the upper one; entries on the other side are skipped
 * a, ja  elements and column numbers; rows may be unsorted
 * ia     m + 1 row pointers: row i is entries ia[i] to ia[i + 1] - 1
 * x, y   m elements each
 *
 * The orv_sparse_ form is one-based, the orv_csparse_ form zero-based. A complex matrix is taken as
 * symmetric, never as Hermitian. The kernels are those of orv_sparse_?csrmv with alpha = 1 and
 * beta = 0: y is read and multiplied by 0, so y must hold finite numbers on entry. The thread
 * budget is not touched; with a budget b above 1 the call takes memory for b * m elements.
 *
 * Status: 1 null pointer; 3 uplo or m; 2 memory, with y as it was; 6 no kernel.
 */
orv_sparse_status_t orv_sparse_scsrsymv(int uplo, int m, const float* a, const int* ia,
                                        const int* ja, const float* x, float* y);
orv_sparse_status_t orv_sparse_scsrsymv_(const int* uplo, const int* m, const float* a,
                                         const int* ia, const int* ja, const float* x, float* y);
orv_sparse_status_t orv_sparse_dcsrsymv(int uplo, int m, const double* a, const int* ia,
                                        const int* ja, const double* x, double* y);
orv_sparse_status_t orv_sparse_dcsrsymv_(const int* uplo, const int* m, const double* a,
                                         const int* ia, const int* ja, const double* x, double* y);
orv_sparse_status_t orv_sparse_ccsrsymv(int uplo, int m, const nevrad_complex_float* a,
                                        const int* ia, const int* ja, const nevrad_complex_float* x,
                                        nevrad_complex_float* y);
orv_sparse_status_t orv_sparse_ccsrsymv_(const int* uplo, const int* m,
                                         const nevrad_complex_float* a, const int* ia,
                                         const int* ja, const nevrad_complex_float* x,
                                         nevrad_complex_float* y);
orv_sparse_status_t orv_sparse_zcsrsymv(int uplo, int m, const nevrad_complex_double* a,
                                        const int* ia, const int* ja,
                                        const nevrad_complex_double* x, nevrad_complex_double* y);
orv_sparse_status_t orv_sparse_zcsrsymv_(const int* uplo, const int* m,
                                         const nevrad_complex_double* a, const int* ia,
                                         const int* ja, const nevrad_complex_double* x,
                                         nevrad_complex_double* y);
orv_sparse_status_t orv_csparse_scsrsymv(int uplo, int m, const float* a, const int* ia,
                                         const int* ja, const float* x, float* y);
orv_sparse_status_t orv_csparse_scsrsymv_(const int* uplo, const int* m, const float* a,
                                          const int* ia, const int* ja, const float* x, float* y);
orv_sparse_status_t orv_csparse_dcsrsymv(int uplo, int m, const double* a, const int* ia,
                                         const int* ja, const double* x, double* y);
orv_sparse_status_t orv_csparse_dcsrsymv_(const int* uplo, const int* m, const double* a,
                                          const int* ia, const int* ja, const double* x, double* y);
orv_sparse_status_t orv_csparse_ccsrsymv(int uplo, int m, const nevrad_complex_float* a,
                                         const int* ia, const int* ja,
                                         const nevrad_complex_float* x, nevrad_complex_float* y);
orv_sparse_status_t orv_csparse_ccsrsymv_(const int* uplo, const int* m,
                                          const nevrad_complex_float* a, const int* ia,
                                          const int* ja, const nevrad_complex_float* x,
                                          nevrad_complex_float* y);
orv_sparse_status_t orv_csparse_zcsrsymv(int uplo, int m, const nevrad_complex_double* a,
                                         const int* ia, const int* ja,
                                         const nevrad_complex_double* x, nevrad_complex_double* y);
orv_sparse_status_t orv_csparse_zcsrsymv_(const int* uplo, const int* m,
                                          const nevrad_complex_double* a, const int* ia,
                                          const int* ja, const nevrad_complex_double* x,
                                          nevrad_complex_double* y);

/* ---------------------------------------------------------------------------------------------
 * Triangular solves with one right-hand side
 * ------------------------------------------------------------------------------------------- */

/*
 * op(A) * y = alpha * x, A triangular or diagonal, stored by rows (csrsv) or by columns (cscsv)
 *
 * transa     0: op(A) = A, 1: transpose, 2: conjugate transpose
 * m          order of A, 1 to 2147483645
 * matdescra  four characters: structure (T triangular, D diagonal; no other), triangle that is
 *            solved with (L, U), diagonal (N stored, U taken as ones), index base (F one-based,
 *            C zero-based). Of D the second is not read.
 * val, indx  elements and their column numbers (cscsv: row numbers), ascending within a row
 *            (cscsv: a column). Entries of the other triangle may be there and are not used.
 * pntrb, pntre  m each: where a row's (a column's) entries begin, and one past their end, in the
 *            index base; pntrb[0] must be the base. A diagonal matrix may be unsorted, and of a row
 *            the first diagonal entry counts.
 * x, y       m elements each; y may be x
 *
 * A diagonal that is zero, or missing, is not reported: the status is 0. A zero divides, giving
 * infinities and NaN. Triangular: what a line without its diagonal entry gives is not specified,
 * except that cscsv, and csrsv transposed, leave alpha * x[i], less the shares of the unknowns
 * before it, where the line is empty. Diagonal: a line without its diagonal entry leaves y[i] as it
 * was; otherwise y is not read. alpha is applied to NaN in x too.
 *
 * Unit diagonals. Elements at the diagonal are not used, but they must be stored, with any value:
 * the substitutions find the end of their walk by them. Without them the walk of an upper triangle
 * stored by rows leaves its row, and that of a lower one may read one entry more, also behind the
 * last row. Of D with U nothing is read.
 *
 * Rounding. A row adds its products by fused multiply-adds to two (lower) or four (upper) sums by
 * place in groups of four, which are subtracted at the end; a column takes its products out of each
 * unknown one fused operation at a time. Then one division by the diagonal, never a product with a
 * reciprocal. Complex: conj(d) * t over |d|^2, unscaled. The same bits on every machine.
 *
 * Status: 1 null pointer; 3 transa, m or descriptor. Nothing is allocated. One thread, whatever the
 * budget. Source: forward and back substitution, Golub and Van Loan, Matrix Computations, 3.1.
 */
orv_sparse_status_t orv_sparse_scsrsv(int transa, int m, float alpha, const char* matdescra,
                                      const float* val, const int* indx, const int* pntrb,
                                      const int* pntre, const float* x, float* y);
orv_sparse_status_t orv_sparse_scsrsv_(const int* transa, const int* m, const float* alpha,
                                       const char* matdescra, const float* val, const int* indx,
                                       const int* pntrb, const int* pntre, const float* x,
                                       float* y);
orv_sparse_status_t orv_sparse_dcsrsv(int transa, int m, double alpha, const char* matdescra,
                                      const double* val, const int* indx, const int* pntrb,
                                      const int* pntre, const double* x, double* y);
orv_sparse_status_t orv_sparse_dcsrsv_(const int* transa, const int* m, const double* alpha,
                                       const char* matdescra, const double* val, const int* indx,
                                       const int* pntrb, const int* pntre, const double* x,
                                       double* y);
orv_sparse_status_t orv_sparse_ccsrsv(int transa, int m, nevrad_complex_float alpha,
                                      const char* matdescra, const nevrad_complex_float* val,
                                      const int* indx, const int* pntrb, const int* pntre,
                                      const nevrad_complex_float* x, nevrad_complex_float* y);
orv_sparse_status_t orv_sparse_ccsrsv_(const int* transa, const int* m,
                                       const nevrad_complex_float* alpha, const char* matdescra,
                                       const nevrad_complex_float* val, const int* indx,
                                       const int* pntrb, const int* pntre,
                                       const nevrad_complex_float* x, nevrad_complex_float* y);
orv_sparse_status_t orv_sparse_zcsrsv(int transa, int m, nevrad_complex_double alpha,
                                      const char* matdescra, const nevrad_complex_double* val,
                                      const int* indx, const int* pntrb, const int* pntre,
                                      const nevrad_complex_double* x, nevrad_complex_double* y);
orv_sparse_status_t orv_sparse_zcsrsv_(const int* transa, const int* m,
                                       const nevrad_complex_double* alpha, const char* matdescra,
                                       const nevrad_complex_double* val, const int* indx,
                                       const int* pntrb, const int* pntre,
                                       const nevrad_complex_double* x, nevrad_complex_double* y);

orv_sparse_status_t orv_sparse_scscsv(int transa, int m, float alpha, const char* matdescra,
                                      const float* val, const int* indx, const int* pntrb,
                                      const int* pntre, const float* x, float* y);
orv_sparse_status_t orv_sparse_scscsv_(const int* transa, const int* m, const float* alpha,
                                       const char* matdescra, const float* val, const int* indx,
                                       const int* pntrb, const int* pntre, const float* x,
                                       float* y);
orv_sparse_status_t orv_sparse_dcscsv(int transa, int m, double alpha, const char* matdescra,
                                      const double* val, const int* indx, const int* pntrb,
                                      const int* pntre, const double* x, double* y);
orv_sparse_status_t orv_sparse_dcscsv_(const int* transa, const int* m, const double* alpha,
                                       const char* matdescra, const double* val, const int* indx,
                                       const int* pntrb, const int* pntre, const double* x,
                                       double* y);
orv_sparse_status_t orv_sparse_ccscsv(int transa, int m, nevrad_complex_float alpha,
                                      const char* matdescra, const nevrad_complex_float* val,
                                      const int* indx, const int* pntrb, const int* pntre,
                                      const nevrad_complex_float* x, nevrad_complex_float* y);
orv_sparse_status_t orv_sparse_ccscsv_(const int* transa, const int* m,
                                       const nevrad_complex_float* alpha, const char* matdescra,
                                       const nevrad_complex_float* val, const int* indx,
                                       const int* pntrb, const int* pntre,
                                       const nevrad_complex_float* x, nevrad_complex_float* y);
orv_sparse_status_t orv_sparse_zcscsv(int transa, int m, nevrad_complex_double alpha,
                                      const char* matdescra, const nevrad_complex_double* val,
                                      const int* indx, const int* pntrb, const int* pntre,
                                      const nevrad_complex_double* x, nevrad_complex_double* y);
orv_sparse_status_t orv_sparse_zcscsv_(const int* transa, const int* m,
                                       const nevrad_complex_double* alpha, const char* matdescra,
                                       const nevrad_complex_double* val, const int* indx,
                                       const int* pntrb, const int* pntre,
                                       const nevrad_complex_double* x, nevrad_complex_double* y);

/*
 * op(A) * y = x, A triangular of order m, stored by rows in three-array form: the solve of
 * orv_sparse_?csrsv with alpha = 1, and all that is said there.
 *
 * uplo  triangle: 0 lower, 1 upper
 * diag  diagonal: 0 stored, 1 taken as ones
 * ia    m + 1 entries: row i holds the entries from ia[i] up to but excluding ia[i + 1]
 *
 * Indices are one-based in the orv_sparse_ forms and zero-based in the orv_csparse_ forms.
 *
 * Status: 1 null pointer; 3 uplo, transa, diag or m.
 */
orv_sparse_status_t orv_sparse_scsrtrsv(int uplo, int transa, int diag, int m, const float* a,
                                        const int* ia, const int* ja, const float* x, float* y);
orv_sparse_status_t orv_sparse_scsrtrsv_(const int* uplo, const int* transa, const int* diag,
                                         const int* m, const float* a, const int* ia, const int* ja,
                                         const float* x, float* y);
orv_sparse_status_t orv_sparse_dcsrtrsv(int uplo, int transa, int diag, int m, const double* a,
                                        const int* ia, const int* ja, const double* x, double* y);
orv_sparse_status_t orv_sparse_dcsrtrsv_(const int* uplo, const int* transa, const int* diag,
                                         const int* m, const double* a, const int* ia,
                                         const int* ja, const double* x, double* y);
orv_sparse_status_t orv_sparse_ccsrtrsv(int uplo, int transa, int diag, int m,
                                        const nevrad_complex_float* a, const int* ia, const int* ja,
                                        const nevrad_complex_float* x, nevrad_complex_float* y);
orv_sparse_status_t orv_sparse_ccsrtrsv_(const int* uplo, const int* transa, const int* diag,
                                         const int* m, const nevrad_complex_float* a, const int* ia,
                                         const int* ja, const nevrad_complex_float* x,
                                         nevrad_complex_float* y);
orv_sparse_status_t orv_sparse_zcsrtrsv(int uplo, int transa, int diag, int m,
                                        const nevrad_complex_double* a, const int* ia,
                                        const int* ja, const nevrad_complex_double* x,
                                        nevrad_complex_double* y);
orv_sparse_status_t orv_sparse_zcsrtrsv_(const int* uplo, const int* transa, const int* diag,
                                         const int* m, const nevrad_complex_double* a,
                                         const int* ia, const int* ja,
                                         const nevrad_complex_double* x, nevrad_complex_double* y);

orv_sparse_status_t orv_csparse_scsrtrsv(int uplo, int transa, int diag, int m, const float* a,
                                         const int* ia, const int* ja, const float* x, float* y);
orv_sparse_status_t orv_csparse_scsrtrsv_(const int* uplo, const int* transa, const int* diag,
                                          const int* m, const float* a, const int* ia,
                                          const int* ja, const float* x, float* y);
orv_sparse_status_t orv_csparse_dcsrtrsv(int uplo, int transa, int diag, int m, const double* a,
                                         const int* ia, const int* ja, const double* x, double* y);
orv_sparse_status_t orv_csparse_dcsrtrsv_(const int* uplo, const int* transa, const int* diag,
                                          const int* m, const double* a, const int* ia,
                                          const int* ja, const double* x, double* y);
orv_sparse_status_t orv_csparse_ccsrtrsv(int uplo, int transa, int diag, int m,
                                         const nevrad_complex_float* a, const int* ia,
                                         const int* ja, const nevrad_complex_float* x,
                                         nevrad_complex_float* y);
orv_sparse_status_t orv_csparse_ccsrtrsv_(const int* uplo, const int* transa, const int* diag,
                                          const int* m, const nevrad_complex_float* a,
                                          const int* ia, const int* ja,
                                          const nevrad_complex_float* x, nevrad_complex_float* y);
orv_sparse_status_t orv_csparse_zcsrtrsv(int uplo, int transa, int diag, int m,
                                         const nevrad_complex_double* a, const int* ia,
                                         const int* ja, const nevrad_complex_double* x,
                                         nevrad_complex_double* y);
orv_sparse_status_t orv_csparse_zcsrtrsv_(const int* uplo, const int* transa, const int* diag,
                                          const int* m, const nevrad_complex_double* a,
                                          const int* ia, const int* ja,
                                          const nevrad_complex_double* x, nevrad_complex_double* y);

/* ---------------------------------------------------------------------------------------------
 * Matrix-matrix products
 * ------------------------------------------------------------------------------------------- */

/*
 * C = alpha * op(A) * B + beta * C, A stored by rows, B and C dense
 *
 * transa     0: op(A) = A, 1: transpose, 2: conjugate transpose
 * m, k       rows and columns of A, each 1 to 2147483645; equal unless A is general
 * n          columns of B and of C, 1 to 2147483645
 * matdescra  four characters, as for orv_sparse_?csrmv; the last also says how B and C are laid
 *            out: F one-based indices and column-major, C zero-based indices and row-major
 * val, indx  elements and their column numbers, packed row behind row from their first place on
 * pntrb, pntre  m each: where a row's entries begin, and one past their end, in the index base
 * b, ldb     k rows (m when transposed) of n columns; only read
 * c, ldc     m rows (k when transposed) of n columns
 *
 * A leading dimension is the distance of two columns (F) or two rows (C): at least the number of
 * rows or of columns that it spans, and with the number of lines at most 2147483645 elements.
 *
 * Of pntrb only pntrb[0] is read, and it must be the index base: each row begins where the row
 * before it ended. Rows may be empty and unsorted; entries of equal column number are added in
 * their given order. A matrix without any entry is refused (status 3), also when beta is 0.
 *
 * beta is applied by multiplying C, whatever it is, and alpha by multiplying sums: NaN and infinity
 * in C survive beta = 0, and those in B reach C through alpha = 0.
 *
 * Memory: a copy of A, its sorted or transposed form, and where B is repacked as much again as B.
 * Rows that ascend, with pntre = pntrb + 1, are read where they lie and most of this is not
 * touched.
 *
 * Status: 1 null pointer; 3 transa, descriptor, dimension, leading dimension, a matrix that is not
 * square, or one without entries; 6 no kernel; all these leave C as it was. 2 memory: C may have
 * been multiplied by beta, and rows of it may be complete.
 *
 * Threads: the thread budget cuts the rows of op(A) by entries; a pass that only scales C runs on
 * the runtime's default team. The order of additions depends on the budget being one or more, on
 * the density and on the sizes, not on the number of threads.
 *
 * Symmetric, Hermitian and triangular matrices are expanded into general ones; the diagonal of a
 * Hermitian one is taken as stored. A diagonal matrix updates C element by element: of several
 * entries on one diagonal place the last counts, and B may be C itself when ldb is ldc. Its plain
 * and transposed products run on one thread.
 */
orv_sparse_status_t orv_sparse_scsrmm(int transa, int m, int n, int k, float alpha,
                                      const char* matdescra, const float* val, const int* indx,
                                      const int* pntrb, const int* pntre, const float* b, int ldb,
                                      float beta, float* c, int ldc);
orv_sparse_status_t orv_sparse_scsrmm_(const int* transa, const int* m, const int* n, const int* k,
                                       const float* alpha, const char* matdescra, const float* val,
                                       const int* indx, const int* pntrb, const int* pntre,
                                       const float* b, const int* ldb, const float* beta, float* c,
                                       const int* ldc);
orv_sparse_status_t orv_sparse_dcsrmm(int transa, int m, int n, int k, double alpha,
                                      const char* matdescra, const double* val, const int* indx,
                                      const int* pntrb, const int* pntre, const double* b, int ldb,
                                      double beta, double* c, int ldc);
orv_sparse_status_t orv_sparse_dcsrmm_(const int* transa, const int* m, const int* n, const int* k,
                                       const double* alpha, const char* matdescra,
                                       const double* val, const int* indx, const int* pntrb,
                                       const int* pntre, const double* b, const int* ldb,
                                       const double* beta, double* c, const int* ldc);
orv_sparse_status_t orv_sparse_ccsrmm(int transa, int m, int n, int k, nevrad_complex_float alpha,
                                      const char* matdescra, const nevrad_complex_float* val,
                                      const int* indx, const int* pntrb, const int* pntre,
                                      const nevrad_complex_float* b, int ldb,
                                      nevrad_complex_float beta, nevrad_complex_float* c, int ldc);
orv_sparse_status_t orv_sparse_ccsrmm_(const int* transa, const int* m, const int* n, const int* k,
                                       const nevrad_complex_float* alpha, const char* matdescra,
                                       const nevrad_complex_float* val, const int* indx,
                                       const int* pntrb, const int* pntre,
                                       const nevrad_complex_float* b, const int* ldb,
                                       const nevrad_complex_float* beta, nevrad_complex_float* c,
                                       const int* ldc);
orv_sparse_status_t orv_sparse_zcsrmm(int transa, int m, int n, int k, nevrad_complex_double alpha,
                                      const char* matdescra, const nevrad_complex_double* val,
                                      const int* indx, const int* pntrb, const int* pntre,
                                      const nevrad_complex_double* b, int ldb,
                                      nevrad_complex_double beta, nevrad_complex_double* c,
                                      int ldc);
orv_sparse_status_t orv_sparse_zcsrmm_(const int* transa, const int* m, const int* n, const int* k,
                                       const nevrad_complex_double* alpha, const char* matdescra,
                                       const nevrad_complex_double* val, const int* indx,
                                       const int* pntrb, const int* pntre,
                                       const nevrad_complex_double* b, const int* ldb,
                                       const nevrad_complex_double* beta, nevrad_complex_double* c,
                                       const int* ldc);

/*
 * C = alpha * op(A) * B + beta * C, A stored by columns
 *
 * As orv_sparse_?csrmm, but pntrb and pntre have k entries and indx holds row numbers.
 *
 * A matrix without any entry gives status 3 when it is general, and when it is a complex triangular
 * one to be conjugated; otherwise C is multiplied by beta, and a unit diagonal adds alpha * B.
 *
 * Threads: the call may lower the thread budget, and leaves it lowered: to 1 when A has fewer than
 * 50000 entries or a density of at most 0.0005, and otherwise to 32 when it is above.
 */
orv_sparse_status_t orv_sparse_scscmm(int transa, int m, int n, int k, float alpha,
                                      const char* matdescra, const float* val, const int* indx,
                                      const int* pntrb, const int* pntre, const float* b, int ldb,
                                      float beta, float* c, int ldc);
orv_sparse_status_t orv_sparse_scscmm_(const int* transa, const int* m, const int* n, const int* k,
                                       const float* alpha, const char* matdescra, const float* val,
                                       const int* indx, const int* pntrb, const int* pntre,
                                       const float* b, const int* ldb, const float* beta, float* c,
                                       const int* ldc);
orv_sparse_status_t orv_sparse_dcscmm(int transa, int m, int n, int k, double alpha,
                                      const char* matdescra, const double* val, const int* indx,
                                      const int* pntrb, const int* pntre, const double* b, int ldb,
                                      double beta, double* c, int ldc);
orv_sparse_status_t orv_sparse_dcscmm_(const int* transa, const int* m, const int* n, const int* k,
                                       const double* alpha, const char* matdescra,
                                       const double* val, const int* indx, const int* pntrb,
                                       const int* pntre, const double* b, const int* ldb,
                                       const double* beta, double* c, const int* ldc);
orv_sparse_status_t orv_sparse_ccscmm(int transa, int m, int n, int k, nevrad_complex_float alpha,
                                      const char* matdescra, const nevrad_complex_float* val,
                                      const int* indx, const int* pntrb, const int* pntre,
                                      const nevrad_complex_float* b, int ldb,
                                      nevrad_complex_float beta, nevrad_complex_float* c, int ldc);
orv_sparse_status_t orv_sparse_ccscmm_(const int* transa, const int* m, const int* n, const int* k,
                                       const nevrad_complex_float* alpha, const char* matdescra,
                                       const nevrad_complex_float* val, const int* indx,
                                       const int* pntrb, const int* pntre,
                                       const nevrad_complex_float* b, const int* ldb,
                                       const nevrad_complex_float* beta, nevrad_complex_float* c,
                                       const int* ldc);
orv_sparse_status_t orv_sparse_zcscmm(int transa, int m, int n, int k, nevrad_complex_double alpha,
                                      const char* matdescra, const nevrad_complex_double* val,
                                      const int* indx, const int* pntrb, const int* pntre,
                                      const nevrad_complex_double* b, int ldb,
                                      nevrad_complex_double beta, nevrad_complex_double* c,
                                      int ldc);
orv_sparse_status_t orv_sparse_zcscmm_(const int* transa, const int* m, const int* n, const int* k,
                                       const nevrad_complex_double* alpha, const char* matdescra,
                                       const nevrad_complex_double* val, const int* indx,
                                       const int* pntrb, const int* pntre,
                                       const nevrad_complex_double* b, const int* ldb,
                                       const nevrad_complex_double* beta, nevrad_complex_double* c,
                                       const int* ldc);

/* ---------------------------------------------------------------------------------------------
 * Solves with many right-hand sides
 * ------------------------------------------------------------------------------------------- */

/*
 * op(A) * Y = alpha * X for Y, A triangular or diagonal, X and Y dense with n columns
 *
 * ?csrsm takes A by rows, ?cscsm by columns (pntrb and pntre run over columns, indx holds rows).
 *
 * transa     0: op(A) = A, 1: transpose, 2: conjugate transpose
 * m          order of A, 1 to 2147483645
 * n          right-hand sides, 1 to 2147483645
 * matdescra  four characters: T or D (triangular, diagonal), stored triangle (L, U; not read for
 *            D), diagonal (N stored, U taken as ones), and F: indices from 1, X and Y column-major,
 *            or C: indices from 0, X and Y row-major. No other structure is taken.
 * val, indx  elements and their minor indices, lines packed: each begins where the one before ended
 * pntrb, pntre  m each: where a line's entries begin, and one past their end, in the index base;
 *            pntrb[0] is the index base
 * x, ldx     m by n; F: ldx >= m and n * ldx <= 2147483645, C: ldx >= n and m * ldx <= 2147483645
 * y, ldy     m by n, the same bounds; written, never read. y may be x when ldy is ldx
 *
 * Entries of the other triangle are passed over, in a diagonal matrix all but the diagonal; lines
 * need not be sorted. A triangular matrix must store its diagonal, also when that is taken as ones:
 * in a row that does not, the entry nearest to the diagonal is taken for it (for its reciprocal as
 * it stands, when not unit), and after a row that has no entry near the diagonal at all the rows
 * behind it, up to the next multiple of 1024 from the side at which the substitution starts, are
 * solved one place off. Neither is reported. A zero on the diagonal gives infinity or NaN. In a
 * diagonal matrix a missing diagonal entry gives 0 * x, and of several the last counts.
 *
 * Rounding. The diagonal enters as its reciprocal, rounded, and alpha multiplies X first. Columns
 * of A go in blocks of 1024 from the side at which the substitution starts. A row sums the products
 * of each block by ascending column, one fused multiply-add each from zero, and subtracts every
 * such sum once, block by block. So a result depends neither on the number of right-hand sides nor
 * on the thread budget. alpha = 0 is not special.
 *
 * Memory asked for. Triangular: a copy of A (transposed operations of ?csrsm and plain ones of
 * ?cscsm: two; lines that do not ascend: two more for a while), room for its entries once more, 64
 * bytes a row and thread for panels, 4 bytes a row, and address space for about m * m / 2048 words
 * of 4 bytes: 5 MB at m = 50000, 2 GB at 1000000. Where the system does not grant what is not
 * touched, status 2 is the answer, as it always is from m = 2096639 on. Diagonal: a copy and, when
 * not unit, one element a row.
 * Memory touched. Lines that ascend, with pntre = pntrb + 1, are read where they lie, others
 * copied. A triangle with one diagonal element a row takes 4 bytes a row at most, and of a panel
 * (row-major: of large Y) the rows that any row reaches. One with a diagonal element missing or
 * stored twice, or with long rows (8 entries a block of 1024 columns in the mean, from 16 blocks
 * on), has its entries copied once more, and two words for each row and block in which it has
 * entries. Time: two passes over the indices of A, then, row-major, one over A, X and Y, and
 * column-major one over A for each 8 columns (s: 16, z: 4) of X and Y, or each twice as many. Lines
 * that do not ascend: some ten passes over A more, transposed operations some five.
 *
 * Status: 1 null pointer; 3 transa, dimension, leading dimension, descriptor, or no entries in A
 * (?csrsm, and triangular rows of ?cscsm); 2 memory. On 2 the columns that threads with enough
 * memory had in hand are written, otherwise nothing.
 *
 * Threads: the columns are dealt out to the budget by fours, so n columns keep at most n / 4
 * threads busy; in a row-major diagonal matrix the rows are.
 */
orv_sparse_status_t orv_sparse_scsrsm(int transa, int m, int n, float alpha, const char* matdescra,
                                      const float* val, const int* indx, const int* pntrb,
                                      const int* pntre, const float* x, int ldx, float* y, int ldy);
orv_sparse_status_t orv_sparse_scsrsm_(const int* transa, const int* m, const int* n,
                                       const float* alpha, const char* matdescra, const float* val,
                                       const int* indx, const int* pntrb, const int* pntre,
                                       const float* x, const int* ldx, float* y, const int* ldy);
orv_sparse_status_t orv_sparse_dcsrsm(int transa, int m, int n, double alpha, const char* matdescra,
                                      const double* val, const int* indx, const int* pntrb,
                                      const int* pntre, const double* x, int ldx, double* y,
                                      int ldy);
orv_sparse_status_t orv_sparse_dcsrsm_(const int* transa, const int* m, const int* n,
                                       const double* alpha, const char* matdescra,
                                       const double* val, const int* indx, const int* pntrb,
                                       const int* pntre, const double* x, const int* ldx, double* y,
                                       const int* ldy);
orv_sparse_status_t orv_sparse_ccsrsm(int transa, int m, int n, nevrad_complex_float alpha,
                                      const char* matdescra, const nevrad_complex_float* val,
                                      const int* indx, const int* pntrb, const int* pntre,
                                      const nevrad_complex_float* x, int ldx,
                                      nevrad_complex_float* y, int ldy);
orv_sparse_status_t orv_sparse_ccsrsm_(const int* transa, const int* m, const int* n,
                                       const nevrad_complex_float* alpha, const char* matdescra,
                                       const nevrad_complex_float* val, const int* indx,
                                       const int* pntrb, const int* pntre,
                                       const nevrad_complex_float* x, const int* ldx,
                                       nevrad_complex_float* y, const int* ldy);
orv_sparse_status_t orv_sparse_zcsrsm(int transa, int m, int n, nevrad_complex_double alpha,
                                      const char* matdescra, const nevrad_complex_double* val,
                                      const int* indx, const int* pntrb, const int* pntre,
                                      const nevrad_complex_double* x, int ldx,
                                      nevrad_complex_double* y, int ldy);
orv_sparse_status_t orv_sparse_zcsrsm_(const int* transa, const int* m, const int* n,
                                       const nevrad_complex_double* alpha, const char* matdescra,
                                       const nevrad_complex_double* val, const int* indx,
                                       const int* pntrb, const int* pntre,
                                       const nevrad_complex_double* x, const int* ldx,
                                       nevrad_complex_double* y, const int* ldy);
orv_sparse_status_t orv_sparse_scscsm(int transa, int m, int n, float alpha, const char* matdescra,
                                      const float* val, const int* indx, const int* pntrb,
                                      const int* pntre, const float* x, int ldx, float* y, int ldy);
orv_sparse_status_t orv_sparse_scscsm_(const int* transa, const int* m, const int* n,
                                       const float* alpha, const char* matdescra, const float* val,
                                       const int* indx, const int* pntrb, const int* pntre,
                                       const float* x, const int* ldx, float* y, const int* ldy);
orv_sparse_status_t orv_sparse_dcscsm(int transa, int m, int n, double alpha, const char* matdescra,
                                      const double* val, const int* indx, const int* pntrb,
                                      const int* pntre, const double* x, int ldx, double* y,
                                      int ldy);
orv_sparse_status_t orv_sparse_dcscsm_(const int* transa, const int* m, const int* n,
                                       const double* alpha, const char* matdescra,
                                       const double* val, const int* indx, const int* pntrb,
                                       const int* pntre, const double* x, const int* ldx, double* y,
                                       const int* ldy);
orv_sparse_status_t orv_sparse_ccscsm(int transa, int m, int n, nevrad_complex_float alpha,
                                      const char* matdescra, const nevrad_complex_float* val,
                                      const int* indx, const int* pntrb, const int* pntre,
                                      const nevrad_complex_float* x, int ldx,
                                      nevrad_complex_float* y, int ldy);
orv_sparse_status_t orv_sparse_ccscsm_(const int* transa, const int* m, const int* n,
                                       const nevrad_complex_float* alpha, const char* matdescra,
                                       const nevrad_complex_float* val, const int* indx,
                                       const int* pntrb, const int* pntre,
                                       const nevrad_complex_float* x, const int* ldx,
                                       nevrad_complex_float* y, const int* ldy);
orv_sparse_status_t orv_sparse_zcscsm(int transa, int m, int n, nevrad_complex_double alpha,
                                      const char* matdescra, const nevrad_complex_double* val,
                                      const int* indx, const int* pntrb, const int* pntre,
                                      const nevrad_complex_double* x, int ldx,
                                      nevrad_complex_double* y, int ldy);
orv_sparse_status_t orv_sparse_zcscsm_(const int* transa, const int* m, const int* n,
                                       const nevrad_complex_double* alpha, const char* matdescra,
                                       const nevrad_complex_double* val, const int* indx,
                                       const int* pntrb, const int* pntre,
                                       const nevrad_complex_double* x, const int* ldx,
                                       nevrad_complex_double* y, const int* ldy);

/* ---------------------------------------------------------------------------------------------
 * Sums and products of sparse matrices
 * ------------------------------------------------------------------------------------------- */

/*
 * C = A + beta * op(B), all three by rows in three-array form
 *
 * transa     0: op(B) = B, 1: transpose, 2: conjugate transpose; it speaks of B
 * request    0: all of C, 1: ic alone, 2: c and jc for an ic that request 1 has made
 * sort       1: sort the rows of A for the call, 2: those of B, 3: both; any other value: neither
 * m, n       rows and columns of A and C, each 1 to 2147483645; B is m by n, or n by m with op
 * a, ja, ia  elements, column numbers and m + 1 row pointers of A, one-based
 * b, jb, ib  the same of B, with as many row pointers as B has rows, and one more
 * c, jc, ic  the same of C; request 1 reads neither c nor jc, which may be null
 * nzmax      room in c and jc, in entries
 *
 * To size C, call with request 1, allocate ic[m] - 1 entries, and call with request 2. sort is
 * applied anew in each call. Rows must ascend and hold no column twice, or be sorted by the call;
 * this is not tested, and a row that does not keep to it may write into the places of the next.
 *
 * Rows of C ascend. An entry that B has alone is beta * b, one that both have a + beta * b: real
 * types round it once, complex ones round the product and then the sum. Entries that come out zero
 * stay. beta = 0 is not special.
 *
 * Status, values before pointers: 3 transa or dimension; 1 null pointer; 3 request; 3 when the
 * matrix to be sorted or transposed has no entries; 2 memory; 3 when C has more than nzmax entries.
 * The last is tested for request 1 on a budget above 1 only. On a budget of 1, request 0 then has
 * filled c, jc and ic as far as they go; otherwise ic is complete, and c and jc are as they were.
 *
 * Threads: the rows are cut into as many chunks as the budget says, which run on the runtime's
 * default team. The result is the same bits for every budget.
 */
orv_sparse_status_t orv_sparse_scsradd(int transa, int request, int sort, int m, int n,
                                       const float* a, const int* ja, const int* ia, float beta,
                                       const float* b, const int* jb, const int* ib, float* c,
                                       int* jc, int* ic, int nzmax);
orv_sparse_status_t orv_sparse_scsradd_(const int* transa, const int* request, const int* sort,
                                        const int* m, const int* n, const float* a, const int* ja,
                                        const int* ia, const float* beta, const float* b,
                                        const int* jb, const int* ib, float* c, int* jc, int* ic,
                                        const int* nzmax);
orv_sparse_status_t orv_sparse_dcsradd(int transa, int request, int sort, int m, int n,
                                       const double* a, const int* ja, const int* ia, double beta,
                                       const double* b, const int* jb, const int* ib, double* c,
                                       int* jc, int* ic, int nzmax);
orv_sparse_status_t orv_sparse_dcsradd_(const int* transa, const int* request, const int* sort,
                                        const int* m, const int* n, const double* a, const int* ja,
                                        const int* ia, const double* beta, const double* b,
                                        const int* jb, const int* ib, double* c, int* jc, int* ic,
                                        const int* nzmax);
orv_sparse_status_t orv_sparse_ccsradd(int transa, int request, int sort, int m, int n,
                                       const nevrad_complex_float* a, const int* ja, const int* ia,
                                       nevrad_complex_float beta, const nevrad_complex_float* b,
                                       const int* jb, const int* ib, nevrad_complex_float* c,
                                       int* jc, int* ic, int nzmax);
orv_sparse_status_t orv_sparse_ccsradd_(const int* transa, const int* request, const int* sort,
                                        const int* m, const int* n, const nevrad_complex_float* a,
                                        const int* ja, const int* ia,
                                        const nevrad_complex_float* beta,
                                        const nevrad_complex_float* b, const int* jb, const int* ib,
                                        nevrad_complex_float* c, int* jc, int* ic,
                                        const int* nzmax);
orv_sparse_status_t orv_sparse_zcsradd(int transa, int request, int sort, int m, int n,
                                       const nevrad_complex_double* a, const int* ja, const int* ia,
                                       nevrad_complex_double beta, const nevrad_complex_double* b,
                                       const int* jb, const int* ib, nevrad_complex_double* c,
                                       int* jc, int* ic, int nzmax);
orv_sparse_status_t orv_sparse_zcsradd_(const int* transa, const int* request, const int* sort,
                                        const int* m, const int* n, const nevrad_complex_double* a,
                                        const int* ja, const int* ia,
                                        const nevrad_complex_double* beta,
                                        const nevrad_complex_double* b, const int* jb,
                                        const int* ib, nevrad_complex_double* c, int* jc, int* ic,
                                        const int* nzmax);

/*
 * C = op(A) * B, all three by rows in three-array form
 *
 * transa     0: op(A) = A, 1: transpose, 2: conjugate transpose
 * request    0: all of C, 1: ic alone, 2: c and jc for an ic that request 1 has made
 * sort       not read: rows may be in any order, and hold a column more than once
 * m, n       rows and columns of A, each 1 to 2147483645
 * k          columns of B and C, 1 to 2147483645; B is n by k (m by k with op), C m by k (n by k)
 * a, ja, ia  elements, column numbers and row pointers of A, one-based
 * b, jb, ib  the same of B
 * c, jc, ic  the same of C; request 1 reads neither c nor jc, which may be null
 * nzmax      room in c and jc, in entries; not read for request 1
 *
 * Rows of C ascend, except with request 0 on a budget of 1 and nzmax of 102400 or more: then the
 * columns of a row stand in the order in which the products first meet them. Entries that cancel
 * to zero stay. Every element of C is one chain of fused multiply-adds in the order of storage, of
 * A's row first and of B's rows within; complex ones take two fused steps a part, A's element
 * first. Column numbers of A beyond the rows of B are not detected.
 *
 * Memory: one integer and one element for each column of B, times the chunks of rows.
 *
 * Status, values before pointers: 3 transa or dimension; 1 null pointer; 3 request; 3 when a matrix
 * to be transposed has no entries; 2 memory; 3 when C has more than nzmax entries (request 0, 2).
 * On a budget of 1, request 0 then has filled c, jc and ic as far as they go (whole rows only where
 * the order is that of first touch); otherwise ic is complete, and c and jc are as they were.
 *
 * Threads: as orv_sparse_?csradd. Apart from the order of columns above, the result is the same
 * bits for every budget.
 */
orv_sparse_status_t orv_sparse_scsrmultcsr(int transa, int request, int sort, int m, int n, int k,
                                           const float* a, const int* ja, const int* ia,
                                           const float* b, const int* jb, const int* ib, float* c,
                                           int* jc, int* ic, int nzmax);
orv_sparse_status_t orv_sparse_scsrmultcsr_(const int* transa, const int* request, const int* sort,
                                            const int* m, const int* n, const int* k,
                                            const float* a, const int* ja, const int* ia,
                                            const float* b, const int* jb, const int* ib, float* c,
                                            int* jc, int* ic, const int* nzmax);
orv_sparse_status_t orv_sparse_dcsrmultcsr(int transa, int request, int sort, int m, int n, int k,
                                           const double* a, const int* ja, const int* ia,
                                           const double* b, const int* jb, const int* ib, double* c,
                                           int* jc, int* ic, int nzmax);
orv_sparse_status_t orv_sparse_dcsrmultcsr_(const int* transa, const int* request, const int* sort,
                                            const int* m, const int* n, const int* k,
                                            const double* a, const int* ja, const int* ia,
                                            const double* b, const int* jb, const int* ib,
                                            double* c, int* jc, int* ic, const int* nzmax);
orv_sparse_status_t orv_sparse_ccsrmultcsr(int transa, int request, int sort, int m, int n, int k,
                                           const nevrad_complex_float* a, const int* ja,
                                           const int* ia, const nevrad_complex_float* b,
                                           const int* jb, const int* ib, nevrad_complex_float* c,
                                           int* jc, int* ic, int nzmax);
orv_sparse_status_t orv_sparse_ccsrmultcsr_(const int* transa, const int* request, const int* sort,
                                            const int* m, const int* n, const int* k,
                                            const nevrad_complex_float* a, const int* ja,
                                            const int* ia, const nevrad_complex_float* b,
                                            const int* jb, const int* ib, nevrad_complex_float* c,
                                            int* jc, int* ic, const int* nzmax);
orv_sparse_status_t orv_sparse_zcsrmultcsr(int transa, int request, int sort, int m, int n, int k,
                                           const nevrad_complex_double* a, const int* ja,
                                           const int* ia, const nevrad_complex_double* b,
                                           const int* jb, const int* ib, nevrad_complex_double* c,
                                           int* jc, int* ic, int nzmax);
orv_sparse_status_t orv_sparse_zcsrmultcsr_(const int* transa, const int* request, const int* sort,
                                            const int* m, const int* n, const int* k,
                                            const nevrad_complex_double* a, const int* ja,
                                            const int* ia, const nevrad_complex_double* b,
                                            const int* jb, const int* ib, nevrad_complex_double* c,
                                            int* jc, int* ic, const int* nzmax);

/*
 * C = op(A) * B with a dense C
 *
 * transa     0: op(A) = A, 1: transpose, 2: conjugate transpose
 * m, n       rows and columns of A, each 1 to 2147483645
 * k          columns of B and C, 1 to 2147483645; B is n by k (m by k with op), C m by k (n by k)
 * a, ja, ia  elements, column numbers and row pointers of A by rows, one-based; rows in any order
 * b, jb, ib  the same of B
 * c          C, column-major: element (i, j) from 0 at c[i + j * ldc]; overwritten without being
 *            read. Elements between its rows and ldc stay as they are.
 * ldc        at least the rows of C; ldc * k at most 2147483645
 *
 * Every element of C is one chain of fused multiply-adds in the order of the columns of op(A).
 * A column number that stands twice in a row of A may count once only; in B it counts twice.
 *
 * Memory: a copy of A and of B, each once more by columns (A without op only), and with a budget
 * above 1 one 64-bit count a column of C.
 *
 * Status: 1 null pointer; 3 transa, dimension or ldc; 3 when A or B has no entries; 2 memory: C is
 * then as it was, or zero where the copies had been made.
 *
 * Threads: on the thread budget, each a run of columns with about the same number of multiply-adds.
 * The result is the same bits for every budget.
 */
orv_sparse_status_t orv_sparse_scsrmultd(int transa, int m, int n, int k, const float* a,
                                         const int* ja, const int* ia, const float* b,
                                         const int* jb, const int* ib, float* c, int ldc);
orv_sparse_status_t orv_sparse_scsrmultd_(const int* transa, const int* m, const int* n,
                                          const int* k, const float* a, const int* ja,
                                          const int* ia, const float* b, const int* jb,
                                          const int* ib, float* c, const int* ldc);
orv_sparse_status_t orv_sparse_dcsrmultd(int transa, int m, int n, int k, const double* a,
                                         const int* ja, const int* ia, const double* b,
                                         const int* jb, const int* ib, double* c, int ldc);
orv_sparse_status_t orv_sparse_dcsrmultd_(const int* transa, const int* m, const int* n,
                                          const int* k, const double* a, const int* ja,
                                          const int* ia, const double* b, const int* jb,
                                          const int* ib, double* c, const int* ldc);
orv_sparse_status_t orv_sparse_ccsrmultd(int transa, int m, int n, int k,
                                         const nevrad_complex_float* a, const int* ja,
                                         const int* ia, const nevrad_complex_float* b,
                                         const int* jb, const int* ib, nevrad_complex_float* c,
                                         int ldc);
orv_sparse_status_t orv_sparse_ccsrmultd_(const int* transa, const int* m, const int* n,
                                          const int* k, const nevrad_complex_float* a,
                                          const int* ja, const int* ia,
                                          const nevrad_complex_float* b, const int* jb,
                                          const int* ib, nevrad_complex_float* c, const int* ldc);
orv_sparse_status_t orv_sparse_zcsrmultd(int transa, int m, int n, int k,
                                         const nevrad_complex_double* a, const int* ja,
                                         const int* ia, const nevrad_complex_double* b,
                                         const int* jb, const int* ib, nevrad_complex_double* c,
                                         int ldc);
orv_sparse_status_t orv_sparse_zcsrmultd_(const int* transa, const int* m, const int* n,
                                          const int* k, const nevrad_complex_double* a,
                                          const int* ja, const int* ia,
                                          const nevrad_complex_double* b, const int* jb,
                                          const int* ib, nevrad_complex_double* c, const int* ldc);

#ifdef __cplusplus
}
#endif

#endif /* NEVRAD_H */
