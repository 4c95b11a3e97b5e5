import numpy as np
import pytest


def doubles(rows, order="C"):
    return np.array(rows, dtype=float, order=order)


def objects(rows, order="C"):
    a = np.empty(np.shape(rows), dtype=object, order=order)
    a[...] = rows
    return a


def objects_or_list(rows, order="C"):
    return list(rows) if np.ndim(rows) == 1 else objects(rows, order)


# The two flavours: the method's suffix and how its arrays are made.
FLAVOURS = [pytest.param("d", doubles, id="double"), pytest.param("", objects, id="object-array"),
            pytest.param("", objects_or_list, id="list")]
