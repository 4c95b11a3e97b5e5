#include <gtest/gtest.h>

#include "kor/kor.hpp"
#include "support.hpp"

namespace kor {
namespace {

using testing::error_of;

TEST(SafeArray, AnyBoundsAndColumnMajorStorage) {
  DoubleArray a({-1, 1}, {3, 4});  // rows -1..1, columns 3..4
  double v = 0;
  for (int j = 3; j <= 4; ++j)
    for (int i = -1; i <= 1; ++i) a(i, j) = ++v;
  // Column-major: the first dimension varies fastest in memory.
  const double* d = a.data();
  EXPECT_EQ((std::vector<double>(d, d + 6)), (std::vector<double>{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(a.lbound(1), -1);
  EXPECT_EQ(a.ubound(1), 1);
  EXPECT_EQ(a.lbound(2), 3);
  EXPECT_EQ(a.ubound(2), 4);
  EXPECT_EQ(a.column_stride(), 3u);
  EXPECT_EQ(a.at_unchecked(0, 4), 5.0);
}

TEST(SafeArray, EveryOutOfRangeAccessIsErrorNine) {
  DoubleArray one({2, 4});
  DoubleArray two({1, 2}, {1, 2});
  DoubleArray never;
  const std::function<void()> faults[] = {
      [&] { one(1) = 0; },        [&] { one(5) = 0; },     [&] { one(2, 1) = 0; },
      [&] { two(0, 1) = 0; },     [&] { two(1, 3) = 0; },  [&] { two(1) = 0; },
      [&] { never(1) = 0; },      [&] { (void)never.ubound(1); },
      [&] { (void)one.ubound(2); },
  };
  for (std::size_t k = 0; k < std::size(faults); ++k) {
    SCOPED_TRACE(k);
    EXPECT_EQ(error_of(faults[k]), err::kSubscript);
  }
  EXPECT_TRUE(one.contains(4));
  EXPECT_FALSE(one.contains(5));
  EXPECT_FALSE(never.allocated());
}

TEST(SafeArray, BuildsFromValuesAndRows) {
  auto v = VariantArray::from({1.5, "x", true}, 0);
  EXPECT_EQ(v.lbound(), 0);
  EXPECT_EQ(v(1), Variant("x"));
  auto m = DoubleArray::from_rows({{1, 2, 3}, {4, 5, 6}});
  EXPECT_EQ(m.ubound(1), 2);
  EXPECT_EQ(m.ubound(2), 3);
  EXPECT_EQ(m(2, 3), 6.0);
  EXPECT_EQ(m(1, 2), 2.0);
}

}  // namespace
}  // namespace kor
