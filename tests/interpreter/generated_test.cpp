// Generated texts against independent expectations:
// - well-formed arithmetic agrees bit for bit with a recursive-descent
//   evaluator of conventional precedence ("^" left-associative and tightest,
//   then "*" "/", then "+" "-"), amended by the one rule in which the deferred
//   reduction differs: an operand in parentheses is pushed before the
//   operator after it is read, so the product so far is reduced at once and
//   a "^" right after ")" takes that whole product as its base (2*(3)^2 is
//   36, 2*3^2 is 18);
// - any soup of tokens ends in a value, a status with the error value, or a
//   known runtime error, never a crash;
// - a compiled text replays exactly what the scan gives: value (bit for
//   bit), status, messages in order and runtime error, as the variables and
//   the message level change between evaluations.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <utility>

#include "interpreter/program.hpp"
#include "kor/kor.hpp"
#include "support.hpp"

namespace kor {
namespace {

using testing::Outcome;
using testing::observe;

class Oracle {
 public:
  explicit Oracle(const std::string& s) : s_(s) {}
  double value() {
    const double v = expr();
    if (p_ != s_.size()) throw std::logic_error("trailing text");
    return v;
  }

 private:
  double expr() {
    double v = term();
    while (p_ < s_.size() && (s_[p_] == '+' || s_[p_] == '-')) {
      const char op = s_[p_++];
      const double r = term();
      v = check(op == '+' ? v + r : v - r);
    }
    return v;
  }
  double term() {
    auto [v, after_paren] = power();
    for (;;) {
      if (after_paren && peek() == '^') {
        ++p_;
        v = raise(v, primary_marked().first);
        // The base was the whole product, so further powers chain on it.
      } else if (peek() == '*' || peek() == '/') {
        const char op = s_[p_++];
        auto [r, paren] = power();
        if (op == '/' && r == 0) throw Error(err::kDivisionByZero);
        v = check(op == '*' ? v * r : v / r);
        after_paren = paren;
      } else {
        return v;
      }
    }
  }
  // A chain of powers, which stops after an operand in parentheses; reports
  // whether it did.
  std::pair<double, bool> power() {
    auto [v, paren] = primary_marked();
    while (!paren && peek() == '^') {
      ++p_;
      auto [r, rp] = primary_marked();
      v = raise(v, r);
      paren = rp;
    }
    return {v, paren};
  }
  std::pair<double, bool> primary_marked() {
    const bool paren = s_[p_] == '(';
    return {primary(), paren};
  }
  char peek() const { return p_ < s_.size() ? s_[p_] : '\0'; }
  static double raise(double v, double r) {
    if ((v < 0 && r != std::trunc(r)) || (v == 0 && r < 0)) throw Error(err::kInvalidCall);
    return check(std::pow(v, r));
  }
  double primary() {
    if (s_[p_] == '(') {
      ++p_;
      const double v = expr();
      ++p_;  // ")"
      return v;
    }
    std::size_t used = 0;
    const double v = std::stod(s_.substr(p_), &used);
    p_ += used;
    return v;
  }
  static double check(double v) {
    if (!std::isfinite(v)) throw Error(err::kOverflow);
    return v;
  }

  const std::string& s_;
  std::size_t p_ = 0;
};

std::string well_formed(std::mt19937& rng, int depth) {
  static const char* const numbers[] = {"1", "2", "3", "0.5", "4", "10", "0.25", "7", "1.5", "0"};
  static const char ops[] = {'+', '-', '*', '/', '^'};
  std::uniform_int_distribution<int> pick(0, 99);
  auto operand = [&]() -> std::string {
    if (depth < 3 && pick(rng) < 25) return "(" + well_formed(rng, depth + 1) + ")";
    return numbers[pick(rng) % 10];
  };
  // Few enough operators per level that the fixed lists never fill up.
  const int count = 1 + pick(rng) % 4;
  std::string s = operand();
  for (int k = 0; k < count; ++k) {
    s += ops[pick(rng) % 5];
    s += operand();
  }
  return s;
}

TEST(InterpGenerated, WellFormedArithmeticAgreesWithConventionalPrecedence) {
  std::mt19937 rng(20261122);
  const VariantArray pr = VariantArray::from_rows({{"A", 1.0}});
  const VariantArray y = VariantArray::from({1.0});
  int compared = 0;
  for (int n = 0; n < 4000; ++n) {
    const std::string text = well_formed(rng, 0);
    Outcome expected{0, 0, 0, {}};
    expected.error = testing::error_of([&] { expected.value = Oracle(text).value(); });
    const Outcome got = observe(-2, [&](std::int16_t& ipok) { return Interpret().Interp(text, ipok, pr, y).to_double(); });
    ASSERT_EQ(got.error, expected.error) << text;
    if (got.error) continue;
    ASSERT_GE(got.ipok, 0) << text;
    ASSERT_EQ(std::memcmp(&got.value, &expected.value, sizeof got.value), 0)
        << text << ": " << got.value << " vs " << expected.value;
    ++compared;
  }
  EXPECT_GT(compared, 3000);
}

std::string token_soup(std::mt19937& rng) {
  static const char* const pieces[] = {
      "1", "2.5", "0", "1E3", "1e-2", ",5", ".", "X", "Z1", "z2", "Y[1]", "Y[2]", "Y[0]", "Y[7]", "Q[2]", "Y[",
      "+", "-", "*", "/", "^", "+", "-", "*", "(", ")", "(", ")", "((", "))", " ", "SIN(", "sqr(", "LN(",
      "ASN(", "ACS(", "EXP(", "COTGH(", "RAD(", "FOO(", "EQ(", "SGN(", "LOG(", "INT(", "E", "[", "]", "_",
      "`", "\\", "&", "9999", "-9999", "NEG", "S", "Ž", "č(",
  };
  std::uniform_int_distribution<int> pick(0, static_cast<int>(std::size(pieces)) - 1);
  std::string s;
  for (int k = static_cast<int>(rng() % 16); k > 0; --k) {
    const char* p = pieces[pick(rng)];
    if (*p == ' ' && rng() % 4) continue;  // fewer spaces, so most texts get past the scan
    s += p;
  }
  return s;
}

TEST(InterpGenerated, TokenSoupEndsWellAndCompiledTextsReplayTheScan) {
  std::mt19937 rng(2026);
  const VariantArray table =
      VariantArray::from_rows({{"X", 2.0}, {"Z1", -1.5}, {"Z2", 0.25}, {"NEG", -9999.0}, {"S", "3"}});
  std::uniform_real_distribution<double> u(-3, 3);
  // Texts and whole numbers too: a replay reads a text (and fails on one that
  // is no number) at the moment the scan does.
  const Variant specials[] = {0.0, -9999.0, 1e300, -1.0, 1.0, "2.5", "x", Variant(short{3})};
  const int known[] = {err::kInvalidCall, err::kOverflow, err::kSubscript, err::kDivisionByZero, err::kTypeMismatch};
  int values = 0, statuses = 0, errors = 0, replays = 0;
  for (int t = 0; t < 4000; ++t) {
    const std::string text = token_soup(rng);
    interpreter::CompiledText<VariantArray, VariantArray> program(text);
    VariantArray y = VariantArray::from({0.5, 1.5, -2.0}, 0);
    for (int round = 0; round < 8; ++round) {
      for (int k = 0; k <= 2; ++k) y(k) = rng() % 6 == 0 ? specials[rng() % std::size(specials)] : Variant(u(rng));
      const auto level = static_cast<std::int16_t>(static_cast<int>(rng() % 5) - 2);
      const bool replay = program.compiled();
      const Outcome scan = observe(level, [&](std::int16_t& ipok) { return Interpret().Interp(text, ipok, table, y).to_double(); });
      const Outcome fast = observe(level, [&](std::int16_t& ipok) { return program.evaluate(ipok, table, y); });
      ASSERT_EQ(fast, scan) << text << " round " << round << " level " << level << ": " << fast.value << " vs "
                            << scan.value << ", status " << fast.ipok << " vs " << scan.ipok << ", error " << fast.error
                            << " vs " << scan.error;
      ASSERT_TRUE(std::isfinite(scan.value)) << text;
      if (scan.error) {
        ASSERT_NE(std::find(std::begin(known), std::end(known), scan.error), std::end(known)) << text;
        ++errors;
      } else if (scan.ipok < 0) {
        ASSERT_EQ(scan.value, -9999.0) << text;
        ASSERT_GE(scan.ipok, -3) << text;
        ++statuses;
      } else {
        ++values;
      }
      replays += replay;
    }
  }
  // The corpus reaches every outcome, and replays, in quantity.
  EXPECT_GT(values, 4000);
  EXPECT_GT(statuses, 4000);
  EXPECT_GT(errors, 1000);
  EXPECT_GT(replays, 4000);
}

TEST(InterpGenerated, AReplayNeedsTheTableItWasCompiledWithAndEveryPositionItReads) {
  VariantArray first = VariantArray::from_rows({{"A", 1.0}, {"B", 2.0}});
  const VariantArray swapped = VariantArray::from_rows({{"B", 20.0}, {"A", 10.0}});
  const VariantArray y3 = VariantArray::from({0.0, 1.0, 2.0}, 0), y1 = VariantArray::from({0.0}, 0);
  interpreter::CompiledText<VariantArray, VariantArray> text("A-B*Y[2]");
  auto eval = [&](const VariantArray& pr, const VariantArray& y) {
    return observe(0, [&](std::int16_t& ipok) { return text.evaluate(ipok, pr, y); });
  };
  EXPECT_EQ(eval(first, y3).value, -3.0);
  ASSERT_TRUE(text.compiled());
  // A shorter vector lacks Y[2]; another table finds its names in other rows.
  const Message not_filled{"Nenaplněno pole proměnná - hodnota!", 16, "Interpret"};
  EXPECT_EQ(eval(first, y1), (Outcome{-9999.0, -2, 0, {not_filled}}));
  EXPECT_EQ(eval(swapped, y3).value, -30.0);
  // The same when a cell holds a text, which is read where the scan reads it.
  first(1, 2) = "1";
  EXPECT_EQ(eval(first, y3).value, -3.0);
  EXPECT_EQ(eval(first, y1), (Outcome{-9999.0, -2, 0, {not_filled}}));
}

TEST(InterpGenerated, AReplayReadsEachVariableWhenTheScanDoes) {
  // Compiled with plain values, then replayed with an operation that fails
  // before a cell that is no number, the error value or a text: the first
  // fault in the order of the text is the one reported.
  struct Case {
    const char* text;
    double a, b;
    Variant y1;
    Outcome expected;
  };
  const Case cases[] = {
      {"A/B+Y[1]", 1, 0, "x", {0, 0, err::kDivisionByZero, {}}},
      {"A*A+Y[1]", 1e300, 1, "x", {0, 0, err::kOverflow, {}}},
      {"A*A+Y[1]", 1e300, 1, -9999.0, {0, 0, err::kOverflow, {}}},
      {"Y[1]+A/B", 1, 0, "x", {0, 0, err::kTypeMismatch, {}}},
      {"Y[1]+A/B", 1, 0, -9999.0, {-9999.0, -2, 0, {}}},
      {"A/B+Y[1]", 3, 2, "2.5", {4.0, 10, 0, {}}},
      {"A/B+Y[1]", 3, 2, Variant(short{-1}), {0.5, 10, 0, {}}},
  };
  for (const Case& c : cases) {
    VariantArray table = VariantArray::from_rows({{"A", 1.0}, {"B", 1.0}});
    VariantArray y = VariantArray::from({0.0, 1.0}, 0);
    interpreter::CompiledText<VariantArray, VariantArray> text(c.text);
    std::int16_t ipok = 0;
    text.evaluate(ipok, table, y);
    ASSERT_TRUE(text.compiled()) << c.text;
    table(1, 2) = c.a;
    table(2, 2) = c.b;
    y(1) = c.y1;
    const Outcome fast = observe(-1, [&](std::int16_t& level) { return text.evaluate(level, table, y); });
    const Outcome scan = observe(-1, [&](std::int16_t& level) { return Interpret().Interp(c.text, level, table, y).to_double(); });
    Outcome expected = c.expected;
    if (expected.error) expected.ipok = -1;  // a raise leaves the level as it was and no value
    EXPECT_EQ(scan, expected) << c.text << ": " << scan.value << " status " << scan.ipok << " error " << scan.error;
    EXPECT_EQ(fast, scan) << c.text << ": " << fast.value << " status " << fast.ipok << " error " << fast.error;
  }
}

}  // namespace
}  // namespace kor
