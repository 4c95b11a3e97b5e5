#include "support.hpp"

#include <gtest/gtest.h>

namespace comtest {
namespace {

// The whole test program runs in a single-threaded apartment, like the
// clients the component is made for (gtest_main comes after this).
const HRESULT kApartment = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);

std::wstring text(BSTR s) { return s ? std::wstring(s, SysStringLen(s)) : std::wstring(); }

double number(const double& d) { return d; }
double number(const VARIANT& v) { return number_of(v); }
void put(double& d, const kor::Variant& x) { d = x.to_double(); }
void put(VARIANT& v, const kor::Variant& x) { assign_value(v, x); }

// Runs f on cell (i) or (i, *j) of an array of doubles or of Variants, through the component's views.
template <class F>
void visit(SAFEARRAY* sa, LONG i, const LONG* j, F f) {
  VARTYPE vt = VT_EMPTY;
  SafeArrayGetVartype(sa, &vt);
  auto on = [&](auto view) { j ? f(view(i, *j)) : f(view(i)); };
  if (vt == VT_R8) on(kor::com::DoubleView(sa));
  else on(kor::com::VariantView(sa));
}

SAFEARRAY* make(VARTYPE element, std::initializer_list<kor::Bounds> dims) {
  SAFEARRAYBOUND b[2];
  UINT n = 0;
  for (const kor::Bounds& d : dims) b[n++] = {static_cast<ULONG>(d.count()), d.lower};
  return SafeArrayCreate(element, n, b);
}

VARIANT by(VARTYPE vt, void* p) {
  VARIANT v;
  v.vt = static_cast<VARTYPE>(VT_BYREF | vt);
  v.byref = p;
  return v;
}

}  // namespace

double Cells::operator()(LONG i) const {
  double x = 0;
  visit(sa, i, nullptr, [&](auto& c) { x = number(c); });
  return x;
}
double Cells::operator()(LONG i, LONG j) const {
  double x = 0;
  visit(sa, i, &j, [&](auto& c) { x = number(c); });
  return x;
}
void Cells::set(LONG i, const kor::Variant& x) { visit(sa, i, nullptr, [&](auto& c) { put(c, x); }); }
void Cells::set(LONG i, LONG j, const kor::Variant& x) { visit(sa, i, &j, [&](auto& c) { put(c, x); }); }

Cells cells_of(const VARIANT* arg) {
  while (arg && arg->vt == (VT_BYREF | VT_VARIANT)) arg = arg->pvarVal;
  if (!arg || !(arg->vt & VT_ARRAY)) return {};
  return {(arg->vt & VT_BYREF) ? *arg->pparray : arg->parray};
}

Array::Array(VARTYPE element, std::initializer_list<double> values) {
  sa = make(element, {{1, static_cast<std::int32_t>(values.size())}});
  LONG i = 1;
  for (double x : values) set(i++, x);
}

Array::Array(VARTYPE element, std::initializer_list<std::initializer_list<double>> rows) {
  const auto columns = static_cast<std::int32_t>(rows.begin()->size());
  sa = make(element, {{1, static_cast<std::int32_t>(rows.size())}, {1, columns}});
  LONG i = 1;
  for (const auto& row : rows) {
    LONG j = 1;
    for (double x : row) set(i, j++, x);
    ++i;
  }
}

Array::Array(VARTYPE element, std::initializer_list<kor::Bounds> dims) { sa = make(element, dims); }

Array::Array(std::initializer_list<const wchar_t*> texts) {
  sa = make(VT_BSTR, {{1, static_cast<std::int32_t>(texts.size())}});
  LONG i = 1;
  for (const wchar_t* t : texts) {
    BSTR s = SysAllocString(t);
    SafeArrayPutElement(sa, &i, s);  // copies it
    SysFreeString(s);
    ++i;
  }
}

VARIANT val(double d) { return Var(kor::Variant(d)).v; }  // a number owns nothing
VARIANT val(int i) { return Var(kor::Variant(i)).v; }
VARIANT val(const Var& v) { return v.v; }
VARIANT missing() { return Var(kor::Variant::missing()).v; }
VARIANT ref(Var& v) { return by(VT_VARIANT, &v.v); }
VARIANT ref(double& d) { return by(VT_R8, &d); }
VARIANT ref(short& s) { return by(VT_I2, &s); }
VARIANT ref(IDispatch*& p) { return by(VT_DISPATCH, &p); }
VARIANT ref(Array& a) {
  VARTYPE vt = VT_EMPTY;
  SafeArrayGetVartype(a.sa, &vt);
  return by(static_cast<VARTYPE>(VT_ARRAY | vt), &a.sa);
}

DISPID dispid(IDispatch* object, const wchar_t* name, HRESULT* hr) {
  DISPID id = DISPID_UNKNOWN;
  LPOLESTR names[] = {const_cast<LPOLESTR>(name)};
  const HRESULT h = object->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id);
  if (hr) *hr = h;
  return id;
}

FUNCDESC* function(ITypeInfo* info, MEMBERID id) {
  FUNCDESC* f = nullptr;
  for (UINT i = 0; !f && info->GetFuncDesc(i, &f) == S_OK; ++i)
    if (f->memid != id) info->ReleaseFuncDesc(std::exchange(f, nullptr));
  if (!f) ADD_FAILURE() << "no member 0x" << std::hex << id;
  return f;
}

Outcome call(Face face, IDispatch* object, DISPID id, std::vector<VARIANT> args) {
  // The vtable view of the object's interface calls the method's slot itself,
  // and turns a failure's HRESULT and IErrorInfo into an EXCEPINFO.
  Ptr<ITypeInfo> dispatch, vtable;
  HREFTYPE href = 0;
  if (face == Face::vtable && (object->GetTypeInfo(0, 0, dispatch.put()) != S_OK ||
                               dispatch->GetRefTypeOfImplType(-1, &href) != S_OK ||
                               dispatch->GetRefTypeInfo(href, vtable.put()) != S_OK))
    ADD_FAILURE() << "no vtable view";
  std::vector<VARIANT> reversed(args.rbegin(), args.rend());
  DISPPARAMS params{reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};
  Outcome o;
  EXCEPINFO e{};
  UINT arg_err = UINT_MAX;
  const WORD flags = DISPATCH_METHOD | DISPATCH_PROPERTYGET;
  o.hr = vtable ? vtable->Invoke(object, id, DISPATCH_METHOD, &params, &o.result.v, &e, &arg_err)
                : object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &params, &o.result.v, &e, &arg_err);
  if (e.pfnDeferredFillIn) e.pfnDeferredFillIn(&e);
  o.scode = e.scode;
  o.description = text(e.bstrDescription);
  o.source = text(e.bstrSource);
  SysFreeString(e.bstrDescription);
  SysFreeString(e.bstrSource);
  SysFreeString(e.bstrHelpFile);
  if (arg_err < args.size()) o.arg_err = static_cast<UINT>(args.size()) - 1 - arg_err;
  return o;
}

Outcome call(Face face, IDispatch* object, const wchar_t* name, std::vector<VARIANT> args) {
  HRESULT hr = S_OK;
  const DISPID id = dispid(object, name, &hr);
  EXPECT_EQ(hr, S_OK) << narrow(name);
  return call(face, object, id, std::move(args));
}

ErrorInfo take_error_info() {
  ErrorInfo out;
  IErrorInfo* info = nullptr;
  if (GetErrorInfo(0, &info) != S_OK || !info) return out;
  BSTR s = nullptr, d = nullptr;
  info->GetGUID(&out.guid);
  info->GetSource(&s);
  info->GetDescription(&d);
  info->Release();
  out = {true, out.guid, text(s), text(d)};
  SysFreeString(s);
  SysFreeString(d);
  return out;
}

Ptr<IDispatch> create(const wchar_t* progid) {
  EXPECT_EQ(kApartment, S_OK);
  Ptr<IDispatch> d;
  CLSID clsid{};
  HRESULT hr = CLSIDFromProgID(progid, &clsid);
  if (SUCCEEDED(hr)) hr = CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, d.put_void());
  if (FAILED(hr)) ADD_FAILURE() << "creating " << narrow(progid) << ": 0x" << std::hex << hr;
  return d;
}

std::wstring kor_dll_path() {
  wchar_t clsid[40], path[MAX_PATH * 2];
  StringFromGUID2(CLSID_Korvat, clsid, 40);
  DWORD size = sizeof path;
  if (RegGetValueW(HKEY_CLASSES_ROOT, (L"CLSID\\" + std::wstring(clsid) + L"\\InprocServer32").c_str(), nullptr,
                   RRF_RT_REG_SZ, nullptr, path, &size) != ERROR_SUCCESS)
    return {};
  return path;
}

MessageBoxCapture* MessageBoxCapture::active_ = nullptr;

MessageBoxCapture::MessageBoxCapture() {
  module_ = LoadLibraryW(kor_dll_path().c_str());
  auto* base = reinterpret_cast<BYTE*>(module_);
  EXPECT_TRUE(base && !active_) << "kor.dll not loaded, or a capture is already active";
  if (!base || active_) return;
  auto* nt = reinterpret_cast<IMAGE_NT_HEADERS*>(base + reinterpret_cast<IMAGE_DOS_HEADER*>(base)->e_lfanew);
  const DWORD imports = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
  for (auto* d = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(base + imports); imports && d->Name && !slot_; ++d) {
    if (lstrcmpiA(reinterpret_cast<const char*>(base + d->Name), "user32.dll") != 0) continue;
    auto* names = reinterpret_cast<IMAGE_THUNK_DATA*>(base + d->OriginalFirstThunk);
    auto* slots = reinterpret_cast<IMAGE_THUNK_DATA*>(base + d->FirstThunk);
    for (; names->u1.AddressOfData && !slot_; ++names, ++slots)
      if (!IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal) &&
          lstrcmpA(reinterpret_cast<IMAGE_IMPORT_BY_NAME*>(base + names->u1.AddressOfData)->Name, "MessageBoxW") == 0)
        slot_ = reinterpret_cast<void**>(&slots->u1.Function);
  }
  DWORD old = 0;
  EXPECT_TRUE(slot_) << "kor.dll does not import MessageBoxW";
  if (!slot_ || !VirtualProtect(slot_, sizeof(void*), PAGE_READWRITE, &old)) return;
  original_ = std::exchange(*slot_, reinterpret_cast<void*>(&hook));
  VirtualProtect(slot_, sizeof(void*), old, &old);
  active_ = this;
}

MessageBoxCapture::~MessageBoxCapture() {
  DWORD old = 0;
  if (active_ == this && VirtualProtect(slot_, sizeof(void*), PAGE_READWRITE, &old)) {
    *slot_ = original_;
    VirtualProtect(slot_, sizeof(void*), old, &old);
    active_ = nullptr;
  }
  if (module_) FreeLibrary(module_);
}

int WINAPI MessageBoxCapture::hook(HWND, LPCWSTR text, LPCWSTR title, UINT style) {
  active_->shown.push_back({text ? text : L"", title ? title : L"", style});
  return IDOK;
}

HRESULT ClientObject::Call::answer(double value) {
  if (result) *result = val(value);
  return S_OK;
}

HRESULT ClientObject::Call::raise(int number, const wchar_t* description) {
  if (excep) {
    *excep = EXCEPINFO{};
    excep->scode = runtime_error(number);
    excep->bstrDescription = SysAllocString(description);
  }
  return DISP_E_EXCEPTION;
}

DISPID ClientObject::find(const wchar_t* name) const {
  for (std::size_t i = 0; i < members_.size(); ++i)
    if (lstrcmpiW(members_[i].first.c_str(), name) == 0) return static_cast<DISPID>(i + 1);
  return DISPID_UNKNOWN;
}

HRESULT ClientObject::QueryInterface(REFIID riid, void** out) {
  *out = nullptr;
  if (!IsEqualIID(riid, IID_IUnknown) && !IsEqualIID(riid, IID_IDispatch) &&
      !(script_like_ && IsEqualIID(riid, __uuidof(IDispatchEx))))
    return E_NOINTERFACE;
  *out = static_cast<IDispatchEx*>(this);
  AddRef();
  return S_OK;
}

ULONG ClientObject::Release() {
  const LONG n = InterlockedDecrement(&refs_);
  if (n == 0) delete this;
  return static_cast<ULONG>(n);
}

HRESULT ClientObject::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
  if (script_like_) return E_NOTIMPL;
  for (UINT k = 0; k < count; ++k) ids[k] = k ? DISPID_UNKNOWN : find(names[0]);
  return count == 1 && ids[0] != DISPID_UNKNOWN ? S_OK : DISP_E_UNKNOWNNAME;
}

HRESULT ClientObject::GetDispID(BSTR name, DWORD, DISPID* id) {
  *id = find(name);
  return *id == DISPID_UNKNOWN ? DISP_E_UNKNOWNNAME : S_OK;
}

HRESULT ClientObject::InvokeEx(DISPID id, LCID, WORD, DISPPARAMS* params, VARIANT* result, EXCEPINFO* excep,
                               IServiceProvider*) {
  if (id == DISPID_VALUE) id = find(L"");  // the default member, defined under the empty name
  if (id < 1 || static_cast<std::size_t>(id) > members_.size()) return DISP_E_MEMBERNOTFOUND;
  Call c{{}, result, excep};
  for (UINT k = params->cArgs; k-- > 0;) c.args.push_back(&params->rgvarg[k]);
  if (result) VariantInit(result);
  return members_[static_cast<std::size_t>(id - 1)].second(c);
}

}  // namespace comtest
