// The expression evaluator: values, statuses, messages and runtime errors,
// each worked out by hand from the evaluator's rules.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "kor/kor.hpp"
#include "support.hpp"

namespace kor {
namespace {

using testing::Outcome;
constexpr double kPi15 = 3.14159265358979;  // the evaluator's pi

// A table X = 3, Z1 = 1, Z2 = -2, NEG = -9999, S = "2.5", BAD = "abc",
// x = 100, X = 4 (the first X wins) and Y(0..3) = 0, 2, 5, 0.
const VariantArray kTable = VariantArray::from_rows({{"X", 3.0}, {"Z1", 1.0}, {"Z2", -2.0}, {"NEG", -9999.0},
                                                     {"S", "2.5"}, {"BAD", "abc"}, {"x", 100.0}, {"X", 4.0}});
const VariantArray kY = VariantArray::from({0.0, 2.0, 5.0, 0.0}, 0);

Outcome run(const std::string& text, std::int16_t ipok = 0, const VariantArray& pr = kTable,
            const VariantArray& y = kY) {
  return testing::observe(ipok, [&](std::int16_t& level) { return Interpret().Interp(text, level, pr, y).to_double(); });
}

struct ValueCase { const char* text; double expected; };

void expect_values(const std::vector<ValueCase>& cases) {
  for (const auto& c : cases) {
    const Outcome o = run(c.text);
    EXPECT_EQ(o, (Outcome{c.expected, o.ipok, 0, {}})) << c.text << " gave " << o.value << " error " << o.error;
    EXPECT_GE(o.ipok, 0) << c.text;
  }
}

TEST(Interp, PrecedenceComesFromDeferredReductions) {
  expect_values({
      {"2+3*4", 14}, {"2*3^2", 18}, {"2^3^2", 64}, {"2-3-4", -5}, {"(2+3)*4", 20}, {"8/4/2", 1},
      {"1-2*3-4", -9}, {"2^2*3^2", 36}, {"1+2*3+4*5", 27}, {"2*3+4*5^2/10", 16}, {"((2))", 2},
      {"(1+(2))^2", 9}, {"(1)^2+(2)^2", 5}, {"10-(2-3)*4", 14}, {"100/(2+3)/4", 5}, {"", 0}, {"7", 7},
      // An operand in parentheses is reduced before the operator after it is
      // read: the product so far becomes the base of a following "^".
      {"2*(3)^2", 36}, {"1+(2)/(4)^0+3", 5}, {"2*3^(2)^2", 324},
      // A stray ")" ends the evaluation.
      {"1+2)*3", 3}, {"4)", 4}, {"(2)3", 2},
      // A pending "^" goes with the function token; slots above the count hold nothing.
      {"2+ATN(1)*4", 2 + std::atan(1.0) * 4}, {"1+SQR(3^2+4^2)", 6}, {"SIN(2^2)+1", std::sin(4.0) + 1},
      {"(SIN(1))^2", std::sin(1.0) * std::sin(1.0)}, {"X^2+Y[1]^2", 13},
  });
}

TEST(Interp, UnaryMinusNumbersAndVariables) {
  expect_values({
      {"-2^2", 4}, {"-X^2", 9}, {"-(2+3)", 5}, {"-2+5", 3}, {"-2*3", -6}, {"(-2)*3", -6}, {"1+(-2)", -1},
      {"2*-3", 6},  // "-" is read as an operator with an empty operand
      {"-SIN(0)+1", 1},
      {"1E-5*2", 2e-5}, {"1e-5*2", 2e-5}, {"2E3+1", 2001}, {"2e+3*2", 4000}, {"1,5+1", 2.5}, {".5*2", 1},
      {"1.5E2", 150}, {"3.", 3}, {"2X+1", 3},  // trailing characters of a number token are ignored
      {"sin(x)", std::sin(3.0)}, {"Y[2]*2", 10}, {"Q[2]+Y[1]", 7},  // text before "[" is not looked at
      {"Y[1.5]", 5}, {"Y[2.5]", 5},                                 // index 2 both: half to even
      {"Z1-Z2", 3}, {"S*2", 5}, {"(X[1]-Z1)^2+(X[2]-Z2)^2", 1 + 49},
  });
}

TEST(Interp, FunctionTableWithItsDeliberateOddities) {
  const double e = std::exp(1.0);
  expect_values({
      {"EXP(1)", e}, {"SQR(2)", std::sqrt(2.0)}, {"LN(2)", std::log(2.0)},
      {"LOG(1000)", std::log(1000.0) / std::log(10.0)},  // not log10: 2.9999999999999996
      {"log10(100)", std::log(100.0) / std::log(10.0)}, {"COS(1)", std::cos(1.0)}, {"TAN(1)", std::tan(1.0)},
      {"ASN(0,5)", std::atan(0.5 / std::sqrt(0.75))}, {"ASN(1)", kPi15 / 2},
      {"ASN(0,9999995)", kPi15 / 2},  // the neighbourhood of +1
      {"ACS(0,5)", std::atan(std::sqrt(0.75) / 0.5)},
      {"ACS(-0,5)", std::atan(std::sqrt(0.75) / -0.5)},  // negative angle, not 2pi/3
      {"ACS(0)", kPi15 / 2}, {"ACS(0,0005)", std::atan(std::sqrt(1 - 0.0005 * 0.0005) / 0.0005)},
      {"SINH(1)", (e - 1 / e) / 2}, {"COSH(1)", (e + 1 / e) / 2}, {"TANH(1)", (e - 1 / e) / (1 / e + e)},
      {"COTGH(1)", (e + 1 / e) / (e - 1 / e)}, {"SGN(-3)", -1}, {"SGN(0)", 0}, {"SGN(0,1)", 1},
      {"FIX(-2,7)", -2}, {"INT(-2,7)", -3}, {"INT(2,7)", 2}, {"RAD(90)", kPi15 / 2},
      {"RAD(45,5)", 46.0 / 180 * kPi15},   // Mod rounds first: 45.5 -> 46
      {"RAD(-400)", -40.0 / 180 * kPi15},  // keeps the sign of x
      {"RAD(200)", 200.0 / 180 * kPi15}, {"DEG(1)", 1 / kPi15 * 180}, {"EQ(-7)", -7},
  });
}

TEST(Interp, FailuresReturnTheErrorValueWithStatusAndMessages) {
  const Message space{"Mezery ve výrazu jsou nepřípustné!", 16, "Interpret"};
  const Message not_filled{"Nenaplněno pole proměnná - hodnota!", 16, "Interpret"};
  const Message sqr0{"Odmocnina: záporný argument  0", 16, "Interpret"};
  const VariantArray none, unallocated, no_rows({1, 0}, {1, 2});
  const VariantArray one_column = VariantArray::from_rows({{"A"}});
  struct Case {
    const char* text;
    std::int16_t ipok_in, ipok_out;
    std::vector<Message> messages;
    const VariantArray &pr = kTable, &y = kY;
  } cases[] = {
      {"1 +2", 0, -1, {space}}, {"1+2 ", -1, -1, {}}, {"(1 )", 0, -1, {space}},
      {"A+B", 0, -2, {{"Proměnná A nenalezena!", 16, "Interpret"}}}, {"A+B", -1, -2, {}},
      {"2+b", 0, -2, {{"Proměnná b nenalezena!", 16, "Interpret"}}},
      {"NEG+1", 0, -2, {}},  // a value of -9999 is the error value
      {"Y[9]", 0, -2, {not_filled}}, {"Y[9]", -1, -2, {not_filled}}, {"Y[9]", -2, -2, {}},
      {"Y[99999]", 0, -2, {}},  // overflow of the index fails silently
      {"SQR(0)", 0, -3, {sqr0}}, {"SQR(-4)", 0, -3, {{"Odmocnina: záporný argument -4", 16, "Interpret"}}},
      {"SQR(-0,5)", 0, -3, {{"Odmocnina: záporný argument -.5", 16, "Interpret"}}}, {"SQR(0)", -1, -3, {}},
      {"LN(0)", 0, -3, {}}, {"LOG(-1)", 0, -3, {}}, {"ASN(1,5)", 0, -3, {}}, {"ACS(-2)", 0, -3, {}},
      {"EQ(-9999)", 0, -3, {}},  // a function yielding -9999 fails
      {"FOO(1)", 0, -3, {{"Neznámá fce: FOO", 16, "Interp"}}}, {"foo(1)", -1, -3, {}},
      {"2*(1+LN(0))", 0, -3, {}},  // a nested status passes up unchanged
      {"SIN(A)", 0, -2, {{"Proměnná A nenalezena!", 16, "Interpret"}}},
      // The first parenthesis receives the caller's level -2 and stays silent;
      // a second one at that level receives the first one's position, and speaks.
      {"(SQR(0))", -2, -3, {}}, {"(1)+(SQR(0))", -2, -3, {sqr0}},
      // Faults of the table are caught by the lookup.
      {"A*2", 0, -2, {not_filled}, unallocated, none}, {"A*2", -1, -2, {not_filled}, unallocated, none},
      {"A*2", -2, -2, {}, unallocated, none}, {"A*2", 0, -2, {not_filled}, no_rows, none},
      {"A*2", 0, -2, {not_filled}, one_column, none},  // the name matches, its value cell is missing
  };
  for (const auto& c : cases) {
    const Outcome o = run(c.text, c.ipok_in, c.pr, c.y);
    EXPECT_EQ(o, (Outcome{-9999.0, c.ipok_out, 0, c.messages})) << c.text << " at level " << c.ipok_in;
  }
  // Rows whose name cell is not a string never match; the search goes on.
  const VariantArray numeric_names = VariantArray::from_rows({{1.0, 5.0}, {Variant::null(), 6.0}, {"A", 7.0}});
  EXPECT_EQ(run("A*2", 0, numeric_names, none).value, 14.0);
}

TEST(Interp, RuntimeFaultsTravelToTheCaller) {
  const VariantArray pr = VariantArray::from_rows({{"N", Variant::null()}, {"B", "abc"}});
  struct Case { std::string text; int error; } cases[] = {
      {"1/0", err::kDivisionByZero}, {"0/0", err::kDivisionByZero},
      {"ASN(-1)", err::kDivisionByZero},  // only +1 is special-cased
      {"COTGH(0)", err::kDivisionByZero}, {"EXP(1000)", err::kOverflow}, {"COSH(800)", err::kOverflow},
      {"10^400", err::kOverflow}, {"1E300*1E300", err::kOverflow}, {"1E400", err::kOverflow},
      {"(-8)^(1/3)", err::kInvalidCall}, {"0^(-1)", err::kInvalidCall}, {"RAD(3E9)", err::kOverflow},
      {"(1))X", err::kInvalidCall},  // a name token of negative length
      // Ten pending operands fit, eleven do not; six operators fit, seven do not;
      // closing the gap reads operator slot 7 once seven operands are pending.
      {"(1)(1)(1)(1)(1)(1)(1)(1)(1)(1)(1)", err::kSubscript}, {"1+*+*+*+2", err::kSubscript},
      {"(1)(1)(1)(1)(1)(1)+1", err::kSubscript},
      {"B+1", err::kTypeMismatch}, {"N+1", err::kInvalidNull},  // cells that hold no number
  };
  for (const auto& c : cases) EXPECT_EQ(run(c.text, 0, pr).error, c.error) << c.text;
  expect_values({{"0^0", 1}, {"(1)(1)(1)(1)(1)(1)(1)(1)(1)(1)", 1}, {"1+*+*+*2", 3}, {"(1)(1)(1)(1)(1)+1", 2}});
}

TEST(Interp, CounterMessageReportsANegativeOperatorCount) {
  // The function token runs to the end of the text, so removing "its"
  // operator leaves the count at -1; both reductions report it, whatever the level.
  const Message counter{"Interpret: Chyba čítače! -1    2", 16, "Interpret"};
  const Outcome o = run("(1)SIN(2", -2);
  EXPECT_EQ(o.value, 1.0);
  EXPECT_EQ(o.messages, (std::vector<Message>{counter, counter}));
}

TEST(Interp, LongAndDeepTextsRaiseInsteadOfCrashing) {
  // Positions are 16-bit: 32 765 characters scan, 32 767 overflow.
  std::string fits = "1";
  for (int k = 0; k < 16382; ++k) fits += "+1";
  EXPECT_EQ(run(fits).value, 16383.0);
  EXPECT_EQ(run(fits + "+1").error, err::kOverflow);
  EXPECT_EQ(run(std::string(100000, '(')).error, err::kOverflow);
  // Nesting that would exhaust the stack is out of stack space.
  EXPECT_EQ(run(std::string(30000, '(') + "1").error, err::kOutOfStack);
  EXPECT_EQ(run(std::string(500, '(') + "7" + std::string(500, ')')).value, 7.0);
}

}  // namespace
}  // namespace kor
