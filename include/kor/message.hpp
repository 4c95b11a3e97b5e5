// kor — the diagnostic channel.
//
// Methods report some failures by a message (text, style, title) besides
// their status values.  On Windows the component shows it in a modal message
// box; in C++ it goes to a replaceable handler, by default one line
// "title: text" on standard error.  Texts are UTF-8; lines of a multi-line
// text are joined by a bare carriage return.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace kor {

// Message box styles used by the library.
namespace style {
inline constexpr int kCritical = 16;     // critical-stop icon, OK button
inline constexpr int kExclamation = 48;  // exclamation icon, OK button
}  // namespace style

struct Message {
  std::string text;
  int style;
  std::string title;
  friend bool operator==(const Message&, const Message&) = default;
};

using MessageHandler = std::function<void(const Message&)>;

// Installs a handler for every later message and returns the previous one.
// An empty handler restores the default.  The handler is process-wide; set it
// before calling methods from several threads.
MessageHandler set_message_handler(MessageHandler handler);

// The one diagnostic operation: hands the message to the current handler.
void ShowMessage(std::string_view text, int style, std::string_view title);

// Records every message shown while it lives (and shows none), restoring the
// previous handler when it goes out of scope.  Handy in tests and in tools.
class MessageCapture {
 public:
  MessageCapture();
  ~MessageCapture();
  MessageCapture(const MessageCapture&) = delete;
  MessageCapture& operator=(const MessageCapture&) = delete;

  const std::vector<Message>& messages() const noexcept { return messages_; }
  void clear() noexcept { messages_.clear(); }

 private:
  std::vector<Message> messages_;
  MessageHandler previous_;
};

}  // namespace kor
