// Compiled texts against the scan: on a large generated corpus of texts,
// tables, vectors and message levels, every replay must give the scan's
// value (bit for bit), status, messages in order and runtime error.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

#include "interpreter/program.hpp"
#include "kor/kor.hpp"

namespace kor {
namespace {

using Compiled = interpreter::CompiledText<VariantArray, VariantArray>;

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

template <class F>
Outcome observe(std::int16_t ipok, F&& evaluate) {
  Outcome o;
  MessageCapture capture;
  o.ipok = ipok;
  try {
    o.value = evaluate(o.ipok);
  } catch (const Error& e) {
    o.error = e.number();
  }
  o.messages = capture.messages();
  return o;
}

std::string generate(std::mt19937& rng) {
  static const char* const pieces[] = {
      "1",    "2.5",  "0",     "1E3",   "3",     "X",     "Z1",   "z2",   "Y[1]", "Y[2]", "Y[0]", "Y[7]",
      "+",    "-",    "*",     "/",     "^",     "+",     "-",    "*",    "(",    ")",    "(",    ")",
      "SIN(", "SQR(", "LN(",   "ASN(",  "EXP(",  "COTGH(", "RAD(", "SGN(", "EQ(",  "FOO(", "NEG",  "S",
      " ",    ",5",   "Q[2]",  "LOG(",  "INT(",  "ACS(",
  };
  std::uniform_int_distribution<int> pick(0, static_cast<int>(std::size(pieces)) - 1);
  std::uniform_int_distribution<int> len(1, 16);
  std::string s;
  for (int k = len(rng); k > 0; --k) {
    // Fewer spaces than the other pieces, so most texts get past the scan.
    const char* p = pieces[pick(rng)];
    if (*p == ' ' && rng() % 4) continue;
    s += p;
  }
  return s;
}

TEST(CompiledText, ReplaysGiveTheScansResultsOnAGeneratedCorpus) {
  std::mt19937 rng(2026);
  const VariantArray table = VariantArray::from_rows(
      {{"X", 2.0}, {"Z1", -1.5}, {"Z2", 0.25}, {"NEG", -9999.0}, {"S", "3"}});
  std::uniform_real_distribution<double> u(-3, 3);
  const double specials[] = {0.0, -9999.0, 1e300, -1.0, 1.0};
  int texts = 0, replays = 0, compiled = 0;
  for (int t = 0; t < 3000; ++t) {
    const std::string text = generate(rng);
    SCOPED_TRACE(text);
    Compiled program(text);
    VariantArray y = VariantArray::from({0.5, 1.5, -2.0}, 0);
    for (int round = 0; round < 8; ++round) {
      for (int k = 0; k <= 2; ++k)
        y(k) = Variant(rng() % 6 == 0 ? specials[rng() % std::size(specials)] : u(rng));
      const auto ipok = static_cast<std::int16_t>(static_cast<int>(rng() % 5) - 2);
      const bool replay = program.compiled();
      const Outcome scan = observe(ipok, [&](std::int16_t& level) {
        return Interpret().Interp(text, level, table, y).to_double();
      });
      const Outcome fast = observe(ipok, [&](std::int16_t& level) { return program.evaluate(level, table, y); });
      ASSERT_EQ(fast, scan) << "round " << round << " ipok " << ipok << " value " << fast.value << " vs "
                            << scan.value << " status " << fast.ipok << " vs " << scan.ipok << " error "
                            << fast.error << " vs " << scan.error;
      replays += replay;
    }
    compiled += program.compiled();
    ++texts;
  }
  // The corpus exercises replays in quantity, failing ones included.
  EXPECT_GT(compiled, 600);
  EXPECT_GT(replays, 4000);
}

TEST(CompiledText, ReplaysShowTheCounterAndFunctionMessages) {
  const VariantArray table = VariantArray::from_rows({{"Z1", 4.0}});
  VariantArray y = VariantArray::from({0.0, 9.0}, 0);
  // The function token runs to the end: the counter message comes twice.
  Compiled sqr("(1)SQR(Y[1]");
  const Message counter{"Interpret: Chyba čítače! -1    2", 16, "Interpret"};
  std::int16_t ipok = -2;
  MessageCapture capture;
  EXPECT_EQ(sqr.evaluate(ipok, table, y), 1.0);
  ASSERT_TRUE(sqr.compiled());
  EXPECT_EQ(capture.messages(), (std::vector<Message>{counter, counter}));
  capture.clear();
  y(1) = 16.0;
  ipok = -2;
  EXPECT_EQ(sqr.evaluate(ipok, table, y), 1.0);  // a replay
  EXPECT_EQ(capture.messages(), (std::vector<Message>{counter, counter}));
  // The root now fails, before any counter message, and its message follows
  // the level the replay is given.
  capture.clear();
  y(1) = -4.0;
  ipok = 0;
  EXPECT_EQ(sqr.evaluate(ipok, table, y), -9999.0);
  EXPECT_EQ(ipok, -3);
  EXPECT_EQ(capture.messages(), (std::vector<Message>{{"Odmocnina: záporný argument -4", 16, "Interpret"}}));
  capture.clear();
  ipok = -1;
  sqr.evaluate(ipok, table, y);
  EXPECT_TRUE(capture.messages().empty());
}

}  // namespace
}  // namespace kor
