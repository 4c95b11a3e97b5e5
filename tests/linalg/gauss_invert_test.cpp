// Gaussian elimination and inversion against references written here element
// by element in the documented order: every path (small systems, the column
// walk of larger ones, Variants of Doubles walked in place, the checked
// element path) must leave the same bits, statuses and errors.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <random>
#include <span>

#include "kor/kor.hpp"
#include "support.hpp"

namespace kor {
namespace {

using testing::error_of;
using Cells = std::vector<double>;  // a matrix, column-major

double finite(double x) { return std::isfinite(x) ? x : throw Error(err::kOverflow); }
template <class A>
std::vector<std::uint64_t> bits(const A& a) {
  std::vector<std::uint64_t> v;
  for (const auto& x : std::span(a.data(), a.size())) v.push_back(std::bit_cast<std::uint64_t>(Variant(x).to_double()));
  return v;
}
// With integers, every whole value but 0 is a 16-bit Integer: a matrix that
// is not all Doubles takes the element-by-element path.
VariantArray as_variants(const DoubleArray& d, bool integers = false) {
  VariantArray v(d.bounds(1), d.bounds(2));
  std::transform(d.data(), d.data() + d.size(), v.data(), [&](double x) {
    return integers && x != 0 && x == std::trunc(x) && std::abs(x) < 3e4 ? Variant(static_cast<int>(x)) : Variant(x);
  });
  return v;
}
Cells random_cells(std::mt19937& rng, int count, double range) {
  std::uniform_real_distribution<double> u(-range, range);
  Cells c(static_cast<std::size_t>(count));
  std::generate(c.begin(), c.end(), [&] { return u(rng); });
  return c;
}

// Gauss in the row order, every operation checked: the status, or error 6 at
// the first operation out of range (its cell keeps its value).
int gauss_reference(int n, int ncol, Cells& a) {
  auto at = [&](int i, int j) -> double& { return a[static_cast<std::size_t>((j - 1) * n + i - 1)]; };
  for (int k = 1; k <= n; ++k) {
    int p = k;
    for (int i = k + 1; i <= n; ++i) p = std::abs(at(i, k)) > std::abs(at(p, k)) ? i : p;
    if (std::abs(at(p, k)) < 1e-6) return 1;
    const double pivot = at(p, k);
    for (int j = k; j <= n + ncol; ++j) std::swap(at(k, j), at(p, j));
    for (int j = 1; j <= n + ncol; ++j) at(k, j) = finite(at(k, j) / pivot);
    for (int i = k + 1; i <= n; ++i) {
      const double f = at(i, k);
      for (int j = k; j <= n + ncol; ++j) at(i, j) = finite(at(i, j) - finite(at(k, j) * f));
    }
  }
  for (int k = n - 1; k >= 1; --k)
    for (int i = k + 1; i <= n; ++i)
      for (int m = n + 1; m <= n + ncol; ++m) at(k, m) = finite(at(k, m) - finite(at(k, i) * at(i, m)));
  return 0;
}

// Gaussd, Gauss on Doubles and Gauss on Integers against the reference and,
// when given, against values worked out by hand.
void check_gauss(int n, int ncol, const Cells& input, const Cells& by_hand = {}) {
  SCOPED_TRACE(::testing::Message() << "n = " << n << ", ncol = " << ncol);
  Cells want = input;
  int status = 0;
  const int error = error_of([&] { status = gauss_reference(n, ncol, want); });
  EXPECT_TRUE(by_hand.empty() || want == by_hand);
  DoubleArray d(Bounds{1, n}, Bounds{1, n + ncol});
  std::copy(input.begin(), input.end(), d.data());
  VariantArray doubles = as_variants(d), integers = as_variants(d, true);
  Variant id = 9;
  EXPECT_EQ(error_of([&] { Korvat::global().Gaussd(n, d, ncol, id); }), error);
  EXPECT_EQ(id, Variant(static_cast<short>(status)));  // 0 from the entry when an error ends it
  EXPECT_EQ(bits(d), bits(want));
  for (VariantArray* v : {&doubles, &integers}) {
    id = 9;
    EXPECT_EQ(error_of([&] { Korvat::global().Gauss(n, *v, ncol, id); }), error);
    EXPECT_EQ(id, Variant(static_cast<short>(status)));
    EXPECT_EQ(bits(*v), bits(want));
    const auto is_double = [](const Variant& x) { return x.type() == Variant::Type::Double; };
    EXPECT_TRUE(error || status || std::all_of(v->data(), v->data() + v->size(), is_double));  // every cell computed
  }
}

TEST(Gauss, HandWorkedSystemsThresholdsAndTies) {
  // 2x + y = 5, x + 3y = 10: row 1 / 2 = (1, .5, 2.5); row 2 - row 1 = (0, 2.5, 7.5),
  // / 2.5 = (0, 1, 3); back substitution 2.5 - .5 * 3 = 1.
  check_gauss(2, 1, {2, 1, 1, 3, 5, 10}, {1, 0, 0.5, 1, 1, 3});
  // A = [[0,2,1],[1,1,1],[2,1,3]], solutions (1,2,3) and (-1,0,4): row exchanges.
  check_gauss(3, 2, {0, 1, 2, 2, 1, 1, 1, 1, 3, 7, 6, 13, 4, 3, 10});
  check_gauss(1, 1, {1e-6, 1}, {1, 1e6});         // a pivot of exactly 1E-6 is accepted
  check_gauss(1, 1, {9.99e-7, 1}, {9.99e-7, 1});  // below: singular, untouched
  check_gauss(2, 1, {1, -1, 1, 1, 2, 0}, {1, 0, 1, 1, 1, 1});     // equal candidates: the upper row
  check_gauss(2, 1, {2, 1, 4, 2, 1, 1}, {1, 0, 2, 0, 0.5, 0.5});  // a zero column at step 2: singular
  check_gauss(2, 0, {2, 1, 4, 3}, {1, 0, 2, 1});  // no right-hand side: only triangularised
  check_gauss(0, 1, {});
  // Negative pivots: the zeros left of the diagonal take the sign of their division.
  check_gauss(3, 1, {-2, 1, 0, 4, -3, 1, 1, 1, -5, 1, 2, 3});
  // Every value either small and positive or large and negative: the back
  // substitution overflows, -1.7e308 - (-1e5) * (-1.7e303).
  check_gauss(2, 1, {1, 0, -1e5, 1, -1.7e308, -1.7e303});
}

TEST(Gauss, EverySizeAroundTheFastPathLimitsOverflowsAndSingularMatrices) {
  std::mt19937 rng(2024);
  for (int n : {1, 2, 3, 4, 5, 6, 7, 10, 16, 17, 24, 33})
    for (int ncol : {0, 1, 3, 5, 20}) {
      const auto u = [n](int i, int j) { return static_cast<std::size_t>((j - 1) * n + i - 1); };
      Cells c = random_cells(rng, n * (n + ncol), 3), whole = c, rhs = c, coef = c, sing = c;
      c.back() = 3;  // one whole value: the Integer matrix takes the element path
      check_gauss(n, ncol, c);
      for (double& x : whole) x = std::round(x);  // ties between candidates, exact zeros
      check_gauss(n, ncol, whole);
      if (n < 2 || ncol < 1) continue;
      rhs[u(1, n + 1)] = 1.7e308, rhs[u(n, n + 1)] = -1.7e308, rhs[u(1, 1)] = 3;  // the back substitution overflows
      // Pivot a(1,1) = 3; row 2 then needs -1.5e308 - 0.5e308 * 1.5.
      coef[u(1, 1)] = 3, coef[u(2, 1)] = 1.5, coef[u(1, 2)] = 1.5e308, coef[u(2, 2)] = -1.5e308;
      for (int i = 1; i <= n; ++i) sing[u(i, 2)] = 2 * sing[u(i, 1)];  // singular after step 1
      sing[u(1, 1)] = 3, sing[u(1, 2)] = 6;
      for (const Cells* m : {&rhs, &coef, &sing}) check_gauss(n, ncol, *m);
    }
}

TEST(Gauss, ASystemInTheUpperRowsOfALargerArray) {
  // Three equations in a 4 x 4 array: the back substitution overflows in
  // column 4 (x3 = -1.7e308, x2 = 1.7e308 - 1 * x3); row 4 is no part of the system.
  const int n = 3;
  const Cells system = {3, 0, 0, 1, 1, 0, 0, 1, 1, 0, 1.7e308, -1.7e308};
  Cells want = system;
  const int error = error_of([&] { gauss_reference(n, 1, want); });
  ASSERT_EQ(error, err::kOverflow);
  DoubleArray d(Bounds{1, 4}, Bounds{1, 4});
  for (int j = 1; j <= 4; ++j) {
    for (int i = 1; i <= n; ++i) d(i, j) = system[static_cast<std::size_t>((j - 1) * n + i - 1)];
    d(4, j) = 7;
  }
  Variant id;
  EXPECT_EQ(error_of([&] { Korvat::global().Gaussd(n, d, 1, id); }), err::kOverflow);
  for (int j = 1; j <= 4; ++j) {
    for (int i = 1; i <= n; ++i)
      EXPECT_EQ(std::bit_cast<std::uint64_t>(d(i, j)), std::bit_cast<std::uint64_t>(want[static_cast<std::size_t>((j - 1) * n + i - 1)]));
    EXPECT_EQ(d(4, j), 7.0);
  }
}

// Invertd (small systems kept aside, larger ones walked by columns) against
// Invert, whose Variants take the element-by-element order: the same error,
// status (written only at the exits) and bits, the input kept.  Returns the
// error and Invert's inverse.
std::pair<int, VariantArray> check_invert(int n, const Cells& input, double ep, int status = -1, const Cells& by_hand = {}) {
  SCOPED_TRACE(::testing::Message() << "n = " << n << ", ep = " << ep);
  DoubleArray a(Bounds{1, n}, Bounds{1, n}), inv = a;
  std::copy(input.begin(), input.end(), a.data());
  VariantArray va = as_variants(a), vinv(Bounds{1, n}, Bounds{1, n});
  Variant nn = n, idd = 9, idv = 9, vep = ep;
  const int error = error_of([&] { Korvat::global().Invert(nn, va, vinv, idv, vep); });
  EXPECT_EQ(error_of([&] { Korvat::global().Invertd(nn, a, inv, idd, ep); }), error);
  EXPECT_EQ(idd, idv);
  EXPECT_EQ(bits(inv), bits(vinv));
  EXPECT_EQ(bits(a), bits(input));
  // Whole numbers as Integers send the Variant flavour element by element:
  // the same error, status, values and cell types (a singular or failed
  // inversion keeps the identity's Integers where nothing reached them).
  VariantArray vi = as_variants(a, true), vinv_i(Bounds{1, n}, Bounds{1, n});
  Variant idi = 9;
  EXPECT_EQ(error_of([&] { Korvat::global().Invert(nn, vi, vinv_i, idi, vep); }), error);
  EXPECT_EQ(idi, idv);
  EXPECT_EQ(bits(vinv_i), bits(vinv));
  for (std::size_t i = 0; i < vinv.size(); ++i) EXPECT_EQ(vinv_i.data()[i].type(), vinv.data()[i].type()) << i;
  if (status >= 0) {
    EXPECT_EQ(idv, Variant(static_cast<short>(status)));
  }
  for (std::size_t i = 0; i < by_hand.size(); ++i) EXPECT_NEAR(inv.data()[i], by_hand[i], 1e-15);
  return {error, vinv};
}

TEST(GaussAndInvert, LargeMatricesInPanelsGiveTheElementOrderBitForBit) {
  // Orders across the panel limits (blocked from 96, panels of 128 steps).
  // Each takes a random matrix, one singular in its last panel, Wilkinson's
  // growth matrix (diagonal and last columns 1, -1 below the diagonal, the
  // last column doubling at every step) scaled so that its values leave the
  // blocked range after the first panel (the row order takes over) or
  // overflow at the last step, and for Invert one tiny pivot, alone in its
  // row and column, whose reciprocal overflows the back substitution of one
  // column of the inverse only.
  enum Kind { kRandom, kSingular, kGrow, kBurst, kTiny };
  std::mt19937 rng(96);
  for (const bool invert : {false, true})
    for (const int n : {1, 127, 128, 129, 300})
      for (const int ncol : {0, 1, 3}) {
        if ((ncol == 0) != invert) continue;
        const int cols = n + ncol;
        const auto u = [n](int i, int j) { return static_cast<std::size_t>((j - 1) * n + i - 1); };
        for (const Kind kind : {kRandom, kSingular, kGrow, kBurst, kTiny}) {
          if (kind != kRandom && n < 4) continue;
          Cells c = random_cells(rng, n * cols, 3);
          c.back() = 3;
          if (kind == kSingular)
            for (int i = 1; i <= n; ++i) c[u(i, n - 2)] = 2 * c[u(i, n - 3)];
          if (kind == kGrow || kind == kBurst)
            for (int j = 1; j <= cols; ++j)
              for (int i = 1; i <= n; ++i)
                c[u(i, j)] = (i == j || j >= n ? 1 : (i > j ? -1 : 0)) * (kind == kGrow ? 0x1p200 : std::ldexp(1.0, 1025 - n));
          if (kind == kTiny) {  // row 37, column n - 5: the inverse's column 37 reaches 1e309
            for (int j = 1; j <= n; ++j) c[u(37, j)] = c[u(j, n - 5)] = 0;
            c[u(37, n - 5)] = 1e-309;
          }
          if (!invert) {
            if (kind != kTiny) check_gauss(n, ncol, c);
            continue;
          }
          const int error = check_invert(n, c, kind == kTiny ? 0 : 1e-9, kind == kSingular ? 1 : (kind == kBurst || kind == kTiny ? -1 : 0)).first;
          EXPECT_EQ(error, kind == kBurst || kind == kTiny ? err::kOverflow : 0) << n << ' ' << kind;
        }
      }
}

TEST(Invert, HandWorkedInversesAndTheNonStrictThreshold) {
  check_invert(2, {4, 2, 7, 6}, 1e-13, 0, {0.6, -0.2, -0.7, 0.4});
  check_invert(2, {0, 1, 1, 0}, 1e-13, 0, {0, 1, 1, 0});  // needs the row exchange
  check_invert(3, {2, 0, 0, 0, 4, 0, 0, 0, 8}, 1e-13, 0, {0.5, 0, 0, 0, 0.25, 0, 0, 0, 0.125});
  check_invert(2, {0.5, 0, 0, 0.25}, 0.25, 1, {1, 0, 0, 1});  // a pivot equal to EP is singular
  check_invert(2, {0.5, 0, 0, 0.25}, 0.2499, 0, {2, 0, 0, 4});
  check_invert(2, {0, 0, 1, 2}, 0.1, 1, {1, 0, 0, 1});  // a zero column: singular before any update
  for (int n : {16, 17}) {  // the last pivot equal to EP, on the small and the large path
    Cells d(static_cast<std::size_t>(n * n), 0.0);
    for (int i = 0; i < n; ++i) d[static_cast<std::size_t>(i * (n + 1))] = i + 1 < n ? 2.0 : 0.25;
    check_invert(n, d, 0.25, 1, {1});  // the identity as it was
  }
  // Rows (1,2,0), (0,1,1), (1,2,0): row 2 has a zero below the first pivot and
  // row 3 below the second, so they are skipped; singular at the third pivot.
  // What no operation touched keeps the identity's 16-bit Integers.
  const VariantArray inv = check_invert(3, {1, 0, 1, 2, 1, 2, 0, 1, 0}, 1e-6, 1, {1, 0, -1, 0, 1, 0, 0, 0, 1}).second;
  for (std::size_t i = 0; i < 9; ++i) EXPECT_EQ(inv.data()[i].type(), i % 3 == 2 ? Variant::Type::Double : Variant::Type::Integer);
}

TEST(Invert, EverySizeOverflowsAndZeroPivotsAgreeOnEveryPath) {
  std::mt19937 rng(99);
  for (int n : {1, 2, 3, 4, 7, 10, 16, 17, 30}) {
    Cells c = random_cells(rng, n * n, 4), whole = c, zero(c.size(), 0.0), eliminate = c, back = c;
    check_invert(n, c, 1e-13);
    for (double& v : whole) v = std::round(v / 2);  // exact zeros below the pivot, ties
    check_invert(n, whole, 1e-13);
    zero[0] = 1;  // a negative threshold: a zero pivot divides by zero
    EXPECT_EQ(check_invert(n, zero, -1).first, n > 1 ? err::kDivisionByZero : 0);
    if (n < 2) continue;
    const auto u = [n](int i, int j) { return static_cast<std::size_t>((j - 1) * n + i - 1); };
    for (int i = 1; i <= n; ++i) eliminate[u(i, 1)] = back[u(i, 1)] = 0;
    // Rows 1 and 2 start (4, 1.5e308) and (4, -1.5e308): the elimination overflows.
    eliminate[u(1, 1)] = eliminate[u(2, 1)] = 4, eliminate[u(1, 2)] = 1.5e308, eliminate[u(2, 2)] = -1.5e308;
    EXPECT_EQ(check_invert(n, eliminate, 0).first, err::kOverflow);
    back[u(1, 1)] = 1e-300, back[u(1, 2)] = 1e300;  // the back substitution divides by 1e-300
    EXPECT_EQ(check_invert(n, back, 0).first, err::kOverflow);
    // Row n-1 and column 2 empty but for 1E-309 where they cross: only the
    // inverse's column n-1 overflows, after the columns before it are complete.
    Cells tiny = c;
    for (int j = 1; j <= n; ++j) tiny[u(n - 1, j)] = tiny[u(j, 2)] = 0;
    tiny[u(n - 1, 2)] = 1e-309;
    EXPECT_EQ(check_invert(n, tiny, 0).first, err::kOverflow);
  }
}

TEST(GaussAndInvert, FaultsDefaultsAndArgumentsReadWhereUsed) {
  Korvat k;
  Variant id = 5, n = 2, text = "tiny", none = 0, negative = -1;
  DoubleArray small = DoubleArray::from_rows({{2, 4}, {1, 3}}), offset(Bounds{2, 3}, Bounds{1, 3});
  EXPECT_EQ(error_of([&] { k.Gaussd(2, small, 1, id); }), err::kSubscript);  // no right-hand side column
  EXPECT_EQ(id, Variant(short{0}));
  EXPECT_EQ(bits(small), bits(Cells{1, 1, 2, 3}));  // the first row was normalised
  VariantArray vtext = VariantArray::from_rows({{1.0, "x"}, {2.0, 1.0}});
  EXPECT_EQ(error_of([&] { k.Gauss(1, vtext, 1, id); }), err::kTypeMismatch);
  EXPECT_EQ(error_of([&] { k.Gaussd(40000, small, 0, id); }), err::kOverflow);
  EXPECT_EQ(error_of([&] { k.Gaussd(2, offset, 1, id); }), err::kSubscript);
  DoubleArray tiny = DoubleArray::from_rows({{1e-6, 0}, {0, 1}}), inv = tiny;
  VariantArray vtiny = as_variants(tiny), vinv = vtiny;
  k.Invert(n, vtiny, vinv, id);  // an omitted EP is 1E-6, compared non-strictly
  EXPECT_EQ(id, Variant(short{1}));
  k.Invertd(n, tiny, inv, id);  // the double flavour's omitted EP is 0
  EXPECT_EQ(id, Variant(short{0}));
  EXPECT_DOUBLE_EQ(inv(1, 1), 1e6);
  // A threshold that is no number fails where the first pivot is compared
  // with it: the identity is written, the status not.
  id = 9, vinv(1, 1) = 5.0;
  EXPECT_EQ(error_of([&] { k.Invert(n, vtiny, vinv, id, text); }), err::kTypeMismatch);
  EXPECT_EQ(id, Variant(9));
  EXPECT_EQ(bits(vinv), bits(Cells{1, 0, 0, 1}));
  k.Invert(none, vtiny, vinv, id, text);  // n = 0: never compared, success
  // N is a cell of the inverse: the first store into it makes N 0, which
  // ends every later loop (row 2 keeps its values).
  VariantArray regular = VariantArray::from_rows({{2.0, 4.0}, {1.0, 3.0}});
  vinv(1, 1) = 2.0, vinv(2, 1) = 7.0, id = 9;
  k.Invert(vinv(1, 1), regular, vinv, id);
  EXPECT_EQ(id, Variant(short{0}));
  EXPECT_EQ(vinv(1, 1), Variant(short{0}));
  EXPECT_EQ(vinv(2, 1), Variant(7.0));
  EXPECT_EQ(id, Variant(short{0}));
  EXPECT_EQ(error_of([&] { k.Invert(negative, vtiny, vinv, id); }), err::kSubscript);
}

}  // namespace
}  // namespace kor
