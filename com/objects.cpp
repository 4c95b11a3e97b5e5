// The COM objects Korvat and Interpret: IUnknown, IDispatch backed by the
// embedded type library, the dual vtable, ISupportErrorInfo, and
// IProvideClassInfo so that a host can tell which class an object is.
//
// Both faces end in the same call, invoke_korvat / invoke_interpret, with the
// arguments as VARIANTs in declaration order.  IDispatch::Invoke hands over the
// client's own VARIANTs; a vtable method wraps each parameter into a VARIANT,
// a pointer parameter as a VT_BYREF VARIANT holding the caller's pointer, so
// whatever a method writes lands in the caller's storage in either case.
#include "objects.hpp"

#include <ocidl.h>

#include <algorithm>
#include <climits>
#include <iterator>
#include <memory>
#include <new>

#include "calls.hpp"
#include "kor.h"
#include "kor/interpret.hpp"
#include "kor/korvat.hpp"
#include "module.hpp"

namespace kor::com {
namespace {

// No method has more parameters than Rutishauser's sixteen.
constexpr UINT kMaxArguments = 16;

// ---- vtable parameters as VARIANTs ----

// A SAFEARRAY** parameter with the element type its declaration gives it.
template <VARTYPE Element>
struct ArrayRef {
  SAFEARRAY** array;
};
ArrayRef<VT_VARIANT> variants(SAFEARRAY** a) { return {a}; }
ArrayRef<VT_R8> doubles(SAFEARRAY** a) { return {a}; }
ArrayRef<VT_BSTR> strings(SAFEARRAY** a) { return {a}; }

// A null pointer arrives as an omitted argument: a C++ client may leave an
// optional by-reference parameter out that way, and a required one is then
// refused by the method as not optional.
VARIANT missing() {
  VARIANT v;
  v.vt = VT_ERROR;
  v.scode = DISP_E_PARAMNOTFOUND;
  return v;
}

VARIANT pack(VARIANT value) { return value; }  // by value: the caller's VARIANT as it is

VARIANT pack(VARIANT* p) {
  if (!p) return missing();
  VARIANT v;
  v.vt = VT_BYREF | VT_VARIANT;
  v.pvarVal = p;
  return v;
}

VARIANT pack(double value) {
  VARIANT v;
  v.vt = VT_R8;
  v.dblVal = value;
  return v;
}

VARIANT pack(double* p) {
  if (!p) return missing();
  VARIANT v;
  v.vt = VT_BYREF | VT_R8;
  v.pdblVal = p;
  return v;
}

VARIANT pack(short* p) {
  if (!p) return missing();
  VARIANT v;
  v.vt = VT_BYREF | VT_I2;
  v.piVal = p;
  return v;
}

VARIANT pack(BSTR s) {
  VARIANT v;
  v.vt = VT_BSTR;
  v.bstrVal = s;
  return v;
}

VARIANT pack(IDispatch** p) {
  if (!p) return missing();
  VARIANT v;
  v.vt = VT_BYREF | VT_DISPATCH;
  v.ppdispVal = p;
  return v;
}

template <VARTYPE Element>
VARIANT pack(ArrayRef<Element> a) {
  if (!a.array) return missing();
  VARIANT v;
  v.vt = VT_BYREF | VT_ARRAY | Element;
  v.pparray = a.array;
  return v;
}

// ---- the core call, one per class ----

HRESULT call_core(kor::Korvat& self, DISPID id, VARIANT* args, UINT count, VARIANT* result, EXCEPINFO* excep,
                  UINT* arg_err) {
  return invoke_korvat(self, id, args, count, result, excep, arg_err);
}

HRESULT call_core(kor::Interpret& self, DISPID id, VARIANT* args, UINT count, VARIANT* result,
                  EXCEPINFO* excep, UINT* arg_err) {
  return invoke_interpret(self, id, args, count, result, excep, arg_err);
}

void clear(EXCEPINFO& e) {
  SysFreeString(e.bstrSource);
  SysFreeString(e.bstrDescription);
  SysFreeString(e.bstrHelpFile);
  e = EXCEPINFO{};
}

// Turns a filled EXCEPINFO into the thread's IErrorInfo and answers the
// failure's HRESULT (0x800A0000 | number for a runtime error).
HRESULT raise_error_info(EXCEPINFO& e, REFIID iid) {
  if (e.pfnDeferredFillIn) {
    e.pfnDeferredFillIn(&e);
    e.pfnDeferredFillIn = nullptr;
  }
  ICreateErrorInfo* create = nullptr;
  if (SUCCEEDED(CreateErrorInfo(&create))) {
    create->SetGUID(iid);
    create->SetSource(e.bstrSource);
    create->SetDescription(e.bstrDescription);
    create->SetHelpFile(e.bstrHelpFile);
    create->SetHelpContext(e.dwHelpContext);
    IErrorInfo* info = nullptr;
    if (SUCCEEDED(create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info)))) {
      SetErrorInfo(0, info);
      info->Release();
    }
    create->Release();
  }
  HRESULT hr = e.scode;
  if (hr == S_OK) hr = e.wCode ? MAKE_HRESULT(SEVERITY_ERROR, FACILITY_CONTROL, e.wCode) : E_FAIL;
  return hr;
}

// ---- the object ----

template <class Interface, class Core>
class Object : public Interface, public ISupportErrorInfo, public IProvideClassInfo {
 public:
  // IUnknown
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override {
    if (!out) return E_POINTER;
    if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_IDispatch) ||
        IsEqualIID(riid, __uuidof(Interface))) {
      *out = static_cast<Interface*>(this);
    } else if (IsEqualIID(riid, IID_ISupportErrorInfo)) {
      *out = static_cast<ISupportErrorInfo*>(this);
    } else if (IsEqualIID(riid, IID_IProvideClassInfo)) {
      *out = static_cast<IProvideClassInfo*>(this);
    } else {
      *out = nullptr;
      return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(InterlockedIncrement(&refs_)); }
  ULONG STDMETHODCALLTYPE Release() override {
    LONG n = InterlockedDecrement(&refs_);
    if (n == 0) delete this;
    return static_cast<ULONG>(n);
  }

  // IDispatch
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
    if (!count) return E_POINTER;
    *count = 1;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID, ITypeInfo** out) override {
    if (!out) return E_POINTER;
    *out = nullptr;
    if (index != 0) return DISP_E_BADINDEX;
    *out = info_->type_info();
    (*out)->AddRef();
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID riid, LPOLESTR* names, UINT count, LCID,
                                          DISPID* ids) override {
    if (!IsEqualIID(riid, IID_NULL)) return DISP_E_UNKNOWNINTERFACE;
    return info_->type_info()->GetIDsOfNames(names, count, ids);
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID riid, LCID, WORD flags, DISPPARAMS* params,
                                   VARIANT* result, EXCEPINFO* excep, UINT* arg_err) override {
    if (!IsEqualIID(riid, IID_NULL)) return DISP_E_UNKNOWNINTERFACE;
    // Every member is a method; VB sends a function call as METHOD | PROPERTYGET.
    if (!(flags & DISPATCH_METHOD)) return DISP_E_MEMBERNOTFOUND;
    if (!params) return E_INVALIDARG;
    const int parameters = info_->parameter_count(id);
    if (parameters < 0) return DISP_E_MEMBERNOTFOUND;
    const UINT total = params->cArgs, named = params->cNamedArgs;
    if (named > total || (named && !params->rgdispidNamedArgs)) return E_INVALIDARG;
    if (total > static_cast<UINT>(parameters) || total > kMaxArguments) return DISP_E_BADPARAMCOUNT;
    if (total && !params->rgvarg) return E_INVALIDARG;

    // Where each parameter's VARIANT is in rgvarg: the positional ones last
    // to first, then the named ones (rgdispidNamedArgs holds the positions
    // that GetIDsOfNames gave for the parameter names).
    UINT from[kMaxArguments];
    std::fill(std::begin(from), std::end(from), UINT_MAX);
    UINT count = total - named;
    for (UINT i = 0; i < count; ++i) from[i] = total - 1 - i;
    for (UINT j = 0; j < named; ++j) {
      const DISPID p = params->rgdispidNamedArgs[j];
      if (p < 0 || p >= parameters || from[p] != UINT_MAX) {
        if (arg_err) *arg_err = j;
        return DISP_E_PARAMNOTFOUND;
      }
      from[p] = j;
      count = std::max(count, static_cast<UINT>(p) + 1);
    }

    // The client's VARIANTs, shallow, in declaration order: by-reference
    // pointers keep pointing at the client's storage.  A parameter skipped
    // between named ones is omitted.
    VARIANT args[kMaxArguments];
    for (UINT i = 0; i < count; ++i) args[i] = from[i] == UINT_MAX ? missing() : params->rgvarg[from[i]];

    if (result) VariantInit(result);
    EXCEPINFO own{};
    EXCEPINFO* e = excep ? excep : &own;
    UINT index = UINT_MAX;
    HRESULT hr = guarded(id, args, count, result, e, &index);
    if (hr == DISP_E_EXCEPTION && !excep) raise_error_info(own, __uuidof(Interface));
    clear(own);
    if (arg_err && index < count && from[index] != UINT_MAX) *arg_err = from[index];
    return hr;
  }

  // ISupportErrorInfo
  HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID riid) override {
    return IsEqualIID(riid, __uuidof(Interface)) ? S_OK : S_FALSE;
  }

  // IProvideClassInfo
  HRESULT STDMETHODCALLTYPE GetClassInfo(ITypeInfo** out) override {
    if (!out) return E_POINTER;
    *out = info_->class_info();
    (*out)->AddRef();
    return S_OK;
  }

 protected:
  explicit Object(std::shared_ptr<const InterfaceInfo> info) : info_(std::move(info)) { add_object(); }
  virtual ~Object() { release_object(); }

  // The body of a vtable method without a return value.
  template <class... P>
  HRESULT procedure(DISPID id, P... p) {
    VARIANT args[] = {pack(p)...};
    VARIANT result;
    VariantInit(&result);
    HRESULT hr = run(id, args, sizeof...(P), &result);
    VariantClear(&result);
    return hr;
  }

  // The body of a vtable method that returns a Variant.
  template <class... P>
  HRESULT function(DISPID id, VARIANT* ret, P... p) {
    if (!ret) return E_POINTER;
    VariantInit(ret);
    VARIANT args[] = {pack(p)...};
    return run(id, args, sizeof...(P), ret);
  }

  // The body of a vtable method that returns a double.
  template <class... P>
  HRESULT function(DISPID id, double* ret, P... p) {
    if (!ret) return E_POINTER;
    *ret = 0.0;
    VARIANT args[] = {pack(p)...};
    VARIANT result;
    VariantInit(&result);
    HRESULT hr = run(id, args, sizeof...(P), &result);
    if (SUCCEEDED(hr) && result.vt != VT_EMPTY) {
      hr = VariantChangeType(&result, &result, 0, VT_R8);
      if (SUCCEEDED(hr)) *ret = result.dblVal;
    }
    VariantClear(&result);
    return hr;
  }

 private:
  // A vtable call: the core, and a runtime error turned into IErrorInfo.
  HRESULT run(DISPID id, VARIANT* args, UINT count, VARIANT* result) {
    EXCEPINFO e{};
    UINT index = UINT_MAX;
    HRESULT hr = guarded(id, args, count, result, &e, &index);
    if (hr == DISP_E_EXCEPTION) hr = raise_error_info(e, __uuidof(Interface));
    clear(e);
    return hr;
  }

  // No C++ exception crosses the COM boundary.
  HRESULT guarded(DISPID id, VARIANT* args, UINT count, VARIANT* result, EXCEPINFO* e, UINT* index) {
    try {
      return call_core(core_, id, args, count, result, e, index);
    } catch (const std::bad_alloc&) {
      return E_OUTOFMEMORY;
    } catch (...) {
      return E_UNEXPECTED;
    }
  }

  LONG refs_ = 1;
  std::shared_ptr<const InterfaceInfo> info_;
  Core core_;
};

template <class T>
HRESULT create_object(REFIID iid, REFIID riid, void** out) {
  *out = nullptr;
  install_message_box();
  std::shared_ptr<const InterfaceInfo> info;
  HRESULT hr = interface_info(iid, info);
  if (FAILED(hr)) return hr;
  T* object = nullptr;
  try {
    object = new T(std::move(info));
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return E_UNEXPECTED;
  }
  hr = object->QueryInterface(riid, out);
  object->Release();
  return hr;
}

// ---- Korvat ----

class KorvatObject final : public Object<_Korvat, kor::Korvat> {
 public:
  explicit KorvatObject(std::shared_ptr<const InterfaceInfo> info) : Object(std::move(info)) {}

  // variant flavour
  HRESULT STDMETHODCALLTYPE Newton(IDispatch** G, VARIANT n, VARIANT Nunknown, VARIANT NProm, SAFEARRAY** X,
                                   SAFEARRAY** ipom, SAFEARRAY** z, VARIANT* ID, VARIANT Eps, VARIANT ALAM,
                                   VARIANT NITER, VARIANT Delta, VARIANT* Result) override {
    return function(0x60030000, Result, G, n, Nunknown, NProm, variants(X), variants(ipom), variants(z), ID, Eps,
                    ALAM, NITER, Delta);
  }
  HRESULT STDMETHODCALLTYPE Gauss(VARIANT n, SAFEARRAY** a, VARIANT NCOL, VARIANT* ID) override {
    return procedure(0x60030001, n, variants(a), NCOL, ID);
  }
  HRESULT STDMETHODCALLTYPE Rkm(IDispatch** G, VARIANT nn, VARIANT* xb, VARIANT* xe, SAFEARRAY** Y, VARIANT Delta,
                                VARIANT* Star, SAFEARRAY** zz) override {
    return procedure(0x60030002, G, nn, xb, xe, variants(Y), Delta, Star, variants(zz));
  }
  HRESULT STDMETHODCALLTYPE Fmin(IDispatch** G, VARIANT n, SAFEARRAY** X, VARIANT EPSA, VARIANT* itmax,
                                 VARIANT* Result) override {
    return function(0x60030003, Result, G, n, variants(X), EPSA, itmax);
  }
  HRESULT STDMETHODCALLTYPE Fmin1(IDispatch** G, VARIANT NX, SAFEARRAY** X, VARIANT Eps, VARIANT* itmax,
                                  VARIANT* Result) override {
    return function(0x60030004, Result, G, NX, variants(X), Eps, itmax);
  }
  HRESULT STDMETHODCALLTYPE Flagr(VARIANT n, SAFEARRAY** X, SAFEARRAY** Y, VARIANT* XI, VARIANT M,
                                  VARIANT* Result) override {
    return function(0x60030005, Result, n, variants(X), variants(Y), XI, M);
  }
  HRESULT STDMETHODCALLTYPE LinBairstow(VARIANT npol, SAFEARRAY** apol, SAFEARRAY** xreal, SAFEARRAY** ximag,
                                        VARIANT epslin) override {
    return procedure(0x60030006, npol, variants(apol), variants(xreal), variants(ximag), epslin);
  }
  HRESULT STDMETHODCALLTYPE Polyn(VARIANT n, VARIANT* X, SAFEARRAY** a, VARIANT* Result) override {
    return function(0x60030008, Result, n, X, variants(a));
  }
  HRESULT STDMETHODCALLTYPE Rutishauser(VARIANT n, SAFEARRAY** a, SAFEARRAY** b, SAFEARRAY** U, VARIANT* tag1,
                                        VARIANT* tag2, VARIANT* iter, VARIANT eigvec, VARIANT stripd, VARIANT sweep,
                                        VARIANT freq, VARIANT itmax, VARIANT eps1, VARIANT eps2, VARIANT eps3,
                                        VARIANT eps4) override {
    return procedure(0x60030009, n, variants(a), variants(b), variants(U), tag1, tag2, iter, eigvec, stripd, sweep,
                     freq, itmax, eps1, eps2, eps3, eps4);
  }
  HRESULT STDMETHODCALLTYPE Invert(VARIANT* n, SAFEARRAY** ap, SAFEARRAY** Ainv, VARIANT* ID,
                                   VARIANT* EP) override {
    return procedure(0x6003000A, n, variants(ap), variants(Ainv), ID, EP);
  }
  HRESULT STDMETHODCALLTYPE Spline(VARIANT Imin, VARIANT Imax, SAFEARRAY** X, SAFEARRAY** Y, VARIANT Y1min,
                                   VARIANT Y1max, SAFEARRAY** Y2) override {
    return procedure(0x6003000B, Imin, Imax, variants(X), variants(Y), Y1min, Y1max, variants(Y2));
  }
  HRESULT STDMETHODCALLTYPE Splder(VARIANT* Imin, VARIANT* Imax, SAFEARRAY** XA, SAFEARRAY** Y, SAFEARRAY** Y2,
                                   VARIANT* XX, VARIANT* Result) override {
    return function(0x6003000D, Result, Imin, Imax, variants(XA), variants(Y), variants(Y2), XX);
  }
  HRESULT STDMETHODCALLTYPE Splinp(VARIANT Imin, VARIANT Imax, SAFEARRAY** X, SAFEARRAY** Y, SAFEARRAY** Y2,
                                   VARIANT XX, VARIANT* Result) override {
    return function(0x6003000E, Result, Imin, Imax, variants(X), variants(Y), variants(Y2), XX);
  }
  HRESULT STDMETHODCALLTYPE Splint(VARIANT Imin, VARIANT Imax, SAFEARRAY** X, SAFEARRAY** Y, SAFEARRAY** Y2,
                                   VARIANT poc, VARIANT kon, VARIANT* Result) override {
    return function(0x6003000F, Result, Imin, Imax, variants(X), variants(Y), variants(Y2), poc, kon);
  }
  HRESULT STDMETHODCALLTYPE Sinterp(VARIANT n, VARIANT Npoc, SAFEARRAY** X, SAFEARRAY** Y, VARIANT XI,
                                    VARIANT Y1min, VARIANT Y1max, VARIANT* Ipoc, VARIANT* Result) override {
    return function(0x60030010, Result, n, Npoc, variants(X), variants(Y), XI, Y1min, Y1max, Ipoc);
  }

  // double flavour
  HRESULT STDMETHODCALLTYPE Newtond(IDispatch** G, VARIANT n, VARIANT Nunknown, VARIANT NProm, SAFEARRAY** X,
                                    SAFEARRAY** ipom, SAFEARRAY** z, VARIANT* ID, double Eps, VARIANT ALAM,
                                    VARIANT NITER, double Delta, VARIANT* Result) override {
    return function(0x60030011, Result, G, n, Nunknown, NProm, doubles(X), variants(ipom), doubles(z), ID, Eps,
                    ALAM, NITER, Delta);
  }
  HRESULT STDMETHODCALLTYPE Gaussd(VARIANT n, SAFEARRAY** a, VARIANT NCOL, VARIANT* ID) override {
    return procedure(0x60030012, n, doubles(a), NCOL, ID);
  }
  HRESULT STDMETHODCALLTYPE Rkmd(IDispatch** G, VARIANT nn, double* xb, double* xe, SAFEARRAY** Y, double Delta,
                                 VARIANT* Star, SAFEARRAY** zz) override {
    return procedure(0x60030013, G, nn, xb, xe, doubles(Y), Delta, Star, doubles(zz));
  }
  HRESULT STDMETHODCALLTYPE Fmind(IDispatch** G, VARIANT n, SAFEARRAY** X, VARIANT EPSA, VARIANT* itmax,
                                  double* Result) override {
    return function(0x60030014, Result, G, n, doubles(X), EPSA, itmax);
  }
  HRESULT STDMETHODCALLTYPE Fmin1d(IDispatch** G, VARIANT NX, SAFEARRAY** X, VARIANT Eps, VARIANT* itmax,
                                   double* Result) override {
    return function(0x60030015, Result, G, NX, doubles(X), Eps, itmax);
  }
  HRESULT STDMETHODCALLTYPE Flagrd(VARIANT n, SAFEARRAY** X, SAFEARRAY** Y, double XI, VARIANT M,
                                   double* Result) override {
    return function(0x60030016, Result, n, doubles(X), doubles(Y), XI, M);
  }
  HRESULT STDMETHODCALLTYPE LinBairstowd(VARIANT npol, SAFEARRAY** ap, SAFEARRAY** xreal, SAFEARRAY** ximag,
                                         double epslin) override {
    return procedure(0x60030017, npol, doubles(ap), doubles(xreal), doubles(ximag), epslin);
  }
  HRESULT STDMETHODCALLTYPE Polynd(VARIANT n, double* X, SAFEARRAY** a, double* Result) override {
    return function(0x60030019, Result, n, X, doubles(a));
  }
  HRESULT STDMETHODCALLTYPE Rutishauserd(VARIANT n, SAFEARRAY** a, SAFEARRAY** b, SAFEARRAY** U, VARIANT* tag1,
                                         VARIANT* tag2, VARIANT* iter, VARIANT eigvec, VARIANT stripd,
                                         VARIANT sweep, VARIANT freq, VARIANT itmax, double eps1, double eps2,
                                         double eps3, double eps4) override {
    return procedure(0x6003001A, n, doubles(a), doubles(b), doubles(U), tag1, tag2, iter, eigvec, stripd, sweep,
                     freq, itmax, eps1, eps2, eps3, eps4);
  }
  HRESULT STDMETHODCALLTYPE Invertd(VARIANT* n, SAFEARRAY** ap, SAFEARRAY** Ainv, VARIANT* ID,
                                    double* EP) override {
    return procedure(0x6003001B, n, doubles(ap), doubles(Ainv), ID, EP);
  }
  HRESULT STDMETHODCALLTYPE Splined(VARIANT Imin, VARIANT Imax, SAFEARRAY** X, SAFEARRAY** Y, double Y1min,
                                    double Y1max, SAFEARRAY** Y2) override {
    return procedure(0x6003001C, Imin, Imax, doubles(X), doubles(Y), Y1min, Y1max, doubles(Y2));
  }
  HRESULT STDMETHODCALLTYPE Splderd(VARIANT Imin, VARIANT Imax, SAFEARRAY** XA, SAFEARRAY** Y, SAFEARRAY** Y2,
                                    double* XX, double* Result) override {
    return function(0x6003001E, Result, Imin, Imax, doubles(XA), doubles(Y), doubles(Y2), XX);
  }
  HRESULT STDMETHODCALLTYPE Splinpd(VARIANT Imin, VARIANT Imax, SAFEARRAY** X, SAFEARRAY** Y, SAFEARRAY** Y2,
                                    double XX, double* Result) override {
    return function(0x6003001F, Result, Imin, Imax, doubles(X), doubles(Y), doubles(Y2), XX);
  }
  HRESULT STDMETHODCALLTYPE Splintd(VARIANT Imin, VARIANT Imax, SAFEARRAY** X, SAFEARRAY** Y, SAFEARRAY** Y2,
                                    double poc, double kon, double* Result) override {
    return function(0x60030020, Result, Imin, Imax, doubles(X), doubles(Y), doubles(Y2), poc, kon);
  }
  HRESULT STDMETHODCALLTYPE Sinterpd(VARIANT n, VARIANT Npoc, SAFEARRAY** X, SAFEARRAY** Y, double XI,
                                     double Y1min, double Y1max, VARIANT* Ipoc, double* Result) override {
    return function(0x60030021, Result, n, Npoc, doubles(X), doubles(Y), XI, Y1min, Y1max, Ipoc);
  }
};

// ---- Interpret ----

class InterpretObject final : public Object<_Interpret, kor::Interpret> {
 public:
  explicit InterpretObject(std::shared_ptr<const InterfaceInfo> info) : Object(std::move(info)) {}

  HRESULT STDMETHODCALLTYPE Interp(BSTR s, short* ipok, SAFEARRAY** Pr, SAFEARRAY** Y, VARIANT* Result) override {
    return function(0x60030000, Result, s, ipok, variants(Pr), variants(Y));
  }
  HRESULT STDMETHODCALLTYPE NewtonI(SAFEARRAY** Rov, VARIANT n, VARIANT Nunknown, VARIANT NProm, SAFEARRAY** X,
                                    SAFEARRAY** ipom, SAFEARRAY** z, VARIANT* ID, VARIANT Eps, VARIANT ALAM,
                                    VARIANT NITER, VARIANT Delta, VARIANT* Result) override {
    return function(0x60030005, Result, strings(Rov), n, Nunknown, NProm, variants(X), variants(ipom), variants(z),
                    ID, Eps, ALAM, NITER, Delta);
  }
  HRESULT STDMETHODCALLTYPE FminI(BSTR Rov, VARIANT n, SAFEARRAY** X, SAFEARRAY** z, VARIANT EPSA, VARIANT* itmax,
                                  VARIANT* Result) override {
    return function(0x60030007, Result, Rov, n, variants(X), variants(z), EPSA, itmax);
  }
  HRESULT STDMETHODCALLTYPE Fmin1I(BSTR Rov, VARIANT NX, SAFEARRAY** X, SAFEARRAY** z, VARIANT Eps,
                                   VARIANT* itmax, VARIANT* Result) override {
    return function(0x60030008, Result, Rov, NX, variants(X), variants(z), Eps, itmax);
  }
  HRESULT STDMETHODCALLTYPE RkmI(SAFEARRAY** Rov, VARIANT nn, VARIANT* xb, VARIANT* xe, SAFEARRAY** Y,
                                 VARIANT Delta, VARIANT* Star, SAFEARRAY** zz) override {
    return procedure(0x60030009, strings(Rov), nn, xb, xe, variants(Y), Delta, Star, variants(zz));
  }
};

}  // namespace

HRESULT KorvatClass::create(REFIID riid, void** out) {
  return create_object<KorvatObject>(IID__Korvat, riid, out);
}

HRESULT InterpretClass::create(REFIID riid, void** out) {
  return create_object<InterpretObject>(IID__Interpret, riid, out);
}

}  // namespace kor::com
