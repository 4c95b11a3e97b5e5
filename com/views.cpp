// VARIANT cells read and written as automation does.
#include "views.hpp"


namespace kor::com {

std::string narrow(const wchar_t* text, std::size_t length) {
  if (!text || length == 0) return {};
  const int n = WideCharToMultiByte(CP_UTF8, 0, text, static_cast<int>(length), nullptr, 0, nullptr, nullptr);
  std::string out(static_cast<std::size_t>(n), '\0');
  WideCharToMultiByte(CP_UTF8, 0, text, static_cast<int>(length), out.data(), n, nullptr, nullptr);
  return out;
}

std::wstring widen(std::string_view text) {
  if (text.empty()) return {};
  const int n = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
  std::wstring out(static_cast<std::size_t>(n), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), out.data(), n);
  return out;
}

}  // namespace kor::com

namespace {

// The VARIANT a by-reference VARIANT points at, followed to the end.
const VARIANT& target(const VARIANT& v) {
  const VARIANT* p = &v;
  while (p->vt == (VT_BYREF | VT_VARIANT) && p->pvarVal) p = p->pvarVal;
  return *p;
}

// The value of an object's default member, as the runtime reads an object
// where it needs a value.  The result may be an object again: it is read the
// same way, a few levels deep at most.
kor::Variant default_value(IDispatch* object, int depth) {
  if (!object) throw kor::Error(kor::err::kObjectNotSet);
  if (depth > 8) throw kor::Error(kor::err::kTypeMismatch);
  DISPPARAMS none{nullptr, nullptr, 0, 0};
  EXCEPINFO info{};
  UINT arg_err = 0;
  VARIANT r;
  VariantInit(&r);
  const HRESULT hr =
      object->Invoke(DISPID_VALUE, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, &r, &info, &arg_err);
  if (FAILED(hr)) {
    VariantClear(&r);
    if (hr == DISP_E_MEMBERNOTFOUND || hr == DISP_E_UNKNOWNNAME || hr == E_NOTIMPL || hr == DISP_E_BADPARAMCOUNT)
      throw kor::Error(kor::err::kNoMember);
    if (hr == DISP_E_EXCEPTION && info.pfnDeferredFillIn) info.pfnDeferredFillIn(&info);
    throw kor::com::ClientFailure{hr, info};
  }
  struct Clear {
    VARIANT& v;
    ~Clear() { VariantClear(&v); }
  } clear{r};
  const VARTYPE type = r.vt & ~VT_BYREF;
  if (type == VT_DISPATCH) return default_value((r.vt & VT_BYREF) ? *r.ppdispVal : r.pdispVal, depth + 1);
  return kor_value(r);
}

}  // namespace

kor::Variant kor_value(const VARIANT& in) {
  const VARIANT& v = target(in);
  const bool ref = (v.vt & VT_BYREF) != 0;
  switch (v.vt & ~VT_BYREF) {
    case VT_EMPTY:
      return kor::Variant();
    case VT_NULL:
      return kor::Variant::null();
    case VT_I2:
      return kor::Variant(static_cast<short>(ref ? *v.piVal : v.iVal));
    case VT_I4:
      return kor::Variant::from_long(ref ? *v.plVal : v.lVal);
    case VT_R8:
      return kor::Variant(ref ? *v.pdblVal : v.dblVal);
    case VT_R4:
      return kor::Variant::from_single(ref ? *v.pfltVal : v.fltVal);
    case VT_BOOL:
      return kor::Variant((ref ? *v.pboolVal : v.boolVal) != VARIANT_FALSE);
    case VT_BSTR: {
      const BSTR s = ref ? *v.pbstrVal : v.bstrVal;
      return kor::Variant(kor::com::narrow(s, SysStringLen(s)));
    }
    case VT_DISPATCH:
      return default_value(ref ? *v.ppdispVal : v.pdispVal, 0);
    case VT_ERROR:
      if ((ref ? *v.pscode : v.scode) == DISP_E_PARAMNOTFOUND) return kor::Variant::missing();
      throw kor::Error(kor::err::kTypeMismatch);
    default:
      break;
  }
  // Other numbers (bytes, unsigned and 64-bit integers, currency, dates,
  // decimals) convert as automation converts them.
  if (v.vt & VT_ARRAY) throw kor::Error(kor::err::kTypeMismatch);
  VARIANT d;
  VariantInit(&d);
  if (FAILED(VariantChangeType(&d, const_cast<VARIANT*>(&v), 0, VT_R8))) throw kor::Error(kor::err::kTypeMismatch);
  return kor::Variant(d.dblVal);
}

void to_variant(const kor::Variant& value, VARIANT& out) {
  using T = kor::Variant::Type;
  VariantInit(&out);
  switch (value.type()) {
    case T::Empty:
      break;
    case T::Null:
      out.vt = VT_NULL;
      break;
    case T::Integer:
      out.vt = VT_I2;
      out.iVal = value.to_int16();
      break;
    case T::Long:
      out.vt = VT_I4;
      out.lVal = value.to_int32();
      break;
    case T::Double:
      out.vt = VT_R8;
      out.dblVal = value.to_double();
      break;
    case T::Single:
      out.vt = VT_R4;
      out.fltVal = static_cast<float>(value.to_double());
      break;
    case T::Boolean:
      out.vt = VT_BOOL;
      out.boolVal = value.to_double() != 0 ? VARIANT_TRUE : VARIANT_FALSE;
      break;
    case T::String: {
      const std::wstring w = kor::com::widen(value.string_value());
      out.vt = VT_BSTR;
      out.bstrVal = SysAllocStringLen(w.data(), static_cast<UINT>(w.size()));
      break;
    }
    case T::Missing:
      out.vt = VT_ERROR;
      out.scode = DISP_E_PARAMNOTFOUND;
      break;
  }
}

double number_of(const VARIANT& in) {
  const VARIANT& v = target(in);
  switch (v.vt) {
    case VT_R8:
      return v.dblVal;
    case VT_I2:
      return v.iVal;
    case VT_I4:
      return v.lVal;
    case VT_EMPTY:
      return 0;
    default:
      return kor_value(v).to_double();
  }
}

std::int16_t int16_of(const VARIANT& in) {
  const VARIANT& v = target(in);
  if (v.vt == VT_I2) return v.iVal;
  return kor_value(v).to_int16();
}

std::int32_t int32_of(const VARIANT& in) {
  const VARIANT& v = target(in);
  if (v.vt == VT_I4) return v.lVal;
  if (v.vt == VT_I2) return v.iVal;
  return kor_value(v).to_int32();
}

bool is_missing(const VARIANT& in) {
  const VARIANT& v = target(in);
  return v.vt == VT_ERROR && v.scode == DISP_E_PARAMNOTFOUND;
}

// A number of its own or the caller's typed number, read without conversion
// failures or client code.
bool plain_number(const VARIANT& in) noexcept {
  switch (target(in).vt & ~VT_BYREF) {
    case VT_EMPTY: case VT_I2: case VT_I4: case VT_R4: case VT_R8: return true;
    default: return false;
  }
}

const void* referent(const VARIANT& in) noexcept {
  const VARIANT& v = target(in);
  return (v.vt & VT_BYREF) ? v.byref : static_cast<const void*>(&v);
}

// Not a reference to a typed variable (whose type may refuse a value) and
// no array (which may be locked).
bool overwrites_plainly(const VARIANT& cell) noexcept { return !(cell.vt & (VT_BYREF | VT_ARRAY)); }

namespace {

// A typed variable of the caller's (VT_BYREF | type) receives `value`
// converted to its type as the runtime converts on assignment.
void store_typed(VARIANT& p, const kor::Variant& value) {
  const VARTYPE type = p.vt & ~VT_BYREF;
  VARIANT from, to;
  to_variant(value, from);
  VariantInit(&to);
  const HRESULT hr = VariantChangeType(&to, &from, 0, type);
  VariantClear(&from);
  if (FAILED(hr)) {
    VariantClear(&to);
    throw kor::Error(hr == DISP_E_OVERFLOW ? kor::err::kOverflow : kor::err::kTypeMismatch);
  }
  switch (type) {
    case VT_UI1: *p.pbVal = to.bVal; return;
    case VT_I1: *p.pcVal = to.cVal; return;
    case VT_I2: *p.piVal = to.iVal; return;
    case VT_UI2: *p.puiVal = to.uiVal; return;
    case VT_I4: *p.plVal = to.lVal; return;
    case VT_UI4: *p.pulVal = to.ulVal; return;
    case VT_INT: *p.pintVal = to.intVal; return;
    case VT_UINT: *p.puintVal = to.uintVal; return;
    case VT_I8: *p.pllVal = to.llVal; return;
    case VT_UI8: *p.pullVal = to.ullVal; return;
    case VT_R4: *p.pfltVal = to.fltVal; return;
    case VT_R8: *p.pdblVal = to.dblVal; return;
    case VT_CY: *p.pcyVal = to.cyVal; return;
    case VT_DATE: *p.pdate = to.date; return;
    case VT_BOOL: *p.pboolVal = to.boolVal; return;
    case VT_DECIMAL: {
      // A DECIMAL inside a VARIANT keeps the VARIANT's type in wReserved.
      const USHORT reserved = p.pdecVal->wReserved;
      *p.pdecVal = to.decVal;
      p.pdecVal->wReserved = reserved;
      return;
    }
    case VT_BSTR:
      SysFreeString(*p.pbstrVal);
      *p.pbstrVal = to.bstrVal;
      return;
    default:
      VariantClear(&to);
      throw kor::Error(kor::err::kTypeMismatch);
  }
}

void write(VARIANT& in, const kor::Variant& value) {
  VARIANT* p = &in;
  while (p->vt == (VT_BYREF | VT_VARIANT) && p->pvarVal) p = p->pvarVal;
  if ((p->vt & VT_BYREF) && !(p->vt & VT_ARRAY)) return store_typed(*p, value);
  if (p->vt & VT_BYREF) {
    // An array variable passed in its own type is no Variant that can take
    // a number; a Variant that refers to an array is simply overwritten,
    // unless the array is in use (a method's own), as below.
    if (p == &in) throw kor::Error(kor::err::kTypeMismatch);
    if ((p->vt & VT_ARRAY) && p->pparray && *p->pparray && (*p->pparray)->cLocks)
      throw kor::Error(kor::err::kArrayLocked);
  } else {
    // A Variant holding an array in use (a method's own) keeps it.
    if ((p->vt & VT_ARRAY) && p->parray && p->parray->cLocks) throw kor::Error(kor::err::kArrayLocked);
    VariantClear(p);
  }
  to_variant(value, *p);
}

}  // namespace

void assign_number(VARIANT& v, double x) {
  if (v.vt == VT_R8) {
    v.dblVal = x;
    return;
  }
  write(v, kor::Variant(x));
}

void assign_status(VARIANT& v, std::int16_t s) { write(v, kor::Variant(static_cast<short>(s))); }

void assign_count(VARIANT& v, std::int32_t c) { write(v, kor::Variant(static_cast<int>(c))); }

void assign_value(VARIANT& cell, const kor::Variant& v) { write(cell, v); }

std::string text_of(const VARIANT& cell) {
  const VARIANT& v = target(cell);
  if (v.vt == VT_BSTR) return kor::com::narrow(v.bstrVal, SysStringLen(v.bstrVal));
  if (v.vt == (VT_BYREF | VT_BSTR)) return kor::com::narrow(*v.pbstrVal, SysStringLen(*v.pbstrVal));
  throw kor::Error((v.vt & ~VT_BYREF) == VT_NULL ? kor::err::kInvalidNull : kor::err::kTypeMismatch);
}

bool cell_is_name(const VARIANT& in, std::string_view upper_name) {
  const VARIANT& v = target(in);
  if (v.vt == VT_BSTR) return kor::com::narrow(v.bstrVal, SysStringLen(v.bstrVal)) == upper_name;
  if (v.vt == (VT_BYREF | VT_BSTR)) return kor::com::narrow(*v.pbstrVal, SysStringLen(*v.pbstrVal)) == upper_name;
  return false;  // a cell of any other type never matches
}
