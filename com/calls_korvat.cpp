// Korvat's methods over the caller's VARIANTs and SAFEARRAYs.
#include "calls.hpp"

namespace kor::com {

HRESULT invoke_korvat(Korvat&, DISPID, VARIANT*, UINT, VARIANT*, EXCEPINFO*, UINT*) {
  return DISP_E_MEMBERNOTFOUND;
}

}  // namespace kor::com
