// Horner evaluation of a polynomial.
//
//   polyn(n, x, a)
//
// The sign of n selects the layout of the coefficients a(1), a(2), ...
// (highest power first): n > 0 is the monic polynomial of degree n whose
// leading 1 is not stored, n < 0 the general polynomial of degree |n| with
// a(1) its leading coefficient, and n = 0 always gives 0.
#pragma once

#include <cmath>

#include "component/arith.hpp"
#include "component/elements.hpp"

namespace kor::poly {

// Result is the flavour's value type (kor::Variant or double).  The general
// form starts from a copy of a(1): when the loop makes no pass (|n| < 1), that
// copy is the result as it is, with its own type.  X is read at each step of
// the loop, so a degree that makes no step never reads it.
template <class Result, class N, class X, class Coefficients>
Result polyn(const N& n, const X& x, const Coefficients& a) {
  const double nd = number_of(n);
  if (nd == 0) return Result(0.0);  // even though the monic polynomial of degree 0 would be 1
  const double m = std::abs(nd);
  double p;
  double last;
  double i;
  if (nd > 0) {
    p = 1.0;
    i = 1;
    last = m;
  } else {
    i = 2;
    last = m + 1;
    if (!(i <= last)) return Result(cell_value(a(1)));
    p = number_of(a(1));
  }
  // The counter runs through whole steps up to the bound; a fractional
  // degree ends at the last whole value not above it.  Subscripts are 16-bit.
  for (; i <= last; i += 1) {
    const double px = arith::mul(p, number_of(x));
    p = arith::add(px, number_of(a(count16(i))));
  }
  return Result(p);
}

}  // namespace kor::poly
