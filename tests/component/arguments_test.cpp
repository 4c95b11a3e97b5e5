// How the methods treat their arguments as the automation runtime would:
// a number is read where the algorithm first uses it, working arrays that
// cannot be dimensioned and 16-bit counters run past 32767 fail as the
// runtime fails, 0/0 is error 11, constants keep their 16-bit type, and
// Fmin compares F's values as Variants.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <optional>
#include <utility>
#include <string>

#include "kor/kor.hpp"
#include "support.hpp"

namespace kor {
namespace {

using testing::error_of;
const Variant M = Variant::missing();

FunctionObject newton_client(int* calls) {  // x^2 - 4 = 0
  FunctionObject g;
  g.define("Fun", [calls](VariantArray& x, VariantArray& r, Variant&, VariantArray&) {
    ++*calls;
    r(1) = Variant(x(1).to_double() * x(1).to_double() - 4);
  });
  return g;
}

TEST(Arguments, NumbersAreReadWhereTheAlgorithmFirstUsesThem) {
  Korvat k;
  // NITER = 0 ends at the first limit test: ALAM and Eps are never read.
  int calls = 0;
  FunctionObject g = newton_client(&calls);
  VariantArray x = VariantArray::from({3.0}), ipom = VariantArray::from({1}), z(Bounds{1, 1});
  Variant id = 7;
  EXPECT_EQ(k.Newton(g, 1, 1, 0, x, ipom, z, id, "eps?", "alam?", 0), Variant(short{1}));
  EXPECT_EQ(id, Variant(short{1}));
  EXPECT_EQ(calls, 1);
  // With one iteration ALAM is read at the damping, after the Jacobian's call.
  calls = 0;
  EXPECT_EQ(error_of([&] { k.Newton(g, 1, 1, 0, x, ipom, z, id, M, "alam?", 1); }), err::kTypeMismatch);
  EXPECT_EQ(calls, 2);
  // Gauss with n = 0 never reads NCOL.
  VariantArray a(Bounds{1, 1}, Bounds{1, 1});
  id = 7;
  k.Gauss(0, a, "ncol?", id);
  EXPECT_EQ(id, Variant(short{0}));
  // Fmin reads EPSA at its first convergence test, after the start and one trial.
  int evaluations = 0;
  FunctionObject f;
  f.define("F", [&](VariantArray&) { return ++evaluations; });
  EXPECT_EQ(error_of([&] { k.Fmin(f, 1, x, "epsa?"); }), err::kTypeMismatch);
  EXPECT_EQ(evaluations, 2);
  // Flagr sorts the table before it reads XI, then M.
  for (const Variant& bad_m : {Variant(), Variant("m?")}) {
    VariantArray xs = VariantArray::from({3.0, 1.0, 2.0}), ys = VariantArray::from({30.0, 10.0, 20.0});
    Variant xi = bad_m.is_empty() ? Variant("xi?") : Variant(1.5);
    EXPECT_EQ(error_of([&] { k.Flagr(3, xs, ys, xi, bad_m); }), err::kTypeMismatch);
    EXPECT_EQ(xs(1), Variant(1.0));
    EXPECT_EQ(ys(3), Variant(30.0));
  }
}

TEST(Arguments, WorkingArraysAndCountersFailAsTheRuntimeDoes) {
  Korvat k;
  int calls = 0;
  FunctionObject g = newton_client(&calls);
  VariantArray x = VariantArray::from({3.0}), ipom = VariantArray::from({1}), z(Bounds{1, 1});
  DoubleArray d = DoubleArray::from({1.0}), dz = DoubleArray::from({0.0});
  Variant id = 7, star = 0, n = -1;
  double xb = 0, xe = 1;
  FunctionObject fkt;
  fkt.define("FKT", [](Variant&, double&, DoubleArray&, DoubleArray&, DoubleArray&) {});
  // A working array 0 .. n with n below 0 cannot be dimensioned: error 9.
  const std::function<void()> negative[] = {
      [&] { k.Newton(g, -1, 1, 0, x, ipom, z, id); },
      [&] { k.Rkmd(fkt, -1, xb, xe, d, 1e-6, star, dz); },
      [&] { k.Invert(n, x, z, id); },
      [&] { k.Fmin1d(fkt, 0, d); },
  };
  for (const auto& f : negative) EXPECT_EQ(error_of(f), err::kSubscript);
  EXPECT_EQ(id, Variant(7));  // failed before the status was written
  EXPECT_EQ(calls, 0);
  // A 16-bit counter that runs to 32767 overflows on its last increment:
  // Flagr's search for XI beyond the table, after the table was sorted.
  DoubleArray xs(Bounds{1, 32767}), ys(Bounds{1, 32767});
  for (int i = 1; i <= 32767; ++i) xs(i) = i, ys(i) = -i;
  std::swap(xs(1), xs(2));
  std::swap(ys(1), ys(2));
  EXPECT_EQ(error_of([&] { k.Flagrd(32767, xs, ys, 1e9); }), err::kOverflow);
  EXPECT_EQ(xs(1), 1.0);
  EXPECT_EQ(ys(1), -1.0);
  EXPECT_EQ(k.Flagrd(32766, xs, ys, 2.5), -2.5);  // one point less: the line y = -x
  // Gauss's column loop to n + NCOL = 32767; Polyn's subscripts are 16-bit.
  DoubleArray row(Bounds{1, 1}, Bounds{1, 32767});
  row(1, 1) = 2;
  EXPECT_EQ(error_of([&] { k.Gaussd(1, row, 32766, id); }), err::kOverflow);
  EXPECT_EQ(row(1, 1), 1.0);  // the row was normalised before the increment failed
  DoubleArray coefficients(Bounds{1, 40000});
  double at = 1;
  EXPECT_EQ(error_of([&] { k.Polynd(40000, at, coefficients); }), err::kOverflow);
}

TEST(Arguments, ZeroOverZeroIsErrorElevenAndConstantsAre16BitIntegers) {
  Korvat k;
  DoubleArray xs = DoubleArray::from({1.0, 1.0, 2.0}), ys = DoubleArray::from({5.0, 6.0, 7.0});
  EXPECT_EQ(error_of([&] { k.Flagrd(3, xs, ys, 1.0, 3); }), err::kDivisionByZero);  // (1-1)/(1-1)
  // A singular first column: Invert stops on the identity it wrote.
  VariantArray ap = VariantArray::from_rows({{0.0, 1.0}, {0.0, 2.0}}), inv(Bounds{1, 2}, Bounds{1, 2});
  Variant n = 2, id;
  k.Invert(n, ap, inv, id);
  EXPECT_EQ(id, Variant(short{1}));
  EXPECT_EQ(inv(1, 1), Variant(short{1}));
  EXPECT_EQ(inv(2, 1), Variant(short{0}));
}

TEST(Arguments, FminComparesFsValuesAsVariantsAndReturnsTheBestAsItCame) {
  Korvat k;
  // "9" is above "10" as text: every trial fails and the start stays best.
  FunctionObject text;
  text.define("F", [](VariantArray& x) { return Variant(x(1).to_double() == 0 ? "10" : "9"); });
  VariantArray x = VariantArray::from({0.0});
  EXPECT_EQ(k.Fmin(text, 1, x), Variant("10"));
  EXPECT_EQ(x(1), Variant(0.0));
  // A constant Integer: every trial succeeds, the limit ends it, the value keeps its type.
  FunctionObject constant;
  constant.define("F", [](VariantArray&) { return Variant(short{7}); });
  Variant itmax = 20;
  MessageCapture quiet;
  EXPECT_EQ(k.Fmin(constant, 1, x, M, itmax), Variant(short{7}));
  DoubleArray dx = DoubleArray::from({0.0});
  FunctionObject dconstant;
  dconstant.define("F", [](DoubleArray&) { return Variant(short{7}); });
  EXPECT_EQ(k.Fmind(dconstant, 1, dx, M, itmax), 7.0);
  // Comparisons of the runtime: numbers by value, a number below any text, Null never.
  struct Case { Variant a, b; std::optional<int> order; } cases[] = {
      {Variant(2), Variant(10.0), -1}, {Variant("2"), Variant("10"), 1}, {Variant(99.0), Variant(""), -1},
      {Variant(), Variant(""), 0}, {Variant(true), Variant(0), -1},   {Variant::null(), Variant(1), {}}};
  for (const auto& c : cases) EXPECT_EQ(compare(c.a, c.b), c.order) << c.a << " " << c.b;
}

}  // namespace
}  // namespace kor
