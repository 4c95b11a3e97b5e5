// Helpers shared by the unit tests.
#pragma once

#include <cstdint>
#include <cstring>
#include <vector>

#include "kor/error.hpp"
#include "kor/message.hpp"

namespace kor::testing {

// The number of the kor::Error that f raises, or 0 if it raises none.
template <class F>
int error_of(F&& f) {
  try {
    f();
  } catch (const Error& e) {
    return e.number();
  }
  return 0;
}

// Everything an evaluation of a text shows: value, status, runtime error and
// messages in order.  Values compare bit for bit.
struct Outcome {
  double value = 0;
  std::int16_t ipok = 0;
  int error = 0;
  std::vector<Message> messages;
  bool operator==(const Outcome& o) const {
    return std::memcmp(&value, &o.value, sizeof value) == 0 && ipok == o.ipok && error == o.error &&
           messages == o.messages;
  }
};

// Runs evaluate(ipok) with ipok as the message level and records its outcome.
template <class F>
Outcome observe(std::int16_t ipok, F&& evaluate) {
  Outcome o;
  MessageCapture capture;
  o.ipok = ipok;
  o.error = error_of([&] { o.value = evaluate(o.ipok); });
  o.messages = capture.messages();
  return o;
}

}  // namespace kor::testing
