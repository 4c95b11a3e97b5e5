#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "kor/kor.hpp"
#include "support.hpp"

namespace kor {
namespace {

using testing::error_of;
const Variant M = Variant::missing();  // an omitted optional argument

DoubleArray square(int n) { return DoubleArray(Bounds{1, n}, Bounds{1, n}); }

// Q diag(lambda) Q^T with Q the product of two Householder reflections
// I - 2 v v^T / v^T v of random vectors, so that the eigenpairs are known:
// lambda(k) with the k-th column of Q.
struct Known {
  DoubleArray a;
  std::vector<double> lambda;
  std::vector<std::vector<double>> q;  // q[k] is the k-th eigenvector
};

Known known_matrix(const std::vector<double>& lambda, unsigned seed) {
  const int n = static_cast<int>(lambda.size());
  std::mt19937 gen(seed);
  std::uniform_real_distribution<double> u(-1, 1);
  std::vector<std::vector<double>> q(n, std::vector<double>(n, 0.0));
  for (int k = 0; k < n; ++k) q[k][k] = 1;
  for (int r = 0; r < 2; ++r) {
    std::vector<double> v(n);
    double vv = 0;
    for (double& x : v) {
      x = u(gen);
      vv += x * x;
    }
    for (auto& col : q) {
      double dot = 0;
      for (int i = 0; i < n; ++i) dot += v[i] * col[i];
      for (int i = 0; i < n; ++i) col[i] -= 2 * dot / vv * v[i];
    }
  }
  Known out{square(n), lambda, q};
  for (int i = 0; i < n; ++i)
    for (int j = 0; j <= i; ++j) {
      double s = 0;
      for (int k = 0; k < n; ++k) s += q[k][i] * lambda[k] * q[k][j];
      out.a(i + 1, j + 1) = s;
      out.a(j + 1, i + 1) = s;
    }
  return out;
}

double frobenius(DoubleArray& a, int n) {
  double s = 0;
  for (int i = 1; i <= n; ++i)
    for (int j = 1; j <= n; ++j) s += a(i, j) * a(i, j);
  return std::sqrt(s);
}

TEST(Rutishauser, TwoByTwoIsWorkedOutByHand) {
  // [[2, 1], [1, 2]]: eigenvalues 1 and 3, vectors (1, -1)/sqrt 2 and (1, 1)/sqrt 2,
  // each signed so that its first largest component is positive.
  Korvat k;
  DoubleArray a = square(2), b(Bounds{1, 2}), U = square(2);
  a(1, 1) = 2, a(1, 2) = 1, a(2, 1) = 1, a(2, 2) = 2;
  Variant t1, t2, it;
  k.Rutishauserd(2, a, b, U, t1, t2, it);
  const double h = std::sqrt(0.5);
  EXPECT_NEAR(b(1), 1, 1e-15);
  EXPECT_NEAR(b(2), 3, 1e-15);
  EXPECT_NEAR(U(1, 1), h, 1e-15);
  EXPECT_NEAR(U(2, 1), -h, 1e-15);
  EXPECT_NEAR(U(1, 2), h, 1e-15);
  EXPECT_NEAR(U(2, 2), h, 1e-15);
  EXPECT_EQ(t1, Variant(short{0}));
  EXPECT_EQ(t2, Variant(short{1}));  // one rotation annihilates the one pair
  EXPECT_EQ(it, Variant(short{1}));
  EXPECT_EQ(a(1, 2), 1.0);  // the matrix is kept
}

TEST(Rutishauser, KnownEigenpairsUpToOrderTwoHundred) {
  struct Case {
    int n;
    const char* spectrum;
  } cases[] = {{5, "spread"}, {30, "clustered"}, {50, "spread"}, {200, "spread"}, {80, "repeated"}};
  Korvat k;
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.n) + " " + c.spectrum);
    std::vector<double> lambda;
    for (int i = 0; i < c.n; ++i) {
      if (std::string(c.spectrum) == "spread") lambda.push_back(std::pow(10.0, 6.0 * i / c.n - 3) * (i % 3 ? 1 : -1));
      else if (std::string(c.spectrum) == "clustered") lambda.push_back(1 + 1e-9 * i);
      else lambda.push_back(i % 4);  // each of 0..3 twenty times
    }
    Known m = known_matrix(lambda, 17u + static_cast<unsigned>(c.n));
    const double norm = frobenius(m.a, c.n);
    DoubleArray b(Bounds{1, c.n}), U = square(c.n);
    Variant t1, t2, it;
    k.Rutishauserd(c.n, m.a, b, U, t1, t2, it);
    EXPECT_EQ(t1.to_double(), 0);
    std::sort(lambda.begin(), lambda.end());
    double value_error = 0, orthogonality = 0, residual = 0;
    for (int i = 1; i <= c.n; ++i) value_error = std::max(value_error, std::abs(b(i) - lambda[i - 1]));
    for (int p = 1; p <= c.n; ++p)
      for (int q = 1; q <= c.n; ++q) {
        double dot = 0;
        for (int i = 1; i <= c.n; ++i) dot += U(i, p) * U(i, q);
        orthogonality = std::max(orthogonality, std::abs(dot - (p == q ? 1 : 0)));
      }
    for (int kk = 1; kk <= c.n; ++kk) {
      double r2 = 0;
      for (int i = 1; i <= c.n; ++i) {
        double s = -b(kk) * U(i, kk);
        for (int j = 1; j <= c.n; ++j) s += m.a(i, j) * U(j, kk);
        r2 += s * s;
      }
      residual = std::max(residual, std::sqrt(r2));
    }
    EXPECT_LE(value_error, 1e-16 * c.n * norm);
    EXPECT_LE(orthogonality, 1e-12);
    EXPECT_LE(residual, 1e-16 * c.n * norm);
  }
}

TEST(Rutishauser, EigenvectorsOfDistinctValuesMatchTheKnownOnes) {
  const std::vector<double> lambda{-4, -1, 0.5, 2, 7, 9};
  Known m = known_matrix(lambda, 3u);
  DoubleArray b(Bounds{1, 6}), U = square(6);
  Variant t1, t2, it;
  Korvat k;
  k.Rutishauserd(6, m.a, b, U, t1, t2, it);
  for (int kk = 0; kk < 6; ++kk) {
    // Same vector up to sign: |u . q| = 1.
    double dot = 0;
    for (int i = 0; i < 6; ++i) dot += U(i + 1, kk + 1) * m.q[kk][i];
    EXPECT_NEAR(std::abs(dot), 1.0, 1e-13);
  }
}

TEST(Rutishauser, StatusesForUnsymmetricAndUnconvergedInput) {
  Korvat k;
  Known m = known_matrix({1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, 5u);
  DoubleArray b = DoubleArray::from({7, 7, 7, 7, 7, 7, 7, 7, 7, 7}), U = square(10);
  Variant t1, t2, it;
  // One sweep is not enough for ten by ten.
  k.Rutishauserd(10, m.a, b, U, t1, t2, it, M, M, M, M, 1);
  EXPECT_EQ(t1, Variant(short{1}));
  EXPECT_EQ(it, Variant(short{1}));
  EXPECT_GT(t2.to_double(), 0);
  // Asymmetry of 1E-6 relative: rejected, nothing written.
  m.a(2, 7) += 1e-5;
  b(1) = 7;
  k.Rutishauserd(10, m.a, b, U, t1, t2, it);
  EXPECT_EQ(t1, Variant(short{2}));
  EXPECT_EQ(t2, Variant(short{0}));
  EXPECT_EQ(it, Variant(short{0}));
  EXPECT_EQ(b(1), 7.0);
  // ... accepted with a looser symmetry tolerance, as the symmetric part.
  k.Rutishauserd(10, m.a, b, U, t1, t2, it, M, M, M, M, M, 0, 0, 1e-4);
  EXPECT_EQ(t1, Variant(short{0}));
  EXPECT_NEAR(b(1), 1, 1e-5);
}

TEST(Rutishauser, OptionsDoWhatTheySay) {
  Korvat k;
  Known m = known_matrix({-3, -1, 0, 2, 5, 8, 13, 21}, 11u);
  const int n = 8;
  DoubleArray b(Bounds{1, n}), U = square(n);
  Variant t1, t2, it;
  k.Rutishauserd(n, m.a, b, U, t1, t2, it);
  const double rotations_threshold = t2.to_double();
  const double sweeps_full = it.to_double();
  std::vector<double> reference;
  for (int i = 1; i <= n; ++i) reference.push_back(b(i));

  // eigvec False: U is neither read nor written (an empty array will do).
  DoubleArray nothing(Bounds{1, 1}, Bounds{1, 1});
  nothing(1, 1) = 42;
  k.Rutishauserd(n, m.a, b, nothing, t1, t2, it, false);
  EXPECT_EQ(nothing(1, 1), 42.0);
  EXPECT_EQ(b(8), reference[7]);

  // stripd: the lower triangle is never read.
  DoubleArray upper = square(n);
  for (int i = 1; i <= n; ++i)
    for (int j = 1; j <= n; ++j) upper(i, j) = j >= i ? m.a(i, j) : 1e6 * i;
  k.Rutishauserd(n, upper, b, U, t1, t2, it, M, true);
  EXPECT_EQ(t1, Variant(short{0}));
  for (int i = 1; i <= n; ++i) EXPECT_NEAR(b(i), reference[i - 1], 1e-13);

  // sweep 0: the classic cyclic method rotates at least as often.
  k.Rutishauserd(n, m.a, b, U, t1, t2, it, M, M, 0);
  EXPECT_GE(t2.to_double(), rotations_threshold);
  for (int i = 1; i <= n; ++i) EXPECT_NEAR(b(i), reference[i - 1], 1e-13);

  // freq 3: diagonal folded every third sweep, same values.
  k.Rutishauserd(n, m.a, b, U, t1, t2, it, M, M, M, 3);
  for (int i = 1; i <= n; ++i) EXPECT_NEAR(b(i), reference[i - 1], 1e-13);

  // eps1: a loose convergence test stops sooner, its values close.
  k.Rutishauserd(n, m.a, b, U, t1, t2, it, M, M, M, M, M, 1e-3);
  EXPECT_EQ(t1, Variant(short{0}));
  EXPECT_LT(it.to_double(), sweeps_full);
  for (int i = 1; i <= n; ++i) EXPECT_NEAR(b(i), reference[i - 1], 1e-3 * 30);

  // eps2: a threshold factor of 1E6 rotates nothing in the opening sweeps.
  k.Rutishauserd(n, m.a, b, U, t1, t2, it, M, M, 2, M, M, 0, 1e6);
  EXPECT_EQ(t1, Variant(short{0}));
  EXPECT_GE(it.to_double(), 3);
  for (int i = 1; i <= n; ++i) EXPECT_NEAR(b(i), reference[i - 1], 1e-13);

  // eps4: a coarse zero test drops small elements without rotating them.
  k.Rutishauserd(n, m.a, b, U, t1, t2, it, M, M, 0, M, M, 0, 0, 0, 0.5);
  EXPECT_LT(t2.to_double(), rotations_threshold);
  EXPECT_EQ(t1, Variant(short{0}));

  // Out of range options.
  EXPECT_EQ(error_of([&] { k.Rutishauserd(n, m.a, b, U, t1, t2, it, M, M, -1); }), err::kInvalidCall);
  EXPECT_EQ(error_of([&] { k.Rutishauserd(n, m.a, b, U, t1, t2, it, M, M, M, 0); }),
            err::kInvalidCall);
}

TEST(Rutishauser, ScaleDoesNotMatterNearTheEndsOfTheDoubleRange) {
  // [[2, 1], [1, 2]] times s: eigenvalues s and 3 s, with the default and
  // with a convergence test (whose norms must not overflow or underflow).
  Korvat k;
  for (double s : {1e-300, 1e-200, 1.0, 1e200, 1e300}) {
    for (double eps1 : {0.0, 1e-14}) {
      SCOPED_TRACE(std::to_string(s) + " " + std::to_string(eps1));
      DoubleArray a = square(2), b(Bounds{1, 2}), U = square(2);
      a(1, 1) = 2 * s, a(1, 2) = s, a(2, 1) = s, a(2, 2) = 2 * s;
      Variant t1, t2, it;
      k.Rutishauserd(2, a, b, U, t1, t2, it, M, M, M, M, M, eps1);
      EXPECT_EQ(t1, Variant(short{0}));
      EXPECT_EQ(it, Variant(short{1}));
      EXPECT_NEAR(b(1) / s, 1, 1e-15);
      EXPECT_NEAR(b(2) / s, 3, 1e-15);
    }
  }
}

TEST(Rutishauser, FaultsRaiseBeforeAnythingIsWritten) {
  Korvat k;
  DoubleArray a = square(3);
  for (int i = 1; i <= 3; ++i) a(i, i) = i;
  DoubleArray b = DoubleArray::from({7, 7, 7}), shortb = DoubleArray::from({7, 7});
  DoubleArray U = square(3), smallU = square(2);
  Variant t1, t2, it;
  EXPECT_EQ(error_of([&] { k.Rutishauserd(3, a, shortb, U, t1, t2, it); }), err::kSubscript);
  EXPECT_EQ(error_of([&] { k.Rutishauserd(3, a, b, smallU, t1, t2, it); }), err::kSubscript);
  EXPECT_EQ(b(1), 7.0);
  EXPECT_EQ(error_of([&] { k.Rutishauserd(4, a, b, U, t1, t2, it); }), err::kSubscript);
  EXPECT_EQ(error_of([&] { k.Rutishauserd(-1, a, b, U, t1, t2, it); }), err::kInvalidCall);
  a(2, 3) = INFINITY;
  EXPECT_EQ(error_of([&] { k.Rutishauserd(3, a, b, U, t1, t2, it); }), err::kOverflow);
  EXPECT_EQ(b(1), 7.0);
  // Order 0: only the statuses.
  k.Rutishauserd(0, a, b, U, t1, t2, it);
  EXPECT_EQ(t1, Variant(short{0}));
  EXPECT_EQ(it, Variant(short{0}));
}

TEST(Rutishauser, VariantFlavourComputesTheSameInDoubles) {
  // [[4, 1, 0], [1, 4, 1], [0, 1, 4]]: eigenvalues 4 - sqrt 2, 4, 4 + sqrt 2.
  Korvat k;
  VariantArray a(Bounds{1, 3}, Bounds{1, 3}), b(Bounds{1, 3}), U(Bounds{1, 3}, Bounds{1, 3});
  for (int i = 1; i <= 3; ++i)
    for (int j = 1; j <= 3; ++j) a(i, j) = i == j ? Variant(4) : std::abs(i - j) == 1 ? Variant("1") : Variant();
  Variant t1, t2, it;
  k.Rutishauser(3, a, b, U, t1, t2, it);
  EXPECT_EQ(t1, Variant(short{0}));
  const double expected[] = {4 - std::sqrt(2.0), 4, 4 + std::sqrt(2.0)};
  for (int i = 1; i <= 3; ++i) {
    EXPECT_EQ(b(i).type(), Variant::Type::Double);
    EXPECT_NEAR(b(i).to_double(), expected[i - 1], 1e-14);
  }
  // The middle vector is (1, 0, -1)/sqrt 2.
  EXPECT_NEAR(U(1, 2).to_double(), std::sqrt(0.5), 1e-14);
  EXPECT_NEAR(U(2, 2).to_double(), 0, 1e-14);
  EXPECT_NEAR(U(3, 2).to_double(), -std::sqrt(0.5), 1e-14);
  // Variant tolerances that are Empty or 0 take their defaults; a string is no number.
  k.Rutishauser(3, a, b, U, t1, t2, it, true, false, 3, 1, 50, 0, Variant(), 0, 0);
  EXPECT_NEAR(b(1).to_double(), expected[0], 1e-14);
  a(1, 1) = "x";
  EXPECT_EQ(error_of([&] { k.Rutishauser(3, a, b, U, t1, t2, it); }), err::kTypeMismatch);
}

}  // namespace
}  // namespace kor
