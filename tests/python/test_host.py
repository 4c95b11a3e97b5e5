"""What the Python host adds: arrays in place, Ref cells, clients, errors and messages."""
import warnings

import numpy as np
import pytest

import kor

K = kor.Korvat()


def address(a):
    return a.__array_interface__["data"][0]


@pytest.mark.parametrize("make", [
    lambda m: np.array(m, dtype=float),                       # C order
    lambda m: np.asfortranarray(m, dtype=float),              # Fortran order
    lambda m: np.array(np.array(m, dtype=float).T).T,         # transposed view
    lambda m: np.repeat(np.array(m, dtype=float), 2, axis=1)[:, ::2],  # every second column
])
def test_gaussd_writes_into_the_callers_array_whatever_its_layout(make):
    a = make([[2, 1, 5], [1, 3, 10]])
    before, ident = address(a), kor.Ref()
    K.Gaussd(2, a, 1, ident)
    assert address(a) == before
    assert a[0, 2] == 1 and a[1, 2] == 3


def test_the_dense_and_the_strided_paths_give_the_same_bits():
    # Fortran order takes the column walk and the direct bisection, other layouts the element order
    rng = np.random.default_rng(3)
    m, x, y = rng.normal(size=(24, 25)), np.sort(rng.uniform(0, 9, 60)), rng.normal(size=60)
    solved = []
    for a in (np.array(m), np.asfortranarray(m), np.repeat(m, 2, axis=1)[:, ::2]):
        K.Gaussd(24, a, 1, kor.Ref())
        solved.append(a[:, 24])
    y2 = np.zeros(60)
    K.Splined(1, 60, x, y, 0.0, 0.0, y2)
    spread = [np.repeat(v, 2)[::2] for v in (x, y, y2)]
    values = [[f(1, 60, *arrays, t) for t in (0.1, 4.5, 8.7)] for f in (K.Splinpd, K.Splderd)
              for arrays in ((x, y, y2), spread)]
    assert all(np.array_equal(solved[0], s) for s in solved) and values[0] == values[1] and values[2] == values[3]


@pytest.mark.parametrize("lower,second", [(1, 2.0), (0, 3.0), (-1, 9.0)])
def test_at_moves_the_first_position(lower, second):
    # Polynd of degree -1 is a(1) x + a(2): at x = 0 it reads position 2
    a = np.array([5.0, 1.0, 2.0, 3.0, 9.0])[1:]
    assert K.Polynd(-1, 0.0, kor.at(a, lower)) == second


def test_two_bounds_address_rows_and_columns():
    # rows from 0, columns from 1: the method's a(1, 1) is a[1, 0], and row 0 is never touched
    a = np.array([[9, 9, 9], [2, 1, 5], [1, 3, 10]], dtype=float)
    K.Gaussd(2, kor.at(a, (0, 1)), 1, kor.Ref())
    assert list(a[1:, 2]) == [1, 3] and list(a[0]) == [9, 9, 9]


def test_a_ref_is_written_when_the_algorithm_writes_it():
    # the integrator moves xb from stage to stage; the caller's Ref shows each stage at once
    xb, seen = kor.Ref(0.0), []

    def fkt(nn, x, y, k, zz):
        seen.append((x.value, xb.value))
        k[1] = 1.0

    K.Rkmd(fkt, 1, xb, kor.Ref(1.0), kor.at(np.array([0.0, 0.0]), 0), 1e-6, kor.Ref(1), np.zeros(1))
    assert len(seen) >= 5 and all(a == b for a, b in seen)
    assert {s[0] for s in seen[:5]} == {0.0, 1 / 3, 0.5, 1.0}


def test_working_arrays_are_views_emptied_when_the_method_ends():
    kept = []

    def fun(x, r, n, z):
        kept.append(r)
        r[1] = x[0] - 3.0

    x = np.array([1.0])
    K.Newtond(fun, 1, 1, 0, x, [1], np.zeros(1), kor.Ref(), 1e-12)
    assert x[0] == pytest.approx(3.0)
    assert all(r is kept[0] for r in kept)  # one view for every call
    assert kept[0].size == 0


class Named:
    def __init__(self):
        self.calls = 0

    def f(self, x):  # found without regard to case
        self.calls += 1
        return x[0] ** 2


class Callable:
    def __call__(self, x):
        return (x[0] - 2) ** 2


@pytest.mark.parametrize("client,minimum", [(Named(), 0.0), (Callable(), 2.0), (lambda x: (x[0] + 1) ** 2, -1.0)])
def test_clients_are_members_or_callables(client, minimum):
    x = np.array([0.5])
    K.Fmin1d(client, 1, x)
    assert x[0] == pytest.approx(minimum, abs=1e-3)


def test_an_exception_in_a_callback_reaches_the_caller_unchanged():
    raised = KeyError("from the client")

    def fun(x):
        raise raised

    with pytest.raises(KeyError) as e:
        K.Fmind(fun, 1, np.zeros(1))
    assert e.value is raised


@pytest.mark.parametrize("call,kind,number,python", [
    (lambda: K.Gaussd(3, np.zeros((2, 3)), 1, kor.Ref()), kor.SubscriptOutOfRange, 9, IndexError),
    # two points with the same abscissa: the slope divides by zero
    (lambda: K.Flagrd(2, np.array([1.0, 1.0]), np.array([1.0, 2.0]), 0.5), kor.DivisionByZero, 11, ZeroDivisionError),
    (lambda: K.Polynd(-1, 1e300, np.array([1e300, 0.0])), kor.Overflow, 6, OverflowError),
    (lambda: K.Gauss(1, np.array([["two", 1]], dtype=object), 1, kor.Ref()), kor.TypeMismatch, 13, TypeError),
    (lambda: K.LinBairstowd(-1, np.zeros(1), np.zeros(1), np.zeros(1), 0.0), kor.Error, 5, kor.Error),
    (lambda: K.Gaussd(2, [[2.0, 1.0, 5.0]], 1, kor.Ref()), kor.TypeMismatch, 13, TypeError),
    (lambda: K.Fmind(object(), 1, np.zeros(1)), kor.Error, 438, kor.Error),  # a client without F
])
def test_runtime_errors_carry_their_number(call, kind, number, python):
    with pytest.raises(python) as e:
        call()
    assert type(e.value) is kind and isinstance(e.value, kor.Error)
    assert e.value.number == number and str(e.value) == e.value.description


def test_what_was_written_before_an_error_stays():
    y2 = np.full(3, 7.0)
    with pytest.raises(kor.DivisionByZero):
        K.Splined(1, 3, np.array([0.0, 1.0, 1.0]), np.zeros(3), 0.0, 0.0, y2)
    assert y2[0] == -0.5


def test_messages_go_to_the_handler_then_to_warnings():
    seen, empty = [], np.empty((0, 2), dtype=object)
    previous = kor.set_message_handler(lambda text, style, title: seen.append((text, style, title)))
    try:
        with pytest.raises(kor.DivisionByZero):
            K.Splinpd(1, 2, np.array([1.0, 1.0]), np.zeros(2), np.zeros(2), 1.0)
        kor.set_message_handler(lambda text, style, title: seen.append(int(title)))  # a handler that raises ends the method
        with pytest.raises(ValueError, match="Interpret"):
            kor.Interpret().Interp("1 + 2", kor.Ref(0), empty, [])
    finally:
        assert kor.set_message_handler(previous) is not None
    assert seen == [(" Špatné vstup. hodnoty ", 16, "SPLINE")]
    with pytest.warns(kor.MessageWarning, match="Interpret: Mezery"):
        kor.Interpret().Interp("1 + 2", kor.Ref(0), empty, [])
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        with pytest.raises(kor.MessageWarning):
            kor.Interpret().Interp("1 + 2", kor.Ref(0), empty, [])
