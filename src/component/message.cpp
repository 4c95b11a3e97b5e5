#include "kor/message.hpp"

#include <cstdio>

namespace kor {
namespace {

void default_handler(const Message& m) {
  // One line per message: the carriage returns that separate lines of a
  // multi-line text become " / " so the line stays readable in a terminal.
  std::string text = m.text;
  for (std::size_t p = text.find('\r'); p != std::string::npos; p = text.find('\r', p + 3))
    text.replace(p, 1, " / ");
  std::fprintf(stderr, "%s: %s\n", m.title.c_str(), text.c_str());
}

MessageHandler& current_handler() {
  static MessageHandler handler = default_handler;
  return handler;
}

}  // namespace

MessageHandler set_message_handler(MessageHandler handler) {
  MessageHandler previous = std::move(current_handler());
  current_handler() = handler ? std::move(handler) : MessageHandler(default_handler);
  return previous;
}

void ShowMessage(std::string_view text, int style, std::string_view title) {
  current_handler()(Message{std::string(text), style, std::string(title)});
}

MessageCapture::MessageCapture()
    : previous_(set_message_handler([this](const Message& m) { messages_.push_back(m); })) {}

MessageCapture::~MessageCapture() { set_message_handler(std::move(previous_)); }

}  // namespace kor
