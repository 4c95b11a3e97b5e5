// The Runge-Kutta-Merson integrator with automatic step control.
//
// Integrates nn equations y' = f(x, y) from xb to xe; the client's
// FKT(nn, xb, Y, K, zz) writes f into K, with the caller's own xb and Y as the
// stage variables.  The step size is kept in the object (one per flavour):
// the step a call ends with is the first step of the next call.  There is no
// step limit: a problem whose error estimate stays above Delta at the
// minimum step runs for ever, as it always has.
#pragma once

#include <cmath>

#include "component/arith.hpp"
#include "component/elements.hpp"
#include "component/flavour.hpp"

namespace kor::solvers {

inline constexpr double kRkmMinStep = 1e-5;

// star: in, a value <= 0 starts with the saved step and a value > 0 tries
// the whole interval first; out, -1 (single precision) once the step was adapted.
// xb, xe and star are the caller's variables: FKT sees xb move through the
// stages, and star is written only when the step is adapted.
template <class Flavour, class Client, class Count, class Abscissa, class YArray, class Tolerance, class Status,
          class ZArray>
void rkm(Client& client, double& saved_step, const Count& nn_arg, Abscissa& xb, const Abscissa& xe, YArray& y,
         const Tolerance& delta_arg, Status& star, ZArray& zz) {
  using arith::add;
  using arith::div;
  using arith::mul;
  using arith::sub;
  using Array = typename Flavour::Array;

  Variant nn = cell_value(nn_arg);  // FKT receives the method's own copy
  auto NN = [&] { return int16_of(nn); };
  Array y0(upto(NN())), k1(upto(NN())), k2(upto(NN())), k3(upto(NN())),
      k4(upto(NN())), k5(upto(NN()));
  double delta = number_of(delta_arg);
  if (Flavour::is_double) {
    if (delta < 1e-15) delta = 1e-7;
  } else if (delta < 1e-8) {
    delta = 1e-4;
  }
  if (saved_step == 0) saved_step = kRkmMinStep;

  double h = 0;
  bool final_mode = !(number_of(star) <= 0);
  if (!final_mode) h = saved_step;
  auto XE = [&] { return number_of(xe); };
  auto fkt = [&](Array& k) { client.call("FKT", nn, xb, y, k, zz); };
  auto K = [](const Array& k, int i) { return number_of(k(i)); };

  for (;;) {
    bool last;
    if (!final_mode && std::abs(sub(XE(), number_of(xb))) > std::abs(h)) {
      last = false;
    } else {
      last = true;
      h = sub(XE(), number_of(xb));
    }
    const auto x0cell = cell_value(xb);  // a copy, not a reference
    const double x0 = number_of(x0cell);
    for (int i : loop16(1, NN())) y0(i) = cell_value(y(i));
    const double t = div(h, 3);
    auto Y0 = [&](int i) { return number_of(y0(i)); };

    assign_value(xb, x0cell);
    fkt(k1);
    for (int i : loop16(1, NN())) assign_number(y(i), add(Y0(i), mul(t, K(k1, i))));
    assign_number(xb, add(x0, t));
    fkt(k2);
    for (int i : loop16(1, NN()))
      assign_number(y(i), add(Y0(i), mul(t, mul(0.5, add(K(k1, i), K(k2, i))))));
    fkt(k3);
    for (int i : loop16(1, NN()))
      assign_number(y(i), add(Y0(i), mul(t, add(mul(0.375, K(k1, i)), mul(1.125, K(k3, i))))));
    assign_number(xb, add(x0, mul(0.5, h)));
    fkt(k4);
    for (int i : loop16(1, NN()))
      assign_number(y(i), add(Y0(i), mul(t, add(sub(mul(1.5, K(k1, i)), mul(4.5, K(k3, i))), mul(6, K(k4, i))))));
    assign_number(xb, add(x0, h));
    fkt(k5);
    for (int i : loop16(1, NN()))
      assign_number(y(i), add(Y0(i), mul(t, add(mul(2, K(k4, i)), mul(0.5, add(K(k5, i), K(k1, i)))))));

    double e = 0;
    for (int i : loop16(1, NN())) {
      const double ei =
          std::abs(sub(add(sub(mul(0.2, K(k1, i)), mul(0.9, K(k3, i))), mul(0.8, K(k4, i))), mul(0.1, K(k5, i))));
      if (ei > e) e = ei;
    }
    e = mul(e, std::abs(t));

    if (e <= delta) {
      if (last) break;
      if (e == 0) {
        // Nothing to control: the rest of the interval in one step.
        final_mode = true;
        continue;
      }
    } else {
      for (int i : loop16(1, NN())) assign_value(y(i), y0(i));
      assign_value(xb, x0cell);
    }
    h = mul(h, mul(0.8, arith::pow(div(delta, e), 0.2)));
    if (std::abs(h) < kRkmMinStep) h = h > 0 ? kRkmMinStep : (h < 0 ? -kRkmMinStep : 0.0);
    saved_step = h;
    assign_value(star, Variant::from_single(-1.0f));
    final_mode = false;
  }
  if (number_of(star) > 0) saved_step = h;
}

}  // namespace kor::solvers
