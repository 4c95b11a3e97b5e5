// Horner's scheme on polynomials evaluated by hand; Lin-Bairstow on
// polynomials built from chosen roots, on random ones (judged by the backward
// error of each root) and on degenerate input.
#include <gtest/gtest.h>

#include <complex>
#include <random>

#include "kor/kor.hpp"
#include "poly/lin_bairstow.hpp"
#include "support.hpp"

namespace kor {
namespace {

using testing::error_of;
using cplx = std::complex<double>;

TEST(Polyn, SignOfTheDegreeSelectsTheLayoutInBothFlavours) {
  const struct { double n, x; std::vector<int> a; double expected; } cases[] = {
      {2, 1, {-3, 2}, 0},       {-2, 2, {1, -3, 2}, 0},  // monic and general x^2 - 3x + 2
      {2, 2, {1, -3, 2}, 3},    {0, 5, {4}, 0},          // monic x^2 + x - 3; degree 0 is 0, even monic
      {1, 4, {7}, 11},          {-1, 4, {7, 1}, 29},     // x + 7, 7x + 1
      {-3, -2, {2, 0, -1, 5}, -9}, {2.5, 2, {1, 1}, 7},  // 2x^3 - x + 5; a fractional degree stops below it
  };
  Korvat k;
  for (const auto& c : cases) {
    DoubleArray d(Bounds{1, static_cast<std::int32_t>(c.a.size())});
    VariantArray v(d.bounds(1));
    for (std::size_t i = 0; i < c.a.size(); ++i) d.data()[i] = c.a[i], v.data()[i] = c.a[i];
    double x = c.x;
    Variant vx = c.x;
    EXPECT_EQ(k.Polynd(c.n, x, d), c.expected) << c.n;
    EXPECT_EQ(k.Polyn(c.n, vx, v), Variant(c.expected)) << c.n;
  }
  // A general form that makes no step returns its copy of a(1) as it is (an
  // Integer) and never reads X.
  VariantArray one = VariantArray::from({7}), text = VariantArray::from({"abc"}), number = VariantArray::from({"2.5"});
  Variant vx = "x?";
  EXPECT_EQ(k.Polyn(-0.5, vx, one), Variant(short{7}));
  vx = 1.0;
  EXPECT_EQ(k.Polyn(1, vx, number), Variant(3.5));
  EXPECT_EQ(error_of([&] { k.Polyn(1, vx, text); }), err::kTypeMismatch);
  double x = 2, big = 1e300;
  DoubleArray from0 = DoubleArray::from({99, 1, 1}, 0), from2 = DoubleArray::from({1, 2}, 2), huge = DoubleArray::from({1e300, 0});
  EXPECT_EQ(k.Polynd(2, x, from0), 7.0);  // positions count from 1: a(0) is never read
  EXPECT_EQ(error_of([&] { k.Polynd(-2, x, from0); }), err::kSubscript);
  EXPECT_EQ(error_of([&] { k.Polynd(1, x, from2); }), err::kSubscript);
  EXPECT_EQ(error_of([&] { k.Polynd(-1, big, huge); }), err::kOverflow);
}

// The coefficients of prod (x - r), highest power first, and the roots that
// LinBairstowd finds for given coefficients, in its order.
std::vector<double> from_roots(const std::vector<cplx>& roots) {
  std::vector<cplx> c{1};
  for (const cplx& r : roots) {
    c.push_back(0);
    for (std::size_t k = c.size() - 1; k > 0; --k) c[k] -= r * c[k - 1];
  }
  std::vector<double> out;
  for (const cplx& x : c) out.push_back(x.real());
  return out;
}
std::vector<cplx> roots_of(const std::vector<double>& a, int steps = poly::kBairstowSteps) {
  const int n = static_cast<int>(a.size()) - 1;
  DoubleArray ap(Bounds{1, n + 1}), xr(Bounds{1, n}), xi(Bounds{1, n});
  std::copy(a.begin(), a.end(), ap.data());
  poly::lin_bairstow(n, ap, xr, xi, 1e-12, steps);
  std::vector<cplx> out;
  for (int i = 1; i <= n; ++i) out.emplace_back(xr(i), xi(i));
  return out;
}

TEST(LinBairstow, FindsChosenRootsToTheirConditioning) {
  // A root of multiplicity m is determined to about 1E-16^(1/m) of its size.
  const double h = std::sqrt(0.5);
  const struct { std::vector<cplx> roots; double tol; } cases[] = {
      {{1, 2, 3}, 1e-13}, {{{h, h}, {h, -h}, {-h, h}, {-h, -h}}, 1e-14}, {{-1, {2, 3}, {2, -3}, {0.5, 0.1}, {0.5, -0.1}}, 1e-12},
      {{1e-3, -0.1, 10, -1e3, 5e2}, 1e-12}, {{1, 1, -2}, 1e-7}, {{2, 2, 2, -1}, 1e-4}, {{{1, 1}, {1, -1}, {1, 1}, {1, -1}, 3}, 1e-6},
      {{{0, 2}, {0, -2}, {0, 0.5}, {0, -0.5}}, 1e-14}, {{-5, -4, -3, -2, -1, 0.5, 1.5, 2.5, 3.5, 4.5}, 1e-9},
      // Every start fails within one step: the best factor met is divided out.
      {{{1, 2}, {1, -2}, {-3, 0.5}, {-3, -0.5}, 4}, 0.5}};
  MessageCapture quiet;
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    const auto found = roots_of(from_roots(c.roots), c.tol < 0.5 ? poly::kBairstowSteps : 1);
    for (const cplx& e : c.roots) {
      double nearest = INFINITY;
      for (const cplx& z : found) nearest = std::min(nearest, std::abs(z - e) / std::max(1.0, std::abs(e)));
      EXPECT_LE(nearest, c.tol) << e;
    }
  }
}

TEST(LinBairstow, SmallDegreesZeroRootsAndTheOrderOfTheOutput) {
  // Ascending real parts, a + bi before a - bi, exact conjugates, real roots exactly real.
  const struct { std::vector<double> a; std::vector<cplx> expected; } cases[] = {
      {{2, -4}, {2}},     {{1, -2, 5}, {{1, 2}, {1, -2}}},  {{1, -1e8, 1}, {1e-8, 1e8}},  // no cancellation
      {{4, 0, 0}, {0, 0}}, {{1, -5, 0, 0}, {0, 0, 5}},      // trailing zeros: exact roots 0
      {{1, -1, 3, 5}, {-1, {1, 2}, {1, -2}}},               // (x + 1)(x^2 - 2x + 5)
  };
  for (const auto& c : cases) {
    const auto r = roots_of(c.a);
    for (std::size_t i = 0; i < r.size(); ++i) {
      EXPECT_NEAR(std::abs(r[i] - c.expected[i]), 0, 1e-14 * std::max(1.0, std::abs(c.expected[i]))) << c.a.size();
      EXPECT_TRUE(c.expected[i].imag() != 0 || r[i].imag() == 0);
      EXPECT_TRUE(c.expected[i].imag() >= 0 || r[i] == std::conj(r[i - 1]));
    }
  }
}

TEST(LinBairstow, RandomPolynomialsHaveSmallBackwardError) {
  // Each root z of a polynomial with normal random coefficients (degrees 1 to
  // 30, some with a tiny leading coefficient: a large root beside small ones)
  // satisfies |p(z)| <= 1E-14 sum |a_i| |z|^(n-i).
  std::mt19937 gen(7);
  std::normal_distribution<double> normal(0, 1);
  for (int trial = 0; trial < 600; ++trial) {
    std::vector<double> a(static_cast<std::size_t>(trial % 30) + 2);
    for (double& v : a) v = normal(gen);
    if (trial % 7 == 0) a[0] *= 1e-3;
    for (const cplx& z : roots_of(a)) {
      cplx p = 0;
      double scale = 0;
      for (double ai : a) p = p * z + ai, scale = scale * std::abs(z) + std::abs(ai);
      ASSERT_LE(std::abs(p), 1e-14 * scale) << trial;
    }
  }
}

TEST(LinBairstow, MessagesDefaultsAndFaults) {
  MessageCapture messages;
  Korvat k;
  // Leading zeros lower the degree: the roots at 1..m, 0 + 0i after them.
  VariantArray ap = VariantArray::from({0, 0, 1, -3, 2}), xr = VariantArray::from({7, 7, 7, 7}), xi = xr;
  k.LinBairstow(4, ap, xr, xi, 0.0);
  for (int i = 1; i <= 4; ++i) EXPECT_TRUE(std::abs(xr(i).to_double() - (i < 3 ? i : 0)) < 1e-15 && xi(i) == Variant(0.0));
  // Steps from one start cut to 1: each factor that does not converge is reported
  // with the positions its roots have when it is divided out.
  roots_of(from_roots({{1, 2}, {1, -2}, {-3, 0.5}, {-3, -0.5}, 4}), 1);
  const std::string slow = "Kvadratický faktor nekonverguje ani po změně počátečních hodnot, kořeny ";
  EXPECT_EQ(messages.messages(),
            (std::vector<Message>{{"Nulový koeficient u nejvyšší mocniny, stupeň rovnice snížen na 2", 16, "LINBAIRSTOW"},
                                  {slow + "1 a 2 jsou nepřesné", 16, "LINBAIRSTOW"},
                                  {slow + "3 a 4 jsou nepřesné", 16, "LINBAIRSTOW"}}));
  // Integers, a numeric text and a double; a missing, Empty or non-positive
  // tolerance is 1E-12.  The roots fit Polyn's general form.
  VariantArray a = VariantArray::from({1, -6, "11", -6.0});
  for (const Variant& eps : {Variant::missing(), Variant(), Variant(-1.0)}) {
    k.LinBairstow(3, a, xr, xi, eps);
    for (int i = 1; i <= 3; ++i)
      EXPECT_TRUE(std::abs(xr(i).to_double() - i) < 1e-13 && std::abs(k.Polyn(-3, xr(i), a).to_double()) < 1e-12);
  }
  const struct { int npol; std::vector<Variant> a; int error; } cases[] = {
      {-1, {1, 2}, err::kInvalidCall},      {2, {0, 0, 0}, err::kInvalidCall},  // every number is a root
      {3, {1, 2, 3}, err::kSubscript},      {5, {1, 2, 3, 4, 5, 6}, err::kSubscript},  // apol, xreal too short
      {1, {1, INFINITY}, err::kOverflow},   {2, {1e-300, 1e300, 1e300}, err::kOverflow},  // the roots overflow
      {2, {1, "abc", 2}, err::kTypeMismatch}, {0, {5}, 0},                  // degree 0: nothing read or written
  };
  for (const auto& c : cases) {
    VariantArray coefficients(Bounds{1, static_cast<std::int32_t>(c.a.size())});
    std::copy(c.a.begin(), c.a.end(), coefficients.data());
    xr(1) = 7;
    EXPECT_EQ(error_of([&] { k.LinBairstow(c.npol, coefficients, xr, xi, 1e-12); }), c.error) << c.npol;
    EXPECT_EQ(xr(1), Variant(7));
  }
}

}  // namespace
}  // namespace kor
