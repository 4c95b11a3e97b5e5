"""kor: classical numerical methods over numpy arrays, lists and Python callables.

Korvat and Interpret carry every method with the parameters of the C++
library (docs/python.md).  The functions below do what the kor command does,
with numpy arrays in and out.
"""
import warnings
from collections import namedtuple

import numpy as np

from ._kor import (At, DivisionByZero, Error, Interpret, Korvat, MessageWarning, Overflow, Ref,
                   SubscriptOutOfRange, TypeMismatch, at, missing, null, set_message_handler)

__all__ = ["At", "DivisionByZero", "Error", "Interpret", "Korvat", "MessageWarning", "Overflow", "Ref",
           "SubscriptOutOfRange", "TypeMismatch", "at", "missing", "null", "set_message_handler",
           "EvalError", "Solution", "Minimum", "eval", "solve", "minimize", "ode", "roots", "eigh", "poly",
           "spline", "spline_integral", "lagrange", "linsolve", "invert"]

Solution = namedtuple("Solution", "x status iterations converged")
Minimum = namedtuple("Minimum", "x fun steps converged")


class EvalError(ValueError):
    """A text Interp could not evaluate; .status: -1 a space, -2 a variable, -3 a function."""

    def __init__(self, status):
        reasons = {-1: "the text contains a space", -2: "a variable could not be read",
                   -3: "a function could not be evaluated"}
        super().__init__(f"failed with status {status} ({reasons.get(status, 'unknown')})")
        self.status = status


def _constants(z):
    z = [float(v) for v in z]
    if len(z) > 10:
        raise ValueError("z takes at most 10 values (Z1..Z10)")
    return z + [0.0] * (10 - len(z))


def _texts(texts):
    return [texts] if isinstance(texts, str) else list(texts)


def eval(text, z=(), y=(), level=0):
    """The value of an expression text; Z1, Z2, ... read z, Y[k] the k-th value of y (from 0)."""
    z = [float(v) for v in z]
    if len(z) > 10:
        raise ValueError("z takes at most 10 values (Z1..Z10)")
    table = np.empty((len(z), 2), dtype=object)
    for i, v in enumerate(z):
        table[i] = (f"Z{i + 1}", v)
    ipok = Ref(level)
    v = Interpret().Interp(text, ipok, table, at([float(v) for v in y], 0))
    if ipok.value < 0:
        raise EvalError(ipok.value)
    return v


def solve(equations, x0, z=(), unknowns=None, eps=1e-5, alam=0.8, niter=100):
    """Newton's method (NewtonI) on equations EQ = 0 in X[1], X[2], ... from x0."""
    equations = _texts(equations)
    x = [0.0] + [float(v) for v in x0]
    ipom = [float(k) for k in (unknowns or range(1, len(x0) + 1))]
    status = Ref()
    it = Interpret().NewtonI(equations, len(equations), len(ipom), 0, at(x, 0), ipom, _constants(z), status,
                             eps, alam, niter)
    return Solution(np.array(x[1:]), status.value, it, status.value == 0)


def minimize(text, x0, z=(), method="rosenbrock", eps=None, itmax=1000):
    """The minimum of a text in X[1], X[2], ...: Rosenbrock's method (FminI) or Nelder-Mead (Fmin1I)."""
    if method not in ("rosenbrock", "nelder-mead", "simplex"):
        raise ValueError("method is 'rosenbrock' or 'nelder-mead'")
    x = [0.0] + [float(v) for v in x0]
    steps = Ref(itmax)
    tolerance = missing if eps is None else eps
    if method == "rosenbrock":
        best = Interpret().FminI(text, len(x0), at(x, 0), _constants(z), tolerance, steps)
        limited = steps.value > (2000 if itmax < 11 else itmax)  # the trial steps taken
    else:
        best = Interpret().Fmin1I(text, len(x0), at(x, 0), _constants(z), tolerance, steps)
        limited = False
    return Minimum(np.array(x[1:]), best, steps.value, not limited)


def ode(rhs_texts, y0, x_from, x_to, points=10, z=(), delta=1e-6):
    """Y' = f(x, Y) by Runge-Kutta-Merson (RkmI): the abscissas and the states at points+1 places.

    The texts read the state as Y[1], Y[2], ... and the abscissa as Y[0].
    """
    equations = _texts(rhs_texts)
    nn = len(equations)
    if nn != len(y0) or nn > 10 or points < 1:
        raise ValueError("one starting value per equation (at most 10), and at least one point")
    if not x_to > x_from:
        raise ValueError("x_to must be greater than x_from")
    y = [0.0] + [float(v) for v in y0] + [0.0] * 10
    zz = _constants(z)
    xb, star = Ref(float(x_from)), Ref(0)
    xs, ys = [xb.value], [y[1:nn + 1]]
    interpret = Interpret()
    for k in range(1, points + 1):
        xe = Ref(x_to if k == points else x_from + (x_to - x_from) * k / points)
        interpret.RkmI(equations, nn, xb, xe, at(y, 0), delta, star, zz)
        xs.append(xb.value)
        ys.append(y[1:nn + 1])
    return np.array(xs), np.array(ys, dtype=float)


def roots(coeffs, eps=1e-12):
    """All roots of a polynomial, highest power first (LinBairstowd), as complex numbers."""
    c = np.trim_zeros(np.array(coeffs, dtype=float), "f")
    degree = len(c) - 1
    if degree < 1:
        raise ValueError("give at least 2 coefficients, highest power first")
    xr, xi = np.zeros(degree), np.zeros(degree)
    Korvat().LinBairstowd(degree, c, xr, xi, eps)
    return xr + 1j * xi


def eigh(a, vectors=True):
    """Eigenvalues (ascending) and unit eigenvectors (columns) of a symmetric matrix (Rutishauserd)."""
    a = np.asarray(a, dtype=float)
    n = a.shape[0]
    if a.ndim != 2 or a.shape[1] != n:
        raise ValueError("the matrix must be square")
    w, u = np.zeros(n), np.zeros((n, n))
    tag1, rotations, sweeps = Ref(), Ref(), Ref()
    Korvat().Rutishauserd(n, a, w, u, tag1, rotations, sweeps, vectors)
    if tag1.value == 2:
        raise ValueError("the matrix is not symmetric (to 1E-10 of its largest element)")
    if tag1.value == 1:
        warnings.warn("no convergence in 50 sweeps; the values are approximations", MessageWarning, 2)
    return (w, u) if vectors else w


def poly(coeffs, x, monic=False):
    """Horner's values (Polynd) at the points x, highest power first; monic: the leading 1 is implied."""
    c = np.array(coeffs, dtype=float)
    degree = len(c) if monic else len(c) - 1
    if degree < 1:
        raise ValueError(f"give at least {1 if monic else 2} coefficient(s)")
    k, n = Korvat(), degree if monic else -degree
    return np.array([k.Polynd(n, float(t), c) for t in np.atleast_1d(x)])


def _spline(x, y, start, end):
    slopes = {"natural": 10000.0, "chord": -10000.0}
    x, y = np.array(x, dtype=float), np.array(y, dtype=float)
    if len(x) < 2 or np.any(np.diff(x) <= 0):
        raise ValueError("give at least two points with x increasing strictly")
    for s in (start, end):
        if s not in slopes and not -9998.999 < s < 9998.999:
            raise ValueError("an end slope is a number, 'natural' or 'chord'")
    y2 = np.zeros(len(x))
    k = Korvat()
    k.Splined(1, len(x), x, y, slopes.get(start, start), slopes.get(end, end), y2)
    return k, x, y, y2


def spline(x, y, at, derivative=False, start="natural", end="natural"):
    """The cubic spline through (x, y) (Splined): its values, or slopes, at the points at."""
    k, x, y, y2 = _spline(x, y, start, end)
    f = k.Splderd if derivative else k.Splinpd
    return np.array([f(1, len(x), x, y, y2, float(t)) for t in np.atleast_1d(at)])


def spline_integral(x, y, a, b, start="natural", end="natural"):
    """The integral of the cubic spline through (x, y) from a to b (Splintd)."""
    k, x, y, y2 = _spline(x, y, start, end)
    return k.Splintd(1, len(x), x, y, y2, a, b)


def lagrange(x, y, at, points=4):
    """Lagrange interpolation through `points` neighbouring points of the table (Flagrd)."""
    x, y = np.array(x, dtype=float), np.array(y, dtype=float)
    if len(x) != 2 and points > len(x):
        raise ValueError(f"points={points} exceeds the {len(x)} points of the table")
    k = Korvat()
    return np.array([k.Flagrd(len(x), x, y, float(t), points) for t in np.atleast_1d(at)])


def linsolve(a, b):
    """The solution of a x = b by Gaussian elimination (Gaussd); b one right-hand side or several columns."""
    a, b = np.asarray(a, dtype=float), np.asarray(b, dtype=float)
    n = a.shape[0]
    augmented = np.column_stack([a, b])
    status = Ref()
    Korvat().Gaussd(n, augmented, augmented.shape[1] - n, status)
    if status.value != 0:
        raise np.linalg.LinAlgError("the system is singular (a pivot below 1E-6)")
    return augmented[:, n:].reshape(b.shape)


def invert(a, ep=1e-13):
    """The inverse of a square matrix (Invertd); a pivot of magnitude at most ep is singular."""
    a = np.array(a, dtype=float)
    inverse, status = np.zeros_like(a), Ref()
    Korvat().Invertd(a.shape[0], a, inverse, status, ep)
    if status.value != 0:
        raise np.linalg.LinAlgError(f"the matrix is singular (a pivot of magnitude at most {ep})")
    return inverse
