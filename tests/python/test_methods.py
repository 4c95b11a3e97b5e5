"""Every method family through the module, both flavours, values worked out by hand."""
import math

import numpy as np
import pytest

import kor


def numbers(a):
    return np.array(a, dtype=float)


@pytest.mark.parametrize("order", ["C", "F"])
@pytest.mark.parametrize("rows,n,ncol,solution,status", [
    ([[2, 1, 5], [1, 3, 10]], 2, 1, [[1], [3]], 0),  # 2x + y = 5, x + 3y = 10
    # the same matrix, right-hand sides (4, 7) and (3, -1): (1, 2) and (2, -1)
    ([[2, 1, 4, 3], [1, 3, 7, -1]], 2, 2, [[1, 2], [2, -1]], 0),
    ([[1, 1, 1, 6], [0, 2, 5, -4], [2, 5, -1, 27]], 3, 1, [[5], [3], [-2]], 0),
    ([[1, 2, 3], [2, 4, 6]], 2, 1, None, 1),  # the second row a multiple of the first
])
def test_gauss_solves_in_the_callers_array(flavour, order, rows, n, ncol, solution, status):
    a, ident = flavour.make(rows, order), kor.Ref()
    flavour.Gauss(n, a, ncol, ident)
    assert ident.value == status
    if solution is not None:
        np.testing.assert_allclose(numbers(a)[:, n:], solution, rtol=1e-14, atol=1e-14)


def test_invert_gives_the_inverse(flavour):
    # [[4, 7], [2, 6]] has determinant 10 and inverse [[0.6, -0.7], [-0.2, 0.4]]
    inv = flavour.make([[0, 0], [0, 0]])
    flavour.Invert(2, flavour.make([[4, 7], [2, 6]]), inv, kor.Ref())
    np.testing.assert_allclose(numbers(inv), [[0.6, -0.7], [-0.2, 0.4]], rtol=1e-15)


@pytest.mark.parametrize("n,coefficients,x,expected", [
    (-3, [1, -6, 11, -6], 4.0, 6.0), (-3, [1, -6, 11, -6], 2.0, 0.0),  # (x-1)(x-2)(x-3)
    (2, [-3, 2], 5.0, 12.0),  # monic x^2 - 3x + 2 at 5
    (-1, [2, 1], 0.5, 2.0), (0, [7, 7], 3.0, 0.0),  # 2x + 1; degree 0 is always 0
])
def test_polyn_evaluates_by_horner(flavour, n, coefficients, x, expected):
    assert flavour.Polyn(n, kor.Ref(x), flavour.make(coefficients)) == expected


def test_lin_bairstow_finds_real_and_complex_roots(flavour):
    # x^3 - x^2 + 3x + 5 = (x + 1)(x^2 - 2x + 5): -1 and 1 +- 2i
    xr, xi = flavour.make([0.0] * 3), flavour.make([0.0] * 3)
    flavour.LinBairstow(3, flavour.make([1, -1, 3, 5]), xr, xi, 1e-12)
    found = sorted((complex(r, i) for r, i in zip(numbers(xr), numbers(xi))), key=lambda c: (c.real, c.imag))
    assert found == pytest.approx([-1, 1 - 2j, 1 + 2j], abs=1e-12)


def test_rutishauser_gives_ascending_values_and_unit_vectors(flavour):
    # the second-difference matrix of order 3: 2 - sqrt 2, 2, 2 + sqrt 2, with
    # vectors (1, sqrt 2, 1)/2 and (1, 0, -1)/sqrt 2 first
    a = flavour.make([[2, -1, 0], [-1, 2, -1], [0, -1, 2]])
    b, u, tag1, sweeps = flavour.make([0.0] * 3), flavour.make([[0.0] * 3] * 3), kor.Ref(), kor.Ref()
    flavour.Rutishauser(3, a, b, u, tag1, kor.Ref(), sweeps)
    assert tag1.value == 0 and sweeps.value >= 1
    np.testing.assert_allclose(numbers(b), [2 - math.sqrt(2), 2, 2 + math.sqrt(2)], atol=1e-14)
    r = math.sqrt(0.5)
    np.testing.assert_allclose(numbers(u)[:, :2], [[0.5, r], [r, 0], [0.5, -r]], atol=1e-14)


def test_flagr_sorts_the_table_and_interpolates(flavour):
    # four points of x^2 given out of order: the cubic through them is x^2 itself
    x, y = flavour.make([3, 1, 4, 2]), flavour.make([9, 1, 16, 4])
    assert flavour.Flagr(4, x, y, 2.5 if flavour.suffix else kor.Ref(2.5)) == pytest.approx(6.25, rel=1e-15)
    assert list(numbers(x)) == [1, 2, 3, 4] and list(numbers(y)) == [1, 4, 9, 16]


def test_spline_family_on_the_documented_three_knots(flavour):
    # knots (0, 0), (1, 1), (2, 0), natural ends: Y2 = (0, -1.5, 0); the value,
    # slope and integral follow from the cubic between knots with these Y2
    x, y, y2 = flavour.make([0, 1, 2]), flavour.make([0, 1, 0]), flavour.make([0.0] * 3)
    flavour.Spline(1, 3, x, y, 10000, 10000, y2)
    assert list(numbers(y2)) == [0, -1.5, 0]
    assert flavour.Splinp(1, 3, x, y, y2, 0.5) == 0.59375
    assert flavour.Splder(1, 3, x, y, y2, kor.Ref(0.5)) == pytest.approx(1.0625, rel=1e-15)
    assert flavour.Splint(1, 3, x, y, y2, 0, 2) == pytest.approx(4 / 3, rel=1e-15)
    ipoc = kor.Ref(0)
    assert flavour.Sinterp(3, 1, x, y, 0.5, 10000, 10000, ipoc) == 0.59375 and ipoc.value == 1


@pytest.mark.parametrize("name", ["Fmin", "Fmin1"])
def test_minimisers_move_the_callers_point(flavour, name):
    x = flavour.make([0.0, 0.0])
    best = getattr(flavour, name)(lambda p: (p[0] - 1) ** 2 + (p[1] - 2) ** 2, 2, x)
    np.testing.assert_allclose(numbers(x), [1, 2], atol=1e-3)
    assert 0 <= best < 1e-6


class Circle:
    """x^2 + y^2 = 8 and x = y, as a client object with Fun."""

    def Fun(self, x, r, n, z):
        r[1] = x[0] ** 2 + x[1] ** 2 - z[0]
        r[2] = x[0] - x[1]


def test_newton_solves_through_a_client_object(flavour):
    x, ident = flavour.make([1.0, 2.0]), kor.Ref()
    iterations = flavour.Newton(Circle(), 2, 2, 0, x, [1, 2], flavour.make([8.0]), ident, 1e-10)
    assert ident.value == 0 and 1 <= iterations < 100
    np.testing.assert_allclose(numbers(x), [2, 2], rtol=1e-5)


def test_rkm_integrates_the_exponential(flavour):
    # y' = y from 0 to 1; K and Y from position 0 (the state at Y[1])
    def fkt(nn, xb, y, k, zz):
        k[1] = y[1]

    y, xb = flavour.make([0.0, 1.0]), kor.Ref(0.0)
    flavour.Rkm(fkt, 1, xb, kor.Ref(1.0), kor.at(y, 0), 1e-8, kor.Ref(0), flavour.make([0.0]))
    assert xb.value == 1.0 and numbers(y)[1] == pytest.approx(math.e, rel=1e-7)


def test_interpret_and_the_interpreted_solvers_use_the_callers_lists():
    i, ipok = kor.Interpret(), kor.Ref(0)
    table = np.array([["Z1", 1.0], ["Z2", 2.0]], dtype=object)
    assert i.Interp("(X[1]-Z1)^2+(X[2]-Z2)^2", ipok, table, kor.at([0.0, 4.0, 6.0], 0)) == 25.0 and ipok.value >= 0
    z = [8.0] + [0.0] * 9
    x, ident = [0.0, 1.0, 2.0], kor.Ref()
    i.NewtonI(["X[1]^2+X[2]^2-Z1", "X[1]-X[2]"], 2, 2, 0, kor.at(x, 0), [1, 2], z, ident)
    assert ident.value == 0 and x[1:] == pytest.approx([2, 2], rel=1e-5)
    x = [0.0, 0.0, 0.0]
    i.Fmin1I("(X[1]-3)^2+(X[2]+1)^2", 2, kor.at(x, 0), z)
    assert x[1:] == pytest.approx([3, -1], abs=1e-3)
    y = [0.0, 1.0] + [0.0] * 11
    i.RkmI(["Y[1]"], 1, kor.Ref(0.0), kor.Ref(1.0), kor.at(y, 0), 1e-8, kor.Ref(0), z)
    assert y[1] == pytest.approx(math.e, rel=1e-7)
