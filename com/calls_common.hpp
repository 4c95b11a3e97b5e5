// What every call of a method shares: the arguments, the return value, and
// the translation of faults into the component model's answers.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <exception>
#include <new>
#include <string>

#include "arguments.hpp"
#include "client.hpp"
#include "kor/error.hpp"
#include "kor/variant.hpp"
#include "views.hpp"

namespace kor::com {

// The return value of a method (VT_EMPTY for a procedure).
class Result {
 public:
  explicit Result(VARIANT* out) : out_(out) {}
  void set(const Variant& v) {
    if (!out_) return;
    VariantClear(out_);
    to_variant(v, *out_);
  }
  void set(double x) {
    if (!out_) return;
    VariantClear(out_);
    out_->vt = VT_R8;
    out_->dblVal = x;
  }

 private:
  VARIANT* out_;
};

// Fills an EXCEPINFO for a runtime error: scode 0x800A0000 | number and the
// error's description.
void fill_exception(EXCEPINFO* excep, const wchar_t* source, const Error& e);

// Runs body(arguments, result) and answers what the component model expects:
// S_OK; DISP_E_EXCEPTION with the EXCEPINFO of a runtime error or of the
// client's own failure (passed on unchanged); DISP_E_TYPEMISMATCH and the
// others of a bad argument, naming it in *arg_err.  The by-reference scalars
// hold what the method wrote, whatever the answer.
template <class Body>
HRESULT guarded_call(const wchar_t* source, VARIANT* result, EXCEPINFO* excep, UINT* arg_err, Body body, VARIANT* args,
                     UINT count) {
  Result out(result);
  try {
    Arguments a(args, count);
    body(a, out);
    a.finish();
    return S_OK;
  } catch (const ArgumentError& e) {
    if (arg_err) *arg_err = e.position;
    return e.hr;
  } catch (const ClientFailure& f) {
    if (f.hr == DISP_E_EXCEPTION) {
      if (excep) *excep = f.info;
      else {
        SysFreeString(f.info.bstrSource);
        SysFreeString(f.info.bstrDescription);
        SysFreeString(f.info.bstrHelpFile);
      }
      return DISP_E_EXCEPTION;
    }
    // A plain failure of the client (as a script object answers): the same
    // code, as an exception the caller's runtime can show.
    if (excep) {
      *excep = EXCEPINFO{};
      excep->scode = f.hr;
      excep->bstrSource = SysAllocString(source);
      IErrorInfo* info = nullptr;
      if (GetErrorInfo(0, &info) == S_OK && info) {
        info->GetDescription(&excep->bstrDescription);
        info->Release();
      }
    }
    return DISP_E_EXCEPTION;
  } catch (const Error& e) {
    fill_exception(excep, source, e);
    return DISP_E_EXCEPTION;
  } catch (const std::bad_alloc&) {
    fill_exception(excep, source, Error(7, "Out of memory"));
    return DISP_E_EXCEPTION;
  } catch (const std::exception& e) {
    // Nothing may cross the component boundary as a C++ exception.
    fill_exception(excep, source, Error(51, std::string("Internal error: ") + e.what()));
    return DISP_E_EXCEPTION;
  } catch (...) {
    fill_exception(excep, source, Error(51, "Internal error"));
    return DISP_E_EXCEPTION;
  }
}

}  // namespace kor::com
