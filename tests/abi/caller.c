/* The public header in C: complex scalars travel by value as float _Complex and double _Complex. */
#include "caller.h"

#include "nevrad.h"

#include <complex.h>
#include <string.h>

int c_caller_ccsrmv(const float alpha[2], float result[2]) {
  const int begin = 0;
  const int end = 1;
  const int index = 0;
  const float _Complex value = 2.0F + 3.0F * I;
  const float _Complex x = 1.0F - 1.0F * I;
  float _Complex y = 10.0F + 20.0F * I;
  float _Complex scale;
  memcpy(&scale, alpha, sizeof scale);
  const int status = orv_sparse_ccsrmv(0, 1, 1, scale, "G00C", &value, &index, &begin, &end, &x,
                                       2.0F + 1.0F * I, &y);
  memcpy(result, &y, sizeof y);
  return status;
}

int c_caller_zcsrmv(const double alpha[2], double result[2]) {
  const int begin = 0;
  const int end = 1;
  const int index = 0;
  const double _Complex value = 2.0 + 3.0 * I;
  const double _Complex x = 1.0 - 1.0 * I;
  double _Complex y = 10.0 + 20.0 * I;
  double _Complex scale;
  memcpy(&scale, alpha, sizeof scale);
  const int status = orv_sparse_zcsrmv(0, 1, 1, scale, "G00C", &value, &index, &begin, &end, &x,
                                       2.0 + 1.0 * I, &y);
  memcpy(result, &y, sizeof y);
  return status;
}

int c_caller_zaxpyi_by_reference(const double alpha[2], double result[2]) {
  const int nnz = 1;
  const int index = 0;
  const double _Complex x = 1.0 - 1.0 * I;
  double _Complex y = 10.0 + 20.0 * I;
  double _Complex scale;
  memcpy(&scale, alpha, sizeof scale);
  const int status = orv_sparse_zaxpyi_(&nnz, &scale, &x, &index, &y);
  memcpy(result, &y, sizeof y);
  return status;
}
