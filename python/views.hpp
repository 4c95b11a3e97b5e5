// The caller's numpy arrays and lists as the algorithms see them.
//
// The algorithms read and write cells only through number_of(),
// assign_number() and the other overloads of component/elements.hpp.
// View<double> serves a float64 array and View<ObjectCell> an object array
// or a list, in place and with any strides: a(i) / a(i, j) address row i and
// column j whatever the memory order, the first element of each dimension at
// position 1 (or at the bound given with kor.at), and a position outside the
// array is error 9.  Nothing is copied.
#pragma once

#include <pybind11/pybind11.h>

#include <cstdint>
#include <string_view>

#include "component/elements.hpp"
#include "kor/error.hpp"
#include "values.hpp"

namespace kor::python {

// One element of an object array or a list: the object reference the array
// owns, replaced (never changed) when the algorithm writes it.
struct ObjectCell {
  PyObject* p;
  ObjectCell(const ObjectCell&) = delete;
  ObjectCell& operator=(const ObjectCell&) = delete;
};

double number_of(const ObjectCell& c);
void assign_number(ObjectCell& c, double x);
std::int16_t int16_of(const ObjectCell& c);
std::int32_t int32_of(const ObjectCell& c);
bool is_missing(const ObjectCell& c);
inline Variant cell_value(const ObjectCell& c) { return from_python(c.p); }
void assign_value(ObjectCell& c, const Variant& v);
void assign_status(ObjectCell& c, std::int16_t s);
inline void assign_integer(ObjectCell& c, std::int16_t s) { assign_status(c, s); }
void assign_count(ObjectCell& c, std::int32_t n);
inline void swap_cells(ObjectCell& a, ObjectCell& b) noexcept { std::swap(a.p, b.p); }
bool cell_is_name(const ObjectCell& c, std::string_view upper_name);
inline double cell_number(const ObjectCell& c) { return number_of(c); }
// A cell's number where reading it can neither fail nor run Python code.
inline bool cell_plain_number(const ObjectCell& c, double& out) noexcept {
  if (!c.p || !PyFloat_CheckExact(c.p)) return false;
  out = PyFloat_AS_DOUBLE(c.p);
  return true;
}
// The library's own overloads stay in view here.
using kor::assign_number, kor::assign_status, kor::assign_value, kor::cell_value, kor::int16_of, kor::int32_of,
    kor::is_missing, kor::number_of, kor::swap_cells;

// The buffer of a numpy array, or a list, with its bounds.
class Storage {
 public:
  // `list_ok`: a list is accepted (object cells); `format`: the element code.
  Storage(py::handle h, bool list_ok, char format);
  Storage(Storage&& o) noexcept;
  ~Storage();
  Storage(const Storage&) = delete;
  Storage& operator=(const Storage&) = delete;

  // What a client callback receives: the caller's own array or list.
  py::handle object() const { return obj_; }
  // Whether consecutive rows are adjacent elements and columns a whole number
  // of elements apart, as in column-major storage (any one-dimensional array
  // without gaps, a Fortran-ordered matrix or a block of one).
  bool dense() const noexcept {
    return !list_ && s1_ == sizeof(double) && (dims_ == 1 || (s2_ >= 0 && s2_ % sizeof(double) == 0));
  }

 protected:
  // A list may change its length and move its items while a callback runs:
  // both are read again at every access.
  std::int64_t extent1() const { return list_ ? PyList_GET_SIZE(list_) : n1_; }
  char* base() const { return list_ ? reinterpret_cast<char*>(reinterpret_cast<PyListObject*>(list_)->ob_item) : base_; }

  py::handle obj_;
  PyObject* list_ = nullptr;
  Py_buffer buf_{};
  bool held_ = false;
  int dims_ = 0;
  char* base_ = nullptr;
  std::int64_t s1_ = 0, s2_ = 0;  // strides in bytes
  std::int32_t lo1_ = 1, lo2_ = 1;
  std::int64_t n1_ = 0, n2_ = 0;
};

template <class Cell>
class View : public Storage {
 public:
  using value_type = Cell;
  explicit View(py::handle h) : Storage(h, !std::is_same_v<Cell, double>, std::is_same_v<Cell, double> ? 'd' : 'O') {}
  View(View&&) noexcept = default;

  Cell& operator()(std::int32_t i) {
    if (!contains(i)) throw Error(err::kSubscript);
    return at_unchecked(i);
  }
  Cell& operator()(std::int32_t i, std::int32_t j) {
    if (!contains(i, j)) throw Error(err::kSubscript);
    return at_unchecked(i, j);
  }
  const Cell& operator()(std::int32_t i) const { return const_cast<View&>(*this)(i); }
  const Cell& operator()(std::int32_t i, std::int32_t j) const { return const_cast<View&>(*this)(i, j); }

  bool contains(std::int32_t i) const noexcept {
    return dims_ == 1 && static_cast<std::uint64_t>(std::int64_t{i} - lo1_) < static_cast<std::uint64_t>(extent1());
  }
  bool contains(std::int32_t i, std::int32_t j) const noexcept {
    return dims_ == 2 && static_cast<std::uint64_t>(std::int64_t{i} - lo1_) < static_cast<std::uint64_t>(n1_) &&
           static_cast<std::uint64_t>(std::int64_t{j} - lo2_) < static_cast<std::uint64_t>(n2_);
  }
  Cell& at_unchecked(std::int32_t i) const noexcept {
    return *reinterpret_cast<Cell*>(base() + (std::int64_t{i} - lo1_) * s1_);
  }
  Cell& at_unchecked(std::int32_t i, std::int32_t j) const noexcept {
    return *reinterpret_cast<Cell*>(base_ + (std::int64_t{i} - lo1_) * s1_ + (std::int64_t{j} - lo2_) * s2_);
  }
  std::int32_t lbound(int dim) const {
    if (dim < 1 || dim > dims_) throw Error(err::kSubscript);
    return dim == 1 ? lo1_ : lo2_;
  }
  std::int32_t ubound(int dim) const {
    if (dim < 1 || dim > dims_) throw Error(err::kSubscript);
    return static_cast<std::int32_t>(dim == 1 ? lo1_ + extent1() - 1 : lo2_ + n2_ - 1);
  }
};

using DoubleView = View<double>;
using ObjectView = View<ObjectCell>;

// A float64 array known to be dense: the algorithms' fast paths (the
// elimination's column walk, the spline search's direct bisection) walk it
// with raw pointers, after checking the positions they touch.
class DenseView : public DoubleView {
 public:
  explicit DenseView(DoubleView&& v) noexcept : DoubleView(std::move(v)) {}
  std::size_t column_stride() const noexcept { return static_cast<std::size_t>(s2_) / sizeof(double); }
};

// Runs run(views...) over dense views when every array is dense, else over the views as they are.
template <class Run, class... V>
decltype(auto) walk(Run&& run, V&... views) {
  if constexpr ((std::is_same_v<V, DoubleView> && ...)) {
    if ((views.dense() && ...)) return run(DenseView(std::move(views))...);
  }
  return run(views...);
}

}  // namespace kor::python

namespace kor {
template <>
struct dense_doubles<python::DenseView> : std::true_type {};
template <>
struct is_safe_array<python::DenseView> : std::true_type {};
}  // namespace kor
