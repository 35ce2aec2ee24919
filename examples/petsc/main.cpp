// Solves the demo's problem by PETSc's conjugate gradients on several ranks, once with PETSc's own
// products and once with nevrad's, and compares the two.
//
// Options, besides PETSc's: -side N (points in each direction of the grid), -threads N (threads a
// rank), -empty_rank (the last rank gets no rows).
#include "local_kernel.h"

#include "support/problem.h"

#include <petscksp.h>

#include <algorithm>
#include <thread>
#include <variant>
#include <vector>

namespace petsc_example {

namespace {

constexpr char help[] =
    "Solves the demo's problem with PETSc's products and with nevrad's.\n"
    "  -side N       points in each direction of the grid\n"
    "  -threads N    threads a rank (default: the cores of the machine over its ranks)\n"
    "  -empty_rank   the last rank gets no rows\n\n";

struct options {
  PetscInt side = 40;
  PetscInt threads = 1;
  PetscBool empty_rank = PETSC_FALSE;
};

PetscErrorCode read_options(options& chosen) {
  PetscFunctionBegin;
  // As many threads as leave every core one: ranks times threads is what the machine runs.
  MPI_Comm machine = MPI_COMM_NULL;
  int ranks = 1;
  PetscCallMPI(
      MPI_Comm_split_type(PETSC_COMM_WORLD, MPI_COMM_TYPE_SHARED, 0, MPI_INFO_NULL, &machine));
  PetscCallMPI(MPI_Comm_size(machine, &ranks));
  PetscCallMPI(MPI_Comm_free(&machine));
  chosen.threads = std::max(1, static_cast<int>(std::thread::hardware_concurrency()) / ranks);
  PetscCall(PetscOptionsGetInt(nullptr, nullptr, "-side", &chosen.side, nullptr));
  PetscCall(PetscOptionsGetInt(nullptr, nullptr, "-threads", &chosen.threads, nullptr));
  PetscCall(PetscOptionsHasName(nullptr, nullptr, "-empty_rank", &chosen.empty_rank));
  PetscCheck(chosen.side >= 2 && chosen.side <= 400, PETSC_COMM_WORLD, PETSC_ERR_USER_INPUT,
             "-side must lie between 2 and 400");
  PetscCheck(chosen.threads >= 1 && chosen.threads <= 640, PETSC_COMM_WORLD, PETSC_ERR_USER_INPUT,
             "-threads must lie between 1 and 640");
  PetscFunctionReturn(0);
}

// Each rank makes the whole problem and hands PETSc its rows: an example of products, not of
// assembly.
PetscErrorCode make_matrix(const options& chosen, Mat* a) {
  int rank = 0;
  int ranks = 1;
  PetscFunctionBegin;
  PetscCallMPI(MPI_Comm_rank(PETSC_COMM_WORLD, &rank));
  PetscCallMPI(MPI_Comm_size(PETSC_COMM_WORLD, &ranks));
  const bench::problem whole = bench::make_diffusion(chosen.side);
  const auto& all = std::get<bench::matrix<double>>(whole.a);
  const auto n = static_cast<PetscInt>(all.rows());
  const int sharing = chosen.empty_rank != PETSC_FALSE && ranks > 1 ? ranks - 1 : ranks;
  const auto row_of = [&](int r) {
    return static_cast<PetscInt>(static_cast<long>(n) * std::min(r, sharing) / sharing);
  };
  const PetscInt first = row_of(rank);
  const PetscInt rows = row_of(rank + 1) - first;
  const PetscInt before = all.outerIndexPtr()[first];
  std::vector<PetscInt> begin(static_cast<std::size_t>(rows) + 1);
  for (PetscInt i = 0; i <= rows; ++i) {
    begin[static_cast<std::size_t>(i)] = all.outerIndexPtr()[first + i] - before;
  }
  PetscCall(MatCreate(PETSC_COMM_WORLD, a));
  PetscCall(MatSetSizes(*a, rows, rows, n, n));
  PetscCall(MatSetType(*a, MATAIJ));
  PetscCall(MatSeqAIJSetPreallocationCSR(*a, begin.data(), all.innerIndexPtr() + before,
                                         all.valuePtr() + before));
  PetscCall(MatMPIAIJSetPreallocationCSR(*a, begin.data(), all.innerIndexPtr() + before,
                                         all.valuePtr() + before));
  PetscFunctionReturn(0);
}

struct result {
  PetscInt iterations = 0;
  double seconds = 0;
  PetscReal residual = 0;  // by PETSc's products, relative to b
};

// Solves a x = b by conjugate gradients with the diagonal as the preconditioner. `plain` is the
// matrix with PETSc's products, which the answer is checked with.
PetscErrorCode solve(Mat a, Mat plain, Vec b, Vec x, result& got) {
  KSP solver = nullptr;
  PC diagonal = nullptr;
  PetscFunctionBegin;
  PetscCall(KSPCreate(PETSC_COMM_WORLD, &solver));
  PetscCall(KSPSetOperators(solver, a, a));
  PetscCall(KSPSetType(solver, KSPCG));
  PetscCall(KSPGetPC(solver, &diagonal));
  PetscCall(PCSetType(diagonal, PCJACOBI));
  PetscCall(KSPSetTolerances(solver, 1e-10, PETSC_DEFAULT, PETSC_DEFAULT, PETSC_DEFAULT));
  PetscCall(KSPSetFromOptions(solver));
  PetscCall(KSPSetUp(solver));
  PetscCallMPI(MPI_Barrier(PETSC_COMM_WORLD));
  const double start = MPI_Wtime();
  PetscCall(KSPSolve(solver, b, x));
  got.seconds = MPI_Wtime() - start;
  PetscCall(KSPGetIterationNumber(solver, &got.iterations));
  PetscCall(KSPDestroy(&solver));

  Vec rest = nullptr;
  PetscReal size = 0;
  PetscCall(VecDuplicate(b, &rest));
  PetscCall(MatMult(plain, x, rest));
  PetscCall(VecAXPY(rest, -1.0, b));
  PetscCall(VecNorm(rest, NORM_2, &got.residual));
  PetscCall(VecNorm(b, NORM_2, &size));
  got.residual /= size;
  PetscCall(VecDestroy(&rest));
  PetscFunctionReturn(0);
}

PetscErrorCode print_shares(Mat a, const options& chosen) {
  PetscInt rows = 0;
  int ranks = 1;
  PetscFunctionBegin;
  PetscCallMPI(MPI_Comm_size(PETSC_COMM_WORLD, &ranks));
  PetscCall(MatGetLocalSize(a, &rows, nullptr));
  PetscInt least = rows;
  PetscInt most = rows;
  PetscInt total = 0;
  PetscCallMPI(MPI_Allreduce(MPI_IN_PLACE, &least, 1, MPIU_INT, MPI_MIN, PETSC_COMM_WORLD));
  PetscCallMPI(MPI_Allreduce(MPI_IN_PLACE, &most, 1, MPIU_INT, MPI_MAX, PETSC_COMM_WORLD));
  PetscCall(MatGetSize(a, &total, nullptr));
  PetscCall(PetscPrintf(PETSC_COMM_WORLD,
                        "matrix   %d unknowns on %d ranks, %d to %d rows each, %d threads a rank\n",
                        total, ranks, least, most, chosen.threads));
  PetscFunctionReturn(0);
}

// Whether both kernels solve the system, to the same solution.
PetscErrorCode compare(const options& chosen, bool& fine) {
  Mat plain = nullptr;
  Mat replaced = nullptr;
  PetscFunctionBegin;
  PetscCall(make_matrix(chosen, &plain));
  PetscCall(MatDuplicate(plain, MAT_COPY_VALUES, &replaced));
  PetscCall(use_nevrad(replaced, chosen.threads));
  PetscCall(print_shares(plain, chosen));

  // One product first: the difference of the kernels alone.
  Vec ones = nullptr;
  Vec b = nullptr;
  Vec x = nullptr;
  Vec y = nullptr;
  PetscCall(MatCreateVecs(plain, &ones, &b));
  PetscCall(VecDuplicate(b, &x));
  PetscCall(VecDuplicate(b, &y));
  PetscCall(VecSet(ones, 1.0));
  PetscCall(MatMult(plain, ones, b));
  PetscCall(MatMult(replaced, ones, y));
  PetscReal difference = 0;
  PetscReal size = 0;
  PetscCall(VecNorm(b, NORM_INFINITY, &size));
  PetscCall(VecAXPY(y, -1.0, b));
  PetscCall(VecNorm(y, NORM_INFINITY, &difference));
  PetscCall(PetscPrintf(PETSC_COMM_WORLD,
                        "product  largest difference %.1e of the largest element\n",
                        difference / size));
  fine = difference <= 1e-13 * size;

  struct {
    const char* name;
    Mat a;
    Vec x;
  } const runs[] = {{"petsc ", plain, x}, {"nevrad", replaced, y}};
  for (const auto& run : runs) {
    result got;
    PetscCall(solve(run.a, plain, b, run.x, got));
    PetscCall(PetscPrintf(PETSC_COMM_WORLD, "%s   %d iterations in %.3f s, residual %.1e\n",
                          run.name, got.iterations, got.seconds, got.residual));
    fine = fine && got.residual <= 1e-8;
  }
  PetscCall(VecAXPY(y, -1.0, x));
  PetscCall(VecNorm(y, NORM_INFINITY, &difference));
  PetscCall(PetscPrintf(PETSC_COMM_WORLD, "solution largest difference %.1e: %s\n", difference,
                        fine && difference < 1e-6 ? "the kernels agree" : "NOT THE SAME"));
  fine = fine && difference < 1e-6;
  long products = count_products();
  PetscCallMPI(MPI_Allreduce(MPI_IN_PLACE, &products, 1, MPI_LONG, MPI_SUM, PETSC_COMM_WORLD));
  PetscCall(
      PetscPrintf(PETSC_COMM_WORLD, "nevrad   %ld products of blocks on all ranks\n", products));
  for (Vec* v : {&ones, &b, &x, &y}) PetscCall(VecDestroy(v));
  PetscCall(MatDestroy(&plain));
  PetscCall(MatDestroy(&replaced));
  PetscFunctionReturn(0);
}

}  // namespace

}  // namespace petsc_example

int main(int argc, char** argv) {
  bool fine = false;
  PetscCall(PetscInitialize(&argc, &argv, nullptr, petsc_example::help));
  petsc_example::options chosen;
  PetscCall(petsc_example::read_options(chosen));
  PetscCall(petsc_example::compare(chosen, fine));
  PetscCall(PetscFinalize());
  return fine ? 0 : 1;
}
