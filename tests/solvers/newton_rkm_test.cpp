// Newton's method and the Runge-Kutta-Merson integrator on problems with
// known answers, with the client object's calls counted.
#include <gtest/gtest.h>

#include <cmath>

#include "kor/kor.hpp"
#include "support.hpp"

namespace kor {
namespace {

using testing::error_of;

// f1 = x1 + x2 - 3, f2 = x1 - x2 - 1: the solution is (2, 1).
template <class XA>
FunctionObject linear_system(int& calls) {
  FunctionObject g;
  g.define("Fun", [&calls](XA& x, XA& r, Variant&, XA&) {
    ++calls;
    const double x1 = Variant(x(1)).to_double(), x2 = Variant(x(2)).to_double();
    r(1) = x1 + x2 - 3.0;
    r(2) = x1 - x2 - 1.0;
  });
  return g;
}

TEST(Newton, LinearSystemConvergesInTwoIterationsInBothFlavours) {
  int calls = 0;
  auto g = linear_system<VariantArray>(calls);
  VariantArray x = VariantArray::from({1.5, 0.8}), ipom = VariantArray::from({1, 2}), z(Bounds{1, 1});
  Variant id;
  Korvat k;
  EXPECT_EQ(k.Newton(g, 2, 2, 0, x, ipom, z, id), Variant(short{2}));
  EXPECT_EQ(id, Variant(short{0}));
  EXPECT_NEAR(x(1).to_double(), 2.0, 1e-9);
  EXPECT_NEAR(x(2).to_double(), 1.0, 1e-9);
  EXPECT_EQ(calls, 1 + 2 * 3);  // the start, then per iteration two differences and the new point

  int dcalls = 0;
  auto gd = linear_system<DoubleArray>(dcalls);
  DoubleArray xd = DoubleArray::from({1.5, 0.8}), zd(Bounds{1, 1});
  EXPECT_EQ(k.Newtond(gd, 2, 2, 0, xd, ipom, zd, id, 1e-5), Variant(short{2}));
  EXPECT_EQ(xd(1), x(1).to_double());
  EXPECT_EQ(xd(2), x(2).to_double());
}

TEST(Newton, NonlinearSystemAndDamping) {
  // x^2 + y^2 = 4, x*y = 1: x = 2 cos 15 deg, y = 2 sin 15 deg.
  FunctionObject g;
  g.define("Fun", [](DoubleArray& x, DoubleArray& r, Variant&, DoubleArray&) {
    r(1) = x(1) * x(1) + x(2) * x(2) - 4;
    r(2) = x(1) * x(2) - 1;
  });
  DoubleArray x = DoubleArray::from({2, 0.5}), z(Bounds{1, 1});
  VariantArray ipom = VariantArray::from({1, 2});
  Variant id;
  Korvat k;
  k.Newtond(g, 2, 2, 0, x, ipom, z, id, 1e-11);
  EXPECT_EQ(id, Variant(short{0}));
  const double pi = std::acos(-1.0);
  EXPECT_NEAR(x(1), 2 * std::cos(pi / 12), 1e-9);
  EXPECT_NEAR(x(2), 2 * std::sin(pi / 12), 1e-9);

  // ALAM above 2: constant damping by its fractional part (0.25), so after
  // three iterations on a linear system 0.75^3 of the distance is left.
  int calls = 0;
  auto lin = linear_system<DoubleArray>(calls);
  DoubleArray xl = DoubleArray::from({1.5, 0.8});
  EXPECT_EQ(k.Newtond(lin, 2, 2, 0, xl, ipom, z, id, 1e-11, 3.25, 3), Variant(short{4}));
  EXPECT_EQ(id, Variant(short{1}));
  EXPECT_NEAR(xl(1), 2 + 0.421875 * -0.5, 1e-9);
  EXPECT_NEAR(xl(2), 1 + 0.421875 * -0.2, 1e-9);

  // ALAM = 0.8 and a first relative correction of 4: lambda = 0.2.
  FunctionObject one;
  one.define("Fun", [](DoubleArray& x1, DoubleArray& r, Variant&, DoubleArray&) { r(1) = x1(1) - 5; });
  DoubleArray x1 = DoubleArray::from({1});
  VariantArray ip1 = VariantArray::from({1});
  k.Newtond(one, 1, 1, 0, x1, ip1, z, id, 1e-11, 0.8, 1);
  EXPECT_NEAR(x1(1), 1 + 4 * 0.2, 1e-12);
}

TEST(Newton, LimitsStatusesAndQuirks) {
  Korvat k;
  VariantArray ipom = VariantArray::from({1, 2});
  DoubleArray z(Bounds{1, 1});
  Variant id;
  // NITER = 0: one call of Fun, ID = 1, the counter 1.
  int calls = 0;
  auto lin = linear_system<DoubleArray>(calls);
  DoubleArray x = DoubleArray::from({1.5, 0.8});
  EXPECT_EQ(k.Newtond(lin, 2, 2, 0, x, ipom, z, id, 1e-5, Variant::missing(), 0), Variant(short{1}));
  EXPECT_EQ(id, Variant(short{1}));
  EXPECT_EQ(calls, 1);
  // An omitted Eps of the double flavour is 0: the limit is always reached.
  x = DoubleArray::from({1.5, 0.8});
  EXPECT_EQ(k.Newtond(lin, 2, 2, 0, x, ipom, z, id), Variant(short{101}));
  EXPECT_EQ(id, Variant(short{1}));
  // The variant flavour ignores its Delta; the double flavour uses it.
  int c1 = 0, c2 = 0;
  auto g1 = linear_system<VariantArray>(c1), g2 = linear_system<VariantArray>(c2);
  VariantArray v1 = VariantArray::from({1.5, 0.8}), v2 = v1, vz(Bounds{1, 1});
  k.Newton(g1, 2, 2, 0, v1, ipom, vz, id, 1e-5, 0.8, 100, 0.5);
  k.Newton(g2, 2, 2, 0, v2, ipom, vz, id);
  EXPECT_EQ(v1(1), v2(1));
  EXPECT_EQ(v1(2), v2(2));
  // Equations that do not depend on the second unknown: singular, ID = 2.
  FunctionObject flat;
  flat.define("Fun", [](DoubleArray& xf, DoubleArray& r, Variant&, DoubleArray&) {
    r(1) = xf(1) - 1;
    r(2) = 2 * xf(1) - 3;
  });
  DoubleArray xf = DoubleArray::from({3, 7});
  k.Newtond(flat, 2, 2, 0, xf, ipom, z, id, 1e-5);
  EXPECT_EQ(id, Variant(short{2}));
  EXPECT_EQ(xf(1), 3.0);
  // A zero unknown divides by zero in the convergence test.
  x = DoubleArray::from({0.0, 0.8});
  EXPECT_EQ(error_of([&] { k.Newtond(lin, 2, 2, 0, x, ipom, z, id, 1e-5); }), err::kDivisionByZero);
  // A missing member is error 438, with ID as written before the call.
  FunctionObject none;
  id = 7;
  EXPECT_EQ(error_of([&] { k.Newtond(none, 2, 2, 0, x, ipom, z, id, 1e-5); }), err::kNoMember);
  EXPECT_EQ(id, Variant(short{0}));
  // The client's own error passes through.
  FunctionObject boom;
  boom.define("Fun", [](DoubleArray&, DoubleArray&, Variant&, DoubleArray&) { throw Error(1234, "no"); });
  EXPECT_EQ(error_of([&] { k.Newtond(boom, 2, 2, 0, x, ipom, z, id, 1e-5); }), 1234);
}

struct Recorder {
  int calls = 0;
  std::vector<double> abscissae;
};

// y' = c * y (c = 1) or y' = constant, for both flavours.
template <class A, class X>
FunctionObject derivative(Recorder& rec, double c, bool constant) {
  FunctionObject g;
  g.define("FKT", [&rec, c, constant](Variant&, X& x, A& y, A& k, A&) {
    ++rec.calls;
    rec.abscissae.push_back(Variant(x).to_double());
    const double yv = Variant(y(1)).to_double();
    k(1) = constant ? c : c * yv;
  });
  return g;
}

TEST(Rkm, ExponentialGrowthAndExactQuadrature) {
  Korvat k;
  Recorder rec;
  auto g = derivative<DoubleArray, double>(rec, 1, false);
  DoubleArray y = DoubleArray::from({1}), zz(Bounds{1, 1});
  double xb = 0, xe = 1;
  Variant star = 0;
  k.Rkmd(g, 1, xb, xe, y, 1e-7, star, zz);
  EXPECT_NEAR(y(1), std::exp(1.0), 1e-6);
  EXPECT_NEAR(xb, 1.0, 1e-15);
  EXPECT_EQ(star, Variant::from_single(-1.0f));  // the step was adapted

  // The variant flavour takes the same steps (a Delta below 1E-8 would be
  // replaced by 1E-4 there, by 1E-7 only below 1E-15 in the double flavour).
  Recorder vrec;
  auto gv = derivative<VariantArray, Variant>(vrec, 1, false);
  VariantArray vy = VariantArray::from({1.0}), vz(Bounds{1, 1});
  Variant vxb = 0.0, vxe = 1.0, vstar = 0;
  k.Rkm(gv, 1, vxb, vxe, vy, 1e-7, vstar, vz);
  EXPECT_EQ(vy(1).to_double(), y(1));
  EXPECT_EQ(vrec.calls, rec.calls);
}

TEST(Rkm, ZeroDerivativeFinishesWithOneExtraStep) {
  Korvat k;
  Recorder rec;
  auto g = derivative<DoubleArray, double>(rec, 0, true);
  DoubleArray y = DoubleArray::from({3}), zz(Bounds{1, 1});
  double xb = 0, xe = 2;
  Variant star = 0;
  k.Rkmd(g, 1, xb, xe, y, 1e-6, star, zz);
  EXPECT_EQ(rec.calls, 10);  // the first step of 1E-5, then the rest at once
  EXPECT_EQ(y(1), 3.0);
  EXPECT_EQ(star, Variant(0));  // never adapted
  // xb = xe with Star <= 0: one step of length 0, five calls, Y unchanged.
  rec = Recorder{};
  k.Rkmd(g, 1, xb, xe, y, 1e-6, star, zz);
  EXPECT_EQ(rec.calls, 5);
  EXPECT_EQ(y(1), 3.0);
}

TEST(Rkm, StarOneAndTheStepKeptBetweenCalls) {
  Korvat k;
  Recorder rec;
  auto g = derivative<DoubleArray, double>(rec, 1, true);  // y' = 1
  DoubleArray y = DoubleArray::from({0}), zz(Bounds{1, 1});
  double xb = 0, xe = 0.5;
  Variant star = 1;
  k.Rkmd(g, 1, xb, xe, y, 1e-6, star, zz);
  EXPECT_EQ(rec.calls, 5);
  EXPECT_EQ(star, Variant(1));
  EXPECT_DOUBLE_EQ(y(1), 0.5);
  // The saved step is now 0.5: the next call's second stage is at 0.5 + 0.5/3.
  rec = Recorder{};
  xe = 2;
  star = 0;
  k.Rkmd(g, 1, xb, xe, y, 1e-6, star, zz);
  ASSERT_GE(rec.abscissae.size(), 2u);
  EXPECT_DOUBLE_EQ(rec.abscissae[1], 0.5 + 0.5 / 3);
  EXPECT_DOUBLE_EQ(y(1), 2.0);
  // A fresh object starts with 1E-5, and the flavours keep separate steps.
  Korvat fresh;
  rec = Recorder{};
  xb = 0.5;
  fresh.Rkmd(g, 1, xb, xe, y, 1e-6, star, zz);
  EXPECT_DOUBLE_EQ(rec.abscissae[1], 0.5 + 1e-5 / 3);
}

TEST(Rkm, ProtocolFaults) {
  Korvat k;
  FunctionObject none;
  DoubleArray y = DoubleArray::from({1}), zz(Bounds{1, 1});
  double xb = 0, xe = 1;
  Variant star = 0;
  EXPECT_EQ(error_of([&] { k.Rkmd(none, 1, xb, xe, y, 1e-6, star, zz); }), err::kNoMember);
  // y' = x on the variant flavour: the Merson error estimate of a linear
  // right-hand side is zero, and the quadrature is exact.
  Recorder rec;
  FunctionObject gx;
  gx.define("FKT", [](Variant&, Variant& x, VariantArray&, VariantArray& kk, VariantArray&) { kk(1) = x; });
  VariantArray vy = VariantArray::from({0.0}), vz(Bounds{1, 1});
  Variant vxb = 0.0, vxe = 2.0;
  k.Rkm(gx, 1, vxb, vxe, vy, 0.0, star, vz);
  EXPECT_NEAR(vy(1).to_double(), 2.0, 1e-12);
}

}  // namespace
}  // namespace kor
