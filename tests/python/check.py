#!/usr/bin/python3
"""The Python example against SciPy. Answers 77, which is a skip, where SciPy is not installed.

Usage: check.py LIBRARY
"""
import os
import pathlib
import subprocess
import sys
import unittest

try:
    import numpy
    import scipy.sparse
    import scipy.sparse.linalg
except ImportError as error:
    print(f"skipped: {error} (Debian: python3-scipy)")
    sys.exit(77)

ROOT = pathlib.Path(__file__).resolve().parents[2]
EXAMPLE = ROOT / "examples" / "python"
os.environ["NEVRAD_LIBRARY"] = sys.argv.pop(1)
sys.dont_write_bytecode = True
sys.path.insert(0, str(EXAMPLE))
import nevrad  # noqa: E402

TYPES = ("float32", "float64", "complex64", "complex128")


def random_matrix(rows, columns, dtype, form, seed=1, diagonal=False):
    random = numpy.random.default_rng(seed)
    a = scipy.sparse.random(rows, columns, 0.2, format="csr", random_state=random)
    a.data = random.standard_normal(a.nnz)
    a = a.astype(dtype)
    if numpy.dtype(dtype).kind == "c":
        a.data += 1j * random.standard_normal(a.nnz).astype(a.real.dtype)
    if diagonal:
        a = a * 0.05 + scipy.sparse.identity(rows, dtype=dtype) * 2
        a = a.astype(dtype)
    a = a.asformat(form)
    a.sort_indices()
    return a


def random_dense(shape, dtype, seed=2):
    random = numpy.random.default_rng(seed)
    x = random.standard_normal(shape)
    if numpy.dtype(dtype).kind == "c":
        x = x + 1j * random.standard_normal(shape)
    return x.astype(dtype)


def apply(a, trans):
    return {"N": a, "T": a.T, "H": a.conj().T}[trans]


class AgainstSciPy(unittest.TestCase):
    def close(self, got, want, dtype):
        tolerance = 100 * numpy.finfo(dtype).eps
        numpy.testing.assert_allclose(got, want, rtol=tolerance, atol=tolerance * abs(want).max())
        self.assertEqual(got.dtype, numpy.dtype(dtype))

    def each(self):
        for dtype in TYPES:
            for form in ("csr", "csc"):
                for trans in "NTH":
                    with self.subTest(dtype=dtype, form=form, trans=trans):
                        yield dtype, form, trans

    def test_products(self):
        for dtype, form, trans in self.each():
            a = random_matrix(40, 30, dtype, form)
            op = apply(a, trans)
            for columns in ((), (1,), (7,)):
                x = random_dense((op.shape[1], *columns), dtype)
                self.close(nevrad.multiply(a, x, trans), op @ x, dtype)
                y = random_dense((op.shape[0], *columns), dtype, seed=3)
                want = dtype_scalar(dtype, 2) * (op @ x) + dtype_scalar(dtype, 0.5) * y
                result = nevrad.multiply(a, x, trans, alpha=2, beta=0.5, out=y, threads=3)
                self.assertIs(result, y)
                self.close(y, want, dtype)

    def test_solves(self):
        for dtype, form, trans in self.each():
            a = random_matrix(30, 30, dtype, form, diagonal=True)
            for lower in (True, False):
                for unit in (True, False):
                    dense = numpy.tril(a.toarray()) if lower else numpy.triu(a.toarray())
                    if unit:
                        numpy.fill_diagonal(dense, 1)
                    op = {"N": dense, "T": dense.T, "H": dense.conj().T}[trans]
                    for columns in ((), (6,)):
                        b = random_dense((30, *columns), dtype)
                        y = nevrad.solve(a, b, lower, unit, trans)
                        self.close(op @ y, b, dtype)
                        again = b.copy()
                        nevrad.solve(a, again, lower, unit, trans, out=again)
                        numpy.testing.assert_array_equal(again, y)

    def test_nothing_is_copied(self):
        a = random_matrix(20, 20, "float64", "csr")
        x = random_dense(20, "float64")
        before = nevrad.multiply(a, x)
        a.data *= 3
        self.close(nevrad.multiply(a, x), 3 * before, "float64")

    def test_budget(self):
        nevrad.set_threads(5)
        a = random_matrix(20, 20, "float64", "csr")
        x = random_dense(20, "float64")
        nevrad.multiply(a, x, threads=3)
        self.assertEqual(nevrad.get_threads(), 5)
        nevrad.multiply(a, x)
        self.assertEqual(nevrad.get_threads(), 1)
        with self.assertRaises(nevrad.NevradError):
            nevrad.set_threads(0)

    def test_no_entries(self):
        a = scipy.sparse.csr_matrix((4, 3))
        self.assertFalse(nevrad.multiply(a, numpy.ones(3)).any())
        self.assertFalse(nevrad.multiply(a, numpy.ones((3, 2))).any())

    def test_refusals(self):
        a = random_matrix(6, 5, "float64", "csr")
        x = numpy.ones(5)
        wide = a.copy()
        wide.indices = wide.indices.astype(numpy.int64)
        square = random_matrix(6, 6, "float64", "csr", diagonal=True)
        disordered = scipy.sparse.csr_matrix(
            (numpy.ones(4), numpy.array([1, 0, 0, 1], "i4"), numpy.array([0, 2, 4], "i4")), (2, 2))
        for call in (
            lambda: nevrad.multiply(a.tocoo(), x),
            lambda: nevrad.multiply(wide, x),
            lambda: nevrad.multiply(a.astype("int32"), x),
            lambda: nevrad.multiply(a, numpy.ones(6)),
            lambda: nevrad.multiply(a, x.astype("float32")),
            lambda: nevrad.multiply(a, numpy.ones(10)[::2]),
            lambda: nevrad.multiply(a, numpy.ones((5, 2), order="F")),
            lambda: nevrad.multiply(a, x, out=numpy.ones(5)),
            lambda: nevrad.multiply(scipy.sparse.csr_matrix((0, 5)), x),
            lambda: nevrad.solve(a, x),
            lambda: nevrad.solve(square, numpy.ones((6, 0))),
            lambda: nevrad.solve(disordered, numpy.ones(2)),
        ):
            with self.assertRaises(ValueError):
                call()
        y = numpy.ones(6)
        with self.assertRaises(ValueError):
            nevrad.multiply(square, y, out=y)

    def test_example(self):
        done = subprocess.run([sys.executable, str(EXAMPLE / "example.py")], capture_output=True,
                              text=True, check=True)
        self.assertIn("40000 rows, 199200 entries", done.stdout)
        self.assertNotIn("not converged", done.stdout)


def dtype_scalar(dtype, value):
    return numpy.dtype(dtype).type(value)


if __name__ == "__main__":
    unittest.main()
