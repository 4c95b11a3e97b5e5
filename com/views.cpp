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

namespace {

// The VARIANT to write: a by-reference VARIANT is followed; a typed
// by-reference one (VT_BYREF | VT_R8, ...) is written through its pointer.
template <class Set>
void write(VARIANT& in, const kor::Variant& value, Set set_plain) {
  VARIANT* p = &in;
  while (p->vt == (VT_BYREF | VT_VARIANT) && p->pvarVal) p = p->pvarVal;
  if (p->vt & VT_BYREF) {
    switch (p->vt & ~VT_BYREF) {
      case VT_R8:
        *p->pdblVal = value.to_double();
        return;
      case VT_R4:
        *p->pfltVal = static_cast<float>(value.to_double());
        return;
      case VT_I2:
        *p->piVal = value.to_int16();
        return;
      case VT_I4:
        *p->plVal = value.to_int32();
        return;
      default:
        throw kor::Error(kor::err::kTypeMismatch);
    }
  }
  if (p->vt != VT_R8 && p->vt != VT_I2 && p->vt != VT_I4 && p->vt != VT_EMPTY) VariantClear(p);
  set_plain(*p);
}

}  // namespace

void assign_number(VARIANT& v, double x) {
  if (v.vt == VT_R8) {
    v.dblVal = x;
    return;
  }
  write(v, kor::Variant(x), [x](VARIANT& p) {
    p.vt = VT_R8;
    p.dblVal = x;
  });
}

void assign_status(VARIANT& v, std::int16_t s) {
  write(v, kor::Variant(static_cast<short>(s)), [s](VARIANT& p) {
    p.vt = VT_I2;
    p.iVal = s;
  });
}

void assign_count(VARIANT& v, std::int32_t c) {
  const kor::Variant value(static_cast<int>(c));
  write(v, value, [&value](VARIANT& p) { to_variant(value, p); });
}

void assign_value(VARIANT& cell, const kor::Variant& v) {
  write(cell, v, [&v](VARIANT& p) { to_variant(v, p); });
}

bool cell_is_name(const VARIANT& in, std::string_view upper_name) {
  const VARIANT& v = target(in);
  if (v.vt == VT_BSTR) return kor::com::narrow(v.bstrVal, SysStringLen(v.bstrVal)) == upper_name;
  if (v.vt == (VT_BYREF | VT_BSTR)) return kor::com::narrow(*v.pbstrVal, SysStringLen(*v.pbstrVal)) == upper_name;
  return false;  // a cell of any other type never matches
}
