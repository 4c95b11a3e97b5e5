// The caller's VARIANTs and SAFEARRAYs as the algorithms see them.
//
// The algorithms are templates that read a cell or a scalar with
// number_of(), write one with assign_number() and so on
// (component/elements.hpp).  The overloads below serve a VARIANT: an array
// cell, or a scalar argument as the client sent it.  A by-reference scalar
// (VT_BYREF | VT_VARIANT, or VT_BYREF | VT_R8, VT_BYREF | VT_UI1, ... for a
// typed variable) is the caller's own variable, so a write lands there at the
// moment the algorithm makes it and a read sees what a client callback left
// there.  ArrayView<Cell> serves a SAFEARRAY of VARIANT or of double in
// place, with the checked a(i) / a(i, j) access of kor::SafeArray (a
// position outside the bounds is error 9).  Nothing is copied: a method that
// reads three elements of a million reads three.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include "component/elements.hpp"
#include "kor/error.hpp"
#include "kor/variant.hpp"

// ---- VARIANT cells (found by argument-dependent lookup: VARIANT lives in
// the global namespace) ----

// The scalar a VARIANT holds, as a kor::Variant (a VT_BYREF one is followed).
// An object is read through its default member (DISPID_VALUE, property get):
// Nothing is error 91, an object without one error 438.  Arrays and error
// values other than "missing" are error 13.
kor::Variant kor_value(const VARIANT& v);
// A kor::Variant into a VARIANT that the caller has cleared or owns.
void to_variant(const kor::Variant& value, VARIANT& out);

double number_of(const VARIANT& v);
void assign_number(VARIANT& v, double x);
std::int16_t int16_of(const VARIANT& v);
std::int32_t int32_of(const VARIANT& v);
bool is_missing(const VARIANT& v);
bool plain_number(const VARIANT& v) noexcept;
const void* referent(const VARIANT& v) noexcept;
bool overwrites_plainly(const VARIANT& cell) noexcept;
inline kor::Variant cell_value(const VARIANT& v) { return kor_value(v); }
// Writes into a cell or into the caller's variable.  A Variant is overwritten
// whatever it held (an array, an object, an error value); a typed variable
// (VT_BYREF | VT_UI1, VT_BYREF | VT_BSTR, ...) receives the value converted to
// its type as the runtime converts it: error 6 when it does not fit, 13 when
// it does not convert; a Variant holding a locked array is error 10.
void assign_value(VARIANT& cell, const kor::Variant& v);
void assign_status(VARIANT& v, std::int16_t s);
inline void assign_integer(VARIANT& v, std::int16_t s) { assign_status(v, s); }
void assign_count(VARIANT& v, std::int32_t c);
inline void swap_cells(VARIANT& a, VARIANT& b) noexcept {
  const VARIANT t = a;
  a = b;
  b = t;
}
// The evaluator's view of a table or vector cell.
bool cell_is_name(const VARIANT& cell, std::string_view upper_name);
inline double cell_number(const VARIANT& cell) { return number_of(cell); }
// A cell's number where reading it can neither fail nor run client code: its
// own Double, Integer or Long.
inline bool cell_plain_number(const VARIANT& cell, double& out) noexcept {
  switch (cell.vt) {
    case VT_R8: out = cell.dblVal; return true;
    case VT_I2: out = cell.iVal; return true;
    case VT_I4: out = cell.lVal; return true;
    default: return false;
  }
}
// A cell of a text array (Rov): a string; Null is error 94, anything else 13.
std::string text_of(const VARIANT& cell);

namespace kor::com {

// A failure of a client's member (a callback, or an object's default
// member), passed to the method's caller as it is.
struct ClientFailure {
  HRESULT hr;
  EXCEPINFO info;  // owned; filled when hr is DISP_E_EXCEPTION
};

// An array argument that the method only hands on to the client's callback
// (Newton's z, Rkm's zz): the argument as the caller sent it, checked to be
// an array of `element` but not locked, so the callback may re-dimension it.
struct ArrayArgument {
  VARIANT* arg;
  VARTYPE element;
};

// UTF-16 <-> UTF-8.
std::string narrow(const wchar_t* text, std::size_t length);
std::wstring widen(std::string_view text);

// A SAFEARRAY of Cell (VARIANT or double) addressed from 1 or 2 indices as
// the caller declared them.  The array is locked while the view lives, so a
// client function object cannot resize it under a method's feet.  A null
// array (a dynamic array never dimensioned) has no positions at all.
template <class Cell>
class ArrayView {
 public:
  using value_type = Cell;

  explicit ArrayView(SAFEARRAY* sa) : sa_(sa) {
    if (!sa_) return;
    SafeArrayLock(sa_);
    dims_ = SafeArrayGetDim(sa_);
    data_ = static_cast<Cell*>(sa_->pvData);
    if (dims_ >= 1) bounds(1, lo1_, n1_);
    if (dims_ >= 2) bounds(2, lo2_, n2_);
  }
  ~ArrayView() {
    if (sa_) SafeArrayUnlock(sa_);
  }
  ArrayView(const ArrayView&) = delete;
  ArrayView& operator=(const ArrayView&) = delete;

  SAFEARRAY* get() const noexcept { return sa_; }

  Cell& operator()(std::int32_t i) {
    if (!contains(i)) throw Error(err::kSubscript);
    return data_[i - lo1_];
  }
  Cell& operator()(std::int32_t i, std::int32_t j) {
    if (!contains(i, j)) throw Error(err::kSubscript);
    return at_unchecked(i, j);
  }
  const Cell& operator()(std::int32_t i) const { return const_cast<ArrayView&>(*this)(i); }
  const Cell& operator()(std::int32_t i, std::int32_t j) const { return const_cast<ArrayView&>(*this)(i, j); }

  bool contains(std::int32_t i) const noexcept {
    return dims_ == 1 && static_cast<std::uint32_t>(std::int64_t{i} - lo1_) < n1_;
  }
  bool contains(std::int32_t i, std::int32_t j) const noexcept {
    return dims_ == 2 && static_cast<std::uint32_t>(std::int64_t{i} - lo1_) < n1_ &&
           static_cast<std::uint32_t>(std::int64_t{j} - lo2_) < n2_;
  }
  Cell& at_unchecked(std::int32_t i) noexcept { return data_[i - lo1_]; }
  Cell& at_unchecked(std::int32_t i, std::int32_t j) noexcept {
    return data_[static_cast<std::size_t>(i - lo1_) + static_cast<std::size_t>(j - lo2_) * n1_];
  }
  std::size_t column_stride() const noexcept { return n1_; }
  std::int32_t ubound(int dim) const {
    if (dim < 1 || dim > static_cast<int>(dims_)) throw Error(err::kSubscript);
    return dim == 1 ? lo1_ + static_cast<std::int32_t>(n1_) - 1 : lo2_ + static_cast<std::int32_t>(n2_) - 1;
  }
  std::int32_t lbound(int dim) const {
    if (dim < 1 || dim > static_cast<int>(dims_)) throw Error(err::kSubscript);
    return dim == 1 ? lo1_ : lo2_;
  }

 private:
  void bounds(UINT dim, std::int32_t& lo, std::uint32_t& n) {
    LONG l = 0, u = -1;
    SafeArrayGetLBound(sa_, dim, &l);
    SafeArrayGetUBound(sa_, dim, &u);
    lo = l;
    n = u >= l ? static_cast<std::uint32_t>(std::int64_t{u} - l + 1) : 0;
  }

  SAFEARRAY* sa_;
  UINT dims_ = 0;
  Cell* data_ = nullptr;
  std::int32_t lo1_ = 0, lo2_ = 0;
  std::uint32_t n1_ = 0, n2_ = 0;
};

using VariantView = ArrayView<VARIANT>;
using DoubleView = ArrayView<double>;

}  // namespace kor::com

namespace kor {
// Dense doubles: the algorithms' fast paths apply to a client's double array.
template <>
struct dense_doubles<com::DoubleView> : std::true_type {};
template <class Cell>
struct is_safe_array<com::ArrayView<Cell>> : std::true_type {};
// A VARIANT holding VT_R8 keeps its double at the same place in every cell.
template <>
struct double_cell<VARIANT> : std::true_type {
  static_assert(sizeof(VARIANT) % sizeof(double) == 0);
  static constexpr std::size_t step = sizeof(VARIANT) / sizeof(double);
  static bool holds_double(const VARIANT& v) noexcept { return v.vt == VT_R8; }
  static double* slot(VARIANT& v) noexcept { return &v.dblVal; }
};
}  // namespace kor
