"""Every method family through the module, both flavours, values worked out by hand."""
import math

import numpy as np
import pytest

import kor
from conftest import FLAVOURS

K = kor.Korvat()


def method(name, suffix):
    return getattr(K, name + suffix)


def numbers(a):
    return np.array(a, dtype=float)


@pytest.mark.parametrize("suffix,make", FLAVOURS)
@pytest.mark.parametrize("order", ["C", "F"])
@pytest.mark.parametrize("rows,n,ncol,solution,status", [
    # 2x + y = 5, x + 3y = 10: x = 1, y = 3
    ([[2, 1, 5], [1, 3, 10]], 2, 1, [[1], [3]], 0),
    # the same matrix, right-hand sides (4, 7) and (3, -1): (1, 2) and (2, -1)
    ([[2, 1, 4, 3], [1, 3, 7, -1]], 2, 2, [[1, 2], [2, -1]], 0),
    # x + y + z = 6, 2y + 5z = -4, 2x + 5y - z = 27: (5, 3, -2)
    ([[1, 1, 1, 6], [0, 2, 5, -4], [2, 5, -1, 27]], 3, 1, [[5], [3], [-2]], 0),
    # the second row a multiple of the first: no pivot after the first column
    ([[1, 2, 3], [2, 4, 6]], 2, 1, None, 1),
])
def test_gauss_solves_in_the_callers_array(suffix, make, order, rows, n, ncol, solution, status):
    a = make(rows, order)
    ident = kor.Ref()
    method("Gauss", suffix)(n, a, ncol, ident)
    assert ident.value == status
    if solution is not None:
        np.testing.assert_allclose(numbers(a)[:, n:], solution, rtol=1e-14, atol=1e-14)


@pytest.mark.parametrize("suffix,make", FLAVOURS)
def test_invert_gives_the_inverse(suffix, make):
    # [[4, 7], [2, 6]] has determinant 10 and inverse [[0.6, -0.7], [-0.2, 0.4]]
    a, inv = make([[4, 7], [2, 6]]), make([[0, 0], [0, 0]])
    ident = kor.Ref()
    method("Invert", suffix)(2, a, inv, ident)
    np.testing.assert_allclose(numbers(inv), [[0.6, -0.7], [-0.2, 0.4]], rtol=1e-15)


@pytest.mark.parametrize("suffix,make", FLAVOURS)
@pytest.mark.parametrize("n,coefficients,x,expected", [
    (-3, [1, -6, 11, -6], 4.0, 6.0),   # (x-1)(x-2)(x-3) at 4
    (-3, [1, -6, 11, -6], 2.0, 0.0),
    (2, [-3, 2], 5.0, 12.0),           # monic x^2 - 3x + 2 at 5
    (-1, [2, 1], 0.5, 2.0),            # 2x + 1
    (0, [7, 7], 3.0, 0.0),             # degree 0 is always 0
])
def test_polyn_evaluates_by_horner(suffix, make, n, coefficients, x, expected):
    assert method("Polyn", suffix)(n, kor.Ref(x), make(coefficients)) == expected


@pytest.mark.parametrize("suffix,make", FLAVOURS)
def test_lin_bairstow_finds_real_and_complex_roots(suffix, make):
    # x^3 - x^2 + 3x + 5 = (x + 1)(x^2 - 2x + 5): -1 and 1 +- 2i
    xr, xi = make([0.0] * 3), make([0.0] * 3)
    method("LinBairstow", suffix)(3, make([1, -1, 3, 5]), xr, xi, 1e-12)
    key = lambda c: (c.real, c.imag)  # noqa: E731
    found = sorted((complex(r, i) for r, i in zip(numbers(xr), numbers(xi))), key=key)
    expected = sorted([-1, 1 + 2j, 1 - 2j], key=key)
    assert found == pytest.approx(expected, abs=1e-12)


@pytest.mark.parametrize("suffix,make", FLAVOURS)
def test_rutishauser_gives_ascending_values_and_unit_vectors(suffix, make):
    # the second-difference matrix of order 3: 2 - sqrt 2, 2, 2 + sqrt 2
    a = make([[2, -1, 0], [-1, 2, -1], [0, -1, 2]])
    b, u = make([0.0] * 3), make([[0.0] * 3] * 3)
    tag1, tag2, sweeps = kor.Ref(), kor.Ref(), kor.Ref()
    method("Rutishauser", suffix)(3, a, b, u, tag1, tag2, sweeps)
    assert tag1.value == 0 and sweeps.value >= 1
    np.testing.assert_allclose(numbers(b), [2 - math.sqrt(2), 2, 2 + math.sqrt(2)], atol=1e-14)
    s = 0.5
    np.testing.assert_allclose(numbers(u)[:, 0], [s, math.sqrt(2) * s, s], atol=1e-14)
    np.testing.assert_allclose(numbers(u)[:, 1], [math.sqrt(2) * s, 0, -math.sqrt(2) * s], atol=1e-14)


@pytest.mark.parametrize("suffix,make", FLAVOURS)
def test_flagr_sorts_the_table_and_interpolates(suffix, make):
    # four points of x^2 given out of order: the cubic through them is x^2 itself
    x, y = make([3, 1, 4, 2]), make([9, 1, 16, 4])
    xi = 2.5 if suffix else kor.Ref(2.5)
    assert method("Flagr", suffix)(4, x, y, xi) == pytest.approx(6.25, rel=1e-15)
    assert list(numbers(x)) == [1, 2, 3, 4] and list(numbers(y)) == [1, 4, 9, 16]


@pytest.mark.parametrize("suffix,make", FLAVOURS)
def test_spline_family_on_the_documented_three_knots(suffix, make):
    # knots (0, 0), (1, 1), (2, 0), natural ends: Y2 = (0, -1.5, 0); the value,
    # slope and integral follow from the cubic between knots with these Y2
    x, y, y2 = make([0, 1, 2]), make([0, 1, 0]), make([0.0] * 3)
    method("Spline", suffix)(1, 3, x, y, 10000, 10000, y2)
    assert list(numbers(y2)) == [0, -1.5, 0]
    assert method("Splinp", suffix)(1, 3, x, y, y2, 0.5) == 0.59375
    assert method("Splder", suffix)(1, 3, x, y, y2, kor.Ref(0.5)) == pytest.approx(1.0625, rel=1e-15)
    assert method("Splint", suffix)(1, 3, x, y, y2, 0, 2) == pytest.approx(4 / 3, rel=1e-15)
    ipoc = kor.Ref(0)
    k = kor.Korvat()
    assert getattr(k, "Sinterp" + suffix)(3, 1, x, y, 0.5, 10000, 10000, ipoc) == 0.59375
    assert ipoc.value == 1


def quadratic_bowl(x):
    return (x[0] - 1) ** 2 + (x[1] - 2) ** 2


@pytest.mark.parametrize("suffix,make", FLAVOURS)
@pytest.mark.parametrize("name", ["Fmin", "Fmin1"])
def test_minimisers_move_the_callers_point(suffix, make, name):
    x = make([0.0, 0.0])
    best = method(name, suffix)(quadratic_bowl, 2, x)
    np.testing.assert_allclose(numbers(x), [1, 2], atol=1e-3)
    assert 0 <= best < 1e-6


class Circle:
    """x^2 + y^2 = 8 and x = y, as a client object with Fun."""

    def Fun(self, x, r, n, z):
        r[1] = x[0] ** 2 + x[1] ** 2 - z[0]
        r[2] = x[0] - x[1]


@pytest.mark.parametrize("suffix,make", FLAVOURS)
def test_newton_solves_through_a_client_object(suffix, make):
    x, z, ident = make([1.0, 2.0]), make([8.0]), kor.Ref()
    iterations = method("Newton", suffix)(Circle(), 2, 2, 0, x, [1, 2], z, ident, 1e-10)
    assert ident.value == 0 and 1 <= iterations < 100
    np.testing.assert_allclose(numbers(x), [2, 2], rtol=1e-5)


@pytest.mark.parametrize("suffix,make", FLAVOURS)
def test_rkm_integrates_the_exponential(suffix, make):
    # y' = y from 0 to 1; K and Y from position 0 (the state at Y[1])
    def fkt(nn, xb, y, k, zz):
        k[1] = y[1]

    y = make([0.0, 1.0])
    xb, star = kor.Ref(0.0), kor.Ref(0)
    method("Rkm", suffix)(fkt, 1, xb, kor.Ref(1.0), kor.at(y, 0), 1e-8, star, make([0.0]))
    assert xb.value == 1.0
    assert numbers(y)[1] == pytest.approx(math.e, rel=1e-7)


def test_interpret_reads_the_table_and_the_indexed_variables():
    table = np.array([["Z1", 1.0], ["Z2", 2.0]], dtype=object)
    ipok = kor.Ref(0)
    v = kor.Interpret().Interp("(X[1]-Z1)^2+(X[2]-Z2)^2", ipok, table, kor.at([0.0, 4.0, 6.0], 0))
    assert v == 25.0 and ipok.value >= 0


def test_interpreted_solvers_write_the_callers_lists():
    i = kor.Interpret()
    z = [8.0] + [0.0] * 9
    x, ident = [0.0, 1.0, 2.0], kor.Ref()
    i.NewtonI(["X[1]^2+X[2]^2-Z1", "X[1]-X[2]"], 2, 2, 0, kor.at(x, 0), [1, 2], z, ident)
    assert ident.value == 0 and x[1:] == pytest.approx([2, 2], rel=1e-5)
    x = [0.0, 0.0, 0.0]
    i.Fmin1I("(X[1]-3)^2+(X[2]+1)^2", 2, kor.at(x, 0), z)
    assert x[1:] == pytest.approx([3, -1], abs=1e-3)
    y, xb, star = [0.0, 1.0] + [0.0] * 11, kor.Ref(0.0), kor.Ref(0)
    i.RkmI(["Y[1]"], 1, xb, kor.Ref(1.0), kor.at(y, 0), 1e-8, star, z)
    assert y[1] == pytest.approx(math.e, rel=1e-7)
