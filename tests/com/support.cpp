#include "support.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cwctype>
#include <limits>

namespace comtest {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

std::wstring from_bstr(BSTR s) { return s ? std::wstring(s, SysStringLen(s)) : std::wstring(); }

bool same_name(const std::wstring& a, const wchar_t* b) {
  std::size_t i = 0;
  for (; i < a.size() && b[i]; ++i)
    if (std::towupper(a[i]) != std::towupper(b[i])) return false;
  return i == a.size() && !b[i];
}

}  // namespace

// ---------------------------------------------------------------------------
// Var

Var::Var(short i) : Var() {
  v_.vt = VT_I2;
  v_.iVal = i;
}

Var::Var(int i) : Var() {
  v_.vt = VT_I4;
  v_.lVal = i;
}

Var::Var(double d) : Var() {
  v_.vt = VT_R8;
  v_.dblVal = d;
}

Var::Var(bool b) : Var() {
  v_.vt = VT_BOOL;
  v_.boolVal = b ? VARIANT_TRUE : VARIANT_FALSE;
}

Var::Var(const wchar_t* s) : Var() {
  v_.vt = VT_BSTR;
  v_.bstrVal = SysAllocString(s);
}

Var::Var(const VARIANT& v) : Var() { VariantCopy(&v_, const_cast<VARIANT*>(&v)); }

Var Var::missing() {
  Var m;
  m.v_.vt = VT_ERROR;
  m.v_.scode = DISP_E_PARAMNOTFOUND;
  return m;
}

Var Var::adopt(VARIANT& v) {
  Var out;
  out.v_ = v;
  VariantInit(&v);
  return out;
}

double Var::number() const {
  VARIANT copy;
  VariantInit(&copy);
  if (FAILED(VariantChangeType(&copy, const_cast<VARIANT*>(&v_), 0, VT_R8))) return kNaN;
  return copy.dblVal;
}

std::wstring Var::text() const {
  VARIANT copy;
  VariantInit(&copy);
  if (FAILED(VariantChangeType(&copy, const_cast<VARIANT*>(&v_), 0, VT_BSTR))) return {};
  std::wstring s = from_bstr(copy.bstrVal);
  VariantClear(&copy);
  return s;
}

// ---------------------------------------------------------------------------
// SafeArray

SafeArray SafeArray::make(VARTYPE vt, std::initializer_list<Bounds> dims) {
  SAFEARRAYBOUND bounds[2];
  UINT n = 0;
  for (const Bounds& b : dims) {
    bounds[n].lLbound = b.lower;
    bounds[n].cElements = static_cast<ULONG>(b.upper - b.lower + 1);
    ++n;
  }
  SafeArray a;
  a.a_ = SafeArrayCreate(vt, n, bounds);
  if (!a.a_) ADD_FAILURE() << "SafeArrayCreate failed";
  return a;
}

SafeArray SafeArray::variants(Bounds rows) { return make(VT_VARIANT, {rows}); }
SafeArray SafeArray::variants(Bounds rows, Bounds columns) { return make(VT_VARIANT, {rows, columns}); }
SafeArray SafeArray::doubles(Bounds rows) { return make(VT_R8, {rows}); }
SafeArray SafeArray::doubles(Bounds rows, Bounds columns) { return make(VT_R8, {rows, columns}); }
SafeArray SafeArray::strings(Bounds rows) { return make(VT_BSTR, {rows}); }

SafeArray SafeArray::variants(std::initializer_list<double> values) {
  SafeArray a = variants(Bounds{1, static_cast<LONG>(values.size())});
  LONG i = 1;
  for (double v : values) a.set(i++, v);
  return a;
}

SafeArray SafeArray::doubles(std::initializer_list<double> values) {
  SafeArray a = doubles(Bounds{1, static_cast<LONG>(values.size())});
  LONG i = 1;
  for (double v : values) a.set(i++, v);
  return a;
}

SafeArray SafeArray::strings(std::initializer_list<const wchar_t*> values) {
  SafeArray a = strings(Bounds{1, static_cast<LONG>(values.size())});
  LONG i = 1;
  for (const wchar_t* v : values) a.set(i++, v);
  return a;
}

SafeArray::~SafeArray() {
  if (a_) SafeArrayDestroy(a_);
}

VARTYPE SafeArray::element_type() const {
  VARTYPE vt = VT_EMPTY;
  if (a_) SafeArrayGetVartype(a_, &vt);
  return vt;
}

namespace {

// Puts a double into an element of a VARIANT or double array.
void put_number(SAFEARRAY* a, LONG* index, double value) {
  VARTYPE vt = VT_EMPTY;
  SafeArrayGetVartype(a, &vt);
  HRESULT hr;
  if (vt == VT_R8) {
    hr = SafeArrayPutElement(a, index, &value);
  } else {
    VARIANT v;
    v.vt = VT_R8;
    v.dblVal = value;
    hr = SafeArrayPutElement(a, index, &v);
  }
  if (FAILED(hr)) ADD_FAILURE() << "SafeArrayPutElement failed: 0x" << std::hex << hr;
}

double get_number(SAFEARRAY* a, LONG* index) {
  VARTYPE vt = VT_EMPTY;
  SafeArrayGetVartype(a, &vt);
  if (vt == VT_R8) {
    double d = kNaN;
    if (FAILED(SafeArrayGetElement(a, index, &d))) return kNaN;
    return d;
  }
  VARIANT v;
  VariantInit(&v);
  if (FAILED(SafeArrayGetElement(a, index, &v))) return kNaN;
  Var owned = Var::adopt(v);
  return owned.number();
}

}  // namespace

void SafeArray::set(LONG i, double value) { put_number(a_, &i, value); }

void SafeArray::set(LONG row, LONG column, double value) {
  LONG index[2] = {row, column};
  put_number(a_, index, value);
}

void SafeArray::set(LONG i, const Var& value) {
  if (FAILED(SafeArrayPutElement(a_, &i, const_cast<VARIANT*>(&value.get())))) ADD_FAILURE() << "set(" << i << ")";
}

void SafeArray::set(LONG row, LONG column, const Var& value) {
  LONG index[2] = {row, column};
  if (FAILED(SafeArrayPutElement(a_, index, const_cast<VARIANT*>(&value.get()))))
    ADD_FAILURE() << "set(" << row << ", " << column << ")";
}

void SafeArray::set(LONG i, const wchar_t* text) {
  BSTR s = SysAllocString(text);
  // SafeArrayPutElement copies the string.
  if (FAILED(SafeArrayPutElement(a_, &i, s))) ADD_FAILURE() << "set(" << i << ", text)";
  SysFreeString(s);
}

double SafeArray::number(LONG i) const { return get_number(a_, &i); }

double SafeArray::number(LONG row, LONG column) const {
  LONG index[2] = {row, column};
  return get_number(a_, index);
}

Var SafeArray::element(LONG i) const {
  VARIANT v;
  VariantInit(&v);
  if (FAILED(SafeArrayGetElement(a_, &i, &v))) return Var();
  return Var::adopt(v);
}

Var SafeArray::element(LONG row, LONG column) const {
  LONG index[2] = {row, column};
  VARIANT v;
  VariantInit(&v);
  if (FAILED(SafeArrayGetElement(a_, index, &v))) return Var();
  return Var::adopt(v);
}

std::wstring SafeArray::text(LONG i) const {
  BSTR s = nullptr;
  if (FAILED(SafeArrayGetElement(a_, &i, &s))) return {};
  std::wstring t = from_bstr(s);
  SysFreeString(s);
  return t;
}

// ---------------------------------------------------------------------------
// Arguments

VARIANT byval(short i) {
  VARIANT v;
  v.vt = VT_I2;
  v.iVal = i;
  return v;
}

VARIANT byval(int i) {
  if (i >= SHRT_MIN && i <= SHRT_MAX) return byval(static_cast<short>(i));
  VARIANT v;
  v.vt = VT_I4;
  v.lVal = i;
  return v;
}

VARIANT byval(double d) {
  VARIANT v;
  v.vt = VT_R8;
  v.dblVal = d;
  return v;
}

VARIANT byval(const Var& v) { return v.get(); }

VARIANT missing() {
  VARIANT v;
  v.vt = VT_ERROR;
  v.scode = DISP_E_PARAMNOTFOUND;
  return v;
}

VARIANT byref(Var& v) { return byref(*v.ptr()); }

VARIANT byref(VARIANT& target) {
  VARIANT v;
  v.vt = VT_BYREF | VT_VARIANT;
  v.pvarVal = &target;
  return v;
}

VARIANT byref(double& d) {
  VARIANT v;
  v.vt = VT_BYREF | VT_R8;
  v.pdblVal = &d;
  return v;
}

VARIANT byref(short& i) {
  VARIANT v;
  v.vt = VT_BYREF | VT_I2;
  v.piVal = &i;
  return v;
}

VARIANT byref(IDispatch*& p) {
  VARIANT v;
  v.vt = VT_BYREF | VT_DISPATCH;
  v.ppdispVal = &p;
  return v;
}

VARIANT byref(SafeArray& a) {
  VARIANT v;
  v.vt = static_cast<VARTYPE>(VT_BYREF | VT_ARRAY | a.element_type());
  v.pparray = &a.get();
  return v;
}

VARIANT byref_holder(Var& holder) { return byref(holder); }

Var array_holder(SafeArray&& a) {
  VARIANT v;
  v.vt = static_cast<VARTYPE>(VT_ARRAY | a.element_type());
  v.parray = std::exchange(a.get(), nullptr);
  return Var::adopt(v);
}

// ---------------------------------------------------------------------------
// Calls

DISPID dispid(IDispatch* object, const wchar_t* name, HRESULT* hr) {
  DISPID id = DISPID_UNKNOWN;
  LPOLESTR names[1] = {const_cast<LPOLESTR>(name)};
  HRESULT h = object->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id);
  if (hr) *hr = h;
  return SUCCEEDED(h) ? id : DISPID_UNKNOWN;
}

Outcome invoke(IDispatch* object, const wchar_t* name, std::vector<VARIANT> args, WORD flags) {
  HRESULT hr = S_OK;
  DISPID id = dispid(object, name, &hr);
  if (FAILED(hr)) {
    Outcome o;
    o.hr = hr;
    return o;
  }
  return invoke(object, id, std::move(args), flags);
}

Outcome invoke(IDispatch* object, DISPID id, std::vector<VARIANT> args, WORD flags) {
  std::vector<VARIANT> reversed(args.rbegin(), args.rend());
  DISPPARAMS params{reversed.empty() ? nullptr : reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};
  Outcome o;
  EXCEPINFO e{};
  UINT arg_err = UINT_MAX;
  o.hr = object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &params, o.result.ptr(), &e, &arg_err);
  if (o.hr == DISP_E_EXCEPTION) {
    if (e.pfnDeferredFillIn) e.pfnDeferredFillIn(&e);
    o.scode = e.scode ? e.scode : (e.wCode ? runtime_error(e.wCode) : 0);
    o.description = from_bstr(e.bstrDescription);
    o.source = from_bstr(e.bstrSource);
  }
  SysFreeString(e.bstrDescription);
  SysFreeString(e.bstrSource);
  SysFreeString(e.bstrHelpFile);
  if (arg_err != UINT_MAX && arg_err < args.size()) o.arg_err = static_cast<UINT>(args.size()) - 1 - arg_err;
  return o;
}

ErrorInfo take_error_info() {
  ErrorInfo out;
  IErrorInfo* info = nullptr;
  if (GetErrorInfo(0, &info) != S_OK || !info) return out;
  out.present = true;
  info->GetGUID(&out.guid);
  BSTR s = nullptr;
  if (SUCCEEDED(info->GetSource(&s))) out.source = from_bstr(s);
  SysFreeString(s);
  s = nullptr;
  if (SUCCEEDED(info->GetDescription(&s))) out.description = from_bstr(s);
  SysFreeString(s);
  info->Release();
  return out;
}

// ---------------------------------------------------------------------------
// Objects

Ptr<IDispatch> create(REFCLSID clsid) {
  Ptr<IDispatch> d;
  HRESULT hr = CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, d.put_void());
  if (FAILED(hr)) ADD_FAILURE() << "CoCreateInstance failed: 0x" << std::hex << hr;
  return d;
}

Ptr<IDispatch> create(const wchar_t* progid) {
  CLSID clsid;
  HRESULT hr = CLSIDFromProgID(progid, &clsid);
  if (FAILED(hr)) {
    ADD_FAILURE() << "CLSIDFromProgID failed: 0x" << std::hex << hr;
    return {};
  }
  return create(clsid);
}

Ptr<_Korvat> create_korvat() {
  Ptr<_Korvat> k;
  HRESULT hr = CoCreateInstance(CLSID_Korvat, nullptr, CLSCTX_INPROC_SERVER, IID__Korvat, k.put_void());
  if (FAILED(hr)) ADD_FAILURE() << "CoCreateInstance(Korvat) failed: 0x" << std::hex << hr;
  return k;
}

Ptr<_Interpret> create_interpret() {
  Ptr<_Interpret> i;
  HRESULT hr = CoCreateInstance(CLSID_Interpret, nullptr, CLSCTX_INPROC_SERVER, IID__Interpret, i.put_void());
  if (FAILED(hr)) ADD_FAILURE() << "CoCreateInstance(Interpret) failed: 0x" << std::hex << hr;
  return i;
}

std::wstring kor_dll_path() {
  wchar_t clsid[40];
  StringFromGUID2(CLSID_Korvat, clsid, 40);
  std::wstring key = L"CLSID\\" + std::wstring(clsid) + L"\\InprocServer32";
  wchar_t path[MAX_PATH * 2];
  DWORD size = sizeof path;
  if (RegGetValueW(HKEY_CLASSES_ROOT, key.c_str(), nullptr, RRF_RT_REG_SZ, nullptr, path, &size) != ERROR_SUCCESS)
    return {};
  return path;
}

// ---------------------------------------------------------------------------
// MessageBoxCapture

MessageBoxCapture* MessageBoxCapture::active_ = nullptr;

void** import_slot(HMODULE module, const char* dll, const char* function) {
  auto* base = reinterpret_cast<BYTE*>(module);
  auto* dos = reinterpret_cast<IMAGE_DOS_HEADER*>(base);
  if (!base || dos->e_magic != IMAGE_DOS_SIGNATURE) return nullptr;
  auto* nt = reinterpret_cast<IMAGE_NT_HEADERS*>(base + dos->e_lfanew);
  const IMAGE_DATA_DIRECTORY& dir = nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
  if (!dir.VirtualAddress) return nullptr;
  for (auto* d = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR*>(base + dir.VirtualAddress); d->Name; ++d) {
    if (lstrcmpiA(reinterpret_cast<const char*>(base + d->Name), dll) != 0) continue;
    auto* names = reinterpret_cast<IMAGE_THUNK_DATA*>(base + (d->OriginalFirstThunk ? d->OriginalFirstThunk
                                                                                  : d->FirstThunk));
    auto* slots = reinterpret_cast<IMAGE_THUNK_DATA*>(base + d->FirstThunk);
    for (; names->u1.AddressOfData; ++names, ++slots) {
      if (IMAGE_SNAP_BY_ORDINAL(names->u1.Ordinal)) continue;
      auto* by_name = reinterpret_cast<IMAGE_IMPORT_BY_NAME*>(base + names->u1.AddressOfData);
      if (lstrcmpA(reinterpret_cast<const char*>(by_name->Name), function) == 0)
        return reinterpret_cast<void**>(&slots->u1.Function);
    }
  }
  return nullptr;
}

MessageBoxCapture::MessageBoxCapture() {
  if (active_) {
    ADD_FAILURE() << "only one MessageBoxCapture at a time";
    return;
  }
  const std::wstring path = kor_dll_path();
  module_ = path.empty() ? nullptr : LoadLibraryW(path.c_str());
  if (!module_) {
    ADD_FAILURE() << "kor.dll could not be loaded";
    return;
  }
  void** slot = import_slot(module_, "user32.dll", "MessageBoxW");
  if (!slot) {
    ADD_FAILURE() << "kor.dll does not import user32!MessageBoxW";
    return;
  }
  DWORD old = 0;
  if (!VirtualProtect(slot, sizeof(void*), PAGE_READWRITE, &old)) {
    ADD_FAILURE() << "VirtualProtect failed";
    return;
  }
  original_ = *slot;
  *slot = reinterpret_cast<void*>(&MessageBoxCapture::hook);
  VirtualProtect(slot, sizeof(void*), old, &old);
  slot_ = slot;
  active_ = this;
}

MessageBoxCapture::~MessageBoxCapture() {
  if (slot_) {
    DWORD old = 0;
    VirtualProtect(slot_, sizeof(void*), PAGE_READWRITE, &old);
    *slot_ = original_;
    VirtualProtect(slot_, sizeof(void*), old, &old);
  }
  if (active_ == this) active_ = nullptr;
  if (module_) FreeLibrary(module_);
}

int WINAPI MessageBoxCapture::hook(HWND, LPCWSTR text, LPCWSTR title, UINT style) {
  if (active_)
    active_->messages_.push_back({text ? text : L"", title ? title : L"", style});
  return IDOK;
}

// ---------------------------------------------------------------------------
// Arguments seen by a client function object

namespace {

// Follows VT_BYREF|VT_VARIANT links to the VARIANT that holds the value.
const VARIANT* deref(const VARIANT* v) {
  while (v && v->vt == (VT_BYREF | VT_VARIANT)) v = v->pvarVal;
  return v;
}

}  // namespace

ArrayArg::ArrayArg(VARIANT* arg) {
  const VARIANT* v = deref(arg);
  if (!v || !(v->vt & VT_ARRAY)) return;
  a_ = (v->vt & VT_BYREF) ? (v->pparray ? *v->pparray : nullptr) : v->parray;
  vt_ = static_cast<VARTYPE>(v->vt & VT_TYPEMASK);
}

LONG ArrayArg::lower(UINT dim) const {
  LONG b = 0;
  SafeArrayGetLBound(a_, dim, &b);
  return b;
}

LONG ArrayArg::upper(UINT dim) const {
  LONG b = -1;
  SafeArrayGetUBound(a_, dim, &b);
  return b;
}

double ArrayArg::number(LONG i) const { return a_ ? get_number(a_, &i) : kNaN; }

double ArrayArg::number(LONG row, LONG column) const {
  LONG index[2] = {row, column};
  return a_ ? get_number(a_, index) : kNaN;
}

void ArrayArg::set(LONG i, double value) {
  if (a_) put_number(a_, &i, value);
}

void ArrayArg::set(LONG row, LONG column, double value) {
  LONG index[2] = {row, column};
  if (a_) put_number(a_, index, value);
}

double number(const VARIANT* arg) {
  const VARIANT* v = deref(arg);
  if (!v) return kNaN;
  VARIANT copy;
  VariantInit(&copy);
  if (FAILED(VariantChangeType(&copy, const_cast<VARIANT*>(v), 0, VT_R8))) return kNaN;
  return copy.dblVal;
}

bool set_number(VARIANT* arg, double value) {
  if (!arg) return false;
  if (arg->vt == (VT_BYREF | VT_R8)) {
    *arg->pdblVal = value;
    return true;
  }
  if (arg->vt != (VT_BYREF | VT_VARIANT)) return false;
  VARIANT* target = arg->pvarVal;
  while (target->vt == (VT_BYREF | VT_VARIANT)) target = target->pvarVal;
  if (target->vt == (VT_BYREF | VT_R8)) {
    *target->pdblVal = value;
    return true;
  }
  VariantClear(target);
  target->vt = VT_R8;
  target->dblVal = value;
  return true;
}

// ---------------------------------------------------------------------------
// ClientObject

HRESULT ClientObject::Call::set_result(double value) {
  if (result) {
    VariantClear(result);
    result->vt = VT_R8;
    result->dblVal = value;
  }
  return S_OK;
}

HRESULT ClientObject::Call::raise(int number, const wchar_t* description) {
  if (excep) {
    *excep = EXCEPINFO{};
    excep->scode = runtime_error(number);
    excep->bstrDescription = SysAllocString(description);
    excep->bstrSource = SysAllocString(L"ClientObject");
  }
  return DISP_E_EXCEPTION;
}

Ptr<ClientObject> ClientObject::make() { return Ptr<ClientObject>(new ClientObject()); }

ClientObject& ClientObject::define(const std::wstring& name, Member member) {
  members_.push_back({name, std::move(member), 0});
  return *this;
}

int ClientObject::calls(const std::wstring& name) const {
  for (const Entry& e : members_)
    if (same_name(e.name, name.c_str())) return e.calls;
  return 0;
}

HRESULT ClientObject::QueryInterface(REFIID riid, void** out) {
  if (!out) return E_POINTER;
  if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_IDispatch)) {
    *out = static_cast<IDispatch*>(this);
    AddRef();
    return S_OK;
  }
  *out = nullptr;
  return E_NOINTERFACE;
}

ULONG ClientObject::AddRef() { return static_cast<ULONG>(InterlockedIncrement(&refs_)); }

ULONG ClientObject::Release() {
  LONG n = InterlockedDecrement(&refs_);
  if (n == 0) delete this;
  return static_cast<ULONG>(n);
}

HRESULT ClientObject::GetTypeInfoCount(UINT* count) {
  if (!count) return E_POINTER;
  *count = 0;
  return S_OK;
}

HRESULT ClientObject::GetTypeInfo(UINT, LCID, ITypeInfo** info) {
  if (info) *info = nullptr;
  return DISP_E_BADINDEX;
}

HRESULT ClientObject::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
  if (!names || !ids) return E_POINTER;
  HRESULT hr = S_OK;
  for (UINT n = 0; n < count; ++n) ids[n] = DISPID_UNKNOWN;
  if (count == 0) return S_OK;
  for (std::size_t i = 0; i < members_.size(); ++i)
    if (same_name(members_[i].name, names[0])) ids[0] = static_cast<DISPID>(i + 1);
  if (ids[0] == DISPID_UNKNOWN) hr = DISP_E_UNKNOWNNAME;
  // The object has no named parameters.
  if (count > 1) hr = DISP_E_UNKNOWNNAME;
  return hr;
}

HRESULT ClientObject::Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* params, VARIANT* result,
                             EXCEPINFO* excep, UINT*) {
  if (id < 1 || static_cast<std::size_t>(id) > members_.size()) return DISP_E_MEMBERNOTFOUND;
  if (params && params->cNamedArgs) return DISP_E_NONAMEDARGS;
  Entry& e = members_[static_cast<std::size_t>(id - 1)];
  ++e.calls;
  Call call{{}, result, excep, flags};
  const UINT count = params ? params->cArgs : 0;
  for (UINT i = 0; i < count; ++i) call.args.push_back(&params->rgvarg[count - 1 - i]);
  if (result) VariantInit(result);
  return e.member ? e.member(call) : S_OK;
}

}  // namespace comtest
