#include <gtest/gtest.h>

#include "kor/kor.hpp"
#include "support.hpp"

namespace kor {
namespace {

using testing::error_of;

TEST(Polyn, SignOfTheDegreeSelectsTheLayoutInBothFlavours) {
  struct Case {
    int n;
    double x;
    std::vector<double> a;
    double expected;
  } cases[] = {
      {2, 1, {-3, 2}, 0},          // monic x^2 - 3x + 2
      {-2, 2, {1, -3, 2}, 0},      // general x^2 - 3x + 2
      {2, 2, {1, -3, 2}, 3},       // monic x^2 + x - 3
      {0, 5, {}, 0},               // zero degree is 0, even for the monic form
      {1, 4, {7}, 11},             // x + 7 reads a(1) only
      {-1, 4, {7, 1}, 29},         // 7x + 1
      {-3, -2, {2, 0, -1, 5}, -9}, // 2x^3 - x + 5
  };
  Korvat k;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.n);
    DoubleArray d(Bounds{1, static_cast<std::int32_t>(c.a.size())});
    VariantArray v(Bounds{1, static_cast<std::int32_t>(c.a.size())});
    for (std::size_t i = 0; i < c.a.size(); ++i) {
      d(static_cast<std::int32_t>(i + 1)) = c.a[i];
      v(static_cast<std::int32_t>(i + 1)) = Variant(static_cast<int>(c.a[i]));  // integers, read as numbers
    }
    double x = c.x;
    Variant vx = c.x;
    EXPECT_EQ(k.Polynd(c.n, x, d), c.expected);
    EXPECT_EQ(k.Polyn(c.n, vx, v), Variant(c.expected));
  }
}

TEST(Polyn, PositionsAreAbsoluteAndFaultsRaise) {
  Korvat k;
  double x = 2;
  // Position 0 is never read.
  DoubleArray from0 = DoubleArray::from({99, 1, 1}, 0);
  EXPECT_EQ(k.Polynd(2, x, from0), 7.0);
  // A fractional degree ends the loop at the last whole counter value:
  // n = 2.5 evaluates the monic quadratic.
  EXPECT_EQ(k.Polynd(2.5, x, from0), 7.0);
  DoubleArray one = DoubleArray::from({3});
  EXPECT_EQ(error_of([&] { k.Polynd(-1, x, one); }), err::kSubscript);
  DoubleArray from2 = DoubleArray::from({1, 2}, 2);
  EXPECT_EQ(error_of([&] { k.Polynd(1, x, from2); }), err::kSubscript);
  DoubleArray huge = DoubleArray::from({1e300, 0});
  double big = 1e300;
  EXPECT_EQ(error_of([&] { k.Polynd(-1, big, huge); }), err::kOverflow);
  VariantArray text = VariantArray::from({"abc"});
  Variant vx = 1.0;
  EXPECT_EQ(error_of([&] { k.Polyn(1, vx, text); }), err::kTypeMismatch);
  VariantArray numeric_text = VariantArray::from({"2.5"});
  EXPECT_EQ(k.Polyn(1, vx, numeric_text), Variant(3.5));
}

}  // namespace
}  // namespace kor
