// The library as the local kernel of PETSc's parallel matrices: an MPIAIJ matrix holds, on each
// rank, two sequential blocks in compressed rows, one for the rank's own columns and one for those
// of others. Their products are replaced by the library's, on PETSc's arrays as they are.
#pragma once

#include <petscmat.h>

namespace petsc_example {

// Replaces the products of both blocks of an assembled MPIAIJ matrix (or of an SEQAIJ one). They
// run on `threads` threads a rank. Only this matrix is changed; copies that PETSc makes of it later
// have PETSc's products.
PetscErrorCode use_nevrad(Mat a, int threads);

// The library's products on this rank so far.
long count_products();

}  // namespace petsc_example
