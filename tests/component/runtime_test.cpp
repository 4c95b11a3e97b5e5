// The runtime model: Variant conversions and formatting, errors, messages,
// safe arrays and client function objects.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>

#include "kor/kor.hpp"
#include "support.hpp"

namespace kor {
namespace {

using testing::error_of;

TEST(VariantConversion, WholeNumbersRoundHalfToEvenAndOverflowOutside16Bits) {
  struct Case {
    double x;
    int expected;  // 0 with error 6 expected when overflow is true
    bool overflow;
  } cases[] = {
      {2.5, 2, false},       {3.5, 4, false},         {-2.5, -2, false},     {-3.5, -4, false},
      {0.5, 0, false},       {1.5, 2, false},         {2.4999, 2, false},    {32767.0, 32767, false},
      {32767.4, 32767, false}, {32767.5, 0, true},    {-32768.5, -32768, false}, {-32768.51, 0, true},
      {40000.0, 0, true},    {NAN, 0, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.x);
    if (c.overflow) {
      EXPECT_EQ(error_of([&] { (void)Variant(c.x).to_int16(); }), err::kOverflow);
    } else {
      EXPECT_EQ(Variant(c.x).to_int16(), c.expected);
    }
  }
  EXPECT_EQ(Variant(2147483647.4).to_int32(), 2147483647);
  EXPECT_EQ(error_of([] { (void)Variant(2147483647.5).to_int32(); }), err::kOverflow);
  EXPECT_EQ(Variant(40000).to_int32(), 40000);
}

TEST(VariantConversion, ArithmeticReadsEmptyBooleansAndNumericStrings) {
  EXPECT_EQ(Variant().to_double(), 0.0);
  EXPECT_EQ(Variant(true).to_double(), -1.0);
  EXPECT_EQ(Variant(false).to_double(), 0.0);
  EXPECT_EQ(Variant(short{-7}).to_double(), -7.0);
  EXPECT_EQ(Variant::from_long(100000).to_double(), 100000.0);
  EXPECT_EQ(Variant(" 12.5 ").to_double(), 12.5);
  EXPECT_EQ(Variant("-1e3").to_double(), -1000.0);
  EXPECT_EQ(Variant(".25").to_double(), 0.25);
  EXPECT_EQ(Variant("1e-400").to_double(), 0.0);
  const char* not_numbers[] = {"", "abc", "1.2.3", "inf", "nan", "0x10", "1e", "--1", "12 3"};
  for (const char* s : not_numbers) {
    SCOPED_TRACE(s);
    EXPECT_EQ(error_of([&] { (void)Variant(s).to_double(); }), err::kTypeMismatch);
  }
  EXPECT_EQ(error_of([] { (void)Variant("1e400").to_double(); }), err::kOverflow);
  EXPECT_EQ(error_of([] { (void)Variant::null().to_double(); }), err::kInvalidNull);
  EXPECT_EQ(error_of([] { (void)Variant::missing().to_double(); }), err::kTypeMismatch);
}

TEST(VariantConversion, IntLiteralsTakeTheNarrowestIntegerType) {
  EXPECT_EQ(Variant(50).type(), Variant::Type::Integer);
  EXPECT_EQ(Variant(-32768).type(), Variant::Type::Integer);
  EXPECT_EQ(Variant(32768).type(), Variant::Type::Long);
  EXPECT_EQ(Variant(2.0).type(), Variant::Type::Double);
}

TEST(VariantValue, CopiesOwnTheirStrings) {
  Variant a("Z1");
  Variant b = a;
  a = Variant(3.0);
  EXPECT_EQ(b.string_value(), "Z1");
  Variant c(std::move(b));
  EXPECT_TRUE(b.is_empty());
  EXPECT_EQ(c, Variant("Z1"));
  EXPECT_NE(c, Variant("z1"));
  EXPECT_NE(Variant(1.0), Variant(1));  // same number, other type
}

TEST(StrFormatting, MatchesTheAutomationLanguage) {
  struct Case {
    double x;
    const char* text;
  } cases[] = {
      {0.0, " 0"},          {-0.0, " 0"},       {4.0, " 4"},
      {-4.0, "-4"},         {0.5, " .5"},       {-0.5, "-.5"},
      {1.0 / 3, " .333333333333333"},           {2.0 / 3, " .666666666666667"},
      {123456789012345.0, " 123456789012345"},  {1e15, " 1E+15"},
      {1e20, " 1E+20"},     {0.0001, " .0001"}, {0.00001, " 1E-05"},
      {-2.5e-7, "-2.5E-07"}, {1.5e300, " 1.5E+300"}, {100.25, " 100.25"},
  };
  for (const auto& c : cases) EXPECT_EQ(convert::str(c.x), c.text) << c.x;
}

TEST(Errors, CarryTheirNumberAndStandardDescription) {
  struct Case {
    int number;
    const char* text;
  } cases[] = {
      {5, "Invalid procedure call or argument"}, {6, "Overflow"},
      {9, "Subscript out of range"},             {11, "Division by zero"},
      {13, "Type mismatch"},                     {28, "Out of stack space"},
      {94, "Invalid use of Null"},               {438, "Object doesn't support this property or method"},
  };
  for (const auto& c : cases) {
    Error e(c.number);
    EXPECT_EQ(e.number(), c.number);
    EXPECT_STREQ(e.what(), c.text);
  }
  Error client(1000, "client failed", "Client");
  EXPECT_EQ(client.description(), "client failed");
  EXPECT_EQ(client.source(), "Client");
}

TEST(Messages, HandlerReceivesTextStyleAndTitleAndIsRestored) {
  std::vector<Message> outer;
  auto previous = set_message_handler([&](const Message& m) { outer.push_back(m); });
  {
    MessageCapture capture;
    ShowMessage("Řádek 1\rŘádek 2", style::kExclamation, "FMIN");
    ASSERT_EQ(capture.messages().size(), 1u);
    EXPECT_EQ(capture.messages()[0], (Message{"Řádek 1\rŘádek 2", 48, "FMIN"}));
  }
  ShowMessage("after", style::kCritical, "SPLINE");
  set_message_handler(std::move(previous));
  ASSERT_EQ(outer.size(), 1u);
  EXPECT_EQ(outer[0], (Message{"after", 16, "SPLINE"}));
}



TEST(DecimalPrefix, ReadsTheLongestNumberAndRoundsCorrectly) {
  struct Case {
    const char* text;
    double value;
    std::size_t used;
  } cases[] = {
      {"12+3", 12, 2},    {".5*", 0.5, 2},   {"1.", 1, 2},       {"1e3x", 1000, 3},
      {"1e+x", 1, 1},     {"1E-2)", 0.01, 4}, {".", 0, 0},        {"x1", 0, 0},
      {"2.5.5", 2.5, 3},  {"007", 7, 3},     {"1e-400", 0, 6},
  };
  for (const auto& c : cases) {
    std::size_t used = 99;
    EXPECT_EQ(convert::decimal_prefix(c.text, used), c.value) << c.text;
    EXPECT_EQ(used, c.used) << c.text;
  }
  // Against the C library's correctly rounded conversion on random texts.
  std::mt19937_64 rng(42);
  for (int n = 0; n < 20000; ++n) {
    std::string t = std::to_string(rng() % 100000000000000000ULL);
    if (rng() % 2) t.insert(t.size() - rng() % t.size(), ".");
    if (rng() % 3 == 0) t += "e" + std::to_string(static_cast<int>(rng() % 60) - 30);
    std::size_t used = 0;
    ASSERT_EQ(convert::decimal_prefix(t, used), std::strtod(t.c_str(), nullptr)) << t;
  }
}

TEST(SafeArray, AnyBoundsAndColumnMajorStorage) {
  DoubleArray a({-1, 1}, {3, 4});  // rows -1..1, columns 3..4
  double v = 0;
  for (int j = 3; j <= 4; ++j)
    for (int i = -1; i <= 1; ++i) a(i, j) = ++v;
  // Column-major: the first dimension varies fastest in memory.
  const double* d = a.data();
  EXPECT_EQ((std::vector<double>(d, d + 6)), (std::vector<double>{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(a.lbound(1), -1);
  EXPECT_EQ(a.ubound(1), 1);
  EXPECT_EQ(a.lbound(2), 3);
  EXPECT_EQ(a.ubound(2), 4);
  EXPECT_EQ(a.column_stride(), 3u);
  EXPECT_EQ(a.at_unchecked(0, 4), 5.0);
}

TEST(SafeArray, EveryOutOfRangeAccessIsErrorNine) {
  DoubleArray one({2, 4});
  DoubleArray two({1, 2}, {1, 2});
  DoubleArray never;
  const std::function<void()> faults[] = {
      [&] { one(1) = 0; },        [&] { one(5) = 0; },     [&] { one(2, 1) = 0; },
      [&] { two(0, 1) = 0; },     [&] { two(1, 3) = 0; },  [&] { two(1) = 0; },
      [&] { never(1) = 0; },      [&] { (void)never.ubound(1); },
      [&] { (void)one.ubound(2); },
  };
  for (std::size_t k = 0; k < std::size(faults); ++k) {
    SCOPED_TRACE(k);
    EXPECT_EQ(error_of(faults[k]), err::kSubscript);
  }
  EXPECT_TRUE(one.contains(4));
  EXPECT_FALSE(one.contains(5));
  EXPECT_FALSE(never.allocated());
}

TEST(SafeArray, BuildsFromValuesAndRows) {
  auto v = VariantArray::from({1.5, "x", true}, 0);
  EXPECT_EQ(v.lbound(), 0);
  EXPECT_EQ(v(1), Variant("x"));
  auto m = DoubleArray::from_rows({{1, 2, 3}, {4, 5, 6}});
  EXPECT_EQ(m.ubound(1), 2);
  EXPECT_EQ(m.ubound(2), 3);
  EXPECT_EQ(m(2, 3), 6.0);
  EXPECT_EQ(m(1, 2), 2.0);
}

TEST(FunctionObject, CallsMembersByNameWithArgumentsByReference) {
  FunctionObject g;
  g.define("Fun", [](DoubleArray& x, DoubleArray& f, Variant& count) {
    f(1) = x(1) * x(1) - 2;
    x(1) += 1;  // the client may write the method's own arrays
    count = Variant(count.to_double() + 1);
  });
  g.define("F", [](const DoubleArray& x) { return x(1) * 10; });
  DoubleArray x = DoubleArray::from({3.0});
  DoubleArray f({1, 1});
  Variant count(0.0);
  const Argument args[] = {&x, &f, &count};
  EXPECT_TRUE(g.Invoke("fun", args).is_empty());  // names compare without regard to case
  EXPECT_EQ(f(1), 7.0);
  EXPECT_EQ(x(1), 4.0);
  EXPECT_EQ(count, Variant(1.0));
  const Argument one[] = {&x};
  EXPECT_EQ(g.Invoke("F", one), Variant(40.0));
}

TEST(FunctionObject, FaultsOfTheProtocol) {
  FunctionObject g;
  g.define("F", [](DoubleArray& x) { return x(1); });
  g.define("Boom", [](Variant&) -> double { throw Error(1001, "client says no"); });
  DoubleArray x = DoubleArray::from({1.0});
  VariantArray vx = VariantArray::from({1.0});
  Variant v;
  const Argument right[] = {&x};
  const Argument wrong_type[] = {&vx};
  const Argument two[] = {&x, &x};
  const Argument scalar[] = {&v};
  EXPECT_EQ(error_of([&] { g.Invoke("FKT", right); }), err::kNoMember);
  EXPECT_EQ(error_of([&] { g.Invoke("F", wrong_type); }), err::kTypeMismatch);
  EXPECT_EQ(error_of([&] { g.Invoke("F", two); }), err::kWrongArgumentCount);
  try {
    g.Invoke("Boom", scalar);
    FAIL() << "the client's error must pass through";
  } catch (const Error& e) {
    EXPECT_EQ(e.number(), 1001);
    EXPECT_EQ(e.description(), "client says no");
  }
}

}  // namespace
}  // namespace kor
