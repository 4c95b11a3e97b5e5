// Checked double arithmetic.
//
// The automation runtime never lets an infinity or a NaN through: an
// operation whose result does not fit a double is overflow (error 6), every
// division by an exact zero (0/0 included) is error 11, and a
// power with a negative base and a fractional exponent (or a zero base and a
// negative exponent) is an invalid call (error 5).  Every method of both
// flavours computes through these helpers, so both raise the same errors.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>

#include "component/cpu.hpp"
#include "kor/error.hpp"

namespace kor::arith {

[[noreturn]] inline void raise(int number) { raise_error(number); }

inline double checked(double r) {
  if (!std::isfinite(r)) [[unlikely]] raise(err::kOverflow);
  return r;
}

inline double add(double a, double b) { return checked(a + b); }
inline double sub(double a, double b) { return checked(a - b); }
inline double mul(double a, double b) { return checked(a * b); }

inline double div(double a, double b) {
  if (b == 0.0) [[unlikely]] raise(err::kDivisionByZero);
  return checked(a / b);
}

namespace detail {

inline std::uint64_t bits_of(double x) {
  std::uint64_t u;
  std::memcpy(&u, &x, sizeof u);
  return u;
}

inline double double_of(std::uint64_t u) {
  double x;
  std::memcpy(&x, &u, sizeof x);
  return x;
}

[[gnu::cold, gnu::noinline]] inline double general_cube(double a) { return std::pow(a, 3.0); }

}  // namespace detail

#if defined(__GNUC__)
namespace detail {

typedef double v2d __attribute__((vector_size(16)));
typedef long long v2l __attribute__((vector_size(16)));

// p * q = hi + lo exactly, lane by lane: by a fused multiply-add (in code
// compiled with KOR_FUSED, run where cpu::has_fused_multiply_add()), or by
// Dekker's product (each factor split into halves of 26 bits, whose products
// are exact).  Valid while neither the factors nor the error term leave the
// normal range.
template <bool kFused>
inline void exact_product(v2d p, v2d q, v2d& hi, v2d& lo) {
  hi = p * q;
  if constexpr (kFused) {
    lo = v2d{__builtin_fma(p[0], q[0], -hi[0]), __builtin_fma(p[1], q[1], -hi[1])};
  } else {
    const v2d split = {134217729.0, 134217729.0};  // 2^27 + 1
    const v2d tp = split * p, tq = split * q;
    const v2d ph = tp - (tp - p), pl = p - ph;
    const v2d qh = tq - (tq - q), ql = q - qh;
    lo = ((ph * qh - hi) + ph * ql + pl * qh) + pl * ql;
  }
}

// The cubes of both lanes of x into r; a lane of the result is all ones
// where r holds the double std::pow(x, 3) returns, 0 where the general power
// must decide.
//
// x^3 = u + v + t*x exactly, so u + (v + t*x) is the correctly rounded cube
// unless the exact value lies near the midpoint between two doubles; the
// general power (within 0.54 units in the last place of the exact value)
// rounds to the same double everywhere else.  Near a midpoint, and where the
// error terms would leave the normal range, the general power decides.
template <bool kFused>
inline v2l cube_lanes(v2d x, v2d& r) {
  v2d s, t, u, v;
  exact_product<kFused>(x, x, s, t);
  exact_product<kFused>(s, x, u, v);
  const v2d c = v + t * x;
  r = u + c;
  const v2l magnitude = {0x7fffffffffffffffLL, 0x7fffffffffffffffLL};
  const v2d miss = reinterpret_cast<v2d>(reinterpret_cast<v2l>((u - r) + c) & magnitude);  // |x^3 - r|, very nearly
  const v2d m = reinterpret_cast<v2d>(reinterpret_cast<v2l>(x) & magnitude);
  // One unit in the last place of r; below a power of two the spacing of
  // the doubles is half of it.
  const v2l rb = reinterpret_cast<v2l>(r);
  const v2l exponent = {0x7ff0000000000000LL, 0x7ff0000000000000LL};
  const v2l mantissa = {0x000fffffffffffffLL, 0x000fffffffffffffLL};
  const v2d ulp = reinterpret_cast<v2d>((rb & exponent) - (0x34LL << 52));
  const v2l power_of_two = (rb & mantissa) == 0;
  const v2d share = power_of_two ? v2d{0.2, 0.2} : v2d{0.45, 0.45};
  const v2d lowest = {0x1p-300, 0x1p-300}, highest = {0x1p300, 0x1p300};
  return (m > lowest) & (m < highest) & (miss < share * ulp);
}

}  // namespace detail
#endif

// The cubes of a and b as std::pow(a, 3) and std::pow(b, 3) return them,
// without the general power's cost (both in one pass of vector operations).
template <bool kFused = false>
inline void cube_pair(double a, double b, double& ca, double& cb) {
#if defined(__GNUC__)
  detail::v2d r;
  const detail::v2l ok = detail::cube_lanes<kFused>(detail::v2d{a, b}, r);
  ca = ok[0] ? r[0] : detail::general_cube(a);
  cb = ok[1] ? r[1] : detail::general_cube(b);
#else
  ca = detail::general_cube(a);
  cb = detail::general_cube(b);
#endif
}

// The cube of a as std::pow(a, 3) returns it.
template <bool kFused = false>
inline double cube(double a) {
#if defined(__GNUC__)
  detail::v2d r;
  const detail::v2l ok = detail::cube_lanes<kFused>(detail::v2d{a, a}, r);
  return ok[0] ? r[0] : detail::general_cube(a);
#else
  return detail::general_cube(a);
#endif
}

namespace detail {
// The cube where a power is written out: a call, so that loops that may
// raise to any power stay small.
[[gnu::noinline]] inline double cube_call(double a) { return cube(a); }
}  // namespace detail

inline double pow(double a, double b) {
  if (a < 0.0 && b != std::trunc(b)) [[unlikely]] raise(err::kInvalidCall);
  if (a == 0.0 && b < 0.0) [[unlikely]] raise(err::kInvalidCall);
  // A square, the commonest power in the texts, is the product: the
  // correctly rounded square, without the general power's cost.
  if (b == 2.0) return checked(a * a);
  if (b == 3.0) return checked(detail::cube_call(a));
  return checked(std::pow(a, b));
}

// Arithmetic written once for a fast path and its checked twin: Checked
// raises as the runtime does, Unchecked computes plain doubles (a caller
// that uses it tests the results itself).  cube() is the power's a^3.
struct Checked {
  static double add(double a, double b) { return arith::add(a, b); }
  static double sub(double a, double b) { return arith::sub(a, b); }
  static double mul(double a, double b) { return arith::mul(a, b); }
  static double div(double a, double b) { return arith::div(a, b); }
  static double cube(double a) { return checked(arith::cube(a)); }
  static void cubes(double a, double b, double& ca, double& cb) {
    ca = cube(a);
    cb = cube(b);
  }
};
template <bool kFused = false>
struct Unchecked {
  static double add(double a, double b) { return a + b; }
  static double sub(double a, double b) { return a - b; }
  static double mul(double a, double b) { return a * b; }
  static double div(double a, double b) { return a / b; }
  static double cube(double a) { return arith::cube<kFused>(a); }
  static void cubes(double a, double b, double& ca, double& cb) { cube_pair<kFused>(a, b, ca, cb); }
};

inline double exp(double x) { return checked(std::exp(x)); }

// Square root and logarithm of the runtime: a negative (or, for Log, a
// non-positive) argument is an invalid call.
inline double sqrt(double x) {
  if (x < 0.0) [[unlikely]] raise(err::kInvalidCall);
  return std::sqrt(x);
}
inline double log(double x) {
  if (!(x > 0.0)) [[unlikely]] raise(err::kInvalidCall);
  return std::log(x);
}

}  // namespace kor::arith
