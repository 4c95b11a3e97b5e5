// libFuzzer target: a compiled text against the scan.  The input is a text
// and a few bytes of variable values; the text is compiled by its first
// successful evaluation and replayed as the values and the message level
// change, and every replay must give exactly what the scan gives: value (bit
// for bit), status, messages in order and runtime error.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "interpreter/program.hpp"
#include "kor/kor.hpp"

namespace {
struct Outcome {
  double value = 0;
  std::int16_t ipok = 0;
  int error = 0;
  std::vector<kor::Message> messages;
};

template <class F>
Outcome observe(std::int16_t level, F&& evaluate) {
  Outcome o;
  kor::MessageCapture capture;
  o.ipok = level;
  try {
    o.value = evaluate(o.ipok);
  } catch (const kor::Error& e) {
    o.error = e.number();
  }
  o.messages = capture.messages();
  return o;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The first 8 bytes choose the values of Y[0..2] and the levels of the
  // rounds; the rest (at most 512 bytes) is the text.
  if (size < 8) return 0;
  static const double values[] = {0.0, 1.0, -1.0, 2.5, -9999.0, 1e300, 0.5, 3.0};
  const kor::VariantArray table =
      kor::VariantArray::from_rows({{"X", 2.0}, {"Z1", -1.5}, {"Z2", "3"}, {"NEG", -9999.0}});
  kor::VariantArray y = kor::VariantArray::from({1.0, 2.0, 0.0}, 0);
  const std::string_view text(reinterpret_cast<const char*>(data + 8), std::min<std::size_t>(size - 8, 512));
  kor::interpreter::CompiledText<kor::VariantArray, kor::VariantArray> compiled{std::string(text)};
  for (int round = 0; round < 8; ++round) {
    const std::uint8_t b = data[round];
    for (int k = 0; k <= 2; ++k) y(k) = kor::Variant(values[(b >> k) & 7]);
    const auto level = static_cast<std::int16_t>(static_cast<int>(b % 5) - 2);
    const Outcome scan = observe(level, [&](std::int16_t& ipok) {
      return kor::Interpret().Interp(text, ipok, table, y).to_double();
    });
    const Outcome replay = observe(level, [&](std::int16_t& ipok) { return compiled.evaluate(ipok, table, y); });
    if (std::memcmp(&scan.value, &replay.value, sizeof scan.value) != 0 || scan.ipok != replay.ipok ||
        scan.error != replay.error || scan.messages != replay.messages)
      std::abort();
  }
  return 0;
}
