// The pieces of the Python module kor._kor.
#pragma once

#include <pybind11/pybind11.h>

namespace kor::python {

namespace py = pybind11;
using namespace pybind11::literals;

void define_korvat(py::module_& m);
void define_interpret(py::module_& m);

}  // namespace kor::python
