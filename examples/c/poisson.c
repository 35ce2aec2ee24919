/* Conjugate gradients on the five-point Laplacian of a square grid: the product is nevrad's. */
#include <math.h>
#include <nevrad.h>
#include <stdio.h>
#include <stdlib.h>

enum { SIDE = 100, N = SIDE * SIDE, MOST_ITERATIONS = 1000 };

/* The lines of the matrix, zero-based: row i holds the entries row[i] up to row[i + 1]. */
static int row[N + 1];
static int column[5 * N];
static double value[5 * N];
static double x[N], r[N], p[N], q[N];

static void make_matrix(void) {
  int count = 0;
  for (int i = 0; i < N; ++i) {
    const int place = i % SIDE;
    const int step[] = {-SIDE, -1, 0, 1, SIDE};
    const int inside[] = {i >= SIDE, place > 0, 1, place < SIDE - 1, i < N - SIDE};
    row[i] = count;
    for (int k = 0; k < 5; ++k) {
      if (!inside[k]) continue;
      column[count] = i + step[k];
      value[count++] = step[k] == 0 ? 4.0 : -1.0;
    }
  }
  row[N] = count;
}

static double dot(const double* a, const double* b) {
  double sum = 0.0;
  for (int i = 0; i < N; ++i) sum += a[i] * b[i];
  return sum;
}

/* y = A x. "G00C": a general matrix, indices from 0. The second array of row pointers is the first,
   one entry on. A smaller product may lower the thread budget, so it is set before each. */
static void multiply(const double* from, double* to) {
  orv_set_thread_num(2);
  const orv_sparse_status_t status =
      orv_sparse_dcsrmv(0, N, N, 1.0, "G00C", value, column, row, row + 1, from, 0.0, to);
  if (status != ORV_SPARSE_STATUS_SUCCESS) {
    fprintf(stderr, "orv_sparse_dcsrmv: status %d\n", (int)status);
    exit(1);
  }
}

int main(void) {
  make_matrix();
  for (int i = 0; i < N; ++i) r[i] = p[i] = 1.0; /* the right-hand side; x starts at zero */
  double norm = dot(r, r);
  const double goal = 1e-16 * norm;
  int iterations = 0;
  while (norm > goal && iterations < MOST_ITERATIONS) {
    multiply(p, q);
    const double alpha = norm / dot(p, q);
    for (int i = 0; i < N; ++i) {
      x[i] += alpha * p[i];
      r[i] -= alpha * q[i];
    }
    const double next = dot(r, r);
    for (int i = 0; i < N; ++i) p[i] = r[i] + next / norm * p[i];
    norm = next;
    ++iterations;
  }

  multiply(x, q);
  double error = 0.0;
  for (int i = 0; i < N; ++i) error += (1.0 - q[i]) * (1.0 - q[i]);
  error = sqrt(error / N);
  printf("%d unknowns, %d entries: %d iterations, residual %.1e\n", N, row[N], iterations, error);
  return error < 1e-7 ? 0 : 1;
}
