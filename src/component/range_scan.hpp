// Range tests over runs of doubles, shared by the fast paths of the methods:
// a fast path runs where every value it reads lies within a limit that rules
// out overflow, and falls back to the checked loop otherwise.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kor::ranges {

// 1 when x is no finite number of magnitude at most limit (NaN included).
inline unsigned outside(double x, double limit) { return !(std::abs(x) <= limit); }

// A running test of values against a limit, for loops that test what they
// compute as they go.  On the bits: the magnitude of a double orders as its
// bits without the sign (NaN above infinity), so |x| > limit exactly when
// limit's bits minus those bits is negative; the differences are ORed
// together, which vectorises.
class Tally {
 public:
  explicit Tally(double limit) { std::memcpy(&limit_, &limit, sizeof limit_); }
  void operator()(double x) {
    std::int64_t b;
    std::memcpy(&b, &x, sizeof b);
    acc_ |= limit_ - (b & 0x7fffffffffffffff);
  }
  // Whether a value seen was outside(limit).
  bool any_outside() const { return acc_ < 0; }

 private:
  std::int64_t limit_, acc_ = 0;
};

// Whether any of x[0], x[Step], ... (count values) is outside(limit).
template <std::size_t Step = 1>
inline bool any_outside(const double* x, int count, double limit) {
  Tally tally(limit);
  for (int t = 0; t < count; ++t) tally(x[static_cast<std::size_t>(t) * Step]);
  return tally.any_outside();
}

}  // namespace kor::ranges
