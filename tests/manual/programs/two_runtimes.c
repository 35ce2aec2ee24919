// A program on GCC's OpenMP runtime that calls the library, which runs on LLVM's: from serial code,
// and from every thread of a region of its own. Exit status 0 when all products are right.
#include <nevrad.h>

#include <omp.h>
#include <stdio.h>
#include <stdlib.h>

enum { n = 20000 };

static double values[3 * n], x[n], y[n];
static int ia[n + 1], ja[3 * n];

// The matrix of 1, 2, 1 on three diagonals.
static void fill(void) {
  int p = 0;
  for (int i = 0; i < n; ++i) {
    ia[i] = p;
    for (int j = i - 1; j <= i + 1; ++j) {
      if (j < 0 || j >= n) continue;
      ja[p] = j;
      values[p++] = i == j ? 2 : 1;
    }
    x[i] = 1;
  }
  ia[n] = p;
}

// Wrong elements of op(A) x, which is 4 in all rows but the outer ones.
static int wrong_elements(int op, double* result) {
  for (int i = 0; i < n; ++i) result[i] = 0;
  if (orv_csparse_dcsrgemv(op, n, values, ia, ja, x, result) != 0) return n;
  int wrong = (result[0] != 3) + (result[n - 1] != 3);
  for (int i = 1; i + 1 < n; ++i) wrong += result[i] != 4;
  return wrong;
}

int main(void) {
  fill();
  int team = 0;
#pragma omp parallel num_threads(2) reduction(+ : team)
  team += 1;
  orv_set_thread_num(3);
  int wrong = 0;
  for (int round = 0; round < 20; ++round) wrong += wrong_elements(round % 2, y);
#pragma omp parallel num_threads(2) reduction(+ : wrong)
  {
    double* const mine = malloc(n * sizeof *mine);
    for (int round = 0; round < 5; ++round) wrong += wrong_elements(1, mine);
    free(mine);
  }
  printf("own team %d, budget %d, %d wrong elements\n", team, orv_get_thread_num_(), wrong);
  return team != 2 || wrong != 0 || orv_get_thread_num_() != 3;
}
