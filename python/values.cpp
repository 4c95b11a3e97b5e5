// Python values and arrays read and written as the methods do it.
#include <climits>
#include <cstring>

#include "values.hpp"
#include "views.hpp"

namespace kor::python {
namespace {

// Error 13 for a value that is no scalar the methods know; the Python error
// a failed conversion left behind is dropped.
[[noreturn]] void mismatch() {
  PyErr_Clear();
  throw Error(err::kTypeMismatch);
}

Variant from_integer(PyObject* v) {
  int overflow = 0;
  const long long x = PyLong_AsLongLongAndOverflow(v, &overflow);
  if (x == -1 && PyErr_Occurred()) mismatch();
  if (overflow == 0 && x >= SHRT_MIN && x <= SHRT_MAX) return Variant(static_cast<short>(x));
  if (overflow == 0 && x >= INT_MIN && x <= INT_MAX) return Variant::from_long(static_cast<std::int32_t>(x));
  const double d = PyLong_AsDouble(v);
  if (d == -1.0 && PyErr_Occurred()) {
    PyErr_Clear();
    throw Error(err::kOverflow);
  }
  return Variant(d);
}

Ref* as_ref(py::handle h) {
  if (!py::isinstance<Ref>(h)) return nullptr;
  return &h.cast<Ref&>();
}

}  // namespace

Variant from_python(PyObject* v) {
  if (!v || v == Py_None) return Variant();
  if (PyFloat_Check(v)) return Variant(PyFloat_AS_DOUBLE(v));
  if (PyBool_Check(v)) return Variant(v == Py_True);
  if (PyLong_Check(v)) return from_integer(v);
  if (PyUnicode_Check(v)) {
    Py_ssize_t size = 0;
    const char* s = PyUnicode_AsUTF8AndSize(v, &size);
    if (!s) mismatch();
    return Variant(std::string_view(s, static_cast<std::size_t>(size)));
  }
  if (v == missing_object()) return Variant::missing();
  if (v == null_object()) return Variant::null();
  if (Ref* r = as_ref(v)) return from_python(r->get().ptr());
  // Other numbers: numpy's integers by their index, the rest by their float value.
  if (PyIndex_Check(v)) {
    py::object i = py::reinterpret_steal<py::object>(PyNumber_Index(v));
    if (!i) mismatch();
    return from_integer(i.ptr());
  }
  if (Py_TYPE(v)->tp_as_number && Py_TYPE(v)->tp_as_number->nb_float) {
    const double d = PyFloat_AsDouble(v);
    if (d == -1.0 && PyErr_Occurred()) mismatch();
    return Variant(d);
  }
  mismatch();
}

py::object to_python(const Variant& v) {
  using T = Variant::Type;
  switch (v.type()) {
    case T::Empty: return py::none();
    case T::Null: return py::reinterpret_borrow<py::object>(null_object());
    case T::Missing: return py::reinterpret_borrow<py::object>(missing_object());
    case T::Integer: return py::int_(v.int16_value());
    case T::Long: return py::int_(v.int32_value());
    case T::Double: return py::float_(v.double_value());
    case T::Single: return py::float_(v.single_value());
    case T::Boolean: return py::bool_(v.bool_value());
    case T::String: return py::str(v.string_value().data(), v.string_value().size());
  }
  return py::none();
}

// ---- Ref ----

py::object Ref::get() const {
  if (dbl_) return py::float_(*dbl_);
  return to_python(*var_);
}

void Ref::set(py::handle v) {
  Variant x = from_python(v.ptr());
  if (dbl_) *dbl_ = x.to_double();
  else *var_ = std::move(x);
}

double* Ref::hold_double() {
  if (dbl_) return dbl_;
  if (var_ != &own_) return nullptr;
  own_ = Variant(own_.to_double());
  dbl_ = own_.double_slot();
  return dbl_;
}

void Ref::detach() {
  if (dbl_) own_ = Variant(*dbl_);
  else if (var_ != &own_) own_ = *var_;
  var_ = &own_;
  dbl_ = nullptr;
}

// ---- arguments ----

Variant value(py::handle h) { return from_python(h.ptr()); }

double real(py::handle h) {
  const Variant v = value(h);
  return v.is_missing() ? 0.0 : v.to_double();
}

std::string text(py::handle h) {
  const Variant v = value(h);
  if (v.is_string()) return std::string(v.string_value());
  return v.to_string();
}

StringArray strings(py::handle h) {
  std::int32_t lower = 1;
  py::handle items = h;
  if (py::isinstance<At>(h)) {
    const At& at = h.cast<const At&>();
    items = at.array;
    lower = at.lower1;
  }
  if (PyUnicode_Check(items.ptr()) || !PySequence_Check(items.ptr())) throw Error(err::kTypeMismatch);
  const py::sequence seq = py::reinterpret_borrow<py::sequence>(items);
  const auto count = static_cast<std::int32_t>(seq.size());
  StringArray out(Bounds{lower, lower + count - 1});
  for (std::int32_t k = 0; k < count; ++k) out(lower + k) = text(seq[static_cast<std::size_t>(k)]);
  return out;
}

VariantRef::VariantRef(py::handle h) {
  Ref* r = as_ref(h);
  if (r && r->variant()) p_ = r->variant();
  else local_ = value(h);
}

DoubleRef::DoubleRef(py::handle h) {
  if (Ref* r = as_ref(h)) {
    const bool held = r->holds_double();
    if (double* d = r->hold_double()) {
      p_ = d;
      if (!held) held_ = r;
      return;
    }
  }
  local_ = real(h);
}

DoubleRef::~DoubleRef() {
  if (held_) held_->release_double();
}

ShortRef::ShortRef(py::handle h) : ref_(as_ref(h)) {
  const Variant v = value(h);
  value_ = v.is_missing() ? 0 : v.to_int16();
}

ShortRef::~ShortRef() {
  if (ref_) ref_->set(py::int_(value_));
}

// ---- object cells ----

double number_of(const ObjectCell& c) {
  if (c.p && PyFloat_CheckExact(c.p)) return PyFloat_AS_DOUBLE(c.p);
  return from_python(c.p).to_double();
}

namespace {
void replace(ObjectCell& c, PyObject* v) {
  if (!v) throw py::error_already_set();
  PyObject* old = c.p;
  c.p = v;
  Py_XDECREF(old);
}
}  // namespace

void assign_number(ObjectCell& c, double x) { replace(c, PyFloat_FromDouble(x)); }
std::int16_t int16_of(const ObjectCell& c) { return from_python(c.p).to_int16(); }
std::int32_t int32_of(const ObjectCell& c) { return from_python(c.p).to_int32(); }
bool is_missing(const ObjectCell& c) { return c.p == missing_object(); }
void assign_value(ObjectCell& c, const Variant& v) { replace(c, to_python(v).release().ptr()); }
void assign_status(ObjectCell& c, std::int16_t s) { replace(c, PyLong_FromLong(s)); }
void assign_count(ObjectCell& c, std::int32_t n) { replace(c, PyLong_FromLong(n)); }

bool cell_is_name(const ObjectCell& c, std::string_view upper_name) {
  if (!c.p || !PyUnicode_Check(c.p)) return false;
  Py_ssize_t size = 0;
  const char* s = PyUnicode_AsUTF8AndSize(c.p, &size);
  if (!s) mismatch();
  return std::string_view(s, static_cast<std::size_t>(size)) == upper_name;
}

// ---- storage ----

Storage::Storage(py::handle h, bool list_ok, char format) : obj_(h) {
  if (py::isinstance<At>(h)) {
    const At& at = h.cast<const At&>();
    obj_ = at.array;
    lo1_ = at.lower1;
    lo2_ = at.lower2;
  }
  if (list_ok && PyList_Check(obj_.ptr())) {
    list_ = obj_.ptr();
    dims_ = 1;
    s1_ = sizeof(PyObject*);
    return;
  }
  if (PyObject_GetBuffer(obj_.ptr(), &buf_, PyBUF_RECORDS) != 0) {
    PyErr_Clear();
    throw Error(err::kTypeMismatch);
  }
  held_ = true;
  // "d" or "O", with or without a native byte-order mark.
  const char* f = buf_.format ? buf_.format : "B";
  if (*f == '@' || *f == '=' || (*f == '<' && format == 'd')) ++f;
  if (f[0] != format || f[1] != '\0' || buf_.itemsize != static_cast<Py_ssize_t>(format == 'd' ? sizeof(double) : sizeof(PyObject*)) ||
      buf_.ndim < 1 || buf_.ndim > 2)
    throw Error(err::kTypeMismatch);
  dims_ = buf_.ndim;
  base_ = static_cast<char*>(buf_.buf);
  n1_ = buf_.shape[0];
  s1_ = buf_.strides[0];
  if (dims_ == 2) {
    n2_ = buf_.shape[1];
    s2_ = buf_.strides[1];
  }
}

Storage::Storage(Storage&& o) noexcept
    : obj_(o.obj_), list_(o.list_), buf_(o.buf_), held_(o.held_), dims_(o.dims_), base_(o.base_), s1_(o.s1_),
      s2_(o.s2_), lo1_(o.lo1_), lo2_(o.lo2_), n1_(o.n1_), n2_(o.n2_) {
  o.held_ = false;
}

Storage::~Storage() {
  if (held_) PyBuffer_Release(&buf_);
}

}  // namespace kor::python
