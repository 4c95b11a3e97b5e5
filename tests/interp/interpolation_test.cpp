// Lagrange interpolation on x^4 tabulated at 0..4, where the polynomial
// through four points x0..x3 is x^4 - (x-x0)(x-x1)(x-x2)(x-x3); the spline
// family on the table (0, 0), (1, 1), (2, 0), whose values follow by hand from
// the library's own recurrence (not the textbook spline).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "kor/kor.hpp"
#include "support.hpp"

namespace kor {
namespace {

using testing::error_of;

TEST(Flagr, StencilChoiceOnAQuarticTableSortedInPlace) {
  const struct { double xi; int m; double expected; } cases[] = {  // m 0: omitted, 4
      {-1, 0, 1 - 24}, {5, 0, 625 - 4 * 3 * 2 * 1},        // below the table: points 0..3; above: 1..4
      {2.5, 0, 39.0625 - 1.5 * 0.5 * -0.5 * -1.5},         // the first x above is 3 (i = 4): j = 2, points 1..4
      {0.5, 0, 0.0625 - 0.5 * -0.5 * -1.5 * -2.5},         // i = 2: j = 0 raised to 1, points 0..3
      {2.5, 3, 1 + 15 * 1.5 + 25 * 1.5 * 0.5},             // M = 3: j = 4 - 1.5 rounded to even = 2, points 1..3
      {1, 0, 1}, {3.5, 5, 150.0625}};                      // on a knot; all five points: x^4 itself
  Korvat k;
  for (const auto& c : cases) {
    DoubleArray x = DoubleArray::from({3, 0, 4, 1, 2}), y = DoubleArray::from({81, 0, 256, 1, 16});
    VariantArray vx = VariantArray::from({3, 0, 4, 1, 2}), vy = VariantArray::from({81, 0, 256, 1, 16});
    const Variant m = c.m ? Variant(c.m) : Variant::missing();
    Variant vxi = c.xi;
    EXPECT_NEAR(k.Flagrd(5, x, y, c.xi, m), c.expected, 1e-12) << c.xi;
    EXPECT_EQ(k.Flagr(5, vx, vy, vxi, m).to_double(), k.Flagrd(5, x, y, c.xi, m));
    for (int i = 1; i <= 5; ++i) EXPECT_TRUE(x(i) == i - 1 && y(i) == x(i) * x(i) * x(i) * x(i));  // y along
  }
}

TEST(Flagr, TwoPointsGiveTheProductNotTheLineAndFaultsRaise) {
  Korvat k;
  DoubleArray x = DoubleArray::from({1, 0}), y = DoubleArray::from({4, 2}), x3 = DoubleArray::from({0, 1, 2});
  DoubleArray same = DoubleArray::from({0, 1, 1, 2});
  VariantArray vx = VariantArray::from({1, 0}), vy = VariantArray::from({4, 2}), text = VariantArray::from({0.0, "a", 2.0});
  Variant xi = 0.5;
  EXPECT_EQ(k.Flagrd(2, x, y, 0.5), 4 * -0.5 * -2 / -1.0);  // y1 (xi - x1)(y2 - y1)/(x2 - x1); the line gives 3
  EXPECT_EQ(k.Flagr(2, vx, vy, xi), Variant(-4.0));
  EXPECT_EQ(x(1), 1.0);  // not sorted
  EXPECT_EQ(error_of([&] { k.Flagrd(3, x3, same, 1.5, 5); }), err::kSubscript);  // more points than the table
  EXPECT_EQ(error_of([&] { k.Flagrd(3, x3, same, 7, 5); }), err::kSubscript);    // start n - M + 1 = -1, not raised
  EXPECT_EQ(error_of([&] { k.Flagrd(4, same, same, 0.5); }), err::kDivisionByZero);
  EXPECT_EQ(error_of([&] { k.Flagr(3, text, vy, xi); }), err::kTypeMismatch);
}

struct Table {
  DoubleArray x = DoubleArray::from({0, 1, 2}), y = DoubleArray::from({0, 1, 0}), y2 = DoubleArray(Bounds{1, 3});
  VariantArray vx = VariantArray::from({0, 1, 2}), vy = VariantArray::from({0, 1, 0}), vy2 = VariantArray(Bounds{1, 3});
};

TEST(Spline, AuxiliaryValuesFollowTheRecurrenceForEveryKindOfEnd) {
  // Natural ends: sig = .5, p = 2, Y2(2) = -.25, W(2) = -1 - 1/2; Y2 = (0, -1.5, 0).
  // Start slope s: Y2(1) = -.5, W(1) = 3 (1 - s); p = 1.75, Y2(2) = -2/7, W(2) = -11/7;
  // back: Y2(2) = -11/7, Y2(1) = 11/14 + W(1).  End slope -1 (the last chord):
  // Y2(3) = (0 + .5 * 1.5)/(1 - .5/4) = 6/7, Y2(2) = -.25 * 6/7 - 1.5 = -12/7.
  const struct { double y1min, y1max, y2[3]; } cases[] = {
      {1e4, 1e4, {0, -1.5, 0}}, {9998.999, 9998.999, {0, -1.5, 0}},  // natural from 9998.999 up
      {0, 1e4, {53.0 / 14, -11.0 / 7, 0}}, {1, 1e4, {11.0 / 14, -11.0 / 7, 0}},
      {-9998.999, 1e4, {11.0 / 14, -11.0 / 7, 0}},  // up to -9998.999: the slope of the chord, 1
      {1e4, -1, {0, -12.0 / 7, 6.0 / 7}}, {1e4, -9998.999, {0, -12.0 / 7, 6.0 / 7}}, {1e4, -1e6, {0, -12.0 / 7, 6.0 / 7}}};
  Korvat k;
  for (const auto& c : cases) {
    Table t;
    k.Splined(1, 3, t.x, t.y, c.y1min, c.y1max, t.y2);
    k.Spline(1, 3, t.vx, t.vy, c.y1min, c.y1max, t.vy2);
    for (int i = 1; i <= 3; ++i) EXPECT_NEAR(t.y2(i), c.y2[i - 1], 1e-15) << c.y1min << " " << c.y1max;
    for (int i = 1; i <= 3; ++i) EXPECT_EQ(t.vy2(i).to_double(), t.y2(i));
  }
}

TEST(Spline, OnePointWorkArrayBoundsAndFaults) {
  Korvat k;
  Table t;
  t.y2(1) = 42;
  MessageCapture capture;
  k.Splined(1, 1, t.x, t.y, 0, 0, t.y2);
  k.Spline(1, 1, t.vx, t.vy, 0, 0, t.vy2);
  EXPECT_EQ(capture.messages(), (std::vector<Message>{{" SPLINED - zadan jen 1 bod!", 16, "SPLINE"},
                                                     {" SPLINE - zadan jen 1 bod!", 16, "SPLINE"}}));
  EXPECT_EQ(t.y2(1), 42.0);
  DoubleArray x(Bounds{0, 12}), y(Bounds{0, 12}), y2(Bounds{0, 12});  // the work array serves Imin 0, 1, 2
  for (int i = 0; i <= 12; ++i) x(i) = i;
  EXPECT_EQ(error_of([&] { k.Splined(3, 10, x, y, 1e4, 1e4, y2); }), err::kSubscript);
  EXPECT_EQ(error_of([&] { k.Splined(2, 10, x, y, 1e4, 1e4, y2); }), 0);
  EXPECT_EQ(error_of([&] { k.Splined(5, 3, x, y, 1e4, 1e4, y2); }), err::kSubscript);
  // Knots 0, 4, 1 with start slope 0 make p = 4 * -.5 + 2 = 0: Splined stores
  // the quotient 3/0 before raising, Spline raises before storing.
  t.x(2) = 4, t.vx(2) = 4, t.x(3) = 1, t.vx(3) = 1;
  EXPECT_EQ(error_of([&] { k.Splined(1, 3, t.x, t.y, 0, 1e4, t.y2); }), err::kDivisionByZero);
  EXPECT_EQ(error_of([&] { k.Spline(1, 3, t.vx, t.vy, 0, 1e4, t.vy2); }), err::kDivisionByZero);
  EXPECT_TRUE(t.y2(2) == INFINITY && t.vy2(2).is_empty());
  t.vx(2) = "a";
  EXPECT_EQ(error_of([&] { k.Spline(1, 3, t.vx, t.vy, 1e4, 1e4, t.vy2); }), err::kTypeMismatch);
}

TEST(Splines, ValueDerivativeAndIntegralOnTheNaturalTable) {
  // Y2 = (0, -1.5, 0).  At .5: A = B = .5, value .5 + (-.375 * -1.5)/6, slope
  // ((.75 - 1) * -1.5)/6 + 1.  On the interior knot: the interval on its right,
  // A = 1, B = 0.  Outside: lines along the end slopes 1.25 and -1.25.
  const struct { double xx, value, slope; } cases[] = {
      {0.5, 0.59375, 1.0625}, {0, 0, 1.25}, {-1, -1.25, 1.25}, {2, 0, -1.25}, {3, -1.25, -1.25}, {1, 1, -0.5}};
  Korvat k;
  Table t;
  k.Splined(1, 3, t.x, t.y, 1e4, 1e4, t.y2);
  k.Spline(1, 3, t.vx, t.vy, 1e4, 1e4, t.vy2);
  Variant lo = 1, hi = 3;
  for (const auto& c : cases) {
    double xx = c.xx;
    Variant vxx = c.xx;
    EXPECT_DOUBLE_EQ(k.Splinpd(1, 3, t.x, t.y, t.y2, c.xx), c.value) << c.xx;
    EXPECT_EQ(k.Splinp(1, 3, t.vx, t.vy, t.vy2, c.xx), Variant(k.Splinpd(1, 3, t.x, t.y, t.y2, c.xx)));
    EXPECT_DOUBLE_EQ(k.Splderd(1, 3, t.x, t.y, t.y2, xx), c.slope) << c.xx;
    EXPECT_EQ(k.Splder(lo, hi, t.vx, t.vy, t.vy2, vxx), Variant(k.Splderd(1, 3, t.x, t.y, t.y2, xx)));
  }
  // One Simpson panel when the range does not strictly contain an end knot;
  // else panels to the end knots, (4 f(mid) + f(a) + y(knot)) d/6, and between
  // them the closed form h (y_i + y_i+1)/2 - h^3 (Y2_i + Y2_i+1)/24 per interval.
  const struct { double a, b, expected; } integrals[] = {
      {0, 2, 4.0 / 3}, {2, 0, -4.0 / 3}, {1, 1 + 1e-10, 0},  // (0 + 0 + 4 * 1) * 2/6; exchanged; within 1E-9: 0
      {-1, 1, -0.625 + 0.5625},                             // (4 * -.625 - 1.25)/6 + (4 * .59375 + 1)/6
      {-1, 3, -0.625 * 2 + 2 * (0.5 + 1.5 / 24)}};
  for (const auto& c : integrals) {
    EXPECT_DOUBLE_EQ(k.Splintd(1, 3, t.x, t.y, t.y2, c.a, c.b), c.expected) << c.a;
    EXPECT_EQ(k.Splint(1, 3, t.vx, t.vy, t.vy2, c.a, c.b), Variant(k.Splintd(1, 3, t.x, t.y, t.y2, c.a, c.b)));
  }
  // Y and Y2 are read at the interval's two knots only: shorter arrays serve
  // the intervals they hold, and a missing position is a subscript error.
  DoubleArray y12 = DoubleArray::from({0, 1}), y2_12 = DoubleArray::from({0, -1.5});
  EXPECT_EQ(k.Splinpd(1, 3, t.x, y12, t.y2, 0.5), 0.59375);
  EXPECT_EQ(k.Splinpd(1, 3, t.x, t.y, y2_12, 0.5), 0.59375);
  EXPECT_EQ(error_of([&] { k.Splinpd(1, 3, t.x, t.y, y2_12, 1.5); }), err::kSubscript);
  // Equal knots: the bisection ends on the zero-width interval, shows the
  // message, and the division by its width raises.
  DoubleArray x = DoubleArray::from({0, 1, 1, 2}), y = DoubleArray::from({0, 1, 1, 0}), y2(Bounds{1, 4});
  MessageCapture capture;
  EXPECT_EQ(error_of([&] { k.Splinpd(2, 3, x, y, y2, 0.999); }), err::kDivisionByZero);
  EXPECT_EQ(capture.messages(), (std::vector<Message>{{" Špatné vstup. hodnoty ", 16, "SPLINE"}}));
}

TEST(Splines, LargeTablesFindTheIntervalOfTheirTwoKnots) {
  // Knots x = i, i = 1..40000 (a table the search walks with fetches ahead)
  // with any Y and Y2: the value and slope at xx are those of the two-knot table
  // [k, k + 1], k the integer part of xx (the last knot belongs to the last
  // interval).  A value that does not fit a double is overflow.
  const int n = 40000;
  DoubleArray x(Bounds{1, n}), y(Bounds{1, n}), y2(Bounds{1, n});
  for (int i = 1; i <= n; ++i) x(i) = i, y(i) = std::sin(i * 0.37), y2(i) = std::cos(i * 1.3);
  Korvat k;
  std::vector<double> points = {1, 1.5, 2, 17.25, 20000, 20000.5, 39999, 39999.9, n};
  for (int i = 1; i < 300; ++i) points.push_back(1 + std::fmod(i * 7919.37, n - 1));
  for (double xx : points) {
    const int lo = std::min(static_cast<int>(xx), n - 1);
    EXPECT_EQ(k.Splinpd(1, n, x, y, y2, xx), k.Splinpd(lo, lo + 1, x, y, y2, xx)) << xx;
    EXPECT_EQ(k.Splderd(1, n, x, y, y2, xx), k.Splderd(lo, lo + 1, x, y, y2, xx)) << xx;
  }
  y(5) = y(6) = 1.7e308;
  y2(5) = y2(6) = -1e308;  // 1.7e308 + (.375e308 * 2) / 6
  EXPECT_EQ(error_of([&] { k.Splinpd(1, n, x, y, y2, 5.5); }), err::kOverflow);
}

TEST(Splines, LargeTablesKeepTheBisectionsIntervalWhereKnotsAreUneven) {
  // The search of a large table guesses the interval as if the knots were
  // evenly spaced.  The interval must still be the bisection's: on knots
  // x = i^2 the last knot not above xx (found here by std::upper_bound);
  // on knots x = i whose first midpoint 20000 reads 1e9, the bisection
  // turns left there, so every point above it lands in [19999, 20000].
  const int n = 40000;
  DoubleArray x(Bounds{1, n}), y(Bounds{1, n}), y2(Bounds{1, n});
  for (int i = 1; i <= n; ++i) x(i) = double(i) * i, y(i) = std::sin(i * 0.37), y2(i) = std::cos(i * 1.3);
  Korvat k;
  for (int i = 1; i < 200; ++i) {
    const double xx = 1 + std::fmod(i * 7919.37 * n, double(n) * n - 1);
    const int lo = static_cast<int>(std::upper_bound(x.data(), x.data() + n, xx) - x.data());
    EXPECT_EQ(k.Splinpd(1, n, x, y, y2, xx), k.Splinpd(lo, lo + 1, x, y, y2, xx)) << xx;
  }
  for (int i = 1; i <= n; ++i) x(i) = i;
  x(20000) = 1e9;
  for (double xx : {20000.5, 20100.25, 39999.5}) {
    EXPECT_EQ(k.Splinpd(1, n, x, y, y2, xx), k.Splinpd(19999, 20000, x, y, y2, xx)) << xx;
    EXPECT_EQ(k.Splderd(1, n, x, y, y2, xx), k.Splderd(19999, 20000, x, y, y2, xx)) << xx;
  }
  EXPECT_EQ(k.Splinpd(1, n, x, y, y2, 17.5), k.Splinpd(17, 18, x, y, y2, 17.5));
}

TEST(Sinterp, KeepsItsValuesPerFlavourWhileIpocSaysSo) {
  Korvat k;
  Table t;
  k.Splined(1, 3, t.x, t.y, 1e4, 1e4, t.y2);
  Variant ipoc = 0, vpoc = 1, xi = 0.5, s = 1e4, text = "steep";
  EXPECT_EQ(k.Sinterpd(3, 1, t.x, t.y, 0.5, 1e4, 1e4, ipoc), 0.59375);
  EXPECT_EQ(ipoc, Variant(short{1}));
  DoubleArray y = DoubleArray::from({0, 2, 0});  // with Ipoc 1 new ordinates meet the kept values
  EXPECT_EQ(k.Sinterpd(3, 1, t.x, y, 1.5, 1e4, 1e4, ipoc), k.Splinpd(1, 3, t.x, y, t.y2, 1.5));
  EXPECT_EQ(k.Sinterp(3, 1, t.vx, t.vy, xi, s, s, vpoc), Variant(0.5));  // the variant flavour's own: none yet
  ipoc = 0;  // Npoc = 2 reaches past the kept array
  DoubleArray x4 = DoubleArray::from({0, 0, 1, 2}), y4 = DoubleArray::from({0, 0, 1, 0});
  EXPECT_EQ(error_of([&] { k.Sinterpd(3, 2, x4, y4, 0.5, 1e4, 1e4, ipoc); }), err::kSubscript);
  EXPECT_EQ(ipoc, Variant(0));
  // One point: the spline's message (before it would read the slopes), Ipoc
  // set, then the zero-width interval.  Two points read the text slope.
  MessageCapture capture;
  vpoc = 0;
  EXPECT_EQ(error_of([&] { k.Sinterp(1, 1, t.vx, t.vy, xi, text, text, vpoc); }), err::kDivisionByZero);
  EXPECT_EQ(vpoc, Variant(short{1}));
  EXPECT_EQ(capture.messages().size(), 2u);
  vpoc = 0;
  EXPECT_EQ(error_of([&] { k.Sinterp(2, 1, t.vx, t.vy, xi, text, text, vpoc); }), err::kTypeMismatch);
  EXPECT_EQ(vpoc, Variant(0));
}

}  // namespace
}  // namespace kor
