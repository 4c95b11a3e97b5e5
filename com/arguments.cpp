#include "arguments.hpp"

#include <new>

namespace kor::com {
namespace {

VARIANT* follow(VARIANT* v) {
  while (v->vt == (VT_BYREF | VT_VARIANT) && v->pvarVal) v = v->pvarVal;
  return v;
}

VARIANT missing_value() {
  VARIANT v;
  VariantInit(&v);
  v.vt = VT_ERROR;
  v.scode = DISP_E_PARAMNOTFOUND;
  return v;
}

bool is_object(const VARIANT& v) { return (v.vt & ~VT_BYREF) == VT_DISPATCH; }

// A number the parameter's type takes on entry; what holds none is refused
// naming the argument.  An object gives its default member's value (its
// own failures pass as they are).
Variant number_on_entry(const VARIANT& v, UINT k) {
  Variant x;
  if (is_object(v)) x = kor_value(v);
  else if ((v.vt & VT_ARRAY) || (v.vt & ~VT_BYREF) == VT_UNKNOWN) throw ArgumentError{DISP_E_TYPEMISMATCH, k};
  else {
    try {
      x = kor_value(v);
    } catch (const Error&) {
      throw ArgumentError{DISP_E_TYPEMISMATCH, k};
    }
  }
  if (!x.is_numeric() && !x.is_empty() && x.type() != Variant::Type::Boolean) {
    try {
      (void)x.to_double();  // a text that holds a number is one
    } catch (const Error&) {
      throw ArgumentError{DISP_E_TYPEMISMATCH, k};
    }
  }
  return x;
}

}  // namespace

Arguments::~Arguments() {
  if (!finished_) {
    // The method failed: what it changed still reaches the caller, as far
    // as it fits; the method's own error is the one reported.
    try {
      write_back(false);
    } catch (...) {
    }
  }
  for (std::size_t i = 0; i < locals_used_; ++i) VariantClear(&locals_[i]);
}

void Arguments::write_back(bool all) {
  finished_ = true;
  for (std::size_t i = 0; i < shorts_back_.used; ++i) {
    const ShortBack& b = *shorts_back_.items[i];
    if (b.target && (all || b.value != b.entry)) assign_status(*b.target, b.value);
  }
}

void Arguments::expect(UINT required, UINT total) const {
  if (count_ > total) throw ArgumentError{DISP_E_BADPARAMCOUNT, total};
  for (UINT k = 0; k < required; ++k)
    if (omitted(k)) throw ArgumentError{k < count_ ? DISP_E_PARAMNOTOPTIONAL : DISP_E_BADPARAMCOUNT, k};
}

bool Arguments::omitted(UINT k) const {
  if (k >= count_) return true;
  const VARIANT* v = follow(&at(k));
  return v->vt == VT_ERROR && v->scode == DISP_E_PARAMNOTFOUND;
}

// A VARIANT of the call's own: a copy of *copy_of (its referent when it is a
// typed reference), or "missing" when copy_of is null.
VARIANT& Arguments::local(const VARIANT* copy_of, UINT k) {
  if (locals_used_ == kSlots) throw ArgumentError{DISP_E_BADPARAMCOUNT, static_cast<UINT>(kSlots)};
  VARIANT& v = locals_[locals_used_];
  if (!copy_of) {
    v = missing_value();
  } else {
    VariantInit(&v);
    const HRESULT hr = VariantCopyInd(&v, const_cast<VARIANT*>(copy_of));
    if (hr == E_OUTOFMEMORY) throw std::bad_alloc();
    if (FAILED(hr)) throw ArgumentError{DISP_E_TYPEMISMATCH, k};
  }
  ++locals_used_;
  return v;
}

const VARIANT& Arguments::value(UINT k) {
  if (k >= count_) return local(nullptr, k);
  VARIANT& v = at(k);
  // A value that came by reference is copied on entry, as a by-value
  // parameter is: the caller's later changes to its variable do not reach it.
  return (v.vt & VT_BYREF) ? local(follow(&v), k) : v;
}

VARIANT& Arguments::ref(UINT k) {
  if (k >= count_) return local(nullptr, k);
  VARIANT& v = at(k);
  // A value sent by value has no variable: the method writes into a local.
  return (v.vt & VT_BYREF) ? v : local(&v, k);
}

double Arguments::real(UINT k) {
  if (omitted(k)) return 0.0;
  return number_on_entry(*follow(&at(k)), k).to_double();
}

VARIANT& Arguments::real_ref(UINT k) {
  if (omitted(k)) {
    VARIANT zero;
    zero.vt = VT_R8;
    zero.dblVal = 0.0;
    return local(&zero, k);
  }
  number_on_entry(*follow(&at(k)), k);
  return ref(k);
}

std::int16_t& Arguments::short_ref(UINT k) {
  std::int16_t s = 0;
  if (!omitted(k)) {
    const Variant v = number_on_entry(*follow(&at(k)), k);
    try {
      s = v.to_int16();
    } catch (const Error&) {
      throw ArgumentError{DISP_E_TYPEMISMATCH, k};
    }
  }
  VARIANT* target = k < count_ && (at(k).vt & VT_BYREF) ? &at(k) : nullptr;
  return shorts_back_.add(target, s).value;
}

std::string Arguments::text(UINT k) const {
  if (omitted(k)) throw ArgumentError{DISP_E_PARAMNOTOPTIONAL, k};
  const VARIANT& v = *follow(&at(k));
  const VARTYPE type = v.vt & ~VT_BYREF;
  if ((v.vt & VT_ARRAY) || type == VT_ERROR || type == VT_UNKNOWN) throw ArgumentError{DISP_E_TYPEMISMATCH, k};
  // An object gives its default member's value; Null is no text (error 94).
  const Variant x = kor_value(v);
  if (x.is_null()) throw Error(err::kInvalidNull);
  if (x.is_string()) return std::string(x.string_value());
  return x.to_string();
}

SAFEARRAY* Arguments::array(UINT k, VARTYPE element) const {
  if (k >= count_) throw ArgumentError{DISP_E_PARAMNOTOPTIONAL, k};
  const VARIANT* v = follow(&at(k));
  if (v->vt == (VT_ARRAY | element)) return v->parray;
  if (v->vt == (VT_BYREF | VT_ARRAY | element)) return *v->pparray;
  throw ArgumentError{DISP_E_TYPEMISMATCH, k};
}

VariantView& Arguments::variants(UINT k) {
  return variant_views_.add(array(k, VT_VARIANT));
}

DoubleView& Arguments::doubles(UINT k) {
  return double_views_.add(array(k, VT_R8));
}

ArrayArgument Arguments::unlocked(UINT k, VARTYPE element) const {
  array(k, element);
  return ArrayArgument{&at(k), element};
}

bool Arguments::text_array(UINT k) const {
  if (k >= count_) return false;
  const VARIANT* v = follow(&at(k));
  return v->vt == (VT_ARRAY | VT_BSTR) || v->vt == (VT_BYREF | VT_ARRAY | VT_BSTR);
}

StringArray Arguments::strings(UINT k) const {
  SAFEARRAY* sa = array(k, VT_BSTR);
  if (!sa) return StringArray();
  if (SafeArrayGetDim(sa) != 1) throw ArgumentError{DISP_E_TYPEMISMATCH, k};
  LONG lo = 0, hi = -1;
  SafeArrayGetLBound(sa, 1, &lo);
  SafeArrayGetUBound(sa, 1, &hi);
  StringArray out(Bounds{lo, hi});
  ArrayView<BSTR> view(sa);
  for (LONG i = lo; i <= hi; ++i) out(i) = narrow(view(i), SysStringLen(view(i)));
  return out;
}

IDispatch* Arguments::object(UINT k) const {
  if (k >= count_) throw ArgumentError{DISP_E_PARAMNOTOPTIONAL, k};
  const VARIANT* v = follow(&at(k));
  if (v->vt == VT_DISPATCH) return v->pdispVal;
  if (v->vt == (VT_BYREF | VT_DISPATCH)) return *v->ppdispVal;
  if (v->vt == VT_EMPTY) return nullptr;  // an object variable never set
  throw ArgumentError{DISP_E_TYPEMISMATCH, k};
}

}  // namespace kor::com
