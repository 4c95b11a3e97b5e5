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

struct NewtonOptions {
  double eps;     // convergence threshold, already defaulted by the flavour
  double delta;   // relative step of the difference quotients
};

// The variant flavour: Eps defaults to 1E-5 when omitted; Delta has no
// effect, the step factor is always 0.01.
inline NewtonOptions newton_options(const Variant& eps, const Variant& /*delta*/) {
  return {is_missing(eps) ? 1e-5 : number_of(eps), 0.01};
}
// The double flavour: Eps and Delta are doubles that are never missing, an
// omitted Eps is 0 (the iteration runs to its limit) and an omitted Delta
// is 0 (every difference step is 1E-4).
inline NewtonOptions newton_options(double eps, double delta) { return {eps, delta}; }

template <class Flavour, class Client, class XArray, class ZArray, class IpomArray>
std::int16_t newton(Client& client, const Variant& n_arg, const Variant& nunknown_arg, XArray& x,
                    IpomArray& ipom, ZArray& z, Variant& id, NewtonOptions opt, const Variant& alam_arg,
                    const Variant& niter_arg) {
  using arith::add;
  using arith::div;
  using arith::mul;
  using arith::sub;
  using Array = typename Flavour::Array;

  // Local copies; Fun receives the method's own n and may change it.
  Variant n = n_arg;
  const Variant nunknown = nunknown_arg;
  const double alam = is_missing(alam_arg) ? 0.8 : number_of(alam_arg);
  const double niter = is_missing(niter_arg) ? 100.0 : number_of(niter_arg);
  auto N = [&] { return count16(number_of(n)); };
  const int nu = count16(number_of(nunknown));

  Array r(Bounds{0, N()});
  Array a(Bounds{0, N()}, Bounds{0, N() + 1});
  Array b(Bounds{0, N()}, Bounds{0, N() + 1});
  Array g(Bounds{0, N()});

  std::int16_t counter = 0;
  assign_status(id, 0);
  auto fun = [&] { client.call("Fun", x, r, n, z); };
  auto X = [&](std::int32_t j) { return number_of(x(j)); };
  auto unknown = [&](int k) { return count16(number_of(ipom(k))); };
  fun();
  for (;;) {
    counter = count16(counter + 1.0);
    if (counter > niter) {
      assign_status(id, 1);
      break;
    }
    for (int i = 1, ni = N(); i <= ni; ++i)
      for (int k = 1; k <= nu + 1; ++k) a(i, k) = r(i);
    for (int k = 1; k <= nu; ++k) {
      const int j = unknown(k);
      const auto saved = cell_value(x(j));  // a copy, not a reference
      double h = mul(opt.delta, std::abs(X(j)));
      if (h < 1e-4) h = 1e-4;
      assign_number(x(j), add(X(j), h));
      fun();
      assign_value(x(j), saved);
      for (int i = 1, ni = N(); i <= ni; ++i)
        assign_number(a(i, k), div(sub(number_of(r(i)), number_of(a(i, k))), h));
    }
    for (int i = 1; i <= nu; ++i)
      for (int j = 1; j <= nu; ++j) {
        assign_number(b(i, j), 0.0);
        for (int m = 1, ni = N(); m <= ni; ++m)
          assign_number(b(i, j), add(number_of(b(i, j)), mul(number_of(a(m, i)), number_of(a(m, j)))));
      }
    for (int i = 1; i <= nu; ++i) {
      assign_number(g(i), 0.0);
      for (int m = 1, ni = N(); m <= ni; ++m)
        assign_number(g(i), add(number_of(g(i)), mul(number_of(a(m, i)), number_of(a(m, nu + 1)))));
      b(i, nu + 1) = g(i);
    }
    linalg::gauss(nunknown, b, Variant(1), id);
    if (number_of(id) != 0) {
      assign_status(id, 2);
      break;
    }
    auto d = [&](int k) { return number_of(b(k, nu + 1)); };

    double dmax = 0;
    int p = 0, q = 0;
    for (int k = 1; k <= nu; ++k) {
      const int j = unknown(k);
      // The quotient is formed even for a zero X(j): that divides by zero.
      const double rel = std::abs(div(d(k), X(j)));
      // Only unknowns of at least 1E-4 (signed) take part in the test.
      if (rel > dmax && X(j) >= 1e-4) {
        dmax = rel;
        p = j;
        q = k;
      }
    }
    double lambda;
    if (alam > 2) {
      lambda = alam - std::floor(alam);  // constant damping: the fractional part
    } else {
      lambda = 1;
      if (dmax >= std::abs(alam)) {
        lambda = div(std::abs(alam), dmax);
        // Column n+1 of B, as the method has always read it (it is column
        // Nunknown+1 only when Nunknown equals n).
        const bool small = std::abs(X(p)) < 0.01;
        const bool crosses = mul(sub(X(p), number_of(b(q, N() + 1))), X(p)) < 0;
        if (small && crosses && alam < 0) {
          assign_number(x(p), 0.0);
          lambda = 0.5;
        }
      }
    }
    for (int k = 1; k <= nu; ++k) {
      const int j = unknown(k);
      assign_number(x(j), sub(X(j), mul(d(k), lambda)));
    }
    fun();
    if (dmax < opt.eps) break;
  }
  // The sum of the squared residuals is formed, as it always was, though not reported.
  double ss = 0;
  for (int i = 1, ni = N(); i <= ni; ++i) ss = add(ss, mul(number_of(r(i)), number_of(r(i))));
  (void)ss;
  return counter;
}

}  // namespace kor::solvers
