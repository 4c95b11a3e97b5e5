// Test support for the COM faces of kor.dll, used by every test under tests/com.
//
// The test client runs in a single-threaded apartment (main.cpp) after the DLL
// has been registered, and drives the objects exactly as a client would:
// through CoCreateInstance, IDispatch and the dual vtable.
//
// In short:
//   Ptr<IDispatch> k = create(L"Kor.Korvat");
//   SafeArray a = SafeArray::variants({1, 2}, {1, 3});      // a(1..2, 1..3)
//   a.set(1, 1, 2.0); ...
//   Var id;
//   Outcome r = invoke(k.get(), L"Gauss", {byval(2), byref(a), byval(1), byref(id)});
//   EXPECT_EQ(r.hr, S_OK);  EXPECT_EQ(id.vt(), VT_I2);  a.number(1, 3) ...
//
//   MessageBoxCapture boxes;                 // kor.dll's message boxes land here
//   ... a call that shows a message ...
//   ASSERT_EQ(boxes.messages().size(), 1u);  boxes.messages()[0].text == L"..."
//
//   Ptr<ClientObject> g = ClientObject::make();
//   g->define(L"F", [](ClientObject::Call& c) {        // F(X) = (X(1) - 1)^2
//     ArrayArg x(c.args[0]);
//     double d = x.number(1) - 1;
//     return c.set_result(d * d);
//   });
//   IDispatch* gd = g.get();
//   invoke(k.get(), L"Fmin", {byref(gd), byval(1), byref(x)});
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <climits>
#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "kor.h"

namespace comtest {

// ---------------------------------------------------------------------------
// Ptr<T>: an owning interface pointer (AddRef on copy, Release on destruction).
template <class T>
class Ptr {
 public:
  Ptr() = default;
  Ptr(std::nullptr_t) {}
  // Takes over one reference: Ptr<T> p(raw) does not AddRef.
  explicit Ptr(T* raw) : p_(raw) {}
  Ptr(const Ptr& o) : p_(o.p_) {
    if (p_) p_->AddRef();
  }
  Ptr(Ptr&& o) noexcept : p_(std::exchange(o.p_, nullptr)) {}
  Ptr& operator=(Ptr o) noexcept {
    std::swap(p_, o.p_);
    return *this;
  }
  ~Ptr() { reset(); }

  T* get() const noexcept { return p_; }
  T* operator->() const noexcept { return p_; }
  explicit operator bool() const noexcept { return p_ != nullptr; }
  // Releases what it holds and answers the address to receive a new pointer.
  T** put() noexcept {
    reset();
    return &p_;
  }
  void** put_void() noexcept { return reinterpret_cast<void**>(put()); }
  void reset() noexcept {
    if (p_) std::exchange(p_, nullptr)->Release();
  }
  // QueryInterface for U; a null Ptr if the object does not have it.
  template <class U>
  Ptr<U> as() const {
    Ptr<U> u;
    if (p_) p_->QueryInterface(__uuidof(U), u.put_void());
    return u;
  }

 private:
  T* p_ = nullptr;
};

// ---------------------------------------------------------------------------
// Var: an owning VARIANT (VariantClear on destruction).
class Var {
 public:
  Var() { VariantInit(&v_); }
  Var(short i);
  Var(int i);  // VT_I4
  Var(double d);
  Var(bool b);  // VT_BOOL, True is -1
  Var(const wchar_t* s);  // VT_BSTR
  Var(const VARIANT& v);  // VariantCopy
  Var(const Var& o) : Var(o.v_) {}
  Var(Var&& o) noexcept : v_(o.v_) { VariantInit(&o.v_); }
  Var& operator=(Var o) noexcept {
    std::swap(v_, o.v_);
    return *this;
  }
  ~Var() { VariantClear(&v_); }

  // An omitted optional argument: VT_ERROR holding DISP_E_PARAMNOTFOUND.
  static Var missing();
  // Takes over a VARIANT (no copy); the source is left VT_EMPTY.
  static Var adopt(VARIANT& v);

  const VARIANT& get() const noexcept { return v_; }
  VARIANT* ptr() noexcept { return &v_; }
  VARTYPE vt() const noexcept { return v_.vt; }
  // The value as a double (through VariantChangeType); NaN if it is none.
  double number() const;
  // The value as text (through VariantChangeType); "" if it has none.
  std::wstring text() const;

 private:
  VARIANT v_;
};

// ---------------------------------------------------------------------------
// SafeArray: an owning SAFEARRAY of VARIANT, double or BSTR elements with
// any bounds, addressed a(i) or a(row, column) like the library's arrays.
class SafeArray {
 public:
  struct Bounds {
    LONG lower, upper;
  };
  static SafeArray variants(Bounds rows);
  static SafeArray variants(Bounds rows, Bounds columns);
  static SafeArray doubles(Bounds rows);
  static SafeArray doubles(Bounds rows, Bounds columns);
  static SafeArray strings(Bounds rows);
  // 1-based arrays filled with the values given.
  static SafeArray variants(std::initializer_list<double> values);
  static SafeArray doubles(std::initializer_list<double> values);
  static SafeArray strings(std::initializer_list<const wchar_t*> values);

  SafeArray() = default;
  SafeArray(SafeArray&& o) noexcept : a_(std::exchange(o.a_, nullptr)) {}
  SafeArray& operator=(SafeArray o) noexcept {
    std::swap(a_, o.a_);
    return *this;
  }
  SafeArray(const SafeArray&) = delete;
  ~SafeArray();

  // The pointer itself, for by-reference arguments: a method could replace it.
  SAFEARRAY*& get() noexcept { return a_; }
  SAFEARRAY* get() const noexcept { return a_; }
  VARTYPE element_type() const;  // VT_VARIANT, VT_R8 or VT_BSTR

  // Writes an element: a number (a VT_R8 Variant in a Variant array), any
  // Variant (Variant arrays only) or a text (string arrays only).
  void set(LONG i, double value);
  void set(LONG row, LONG column, double value);
  void set(LONG i, const Var& value);
  void set(LONG row, LONG column, const Var& value);
  void set(LONG i, const wchar_t* text);
  // Reads an element as a number (NaN when it holds none) or as a Variant.
  double number(LONG i) const;
  double number(LONG row, LONG column) const;
  Var element(LONG i) const;
  Var element(LONG row, LONG column) const;
  std::wstring text(LONG i) const;

 private:
  static SafeArray make(VARTYPE vt, std::initializer_list<Bounds> dims);
  SAFEARRAY* a_ = nullptr;
};

// ---------------------------------------------------------------------------
// Arguments.  Each helper answers a VARIANT that does not own what it points
// at: the storage stays with the caller, as in a real client's call.
VARIANT byval(short i);  // VT_I2
VARIANT byval(int i);    // VT_I2 when it fits, else VT_I4 (like a script literal)
VARIANT byval(double d);  // VT_R8
VARIANT byval(const Var& v);  // the VARIANT itself (shallow)
VARIANT missing();       // VT_ERROR, DISP_E_PARAMNOTFOUND
VARIANT byref(Var& v);        // VT_BYREF|VT_VARIANT
VARIANT byref(VARIANT& v);    // VT_BYREF|VT_VARIANT
VARIANT byref(double& d);     // VT_BYREF|VT_R8
VARIANT byref(short& i);      // VT_BYREF|VT_I2
VARIANT byref(IDispatch*& p);  // VT_BYREF|VT_DISPATCH
VARIANT byref(SafeArray& a);  // VT_BYREF|VT_ARRAY|<element type>
// The way a script passes an array variable: VT_BYREF|VT_VARIANT pointing at
// `holder`, which must hold VT_ARRAY|<element type> (see array_holder).
VARIANT byref_holder(Var& holder);
// A Variant that holds the array (moves it in), for byref_holder.
Var array_holder(SafeArray&& a);

// ---------------------------------------------------------------------------
// Late-bound calls.
struct Outcome {
  HRESULT hr = E_FAIL;
  Var result;                 // the return value (VT_EMPTY for a procedure)
  SCODE scode = 0;            // EXCEPINFO's scode when hr == DISP_E_EXCEPTION
  std::wstring description;   // EXCEPINFO's description and source
  std::wstring source;
  UINT arg_err = UINT_MAX;    // the failing argument, as a declaration-order index
};

// Calls a member with the arguments in declaration order (they are reversed
// into DISPPARAMS here).  By name, the DISPID comes from GetIDsOfNames; an
// unknown name answers hr = DISP_E_UNKNOWNNAME without a call.
Outcome invoke(IDispatch* object, const wchar_t* name, std::vector<VARIANT> args,
               WORD flags = DISPATCH_METHOD | DISPATCH_PROPERTYGET);
Outcome invoke(IDispatch* object, DISPID id, std::vector<VARIANT> args,
               WORD flags = DISPATCH_METHOD | DISPATCH_PROPERTYGET);

// The DISPID of one name, or DISPID_UNKNOWN with the failure in *hr.
DISPID dispid(IDispatch* object, const wchar_t* name, HRESULT* hr = nullptr);

// The thread's IErrorInfo after a failed vtable call (empty when there is none).
struct ErrorInfo {
  bool present = false;
  GUID guid{};
  std::wstring source;
  std::wstring description;
};
ErrorInfo take_error_info();

// ---------------------------------------------------------------------------
// Objects of kor.dll.  A failed creation is reported as a test failure and
// answers a null Ptr.
Ptr<IDispatch> create(const wchar_t* progid);
Ptr<IDispatch> create(REFCLSID clsid);
Ptr<_Korvat> create_korvat();        // the dual vtable of a new Korvat
Ptr<_Interpret> create_interpret();  // the dual vtable of a new Interpret

// The path of kor.dll as registered (InprocServer32 of Korvat); "" if absent.
std::wstring kor_dll_path();

// ---------------------------------------------------------------------------
// MessageBoxCapture: while one lives, kor.dll's calls of user32!MessageBoxW
// are recorded instead of shown (the DLL's import address table is patched),
// and every box answers IDOK.  One capture at a time; it keeps kor.dll loaded.
struct ShownMessage {
  std::wstring text;
  std::wstring title;
  UINT style;
  friend bool operator==(const ShownMessage&, const ShownMessage&) = default;
};

class MessageBoxCapture {
 public:
  MessageBoxCapture();
  ~MessageBoxCapture();
  MessageBoxCapture(const MessageBoxCapture&) = delete;
  MessageBoxCapture& operator=(const MessageBoxCapture&) = delete;

  bool installed() const noexcept { return slot_ != nullptr; }
  const std::vector<ShownMessage>& messages() const noexcept { return messages_; }
  void clear() noexcept { messages_.clear(); }

  // The import slot that was patched (for the test of the patch itself).
  void** slot() const noexcept { return slot_; }
  void* original() const noexcept { return original_; }

 private:
  static int WINAPI hook(HWND owner, LPCWSTR text, LPCWSTR title, UINT style);
  static MessageBoxCapture* active_;
  HMODULE module_ = nullptr;
  void** slot_ = nullptr;
  void* original_ = nullptr;
  std::vector<ShownMessage> messages_;
};

// Finds the import address table slot through which `module` calls
// `dll`!`function`; null if the module does not import it.
void** import_slot(HMODULE module, const char* dll, const char* function);

// ---------------------------------------------------------------------------
// Reading and writing what a method passes to a client function object.
// ArrayArg reaches the SAFEARRAY of an argument through any VT_BYREF level
// (VT_BYREF|VT_ARRAY|..., or VT_BYREF|VT_VARIANT to a VT_ARRAY Variant).
class ArrayArg {
 public:
  explicit ArrayArg(VARIANT* arg);
  bool valid() const noexcept { return a_ != nullptr; }
  SAFEARRAY* get() const noexcept { return a_; }
  VARTYPE element_type() const noexcept { return vt_; }
  LONG lower(UINT dim = 1) const;
  LONG upper(UINT dim = 1) const;
  double number(LONG i) const;
  double number(LONG row, LONG column) const;
  // Writes a number (a VT_R8 Variant in a Variant array).
  void set(LONG i, double value);
  void set(LONG row, LONG column, double value);

 private:
  SAFEARRAY* a_ = nullptr;
  VARTYPE vt_ = VT_EMPTY;
};

// A scalar argument, by value or through VT_BYREF, as a double (NaN if none).
double number(const VARIANT* arg);
// Writes a double into a by-reference scalar argument (VT_BYREF|VT_R8 as a
// double, VT_BYREF|VT_VARIANT as a VT_R8 Variant); false if it is not one.
bool set_number(VARIANT* arg, double value);

// ---------------------------------------------------------------------------
// ClientObject: a minimal client function object.  Its members (for example
// Fun, FKT, F) are callbacks; names compare case-insensitively, DISPIDs are 1,
// 2, ... in the order of definition.  An unknown name answers
// DISP_E_UNKNOWNNAME, an unknown DISPID DISP_E_MEMBERNOTFOUND.
class ClientObject final : public IDispatch {
 public:
  struct Call {
    std::vector<VARIANT*> args;  // declaration order: args[0] is the first argument
    VARIANT* result;             // may be null when the caller wants no result
    EXCEPINFO* excep;            // may be null
    WORD flags;
    // Stores a double as the result (VT_R8) and answers S_OK.
    HRESULT set_result(double value);
    // Fails the call as a runtime error: DISP_E_EXCEPTION with scode
    // 0x800A0000 | number and the description given.
    HRESULT raise(int number, const wchar_t* description);
  };
  using Member = std::function<HRESULT(Call&)>;

  static Ptr<ClientObject> make();
  ClientObject& define(const std::wstring& name, Member member);
  // How often a member was invoked.
  int calls(const std::wstring& name) const;

  // IUnknown
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;
  // IDispatch
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override;
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID lcid, ITypeInfo** info) override;
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID riid, LPOLESTR* names, UINT count, LCID lcid,
                                          DISPID* ids) override;
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID riid, LCID lcid, WORD flags, DISPPARAMS* params,
                                   VARIANT* result, EXCEPINFO* excep, UINT* arg_err) override;

 private:
  ClientObject() = default;
  ~ClientObject() = default;
  struct Entry {
    std::wstring name;
    Member member;
    int calls = 0;
  };
  LONG refs_ = 1;
  std::vector<Entry> members_;
};

// 0x800A0000 | number: a runtime error number as the HRESULT clients see.
constexpr HRESULT runtime_error(int number) {
  return static_cast<HRESULT>(0x800A0000u | static_cast<unsigned>(number));
}

}  // namespace comtest
