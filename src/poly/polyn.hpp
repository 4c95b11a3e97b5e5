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

template <class N, class X, class Coefficients>
double polyn(const N& n, const X& x, const Coefficients& a) {
  const double nd = number_of(n);
  if (nd == 0) return 0.0;  // even though the monic polynomial of degree 0 would be 1
  const double m = std::abs(nd);
  const double xv = number_of(x);
  double p;
  double last;
  double i;
  if (nd > 0) {
    p = 1.0;
    i = 1;
    last = m;
  } else {
    p = number_of(a(1));
    i = 2;
    last = m + 1;
  }
  // The counter runs through whole steps up to the bound; a fractional
  // degree ends at the last whole value not above it.
  for (; i <= last; i += 1) p = arith::add(arith::mul(p, xv), number_of(a(subscript(i))));
  return p;
}

}  // namespace kor::poly
