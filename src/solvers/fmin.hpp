// Minimisation without derivatives: Rosenbrock's rotating coordinates
// (fmin) and the Nelder-Mead simplex (fmin1).  The client's F(X) is called
// with the caller's own X, which the methods move in place.
#pragma once

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "component/arith.hpp"
#include "component/elements.hpp"
#include "component/flavour.hpp"
#include "kor/error.hpp"
#include "kor/message.hpp"

namespace kor::solvers {

// Defaults of both minimisers: tolerance and iteration limit, per flavour.
template <class Flavour>
struct MinimiserDefaults {
  static constexpr double eps = Flavour::is_double ? 1e-7 : 1e-4;
  static constexpr double itmax = Flavour::is_double ? 2000 : 1000;
};

// The iteration limit: a supplied value below 11 becomes 2000 and is written
// back (into the caller's variable, where F can see it).
template <class Flavour, class Limit>
double prepare_itmax(Limit& itmax) {
  if (is_missing(itmax)) return MinimiserDefaults<Flavour>::itmax;
  if (number_of(itmax) < 11) assign_integer(itmax, 2000);
  return number_of(itmax);
}

inline std::string fmin_limit_message(double itmax) {
  return "Překročen max.počet iterací  " + convert::str(itmax) +
         "\rVýsledky nesplňují přesnost nebo jsou zcela chybné!"
         "\rZměňte poč.odhady, snižte přesnost"
         "\rnebo zvyšte max.počet iterací v Fmin.";
}

// A small row-major work matrix with positions 0..n.
struct Square {
  int n;
  std::vector<double> v;
  explicit Square(int size) : n(size), v(static_cast<std::size_t>(size + 1) * static_cast<std::size_t>(size + 1)) {}
  double& operator()(int i, int j) { return v[static_cast<std::size_t>(i) * static_cast<std::size_t>(n + 1) + static_cast<std::size_t>(j)]; }
};

// F's values are kept as they come and compared as the runtime compares
// Variants (two texts as text); the best one is returned as F gave it.
template <class Flavour, class Client, class XArray, class Arg, class Limit>
Variant fmin(Client& client, const Arg& n_arg, XArray& x, const Arg& epsa_arg, Limit& itmax_arg) {
  using arith::add;
  using arith::div;
  using arith::mul;
  using arith::sub;
  // EPSA is read at each convergence test, where it is first used.
  auto epsa = [&] { return is_missing(epsa_arg) ? MinimiserDefaults<Flavour>::eps : number_of(epsa_arg); };
  const bool given = !is_missing(itmax_arg);
  const double itmax = prepare_itmax<Flavour>(itmax_arg);
  const int n = count16(number_of(n_arg));
  auto F = [&] { return client.value("F", x); };
  auto X = [&](int k) { return number_of(x(k)); };

  // The working arrays have positions 0..n: a negative n cannot have them.
  if (n < 0) throw Error(err::kSubscript);
  std::int16_t count = 0;
  Variant fbest = F();
  Square D(n), A(n), B(n);
  std::vector<double> h(static_cast<std::size_t>(n) + 1), d(h.size()), s(h.size()), w(h.size());
  for (int i = 1; i <= n; ++i) D(i, i) = 1;

  auto finish = [&] {
    if (given) assign_status(itmax_arg, count);
    return fbest;
  };
  for (;;) {
    for (int k = 1; k <= n; ++k) {
      s[k] = 2;
      d[k] = 0;
      h[k] = div(0.02, count + 1.0);
    }
    for (int i = 1;;) {
      for (int k = 1; k <= n; ++k) assign_number(x(k), add(X(k), mul(h[i], D(i, k))));
      Variant fnew = F();
      if (n == 0) throw Error(err::kSubscript);  // h(1) of an array with position 0 only
      if (compare(fnew, fbest).value_or(0) > 0) {
        for (int k = 1; k <= n; ++k) assign_number(x(k), sub(X(k), mul(D(i, k), h[i])));
        h[i] = mul(-0.5, h[i]);
        if (s[i] < 1.5) s[i] = 0;
      } else {
        // Progress weighted by one plus the gain, as the method has always done.
        const double gain = sub(add(1, number_of(fbest)), number_of(fnew));
        d[i] = add(d[i], mul(h[i], gain));
        h[i] = mul(3, h[i]);
        fbest = std::move(fnew);
        if (s[i] > 1.5) s[i] = 1;
      }
      bool converged = true;
      for (int k = 1; k <= n; ++k)
        if (!(std::abs(h[k]) < epsa())) {
          converged = false;
          break;
        }
      if (converged) return finish();
      count = count16(count + 1.0);
      if (count > itmax) {
        ShowMessage(fmin_limit_message(itmax), style::kExclamation, "FMIN");
        return finish();
      }
      bool stage_end = true;
      for (int k = 1; k <= n; ++k) stage_end &= s[k] <= 0.5;
      if (stage_end) break;
      i = i == n ? 1 : i + 1;
    }
    // Rotation of the directions (Gram-Schmidt on the progress of the stage).
    for (int i = 1; i <= n; ++i) {
      for (int j = 1; j <= n; ++j) {
        double sum = 0;
        for (int k = i; k <= n; ++k) sum = add(sum, mul(D(k, j), d[k]));
        A(i, j) = sum;
      }
      for (int j = 1; j <= i - 1; ++j) {
        double sum = 0;
        for (int k = 1; k <= n; ++k) sum = add(sum, mul(D(j, k), A(i, k)));
        w[j] = sum;
      }
      double q = 0;
      for (int j = 1; j <= n; ++j) {
        double b = A(i, j);
        for (int k = 1; k <= i - 1; ++k) b = sub(b, mul(D(k, j), w[k]));
        B(i, j) = b;
      }
      for (int j = 1; j <= n; ++j) q = add(q, mul(B(i, j), B(i, j)));
      const double norm = add(std::sqrt(q), 1e-20);
      for (int j = 1; j <= n; ++j) D(i, j) = div(B(i, j), norm);
    }
  }
}

template <class Flavour, class Client, class XArray, class Arg, class Limit>
double fmin1(Client& client, const Arg& nx_arg, XArray& x, const Arg& eps_arg, Limit& itmax_arg) {
  using arith::add;
  using arith::div;
  using arith::mul;
  using arith::sub;
  // Eps is read at each convergence test, where it is first used.
  auto eps = [&] { return is_missing(eps_arg) ? MinimiserDefaults<Flavour>::eps : number_of(eps_arg); };
  const bool given = !is_missing(itmax_arg);
  prepare_itmax<Flavour>(itmax_arg);
  const int nx = count16(number_of(nx_arg));
  // The points have coordinates 1..nx: without one, they cannot be allocated.
  if (nx < 1) throw Error(err::kSubscript);
  const int centroid = nx + 2, reflected = nx + 3, trial = nx + 4;
  // Points 1..nx+1 are the vertices, then the centroid, the reflected point
  // and the expanded or contracted point; P(i, j) is coordinate j of point i.
  std::vector<double> pts(static_cast<std::size_t>(nx + 5) * static_cast<std::size_t>(nx + 1));
  auto P = [&](int i, int j) -> double& { return pts[static_cast<std::size_t>(i) * static_cast<std::size_t>(nx + 1) + static_cast<std::size_t>(j)]; };
  std::vector<double> f(static_cast<std::size_t>(nx) + 5);
  auto evaluate = [&](int i) {
    for (int j = 1; j <= nx; ++j) assign_number(x(j), P(i, j));
    return number_of(client.value("F", x));
  };

  const double root = std::sqrt(static_cast<double>(nx) + 1);
  const double p = div(div(mul(sub(add(root, nx), 1), 0.1), nx), 1.42);
  const double q = div(div(mul(sub(root, 1), 0.1), nx), 1.42);
  for (int j = 1; j <= nx; ++j) P(1, j) = number_of(x(j));
  for (int i = 2; i <= nx + 1; ++i)
    for (int j = 1; j <= nx; ++j) P(i, j) = add(P(1, j), j == i - 1 ? p : q);
  number_of(client.value("F", x));
  for (int i = 1; i <= nx + 1; ++i) f[i] = evaluate(i);

  std::int16_t iterations = 0;
  double fmin = 0;
  for (;;) {
    int h = 1, l = 1;
    double fmax = f[1];
    for (int i = 2; i <= nx + 1; ++i)
      if (f[i] > fmax) {
        h = i;
        fmax = f[i];
      }
    fmin = f[1];
    for (int i = 2; i <= nx + 1; ++i)
      if (f[i] < fmin) {
        l = i;
        fmin = f[i];
      }
    const double inv = div(1.0, nx);
    for (int j = 1; j <= nx; ++j) {
      double sum = 0;
      for (int i = 1; i <= nx + 1; ++i) sum = add(sum, P(i, j));
      P(centroid, j) = mul(sub(sum, P(h, j)), inv);
    }
    auto replace_worst = [&](int from) {
      for (int j = 1; j <= nx; ++j) P(h, j) = P(from, j);
      f[h] = f[from];
    };
    for (int j = 1; j <= nx; ++j) P(reflected, j) = sub(mul(2.0, P(centroid, j)), mul(1.0, P(h, j)));
    f[reflected] = evaluate(reflected);
    if (f[reflected] < fmin) {
      for (int j = 1; j <= nx; ++j) P(trial, j) = add(mul(-1.0, P(centroid, j)), mul(2.0, P(reflected, j)));
      f[trial] = evaluate(trial);
      replace_worst(f[trial] < fmin ? trial : reflected);
    } else {
      double fsecond = h == 1 ? f[2] : f[1];
      for (int i = 1; i <= nx + 1; ++i)
        if (i != h && f[i] >= fsecond) fsecond = f[i];
      if (f[reflected] <= fsecond) {
        replace_worst(reflected);
      } else {
        // Better than the worst: its coordinates move in, its value does not.
        if (f[reflected] <= fmax)
          for (int j = 1; j <= nx; ++j) P(h, j) = P(reflected, j);
        for (int j = 1; j <= nx; ++j) P(trial, j) = add(mul(0.5, P(centroid, j)), mul(0.5, P(h, j)));
        f[trial] = evaluate(trial);
        if (f[trial] < fmax) {
          replace_worst(trial);
        } else {
          for (int i = 1; i <= nx + 1; ++i)
            for (int j = 1; j <= nx; ++j) P(i, j) = mul(add(P(i, j), P(l, j)), 0.5);
          for (int i = 1; i <= nx + 1; ++i) f[i] = evaluate(i);
        }
      }
    }
    f[centroid] = evaluate(centroid);
    double S = 0;
    for (int i = 1; i <= nx + 1; ++i) {
      const double e = sub(f[i], f[centroid]);
      S = add(S, mul(e, e));
    }
    const double spread = div(std::sqrt(S), nx);
    iterations = count16(iterations + 1.0);
    // Compared with the square of Eps, as clients have always seen.
    if (spread < mul(eps(), eps())) break;
  }
  if (given) assign_status(itmax_arg, iterations);
  return fmin;
}

}  // namespace kor::solvers
