// Lagrange interpolation on non-equidistant points.
//
//   flagr(n, x, y, xi, m)
//
// interpolates the table (x(i), y(i)), i = 1..n, at xi with the Lagrange
// polynomial through m neighbouring points.  The table is first sorted by
// abscissa in the caller's arrays.  Two points (n = 2) give the product
// y(1)*(xi-x(1))*(y(2)-y(1))/(x(2)-x(1)) and no sorting: clients rely on it.
#pragma once

#include <cstdint>

#include "component/arith.hpp"
#include "component/elements.hpp"

namespace kor::interp {

template <class N, class Table, class XI, class M>
double flagr(const N& n, Table& x, Table& y, const XI& xi, const M& m_arg) {
  using arith::div;
  using arith::mul;
  using arith::sub;
  // Every argument is read where the method first uses it, each operand
  // before the one on its right: the table is sorted before XI and M are read.
  auto X = [&](int i) { return number_of(x(i)); };
  auto Y = [&](int i) { return number_of(y(i)); };
  auto XV = [&] { return number_of(xi); };
  if (number_of(n) == 2) {
    const double y1 = Y(1);
    const double v = XV();
    const double t = mul(y1, sub(v, X(1)));
    const double dy = Y(2);
    const double num = mul(t, sub(dy, Y(1)));
    const double x2 = X(2);
    return div(num, sub(x2, X(1)));
  }
  auto md = [&] { return is_missing(m_arg) ? 4.0 : number_of(m_arg); };

  bool exchanged = true;
  while (exchanged) {
    exchanged = false;
    for (int i : loop16(1, count16(number_of(n) - 1))) {
      const double xi_here = X(i);
      if (xi_here > X(i + 1)) {
        swap_cells(x(i), x(i + 1));
        swap_cells(y(i), y(i + 1));
        exchanged = true;
      }
    }
  }

  int first = 0;
  for (int i : loop16(1, count16(number_of(n)))) {
    const double v = XV();
    if (v < X(i)) {
      first = i;
      break;
    }
  }
  int j;
  if (first > 0) {
    j = count16(first - md() / 2);
    if (j < 1)
      j = 1;
    else if (number_of(n) - j + 1 - md() < 0)
      j = count16(number_of(n) - md() + 1);
  } else {
    j = count16(number_of(n) - md() + 1);
  }

  double s = 0;
  for (int k : loop16(j, count16(j + md() - 1))) {
    double l = 1;
    for (int q : loop16(j, count16(j + md() - 1))) {
      if (q == k) continue;
      const double v = XV();
      const double num = mul(l, sub(v, X(q)));
      const double xk = X(k);
      l = div(num, sub(xk, X(q)));
    }
    const double yk = Y(k);
    s = arith::add(s, mul(yk, l));
  }
  return s;
}

}  // namespace kor::interp
