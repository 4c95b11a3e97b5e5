#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <random>
#include <vector>

#include "kor/kor.hpp"
#include "poly/lin_bairstow.hpp"
#include "support.hpp"

namespace kor {
namespace {

using testing::error_of;
using cplx = std::complex<double>;

// The coefficients (highest power first) of lead * prod (x - r).
std::vector<double> from_roots(const std::vector<cplx>& roots, double lead = 1) {
  std::vector<cplx> c{lead};
  for (const cplx& r : roots) {
    c.push_back(0);
    for (std::size_t k = c.size() - 1; k > 0; --k) c[k] -= r * c[k - 1];
  }
  std::vector<double> out;
  for (const cplx& x : c) out.push_back(x.real());
  return out;
}

std::vector<cplx> pairs(const std::vector<cplx>& upper) {
  std::vector<cplx> all;
  for (const cplx& z : upper) {
    all.push_back(z);
    if (z.imag() != 0) all.push_back(std::conj(z));
  }
  return all;
}

DoubleArray array_of(const std::vector<double>& a) {
  DoubleArray out(Bounds{1, static_cast<std::int32_t>(a.size())});
  for (std::size_t i = 0; i < a.size(); ++i) out(static_cast<std::int32_t>(i + 1)) = a[i];
  return out;
}

// Runs the double flavour and returns the roots it wrote.
std::vector<cplx> roots_of(const std::vector<double>& a, double eps = 1e-12) {
  const int n = static_cast<int>(a.size()) - 1;
  Korvat k;
  DoubleArray ap = array_of(a);
  DoubleArray xr(Bounds{1, n}), xi(Bounds{1, n});
  k.LinBairstowd(n, ap, xr, xi, eps);
  std::vector<cplx> out;
  for (int i = 1; i <= n; ++i) out.emplace_back(xr(i), xi(i));
  return out;
}

// The largest distance, relative to max(1, |expected|), between each expected
// root and the found root nearest to it, every found root used once.
double worst_match(std::vector<cplx> found, const std::vector<cplx>& expected) {
  double worst = 0;
  for (const cplx& e : expected) {
    std::size_t best = 0;
    for (std::size_t i = 1; i < found.size(); ++i)
      if (std::abs(found[i] - e) < std::abs(found[best] - e)) best = i;
    worst = std::max(worst, std::abs(found[best] - e) / std::max(1.0, std::abs(e)));
    found.erase(found.begin() + static_cast<std::ptrdiff_t>(best));
  }
  return worst;
}

TEST(LinBairstow, RecoversChosenRootsToTheirConditioning) {
  struct Case {
    const char* name;
    std::vector<cplx> roots;
    double lead;
    double tol;
  } cases[] = {
      {"three real", {1, 2, 3}, 1, 1e-13},
      {"x^4 + 1", pairs({{std::sqrt(0.5), std::sqrt(0.5)}, {-std::sqrt(0.5), std::sqrt(0.5)}}), 1, 1e-14},
      {"real and two pairs", pairs({-1, {2, 3}, {0.5, 0.1}}), 3, 1e-12},
      {"spread magnitudes", {1e-3, -0.1, 10, -1e3, 5e2}, -2, 1e-12},
      {"double root", {1, 1, -2}, 1, 1e-7},
      {"triple root", {2, 2, 2, -1}, 1, 1e-4},
      {"double complex pair", pairs({{1, 1}, {1, 1}, 3}), 1, 1e-6},
      {"imaginary pair, p = 0", pairs({{0, 2}, {0, 0.5}}), 1, 1e-14},
      {"degree 10 real", {-5, -4, -3, -2, -1, 0.5, 1.5, 2.5, 3.5, 4.5}, 1, 1e-9},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const auto coeffs = from_roots(c.roots, c.lead);
    EXPECT_LE(worst_match(roots_of(coeffs), c.roots), c.tol);
  }
}

TEST(LinBairstow, DegreeThirtyFromRootsOnCirclesAndOfUnity) {
  // Fifteen conjugate pairs on radii between 0.6 and 1.5 at distinct angles.
  std::vector<cplx> upper;
  for (int k = 0; k < 15; ++k) {
    const double r = 0.6 + 0.06 * k;
    const double angle = (5.0 + 11.0 * k) * std::numbers::pi / 180.0;
    upper.push_back(std::polar(r, angle));
  }
  const auto roots = pairs(upper);
  EXPECT_LE(worst_match(roots_of(from_roots(roots)), roots), 1e-8);

  // x^30 - 1: the thirtieth roots of unity, worked out as cos and sin.
  std::vector<double> unity(31, 0.0);
  unity.front() = 1;
  unity.back() = -1;
  std::vector<cplx> expected;
  for (int k = 0; k < 30; ++k) expected.push_back(std::polar(1.0, 2 * std::numbers::pi * k / 30));
  EXPECT_LE(worst_match(roots_of(unity), expected), 1e-12);
}

TEST(LinBairstow, RandomPolynomialsHaveSmallBackwardError) {
  // Normal random coefficients, degrees 1 to 30, leading coefficients near
  // zero included (large roots beside small ones, the hard case for
  // deflation).  Each root z must satisfy |p(z)| <= tol * sum |a_i| |z|^(n-i):
  // the root of a polynomial within rounding of the given one.
  std::mt19937 gen(7);
  std::normal_distribution<double> normal(0, 1);
  double worst = 0;
  for (int trial = 0; trial < 600; ++trial) {
    const int n = 1 + trial % 30;
    std::vector<double> a(static_cast<std::size_t>(n) + 1);
    for (double& v : a) v = normal(gen);
    if (trial % 7 == 0) a[0] *= 1e-3;  // a root near -a(2)/a(1), far out
    for (const cplx& z : roots_of(a)) {
      cplx p = 0;
      double scale = 0;
      for (double ai : a) {
        p = p * z + ai;
        scale = scale * std::abs(z) + std::abs(ai);
      }
      worst = std::max(worst, std::abs(p) / scale);
    }
  }
  EXPECT_LE(worst, 1e-14);
}

TEST(LinBairstow, WritesSortedRootsAndExactConjugates) {
  // x^3 - x^2 + 3x + 5 = (x + 1)(x^2 - 2x + 5): roots -1, 1 + 2i, 1 - 2i.
  const auto r = roots_of({1, -1, 3, 5});
  ASSERT_EQ(r.size(), 3u);
  EXPECT_NEAR(r[0].real(), -1, 1e-14);
  EXPECT_EQ(r[0].imag(), 0.0);
  EXPECT_NEAR(r[1].real(), 1, 1e-14);
  EXPECT_NEAR(r[1].imag(), 2, 1e-14);
  EXPECT_EQ(r[2], std::conj(r[1]));
}

TEST(LinBairstow, SmallDegreesAndZeroRoots) {
  struct Case {
    std::vector<double> a;
    std::vector<cplx> expected;  // in output order
  } cases[] = {
      {{2, -4}, {2}},                        // 2x - 4
      {{1, -2, 5}, {{1, 2}, {1, -2}}},       // x^2 - 2x + 5
      {{1, -1e8, 1}, {1e-8, 1e8}},           // no cancellation in the small root
      {{1, -5, 0, 0}, {0, 0, 5}},            // x^2 (x - 5)
      {{4, 0, 0}, {0, 0}},                   // 4x^2
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.a.size());
    const auto r = roots_of(c.a);
    ASSERT_EQ(r.size(), c.expected.size());
    for (std::size_t i = 0; i < r.size(); ++i) {
      EXPECT_NEAR(r[i].real(), c.expected[i].real(), 1e-15 * std::max(1.0, std::abs(c.expected[i])));
      EXPECT_NEAR(r[i].imag(), c.expected[i].imag(), 1e-15 * std::max(1.0, std::abs(c.expected[i])));
    }
  }
}

TEST(LinBairstow, LeadingZerosLowerTheDegreeWithAMessage) {
  Korvat k;
  MessageCapture messages;
  DoubleArray ap = DoubleArray::from({0, 0, 1, -3, 2});
  DoubleArray xr = DoubleArray::from({7, 7, 7, 7}), xi = DoubleArray::from({7, 7, 7, 7});
  k.LinBairstowd(4, ap, xr, xi, 0.0);
  EXPECT_NEAR(xr(1), 1, 1e-15);
  EXPECT_NEAR(xr(2), 2, 1e-15);
  for (int i : {3, 4}) {
    EXPECT_EQ(xr(i), 0.0);
    EXPECT_EQ(xi(i), 0.0);
  }
  ASSERT_EQ(messages.messages().size(), 1u);
  EXPECT_EQ(messages.messages()[0],
            (Message{"Nulový koeficient u nejvyšší mocniny, stupeň rovnice snížen na 2", 16, "LINBAIRSTOW"}));
}

TEST(LinBairstow, AFactorThatDoesNotConvergeIsReportedAndStillWritten) {
  // One iteration per start cannot meet the tolerance: every start fails,
  // the best factor met is divided out (and polished), and each such factor
  // is reported with the positions of its two roots.
  const std::vector<cplx> roots = pairs({{1, 2}, {-3, 0.5}, 4});
  const auto coeffs = from_roots(roots);
  DoubleArray ap = array_of(coeffs), xr(Bounds{1, 5}), xi(Bounds{1, 5});
  MessageCapture messages;
  poly::lin_bairstow(5, ap, xr, xi, 1e-12, 1);
  ASSERT_EQ(messages.messages().size(), 2u);  // degree 5: two quadratic factors searched, then a linear one
  EXPECT_EQ(messages.messages()[0],
            (Message{"Kvadratický faktor nekonverguje ani po změně počátečních hodnot, kořeny 1 a 2 jsou nepřesné", 16,
                     "LINBAIRSTOW"}));
  EXPECT_EQ(messages.messages()[1].text,
            "Kvadratický faktor nekonverguje ani po změně počátečních hodnot, kořeny 3 a 4 jsou nepřesné");
  // Every position is written with a root near a true one.
  std::vector<cplx> found;
  for (int i = 1; i <= 5; ++i) found.emplace_back(xr(i), xi(i));
  EXPECT_LE(worst_match(found, roots), 0.5);
}

TEST(LinBairstow, BadInputRaisesAndLeavesTheRootsUntouched) {
  Korvat k;
  DoubleArray xr = DoubleArray::from({7, 7, 7}), xi = DoubleArray::from({7, 7, 7});
  struct Case {
    int npol;
    std::vector<double> a;
    int error;
  } cases[] = {
      {-1, {1, 2}, err::kInvalidCall},          // negative degree
      {2, {0, 0, 0}, err::kInvalidCall},        // every number is a root
      {3, {1, 2, 3}, err::kSubscript},          // apol lacks position 4
      {4, {1, 2, 3, 4, 5}, err::kSubscript},    // xreal lacks position 4
      {1, {1, INFINITY}, err::kOverflow},       // not a finite coefficient
      {2, {1e-300, 1e300, 1e300}, err::kOverflow},  // the roots overflow
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.npol);
    DoubleArray ap = array_of(c.a);
    EXPECT_EQ(error_of([&] { k.LinBairstowd(c.npol, ap, xr, xi, 1e-12); }), c.error);
    for (int i = 1; i <= 3; ++i) EXPECT_EQ(xr(i), 7.0);
  }
  // Degree 0: nothing is read or written.
  DoubleArray none = DoubleArray::from({5});
  EXPECT_EQ(error_of([&] { k.LinBairstowd(0, none, xr, xi, 1e-12); }), 0);
  EXPECT_EQ(xr(1), 7.0);
}

TEST(LinBairstow, VariantFlavourReadsNumbersAndDefaultsTheTolerance) {
  Korvat k;
  // x^3 - 6x^2 + 11x - 6 with integers, a numeric string and a double.
  VariantArray a = VariantArray::from({1, -6, "11", -6.0});
  VariantArray xr(Bounds{1, 3}), xi(Bounds{1, 3});
  for (const Variant& eps : {Variant(1e-12), Variant::missing(), Variant(), Variant(-1.0)}) {
    k.LinBairstow(3, a, xr, xi, eps);
    for (int i = 1; i <= 3; ++i) {
      EXPECT_NEAR(xr(i).to_double(), i, 1e-13);
      EXPECT_EQ(xi(i).type(), Variant::Type::Double);
      EXPECT_EQ(xi(i).to_double(), 0.0);
    }
  }
  VariantArray text = VariantArray::from({1, "abc", 2});
  EXPECT_EQ(error_of([&] { k.LinBairstow(2, text, xr, xi, 1e-12); }), err::kTypeMismatch);
  // A result fits Polyn's general form: the polynomial vanishes at each root.
  Variant x = xr(2);
  EXPECT_NEAR(k.Polyn(-3, x, a).to_double(), 0.0, 1e-12);
}

}  // namespace
}  // namespace kor
