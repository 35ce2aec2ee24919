"""nevrad for SciPy's compressed matrices, through ctypes and without copying.

    import nevrad
    y = nevrad.multiply(a, x)            # a: csr_matrix or csc_matrix (or csr_array, csc_array)
    y = nevrad.solve(l, b, lower=True)   # one triangle of l, one or many right-hand sides

The arrays of the matrix and of the operands go to the library as they are. What it cannot take as it
is (64-bit indices, other types, gaps in memory) is refused with a ValueError and never converted.
"""
import ctypes
import os
import pathlib

import numpy

__all__ = ["NevradError", "multiply", "solve", "set_threads", "get_threads", "library"]

_LETTERS = {"float32": "s", "float64": "d", "complex64": "c", "complex128": "z"}
_OPERATIONS = {"N": 0, "T": 1, "H": 2}
_MEANINGS = {
    1: "a required pointer is null",
    2: "memory for the call could not be had",
    3: "a number or code is out of its range",
    6: "no kernel for this descriptor and operation",
}


class NevradError(RuntimeError):
    """The library's status other than success."""

    def __init__(self, name, status):
        super().__init__(f"{name}: status {status}, {_MEANINGS.get(status, 'unknown')}")
        self.status = status


def _load():
    named = os.environ.get("NEVRAD_LIBRARY")
    if named:
        return ctypes.CDLL(named)
    # In a clone, what the build has made; elsewhere, what is installed.
    built = pathlib.Path(__file__).resolve().parents[2] / "build" / "release" / "libnevrad.so.1"
    return ctypes.CDLL(str(built) if built.exists() else "libnevrad.so.1")


library = _load()


def set_threads(count):
    """Sets the thread budget, 1 to 640. Some products lower it: see multiply."""
    _check("orv_set_thread_num", library.orv_set_thread_num(ctypes.c_int(count)))


def get_threads():
    """The thread budget in force."""
    return library.orv_get_thread_num_()


def _check(name, status):
    if status != 0:
        raise NevradError(name, status)


def _pointer(array):
    return ctypes.c_void_p(array.ctypes.data)


def _number(value):
    return ctypes.byref(ctypes.c_int(int(value)))


class _Scalar:
    """One element of a type, passed by reference: ctypes has no complex number to pass by value."""

    def __init__(self, value, dtype):
        self._array = numpy.array([value], dtype=dtype)

    def pointer(self):
        return _pointer(self._array)


def _take_matrix(a):
    """The letter of the element type and the storage of a matrix that can be used in place."""
    storage = getattr(a, "format", None)
    if storage not in ("csr", "csc"):
        raise ValueError("the matrix must be in compressed rows or columns: a.tocsr()")
    letter = _LETTERS.get(a.dtype.name)
    if letter is None:
        raise ValueError(f"elements of type {a.dtype} are not supported")
    for array, name in ((a.indptr, "indptr"), (a.indices, "indices")):
        if array.dtype != numpy.int32:
            raise ValueError(f"{name} must have 32-bit integers, not {array.dtype}")
    for array in (a.data, a.indices, a.indptr):
        if not array.flags.c_contiguous:
            raise ValueError("the arrays of the matrix must be contiguous")
    if 0 in a.shape:
        raise ValueError("the library takes no matrix without rows or columns")
    return letter, storage


def _take_dense(x, rows, dtype, name):
    if x.dtype != dtype:
        raise ValueError(f"{name} has elements of type {x.dtype}, the matrix of {dtype}")
    if x.ndim not in (1, 2) or x.shape[0] != rows:
        raise ValueError(f"{name} has shape {x.shape}, and must have {rows} rows")
    if x.ndim == 2 and x.shape[1] == 0:
        raise ValueError(f"{name} has no columns")
    # Rows of a matrix one behind the other: what the descriptors that end in C mean.
    if not x.flags.c_contiguous:
        raise ValueError(f"{name} must be contiguous, by rows")


def _result(out, shape, dtype):
    if out is None:
        # Cleared: most products read what they overwrite.
        return numpy.zeros(shape, dtype)
    if out.shape != shape or out.dtype != dtype or not out.flags.c_contiguous:
        raise ValueError(f"out must be contiguous, of shape {shape} and type {dtype}")
    return out


def multiply(a, x, trans="N", alpha=1, beta=0, out=None, threads=None):
    """alpha op(a) x + beta out, for a vector or a dense matrix x.

    trans: "N" as it is, "T" transposed, "H" conjugated and transposed. out takes the result, and is
    read even with beta = 0 (see the manual). threads is the budget of this call; without it the
    call runs on the budget in force. A product by csrmv or cscmv lowers the budget of the process
    for matrices that are small or very sparse, and leaves it lowered: with threads the old one is
    put back.
    """
    letter, storage = _take_matrix(a)
    operation = _OPERATIONS[trans]
    rows, columns = a.shape
    rows_out, rows_in = (rows, columns) if trans == "N" else (columns, rows)
    _take_dense(x, rows_in, a.dtype, "x")
    y = _result(out, (rows_out, *x.shape[1:]), a.dtype)
    if numpy.may_share_memory(x, y):
        raise ValueError("x and out must not overlap")
    many = x.ndim == 2
    name = f"orv_sparse_{letter}{storage}{'mm' if many else 'mv'}_"
    begin = a.indptr.ctypes.data
    matrix = (b"G00C", _pointer(a.data), _pointer(a.indices), ctypes.c_void_p(begin),
              ctypes.c_void_p(begin + a.indptr.itemsize))
    factor, old = _Scalar(alpha, a.dtype), _Scalar(beta, a.dtype)
    before = get_threads()
    if threads is not None:
        set_threads(threads)
    try:
        if many and a.nnz == 0:
            # Refused by the library; the sum is empty.
            y *= a.dtype.type(beta)
        elif many:
            n = _number(x.shape[1])
            _check(name, library[name](
                _number(operation), _number(rows), n, _number(columns), factor.pointer(), *matrix,
                _pointer(x), n, old.pointer(), _pointer(y), n))
        else:
            _check(name, library[name](
                _number(operation), _number(rows), _number(columns), factor.pointer(), *matrix,
                _pointer(x), old.pointer(), _pointer(y)))
    finally:
        if threads is not None:
            set_threads(before)
    return y


def solve(a, b, lower=True, unit=False, trans="N", alpha=1, out=None):
    """The solution y of op(T) y = alpha b, T the named triangle of a square matrix.

    b is a vector or a dense matrix of right-hand sides; out takes the result and may be b. The
    diagonal must be stored in every line, also with unit, where its values do not count. Lines must
    be sorted (a.sort_indices()) and hold each place once (a.sum_duplicates()).
    """
    letter, storage = _take_matrix(a)
    order = a.shape[0]
    if a.shape[1] != order:
        raise ValueError(f"the matrix is {a.shape[0]} by {a.shape[1]}, not square")
    if not a.has_canonical_format:
        raise ValueError("the lines of the matrix are not sorted, or hold a place twice")
    _take_dense(b, order, a.dtype, "b")
    y = _result(out, b.shape, a.dtype)
    many = b.ndim == 2
    name = f"orv_sparse_{letter}{storage}{'sm' if many else 'sv'}_"
    code = f"T{'L' if lower else 'U'}{'U' if unit else 'N'}C".encode()
    begin = a.indptr.ctypes.data
    factor = _Scalar(alpha, a.dtype)
    head = [_number(_OPERATIONS[trans]), _number(order)]
    if many:
        head.append(_number(b.shape[1]))
    arguments = [*head, factor.pointer(), code, _pointer(a.data), _pointer(a.indices),
                 ctypes.c_void_p(begin), ctypes.c_void_p(begin + a.indptr.itemsize)]
    if many:
        leading = _number(b.shape[1])
        arguments += [_pointer(b), leading, _pointer(y), leading]
    else:
        arguments += [_pointer(b), _pointer(y)]
    _check(name, library[name](*arguments))
    return y
