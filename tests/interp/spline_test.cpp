// The spline family on small tables whose values follow by hand from the
// library's own recurrence (not the textbook spline).
#include <gtest/gtest.h>

#include "kor/kor.hpp"
#include "support.hpp"

namespace kor {
namespace {

using testing::error_of;

struct Table {
  DoubleArray x = DoubleArray::from({0, 1, 2});
  DoubleArray y = DoubleArray::from({0, 1, 0});
  DoubleArray y2 = DoubleArray(Bounds{1, 3});
  VariantArray vx = VariantArray::from({0.0, 1.0, 2.0});
  VariantArray vy = VariantArray::from({0.0, 1.0, 0.0});
  VariantArray vy2 = VariantArray(Bounds{1, 3});
};

TEST(Spline, AuxiliaryValuesFollowTheRecurrence) {
  struct Case {
    double y1min, y1max;
    std::vector<double> y2;
  } cases[] = {
      // Natural ends: sig = .5, p = 2, W(2) = -1 - 1/2, Y2 = (0, -1.5, 0).
      {10000, 10000, {0, -1.5, 0}},
      // Clamped start with slope 0: Y2(1) = -.5, W(1) = 3; p = 1.75,
      // Y2(2) = -.5/1.75, W(2) = -1 - 1/1.75; back: Y2(2) = -11/7, Y2(1) = 53/14.
      {0, 10000, {53.0 / 14, -11.0 / 7, 0}},
      // 9998.999 is natural (>=), -9998.999 asks for the chord slope 1.
      {9998.999, 9998.999, {0, -1.5, 0}},
  };
  Korvat k;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.y1min);
    Table t;
    k.Splined(1, 3, t.x, t.y, c.y1min, c.y1max, t.y2);
    k.Spline(1, 3, t.vx, t.vy, c.y1min, c.y1max, t.vy2);
    for (int i = 1; i <= 3; ++i) {
      EXPECT_NEAR(t.y2(i), c.y2[i - 1], 1e-15);
      EXPECT_EQ(t.vy2(i), Variant(t.y2(i)));
    }
  }
  // The chord estimate at the start equals a clamped slope of 1.
  Table a, b;
  k.Splined(1, 3, a.x, a.y, -9998.999, 10000, a.y2);
  k.Splined(1, 3, b.x, b.y, 1.0, 10000, b.y2);
  for (int i = 1; i <= 3; ++i) EXPECT_EQ(a.y2(i), b.y2(i));
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
  // Two points with natural ends: zeros.
  k.Splined(1, 2, t.x, t.y, 10000, 10000, t.y2);
  EXPECT_EQ(t.y2(1), 0.0);
  EXPECT_EQ(t.y2(2), 0.0);
  // The work array serves Imin of 0, 1 or 2 only.
  DoubleArray x(Bounds{0, 12}), y(Bounds{0, 12}), y2(Bounds{0, 12});
  for (int i = 0; i <= 12; ++i) x(i) = i;
  EXPECT_EQ(error_of([&] { k.Splined(3, 10, x, y, 10000, 10000, y2); }), err::kSubscript);
  EXPECT_EQ(error_of([&] { k.Splined(2, 10, x, y, 10000, 10000, y2); }), 0);
  EXPECT_EQ(error_of([&] { k.Splined(5, 3, x, y, 10000, 10000, y2); }), err::kSubscript);
  DoubleArray dup = DoubleArray::from({0, 1, 1});
  EXPECT_EQ(error_of([&] { k.Splined(1, 3, dup, t.y, 10000, 10000, t.y2); }), err::kDivisionByZero);
  VariantArray text = VariantArray::from({0.0, "a", 2.0});
  EXPECT_EQ(error_of([&] { k.Spline(1, 3, text, t.vy, 10000, 10000, t.vy2); }), err::kTypeMismatch);
}

TEST(Splines, ValueDerivativeAndIntegralOnTheNaturalTable) {
  // Y2 = (0, -1.5, 0).  Inside [0,1] at .5: A = B = .5, value .5 + .5625/6,
  // derivative ((.75-1)*(-1.5))/6 + 1.  Outside, the end slope 1.25 at 0 and
  // -1.25 at 2 (the derivative of the end interval's cubic at its end knot).
  struct Case {
    double xx, value, slope;
  } cases[] = {
      {0.5, 0.59375, 1.0625}, {0, 0, 1.25},      {-1, -1.25, 1.25},
      {2, 0, -1.25},          {3, -1.25, -1.25},
      // On the interior knot: the interval on its right, A = 1, B = 0:
      // (0 - 2*(-1.5))/6 - 1.
      {1, 1, -0.5},
  };
  Korvat k;
  Table t;
  k.Splined(1, 3, t.x, t.y, 10000, 10000, t.y2);
  k.Spline(1, 3, t.vx, t.vy, 10000, 10000, t.vy2);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.xx);
    EXPECT_DOUBLE_EQ(k.Splinpd(1, 3, t.x, t.y, t.y2, c.xx), c.value);
    EXPECT_EQ(k.Splinp(1, 3, t.vx, t.vy, t.vy2, c.xx), Variant(k.Splinpd(1, 3, t.x, t.y, t.y2, c.xx)));
    double xx = c.xx;
    Variant vxx = c.xx, lo = 1, hi = 3;
    EXPECT_DOUBLE_EQ(k.Splderd(1, 3, t.x, t.y, t.y2, xx), c.slope);
    EXPECT_EQ(k.Splder(lo, hi, t.vx, t.vy, t.vy2, vxx).to_double(), k.Splderd(1, 3, t.x, t.y, t.y2, xx));
  }
  struct Integral {
    double a, b, expected;
  } integrals[] = {
      {0, 2, 4.0 / 3},      // one Simpson panel over the whole table: (0 + 0 + 4*1) * 2/6
      {2, 0, -4.0 / 3},     // limits exchanged
      {1, 1 + 1e-10, 0},    // within 1e-9: zero without evaluating
      // From below the table: panels (4*(-.625) - 1.25 + 0)/6 and (4*.59375 + 1 + 0)/6.
      {-1, 1, -0.0625},
  };
  for (const auto& c : integrals) {
    SCOPED_TRACE(c.a);
    EXPECT_DOUBLE_EQ(k.Splintd(1, 3, t.x, t.y, t.y2, c.a, c.b), c.expected);
    EXPECT_EQ(k.Splint(1, 3, t.vx, t.vy, t.vy2, c.a, c.b).to_double(), k.Splintd(1, 3, t.x, t.y, t.y2, c.a, c.b));
  }
}

TEST(Splines, EqualKnotsShowTheMessageThenDivideByZero) {
  Korvat k;
  DoubleArray x = DoubleArray::from({0, 1, 1, 2}), y = DoubleArray::from({0, 1, 1, 0});
  DoubleArray y2 = DoubleArray::from({0, 0, 0, 0});
  MessageCapture capture;
  // The bisection ends on the zero-width interval when the point is 1: its
  // right-hand interval starts at the second knot 1.
  double xx = 0.999;
  EXPECT_EQ(error_of([&] { k.Splinpd(2, 3, x, y, y2, xx); }), err::kDivisionByZero);
  EXPECT_EQ(capture.messages(), (std::vector<Message>{{" Špatné vstup. hodnoty ", 16, "SPLINE"}}));
}

TEST(Sinterp, KeepsItsValuesPerFlavourWhileIpocSaysSo) {
  Korvat k;
  Table t;
  k.Splined(1, 3, t.x, t.y, 10000, 10000, t.y2);
  Variant ipoc = 0;
  EXPECT_EQ(k.Sinterpd(3, 1, t.x, t.y, 0.5, 10000, 10000, ipoc), k.Splinpd(1, 3, t.x, t.y, t.y2, 0.5));
  EXPECT_EQ(ipoc, Variant(short{1}));
  EXPECT_EQ(k.Sinterpd(3, 1, t.x, t.y, 1.5, 10000, 10000, ipoc), k.Splinpd(1, 3, t.x, t.y, t.y2, 1.5));
  // New ordinates with ipoc = 1 are used with the old auxiliary values.
  DoubleArray y = DoubleArray::from({0, 2, 0});
  EXPECT_EQ(k.Sinterpd(3, 1, t.x, y, 0.5, 10000, 10000, ipoc), k.Splinpd(1, 3, t.x, y, t.y2, 0.5));
  // The variant flavour has its own values: none yet, so zeros (a straight line).
  Variant vpoc = 1;
  Variant xi = 0.5, s = 10000;
  EXPECT_EQ(k.Sinterp(3, 1, t.vx, t.vy, xi, s, s, vpoc), Variant(0.5));
  // Npoc = 2 writes past the stored array.
  ipoc = 0;
  DoubleArray x4 = DoubleArray::from({0, 0, 1, 2}), y4 = DoubleArray::from({0, 0, 1, 0});
  EXPECT_EQ(error_of([&] { k.Sinterpd(3, 2, x4, y4, 0.5, 10000, 10000, ipoc); }), err::kSubscript);
  EXPECT_EQ(ipoc, Variant(0));
  // One point: the spline's message, ipoc set, then the zero-width interval.
  MessageCapture capture;
  ipoc = 0;
  EXPECT_EQ(error_of([&] { k.Sinterpd(1, 1, t.x, t.y, 0.5, 10000, 10000, ipoc); }), err::kDivisionByZero);
  EXPECT_EQ(ipoc, Variant(short{1}));
  EXPECT_EQ(capture.messages().size(), 2u);
  // The end slopes reach the spline as they are: with one point it shows its
  // message before it would read them, so a text slope does not matter.
  Variant vpoc0 = 0, text = "steep", at = 0.5;
  EXPECT_EQ(error_of([&] { k.Sinterp(1, 1, t.vx, t.vy, at, text, text, vpoc0); }), err::kDivisionByZero);
  EXPECT_EQ(capture.messages().size(), 4u);
  EXPECT_EQ(capture.messages()[2], (Message{" SPLINE - zadan jen 1 bod!", 16, "SPLINE"}));
  // With two points the text slope is read and is a type mismatch.
  vpoc0 = 0;
  EXPECT_EQ(error_of([&] { k.Sinterp(2, 1, t.vx, t.vy, at, text, text, vpoc0); }), err::kTypeMismatch);
  EXPECT_EQ(vpoc0, Variant(0));
}

}  // namespace
}  // namespace kor
