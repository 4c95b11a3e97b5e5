// Interpret's methods over the caller's VARIANTs and SAFEARRAYs.
#include "calls.hpp"

namespace kor::com {

HRESULT invoke_interpret(Interpret&, DISPID, VARIANT*, UINT, VARIANT*, EXCEPINFO*, UINT*) {
  return DISP_E_MEMBERNOTFOUND;
}

}  // namespace kor::com
