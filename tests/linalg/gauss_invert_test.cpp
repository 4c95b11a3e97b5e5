// Gaussian elimination and inversion: hand-worked eliminations, thresholds,
// tie rules, faults, and the fast double path against the element path.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "kor/kor.hpp"
#include "support.hpp"

namespace kor {
namespace {

using testing::error_of;

template <class A>
std::vector<double> cells(const A& a) {
  std::vector<double> v;
  for (std::int32_t j = a.lbound(2); j <= a.ubound(2); ++j)
    for (std::int32_t i = a.lbound(1); i <= a.ubound(1); ++i) v.push_back(Variant(a(i, j)).to_double());
  return v;
}

VariantArray as_variants(const DoubleArray& d) {
  VariantArray v(d.bounds(1), d.bounds(2));
  for (std::int32_t j = d.lbound(2); j <= d.ubound(2); ++j)
    for (std::int32_t i = d.lbound(1); i <= d.ubound(1); ++i) v(i, j) = Variant(d(i, j));
  return v;
}

TEST(Gauss, HandWorkedEliminationLeavesTheReducedMatrixInBothFlavours) {
  // 2x + y = 5, x + 3y = 10: row 1 / 2 = (1, .5, 2.5); row 2 - row 1 = (0, 2.5, 7.5);
  // row 2 / 2.5 = (0, 1, 3); back substitution a(1,3) = 2.5 - .5*3 = 1.
  const DoubleArray input = DoubleArray::from_rows({{2, 1, 5}, {1, 3, 10}});
  const std::vector<double> expected = {1, 0, 0.5, 1, 1, 3};  // column-major
  DoubleArray d = input;
  VariantArray v = as_variants(input);
  Variant idd = 7, idv = 7;
  Korvat k;
  k.Gaussd(2, d, 1, idd);
  k.Gauss(2, v, 1, idv);
  EXPECT_EQ(cells(d), expected);
  EXPECT_EQ(cells(v), expected);
  EXPECT_EQ(idd, Variant(short{0}));
  EXPECT_EQ(idv, Variant(short{0}));
  EXPECT_EQ(v(1, 3).type(), Variant::Type::Double);
}

TEST(Gauss, SolvesSeveralRightHandSidesWithRowExchanges) {
  // A = [[0,2,1],[1,1,1],[2,1,3]] with solutions (1,2,3) and (-1,0,4).
  DoubleArray a = DoubleArray::from_rows({{0, 2, 1, 7, 4}, {1, 1, 1, 6, 3}, {2, 1, 3, 13, 10}});
  Variant id;
  Korvat::global().Gaussd(3, a, 2, id);
  EXPECT_EQ(id, Variant(short{0}));
  const double x1[] = {1, 2, 3}, x2[] = {-1, 0, 4};
  for (int i = 1; i <= 3; ++i) {
    EXPECT_NEAR(a(i, 4), x1[i - 1], 1e-14);
    EXPECT_NEAR(a(i, 5), x2[i - 1], 1e-14);
  }
}

TEST(Gauss, ThresholdTieRuleAndDegenerateSizes) {
  Korvat k;
  Variant id;
  // The largest candidate exactly 1E-6 is accepted; 9.99E-7 is singular.
  DoubleArray at = DoubleArray::from_rows({{1e-6, 1e-6}});
  k.Gaussd(1, at, 1, id);
  EXPECT_EQ(id, Variant(short{0}));
  EXPECT_EQ(at(1, 2), 1.0);
  DoubleArray below = DoubleArray::from_rows({{9.99e-7, 1}});
  k.Gaussd(1, below, 1, id);
  EXPECT_EQ(id, Variant(short{1}));
  EXPECT_EQ(below(1, 1), 9.99e-7);  // untouched
  // Equal candidates: the upper row stays the pivot row.
  DoubleArray tie = DoubleArray::from_rows({{1, 1, 2}, {-1, 1, 0}});
  k.Gaussd(2, tie, 1, id);
  EXPECT_EQ(tie(1, 2), 1.0);  // row 1 was not exchanged: (1, 1, 2) / 1
  EXPECT_EQ(tie(1, 3), 1.0);
  EXPECT_EQ(tie(2, 3), 1.0);
  // A column of zeros at step 2 is singular, the matrix as far as transformed.
  DoubleArray zero = DoubleArray::from_rows({{2, 4, 1}, {1, 2, 1}});
  k.Gaussd(2, zero, 1, id);
  EXPECT_EQ(id, Variant(short{1}));
  EXPECT_EQ(cells(zero), (std::vector<double>{1, 0, 2, 0, 0.5, 0.5}));
  // n = 0 touches nothing; NCOL = 0 only triangularises.
  DoubleArray none = DoubleArray::from_rows({{5}});
  id = 3;
  k.Gaussd(0, none, 1, id);
  EXPECT_EQ(id, Variant(short{0}));
  EXPECT_EQ(none(1, 1), 5.0);
  DoubleArray tri = DoubleArray::from_rows({{2, 4}, {1, 3}});
  k.Gaussd(2, tri, 0, id);
  EXPECT_EQ(cells(tri), (std::vector<double>{1, 0, 2, 1}));
}

TEST(Gauss, FaultsReachTheCallerWithWhatWasWritten) {
  Korvat k;
  Variant id = 5;
  // No column for the right-hand side: error 9 after the first row was normalised.
  DoubleArray small = DoubleArray::from_rows({{2, 4}, {1, 3}});
  EXPECT_EQ(error_of([&] { k.Gaussd(2, small, 1, id); }), err::kSubscript);
  EXPECT_EQ(id, Variant(short{0}));
  EXPECT_EQ(small(1, 1), 1.0);
  EXPECT_EQ(small(1, 2), 2.0);
  VariantArray text = VariantArray::from_rows({{1.0, "x"}, {2.0, 1.0}});
  EXPECT_EQ(error_of([&] { k.Gauss(1, text, 1, id); }), err::kTypeMismatch);
  DoubleArray big = DoubleArray::from_rows({{1, 1e308}, {1, -1e308}});
  EXPECT_EQ(error_of([&] { k.Gaussd(2, big, 0, id); }), err::kOverflow);
  EXPECT_EQ(error_of([&] { k.Gaussd(40000, big, 0, id); }), err::kOverflow);
  DoubleArray offset(Bounds{2, 3}, Bounds{1, 3});
  EXPECT_EQ(error_of([&] { k.Gaussd(2, offset, 1, id); }), err::kSubscript);
}

TEST(Gauss, FastDoublePathMatchesTheElementPathBitForBit) {
  std::mt19937 rng(3);
  std::uniform_real_distribution<double> u(-10, 10);
  for (int n : {1, 2, 3, 7, 20, 45}) {
    DoubleArray d(Bounds{1, n}, Bounds{1, n + 2});
    for (double& x : std::span(d.data(), d.size())) x = u(rng);
    d(n, n + 2) = 3;
    VariantArray all_doubles = as_variants(d);
    // One Integer cell sends the variant flavour down the element-by-element path.
    VariantArray mixed = as_variants(d);
    mixed(n, n + 2) = Variant(3);
    Variant idd, idv, idm;
    Korvat k;
    k.Gaussd(n, d, 2, idd);
    k.Gauss(n, all_doubles, 2, idv);
    k.Gauss(n, mixed, 2, idm);
    EXPECT_EQ(idd, idm);
    EXPECT_EQ(idv, idm);
    const auto a = cells(d), b = cells(all_doubles), c = cells(mixed);
    ASSERT_EQ(std::memcmp(a.data(), c.data(), a.size() * sizeof(double)), 0) << n;
    ASSERT_EQ(std::memcmp(b.data(), c.data(), b.size() * sizeof(double)), 0) << n;
  }
}

TEST(Gauss, AnOverflowLeavesWhatTheElementOrderLeavesOnEveryPath) {
  // Row 3's update overflows in its third column: the columns before it are
  // updated, the ones after it keep their values.
  for (int n : {3, 20}) {
    DoubleArray d(Bounds{1, n}, Bounds{1, n + 2});
    for (int i = 1; i <= n; ++i)
      for (int j = 1; j <= n + 2; ++j) d(i, j) = (i == j ? 4.0 : 0.5) + 0.01 * i * j;
    d(1, 3) = 1.5e308;
    d(3, 3) = -1.5e308;
    d(3, 1) = 3.5;
    VariantArray mixed = as_variants(d);
    mixed(n, n + 2) = Variant(static_cast<int>(d(n, n + 2)));
    d(n, n + 2) = std::trunc(d(n, n + 2));
    VariantArray doubles = as_variants(d);
    Variant id;
    Korvat k;
    EXPECT_EQ(error_of([&] { k.Gaussd(n, d, 2, id); }), err::kOverflow);
    EXPECT_EQ(error_of([&] { k.Gauss(n, doubles, 2, id); }), err::kOverflow);
    EXPECT_EQ(error_of([&] { k.Gauss(n, mixed, 2, id); }), err::kOverflow);
    EXPECT_EQ(cells(d), cells(mixed)) << n;
    EXPECT_EQ(cells(doubles), cells(mixed)) << n;
  }
}

TEST(Invert, KnownInversesAndTheInputKeptIntact) {
  Korvat k;
  struct Case {
    DoubleArray a;
    std::vector<double> inverse;  // column-major
  } cases[] = {
      {DoubleArray::from_rows({{4, 7}, {2, 6}}), {0.6, -0.2, -0.7, 0.4}},
      {DoubleArray::from_rows({{0, 1}, {1, 0}}), {0, 1, 1, 0}},  // needs the row exchange
      {DoubleArray::from_rows({{2, 0, 0}, {0, 4, 0}, {0, 0, 8}}), {0.5, 0, 0, 0, 0.25, 0, 0, 0, 0.125}},
      {DoubleArray::from_rows({{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}), {1, 0, 0, 0, 1, 0, 0, 0, 1}},
  };
  for (auto& c : cases) {
    const auto before = cells(c.a);
    Variant n = c.a.ubound(1);
    DoubleArray inv(c.a.bounds(1), c.a.bounds(2));
    VariantArray va = as_variants(c.a), vinv(c.a.bounds(1), c.a.bounds(2));
    Variant idd, idv;
    double ep = 1e-13;
    k.Invertd(n, c.a, inv, idd, ep);
    k.Invert(n, va, vinv, idv);
    EXPECT_EQ(idd, Variant(short{0}));
    EXPECT_EQ(idv, Variant(short{0}));
    const auto got = cells(inv);
    for (std::size_t i = 0; i < got.size(); ++i) EXPECT_NEAR(got[i], c.inverse[i], 1e-15);
    EXPECT_EQ(cells(vinv), got);
    EXPECT_EQ(cells(c.a), before);
  }
}

TEST(Invert, ThresholdIsNonStrictAndTheStatusIsWrittenOnlyAtTheExits) {
  Korvat k;
  Variant n = 2;
  DoubleArray inv({1, 2}, {1, 2});
  Variant id = 9;
  // A pivot exactly equal to EP is singular.
  DoubleArray a = DoubleArray::from_rows({{0.5, 0}, {0, 0.25}});
  double ep = 0.25;
  k.Invertd(n, a, inv, id, ep);
  EXPECT_EQ(id, Variant(short{1}));
  ep = 0.2499;
  k.Invertd(n, a, inv, id, ep);
  EXPECT_EQ(id, Variant(short{0}));
  // The variant flavour defaults to 1E-6; the double flavour's omitted EP is 0.
  DoubleArray tiny = DoubleArray::from_rows({{1e-9, 0}, {0, 1}});
  VariantArray vtiny = as_variants(tiny), vinv({1, 2}, {1, 2});
  k.Invert(n, vtiny, vinv, id);
  EXPECT_EQ(id, Variant(short{1}));
  k.Invertd(n, tiny, inv, id);
  EXPECT_EQ(id, Variant(short{0}));
  EXPECT_DOUBLE_EQ(inv(1, 1), 1e9);
  // A threshold that is no number fails where the first pivot is compared
  // with it: the identity has been written, the status not.
  Variant text = "tiny";
  id = 9;
  vinv(1, 2) = 5.0;
  EXPECT_EQ(error_of([&] { k.Invert(n, vtiny, vinv, id, text); }), err::kTypeMismatch);
  EXPECT_EQ(id, Variant(9));
  EXPECT_EQ(vinv(1, 2).to_double(), 0.0);
  EXPECT_EQ(vinv(2, 2).to_double(), 1.0);
  Variant none = 0;
  k.Invert(none, vtiny, vinv, id, text);  // never compared: no error
  EXPECT_EQ(id, Variant(short{0}));
  // n = 0 computes nothing and reports success.
  Variant zero = 0;
  id = 9;
  k.Invertd(zero, tiny, inv, id);
  EXPECT_EQ(id, Variant(short{0}));
  // A zero column: no exchange, singular, the identity partly transformed.
  DoubleArray col = DoubleArray::from_rows({{0, 1}, {0, 2}});
  k.Invertd(n, col, inv, id, ep);
  EXPECT_EQ(id, Variant(short{1}));
  EXPECT_EQ(cells(inv), (std::vector<double>{1, 0, 0, 1}));
}

TEST(Invert, FastDoublePathMatchesTheElementPathBitForBit) {
  std::mt19937 rng(11);
  std::uniform_real_distribution<double> u(-5, 5);
  for (int n : {1, 3, 8, 31}) {
    DoubleArray a(Bounds{1, n}, Bounds{1, n});
    for (double& x : std::span(a.data(), a.size())) x = u(rng);
    a(2 <= n ? 2 : 1, 1) = 0;  // a zero below the diagonal skips its row
    VariantArray va = as_variants(a), vinv(Bounds{1, n}, Bounds{1, n});
    DoubleArray inv(Bounds{1, n}, Bounds{1, n});
    Variant nn = n, idd, idv;
    double ep = 1e-6;
    Variant vep = 1e-6;
    Korvat k;
    k.Invertd(nn, a, inv, idd, ep);
    k.Invert(nn, va, vinv, idv, vep);
    EXPECT_EQ(idd, idv);
    const auto x = cells(inv), y = cells(vinv);
    ASSERT_EQ(std::memcmp(x.data(), y.data(), x.size() * sizeof(double)), 0) << n;
  }
}

}  // namespace
}  // namespace kor
