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
#include <dispex.h>
#include <oleauto.h>

#include <climits>
#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "kor.h"
#include "views.hpp"

namespace comtest {

using kor::com::narrow;
using kor::com::widen;
inline std::string narrow(const std::wstring& s) { return narrow(s.data(), s.size()); }

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
  Var(const Var& o) : Var() { VariantCopy(&v, const_cast<VARIANT*>(&o.v)); }
  Var& operator=(const Var& o) { VariantCopy(&v, const_cast<VARIANT*>(&o.v)); return *this; }
  ~Var() { VariantClear(&v); }
  double number() const { return number_of(v); }
};

// Numbers in a SAFEARRAY of doubles or Variants, addressed as the caller
// declared it; a position outside the bounds throws kor::Error 9.
struct Cells {
  SAFEARRAY* sa = nullptr;
  double operator()(LONG i) const;
  double operator()(LONG i, LONG j) const;
  void set(LONG i, const kor::Variant& x);
  void set(LONG i, LONG j, const kor::Variant& x);
};
// The array an argument carries, through any VT_BYREF level (sa null if none).
Cells cells_of(const VARIANT* arg);

// An owned SAFEARRAY: positions 1..n, a matrix (1..rows, 1..columns) given
// row by row, any bounds, or texts at 1..n.
struct Array : Cells {
  Array(VARTYPE element, std::initializer_list<double> values);
  Array(VARTYPE element, std::initializer_list<std::initializer_list<double>> rows);
  Array(VARTYPE element, std::initializer_list<kor::Bounds> dims);
  explicit Array(std::initializer_list<const wchar_t*> texts);
  Array(Array&& o) noexcept { sa = std::exchange(o.sa, nullptr); }
  ~Array() { if (sa) SafeArrayDestroy(sa); }
};

// Arguments as a client passes them; none owns what it points at.
VARIANT val(double d);      // VT_R8
VARIANT val(int i);         // VT_I2 when it fits, else VT_I4, as a script literal
VARIANT val(const Var& v);  // the VARIANT itself, shallow
VARIANT missing();          // an omitted optional argument
VARIANT ref(Var& v);        // VT_BYREF | VT_VARIANT
VARIANT ref(double& d);
VARIANT ref(short& s);
VARIANT ref(IDispatch*& p);
VARIANT ref(Array& a);      // VT_BYREF | VT_ARRAY | the element type

// The two ways of calling a method: IDispatch::Invoke, or the method's slot of
// the dual vtable, called by ITypeInfo::Invoke of the vtable view of the type
// library as a client that binds through the type library does: each argument
// converted to its parameter's type, a failure's HRESULT and IErrorInfo turned
// into an EXCEPINFO.
enum class Face { late, vtable };
constexpr Face kFaces[] = {Face::late, Face::vtable};
inline const char* face_name(Face f) { return f == Face::late ? "IDispatch::Invoke" : "dual vtable"; }

struct Outcome {
  HRESULT hr = E_FAIL;
  Var result;
  SCODE scode = 0;  // EXCEPINFO's, the failure's HRESULT (0x800A0000 | number for a runtime error)
  std::wstring description, source;
  UINT arg_err = UINT_MAX;   // a refused argument, in declaration order
};

constexpr HRESULT runtime_error(int number) { return static_cast<HRESULT>(0x800A0000u | unsigned(number)); }

DISPID dispid(IDispatch* object, const wchar_t* name, HRESULT* hr = nullptr);
// The description of member `id` (ReleaseFuncDesc it); null, and a test failure, if there is none.
FUNCDESC* function(ITypeInfo* info, MEMBERID id);
// Arguments in declaration order (reversed into DISPPARAMS here).
Outcome call(Face face, IDispatch* object, DISPID id, std::vector<VARIANT> args);
Outcome call(Face face, IDispatch* object, const wchar_t* name, std::vector<VARIANT> args);

// The thread's IErrorInfo, taken (present false when there is none).
struct ErrorInfo {
  bool present = false;
  GUID guid{};
  std::wstring source, description;
};
ErrorInfo take_error_info();

// A new object of kor.dll by ProgID; a failure is a test failure.
Ptr<IDispatch> create(const wchar_t* progid);
// The DLL's path as registered for Korvat ("" if absent).
std::wstring kor_dll_path();

// While one lives, kor.dll's calls of user32!MessageBoxW land in `shown`
// (the DLL's import slot is patched) and answer IDOK.
struct Shown {
  std::wstring text, title;
  UINT style;
  friend bool operator==(const Shown&, const Shown&) = default;
};
class MessageBoxCapture {
 public:
  MessageBoxCapture();
  ~MessageBoxCapture();
  MessageBoxCapture(const MessageBoxCapture&) = delete;
  std::vector<Shown> shown;

 private:
  static int WINAPI hook(HWND, LPCWSTR text, LPCWSTR title, UINT style);
  static MessageBoxCapture* active_;
  HMODULE module_ = nullptr;
  void** slot_ = nullptr;
  void* original_ = nullptr;
};

// A client function object whose members are callbacks, found by name
// whatever the case; a member defined under the empty name is the default
// member (DISPID_VALUE).  A plain one answers IDispatch only; a script-like one
// also answers IDispatchEx and, as VBScript's objects do, refuses
// GetIDsOfNames, so that its members are found with GetDispID.
class ClientObject final : public IDispatchEx {
 public:
  struct Call {
    std::vector<VARIANT*> args;  // declaration order
    VARIANT* result;
    EXCEPINFO* excep;
    Cells array(std::size_t k) const { return cells_of(args[k]); }
    HRESULT answer(double value);                           // a VT_R8 result
    HRESULT raise(int number, const wchar_t* description);  // DISP_E_EXCEPTION, scode 0x800A0000 | number
  };
  using Member = std::function<HRESULT(Call&)>;

  static Ptr<ClientObject> make(bool script_like = false) { return Ptr<ClientObject>(new ClientObject(script_like)); }
  ClientObject& define(const wchar_t* name, Member m) { members_.emplace_back(name, std::move(m)); return *this; }

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override;
  ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(InterlockedIncrement(&refs_)); }
  ULONG STDMETHODCALLTYPE Release() override;
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override { *count = 0; return S_OK; }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return DISP_E_BADINDEX; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override;
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID lcid, WORD flags, DISPPARAMS* params, VARIANT* result,
                                   EXCEPINFO* excep, UINT*) override {
    return InvokeEx(id, lcid, flags, params, result, excep, nullptr);
  }
  HRESULT STDMETHODCALLTYPE GetDispID(BSTR name, DWORD, DISPID* id) override;
  HRESULT STDMETHODCALLTYPE InvokeEx(DISPID id, LCID, WORD, DISPPARAMS* params, VARIANT* result, EXCEPINFO* excep,
                                     IServiceProvider*) override;
  HRESULT STDMETHODCALLTYPE DeleteMemberByName(BSTR, DWORD) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE DeleteMemberByDispID(DISPID) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetMemberProperties(DISPID, DWORD, DWORD*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetMemberName(DISPID, BSTR*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetNextDispID(DWORD, DISPID, DISPID*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetNameSpaceParent(IUnknown**) override { return E_NOTIMPL; }

 private:
  explicit ClientObject(bool script_like) : script_like_(script_like) {}
  DISPID find(const wchar_t* name) const;
  LONG refs_ = 1;
  bool script_like_;
  std::vector<std::pair<std::wstring, Member>> members_;
};

}  // namespace comtest
