#include "calls_common.hpp"

namespace kor::com {

void fill_exception(EXCEPINFO* excep, const wchar_t* source, const Error& e) {
  if (!excep) return;
  *excep = EXCEPINFO{};
  excep->scode = static_cast<SCODE>(0x800A0000u | static_cast<unsigned>(e.number() & 0xFFFF));
  excep->bstrSource = SysAllocString(source);
  const std::wstring text = widen(e.description());
  excep->bstrDescription = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
}

}  // namespace kor::com
