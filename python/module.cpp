// The module kor._kor: the classes Korvat and Interpret over numpy arrays,
// lists and kor.Ref cells, runtime errors as Python exceptions, and the
// message channel.
#include "module.hpp"

#include <string>

#include "kor/error.hpp"
#include "kor/message.hpp"
#include "values.hpp"

namespace kor::python {
namespace {

struct Missing {};
struct Null {};
PyObject* missing_ = nullptr;
PyObject* null_ = nullptr;

// kor.Error and its subclasses for the errors Python has its own kind of.
PyObject* error_ = nullptr;
struct Kind {
  int number;
  const char* name;
  PyObject* base;
  PyObject* type;
};
Kind kinds[] = {{err::kSubscript, "SubscriptOutOfRange", PyExc_IndexError, nullptr},
                {err::kDivisionByZero, "DivisionByZero", PyExc_ZeroDivisionError, nullptr},
                {err::kOverflow, "Overflow", PyExc_OverflowError, nullptr},
                {err::kTypeMismatch, "TypeMismatch", PyExc_TypeError, nullptr}};

PyObject* error_type(int number) {
  for (const Kind& k : kinds)
    if (k.number == number) return k.type;
  return error_;
}

void raise(const Error& e) {
  PyObject* type = error_type(e.number());
  py::object exc = py::reinterpret_borrow<py::object>(type)(py::str(e.description()));
  exc.attr("number") = e.number();
  exc.attr("description") = py::str(e.description());
  exc.attr("source") = py::str(e.source());
  PyErr_SetObject(type, exc.ptr());
}

// The Python handler of messages; null for the default, a MessageWarning.
PyObject* handler_ = nullptr;
PyObject* warning_ = nullptr;

void show(const Message& m) {
  py::gil_scoped_acquire gil;
  if (handler_) {
    py::handle h(handler_);
    h(py::str(m.text), m.style, py::str(m.title));
    return;
  }
  std::string text = m.title + ": " + m.text;
  for (char& ch : text)
    if (ch == '\r') ch = '\n';
  if (PyErr_WarnEx(warning_, text.c_str(), 1) != 0) throw py::error_already_set();
}

}  // namespace

PyObject* missing_object() { return missing_; }
PyObject* null_object() { return null_; }

}  // namespace kor::python

PYBIND11_MODULE(_kor, m) {
  using namespace kor::python;
  m.doc() = "kor: classical numerical methods over numpy arrays, lists and Python callables";

  py::class_<Missing>(m, "Missing").def("__repr__", [](const Missing&) { return "kor.missing"; });
  py::class_<Null>(m, "Null").def("__repr__", [](const Null&) { return "kor.null"; });
  m.attr("missing") = py::cast(Missing{});
  m.attr("null") = py::cast(Null{});
  missing_ = m.attr("missing").ptr();
  null_ = m.attr("null").ptr();

  error_ = PyErr_NewExceptionWithDoc("kor.Error", "A runtime error of a method: .number, .description", PyExc_Exception,
                                     nullptr);
  m.attr("Error") = py::handle(error_);
  for (Kind& k : kinds) {
    const std::string name = std::string("kor.") + k.name;
    py::tuple bases = py::make_tuple(py::handle(error_), py::handle(k.base));
    k.type = PyErr_NewException(name.c_str(), bases.ptr(), nullptr);
    m.attr(k.name) = py::handle(k.type);
  }
  py::register_exception_translator([](std::exception_ptr p) {
    try {
      if (p) std::rethrow_exception(p);
    } catch (const kor::Error& e) {
      raise(e);
    }
  });

  py::class_<Ref>(m, "Ref", "A scalar passed by reference: the method writes it when the algorithm does.")
      .def(py::init([](py::handle v) { return new Ref(from_python(v.ptr())); }), "value"_a = py::none())
      .def_property("value", &Ref::get, &Ref::set)
      .def("__repr__", [](const Ref& r) { return "kor.Ref(" + py::repr(r.get()).cast<std::string>() + ")"; });

  py::class_<At>(m, "At", "An array whose dimensions start at given positions (see kor.at).")
      .def_readonly("array", &At::array)
      .def_property_readonly("lower", [](const At& a) { return py::make_tuple(a.lower1, a.lower2); });
  m.def(
      "at",
      [](py::object array, py::object lower) {
        if (py::isinstance<py::tuple>(lower)) {
          const auto t = lower.cast<std::pair<std::int32_t, std::int32_t>>();
          return At{std::move(array), t.first, t.second};
        }
        const auto l = lower.cast<std::int32_t>();
        return At{std::move(array), l, l};
      },
      "array"_a, "lower"_a, "The array addressed from `lower` (one bound, or a pair (rows, columns)) instead of 1.");

  warning_ = PyErr_NewException("kor.MessageWarning", PyExc_UserWarning, nullptr);
  m.attr("MessageWarning") = py::handle(warning_);
  kor::set_message_handler(show);
  m.def(
      "set_message_handler",
      [](py::object handler) {
        py::object previous = handler_ ? py::reinterpret_steal<py::object>(handler_) : py::none();
        handler_ = handler.is_none() ? nullptr : handler.release().ptr();
        return previous;
      },
      "handler"_a,
      "Sends every later message to handler(text, style, title); None restores the default (a "
      "kor.MessageWarning). Returns the previous handler.");

  define_korvat(m);
  define_interpret(m);
}
