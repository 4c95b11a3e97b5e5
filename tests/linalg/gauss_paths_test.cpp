// Every path of the elimination (small systems, the column walk of larger
// ones, Variant matrices of Doubles walked in place) against an elimination
// written here element by element in the row order, bit for bit, including
// the matrix left behind when an operation overflows.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "kor/kor.hpp"
#include "support.hpp"

namespace kor {
namespace {

using testing::error_of;

// The reference: a(i, j) of an n x (n + ncol) matrix, column-major, 1-based.
struct Reference {
  int n, ncol;
  std::vector<double> a;
  double& at(int i, int j) { return a[static_cast<std::size_t>((j - 1) * n + (i - 1))]; }
  static double step(double x) {
    if (!std::isfinite(x)) throw Error(err::kOverflow);
    return x;
  }
  // Returns the status; throws error 6 at the first operation out of range.
  int solve() {
    const int nc = n + ncol;
    for (int k = 1; k <= n; ++k) {
      double big = 0;
      int p = 0;
      for (int i = k; i <= n; ++i)
        if (std::abs(at(i, k)) > big) big = std::abs(at(i, k)), p = i;
      if (big < 1e-6) return 1;
      const double pivot = at(p, k);
      for (int j = k; p != k && j <= nc; ++j) std::swap(at(k, j), at(p, j));
      for (int j = 1; j <= nc; ++j) at(k, j) = step(at(k, j) / pivot);
      for (int i = k + 1; i <= n; ++i) {
        const double f = at(i, k);
        for (int j = k; j <= nc; ++j) {
          const double product = step(at(k, j) * f);
          at(i, j) = step(at(i, j) - product);
        }
      }
    }
    for (int k = n - 1; k >= 1; --k)
      for (int i = k + 1; i <= n; ++i)
        for (int m = 1; m <= ncol; ++m) {
          const double product = step(at(k, i) * at(i, n + m));
          at(k, n + m) = step(at(k, n + m) - product);
        }
    return 0;
  }
};

std::vector<double> bits_of(const DoubleArray& d) { return {d.data(), d.data() + d.size()}; }
std::vector<double> bits_of(const VariantArray& v) {
  std::vector<double> r;
  for (std::int32_t j = 1; j <= v.ubound(2); ++j)
    for (std::int32_t i = 1; i <= v.ubound(1); ++i) r.push_back(v(i, j).to_double());
  return r;
}
bool same_bits(const std::vector<double>& x, const std::vector<double>& y) {
  return x.size() == y.size() && std::memcmp(x.data(), y.data(), x.size() * sizeof(double)) == 0;
}

// Runs Gaussd and Gauss (all Doubles) on the matrix and compares the status,
// the error and every bit of what is left with the reference.
void compare(int n, int ncol, const std::vector<double>& cells) {
  Reference ref{n, ncol, cells};
  int ref_error = 0, ref_status = 0;
  try {
    ref_status = ref.solve();
  } catch (const Error& e) {
    ref_error = e.number();
  }
  DoubleArray d(Bounds{1, n}, Bounds{1, n + ncol});
  VariantArray v(Bounds{1, n}, Bounds{1, n + ncol});
  for (int j = 1; j <= n + ncol; ++j)
    for (int i = 1; i <= n; ++i) {
      d(i, j) = cells[static_cast<std::size_t>((j - 1) * n + (i - 1))];
      v(i, j) = Variant(d(i, j));
    }
  Variant idd = 9, idv = 9;
  Korvat k;
  EXPECT_EQ(error_of([&] { k.Gaussd(n, d, ncol, idd); }), ref_error);
  EXPECT_EQ(error_of([&] { k.Gauss(n, v, ncol, idv); }), ref_error);
  if (ref_error == 0) {
    EXPECT_EQ(idd, Variant(short(ref_status)));
    EXPECT_EQ(idv, Variant(short(ref_status)));
  } else {
    EXPECT_EQ(idd, Variant(short{0}));  // written on entry, never reached the exit
  }
  EXPECT_TRUE(same_bits(bits_of(d), ref.a));
  EXPECT_TRUE(same_bits(bits_of(v), ref.a));
}

TEST(GaussPaths, RandomSystemsOfEverySizeMatchTheRowOrderBitForBit) {
  std::mt19937 rng(2024);
  std::uniform_real_distribution<double> u(-3, 3);
  for (int n : {1, 2, 3, 4, 5, 6, 7, 10, 16, 17, 33}) {
    for (int ncol : {0, 1, 2, 5, 20}) {
      SCOPED_TRACE(::testing::Message() << "n = " << n << ", ncol = " << ncol);
      std::vector<double> cells(static_cast<std::size_t>(n * (n + ncol)));
      for (double& x : cells) x = u(rng);
      compare(n, ncol, cells);
      // Coarse values give ties between pivot candidates and exact zeros.
      for (double& x : cells) x = std::round(x);
      compare(n, ncol, cells);
    }
  }
}

TEST(GaussPaths, OverflowAndSingularityLeaveWhatTheRowOrderLeaves) {
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> u(-1, 1);
  for (int n : {2, 3, 5, 10, 16, 24}) {
    for (int ncol : {1, 3}) {
      SCOPED_TRACE(::testing::Message() << "n = " << n << ", ncol = " << ncol);
      std::vector<double> cells(static_cast<std::size_t>(n * (n + ncol)));
      for (double& x : cells) x = u(rng);
      // Huge values in a right-hand side: the back substitution overflows.
      std::vector<double> rhs = cells;
      rhs[static_cast<std::size_t>(n * n)] = 1.7e308;
      rhs[static_cast<std::size_t>(n * n + n - 1)] = -1.7e308;
      compare(n, ncol, rhs);
      // Huge values in the coefficients: the elimination overflows.
      std::vector<double> coef = cells;
      // a(1,1) = 1 is the pivot; row 2 then needs -1.5e308 - 1.5e308 * 0.5.
      coef[0] = 1.0;
      coef[1] = 0.5;
      coef[static_cast<std::size_t>(n)] = 1.5e308;
      coef[static_cast<std::size_t>(n + 1)] = -1.5e308;
      compare(n, ncol, coef);
      // A column that vanishes after the first step: singular.
      std::vector<double> sing = cells;
      for (int i = 1; i <= n; ++i) sing[static_cast<std::size_t>(n + i - 1)] = 2 * sing[static_cast<std::size_t>(i - 1)];
      compare(n, ncol, sing);
    }
  }
}

// The inversion in the stated order, element by element, on a row-major copy.
struct InverseReference {
  int n;
  double ep;
  std::vector<double> c, x;  // c(i, j) and x(i, j), 1-based, column-major
  double& C(int i, int j) { return c[static_cast<std::size_t>((j - 1) * n + (i - 1))]; }
  double& X(int i, int j) { return x[static_cast<std::size_t>((j - 1) * n + (i - 1))]; }
  static double step(double v, int number = err::kOverflow) {
    if (!std::isfinite(v)) throw Error(number);
    return v;
  }
  static double quotient(double a, double b) {
    if (b == 0) throw Error(err::kDivisionByZero);
    return step(a / b);
  }
  int solve() {
    x.assign(c.size(), 0.0);
    for (int i = 1; i <= n; ++i) X(i, i) = 1;
    for (int k = 1; k <= n; ++k) {
      double big = 0;
      int p = 0;
      for (int i = k; i <= n; ++i)
        if (std::abs(C(i, k)) > big) big = std::abs(C(i, k)), p = i;
      if (k < p) {
        for (int j = k; j <= n; ++j) std::swap(C(k, j), C(p, j));
        for (int j = 1; j <= n; ++j) std::swap(X(k, j), X(p, j));
      }
      if (std::abs(C(k, k)) <= ep) return 1;
      for (int i = k + 1; i <= n; ++i) {
        if (C(i, k) == 0) continue;
        const double f = quotient(C(i, k), C(k, k));
        for (int j = k + 1; j <= n; ++j) C(i, j) = step(C(i, j) - step(C(k, j) * f));
        for (int j = 1; j <= n; ++j) X(i, j) = step(X(i, j) - step(X(k, j) * f));
      }
    }
    for (int m = 1; m <= n; ++m)
      for (int i = n; i >= 1; --i) {
        double s = 0;
        for (int j = i + 1; j <= n; ++j) s = step(s + step(C(i, j) * X(j, m)));
        X(i, m) = quotient(step(X(i, m) - s), C(i, i));
      }
    return 0;
  }
};

void compare_inverse(int n, const std::vector<double>& cells, double ep) {
  InverseReference ref{n, ep, cells, {}};
  int ref_error = 0, ref_status = 0;
  try {
    ref_status = ref.solve();
  } catch (const Error& e) {
    ref_error = e.number();
  }
  DoubleArray a(Bounds{1, n}, Bounds{1, n}), inv(Bounds{1, n}, Bounds{1, n});
  VariantArray va(Bounds{1, n}, Bounds{1, n}), vinv(Bounds{1, n}, Bounds{1, n});
  for (int j = 1; j <= n; ++j)
    for (int i = 1; i <= n; ++i) {
      a(i, j) = cells[static_cast<std::size_t>((j - 1) * n + (i - 1))];
      va(i, j) = Variant(a(i, j));
    }
  Variant nn = n, idd = 9, idv = 9, vep = ep;
  double dep = ep;
  Korvat k;
  EXPECT_EQ(error_of([&] { k.Invertd(nn, a, inv, idd, dep); }), ref_error);
  EXPECT_EQ(error_of([&] { k.Invert(nn, va, vinv, idv, vep); }), ref_error);
  EXPECT_EQ(idd, ref_error ? Variant(9) : Variant(short(ref_status)));  // written only at the exits
  EXPECT_EQ(idv, idd);
  EXPECT_TRUE(same_bits(bits_of(inv), ref.x));
  EXPECT_TRUE(same_bits(bits_of(vinv), ref.x));
  EXPECT_TRUE(same_bits(bits_of(a), cells));  // the input is kept
}

TEST(InvertPaths, EverySizeMatchesTheStatedOrderBitForBit) {
  std::mt19937 rng(99);
  std::uniform_real_distribution<double> u(-4, 4);
  for (int n : {1, 2, 3, 4, 7, 10, 16, 17, 30}) {
    SCOPED_TRACE(::testing::Message() << "n = " << n);
    std::vector<double> cells(static_cast<std::size_t>(n * n));
    for (double& v : cells) v = u(rng);
    compare_inverse(n, cells, 1e-13);
    // Whole numbers: exact zeros below the pivot skip their rows, ties pick the upper row.
    for (double& v : cells) v = std::round(v / 2);
    compare_inverse(n, cells, 1e-13);
    // A negative threshold never reports singularity: a zero pivot divides by zero.
    std::vector<double> zero(cells.size(), 0.0);
    zero[0] = 1;
    compare_inverse(n, zero, -1);
    // Values near the top of the range overflow in the elimination.
    std::vector<double> huge = cells;
    huge[0] = 1e-300;
    if (n > 1) huge[static_cast<std::size_t>(n)] = 1e300;
    compare_inverse(n, huge, 0);
  }
}

}  // namespace
}  // namespace kor
