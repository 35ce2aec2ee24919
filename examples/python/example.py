#!/usr/bin/python3
"""Multiplies and solves with a SciPy matrix in place, then lets SciPy's own solver use the products."""
import numpy
import scipy.sparse
import scipy.sparse.linalg

import nevrad

# Couplings of a grid of 200 by 200 points, in compressed rows.
side = 200
line = scipy.sparse.diags([-1, 2, -1], [-1, 0, 1], shape=(side, side))
one = scipy.sparse.identity(side)
a = (scipy.sparse.kron(line, one) + scipy.sparse.kron(one, line)).tocsr()
x = numpy.ones(a.shape[0])

y = nevrad.multiply(a, x, threads=2)
print(f"product      {a.shape[0]} rows, {a.nnz} entries,",
      f"largest difference from SciPy's {abs(y - a @ x).max():.1e}")

z = nevrad.solve(a, y, lower=True)
lower = scipy.sparse.tril(a).tocsr()
print(f"solve        lower triangle, largest residual {abs(lower @ z - y).max():.1e}")

product = scipy.sparse.linalg.LinearOperator(a.shape, lambda v: nevrad.multiply(a, v.ravel()),
                                             dtype=a.dtype)
solution, failed = scipy.sparse.linalg.cg(product, y, tol=1e-10)
print(f"SciPy's cg   on nevrad's products, largest error {abs(solution - x).max():.1e}"
      + (", not converged" if failed else ""))
