#include "local_kernel.h"

#include "nevrad.h"

#include <algorithm>

namespace petsc_example {

namespace {

static_assert(sizeof(PetscInt) == sizeof(int), "the library's indices have 32 bits");
static_assert(sizeof(PetscScalar) == sizeof(double), "this example is for PETSc with real numbers");

// The budget is the process's, so one number serves all matrices.
int threads_a_rank = 1;
long products = 0;

PetscErrorCode fail(orv_sparse_status_t status) {
  SETERRQ(PETSC_COMM_SELF, PETSC_ERR_LIB, "nevrad answered with status %d", status);
}

// The arrays of a sequential block, held for the length of a product.
class block {
 public:
  explicit block(Mat a) : a_(a) {}

  PetscErrorCode open() {
    PetscBool found = PETSC_FALSE;
    PetscFunctionBegin;
    PetscCall(MatGetSize(a_, &rows, &cols));
    PetscCall(MatGetRowIJ(a_, 0, PETSC_FALSE, PETSC_FALSE, &lines_, &begin, &indices, &found));
    PetscCheck(found, PETSC_COMM_SELF, PETSC_ERR_SUP, "the block has no compressed rows");
    PetscCall(MatSeqAIJGetArrayRead(a_, &values));
    PetscFunctionReturn(0);
  }
  PetscErrorCode close() {
    PetscBool found = PETSC_FALSE;
    PetscFunctionBegin;
    PetscCall(MatSeqAIJRestoreArrayRead(a_, &values));
    PetscCall(MatRestoreRowIJ(a_, 0, PETSC_FALSE, PETSC_FALSE, &lines_, &begin, &indices, &found));
    PetscFunctionReturn(0);
  }

  PetscInt rows = 0;
  PetscInt cols = 0;
  const PetscInt* begin = nullptr;
  const PetscInt* indices = nullptr;
  const PetscScalar* values = nullptr;

 private:
  Mat a_;
  PetscInt lines_ = 0;
};

// y = A x + beta y. Ranks without rows, and blocks without columns, never reach the library: a
// dimension of 0 is an error there.
orv_sparse_status_t multiply(const block& a, const double* x, double beta, double* y) {
  if (a.rows == 0) return ORV_SPARSE_STATUS_SUCCESS;
  if (a.cols == 0) {
    if (beta == 0) std::fill(y, y + a.rows, 0.0);
    return ORV_SPARSE_STATUS_SUCCESS;
  }
  // A product by descriptor lowers the budget for small and very sparse matrices and leaves it
  // lowered, so it is set before each call. The three-array form, for square blocks, keeps it, and
  // runs on all threads whatever the matrix.
  orv_set_thread_num(threads_a_rank);
  ++products;
  if (beta == 0 && a.rows == a.cols) {
    return orv_csparse_dcsrgemv(0, a.rows, a.values, a.begin, a.indices, x, y);
  }
  return orv_sparse_dcsrmv(0, a.rows, a.cols, 1.0, "G00C", a.values, a.indices, a.begin,
                           a.begin + 1, x, beta, y);
}

PetscErrorCode mult(Mat mat, Vec x, Vec y) {
  block a(mat);
  const PetscScalar* from = nullptr;
  PetscScalar* to = nullptr;
  PetscFunctionBegin;
  PetscCall(a.open());
  PetscCall(VecGetArrayRead(x, &from));
  PetscCall(VecGetArrayWrite(y, &to));
  // What is overwritten here is read by the rectangular form: y must not hold NaN.
  if (a.rows != a.cols) std::fill(to, to + a.rows, 0.0);
  const orv_sparse_status_t status = multiply(a, from, 0.0, to);
  if (status != ORV_SPARSE_STATUS_SUCCESS) PetscCall(fail(status));
  PetscCall(VecRestoreArrayWrite(y, &to));
  PetscCall(VecRestoreArrayRead(x, &from));
  PetscCall(PetscLogFlops(2.0 * a.begin[a.rows]));
  PetscCall(a.close());
  PetscFunctionReturn(0);
}

// w = z + A x, where w may be z
PetscErrorCode mult_add(Mat mat, Vec x, Vec z, Vec w) {
  block a(mat);
  const PetscScalar* from = nullptr;
  PetscScalar* to = nullptr;
  PetscFunctionBegin;
  if (w != z) PetscCall(VecCopy(z, w));
  PetscCall(a.open());
  PetscCall(VecGetArrayRead(x, &from));
  PetscCall(VecGetArray(w, &to));
  const orv_sparse_status_t status = multiply(a, from, 1.0, to);
  if (status != ORV_SPARSE_STATUS_SUCCESS) PetscCall(fail(status));
  PetscCall(VecRestoreArray(w, &to));
  PetscCall(VecRestoreArrayRead(x, &from));
  PetscCall(PetscLogFlops(2.0 * a.begin[a.rows]));
  PetscCall(a.close());
  PetscFunctionReturn(0);
}

PetscErrorCode replace_products(Mat block_of_rank) {
  PetscFunctionBegin;
  PetscCall(MatSetOperation(block_of_rank, MATOP_MULT, reinterpret_cast<void (*)()>(mult)));
  PetscCall(MatSetOperation(block_of_rank, MATOP_MULT_ADD, reinterpret_cast<void (*)()>(mult_add)));
  PetscFunctionReturn(0);
}

}  // namespace

long count_products() { return products; }

PetscErrorCode use_nevrad(Mat a, int threads) {
  PetscBool parallel = PETSC_FALSE;
  PetscFunctionBegin;
  const orv_sparse_status_t status = orv_set_thread_num(threads);
  if (status != ORV_SPARSE_STATUS_SUCCESS) PetscCall(fail(status));
  threads_a_rank = threads;
  PetscCall(PetscObjectTypeCompare(reinterpret_cast<PetscObject>(a), MATMPIAIJ, &parallel));
  if (!parallel) {
    PetscCall(replace_products(a));
    PetscFunctionReturn(0);
  }
  Mat own = nullptr;
  Mat others = nullptr;
  PetscCall(MatMPIAIJGetSeqAIJ(a, &own, &others, nullptr));
  PetscCall(replace_products(own));
  PetscCall(replace_products(others));
  PetscFunctionReturn(0);
}

}  // namespace petsc_example
