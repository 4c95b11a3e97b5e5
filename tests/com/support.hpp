// What a client of kor.dll does on its own, for the tests under tests/com:
// create objects, call a method through IDispatch::Invoke or through its
// slot of the dual vtable, pass its own variables and arrays by reference,
// serve as the function object (Fun, FKT, F) a method calls back, and catch
// the message boxes the DLL shows.  Reading and writing VARIANT cells and
// SAFEARRAY elements is the component's own business (com/views.hpp).
//
//   Array a(VT_R8, {{2, 1, 5}, {1, 3, 10}});   // a(1..2, 1..3)
//   Var id;
//   Outcome r = call(Face::vtable, create(L"Kor.Korvat").get(), L"Gaussd", {val(2), ref(a), val(1), ref(id)});
//   r.hr == S_OK, a(1, 3) == 1, id.v.vt == VT_I2
#pragma once

#include <windows.h>
#include <oleauto.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "kor.h"
#include "views.hpp"

namespace comtest {

using kor::com::narrow;
using kor::com::widen;
inline std::string narrow(const std::wstring& s) { return narrow(s.data(), s.size()); }
inline std::wstring text(BSTR s) { return s ? std::wstring(s, SysStringLen(s)) : std::wstring(); }
inline std::wstring guid_text(const GUID& g) { wchar_t t[40]; StringFromGUID2(g, t, 40); return t; }

// An owning interface pointer.
template <class T>
class Ptr {
 public:
  Ptr() = default;
  explicit Ptr(T* raw) : p_(raw) {}  // takes over one reference
  Ptr(const Ptr& o) : p_(o.p_) { if (p_) p_->AddRef(); }
  Ptr& operator=(Ptr o) noexcept { std::swap(p_, o.p_); return *this; }
  ~Ptr() { if (p_) p_->Release(); }
  T* get() const noexcept { return p_; }
  T* operator->() const noexcept { return p_; }
  explicit operator bool() const noexcept { return p_ != nullptr; }
  T** put() { *this = Ptr(); return &p_; }
  void** put_void() { return reinterpret_cast<void**>(put()); }
  template <class U>
  Ptr<U> as(REFIID iid = __uuidof(U)) const { Ptr<U> u; if (p_) p_->QueryInterface(iid, u.put_void()); return u; }

 private:
  T* p_ = nullptr;
};

// An owning VARIANT; kor::Variant values convert as the component converts them.
struct Var {
  VARIANT v;
  Var() { VariantInit(&v); }
  explicit Var(const kor::Variant& x) { to_variant(x, v); }
  Var(const Var& o) : Var() { *this = o; }
  Var& operator=(const Var& o) { VariantCopy(&v, const_cast<VARIANT*>(&o.v)); return *this; }
  ~Var() { VariantClear(&v); }
  double number() const { return number_of(v); }
};

// The cells of a SAFEARRAY of doubles or Variants, addressed as the caller
// declared it, through the component's views (a position outside is kor::Error 9).
struct Cells {
  SAFEARRAY* sa = nullptr;
  template <class... I> double operator()(I... at) const { double x = 0; visit([&](auto& c) { x = get(c); }, at...); return x; }
  template <class... I> void set(const kor::Variant& x, I... at) { visit([&](auto& c) { put(c, x); }, at...); }

 private:
  static double get(double d) { return d; }
  static double get(const VARIANT& v) { return number_of(v); }
  static void put(double& d, const kor::Variant& x) { d = x.to_double(); }
  static void put(VARIANT& v, const kor::Variant& x) { assign_value(v, x); }
  template <class F, class... I> void visit(F f, I... at) const {
    VARTYPE vt = VT_EMPTY;
    SafeArrayGetVartype(sa, &vt);
    if (vt == VT_R8) f(kor::com::DoubleView(sa)(LONG(at)...));
    else f(kor::com::VariantView(sa)(LONG(at)...));
  }
};
// The array an argument carries, through any VT_BYREF level.
inline Cells cells_of(const VARIANT* arg) {
  while (arg->vt == (VT_BYREF | VT_VARIANT)) arg = arg->pvarVal;
  return {(arg->vt & VT_BYREF) ? *arg->pparray : arg->parray};
}

// An owned SAFEARRAY of doubles or Variants at 1..n, or at (1..rows, 1..columns) given row by row.
struct Array : Cells {
  Array(VARTYPE element, std::initializer_list<double> values) : Array(element, {values}, 1) {}
  Array(VARTYPE element, std::initializer_list<std::initializer_list<double>> rows, UINT dims = 2) {
    const LONG n = LONG(rows.begin()->size());
    SAFEARRAYBOUND b[2] = {{ULONG(dims == 1 ? n : LONG(rows.size())), 1}, {ULONG(n), 1}};
    sa = SafeArrayCreate(element, dims, b);
    LONG k = 0;
    for (const auto& row : rows)
      for (double x : row) dims == 1 ? set(x, k + 1) : set(x, k / n + 1, k % n + 1), ++k;
  }
  Array(Array&& o) noexcept { sa = std::exchange(o.sa, nullptr); }
  ~Array() { if (sa) SafeArrayDestroy(sa); }
};

// Arguments as a client passes them; none owns what it points at.
inline VARIANT by(VARTYPE vt, void* p) { VARIANT v; v.vt = vt; v.byref = p; return v; }
inline VARIANT val(double d) { return Var(kor::Variant(d)).v; }  // VT_R8; a number owns nothing
inline VARIANT val(int i) { return Var(kor::Variant(i)).v; }     // VT_I2 when it fits, as a script literal
inline VARIANT val(const Var& v) { return v.v; }
inline VARIANT ref(Var& v) { return by(VT_BYREF | VT_VARIANT, &v.v); }
inline VARIANT ref(double& d) { return by(VT_BYREF | VT_R8, &d); }
inline VARIANT ref(IDispatch*& p) { return by(VT_BYREF | VT_DISPATCH, &p); }
inline VARIANT ref(Array& a) { VARTYPE vt = VT_EMPTY; SafeArrayGetVartype(a.sa, &vt); return by(VT_BYREF | VT_ARRAY | vt, &a.sa); }

// The two ways of calling a method: IDispatch::Invoke, or the method's slot of
// the dual vtable, called by ITypeInfo::Invoke of the vtable view as a client
// that binds through the type library does: each argument converted to its
// parameter's type, a failure's HRESULT and IErrorInfo turned into an EXCEPINFO.
enum class Face { late, vtable };
constexpr Face kFaces[] = {Face::late, Face::vtable};
struct Outcome {
  HRESULT hr = E_FAIL;
  Var result;
  SCODE scode = 0;  // EXCEPINFO's: 0x800A0000 | number for a runtime error
  std::wstring description, source;
  UINT arg_err = UINT_MAX;  // a refused argument, in declaration order
};
constexpr HRESULT runtime_error(int number) { return static_cast<HRESULT>(0x800A0000u | unsigned(number)); }

inline DISPID dispid(IDispatch* object, const wchar_t* name, HRESULT* hr = nullptr) {
  DISPID id = DISPID_UNKNOWN;
  const HRESULT h = object->GetIDsOfNames(IID_NULL, const_cast<LPOLESTR*>(&name), 1, 0, &id);
  return hr ? *hr = h, id : id;
}

// The vtable view of a dual interface's dispatch view.
inline Ptr<ITypeInfo> vtable_view(ITypeInfo* dispatch) {
  Ptr<ITypeInfo> v;
  HREFTYPE href = 0;
  return dispatch->GetRefTypeOfImplType(-1, &href) == S_OK && dispatch->GetRefTypeInfo(href, v.put()) == S_OK ? v : v;
}

// Arguments in declaration order; named ones (dispatch identifiers) come first.
inline Outcome call(Face face, IDispatch* object, DISPID id, std::vector<VARIANT> args, std::vector<DISPID> named = {}) {
  Ptr<ITypeInfo> dispatch, vtable;
  if (face == Face::vtable && object->GetTypeInfo(0, 0, dispatch.put()) == S_OK) vtable = vtable_view(dispatch.get());
  EXPECT_EQ(face == Face::vtable, bool(vtable));
  std::reverse(args.begin() + static_cast<long>(named.size()), args.end());
  DISPPARAMS params{args.data(), named.data(), UINT(args.size()), UINT(named.size())};
  Outcome o;
  EXCEPINFO e{};
  UINT arg_err = UINT_MAX;
  o.hr = vtable ? vtable->Invoke(object, id, DISPATCH_METHOD, &params, &o.result.v, &e, &arg_err)
                : object->Invoke(id, IID_NULL, 0, DISPATCH_METHOD | DISPATCH_PROPERTYGET, &params, &o.result.v, &e, &arg_err);
  if (e.pfnDeferredFillIn) e.pfnDeferredFillIn(&e);
  o.scode = e.scode, o.description = text(e.bstrDescription), o.source = text(e.bstrSource);
  SysFreeString(e.bstrDescription), SysFreeString(e.bstrSource), SysFreeString(e.bstrHelpFile);
  if (arg_err < args.size()) o.arg_err = UINT(args.size()) - 1 - arg_err;
  return o;
}
inline Outcome call(Face face, IDispatch* object, const wchar_t* name, std::vector<VARIANT> args) {
  return call(face, object, dispid(object, name), std::move(args));
}

// A new object of kor.dll by ProgID, in the single-threaded apartment the
// component's clients live in; a failure is a test failure.
inline Ptr<IDispatch> create(const wchar_t* progid) {
  static const HRESULT apartment = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  Ptr<IDispatch> d;
  CLSID clsid{};
  EXPECT_EQ(apartment | CLSIDFromProgID(progid, &clsid), S_OK) << narrow(progid);
  EXPECT_EQ(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, d.put_void()), S_OK) << narrow(progid);
  return d;
}

// A text value under `root` ("<absent>" if there is none).
inline std::wstring reg_text(HKEY root, const std::wstring& key, const wchar_t* name = nullptr) {
  wchar_t data[1024] = L"<absent>";
  DWORD size = sizeof data;
  RegGetValueW(root, key.c_str(), name, RRF_RT_REG_SZ, nullptr, data, &size);
  return data;
}
inline std::wstring kor_dll_path() {
  return reg_text(HKEY_CLASSES_ROOT, L"CLSID\\" + guid_text(CLSID_Korvat) + L"\\InprocServer32");
}

// While one lives, kor.dll's calls of user32!MessageBoxW land in `shown`
// (the DLL's import slot is patched) and answer IDOK.
struct Shown { std::wstring text, title; UINT style; friend bool operator==(const Shown&, const Shown&) = default; };
class MessageBoxCapture {
 public:
  MessageBoxCapture() {
    auto* base = reinterpret_cast<BYTE*>(module_ = LoadLibraryW(kor_dll_path().c_str()));
    auto* nt = reinterpret_cast<IMAGE_NT_HEADERS*>(base + reinterpret_cast<IMAGE_DOS_HEADER*>(base)->e_lfanew);
    auto* d = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(
        base + nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress);
    for (; d->Name && !slot_; ++d) {
      auto* names = reinterpret_cast<IMAGE_THUNK_DATA*>(base + d->OriginalFirstThunk);
      auto* slots = reinterpret_cast<IMAGE_THUNK_DATA*>(base + d->FirstThunk);
      for (; lstrcmpiA(reinterpret_cast<char*>(base + d->Name), "user32.dll") == 0 && names->u1.AddressOfData; ++names, ++slots)
        if (!IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal) &&
            lstrcmpA(reinterpret_cast<IMAGE_IMPORT_BY_NAME*>(base + names->u1.AddressOfData)->Name, "MessageBoxW") == 0)
          slot_ = reinterpret_cast<void**>(&slots->u1.Function);
    }
    EXPECT_TRUE(slot_ && !active_) << "kor.dll does not import MessageBoxW, or a capture is already active";
    if (slot_ && !active_) original_ = patch(reinterpret_cast<void*>(&hook)), active_ = this;
  }
  ~MessageBoxCapture() {
    if (active_ == this) patch(original_), active_ = nullptr;
    FreeLibrary(module_);
  }
  std::vector<Shown> shown;

 private:
  void* patch(void* to) {
    DWORD old = 0;
    VirtualProtect(slot_, sizeof(void*), PAGE_READWRITE, &old);
    void* was = std::exchange(*slot_, to);
    return VirtualProtect(slot_, sizeof(void*), old, &old), was;
  }
  static int WINAPI hook(HWND, LPCWSTR text, LPCWSTR title, UINT style) {
    return active_->shown.push_back({text ? text : L"", title ? title : L"", style}), IDOK;
  }
  static inline MessageBoxCapture* active_ = nullptr;
  HMODULE module_;
  void** slot_ = nullptr;
  void* original_ = nullptr;
};

// A client function object whose members are callbacks, found by name
// whatever the case; the member defined under the empty name is the default
// member (DISPID_VALUE).  Script objects, which answer IDispatchEx, are the
// script client's own (tests/com/*.vbs).
class ClientObject final : public IDispatch {
 public:
  struct Call {
    std::vector<VARIANT*> args;  // declaration order
    VARIANT* result;
    EXCEPINFO* excep;
    Cells array(std::size_t k) const { return cells_of(args[k]); }
    HRESULT answer(double value) { if (result) *result = val(value); return S_OK; }
    HRESULT raise(int number, const wchar_t* description) {  // DISP_E_EXCEPTION, scode 0x800A0000 | number
      if (excep) *excep = EXCEPINFO{}, excep->scode = runtime_error(number), excep->bstrDescription = SysAllocString(description);
      return DISP_E_EXCEPTION;
    }
  };
  using Member = std::function<HRESULT(Call&)>;

  static Ptr<ClientObject> make() { return Ptr<ClientObject>(new ClientObject); }
  ClientObject& define(const wchar_t* name, Member m) { members_.emplace_back(name, std::move(m)); return *this; }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override {
    const bool ok = IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_IDispatch);
    *out = ok ? this : nullptr;
    return ok ? (AddRef(), S_OK) : E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ULONG(++refs_); }
  ULONG STDMETHODCALLTYPE Release() override { const LONG n = --refs_; if (!n) delete this; return ULONG(n); }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override { *count = 0; return S_OK; }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return DISP_E_BADINDEX; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override {
    for (UINT k = 0; k < count; ++k) ids[k] = k ? DISPID_UNKNOWN : find(names[0]);
    return count == 1 && ids[0] != DISPID_UNKNOWN ? S_OK : DISP_E_UNKNOWNNAME;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* params, VARIANT* result, EXCEPINFO* excep,
                                   UINT*) override {
    if (id == DISPID_VALUE) id = find(L"");
    if (id < 1 || std::size_t(id) > members_.size()) return DISP_E_MEMBERNOTFOUND;
    Call c{{}, result, excep};
    for (UINT k = params->cArgs; k-- > 0;) c.args.push_back(&params->rgvarg[k]);
    if (result) VariantInit(result);
    return members_[std::size_t(id - 1)].second(c);
  }

 private:
  DISPID find(const wchar_t* name) const {
    for (std::size_t i = 0; i < members_.size(); ++i)
      if (lstrcmpiW(members_[i].first.c_str(), name) == 0) return DISPID(i + 1);
    return DISPID_UNKNOWN;
  }
  LONG refs_ = 1;
  std::vector<std::pair<std::wstring, Member>> members_;
};

}  // namespace comtest
