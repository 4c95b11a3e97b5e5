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

inline double pow(double a, double b) {
  if (a < 0.0 && b != std::trunc(b)) [[unlikely]] raise(err::kInvalidCall);
  if (a == 0.0 && b < 0.0) [[unlikely]] raise(err::kInvalidCall);
  // A square, the commonest power in the texts, is the product: the
  // correctly rounded square, without the general power's cost.
  if (b == 2.0) return checked(a * a);
  return checked(std::pow(a, b));
}

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
