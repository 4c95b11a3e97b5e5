#include "client.hpp"

#include <cstring>

namespace kor::com {
namespace {

// IDispatchEx, which script objects answer (MinGW's uuid library lacks it).
constexpr IID kIIDDispatchEx = {0xa6ef9860, 0xc720, 0x11d0, {0x93, 0x37, 0x00, 0xa0, 0xc9, 0x0d, 0xca, 0xa9}};

SAFEARRAY* make_array(VARTYPE element, const Bounds* dims, UINT count) {
  SAFEARRAYBOUND b[2];
  // SafeArrayCreate takes the bounds leftmost dimension first.
  for (UINT d = 0; d < count; ++d) {
    b[d].lLbound = dims[d].lower;
    b[d].cElements = dims[d].upper >= dims[d].lower ? static_cast<ULONG>(dims[d].upper - dims[d].lower + 1) : 0;
  }
  SAFEARRAY* sa = SafeArrayCreate(element, count, b);
  if (!sa) throw std::bad_alloc();
  return sa;
}

template <class T>
SAFEARRAY* array_like(const SafeArray<T>& a, VARTYPE element) {
  const Bounds dims[2] = {a.bounds(1), a.dims() == 2 ? a.bounds(2) : Bounds{}};
  return make_array(element, dims, static_cast<UINT>(a.dims()));
}

// Visits every element of a kor array with the matching element of a SAFEARRAY of the same shape.
template <class T, class Cell, class F>
void each_pair(SafeArray<T>& a, SAFEARRAY* sa, F f) {
  Cell* data = nullptr;
  SafeArrayAccessData(sa, reinterpret_cast<void**>(&data));
  std::size_t k = 0;
  if (a.dims() == 1) {
    for (std::int32_t i = a.bounds(1).lower; i <= a.bounds(1).upper; ++i) f(a(i), data[k++]);
  } else {
    for (std::int32_t j = a.bounds(2).lower; j <= a.bounds(2).upper; ++j)
      for (std::int32_t i = a.bounds(1).lower; i <= a.bounds(1).upper; ++i) f(a(i, j), data[k++]);
  }
  SafeArrayUnaccessData(sa);
}

}  // namespace

ComClient::ComClient(IDispatch* g) : g_(g) {
  if (!g_) return;
  g_->AddRef();
  if (FAILED(g_->QueryInterface(kIIDDispatchEx, reinterpret_cast<void**>(&script_)))) script_ = nullptr;
}

ComClient::~ComClient() {
  if (script_) script_->Release();
  if (g_) g_->Release();
}

DISPID ComClient::id_of(std::string_view member) {
  for (const auto& [name, id] : ids_)
    if (name == member) return id;
  const std::wstring wide = widen(member);
  DISPID id = DISPID_UNKNOWN;
  HRESULT hr;
  if (script_) {
    BSTR name = SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
    hr = script_->GetDispID(name, fdexNameCaseInsensitive, &id);
    SysFreeString(name);
  } else {
    LPOLESTR names[] = {const_cast<LPOLESTR>(wide.c_str())};
    hr = g_->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id);
  }
  if (FAILED(hr)) throw Error(err::kNoMember);
  ids_.emplace_back(std::string(member), id);
  return id;
}

void ComClient::bind(Slot& s, Variant& v) {
  to_variant(v, s.holder);
  s.variant = &v;
  s.arg.vt = VT_BYREF | VT_VARIANT;
  s.arg.pvarVal = &s.holder;
}

void ComClient::bind(Slot& s, VARIANT& v) {
  if (v.vt & VT_BYREF) {
    s.arg = v;  // already a reference to the caller's variable
  } else {
    s.arg.vt = VT_BYREF | VT_VARIANT;
    s.arg.pvarVal = &v;
  }
}

void ComClient::bind(Slot& s, ArrayArgument& a) {
  VARIANT& arg = *a.arg;
  if (arg.vt == (VT_BYREF | VT_VARIANT)) {
    if (script_) {
      s.arg = arg;  // the caller's Variant, as a script passes it on
      return;
    }
    VARIANT* v = arg.pvarVal;
    while (v->vt == (VT_BYREF | VT_VARIANT) && v->pvarVal) v = v->pvarVal;
    s.arg.vt = VT_BYREF | VT_ARRAY | a.element;
    s.arg.pparray = (v->vt & VT_BYREF) ? v->pparray : &v->parray;
    return;
  }
  SAFEARRAY** array = (arg.vt & VT_BYREF) ? arg.pparray : &arg.parray;
  if (script_) {
    // A script writes into an array only through a Variant that holds it;
    // whatever it leaves there becomes the caller's array.
    s.holder.vt = VT_ARRAY | a.element;
    s.holder.parray = *array;
    s.handed = array;
    s.arg.vt = VT_BYREF | VT_VARIANT;
    s.arg.pvarVal = &s.holder;
  } else {
    s.arg.vt = VT_BYREF | VT_ARRAY | a.element;
    s.arg.pparray = array;
  }
}

void ComClient::bind_array(Slot& s, SAFEARRAY* sa, VARTYPE element) {
  s.array = sa;
  s.worked_on = sa;
  if (script_) {
    s.holder.vt = VT_ARRAY | element;
    s.holder.parray = sa;
    s.arg.vt = VT_BYREF | VT_VARIANT;
    s.arg.pvarVal = &s.holder;
  } else {
    s.arg.vt = VT_BYREF | VT_ARRAY | element;
    s.arg.pparray = &s.array;
  }
}

void ComClient::bind(Slot& s, VariantView& a) { bind_array(s, a.get(), VT_VARIANT); }
void ComClient::bind(Slot& s, DoubleView& a) { bind_array(s, a.get(), VT_R8); }

void ComClient::bind(Slot& s, VariantArray& a) {
  s.made = array_like(a, VT_VARIANT);
  s.variant_array = &a;
  each_pair<Variant, VARIANT>(a, s.made, [](Variant& from, VARIANT& to) { to_variant(from, to); });
  SafeArrayLock(s.made);
  bind_array(s, s.made, VT_VARIANT);
}

void ComClient::bind(Slot& s, DoubleArray& a) {
  s.made = array_like(a, VT_R8);
  s.double_array = &a;
  each_pair<double, double>(a, s.made, [](double& from, double& to) { to = from; });
  SafeArrayLock(s.made);
  bind_array(s, s.made, VT_R8);
}

void ComClient::dispatch(std::string_view member, Slot* slots, std::size_t count, VARIANT* result) {
  std::vector<VARIANT> args(count);
  for (std::size_t k = 0; k < count; ++k) args[k] = slots[k].arg;
  DISPPARAMS params{args.data(), nullptr, static_cast<UINT>(count), 0};
  EXCEPINFO info{};
  UINT arg_err = 0;
  HRESULT hr = S_OK;
  try {
    if (!g_) throw Error(err::kObjectNotSet);
    const DISPID id = id_of(member);
    hr = g_->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &params, result, &info, &arg_err);
  } catch (...) {
    for (std::size_t k = 0; k < count; ++k) release(slots[k]);
    throw;
  }
  // What the client wrote comes back, whether or not it succeeded.
  bool unreadable = false, replaced = false;
  for (std::size_t k = 0; k < count; ++k) {
    Slot& s = slots[k];
    if (s.worked_on) {
      // The array stays locked while the method works on it: a client that
      // re-dimensioned it anyway (a script does, into the Variant that holds
      // it) made a new one, which is dropped, and fails as the runtime fails.
      if (script_ && !((s.holder.vt & VT_ARRAY) && s.holder.parray == s.worked_on)) {
        replaced = true;
        VariantClear(&s.holder);
      } else if (!script_ && s.array != s.worked_on) {
        replaced = true;
        SafeArrayDestroy(s.array);
      }
    }
    try {
      if (s.handed) {
        if (s.holder.vt & VT_ARRAY) {
          *s.handed = s.holder.parray;
        } else {  // the client put something else there and let the array go
          *s.handed = nullptr;
          VariantClear(&s.holder);
        }
      }
      if (s.variant) *s.variant = kor_value(s.holder);
      if (s.variant_array)
        each_pair<Variant, VARIANT>(*s.variant_array, s.made, [](Variant& to, VARIANT& from) { to = kor_value(from); });
      if (s.double_array)
        each_pair<double, double>(*s.double_array, s.made, [](double& to, double& from) { to = from; });
    } catch (...) {
      unreadable = true;  // the client left something that is no number where one belongs
    }
    release(s);
  }
  if (FAILED(hr)) {
    if (hr == DISP_E_EXCEPTION && info.pfnDeferredFillIn) info.pfnDeferredFillIn(&info);
    if (hr == DISP_E_MEMBERNOTFOUND || hr == DISP_E_UNKNOWNNAME) throw Error(err::kNoMember);
    throw ClientFailure{hr, info};
  }
  if (replaced) throw Error(err::kArrayLocked);
  if (unreadable) throw Error(err::kTypeMismatch);
}

void ComClient::release(Slot& s) noexcept {
  if (s.variant) VariantClear(&s.holder);
  if (s.made) {
    // Locked while the client held it, so it is still the array made here.
    SafeArrayUnlock(s.made);
    SafeArrayDestroy(s.made);
    s.made = nullptr;
  }
}

}  // namespace kor::com
