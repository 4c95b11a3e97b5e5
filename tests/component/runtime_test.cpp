// The runtime model: Variant conversions and formatting, errors, messages,
// safe arrays and client function objects.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <bit>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "component/arith.hpp"
#include "component/pow_fifth.hpp"
#include "kor/kor.hpp"
#include "support.hpp"

namespace kor {
namespace {

using testing::error_of;

TEST(VariantConversion, NumbersCountsAndTheirFaults) {
  // to_double of Empty, Booleans, integers and numeric texts; 0 with an error expected otherwise.
  struct Case { Variant v; double value; int error; } reads[] = {
      {Variant(), 0, 0}, {Variant(true), -1, 0}, {Variant(false), 0, 0}, {Variant(short{-7}), -7, 0},
      {Variant::from_long(100000), 100000, 0}, {Variant(" 12.5 "), 12.5, 0}, {Variant("-1e3"), -1000, 0},
      {Variant(".25"), 0.25, 0}, {Variant("1e-400"), 0, 0}, {Variant("1e400"), 0, err::kOverflow},
      {Variant::null(), 0, err::kInvalidNull}, {Variant::missing(), 0, err::kTypeMismatch}};
  for (const auto& c : reads) {
    double got = 0;
    EXPECT_EQ(error_of([&] { got = c.v.to_double(); }), c.error) << c.v;
    EXPECT_EQ(got, c.value) << c.v;
  }
  for (const char* s : {"", "abc", "1.2.3", "inf", "nan", "0x10", "1e", "--1", "12 3"})
    EXPECT_EQ(error_of([&] { (void)Variant(s).to_double(); }), err::kTypeMismatch) << s;
  // Counts round half to even; outside 16 bits (and NaN) is error 6.
  const double halves[][2] = {{2.5, 2}, {3.5, 4}, {-2.5, -2}, {-3.5, -4}, {0.5, 0}, {1.5, 2}, {2.4999, 2},
                              {32767.4, 32767}, {-32768.5, -32768}};
  for (const auto& h : halves) EXPECT_EQ(Variant(h[0]).to_int16(), h[1]) << h[0];
  for (double x : {32767.5, -32768.51, 40000.0, double(NAN)})
    EXPECT_EQ(error_of([&] { (void)Variant(x).to_int16(); }), err::kOverflow) << x;
  EXPECT_EQ(Variant(2147483647.4).to_int32(), 2147483647);
  EXPECT_EQ(error_of([] { (void)Variant(2147483647.5).to_int32(); }), err::kOverflow);
  // An int is typed like a literal: 16-bit when it fits.
  EXPECT_EQ(Variant(-32768).type(), Variant::Type::Integer);
  EXPECT_EQ(Variant(32768).type(), Variant::Type::Long);
}

TEST(StrFormatting, MatchesTheAutomationLanguage) {
  struct Case { double x; const char* text; } cases[] = {
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
  struct Case { int number; const char* text; } cases[] = {
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

TEST(DecimalPrefix, ReadsTheLongestNumberAndRoundsCorrectly) {
  struct Case { const char* text; double value; std::size_t used; } cases[] = {
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

TEST(FunctionObject, CallsMembersByAnyCaseWithArgumentsByReferenceAndItsFaults) {
  FunctionObject g;
  g.define("F", [](DoubleArray& x) { return x(1) *= 10; });  // writes the caller's array
  g.define("Boom", [](Variant&) -> double { throw Error(1001, "client says no"); });
  DoubleArray x = DoubleArray::from({3.0});
  VariantArray vx = VariantArray::from({1.0});
  Variant v;
  const Argument right[] = {&x}, wrong_type[] = {&vx}, two[] = {&x, &x}, scalar[] = {&v};
  EXPECT_EQ(g.Invoke("f", right), Variant(30.0));
  EXPECT_EQ(x(1), 30.0);
  EXPECT_EQ(error_of([&] { g.Invoke("FKT", right); }), err::kNoMember);
  EXPECT_EQ(error_of([&] { g.Invoke("F", wrong_type); }), err::kTypeMismatch);
  EXPECT_EQ(error_of([&] { g.Invoke("F", two); }), err::kWrongArgumentCount);
  std::string description;
  EXPECT_EQ(error_of([&] {
              try {
                g.Invoke("Boom", scalar);
              } catch (const Error& e) {
                description = e.description();
                throw;
              }
            }),
            1001);
  EXPECT_EQ(description, "client says no");  // the client's error passes through unchanged
}

TEST(Cube, IsTheDoubleThePowerGivesOnBothProducts) {
  // Random values over the exponent range, and the values where the exact
  // error terms are most fragile: integers, powers of two and their
  // neighbours (the spacing halves below them), the ends of the range
  // computed by products, and values outside it.
  std::vector<double> values;
  std::mt19937_64 rng(7);
  std::uniform_real_distribution<double> mantissa(-2, 2), exponent(-340, 340);
  for (int i = 0; i < 200000; ++i) values.push_back(std::ldexp(mantissa(rng), static_cast<int>(exponent(rng))));
  for (int e = -320; e <= 320; e += 7) {
    const double p = std::ldexp(1.0, e);
    for (double v : {p, -p, std::nextafter(p, 0.0), std::nextafter(p, 1e300), 3 * p, p * 1.5})
      values.push_back(v);
  }
  for (int i = -1000; i <= 1000; ++i) values.push_back(i * 0.001), values.push_back(i);
  for (double v : {0.0, -0.0, 0x1p-300, 0x1p300, 1e-310, 1e200, -1e200})
    values.push_back(v);
  // Each value alone and paired with its neighbour, either way round.
  for (std::size_t i = 0; i < values.size(); ++i) {
    const double v = values[i], w = values[(i + 1) % values.size()];
    const double pv = std::pow(v, 3.0), pw = std::pow(w, 3.0);
    double got[6] = {arith::cube<false>(v), arith::cube<true>(v)};
    arith::cube_pair<false>(v, w, got[2], got[3]);
    arith::cube_pair<true>(w, v, got[4], got[5]);
    const double expected[6] = {pv, pv, pv, pw, pw, pv};
    for (int k = 0; k < 6; ++k)
      ASSERT_EQ(std::memcmp(&got[k], &expected[k], sizeof(double)), 0) << k << ": " << std::hexfloat << v << " " << w;
  }
}

TEST(PowFifth, IsTheDoubleThePowerGives) {
  // Random doubles over the whole positive range (random bits), and where
  // the reduction is most fragile: powers of two and their neighbours, the
  // centres and ends of the table's intervals, values near 1, and the
  // doubles the general power takes (subnormals, zero, infinity).
  std::vector<double> values;
  std::mt19937_64 rng(11);
  for (int i = 0; i < 400000; ++i) values.push_back(std::abs(std::bit_cast<double>(rng())));
  for (int e = -1074; e <= 1023; ++e) {
    const double p = std::ldexp(1.0, e);
    for (double v : {p, std::nextafter(p, 0.0), std::nextafter(p, 1e300)}) values.push_back(v);
  }
  for (int k = 0; k <= 256; ++k)
    for (int e : {-1022, -7, -3, 0, 1, 2, 3, 4, 5, 700, 1019, 1023}) {
      const double c = std::ldexp(1 + k / 256.0, e);
      for (double v : {c, std::nextafter(c, 0.0), std::nextafter(c, 1e308)}) values.push_back(v);
    }
  for (int i = 1; i <= 2000; ++i) values.push_back(1 + i * 0x1p-40), values.push_back(1 - i * 0x1p-40);
  for (double v : {0.0, 1e-310, 32.0, 1e-15 / 3e-9, -2.0, std::numeric_limits<double>::infinity()})
    values.push_back(v);
  // The checked general power: the same double, or the same error (5 for a
  // negative x, 6 for an infinity or a NaN).
  for (double v : values) {
    double got = 0, expected = 0;
    const int got_error = error_of([&] { got = arith::pow_fifth(v); });
    ASSERT_EQ(got_error, error_of([&] { expected = arith::pow(v, 0.2); })) << v;
    ASSERT_EQ(std::memcmp(&got, &expected, sizeof(double)), 0) << std::hexfloat << v;
  }
}

}  // namespace
}  // namespace kor
