/* Calls of the library from a C program, for the test that compares languages. */
#ifndef NEVRAD_TESTS_ABI_CALLER_H
#define NEVRAD_TESTS_ABI_CALLER_H

#ifdef __cplusplus
extern "C" {
#endif

/* Products of [alpha] by the 1 by 1 matrix and vector below, by value and by reference. Each fills
   two parts of a complex result and returns the status. */
int c_caller_ccsrmv(const float alpha[2], float result[2]);
int c_caller_zcsrmv(const double alpha[2], double result[2]);
int c_caller_zaxpyi_by_reference(const double alpha[2], double result[2]);

#ifdef __cplusplus
}
#endif

#endif
