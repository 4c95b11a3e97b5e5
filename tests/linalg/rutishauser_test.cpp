// Cyclic Jacobi on matrices whose eigenpairs are known: worked by hand at
// order 2, built as Q diag(lambda) Q with a Householder reflection Q otherwise.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "kor/kor.hpp"
#include "support.hpp"

namespace kor {
namespace {

const Variant M = Variant::missing();

TEST(Rutishauser, OrderTwoByHandAtEveryScaleAndSymmetryRelativeToTheLargestElement) {
  // s [[2, 1], [1 + e, 2]] is accepted when |e| s <= eps3 * 2 s and replaced by
  // its symmetric part: eigenvalues s (1 - e/2), s (3 + e/2), vectors (1, -1)/sqrt 2
  // and (1, 1)/sqrt 2 (the largest component, the first of equal ones, positive).
  // Rejected (tag1 2): nothing written but the statuses.
  const struct { double s, e; Variant eps3, eps1; int tag1; } cases[] = {
      {1e-300, 0, M, M, 0}, {1e-200, 0, M, 1e-14, 0}, {1, 0, M, M, 0},    {1e200, 0, M, 1e-14, 0},
      {1e300, 0, M, M, 0},  {1e300, 1e-11, M, M, 0},  {1, 1e-9, M, M, 2}, {1, 1e-9, 1e-9, M, 0},
      {1, 0.5, 0.25, M, 0}, {1, 0.5, 0.2499, M, 2}};
  const double h = std::sqrt(0.5);
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.s << " " << c.e << " " << c.eps3);
    VariantArray a = VariantArray::from_rows({{2 * c.s, c.s}, {c.s + c.e * c.s, 2 * c.s}});
    if (c.s == 1 && c.e == 0) a(1, 1) = 2, a(1, 2) = "1";  // read as numbers
    VariantArray b = VariantArray::from({7.0, 7.0}), U(Bounds{1, 2}, Bounds{1, 2});
    Variant t1, t2 = 5, it = 5;
    Korvat::global().Rutishauser(2, a, b, U, t1, t2, it, M, M, M, M, M, c.eps1, M, c.eps3);
    EXPECT_EQ(t1, Variant(static_cast<short>(c.tag1)));
    EXPECT_EQ(t2, Variant(static_cast<short>(c.tag1 ? 0 : 1)));  // one rotation annihilates the pair
    EXPECT_EQ(it, t2);
    EXPECT_EQ(a(2, 1).to_double(), c.s + c.e * c.s);  // the matrix is kept
    const double got[] = {b(1).to_double() / c.s, b(2).to_double() / c.s, U(1, 1).to_double(), U(2, 1).to_double(),
                          U(1, 2).to_double(), U(2, 2).to_double()};
    const double want[] = {1 - c.e / 2, 3 + c.e / 2, h, -h, h, h}, untouched[] = {7, 7, 0, 0, 0, 0};
    for (int k = 0; k < 6; ++k) EXPECT_NEAR(got[k], c.tag1 ? untouched[k] : want[k], 1e-15) << k;
  }
}

TEST(Rutishauser, KnownEigenpairsWithEveryOption) {
  // Spectra spread over six decades, clustered within 1E-7, or repeated; tol 0:
  // a few units of rounding of the norm.
  const struct { int n; char spectrum; Variant eigvec, stripd, sweep, freq, itmax; double eps1, eps2, eps4, tol; int tag1; } cases[] = {
      {6, 's', M, M, M, M, M, 0, 0, 0, 0, 0},      {30, 'c', M, M, M, M, M, 0, 0, 0, 0, 0},
      {80, 'r', M, M, M, M, M, 0, 0, 0, 0, 0},     {200, 's', M, M, M, M, M, 0, 0, 0, 0, 0},
      {8, 's', false, M, M, M, M, 0, 0, 0, 0, 0},  // U neither read nor written
      {8, 's', M, true, M, M, M, 0, 0, 0, 0, 0},   // the lower triangle never read
      {8, 's', M, M, 0, 3, M, 0, 0, 0, 0, 0},      // the classic cyclic method, folded every third sweep
      {8, 's', M, M, 2, M, M, 0, 1e6, 0, 0, 0},    // no rotation in the opening two sweeps
      {8, 's', M, M, M, M, 1, 0, 0, 0, 10, 1},     // one sweep is not enough
      {8, 's', M, M, M, M, M, 1e-3, 0, 0, 0.2, 0}, // off-diagonal norm below 1E-3 |A| = 0.18
      {8, 's', M, M, 0, M, M, 0, 0, 0.5, 0.3, 0},  // a coarse zero test drops elements
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    std::mt19937 gen(static_cast<unsigned>(c.n));
    std::uniform_real_distribution<double> u(-1, 1);
    std::vector<double> lambda, v;
    double vv = 0, norm = 0;
    for (int i = 0; i < c.n; ++i) {
      lambda.push_back(c.spectrum == 's' ? std::pow(10.0, 6.0 * i / c.n - 3) * (i % 3 ? 1 : -1)
                                         : c.spectrum == 'c' ? 1 + 1e-9 * i : i % 4);
      v.push_back(u(gen)), vv += v.back() * v.back();
    }
    std::sort(lambda.begin(), lambda.end());
    auto q = [&](int k, int i) { return (i == k) - 2 * v[static_cast<std::size_t>(i)] * v[static_cast<std::size_t>(k)] / vv; };
    DoubleArray a(Bounds{1, c.n}, Bounds{1, c.n}), given = a, b(Bounds{1, c.n}), U = a, none(Bounds{1, 1}, Bounds{1, 1});
    for (int i = 0; i < c.n; ++i)
      for (int j = 0; j < c.n; ++j) {
        for (int k = 0; k < c.n; ++k) a(i + 1, j + 1) += q(k, i) * lambda[static_cast<std::size_t>(k)] * q(k, j);
        norm = std::hypot(norm, a(i + 1, j + 1));
        given(i + 1, j + 1) = i > j && !c.stripd.is_missing() ? 1e6 * i : a(i + 1, j + 1);  // never read with stripd
      }
    Variant t1, t2, it;
    none(1, 1) = 42;
    Korvat::global().Rutishauserd(c.n, given, b, c.eigvec.is_missing() ? U : none, t1, t2, it, c.eigvec, c.stripd,
                                  c.sweep, c.freq, c.itmax, c.eps1, c.eps2, 0, c.eps4);
    EXPECT_EQ(t1, Variant(static_cast<short>(c.tag1)));
    EXPECT_EQ(none(1, 1), 42.0);
    const double tol = c.tol ? c.tol : 1e-16 * c.n * norm;
    for (int k = 1; k <= c.n; ++k) {
      EXPECT_NEAR(b(k), lambda[static_cast<std::size_t>(k - 1)], tol);
      if (c.tol || !c.eigvec.is_missing()) continue;
      double residual = 0, biggest = 0, known = 0;
      for (int i = 1; i <= c.n; ++i) {
        double s = -b(k) * U(i, k);
        for (int j = 1; j <= c.n; ++j) s += a(i, j) * U(j, k);
        residual = std::hypot(residual, s), known += U(i, k) * q(k - 1, i - 1);
        biggest = std::abs(U(i, k)) > std::abs(biggest) ? U(i, k) : biggest;
      }
      // A unit vector for b(k), orthogonal to the others, its largest component
      // positive; for distinct values the known one.
      EXPECT_TRUE(residual <= tol && biggest > 0 && (c.spectrum != 's' || std::abs(std::abs(known) - 1) < 1e-12));
      for (int p = 1; p <= k; ++p) {
        double dot = 0;
        for (int i = 1; i <= c.n; ++i) dot += U(i, p) * U(i, k);
        EXPECT_NEAR(dot, p == k, 1e-12);
      }
    }
  }
}

TEST(Rutishauser, FaultsRaiseBeforeAnythingIsWritten) {
  const struct { int n, nb, nu; Variant cell, sweep, freq; int error; } rows[] = {  // nb, nu: the sizes of b and U
      {3, 2, 3, 1, M, M, err::kSubscript}, {3, 3, 2, 1, M, M, err::kSubscript}, {4, 3, 3, 1, M, M, err::kSubscript},
      {-1, 3, 3, 1, M, M, err::kInvalidCall}, {3, 3, 3, 1, -1, M, err::kInvalidCall}, {3, 3, 3, 1, M, 0, err::kInvalidCall},
      {3, 3, 3, "x", M, M, err::kTypeMismatch}, {3, 3, 3, INFINITY, M, M, err::kOverflow}, {0, 3, 3, 1, M, M, 0}};
  for (const auto& r : rows) {
    SCOPED_TRACE(&r - rows);
    VariantArray a = VariantArray::from_rows({{4, 1, 0}, {1, 4, r.cell}, {0, r.cell, 4}}), b(Bounds{1, r.nb});
    VariantArray U(Bounds{1, r.nu}, Bounds{1, r.nu});
    b(1) = 7;
    Variant t1, t2, it = 9;
    EXPECT_EQ(testing::error_of([&] { Korvat::global().Rutishauser(r.n, a, b, U, t1, t2, it, M, M, r.sweep, r.freq); }),
              r.error);
    EXPECT_EQ(b(1), Variant(7));
    EXPECT_EQ(it, r.error ? Variant(9) : Variant(short{0}));  // order 0: only the statuses
  }
}

}  // namespace
}  // namespace kor
