// The library's messages as modal message boxes.
#include <windows.h>

#include <mutex>
#include <string>
#include <string_view>

#include "kor/message.hpp"
#include "objects.hpp"

namespace kor::com {
namespace {

std::wstring widen(std::string_view utf8) {
  if (utf8.empty()) return {};
  int n = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), nullptr, 0);
  std::wstring text(static_cast<std::size_t>(n), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), text.data(), n);
  return text;
}

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
