// Rosenbrock's and Nelder-Mead's minimisers on functions with known minima,
// with the client's calls recorded.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "kor/kor.hpp"
#include "support.hpp"

namespace kor {
namespace {

using testing::error_of;

struct Calls {
  int count = 0;
  std::vector<double> first;  // X(1) at each call
};

FunctionObject quadratic(Calls& c) {
  FunctionObject g;
  g.define("F", [&c](DoubleArray& x) {
    ++c.count;
    c.first.push_back(x(1));
    return (x(1) - 1) * (x(1) - 1) + (x(2) + 2) * (x(2) + 2);
  });
  return g;
}

FunctionObject rosenbrock() {
  FunctionObject g;
  g.define("F", [](DoubleArray& x) {
    return 100 * (x(2) - x(1) * x(1)) * (x(2) - x(1) * x(1)) + (1 - x(1)) * (1 - x(1));
  });
  return g;
}

TEST(Fmin, FindsTheMinimaOfAQuadraticAndOfRosenbrock) {
  Korvat k;
  Calls c;
  auto g = quadratic(c);
  DoubleArray x = DoubleArray::from({0, 0});
  const double f = k.Fmind(g, 2, x);
  EXPECT_LT(f, 1e-10);
  EXPECT_NEAR(x(1), 1, 1e-5);
  EXPECT_NEAR(x(2), -2, 1e-5);
  EXPECT_EQ(c.first.at(1), 0.02);  // the first stage steps by 0.02 along the first axis

  auto r = rosenbrock();
  DoubleArray xr = DoubleArray::from({-1.2, 1});
  Variant itmax = 20000;
  k.Fmind(r, 2, xr, 1e-9, itmax);
  EXPECT_NEAR(xr(1), 1, 1e-3);
  EXPECT_NEAR(xr(2), 1, 2e-3);
  EXPECT_LT(itmax.to_double(), 20000);
  EXPECT_EQ(itmax.type(), Variant::Type::Integer);
}

TEST(Fmin, ItmaxFloorWriteBackAndTheLimitMessage) {
  Korvat k;
  int calls = 0;
  FunctionObject flat;
  flat.define("F", [&calls](VariantArray&) {
    ++calls;
    return 5.0;
  });
  VariantArray x = VariantArray::from({0.0, 0.0});
  Variant itmax = 20;
  MessageCapture capture;
  EXPECT_EQ(k.Fmin(flat, 2, x, Variant::missing(), itmax), Variant(5.0));
  // Every trial of a constant succeeds, so only the limit ends it: itmax + 1 trials.
  EXPECT_EQ(itmax, Variant(short{21}));
  EXPECT_EQ(calls, 1 + 21);
  ASSERT_EQ(capture.messages().size(), 1u);
  EXPECT_EQ(capture.messages()[0],
            (Message{"Překročen max.počet iterací   20\rVýsledky nesplňují přesnost nebo jsou zcela chybné!"
                     "\rZměňte poč.odhady, snižte přesnost\rnebo zvyšte max.počet iterací v Fmin.",
                     48, "FMIN"}));
  // A limit below 11 becomes 2000: the quadratic then runs past 5 trials to
  // its minimum, and the count comes back.
  Calls c;
  auto g = quadratic(c);
  DoubleArray xq = DoubleArray::from({0, 0});
  itmax = 5;
  capture.clear();
  k.Fmind(g, 2, xq, Variant::missing(), itmax);
  EXPECT_EQ(itmax.to_double(), c.count - 2.0);  // the start and the converging trial are not counted
  EXPECT_GT(c.count, 7);
  EXPECT_TRUE(capture.messages().empty());
  // Under the double flavour's default limit of 2000 the steps of a
  // constant, growing by 3 each time, overflow first.
  FunctionObject flat_d;
  flat_d.define("F", [](DoubleArray&) { return 5.0; });
  DoubleArray xd = DoubleArray::from({0, 0});
  EXPECT_EQ(error_of([&] { k.Fmind(flat_d, 2, xd); }), err::kOverflow);
}

TEST(Minimisers, CountsWithoutWorkingArraysAreSubscriptErrors) {
  // Fmin's working arrays have positions 0..n: a negative n fails before F is
  // called; n = 0 evaluates the start and the first trial, then h(1) is
  // missing.  Fmin1's points have coordinates 1..NX: NX below 1 fails at once.
  const struct {
    bool nelder_mead;
    int n;
    int calls;
  } rows[] = {{false, -1, 0}, {false, -40, 0}, {false, 0, 2}, {true, 0, 0}, {true, -1, 0}, {true, -6, 0}};
  Korvat k;
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.n) + (row.nelder_mead ? " Fmin1d" : " Fmind"));
    Calls c;
    auto g = quadratic(c);
    DoubleArray x = DoubleArray::from({0, 0});
    EXPECT_EQ(error_of([&] { row.nelder_mead ? k.Fmin1d(g, row.n, x) : k.Fmind(g, row.n, x); }), err::kSubscript);
    EXPECT_EQ(c.count, row.calls);
  }
}

TEST(Fmin1, FindsTheMinimaAndComparesWithEpsSquared) {
  Korvat k;
  Calls c;
  auto g = quadratic(c);
  DoubleArray x = DoubleArray::from({0, 0});
  Variant itmax = 3;
  const double f = k.Fmin1d(g, 2, x, 1e-4, itmax);
  EXPECT_LT(f, 1e-6);
  EXPECT_NEAR(x(1), 1, 1e-3);
  EXPECT_NEAR(x(2), -2, 1e-3);
  EXPECT_GT(itmax.to_double(), 3);  // the iteration count, not the 2000 it held during the run
  // The start, then the three vertices: the second differs in X(1) by p.
  const double p = (std::sqrt(3.0) + 2 - 1) * 0.1 / 2 / 1.42, q = (std::sqrt(3.0) - 1) * 0.1 / 2 / 1.42;
  EXPECT_EQ(c.first[0], 0.0);
  EXPECT_EQ(c.first[1], 0.0);
  EXPECT_EQ(c.first[2], p);
  EXPECT_EQ(c.first[3], q);

  auto r = rosenbrock();
  DoubleArray xr = DoubleArray::from({-1.2, 1});
  k.Fmin1d(r, 2, xr);
  EXPECT_NEAR(xr(1), 1, 1e-4);
  EXPECT_NEAR(xr(2), 1, 2e-4);
}

TEST(Minimisers, ProtocolFaults) {
  Korvat k;
  FunctionObject none;
  DoubleArray x = DoubleArray::from({0, 0});
  EXPECT_EQ(error_of([&] { k.Fmind(none, 2, x); }), err::kNoMember);
  EXPECT_EQ(error_of([&] { k.Fmin1d(none, 2, x); }), err::kNoMember);
  FunctionObject boom;
  boom.define("F", [](DoubleArray&) -> double { throw Error(2001, "no"); });
  EXPECT_EQ(error_of([&] { k.Fmin1d(boom, 2, x); }), 2001);
  DoubleArray one = DoubleArray::from({0});
  auto r = rosenbrock();
  EXPECT_EQ(error_of([&] { k.Fmind(r, 2, one); }), err::kSubscript);
}

}  // namespace
}  // namespace kor
