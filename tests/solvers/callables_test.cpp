// C++ callables as client functions run the same algorithm as a Dispatch
// client: the same calls, the same bits, the same statuses and errors.
#include <gtest/gtest.h>

#include <cmath>

#include "kor/kor.hpp"
#include "support.hpp"

namespace kor {
namespace {

TEST(Callables, GiveTheDispatchClientsResultsBitForBit) {
  Korvat k;
  auto fun = [](DoubleArray& x, DoubleArray& r, Variant&, DoubleArray&) {
    r(1) = x(1) * x(1) + x(2) * x(2) - 4;
    r(2) = x(1) * x(2) - 1;
  };
  auto fkt = [](Variant&, double& xb, DoubleArray& y, DoubleArray& d, DoubleArray&) { d(1) = xb * y(1); };
  int calls = 0;
  auto f = [&calls](DoubleArray& x) {
    ++calls;
    return 100 * std::pow(x(2) - x(1) * x(1), 2) + std::pow(1 - x(1), 2);
  };
  FunctionObject g;
  g.define("Fun", fun);
  g.define("FKT", fkt);
  g.define("F", f);
  VariantArray ipom = VariantArray::from({1, 2});
  DoubleArray z(Bounds{1, 1});
  auto newton = [&](auto&& client) {
    DoubleArray x = DoubleArray::from({2.0, 0.5});
    Variant id;
    const Variant it = k.Newtond(client, 2, 2, 0, x, ipom, z, id, 1e-12);
    return std::vector<double>{x(1), x(2), it.to_double(), id.to_double()};
  };
  auto rkm = [&](auto&& client) {
    Korvat fresh;
    DoubleArray y = DoubleArray::from({1.0});
    double xb = 0, xe = 2;
    Variant star = 0;
    fresh.Rkmd(client, 1, xb, xe, y, 1e-9, star, z);
    return std::vector<double>{y(1), xb, star.to_double()};
  };
  auto minimum = [&](auto&& client, bool simplex) {
    DoubleArray x = DoubleArray::from({-1.2, 1.0});
    Variant itmax = 5000;
    calls = 0;
    const double fx = simplex ? k.Fmin1d(client, 2, x, 1e-6, itmax) : k.Fmind(client, 2, x, 1e-8, itmax);
    return std::vector<double>{fx, x(1), x(2), itmax.to_double(), static_cast<double>(calls)};
  };
  EXPECT_EQ(newton(fun), newton(g));
  EXPECT_NEAR(newton(fun)[0], std::sqrt(2 + std::sqrt(3.0)), 1e-9);  // x^2 + 1/x^2 = 4
  EXPECT_EQ(rkm(fkt), rkm(g));
  EXPECT_NEAR(rkm(fkt)[0], std::exp(2.0), 1e-6);  // y' = x y, y(0) = 1
  for (bool simplex : {false, true}) {
    EXPECT_EQ(minimum(f, simplex), minimum(g, simplex));
    EXPECT_NEAR(minimum(f, simplex)[1], 1, 1e-2);
  }
  // The variant flavour and a callable's error, passed through unchanged.
  auto fv = [](VariantArray& x) -> Variant {
    if (x(1).to_double() > 0.5) throw Error(1001, "client says no");
    return -x(1).to_double();  // steps of 0.02, 0.06, 0.18, 0.54 reach 0.8
  };
  VariantArray vx = VariantArray::from({0.0});
  EXPECT_EQ(testing::error_of([&] { k.Fmin(fv, 1, vx); }), 1001);
}

}  // namespace
}  // namespace kor
