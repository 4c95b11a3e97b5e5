import numpy as np
import pytest

import kor


def doubles(rows, order="C"):
    return np.array(rows, dtype=float, order=order)


def objects(rows, order="C"):
    a = np.empty(np.shape(rows), dtype=object, order=order)
    a[...] = rows
    return a


def objects_or_list(rows, order="C"):
    return list(rows) if np.ndim(rows) == 1 else objects(rows, order)


class Flavour:
    """A method family in one flavour: `f.Gauss` is Gauss or Gaussd, `f.make` makes its arrays."""

    def __init__(self, suffix, make):
        self.suffix, self.make, self.k = suffix, make, kor.Korvat()

    def __getattr__(self, name):
        return getattr(self.k, name + self.suffix)


@pytest.fixture(params=[("d", doubles), ("", objects), ("", objects_or_list)], ids=["double", "object-array", "list"])
def flavour(request):
    return Flavour(*request.param)
