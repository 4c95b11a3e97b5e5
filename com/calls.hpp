// The one way into the methods of Korvat and Interpret from the component's
// faces.  Both IDispatch::Invoke and the dual vtable end here: the vtable
// wraps its parameters into VARIANTs (a pointer parameter as a VT_BYREF
// VARIANT that points at the caller's own storage), IDispatch::Invoke passes
// the client's VARIANTs as they came, reversed into declaration order.
#pragma once

#include <windows.h>
#include <oleauto.h>

namespace kor {
class Korvat;
class Interpret;
}  // namespace kor

namespace kor::com {

// Calls the method with dispatch identifier `id`.
//  args      the arguments in declaration order (args[0] is the first
//            parameter); an omitted optional argument is VT_ERROR holding
//            DISP_E_PARAMNOTFOUND, and trailing omitted ones may be left out
//            (count below the number of parameters);
//  result    receives the return value (VT_EMPTY for a procedure), may be null;
//  excep     filled when the method fails with a runtime error (the answer is
//            then DISP_E_EXCEPTION, scode 0x800A0000 | number);
//  arg_err   receives the declaration-order index of a mismatched argument
//            (the answer is then DISP_E_TYPEMISMATCH or DISP_E_PARAMNOTOPTIONAL).
// Unknown identifiers answer DISP_E_MEMBERNOTFOUND.
HRESULT invoke_korvat(Korvat& self, DISPID id, VARIANT* args, UINT count, VARIANT* result, EXCEPINFO* excep,
                      UINT* arg_err);
HRESULT invoke_interpret(Interpret& self, DISPID id, VARIANT* args, UINT count, VARIANT* result,
                         EXCEPINFO* excep, UINT* arg_err);

}  // namespace kor::com
