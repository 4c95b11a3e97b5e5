// The two creatable classes of kor.dll as the class factories see them.
#pragma once

#include <windows.h>

namespace kor::com {

// Creates a new object and answers its interface `riid` in *out.
struct KorvatClass {
  static HRESULT create(REFIID riid, void** out);
};
struct InterpretClass {
  static HRESULT create(REFIID riid, void** out);
};

// Routes the library's messages (kor::ShowMessage) to modal message boxes.
// Called before the first object is made; later calls do nothing.
void install_message_box();

}  // namespace kor::com
