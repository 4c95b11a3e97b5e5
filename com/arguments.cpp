#include "arguments.hpp"

namespace kor::com {
namespace {

VARIANT* follow(VARIANT* v) {
  while (v->vt == (VT_BYREF | VT_VARIANT) && v->pvarVal) v = v->pvarVal;
  return v;
}

// Writes a by-reference local back into the caller's variable (target is
// the last VARIANT of the reference chain, null for a literal passed by
// value, which has no variable).  A typed variable of the client's receives
// the value converted to its type as automation would convert it; a value
// that does not convert leaves it as it was.
void write_back(VARIANT* target, const Variant& value) noexcept {
  if (!target) return;
  try {
    VARIANT v;
    to_variant(value, v);
    if (!(target->vt & VT_BYREF)) {
      VariantClear(target);
      *target = v;
      return;
    }
    const VARTYPE type = target->vt & ~VT_BYREF;
    VARIANT converted;
    VariantInit(&converted);
    if (SUCCEEDED(VariantChangeType(&converted, &v, 0, type))) {
      switch (type) {
        case VT_I2: *target->piVal = converted.iVal; break;
        case VT_I4: *target->plVal = converted.lVal; break;
        case VT_R8: *target->pdblVal = converted.dblVal; break;
        case VT_R4: *target->pfltVal = converted.fltVal; break;
        case VT_BOOL: *target->pboolVal = converted.boolVal; break;
        case VT_BSTR:
          SysFreeString(*target->pbstrVal);
          *target->pbstrVal = converted.bstrVal;
          converted.vt = VT_EMPTY;
          break;
        default: break;
      }
    }
    VariantClear(&converted);
    VariantClear(&v);
  } catch (...) {
  }
}

// The caller's variable behind argument v, or null for a by-value argument.
VARIANT* variable_of(VARIANT& v) { return (v.vt & VT_BYREF) ? follow(&v) : nullptr; }

}  // namespace

Arguments::~Arguments() {
  for (std::size_t i = 0; i < variants_back_.used; ++i) write_back(variants_back_.items[i]->target, variants_back_.items[i]->value);
  for (std::size_t i = 0; i < doubles_back_.used; ++i)
    write_back(doubles_back_.items[i]->target, Variant(doubles_back_.items[i]->value));
  for (std::size_t i = 0; i < shorts_back_.used; ++i)
    write_back(shorts_back_.items[i]->target, Variant(static_cast<short>(shorts_back_.items[i]->value)));
}

void Arguments::expect(UINT required, UINT total) const {
  if (count_ > total) throw ArgumentError{DISP_E_BADPARAMCOUNT, total};
  for (UINT k = 0; k < required; ++k)
    if (omitted(k)) throw ArgumentError{k < count_ ? DISP_E_PARAMNOTOPTIONAL : DISP_E_BADPARAMCOUNT, k};
}

VARIANT& Arguments::at(UINT k) const { return args_[k]; }

bool Arguments::omitted(UINT k) const {
  if (k >= count_) return true;
  const VARIANT* v = follow(&at(k));
  return v->vt == VT_ERROR && v->scode == DISP_E_PARAMNOTFOUND;
}

Variant Arguments::value(UINT k) const {
  if (omitted(k)) return Variant::missing();
  const VARIANT* v = follow(&at(k));
  if (v->vt & VT_ARRAY) throw ArgumentError{DISP_E_TYPEMISMATCH, k};
  const VARTYPE base = v->vt & VT_TYPEMASK;
  if (base == VT_DISPATCH || base == VT_UNKNOWN || base == VT_RECORD) throw ArgumentError{DISP_E_TYPEMISMATCH, k};
  try {
    return kor_value(*v);
  } catch (const Error&) {
    throw ArgumentError{DISP_E_TYPEMISMATCH, k};
  }
}

double Arguments::real(UINT k) const {
  if (omitted(k)) return 0.0;
  const Variant v = value(k);
  try {
    return v.to_double();
  } catch (const Error&) {
    throw ArgumentError{DISP_E_TYPEMISMATCH, k};
  }
}

std::string Arguments::text(UINT k) const {
  const Variant v = value(k);
  if (v.is_string()) return std::string(v.string_value());
  if (v.is_missing()) throw ArgumentError{DISP_E_PARAMNOTOPTIONAL, k};
  return v.to_string();
}

Variant& Arguments::ref(UINT k) {
  Variant local = value(k);
  // An omitted argument or one passed by value has no variable to write back to.
  return variants_back_.add(k < count_ ? variable_of(at(k)) : nullptr, std::move(local)).value;
}

double& Arguments::real_ref(UINT k) {
  const double x = real(k);
  VARIANT* target = k < count_ ? variable_of(at(k)) : nullptr;
  return doubles_back_.add(target, x).value;
}

std::int16_t& Arguments::short_ref(UINT k) {
  const Variant v = value(k);
  std::int16_t s = 0;
  try {
    s = v.is_missing() ? 0 : v.to_int16();
  } catch (const Error&) {
    throw ArgumentError{DISP_E_TYPEMISMATCH, k};
  }
  VARIANT* target = k < count_ ? variable_of(at(k)) : nullptr;
  return shorts_back_.add(target, s).value;
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

StringArray Arguments::strings(UINT k) const {
  if (k >= count_) throw ArgumentError{DISP_E_PARAMNOTOPTIONAL, k};
  const VARIANT* v = follow(&at(k));
  const VARTYPE element = v->vt & VT_TYPEMASK;
  if (!(v->vt & VT_ARRAY) || (element != VT_BSTR && element != VT_VARIANT)) throw ArgumentError{DISP_E_TYPEMISMATCH, k};
  SAFEARRAY* sa = (v->vt & VT_BYREF) ? *v->pparray : v->parray;
  if (!sa) return StringArray();
  const UINT dims = SafeArrayGetDim(sa);
  if (dims != 1) throw ArgumentError{DISP_E_TYPEMISMATCH, k};
  LONG lo = 0, hi = -1;
  SafeArrayGetLBound(sa, 1, &lo);
  SafeArrayGetUBound(sa, 1, &hi);
  StringArray out(Bounds{lo, hi});
  if (element == VT_BSTR) {
    ArrayView<BSTR> view(sa);
    for (LONG i = lo; i <= hi; ++i) out(i) = narrow(view(i), SysStringLen(view(i)));
  } else {
    VariantView view(sa);
    // A cell that holds no text reads as the text of its value, as a
    // String parameter would receive it.
    for (LONG i = lo; i <= hi; ++i) out(i) = kor_value(view(i)).to_string();
  }
  return out;
}

IDispatch* Arguments::object(UINT k) const {
  if (k >= count_) throw ArgumentError{DISP_E_PARAMNOTOPTIONAL, k};
  const VARIANT* v = follow(&at(k));
  if (v->vt == VT_DISPATCH) return v->pdispVal;
  if (v->vt == (VT_BYREF | VT_DISPATCH)) return *v->ppdispVal;
  throw ArgumentError{DISP_E_TYPEMISMATCH, k};
}

}  // namespace kor::com
