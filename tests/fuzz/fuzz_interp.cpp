// libFuzzer target: any text, any message level, against a small table and
// vector.  The evaluator must end in a value, a status or a kor::Error.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "kor/kor.hpp"

namespace {
struct Setup {
  kor::VariantArray table = kor::VariantArray::from_rows(
      {{"X", 2.0}, {"Z1", -1.5}, {"Z2", "3"}, {"NEG", -9999.0}, {"N", kor::Variant::null()}});
  kor::VariantArray y = kor::VariantArray::from({1.0, 2.0, 0.0}, 0);
  Setup() {
    kor::set_message_handler([](const kor::Message&) {});
  }
};
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Setup setup;
  if (size == 0) return 0;
  // The first byte chooses the message level; the rest is the text (kept
  // short: long texts only repeat the scan quadratically).
  auto ipok = static_cast<std::int16_t>(static_cast<int>(data[0] % 5) - 2);
  std::string_view text(reinterpret_cast<const char*>(data + 1), std::min<std::size_t>(size - 1, 4096));
  try {
    const double v = kor::Interpret().Interp(text, ipok, setup.table, setup.y).to_double();
    if (!std::isfinite(v)) std::abort();
    if (ipok < 0 && v != -9999.0) std::abort();
  } catch (const kor::Error&) {
  }
  return 0;
}
