// x^0.2, the integrator's step factor, without the general power's cost.
//
// Every step of the Runge-Kutta-Merson integrator raises its error ratio to
// the power 0.2, and the next step cannot begin before that power is known:
// the general power's latency is a third of a step on a small system.
// pow_fifth(x) gives the double std::pow(x, 0.2) returns, in half its time.
//
// The exponent 0.2 is the double 1/5 + 2^-54/5, so x^0.2 is the fifth root
// of x times x^(2^-54/5) = 1 + ln(x) 2^-54/5 (to far below a unit in the last
// place).  With x = 2^(5q + r) m, m in [1, 2) and c the centre of m's
// interval among 128:
//
//   x^0.2 = 2^q (2^r c)^(1/5) (1 + z)^(1/5) (1 + ln(x) 2^-54/5),  z = (m - c)/c,
//
// where (2^r c)^(1/5) comes from a table (as a sum of two doubles) and
// (1 + z)^(1/5) from its Taylor polynomial (|z| <= 2^-8).  The sum is within
// 2^-60 of x^0.2 relatively, below 0.01 units in the last place.  The
// rounded sum is therefore the correctly rounded power unless the exact
// value lies within 0.03 units of a midpoint between two doubles; a power
// within 0.52 units of the exact value can only round to the same double.
// Near a midpoint, and for x outside the positive normal doubles, the
// general power decides.
//
// glibc's power is that close on 64-bit x86 and ARM since version 2.28: its
// exp rounds within 0.509 units and its log adds 1.3 * 2^-15 |0.2 ln x|
// units, below 0.006 here.  Elsewhere the general power is all there is:
// 32-bit x86's glibc power strays to 0.53 units, and the Windows runtimes
// state no bound.
#pragma once

#include <cmath>
#include <cstdint>

#include "component/arith.hpp"

#if defined(__GNUC__) && defined(__GLIBC__) && (defined(__x86_64__) || defined(__aarch64__)) && \
    (__GLIBC__ > 2 || (__GLIBC__ == 2 && __GLIBC_MINOR__ >= 28))
#define KOR_POW_FIFTH_TABLE 1
#endif

namespace kor::arith {

#if defined(KOR_POW_FIFTH_TABLE)
namespace detail {

// The fifth roots of 2^r c for r = 0..4 and the 128 centres c of the
// mantissa's intervals, each as hi + lo; with 2^-52/c (the reduction works
// on the mantissa's bits as an integer) and ln c.
struct FifthRoots {
  double hi[5][128], lo[5][128], inverse[128], log[128];

  FifthRoots() {
    for (int i = 0; i < 128; ++i) {
      const double centre = 1 + (i + 0.5) / 128;
      inverse[i] = 0x1p-52 / centre;
      log[i] = std::log(centre);
      for (int r = 0; r < 5; ++r) root(std::ldexp(centre, r), hi[r][i], lo[r][i]);
    }
  }

  // a^(1/5) to about 2^-100: one Newton step t - (t^5 - a)/(5 t^4) from
  // the general power's t, with t^5 computed in exact products.
  static void root(double a, double& hi, double& lo) {
    const double t = std::pow(a, 0.2);
    double t2, t2e, t4, t4e, t5, t5e;
    product(t, t, t2, t2e);
    product(t2, t2, t4, t4e);
    t4e += 2 * t2 * t2e;
    product(t4, t, t5, t5e);
    t5e += t4e * t;
    const double correction = ((a - t5) - t5e) / (5 * t4);  // a - t5 is exact: t5 is a to 2^-50
    hi = t + correction;
    lo = correction - (hi - t);
  }

  static void product(double p, double q, double& hi, double& lo) {
    v2d h, l;
    exact_product<false>(v2d{p, p}, v2d{q, q}, h, l);
    hi = h[0];
    lo = l[0];
  }
};

inline const FifthRoots& fifth_roots() {
  static const FifthRoots table;
  return table;
}

}  // namespace detail
#endif

inline double pow_fifth(double x) {
#if defined(KOR_POW_FIFTH_TABLE)
  using detail::bits_of;
  using detail::double_of;
  const std::uint64_t u = bits_of(x);
  // x positive and normal: the exponent field within 1..2046, the sign clear.
  if (u - 0x0010000000000000u < 0x7fe0000000000000u) [[likely]] {
    const detail::FifthRoots& t = detail::fifth_roots();
    const int e = static_cast<int>(u >> 52) - 1023;
    const int q = (e + 1025) / 5 - 205;  // floor(e / 5): e + 1025 > 0
    const int r = e - 5 * q;
    const int i = static_cast<int>((u >> 45) & 127);
    // m - c in units of 2^-52: the mantissa's bits below the interval's.
    const auto below = static_cast<std::int64_t>(u & 0x00001fffffffffffu) - 0x0000100000000000;
    const double z = static_cast<double>(below) * t.inverse[i];
    // (1 + z)^(1/5) - 1 to degree 6 (its terms fall by 2^-8 each), in
    // independent parts.
    const double z2 = z * z;
    const double p = z * (0.2 - 0.08 * z) + z2 * z * ((0.048 - 0.0336 * z) + z2 * (0.025536 - 0.0204288 * z));
    // hi (1 + p) (1 + tilt) + lo, with the parts that do not wait for p
    // ready when it is.
    const double tilt = (e * 0.6931471805599453 + t.log[i]) * (0x1p-54 / 5);
    const double hi = t.hi[r][i];
    const double lo = (t.lo[r][i] + hi * tilt) + (hi * (1 + tilt)) * p;
    const double root = hi + lo;
    const double miss = lo - (root - hi);  // exact: |lo| < |hi|
    // One unit in the last place of root; below a power of two the spacing
    // of the doubles is half of it.
    const std::uint64_t rb = bits_of(root);
    const double ulp = double_of((rb & 0x7ff0000000000000u) - (std::uint64_t{52} << 52));
    const double share = (rb & 0x000fffffffffffffu) == 0 ? 0.2 : 0.47;
    if (std::abs(miss) < share * ulp) [[likely]]
      return root * double_of(static_cast<std::uint64_t>(q + 1023) << 52);
  }
#endif
  return pow(x, 0.2);
}

}  // namespace kor::arith
