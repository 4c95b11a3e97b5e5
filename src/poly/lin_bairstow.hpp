// All roots of a real polynomial by the Lin-Bairstow method.
//
//   lin_bairstow(npol, apol, xreal, ximag, epslin)
//
// apol(1..npol+1) holds the coefficients, highest power first (the general
// layout of polyn); the roots go to xreal(1..npol), ximag(1..npol), sorted by
// ascending real part, a complex pair as a + bi followed by a - bi.
//
// The search works on a private copy in doubles: a quadratic factor
// x^2 + p x + q is found by Bairstow's Newton iteration on the remainder of
// the division, divided out, and the search goes on with the quotient.  Every
// factor is then polished by Bairstow steps on the undeflated polynomial, so
// the rounding of the deflation does not build up.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

#include "component/elements.hpp"
#include "kor/error.hpp"
#include "kor/message.hpp"

namespace kor::poly {

inline constexpr double kBairstowDefaultEps = 1e-12;
inline constexpr int kBairstowSteps = 60;     // iterations from one start, by default
inline constexpr int kBairstowPolishSteps = 8;
inline constexpr char kBairstowTitle[] = "LINBAIRSTOW";

namespace bairstow {

// x^2 + p x + q
struct Quadratic {
  double p = 0;
  double q = 0;
};

// Divides the monic-or-not polynomial c[0] x^m + ... + c[m] by x^2 + p x + q.
// Returns the remainder coefficients (r, s) of r (x + p) + s, the quotient
// in quo (degree m - 2), and the Jacobian of (r, s) with respect to (p, q).
struct Division {
  double r = 0, s = 0;              // remainder r x + s after the shift below
  double drdp = 0, drdq = 0, dsdp = 0, dsdq = 0;
};

inline Division divide(const std::vector<double>& c, Quadratic f, std::vector<double>* quo) {
  const std::size_t m = c.size() - 1;
  // b[k] = c[k] - p b[k-1] - q b[k-2]; the remainder is b[m-1] x + (b[m] + p b[m-1]).
  // d[k] = b[k] - p d[k-1] - q d[k-2] gives the derivatives (Bairstow's second division).
  double b1 = 0, b2 = 0, d1 = 0, d2 = 0;
  if (quo) quo->assign(m >= 2 ? m - 1 : 0, 0.0);
  double bm1 = 0;  // b[m-1]
  double dm2 = 0, dm3 = 0;
  for (std::size_t k = 0; k <= m; ++k) {
    const double b = c[k] - f.p * b1 - f.q * b2;
    if (quo && k + 2 <= m) (*quo)[k] = b;
    const double d = b - f.p * d1 - f.q * d2;
    if (k + 1 == m) bm1 = b;
    if (k + 3 == m) dm3 = d;
    if (k + 2 == m) dm2 = d;
    b2 = b1;
    b1 = b;
    d2 = d1;
    d1 = d;
  }
  // With R = b[m-1], S = b[m]: dR/dp = -d[m-2], dR/dq = -d[m-3],
  // dS/dp = -d[m-1], dS/dq = -d[m-2] (the standard recurrences).
  const double dm1 = d2;  // d[m-1]
  Division out;
  out.r = bm1;
  out.s = b1;
  out.drdp = -dm2;
  out.drdq = -dm3;
  out.dsdp = -dm1;
  out.dsdq = -dm2;
  return out;
}

// One Newton step for (p, q); false when the Jacobian is singular.
inline bool step(const std::vector<double>& c, Quadratic& f, double& dp, double& dq) {
  const Division d = divide(c, f, nullptr);
  const double det = d.drdp * d.dsdq - d.drdq * d.dsdp;
  if (det == 0 || !std::isfinite(det)) return false;
  dp = (d.r * d.dsdq - d.s * d.drdq) / det;
  dq = (d.s * d.drdp - d.r * d.dsdp) / det;
  if (!std::isfinite(dp) || !std::isfinite(dq)) return false;
  f.p -= dp;
  f.q -= dq;
  return std::isfinite(f.p) && std::isfinite(f.q);
}

inline double remainder_size(const std::vector<double>& c, Quadratic f) {
  const Division d = divide(c, f, nullptr);
  return std::abs(d.r) + std::abs(d.s);
}

// Iterates from one start, at most `steps` times.  Converged when the
// relative correction is below eps, or when it has reached the rounding
// level and stops decreasing.
inline bool iterate(const std::vector<double>& c, Quadratic& f, double eps, int steps, Quadratic& best,
                    double& best_rem) {
  double last = std::numeric_limits<double>::infinity();
  for (int it = 0; it < steps; ++it) {
    double dp = 0, dq = 0;
    if (!step(c, f, dp, dq)) return false;
    const double size = std::abs(f.p) + std::abs(f.q);
    const double rel = (std::abs(dp) + std::abs(dq)) / (size > 0 ? size : 1.0);
    const double rem = remainder_size(c, f);
    if (std::isfinite(rem) && rem < best_rem) {
      best_rem = rem;
      best = f;
    }
    if (rel <= eps) return true;
    if (rel <= 1e-9 && rel >= last) return true;  // at the rounding floor
    last = rel;
  }
  return false;
}

// Root radius estimate: the geometric mean of the root magnitudes.
inline double root_radius(const std::vector<double>& c) {
  const double m = static_cast<double>(c.size() - 1);
  const double r = std::pow(std::abs(c.back() / c.front()), 1.0 / m);
  return std::isfinite(r) && r > 0 ? r : 1.0;
}

// Finds one quadratic factor of c (degree >= 3).  converged is false when
// every start failed; the best factor met is returned then.
inline Quadratic find_factor(const std::vector<double>& c, double eps, int steps, bool& converged) {
  const double radius = root_radius(c);
  Quadratic best{c.size() > 2 ? c[1] / c[0] : 0.0, c.size() > 2 ? c[2] / c[0] : 0.0};
  double best_rem = std::numeric_limits<double>::infinity();
  // First the classic start from the trailing coefficients, then quadratics
  // whose roots lie on circles of the estimated radius at various angles.
  const std::size_t m = c.size() - 1;
  std::vector<Quadratic> starts;
  if (c[m - 2] != 0) starts.push_back({c[m - 1] / c[m - 2], c[m] / c[m - 2]});
  for (double scale : {1.0, 0.5, 2.0})
    for (int k = 0; k < 8; ++k) {
      const double angle = (20.0 + 45.0 * k) * std::numbers::pi / 180.0;
      const double r = radius * scale;
      starts.push_back({-2 * r * std::cos(angle), r * r});
    }
  for (Quadratic f : starts) {
    if (iterate(c, f, eps, steps, best, best_rem)) {
      converged = true;
      return f;
    }
  }
  converged = false;
  return best;
}

// Polishes a factor against the undeflated polynomial: Bairstow steps kept
// only while they reduce the remainder.
inline Quadratic polish(const std::vector<double>& c, Quadratic f) {
  double rem = remainder_size(c, f);
  for (int it = 0; it < kBairstowPolishSteps && rem > 0; ++it) {
    Quadratic g = f;
    double dp = 0, dq = 0;
    if (!step(c, g, dp, dq)) break;
    const double r = remainder_size(c, g);
    if (!(r < rem)) break;
    f = g;
    rem = r;
  }
  return f;
}

// The roots of x^2 + p x + q without cancellation.
inline void solve_quadratic(Quadratic f, std::complex<double>& r1, std::complex<double>& r2) {
  const double h = -f.p / 2;
  const double disc = h * h - f.q;
  if (disc < 0) {
    const double im = std::sqrt(-disc);
    r1 = {h, im};
    r2 = {h, -im};
    return;
  }
  const double big = h + std::copysign(std::sqrt(disc), h);
  r1 = {big, 0};
  r2 = {big != 0 ? f.q / big : 0.0, 0};
}

// Divides the linear factor x - r out of c: from the highest power when
// |r| <= 1, from the constant term when |r| > 1.  Either direction keeps
// the quotient accurate only for such roots: dividing a large root out from
// the top makes the quotient's coefficients grow like its powers, and their
// rounding then moves the roots still to be found (and a small root from
// the bottom likewise).
inline void deflate_linear(std::vector<double>& c, double r, std::vector<double>& quo) {
  const std::size_t m = c.size() - 1;
  quo.assign(m, 0.0);
  if (std::abs(r) <= 1) {
    quo[0] = c[0];
    for (std::size_t k = 1; k < m; ++k) quo[k] = c[k] + r * quo[k - 1];
  } else {
    quo[m - 1] = -c[m] / r;
    for (std::size_t k = m - 1; k >= 1; --k) quo[k - 1] = (quo[k] - c[k]) / r;
  }
  c.swap(quo);
}

// Divides a quadratic factor out of c.  Its two real roots go one by one,
// each in its own direction; a complex pair (both roots of magnitude
// sqrt q) goes at once, from the top when q <= 1, else from the bottom.
inline void deflate(std::vector<double>& c, Quadratic f, std::vector<double>& quo) {
  const double h = -f.p / 2;
  if (h * h - f.q >= 0) {
    std::complex<double> r1, r2;
    solve_quadratic(f, r1, r2);
    deflate_linear(c, r1.real(), quo);
    deflate_linear(c, r2.real(), quo);
  } else if (std::abs(f.q) <= 1) {
    divide(c, f, &quo);
    c.swap(quo);
  } else {
    // c(x) = x^m rev(1/x), and (x^2 + p x + q) / q is the reverse of
    // x^2 + (p/q) x + 1/q: the quotient is the reverse of rev's, over q.
    std::vector<double> rev(c.rbegin(), c.rend());
    divide(rev, {f.p / f.q, 1 / f.q}, &quo);
    std::reverse(quo.begin(), quo.end());
    for (double& v : quo) v /= f.q;
    c.swap(quo);
  }
  const double lead = c.front();
  for (double& v : c) v /= lead;  // monic again
}

// The value and slope of c at x by Horner's scheme.
inline std::complex<double> value_and_slope(const std::vector<double>& c, std::complex<double> x,
                                            std::complex<double>& slope) {
  std::complex<double> p = c[0], d = 0;
  for (std::size_t k = 1; k < c.size(); ++k) {
    d = d * x + p;
    p = p * x + c[k];
  }
  slope = d;
  return p;
}

// Polishes all roots together against the undeflated polynomial: Newton's
// step with the other roots divided out implicitly (Maehly's correction
// z -= p / (p' - p sum 1/(z - z_j))), so a root is never drawn onto one
// already found, and the rounding of the deflations is removed.  A step is
// kept only if it lowers |p(z)|; a real root stays real, and the lower
// member of a complex pair (it follows its partner) is the conjugate of the
// polished upper one.
inline void polish_roots(const std::vector<double>& c, std::vector<std::complex<double>>& roots) {
  const std::size_t n = roots.size();
  std::vector<bool> lower(n, false);
  for (std::size_t i = 1; i < n; ++i)
    lower[i] = roots[i].imag() < 0 && roots[i - 1] == std::conj(roots[i]);
  for (int sweep = 0; sweep < kBairstowPolishSteps; ++sweep) {
    bool moved = false;
    for (std::size_t i = 0; i < n; ++i) {
      if (lower[i]) {
        roots[i] = std::conj(roots[i - 1]);
        continue;
      }
      const std::complex<double> z = roots[i];
      if (z == 0.0) continue;  // an exact root 0, divided out before the search
      std::complex<double> slope;
      const std::complex<double> p = value_and_slope(c, z, slope);
      if (p == 0.0) continue;
      std::complex<double> others = 0;
      for (std::size_t j = 0; j < n; ++j)
        if (j != i && roots[j] != z) others += 1.0 / (z - roots[j]);
      const std::complex<double> denominator = slope - p * others;
      if (denominator == 0.0) continue;
      std::complex<double> next = z - p / denominator;
      if (z.imag() == 0) next.imag(0);
      std::complex<double> unused;
      if (!(std::abs(value_and_slope(c, next, unused)) < std::abs(p))) continue;
      roots[i] = next;
      moved = true;
    }
    if (!moved) break;
  }
}

// Orders roots by ascending real part, a + bi before a - bi.
inline void sort_roots(std::vector<std::complex<double>>& roots) {
  std::stable_sort(roots.begin(), roots.end(), [](const auto& x, const auto& y) {
    if (x.real() != y.real()) return x.real() < y.real();
    return x.imag() > y.imag();
  });
}

}  // namespace bairstow

// `steps` bounds the iterations from each start (tests lower it to reach
// the path of a factor that does not converge).
template <class N, class Coefficients, class Roots, class Eps>
void lin_bairstow(const N& npol, const Coefficients& apol, Roots& xreal, Roots& ximag, const Eps& epslin,
                  int steps = kBairstowSteps) {
  const int n = int16_of(npol);
  if (n < 0) throw Error(err::kInvalidCall);
  double eps = is_missing(epslin) ? 0.0 : number_of(epslin);
  if (!(eps > 0)) eps = kBairstowDefaultEps;
  if (n == 0) return;

  // Every position is checked before anything is written.
  std::vector<double> c(static_cast<std::size_t>(n) + 1);
  for (int i = 1; i <= n + 1; ++i) {
    c[static_cast<std::size_t>(i - 1)] = number_of(apol(i));
    if (!std::isfinite(c[static_cast<std::size_t>(i - 1)])) throw Error(err::kOverflow);
  }
  (void)xreal(1), (void)xreal(n), (void)ximag(1), (void)ximag(n);

  // Leading zeros lower the degree; trailing zeros are exact roots 0.
  std::size_t lead = 0;
  while (lead < c.size() && c[lead] == 0) ++lead;
  if (lead == c.size()) throw Error(err::kInvalidCall);
  c.erase(c.begin(), c.begin() + static_cast<std::ptrdiff_t>(lead));
  const int degree = static_cast<int>(c.size()) - 1;
  if (lead > 0)
    ShowMessage("Nulový koeficient u nejvyšší mocniny, stupeň rovnice snížen na " + std::to_string(degree),
                style::kCritical, kBairstowTitle);

  std::vector<std::complex<double>> roots;
  roots.reserve(static_cast<std::size_t>(n));
  while (c.size() > 1 && c.back() == 0) {
    roots.emplace_back(0.0, 0.0);
    c.pop_back();
  }
  const double leading = c.front();  // nonzero: leading zeros are gone
  for (double& v : c) v /= leading;
  const std::vector<double> original = c;

  std::vector<bairstow::Quadratic> factors;
  std::vector<double> quo;
  while (c.size() > 3) {
    bool converged = false;
    bairstow::Quadratic f = bairstow::find_factor(c, eps, steps, converged);
    f = bairstow::polish(original, f);
    bairstow::deflate(c, f, quo);
    std::complex<double> r1, r2;
    bairstow::solve_quadratic(f, r1, r2);
    roots.push_back(r1);
    roots.push_back(r2);
    if (!converged) {
      const auto k = roots.size() - 1;
      ShowMessage("Kvadratický faktor nekonverguje ani po změně počátečních hodnot, kořeny " + std::to_string(k) +
                      " a " + std::to_string(k + 1) + " jsou nepřesné",
                  style::kCritical, kBairstowTitle);
    }
  }
  if (c.size() == 3) {
    const bairstow::Quadratic f = bairstow::polish(original, {c[1] / c[0], c[2] / c[0]});
    std::complex<double> r1, r2;
    bairstow::solve_quadratic(f, r1, r2);
    roots.push_back(r1);
    roots.push_back(r2);
  } else if (c.size() == 2) {
    roots.emplace_back(-c[1] / c[0], 0.0);
  }
  for (const auto& r : roots)
    if (!std::isfinite(r.real()) || !std::isfinite(r.imag())) throw Error(err::kOverflow);
  bairstow::polish_roots(original, roots);
  bairstow::sort_roots(roots);

  for (int k = 1; k <= n; ++k) {
    const bool found = k <= static_cast<int>(roots.size());
    const std::complex<double> r = found ? roots[static_cast<std::size_t>(k - 1)] : std::complex<double>{};
    assign_number(xreal(k), r.real());
    assign_number(ximag(k), r.imag());
  }
}

}  // namespace kor::poly
