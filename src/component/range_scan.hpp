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

// Whether any of x[0], x[Step], ... (count values) is outside(limit).  On the
// bits: the magnitude of a double orders as its bits without the sign (NaN
// above infinity), so |x| > limit exactly when limit's bits minus those bits
// is negative; the differences are ORed together, which vectorises.
template <std::size_t Step = 1>
inline bool any_outside(const double* x, int count, double limit) {
  std::int64_t l, acc = 0;
  std::memcpy(&l, &limit, sizeof l);
  for (int t = 0; t < count; ++t) {
    std::int64_t b;
    std::memcpy(&b, x + static_cast<std::size_t>(t) * Step, sizeof b);
    acc |= l - (b & 0x7fffffffffffffff);
  }
  return acc < 0;
}

}  // namespace kor::ranges
