#include "client.hpp"

#include <pybind11/numpy.h>

#include <cctype>

namespace kor::python {
namespace {

bool same_name(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t k = 0; k < a.size(); ++k)
    if (std::tolower(static_cast<unsigned char>(a[k])) != std::tolower(static_cast<unsigned char>(b[k]))) return false;
  return true;
}

// The owner a working array's numpy view names as its base: the storage is
// the method's, and the view is emptied before the method lets it go.
py::object anchor() {
  static PyObject* a = py::capsule(static_cast<void*>(&a)).release().ptr();
  return py::reinterpret_borrow<py::object>(a);
}

}  // namespace

PyClient::~PyClient() {
  for (Made& m : made_) {
    if (!m.object) continue;
    if (py::isinstance<Ref>(m.object)) {
      m.object.cast<Ref&>().detach();
    } else if (m.data && py::isinstance<py::array>(m.object)) {
      // A view the client kept now has no elements, and cannot reach the freed storage.
      auto* a = py::detail::array_proxy(m.object.ptr());
      for (int d = 0; d < a->nd; ++d) a->dimensions[d] = 0;
    }
  }
}

PyClient::Made* PyClient::find(const void* source) {
  for (Made& m : made_)
    if (m.source == source) return &m;
  return nullptr;
}

PyObject* PyClient::resolve(std::string_view member) {
  for (const auto& [name, fn] : members_)
    if (name == member) return fn.ptr();
  py::object fn;
  const py::str wanted(member.data(), member.size());
  if (py::hasattr(g_, wanted)) {
    fn = g_.attr(wanted);
  } else {
    for (py::handle name : py::reinterpret_steal<py::list>(PyObject_Dir(g_.ptr())))
      if (same_name(py::cast<std::string>(name), member)) {
        fn = g_.attr(name);
        break;
      }
  }
  if (!fn && PyCallable_Check(g_.ptr())) fn = py::reinterpret_borrow<py::object>(g_);
  if (!fn) throw Error(err::kNoMember);
  members_.emplace_back(std::string(member), fn);
  return fn.ptr();
}

PyObject* PyClient::bind(DoubleArray& a) {
  Made* m = find(&a);
  if (!m || m->data != a.data() || m->size != a.size()) {
    if (!a.allocated()) throw Error(err::kSubscript);
    // Column-major, as the array is stored; index 0 of each dimension is its lower bound.
    std::vector<py::ssize_t> shape{a.bounds(1).count()}, strides{sizeof(double)};
    if (a.dims() == 2) {
      shape.push_back(a.bounds(2).count());
      strides.push_back(static_cast<py::ssize_t>(sizeof(double) * a.column_stride()));
    }
    py::array view(py::dtype::of<double>(), shape, strides, a.data(), anchor());
    if (!m) m = &made_.emplace_back(Made{&a, {}});
    m->object = std::move(view);
    m->data = a.data();
    m->size = a.size();
  }
  return m->object.ptr();
}

PyObject* PyClient::bind(VariantArray& a) {
  if (a.dims() != 1) throw Error(err::kTypeMismatch);
  const auto count = static_cast<Py_ssize_t>(a.size());
  Made* m = find(&a);
  if (!m) m = &made_.emplace_back(Made{&a, {}});
  if (!m->object || PyList_GET_SIZE(m->object.ptr()) != count) m->object = py::list(count);
  for (Py_ssize_t k = 0; k < count; ++k) {
    PyObject* item = to_python(a(a.lbound(1) + static_cast<std::int32_t>(k))).release().ptr();
    PyObject* old = PyList_GET_ITEM(m->object.ptr(), k);
    PyList_SET_ITEM(m->object.ptr(), k, item);
    Py_XDECREF(old);
  }
  return m->object.ptr();
}

void PyClient::read_back(VariantArray& a) {
  const Made* m = find(&a);
  const auto count = std::min<Py_ssize_t>(static_cast<Py_ssize_t>(a.size()), PyList_GET_SIZE(m->object.ptr()));
  for (Py_ssize_t k = 0; k < count; ++k)
    a(a.lbound(1) + static_cast<std::int32_t>(k)) = from_python(PyList_GET_ITEM(m->object.ptr(), k));
}

PyObject* PyClient::bind(Variant& v) {
  Made* m = find(&v);
  if (!m) m = &made_.emplace_back(Made{&v, py::cast(new Ref(), py::return_value_policy::take_ownership)});
  m->object.cast<Ref&>().bind(v);
  return m->object.ptr();
}

PyObject* PyClient::bind(double& d) {
  Made* m = find(&d);
  if (!m) m = &made_.emplace_back(Made{&d, py::cast(new Ref(), py::return_value_policy::take_ownership)});
  m->object.cast<Ref&>().bind(d);
  return m->object.ptr();
}

}  // namespace kor::python
