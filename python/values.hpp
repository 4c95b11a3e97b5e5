// Python values as the methods take them.
//
// A scalar argument of the variant flavour is any Python number, text, bool
// or None (Empty), kor.missing (an omitted optional argument) or kor.null;
// a by-reference one is a kor.Ref, whose own storage the algorithm reads and
// writes, so a write lands in the Ref at the moment it is made.  Any other
// value given for a by-reference parameter is read and its writes are lost,
// as for a literal passed by reference.
#pragma once

#include <pybind11/pybind11.h>

#include <cstdint>
#include <string>

#include "kor/safe_array.hpp"
#include "kor/variant.hpp"

namespace kor::python {

namespace py = pybind11;

// The sentinels kor.missing and kor.null.
PyObject* missing_object();
PyObject* null_object();

// A Python value as a Variant (a kor.Ref gives its value); error 13 for
// anything that is no number, text, bool or None.
Variant from_python(PyObject* v);
py::object to_python(const Variant& v);

// kor.Ref: a by-reference scalar.  Its storage is its own Variant, or, while
// a client callback runs, a method's own Variant or double that the callback
// receives by reference.
class Ref {
 public:
  explicit Ref(Variant v = {}) : own_(std::move(v)) {}
  Ref(const Ref&) = delete;
  Ref& operator=(const Ref&) = delete;

  py::object get() const;
  void set(py::handle v);

  // The storage of a caller's Ref as a Variant: null while it serves as a
  // double, whose Variant must keep its type.
  Variant* variant() { return dbl_ ? nullptr : var_; }
  // The storage as a double: its own Variant made a Double (error 13 if it
  // holds no number), kept one until release_double().
  double* hold_double();
  void release_double() { dbl_ = nullptr; }
  bool holds_double() const { return dbl_ != nullptr; }

  // A callback's Ref over a method's variable, and back to its own value.
  void bind(Variant& v) { var_ = &v, dbl_ = nullptr; }
  void bind(double& d) { dbl_ = &d, var_ = nullptr; }
  void detach();

 private:
  Variant own_;
  Variant* var_ = &own_;
  double* dbl_ = nullptr;
};

// kor.at(array, lower): an array whose dimensions start at `lower`
// (one bound for every dimension, or one per dimension).
struct At {
  py::object array;
  std::int32_t lower1, lower2;
};

// ---- arguments of a call ----
Variant value(py::handle h);
// A double of the double flavour: an omitted one is 0.
double real(py::handle h);
std::string text(py::handle h);
// Texts (a list, tuple or array of them; kor.at for other bounds), read once.
StringArray strings(py::handle h);

// A Variant by reference.
class VariantRef {
 public:
  explicit VariantRef(py::handle h);
  Variant& get() { return *p_; }

 private:
  Variant local_;
  Variant* p_ = &local_;
};

// A double by reference.
class DoubleRef {
 public:
  explicit DoubleRef(py::handle h);
  ~DoubleRef();
  DoubleRef(const DoubleRef&) = delete;
  DoubleRef& operator=(const DoubleRef&) = delete;
  double& get() { return *p_; }

 private:
  double local_ = 0;
  double* p_ = &local_;
  Ref* held_ = nullptr;
};

// A 16-bit integer by reference (Interp's ipok), written back when the call ends.
class ShortRef {
 public:
  explicit ShortRef(py::handle h);
  ~ShortRef();
  ShortRef(const ShortRef&) = delete;
  ShortRef& operator=(const ShortRef&) = delete;
  std::int16_t& get() { return value_; }

 private:
  std::int16_t value_ = 0;
  Ref* ref_ = nullptr;
};

}  // namespace kor::python
