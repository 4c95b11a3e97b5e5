// Lagrange interpolation on x^4 tabulated at 0..4, where the polynomial
// through any four points x0..x3 is x^4 - (x-x0)(x-x1)(x-x2)(x-x3): the
// expected values below follow from that identity, independently of the code.
#include <gtest/gtest.h>

#include "kor/kor.hpp"
#include "support.hpp"

namespace kor {
namespace {

using testing::error_of;

TEST(Flagr, TwoPointsGiveTheProductNotTheLine) {
  Korvat k;
  DoubleArray x = DoubleArray::from({0, 1}), y = DoubleArray::from({2, 4});
  EXPECT_EQ(k.Flagrd(2, x, y, 0.5), 2.0);  // 2 * 0.5 * 2 / 1, where the line gives 3
  VariantArray vx = VariantArray::from({1.0, 0.0}), vy = VariantArray::from({4.0, 2.0});
  Variant xi = 0.5;
  EXPECT_EQ(k.Flagr(2, vx, vy, xi), Variant(-0.5 * 4.0 * -2.0 / -1.0));
  EXPECT_EQ(vx(1), Variant(1.0));  // not sorted for two points
}

TEST(Flagr, StencilChoiceOnAQuarticTable) {
  struct Case {
    double xi;
    int m;  // 0: omitted (4)
    double expected;
  } cases[] = {
      {-1, 0, 1 - 24},                             // below the table: stencil 0..3
      {5, 0, 625 - 4 * 3 * 2 * 1},                 // above: stencil 1..4
      {2.5, 0, 39.0625 - 1.5 * 0.5 * -0.5 * -1.5}, // first x above is 3 (i = 4): j = 2, stencil 1..4
      {0.5, 0, 0.0625 - 0.5 * -0.5 * -1.5 * -2.5}, // i = 2: j = 0 -> 1, stencil 0..3
      {2.5, 3, 1 + 15 * 1.5 + 25 * 1.5 * 0.5},     // M = 3: j = round(4 - 1.5) = 2, points 1, 2, 3
      {1, 0, 1},                                   // on a knot inside the stencil: y(i)
  };
  Korvat k;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.xi);
    DoubleArray x = DoubleArray::from({0, 1, 2, 3, 4}), y = DoubleArray::from({0, 1, 16, 81, 256});
    const Variant m = c.m ? Variant(c.m) : Variant::missing();
    EXPECT_NEAR(k.Flagrd(5, x, y, c.xi, m), c.expected, 1e-12);
    VariantArray vx = VariantArray::from({0.0, 1.0, 2.0, 3.0, 4.0});
    VariantArray vy = VariantArray::from({0.0, 1.0, 16.0, 81.0, 256.0});
    Variant vxi = c.xi;
    EXPECT_EQ(k.Flagr(5, vx, vy, vxi, m).to_double(), k.Flagrd(5, x, y, c.xi, m));
  }
}

TEST(Flagr, SortsTheCallersTableAndReportsFaults) {
  Korvat k;
  DoubleArray x = DoubleArray::from({3, 0, 4, 1, 2}), y = DoubleArray::from({81, 0, 256, 1, 16});
  EXPECT_NEAR(k.Flagrd(5, x, y, 2.5), 38.5, 1e-12);
  for (int i = 1; i <= 5; ++i) {
    EXPECT_EQ(x(i), i - 1);
    EXPECT_EQ(y(i), (i - 1) * (i - 1) * (i - 1) * (i - 1));
  }
  // More stencil points than table points run past the arrays.
  DoubleArray x3 = DoubleArray::from({0, 1, 2}), y3 = DoubleArray::from({0, 1, 4});
  EXPECT_EQ(error_of([&] { k.Flagrd(3, x3, y3, 1.5, 5); }), err::kSubscript);
  // Above the table the start is n - M + 1 = -1, never raised back to 1.
  EXPECT_EQ(error_of([&] { k.Flagrd(3, x3, y3, 7, 5); }), err::kSubscript);
  // Equal abscissae inside the stencil divide by zero.
  DoubleArray same = DoubleArray::from({0, 1, 1, 2}), ys = DoubleArray::from({0, 1, 2, 3});
  EXPECT_EQ(error_of([&] { k.Flagrd(4, same, ys, 0.5); }), err::kDivisionByZero);
}

}  // namespace
}  // namespace kor
