// The client's function object (Fun, FKT, F) called from the solvers.
//
// The solvers call client.call(member, args...) and client.value(member,
// args...) with their arguments by reference (solvers/client.hpp).  The
// member is the object's attribute of that name (compared without regard to
// case) or, for an object without one, the object itself when it is
// callable.  Each argument reaches it by reference:
//  - the caller's own arrays as the caller's own objects;
//  - the method's double working arrays as numpy arrays over their storage;
//  - the method's Variant working arrays as a list made for the call, read
//    back after it (a Variant is no Python object);
//  - the method's scalars as kor.Ref cells over the method's own variables.
// The numpy arrays and Refs are made once per method call and reused, so a
// callback costs Python's own call and nothing more.  When the method ends
// the arrays are emptied and the Refs keep their last value, so a client
// that kept one never reaches storage that is gone.
#pragma once

#include <pybind11/pybind11.h>

#include <array>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kor/error.hpp"
#include "kor/safe_array.hpp"
#include "kor/variant.hpp"
#include "values.hpp"
#include "views.hpp"

namespace kor::python {

class PyClient {
 public:
  explicit PyClient(py::handle g) : g_(g) {}
  ~PyClient();
  PyClient(const PyClient&) = delete;
  PyClient& operator=(const PyClient&) = delete;

  template <class... A>
  void call(std::string_view member, A&... args) {
    invoke(member, args...);
  }

  // The member's result as it comes.
  template <class... A>
  Variant value(std::string_view member, A&... args) {
    return from_python(invoke(member, args...).ptr());
  }

 private:
  struct Made {
    const void* source;   // the method's variable or array
    py::object object;    // what the client receives
    const void* data = nullptr;  // a working array's storage when the object was made
    std::size_t size = 0;
  };

  template <class... A>
  py::object invoke(std::string_view member, A&... args) {
    PyObject* fn = resolve(member);
    std::array<PyObject*, sizeof...(A)> argv{bind(args)...};
    PyObject* r = PyObject_Vectorcall(fn, argv.data(), sizeof...(A), nullptr);
    // What the client wrote into a list made for the call comes back, whether or not it succeeded.
    if constexpr ((std::is_same_v<A, VariantArray> || ...)) {
      try {
        (read_back(args), ...);
      } catch (...) {
        Py_XDECREF(r);
        throw;
      }
    }
    if (!r) throw py::error_already_set();
    return py::reinterpret_steal<py::object>(r);
  }

  PyObject* bind(ObjectView& a) { return a.object().ptr(); }
  PyObject* bind(DoubleView& a) { return a.object().ptr(); }
  PyObject* bind(DoubleArray& a);
  PyObject* bind(VariantArray& a);
  PyObject* bind(Variant& v);
  PyObject* bind(double& d);
  template <class T>
  void read_back(T&) {}
  void read_back(VariantArray& a);

  Made* find(const void* source);
  PyObject* resolve(std::string_view member);

  py::handle g_;
  std::vector<std::pair<std::string, py::object>> members_;
  std::vector<Made> made_;
};

}  // namespace kor::python
