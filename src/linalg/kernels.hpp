// Vectorised kernels of the elimination fast paths.  They perform exactly the
// scalar operations (one multiplication and one subtraction per element, no
// fused multiply-add), only several elements at a time.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "component/arith.hpp"
#include "component/range_scan.hpp"

namespace kor::linalg::detail {

using ranges::any_outside;
using ranges::outside;

// Whether any value of a block is outside(limit): cols runs of rows values
// (Step apart), the runs ld apart; one pass when the runs follow each other.
template <std::size_t Step = 1>
inline bool any_outside(const double* a, int rows, int cols, std::size_t ld, double limit) {
  if (ld == static_cast<std::size_t>(rows) * Step) return any_outside<Step>(a, rows * cols, limit);
  bool beyond = false;
  for (int j = 0; j < cols; ++j) beyond |= any_outside<Step>(a + static_cast<std::size_t>(j) * ld, rows, limit);
  return beyond;
}

// The partial pivot of a column: among rows first..last, the first of the
// largest magnitude (a strict comparison, so ties keep the upper row).  p is
// 0 and big 0 when every candidate is zero; NaN is never chosen.
//
// The test is a branch, not a conditional move: a candidate seldom replaces
// the pivot found so far, so the processor predicts the branch and runs on,
// where a conditional move chains every comparison to the one before (at
// n = 10 that chain was a sixth of an elimination, on random matrices as on
// diagonally dominant ones).  The empty asm keeps the compiler from turning
// the branch into that move.
struct Pivot {
  double big;
  int p;
};
template <class Value>
inline Pivot find_pivot(int first, int last, Value value) {
  Pivot r{0, 0};
  for (int i = first; i <= last; ++i) {
    const double v = std::abs(value(i));
    if (v > r.big) {
#if defined(__GNUC__)
      __asm__ volatile("");
#endif
      r.big = v;
      r.p = i;
    }
  }
  return r;
}

// dst[t] = dst[t] - src[t] * s for t in [0, count).  Returns whether every
// result is a number of magnitude at most limit.
inline bool sub_scaled(double* dst, const double* src, double s, int count, double limit) {
#if defined(__GNUC__)
  using arith::detail::v2d;
  using arith::detail::v2l;
  const v2l magnitude = {0x7FFFFFFFFFFFFFFFLL, 0x7FFFFFFFFFFFFFFFLL};
  const v2d lim = {limit, limit};
  v2l ok0 = {-1, -1}, ok1 = {-1, -1};
  int t = 0;
  for (; t + 4 <= count; t += 4) {
    v2d d0, d1, x0, x1;
    std::memcpy(&d0, dst + t, 16);
    std::memcpy(&d1, dst + t + 2, 16);
    std::memcpy(&x0, src + t, 16);
    std::memcpy(&x1, src + t + 2, 16);
    const v2d v0 = d0 - x0 * s;
    const v2d v1 = d1 - x1 * s;
    std::memcpy(dst + t, &v0, 16);
    std::memcpy(dst + t + 2, &v1, 16);
    ok0 &= std::bit_cast<v2d>(std::bit_cast<v2l>(v0) & magnitude) <= lim;
    ok1 &= std::bit_cast<v2d>(std::bit_cast<v2l>(v1) & magnitude) <= lim;
  }
  const v2l ok = ok0 & ok1;
  bool all = (ok[0] & ok[1]) != 0;
#else
  bool all = true;
  int t = 0;
#endif
  for (; t < count; ++t) {
    const double v = dst[t] - src[t] * s;
    dst[t] = v;
    all &= std::abs(v) <= limit;
  }
  return all;
}

// The same for values that sit every second double, as the values of
// Variants do (each Variant is a type word followed by its double): dst[2t]
// is element t.  Only the doubles are written; each 16-byte load stays
// inside one Variant.
// dst[t * Step] -= src[t] * s for t < count, any Step; whether every result
// is within limit.
template <std::size_t Step>
inline bool sub_scaled_strided(double* dst, const double* src, double s, int count, double limit) {
  bool all = true;
  for (int t = 0; t < count; ++t) {
    const double v = dst[static_cast<std::size_t>(t) * Step] - src[t] * s;
    dst[static_cast<std::size_t>(t) * Step] = v;
    all &= std::abs(v) <= limit;
  }
  return all;
}

inline bool sub_scaled_step2(double* dst, const double* src, double s, int count, double limit) {
  bool all = true;
  int t = 0;
#if defined(__GNUC__)
  using arith::detail::v2d;
  using arith::detail::v2l;
  const v2l magnitude = {0x7FFFFFFFFFFFFFFFLL, 0x7FFFFFFFFFFFFFFFLL};
  const v2d lim = {limit, limit};
  v2l ok = {-1, -1};
  for (; t + 2 <= count; t += 2) {
    v2d a, b, x;
    std::memcpy(&a, dst + 2 * t - 1, 16);  // (type word, value) of element t
    std::memcpy(&b, dst + 2 * t + 1, 16);  // (type word, value) of element t + 1
    std::memcpy(&x, src + t, 16);
#if defined(__clang__)
    const v2d d = __builtin_shufflevector(a, b, 1, 3);
#else
    const v2d d = __builtin_shuffle(a, b, v2l{1, 3});
#endif
    const v2d v = d - x * s;
    dst[2 * t] = v[0];
    dst[2 * t + 2] = v[1];
    ok &= std::bit_cast<v2d>(std::bit_cast<v2l>(v) & magnitude) <= lim;
  }
  all = (ok[0] & ok[1]) != 0;
#endif
  for (; t < count; ++t) {
    const double v = dst[2 * t] - src[t] * s;
    dst[2 * t] = v;
    all &= std::abs(v) <= limit;
  }
  return all;
}

// dst[t] -= src[t] * s for t < count, without a bound: the update of a
// small system's column.  Two elements at a time (each still one product
// and one difference), the odd one first, so that a short column pays no
// remainder loop.
inline void sub_scaled_pairs(double* dst, const double* src, double s, int count) {
  int t = count & 1;
  if (t) dst[0] = dst[0] - src[0] * s;
#if defined(__GNUC__)
  using arith::detail::v2d;
  for (; t < count; t += 2) {
    v2d a, x;
    std::memcpy(&a, dst + t, 16);
    std::memcpy(&x, src + t, 16);
    a = a - x * s;
    std::memcpy(dst + t, &a, 16);
  }
#else
  for (; t < count; ++t) dst[t] = dst[t] - src[t] * s;
#endif
}

}  // namespace kor::linalg::detail
