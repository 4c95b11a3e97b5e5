// Newton's method and the minimisers on problems whose first steps follow by
// hand from the documented rules; the Runge-Kutta-Merson integrator against
// Merson's formulas written out here.  Every call of the client is recorded.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "kor/kor.hpp"
#include "support.hpp"

namespace kor {
namespace {

using testing::error_of;
using Point = std::vector<double>;
const Variant M = Variant::missing();

// Fun for r(1) = x1 - a (system 'l'), the pair x1 + x2 - 3, x1 - x2 - 1 with
// the root (2, 1) ('p'), or x1 - 1, 2 x1 - 3, which X(2) does not enter ('s').
template <class A>
FunctionObject equations(Point& seen, char system, double a) {
  FunctionObject g;
  g.define("Fun", [&seen, system, a](A& x, A& r, Variant&, A&) {
    const double x1 = Variant(x(1)).to_double(), x2 = Variant(x(2)).to_double();
    seen.push_back(x1);
    r(1) = system == 'l' ? x1 - a : system == 'p' ? x1 + x2 - 3 : x1 - 1;
    if (system != 'l') r(2) = system == 'p' ? x1 - x2 - 1 : 2 * x1 - 3;
  });
  return g;
}

TEST(Newton, StepsDampingStatusesAndTheConvergenceTest) {
  const struct { bool variant; char system; double x0, a, delta; Variant eps, alam, niter; int result, id, error; double x; } cases[] = {
      {true, 'p', 1.5, 0, 0.5, M, M, M, 2, 0, 0, 2},  // exact, then a correction of rounding
      {false, 'p', 1.5, 0, 0, 1e-5, M, M, 2, 0, 0, 2},
      {false, 'l', 1, 5, 0.5, 1e-11, 3.25, 3, 4, 1, 0, 5 - 4 * 0.421875},  // ALAM > 2: lambda = 0.25 every time
      {false, 'l', 1, 5, 0, 1e-11, 0.8, 1, 2, 1, 0, 1.8},       // relative correction 4 cut to 0.8: lambda 0.2
      {true, 'l', 0.005, -5, 0, M, -0.5, 1, 2, 1, 0, -2.5025},  // crossing 0 from below 0.01: X = 0, lambda .5
      {true, 'l', -1, -5, 0, M, M, M, 1, 0, 0, -5},          // a negative unknown never enters the test
      {true, 'l', 1.000005, 1, 0, M, M, M, 1, 0, 0, 1},      // relative correction 5E-6: below the default 1E-5
      {true, 'l', 1.00002, 1, 0, M, M, M, 2, 0, 0, 1},
      {false, 'l', -2, 5, 0.25, M, M, M, 101, 1, 0, 5},      // Newtond's omitted Eps is 0: the limit, 100
      {false, 'l', 1, 5, 0, M, M, 0, 1, 1, 0, 1},            // NITER 0: one call of Fun
      {false, 's', 3, 0, 0, 1e-5, M, M, 1, 2, 0, 3},         // singular: X as before the correction
      {false, 'p', 0, 0, 0, 1e-5, M, M, 0, 0, err::kDivisionByZero, 0},  // a zero unknown in the test
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    Point seen;
    VariantArray ipom = VariantArray::from({1, 2}), vx = VariantArray::from({c.x0, 0.8}), vz(Bounds{1, 1});
    DoubleArray x = DoubleArray::from({c.x0, 0.8}), z(Bounds{1, 1});
    Variant id = 7, n = c.system == 'l' ? 1 : 2, result = short{0};
    FunctionObject gv = equations<VariantArray>(seen, c.system, c.a), gd = equations<DoubleArray>(seen, c.system, c.a);
    EXPECT_EQ(error_of([&] {
                result = c.variant ? Korvat::global().Newton(gv, n, n, 0, vx, ipom, vz, id, c.eps, c.alam, c.niter, c.delta)
                                   : Korvat::global().Newtond(gd, n, n, 0, x, ipom, z, id,
                                                              c.eps.is_missing() ? 0 : c.eps.to_double(), c.alam, c.niter, c.delta);
              }),
              c.error);
    if (c.variant) x(1) = vx(1).to_double(), x(2) = vx(2).to_double();
    EXPECT_EQ(result, Variant(static_cast<short>(c.result)));
    EXPECT_EQ(id, Variant(static_cast<short>(c.id)));  // 0 from the entry when an error ends the method
    EXPECT_NEAR(x(1), c.x, 1e-9);
    EXPECT_TRUE(c.system != 'p' || c.error || (std::abs(x(2) - 1) < 1e-9 && seen.size() == 1 + 2 * 3));  // 1 + 3 a step
    // The first difference step: h = Delta |X|, at least 1E-4, Delta 0.01 in Newton.
    EXPECT_TRUE(seen.size() < 2 || seen[1] == c.x0 + std::max((c.variant ? 0.01 : c.delta) * std::abs(c.x0), 1e-4));
  }
  VariantArray ipom = VariantArray::from({1, 2});
  DoubleArray x = DoubleArray::from({3, 7}), z(Bounds{1, 1});
  Variant id;
  Point seen;
  FunctionObject none, pair = equations<DoubleArray>(seen, 'p', 0);
  EXPECT_EQ(error_of([&] { Korvat::global().Newtond(none, 2, 2, 0, x, ipom, z, id, 1e-5); }), err::kNoMember);
  EXPECT_EQ(id, Variant(short{0}));  // set on entry
  EXPECT_EQ(error_of([&] { Korvat::global().Newtond(pair, 1, 2, 0, x, ipom, z, id, 1e-5); }), err::kSubscript);  // Nunknown > n
}

// Merson's formulas as documented: from x0, y0 a step of length h, t = h/3,
// five stages and the error estimate E; then the step control.  Returns
// whether the step was adapted.
struct Merson {
  std::function<Point(const Point&)> f;
  double saved = 1e-5;  // the step kept between calls
  Point xs;             // every abscissa handed to f
  bool run(double& xb, double xe, Point& y, double delta, bool whole) {
    bool adapted = false, final_mode = whole;
    double h = whole ? 0 : saved;
    for (;;) {
      if (final_mode || !(std::abs(xe - xb) > std::abs(h))) final_mode = true, h = xe - xb;  // the last step
      const double x0 = xb, t = h / 3;
      const Point y0 = y, k1 = f(y0);
      auto stage = [&](double x, auto combination) {
        for (std::size_t i = 0; i < y.size(); ++i) y[i] = y0[i] + t * combination(i);
        xs.push_back(x);
        return f(y);
      };
      xs.push_back(x0);
      const Point k2 = stage(x0 + t, [&](std::size_t i) { return k1[i]; });
      const Point k3 = stage(x0 + t, [&](std::size_t i) { return 0.5 * (k1[i] + k2[i]); });
      const Point k4 = stage(x0 + 0.5 * h, [&](std::size_t i) { return 0.375 * k1[i] + 1.125 * k3[i]; });
      const Point k5 = stage(x0 + h, [&](std::size_t i) { return 1.5 * k1[i] - 4.5 * k3[i] + 6 * k4[i]; });
      double e = 0;
      for (std::size_t i = 0; i < y.size(); ++i) {
        y[i] = y0[i] + t * (2 * k4[i] + 0.5 * (k5[i] + k1[i]));
        e = std::max(e, std::abs(0.2 * k1[i] - 0.9 * k3[i] + 0.8 * k4[i] - 0.1 * k5[i]) * std::abs(t));
      }
      xb = x0 + h;
      if (e <= delta && final_mode) {
        if (whole && !adapted) saved = h;  // Star still above 0: the last step is kept
        return adapted;
      }
      if ((final_mode = e == 0)) continue;  // nothing to control: the rest at once
      if (e > delta) y = y0, xb = x0;
      h = h * (0.8 * std::pow(delta / e, 0.2));
      saved = h = std::abs(h) < 1e-5 ? std::copysign(1e-5, h) : h;
      adapted = true;
    }
  }
};

// FKT of y1' = c y2, y2' = -c y1, recording the abscissa it sees in xb.
template <class A, class X>
FunctionObject oscillator(double c, Point& xs) {
  FunctionObject g;
  g.define("FKT", [c, &xs](Variant&, X& x, A& y, A& k, A&) {
    xs.push_back(Variant(x).to_double());
    k(1) = c * Variant(y(2)).to_double(), k(2) = -c * Variant(y(1)).to_double();
  });
  return g;
}

TEST(Rkm, StepsFollowMersonsFormulasAndTheStepIsKeptBetweenCalls) {
  // From (0, 1) at 0 the solution is (sin cx, cos cx).
  const struct { bool variant; double c, delta, effective; int star; double xe, xe2; } cases[] = {
      {false, 1, 1e-10, 1e-10, 0, 1, 2}, {true, 1, 1e-7, 1e-7, 0, 1, 2},
      {true, 1, 0, 1e-4, 0, 1, 3},       {true, 1, 9.9e-9, 1e-4, 0, 1, 3}, {true, 1, 1e-8, 1e-8, 0, 1, 3},
      {false, 1, 0, 1e-7, 0, 1, 3},      {false, 1, 9e-16, 1e-7, 0, 1, 3},  // Delta replaced below the floor
      {false, 1, 1e-6, 1e-6, 1, 0.05, 1},  // Star 1: the whole interval at once, kept as the next step
      {true, 1, 1e-6, 1e-6, 1, -2, -3},    // backwards
      {false, 0, 1e-6, 1e-6, 0, 2, 3},     // y' = 0: E = 0, the rest in one step
      {false, 1, 1e-6, 1e-6, 0, 0, 1}};    // xe = xb: one step of length 0
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    Merson ref{[&c](const Point& y) { return Point{c.c * y[1], -c.c * y[0]}; }, 1e-5, {}};
    Point xs, y{0, 1};
    Korvat k;
    Variant vxb = 0.0, star;
    double xb = 0, rxb = 0;
    VariantArray vy = VariantArray::from({0.0, 1.0}), vz(Bounds{1, 1});
    DoubleArray dy = DoubleArray::from({0, 1}), dz(Bounds{1, 1});
    FunctionObject gv = oscillator<VariantArray, Variant>(c.c, xs), gd = oscillator<DoubleArray, double>(c.c, xs);
    for (double xe : {c.xe, c.xe2}) {  // each call starts with the step the last one ended with
      star = xe == c.xe ? c.star : 0;
      const Variant want = ref.run(rxb, xe, y, c.effective, star.to_double() > 0) ? Variant::from_single(-1.0f) : star;
      Variant vxe = xe;
      c.variant ? k.Rkm(gv, 2, vxb, vxe, vy, c.delta, star, vz) : k.Rkmd(gd, 2, xb, xe, dy, c.delta, star, dz);
      EXPECT_EQ(star, want);
    }
    EXPECT_EQ(xs, ref.xs);
    EXPECT_EQ(c.variant ? vxb.to_double() : xb, rxb);
    for (int i = 1; i <= 2; ++i) EXPECT_EQ(c.variant ? vy(i).to_double() : dy(i), y[static_cast<std::size_t>(i - 1)]);
    EXPECT_NEAR(y[0], std::sin(c.c * rxb), 1e3 * c.effective);
    EXPECT_NEAR(y[1], std::cos(c.c * rxb), 1e3 * c.effective);
  }
}

TEST(Rkm, AStageThatOverflowsStopsAtItsEquationWithTheEarlierOnesWritten) {
  // The whole interval first: t = xe / 3; Y(2) + t K(2) overflows after
  // Y(1) = 0 + t * 1 was written, and Y(3) keeps its value.  Either K(2) is
  // large, or Y(2) is the largest double and t K(2) = 1E293 is more than
  // half its last place.
  struct Case {
    double k2, y2, xe;
  };
  for (const Case& c : {Case{2.5e307, 1.79e308, 1}, Case{1e150, 1.7976931348623157e308, 3e143}}) {
    FunctionObject g;
    g.define("FKT", [&c](Variant&, double&, DoubleArray&, DoubleArray& k, DoubleArray&) {
      k(1) = 1, k(2) = c.k2, k(3) = 1;
    });
    DoubleArray y = DoubleArray::from({0.0, c.y2, 5.0}), z(Bounds{1, 1});
    double xb = 0, xe = c.xe;
    Variant star = 1;
    EXPECT_EQ(testing::error_of([&] { Korvat().Rkmd(g, 3, xb, xe, y, 1e-6, star, z); }), err::kOverflow);
    EXPECT_TRUE(y(1) == c.xe / 3 && y(2) == c.y2 && y(3) == 5 && xb == 0) << y(1) << " " << y(2) << " " << y(3);
  }
}

TEST(Rkm, AClientThatChangesKOrNnMidStepMeetsTheCheckedLoops) {
  // The whole interval first (t = 1/3), nn = 2, Y = (0, 0), K(1) = 1.  A K
  // shrunk to position 1 stops the stage at K(2) (error 9) with Y(1) = t
  // written.  nn narrowed to 1 in the first call, with K(2) = 1.7E308 left
  // there, then widened again: stage 4's 1.5 * K1(2) overflows after
  // Y(1) = t * ((1.5 - 4.5) + 6) = 1, with Y(2) from stage 3.
  struct Case {
    int shrink_at;
    bool narrow;
    int error;
    double y1, y2;
  };
  const double big = 1.7e308, t = 1.0 / 3;
  for (const Case& c : {Case{1, false, err::kSubscript, t, 0}, Case{2, false, err::kSubscript, t, t},
                        Case{0, true, err::kOverflow, 1, t * (0.375 * big)}}) {
    int calls = 0;
    FunctionObject g;
    g.define("FKT", [&](Variant& nn, double&, DoubleArray&, DoubleArray& k, DoubleArray&) {
      if (++calls == c.shrink_at) return void(k = DoubleArray::from({1.0}));
      if (c.narrow) nn = calls == 1 ? 1 : 2;
      k(1) = 1, k(2) = c.narrow ? (calls == 1 ? big : 0) : 1;
    });
    DoubleArray y = DoubleArray::from({0.0, 0.0}), z(Bounds{1, 1});
    double xb = 0, xe = 1;
    Variant star = 1;
    EXPECT_EQ(testing::error_of([&] { Korvat().Rkmd(g, 2, xb, xe, y, 1e-6, star, z); }), c.error);
    EXPECT_TRUE(y(1) == c.y1 && y(2) == c.y2) << c.shrink_at << " " << y(1) << " " << y(2);
  }
}

// F of X(1..n), recording every point it is handed.
template <class A>
FunctionObject recorded(std::vector<Point>& seen, std::function<double(const Point&)> f) {
  FunctionObject g;
  g.define("F", [&seen, f](A& x) {
    Point p;
    for (std::int32_t i = 1; i <= x.ubound(); ++i) p.push_back(Variant(x(i)).to_double());
    return seen.push_back(p), f(p);
  });
  return g;
}
double bowl(const Point& x) { return (x[0] - 0.015) * (x[0] - 0.015) + (x[1] - 0.015) * (x[1] - 0.015); }

TEST(Fmin, TheFirstStageAndTheRotationByHand) {
  // Minimum at (.015, .015) from (0, 0), steps .02: successes along both axes
  // (the steps tripled to .06), then failures at .08 along both: the stage
  // ends after 4 trials.  The progress along both axes is the same, so the
  // new directions are (1, 1)/sqrt 2 and (-1, 1)/sqrt 2, tried with .02/(4 + 1).
  std::vector<Point> seen;
  FunctionObject g = recorded<DoubleArray>(seen, bowl);
  DoubleArray x = DoubleArray::from({0, 0});
  const double f = Korvat::global().Fmind(g, 2, x), d = 0.004 * std::sqrt(0.5);
  const Point want[] = {{0, 0}, {0.02, 0}, {0.02, 0.02}, {0.08, 0.02}, {0.02, 0.08}, {0.02 + d, 0.02 + d}, {0.02 - d, 0.02 + d}};
  ASSERT_GT(seen.size(), 7u);
  for (int i = 0; i < 14; ++i) EXPECT_NEAR(seen[i / 2][i % 2], want[i / 2][i % 2], 1e-15) << i;
  EXPECT_LT(f, 1e-10);
  EXPECT_EQ(f, bowl({x(1), x(2)}));  // the best point found is left in X
}

TEST(Fmin, NewDirectionsAreOrthonormalWhateverTheProgressAlongThem) {
  // 1E6 (x1 - 1)^2 + (x2 - .015)^2 from (0, 0): successes at x1 = .02, .08, .26,
  // .8 and a failure at 2.42 end the first stage after 9 trials, with a progress
  // along x1 some 1E7 times that along x2.  The next stage steps .02/(9 + 1):
  // its trial 1 (a success, towards x1 = 1), trial 2 along the second new
  // direction and trial 3 along the first again.
  std::vector<Point> seen;
  const auto f = [](const Point& x) { return 1e6 * (x[0] - 1) * (x[0] - 1) + (x[1] - 0.015) * (x[1] - 0.015); };
  FunctionObject g = recorded<DoubleArray>(seen, f);
  DoubleArray x = DoubleArray::from({0, 0});
  Variant itmax = 20;
  MessageCapture quiet;
  Korvat::global().Fmind(g, 2, x, M, itmax);
  ASSERT_GE(seen.size(), 13u);
  const Point& base = f(seen[11]) <= f(seen[10]) ? seen[11] : seen[10];  // where trial 3 starts
  const double u[] = {seen[11][0] - seen[10][0], seen[11][1] - seen[10][1]}, v[] = {seen[12][0] - base[0], seen[12][1] - base[1]};
  EXPECT_NEAR(std::hypot(u[0], u[1]), 0.002, 1e-15);
  EXPECT_NEAR((u[0] * v[0] + u[1] * v[1]) / std::hypot(u[0], u[1]) / std::hypot(v[0], v[1]), 0, 1e-11);
}

TEST(Fmin, TheLimitItsFloorTheCountWrittenBackAndTheMessage) {
  // A constant: every trial succeeds and the steps triple, so only the limit
  // ends the search, after itmax + 1 trials, or the point overflows first
  // (about 650 trials along each direction).  A limit below 11 is 2000.
  const struct { Variant itmax; int error; Variant after; const char* limit; } rows[] = {
      {20, 0, short{21}, "20"}, {11, 0, short{12}, "11"}, {M, 0, M, "1000"},
      {10, err::kOverflow, 2000, nullptr}, {Variant(), err::kOverflow, 2000, nullptr}};
  for (const auto& r : rows) {
    std::vector<Point> seen;
    FunctionObject g = recorded<VariantArray>(seen, [](const Point&) { return 5.0; });
    VariantArray x = VariantArray::from({0.0, 0.0});
    Variant itmax = r.itmax, result;
    MessageCapture capture;
    EXPECT_EQ(error_of([&] { result = Korvat::global().Fmin(g, 2, x, M, itmax); }), r.error);
    EXPECT_EQ(itmax, r.after);  // a limit below 11 is replaced at once
    if (!r.limit) continue;
    EXPECT_EQ(result, Variant(5.0));
    EXPECT_EQ(seen.size(), 2 + std::stoul(r.limit));
    EXPECT_EQ(capture.messages(), (std::vector<Message>{{std::string("Překročen max.počet iterací   ") + r.limit +
                                                            "\rVýsledky nesplňují přesnost nebo jsou zcela chybné!\rZměňte poč.odhady,"
                                                            " snižte přesnost\rnebo zvyšte max.počet iterací v Fmin.",
                                                        48, "FMIN"}}));
  }
}

TEST(Fmin1, TheStartingSimplexATieAndTheSquaredTolerance) {
  // Vertex i + 1 is the start plus p in coordinate i and q in the others.
  const double p = (std::sqrt(3.0) + 2 - 1) * 0.1 / 2 / 1.42, q = (std::sqrt(3.0) - 1) * 0.1 / 2 / 1.42;
  std::vector<Point> seen;
  FunctionObject g = recorded<DoubleArray>(seen, bowl);
  DoubleArray x = DoubleArray::from({0, 0});
  Variant itmax = 3;  // taken as 2000; the count of iterations comes back
  EXPECT_LT(Korvat::global().Fmin1d(g, 2, x, 1e-4, itmax), 1e-7);  // the spread of the values below Eps squared
  EXPECT_EQ(std::vector<Point>(seen.begin(), seen.begin() + 4), (std::vector<Point>{{0, 0}, {0, 0}, {p, q}, {q, p}}));
  EXPECT_NEAR(x(1), 0.015, 1e-3);
  EXPECT_TRUE(itmax.to_double() > 3 && itmax.to_double() < 2000);
  // One variable, F = 1 left of p1/2, 0 right of it: vertices 0 (1) and p1 (0).
  // The reflection 2 p1 ties with the best, which is the largest of the other
  // values: it replaces the worst.  The centroid p1 then has the value of
  // every vertex, so the spread is 0 after one iteration.
  const double p1 = (std::sqrt(2.0) + 1 - 1) * 0.1 / 1 / 1.42;
  seen.clear();
  FunctionObject step = recorded<DoubleArray>(seen, [p1](const Point& x1) { return x1[0] < p1 / 2 ? 1.0 : 0.0; });
  DoubleArray x1 = DoubleArray::from({0});
  itmax = 50;
  EXPECT_EQ(Korvat::global().Fmin1d(step, 1, x1, M, itmax), 0.0);
  EXPECT_EQ(seen, (std::vector<Point>{{0}, {0}, {p1}, {2 * p1}, {p1}}));
  EXPECT_EQ(itmax, Variant(short{1}));
  EXPECT_EQ(x1(1), p1);  // the last centroid
}

TEST(Minimisers, CountsWithoutWorkingArrays) {
  // Fmin's working arrays have positions 0..n: n below 0 fails before F is
  // called; n = 0 evaluates the start and the first trial, then h(1) is
  // missing.  Fmin1's points have coordinates 1..NX: NX below 1 fails at once.
  // Two positions of X are missing at Fmin's first trial.
  const struct { bool nelder_mead; int n, size; std::size_t calls; } rows[] = {
      {false, -1, 2, 0}, {false, 0, 2, 2}, {true, 0, 2, 0}, {true, -1, 2, 0}, {false, 2, 1, 1}};
  for (const auto& r : rows) {
    std::vector<Point> seen;
    FunctionObject g = recorded<DoubleArray>(seen, [](const Point&) { return 1.0; });
    DoubleArray x(Bounds{1, r.size});
    EXPECT_EQ(error_of([&] { r.nelder_mead ? Korvat::global().Fmin1d(g, r.n, x) : Korvat::global().Fmind(g, r.n, x); }),
              err::kSubscript) << r.n;
    EXPECT_EQ(seen.size(), r.calls);
  }
}

}  // namespace
}  // namespace kor
