// A case to measure: one call of one entry, ready to run again and again, and its peers on the same
// work.
#pragma once

#include "support/problem.h"

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace tools {

// What the user asks for.
struct request {
  std::string entry;       // without letter and prefix: csrmv
  char type = 'd';         // s, d, c, z
  int transa = 0;          // 0, 1, 2
  std::string descriptor;  // four characters; the last is the base and the layout of all entries
  int rhs = 1;             // columns of dense operands
};

struct contestant {
  std::string name;
  std::function<void()> run;
  std::function<double()> error;  // of the result of the run before, relative to its size
  std::function<void()> reset;    // puts back what runs have changed; empty where nothing
};

// What a closure works on is held by the closures themselves.
struct task {
  std::vector<contestant> contestants;  // the library comes first
  double bytes = 0;                     // that one run moves at least: each operand once
  double flops = 0;
  double tolerance = 0;  // of the error
};

// A request that has no meaning: the message says why.
struct refused : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Every entry that a request can name, in the order of the header.
inline constexpr const char* entry_names[] = {"axpyi",      "gthr",    "gthrz",     "sctr",
                                              "roti",       "doti",    "dotui_sub", "dotci_sub",
                                              "csrmv",      "cscmv",   "csrgemv",   "csrsymv",
                                              "csrsv",      "cscsv",   "csrtrsv",   "csrmm",
                                              "cscmm",      "csrsm",   "cscsm",     "csradd",
                                              "csrmultcsr", "csrmultd"};

// Whether an entry solves, so that its matrix has to be triangular or diagonal.
bool is_solve(const std::string& entry);

// Makes the operands of a request from the matrix: the named triangle of it, its diagonal, its
// transpose, and dense operands of numbers near one. The triangle of a solve gets a diagonal that
// outweighs its row and its column.
task make_task(const request& wanted, const bench::any_matrix& a);

// The parts of make_task by family. T: float, double and std::complex of them.
template <class T>
task make_product(const request& wanted, const bench::matrix<T>& a);
template <class T>
task make_solve(const request& wanted, const bench::matrix<T>& a);
template <class T>
task make_sparse(const request& wanted, const bench::matrix<T>& a);
template <class T>
task make_vector(const request& wanted, const bench::matrix<T>& a);

}  // namespace tools
