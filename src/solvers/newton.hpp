// Newton's method (Gauss-Newton, damped) for n nonlinear equations in a
// chosen subset of the unknowns.
//
// The Jacobian comes from forward differences of the client's Fun(X, R, n, z);
// each correction solves the normal equations (J'J) d = J'f with gauss() in
// the method's own flavour.  Status ID: 0 converged (the largest relative
// correction below Eps), 1 iteration limit, 2 singular normal equations.
// Returns the number of the last iteration begun.
#pragma once

#include <cmath>
#include <cstdint>

#include "component/arith.hpp"
#include "component/elements.hpp"
#include "component/flavour.hpp"
#include "linalg/gauss.hpp"

namespace kor::solvers {

// Every argument is read where the iteration first uses it (NITER at the
// first limit test, ALAM at the first damping, Eps at the first convergence
// test), as often as the iteration uses it.  The variant flavour's Eps
// defaults to 1E-5; its Delta has no effect, the step factor is always 0.01.
// The double flavour's Eps and Delta are doubles that are never missing: an
// omitted Eps is 0 (the iteration runs to its limit) and an omitted Delta
// is 0 (every difference step is 1E-4).
template <class Flavour, class Client, class Arg, class XArray, class ZArray, class IpomArray, class Status,
          class Real>
std::int16_t newton(Client& client, const Arg& n_arg, const Arg& nunknown_arg, XArray& x, IpomArray& ipom,
                    ZArray& z, Status& id, const Real& eps_arg, const Arg& alam_arg, const Arg& niter_arg,
                    const Real& delta_arg) {
  using arith::add;
  using arith::div;
  using arith::mul;
  using arith::sub;
  using Array = typename Flavour::Array;

  // Local copies; Fun receives the method's own n and may change it.
  Variant n = cell_value(n_arg);
  const Variant nunknown = cell_value(nunknown_arg);
  auto N = [&] { return count16(number_of(n)); };
  auto NU = [&] { return count16(number_of(nunknown)); };
  auto NU1 = [&] { return count16(number_of(nunknown) + 1); };
  auto eps = [&] { return is_missing(eps_arg) ? 1e-5 : number_of(eps_arg); };
  auto delta = [&] { return Flavour::is_double ? number_of(delta_arg) : 0.01; };
  auto alam = [&] { return is_missing(alam_arg) ? 0.8 : number_of(alam_arg); };
  auto niter = [&] { return is_missing(niter_arg) ? 100.0 : number_of(niter_arg); };

  Array r(upto(N()));
  Array a(upto(N()), upto(N() + 1));
  Array b(upto(N()), upto(N() + 1));
  Array g(upto(N()));

  std::int16_t counter = 0;
  assign_status(id, 0);
  auto fun = [&] { client.call("Fun", x, r, n, z); };
  auto X = [&](std::int32_t j) { return number_of(x(j)); };
  auto unknown = [&](int k) { return count16(number_of(ipom(k))); };
  fun();
  for (;;) {
    counter = count16(counter + 1.0);
    if (counter > niter()) {
      assign_status(id, 1);
      break;
    }
    for (int i : loop16(1, N()))
      for (int k : loop16(1, NU1())) a(i, k) = r(i);
    for (int k : loop16(1, NU())) {
      const int j = unknown(k);
      const auto saved = cell_value(x(j));  // a copy, not a reference
      double h = mul(delta(), std::abs(X(j)));
      if (h < 1e-4) h = 1e-4;
      assign_number(x(j), add(X(j), h));
      fun();
      assign_value(x(j), saved);
      for (int i : loop16(1, N())) {
        const double ri = number_of(r(i));
        assign_number(a(i, k), div(sub(ri, number_of(a(i, k))), h));
      }
    }
    for (int i : loop16(1, NU()))
      for (int j : loop16(1, NU())) {
        assign_integer(b(i, j), 0);
        for (int m : loop16(1, N())) {
          const double bij = number_of(b(i, j));
          const double ami = number_of(a(m, i));
          assign_number(b(i, j), add(bij, mul(ami, number_of(a(m, j)))));
        }
      }
    for (int i : loop16(1, NU())) {
      assign_integer(g(i), 0);
      for (int m : loop16(1, N())) {
        const double gi = number_of(g(i));
        const double ami = number_of(a(m, i));
        assign_number(g(i), add(gi, mul(ami, number_of(a(m, NU1())))));
      }
      b(i, NU1()) = g(i);
    }
    linalg::gauss(nunknown, b, Variant(1), id);
    if (number_of(id) != 0) {
      assign_status(id, 2);
      break;
    }
    auto d = [&](int k) { return number_of(b(k, NU1())); };

    double dmax = 0;
    int p = 0, q = 0;
    for (int k : loop16(1, NU())) {
      const int j = unknown(k);
      // The quotient is formed even for a zero X(j): that divides by zero.
      const double dk = d(k);
      const double rel = std::abs(div(dk, X(j)));
      // Only unknowns of at least 1E-4 (signed) take part in the test.
      if (rel > dmax && X(j) >= 1e-4) {
        dmax = rel;
        p = j;
        q = k;
      }
    }
    double lambda;
    if (alam() > 2) {
      lambda = alam() - std::floor(alam());  // constant damping: the fractional part
    } else {
      lambda = 1;
      if (dmax >= std::abs(alam())) {
        lambda = div(std::abs(alam()), dmax);
        // Column n+1 of B, as the method has always read it (it is column
        // Nunknown+1 only when Nunknown equals n).
        const bool small = std::abs(X(p)) < 0.01;
        const double xp = X(p);
        const bool crosses = mul(sub(xp, number_of(b(q, count16(number_of(n) + 1)))), X(p)) < 0;
        if (small && crosses && alam() < 0) {
          assign_integer(x(p), 0);
          lambda = 0.5;
        }
      }
    }
    for (int k : loop16(1, NU())) {
      const int j = unknown(k);
      const double xj = X(j);
      assign_number(x(j), sub(xj, mul(d(k), lambda)));
    }
    fun();
    if (dmax < eps()) break;
  }
  // The sum of the squared residuals is formed, as it always was, though not reported.
  double ss = 0;
  for (int i : loop16(1, N())) {
    const double ri = number_of(r(i));
    ss = add(ss, mul(ri, number_of(r(i))));
  }
  (void)ss;
  return counter;
}

}  // namespace kor::solvers
