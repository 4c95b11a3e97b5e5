"""kor beside SciPy on the tasks both have, and the cost of one call beside numpy.

    PYTHONPATH=build/default/python /usr/bin/python3 bench/python/scipy_bench.py

Each line gives the best time of several runs for kor and its peer, and the
ratio kor / peer (below 1: kor is faster).
"""
import timeit

import numpy as np
import scipy.interpolate
import scipy.linalg
import scipy.optimize

import kor

K = kor.Korvat()


def best(f, number):
    return min(timeit.repeat(f, number=number, repeat=5)) / number


def report(task, ours, theirs, peer):
    print(f"{task:<46} kor {ours * 1e6:10.2f} us   {peer:<28} {theirs * 1e6:10.2f} us   ratio {ours / theirs:7.3f}")


def polynomial():
    c, x = np.array([1.0, -6.0, 11.0, -6.0]), 2.5
    report("Horner, degree 3, one point", best(lambda: K.Polynd(-3, x, c), 20000),
           best(lambda: np.polyval(c, x), 20000), "numpy.polyval")


def spline(n, points):
    x = np.sort(np.random.default_rng(1).uniform(0, 100, n))
    y = np.sin(x)
    y2 = np.zeros(n)
    K.Splined(1, n, x, y, 10000, 10000, y2)
    cs = scipy.interpolate.CubicSpline(x, y, bc_type="natural")
    at = np.random.default_rng(2).uniform(0, 100, points)
    report(f"spline value, {n} knots, one point a call", best(lambda: K.Splinpd(1, n, x, y, y2, 50.5), 20000),
           best(lambda: cs(50.5), 20000), "CubicSpline(x)")

    def ours():
        for t in at:
            K.Splinpd(1, n, x, y, y2, t)
    report(f"spline value, {n} knots, {points} points", best(ours, 3), best(lambda: cs(at), 3),
           "CubicSpline(array)")


def linear(n):
    rng = np.random.default_rng(n)
    a = rng.normal(size=(n, n)) + n * np.eye(n)
    b = rng.normal(size=n)
    augmented = np.asfortranarray(np.column_stack([a, b]))
    ident = kor.Ref()

    def ours():
        m = augmented.copy(order="F")
        K.Gaussd(n, m, 1, ident)
    report(f"linear system, order {n}", best(ours, max(1, 2000 // n)),
           best(lambda: scipy.linalg.solve(a, b), max(1, 2000 // n)), "scipy.linalg.solve")


def rosenbrock(x):
    return 100 * (x[1] - x[0] ** 2) ** 2 + (1 - x[0]) ** 2


def minimise():
    def ours():
        K.Fmin1d(rosenbrock, 2, np.array([-1.2, 1.0]))
    x = np.array([-1.2, 1.0])
    K.Fmin1d(rosenbrock, 2, x)
    r = scipy.optimize.minimize(rosenbrock, [-1.2, 1.0], method="Nelder-Mead")
    report("Nelder-Mead, Rosenbrock from (-1.2, 1)", best(ours, 20),
           best(lambda: scipy.optimize.minimize(rosenbrock, [-1.2, 1.0], method="Nelder-Mead"), 20),
           "optimize.minimize")
    print(f"{'':<46} kor reaches {x}, SciPy {r.x} in {r.nfev} evaluations")


if __name__ == "__main__":
    polynomial()
    for n in (100, 100000):
        spline(n, 1000)
    for n in (4, 50, 300):
        linear(n)
    minimise()
