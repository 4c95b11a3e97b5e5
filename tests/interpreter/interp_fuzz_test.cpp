// Generated texts: the evaluator never crashes, always ends in a value with a
// status or a known runtime error, and on well-formed arithmetic agrees bit
// for bit with an independent recursive-descent evaluator of conventional
// precedence ("^" left-associative and tightest, then "*" "/", then "+" "-"),
// amended by the one rule in which the deferred reduction differs: an operand
// in parentheses is pushed before the operator after it is read, so the
// product so far is reduced at once and a "^" right after ")" takes that
// whole product as its base (2*(3)^2 is 36, 2*3^2 is 18).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <utility>

#include "kor/kor.hpp"

namespace kor {
namespace {

// ---- the independent evaluator for well-formed texts ----
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
        if (op == '/' && r == 0) throw Error(v == 0 ? err::kOverflow : err::kDivisionByZero);
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
    SCOPED_TRACE(text);
    int expected_error = 0;
    double expected = 0;
    try {
      expected = Oracle(text).value();
    } catch (const Error& e) {
      expected_error = e.number();
    }
    std::int16_t ipok = -2;
    try {
      const double v = Interpret().Interp(text, ipok, pr, y).to_double();
      ASSERT_EQ(expected_error, 0);
      ASSERT_GE(ipok, 0);
      // Bit for bit: the same operations in the same order.
      ASSERT_EQ(std::memcmp(&v, &expected, sizeof v), 0) << v << " vs " << expected;
      ++compared;
    } catch (const Error& e) {
      ASSERT_EQ(e.number(), expected_error);
    }
  }
  EXPECT_GT(compared, 3000);
}

std::string token_soup(std::mt19937& rng) {
  static const char* const pieces[] = {
      "1", "2.5", "0", "1E3", "1e-2", ",5", ".", "X", "Z1", "z2", "Y[1]", "Y[0]", "Q[7]", "Y[",
      "+", "-", "*", "/", "^", "(", ")", "((", "))", " ", "SIN(", "sqr(", "LN(", "ASN(", "ACS(",
      "EXP(", "COTGH(", "RAD(", "FOO(", "EQ(", "SGN(", "E", "[", "]", "_", "`", "\\", "&", "9999",
      "-9999", "NEG", "Ž", "č(",
  };
  std::uniform_int_distribution<int> pick(0, static_cast<int>(std::size(pieces)) - 1);
  std::uniform_int_distribution<int> len(0, 14);
  std::string s;
  for (int k = len(rng); k > 0; --k) s += pieces[pick(rng)];
  return s;
}

TEST(InterpGenerated, TokenSoupEndsInAValueAStatusOrAKnownRuntimeError) {
  std::mt19937 rng(7);
  const VariantArray pr = VariantArray::from_rows({{"X", 2.0}, {"Z1", -1.0}, {"Z2", 0.5}, {"NEG", -9999.0}});
  const VariantArray y = VariantArray::from({3.0, 4.0}, 0);
  int values = 0, statuses = 0, errors = 0;
  MessageCapture quiet;
  for (int n = 0; n < 6000; ++n) {
    const std::string text = token_soup(rng);
    SCOPED_TRACE(text);
    std::int16_t ipok = static_cast<std::int16_t>(static_cast<int>(rng() % 4) - 2);
    try {
      const double v = Interpret().Interp(text, ipok, pr, y).to_double();
      ASSERT_TRUE(std::isfinite(v));
      if (ipok < 0) {
        ASSERT_EQ(v, -9999.0);
        ASSERT_GE(ipok, -3);
        ++statuses;
      } else {
        ++values;
      }
    } catch (const Error& e) {
      const int known[] = {err::kInvalidCall, err::kOverflow, err::kSubscript, err::kDivisionByZero};
      ASSERT_NE(std::find(std::begin(known), std::end(known), e.number()), std::end(known)) << e.number();
      ++errors;
    }
  }
  // The corpus reaches all three outcomes in quantity.
  EXPECT_GT(values, 500);
  EXPECT_GT(statuses, 500);
  EXPECT_GT(errors, 100);
}

}  // namespace
}  // namespace kor
