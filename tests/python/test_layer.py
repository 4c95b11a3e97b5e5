"""The functions on top and the examples of docs/python.md."""
import doctest
import os
import pathlib
import re
import subprocess

import numpy as np
import pytest

import kor

ROOT = pathlib.Path(__file__).resolve().parents[2]
CLI = os.environ.get("KOR_CLI")


def test_every_example_of_the_python_guide_runs_as_written():
    guide = (ROOT / "docs/python.md").read_text(encoding="utf-8")
    blocks = re.findall(r"```python\n(.*?)```", guide, re.S)
    test = doctest.DocTestParser().get_doctest("\n".join(blocks), {}, "python.md", "docs/python.md", 0)
    runner = doctest.DocTestRunner()
    runner.run(test)
    assert len(blocks) >= 8 and runner.failures == 0 and runner.tries > 30


@pytest.mark.parametrize("text,z,y,expected", [
    ("2^3^2", (), (), 64.0),               # powers from the left
    ("Z1/Z2", (1, 4), (), 0.25),
    ("Y[0]-Y[2]", (), (5, 0, 2), 3.0),
])
def test_eval_table(text, z, y, expected):
    assert kor.eval(text, z=z, y=y) == expected


@pytest.mark.filterwarnings("ignore::kor.MessageWarning")
@pytest.mark.parametrize("text,status", [("1 +2", -1), ("Z9*2", -2), ("LOG(0)", -3)])
def test_eval_failures_carry_the_status(text, status):
    with pytest.raises(kor.EvalError) as e:
        kor.eval(text)
    assert e.value.status == status


@pytest.mark.parametrize("call,expected", [
    (lambda: kor.poly([1, -6, 11, -6], [0, 4]), [-6, 6]),
    (lambda: kor.poly([-3, 2], 5, monic=True), [12]),
    (lambda: kor.spline([0, 1, 2], [0, 1, 0], 0.5, derivative=True), [1.0625]),
    # a straight line with its own end slopes: this library's recurrence leaves
    # Y2 = (-1/4, 1/2, -1/4), so the value at 0.5 is 1/2 - 1/64, not 1/2
    (lambda: kor.spline([0, 1, 2], [0, 1, 2], [0.5, 2], start=1, end=1), [31 / 64, 2]),
    (lambda: kor.spline_integral([0, 1, 2], [0, 1, 0], 0, 2), 4 / 3),
    (lambda: kor.linsolve([[2, 1], [1, 3]], [[4, 3], [7, -1]]), [[1, 2], [2, -1]]),
    (lambda: kor.invert([[2, 0], [0, 4]]), [[0.5, 0], [0, 0.25]]),
])
def test_the_commands_other_tasks(call, expected):
    np.testing.assert_allclose(call(), expected, rtol=1e-14)


@pytest.mark.parametrize("call,error", [
    (lambda: kor.lagrange([3, 1, 2], [9, 1, 4], 1.5, points=4), ValueError),
    (lambda: kor.linsolve([[1, 2], [2, 4]], [1, 2]), np.linalg.LinAlgError),
    (lambda: kor.invert([[1, 2], [2, 4]]), np.linalg.LinAlgError),
    (lambda: kor.spline([0, 0, 1], [1, 2, 3], 0.5), ValueError),
    (lambda: kor.eigh([[1, 2], [3, 4]]), ValueError),
])
def test_what_the_command_refuses_raises(call, error):
    with pytest.raises(error):
        call()


def test_eigh_agrees_with_numpy_on_a_random_symmetric_matrix():
    a = np.random.default_rng(7).normal(size=(6, 6))
    a = a + a.T
    w, u = kor.eigh(a)
    np.testing.assert_allclose(w, np.linalg.eigvalsh(a), atol=1e-13)
    np.testing.assert_allclose(a @ u, u * w, atol=1e-12)


def cli(*args):
    return subprocess.run([CLI, *args], capture_output=True, text=True).stdout.split()


@pytest.mark.skipif(not CLI, reason="KOR_CLI names the kor command")
def test_the_same_numbers_as_the_command():
    s = kor.solve(["X[1]^2+X[2]^2-Z1", "X[1]-X[2]"], [1, 3], z=[8], alam=0.5)
    out = cli("solve", "X[1]^2+X[2]^2-Z1", "X[1]-X[2]", "--x", "1,3", "--z", "8", "--alam", "0.5")
    assert [float(out[2]), float(out[5]), float(out[-2])] == [s.x[0], s.x[1], s.iterations]
    m = kor.minimize("(X[1]-1)^2+(X[2]-Z1)^2", [0, 0], z=[3])
    out = cli("minimize", "(X[1]-1)^2+(X[2]-Z1)^2", "--x", "0,0", "--z", "3")
    assert [float(out[2]), float(out[5]), float(out[8]), float(out[-3])] == [*m.x, m.fun, m.steps]
    x, y = kor.ode(["Y[2]", "-Y[1]"], [0, 1], 0, 3.14159, 5)
    rows = [[float(v) for v in line.split(",")] for line in cli("ode", "Y[2]", "-Y[1]", "--y0", "0,1", "--from",
                                                                 "0", "--to", "3.14159", "--points", "5")[1:]]
    assert rows == np.column_stack([x, y]).tolist()
    assert " ".join(cli("roots", "2,-3,-11,6")) == "-2 0.5 3"
    assert list(kor.roots([2, -3, -11, 6])) == [-2, 0.5, 3]

