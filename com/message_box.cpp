// The library's messages as modal message boxes.
#include <windows.h>

#include <mutex>
#include <string>
#include <string_view>

#include "kor/message.hpp"
#include "objects.hpp"
#include "views.hpp"

namespace kor::com {
namespace {

void show(const kor::Message& m) {
  // Owned by the caller's active window, like a message box of the client's own.
  MessageBoxW(GetActiveWindow(), widen(m.text).c_str(), widen(m.title).c_str(), static_cast<UINT>(m.style));
}

std::once_flag g_installed;

}  // namespace

void install_message_box() {
  std::call_once(g_installed, [] { kor::set_message_handler(show); });
}

}  // namespace kor::com
