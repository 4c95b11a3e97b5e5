// Eigenvalues and eigenvectors of a real symmetric matrix by the cyclic
// Jacobi method with Rutishauser's threshold strategy.
//
//   rutishauser(n, a, b, U, tag1, tag2, iter, options)
//
// a(1..n, 1..n) is read once into a private upper triangle and never
// written; the eigenvalues go to b(1..n) ascending, the eigenvectors to the
// columns of U(1..n, 1..n).  tag1 is the status (0 converged, 1 sweep limit,
// 2 not symmetric), tag2 the number of rotations, iter the number of sweeps.
//
// Each rotation annihilates a(p,q) with the tangent of the smaller angle;
// the diagonal changes are summed apart (z) and folded into the diagonal
// after every `freq` sweeps, so the eigenvalues carry the rounding of the
// largest element only.  In the opening `sweep` sweeps an element is rotated
// only when it exceeds eps2 * S / n^2 (S the off-diagonal sum at the start of
// the sweep); from the second sweep after them, an element negligible beside
// both of its diagonal elements is set to zero without a rotation.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <vector>

#include "component/elements.hpp"
#include "kor/error.hpp"

namespace kor::linalg {

struct JacobiOptions {
  bool vectors = true;   // eigvec
  bool upper_only = false;  // stripd: read the upper triangle only
  int threshold_sweeps = 3;  // sweep
  int fold_every = 1;        // freq
  int max_sweeps = 50;       // itmax
  double converge = 0;       // eps1: 0 = until the off-diagonal part is zero
  double threshold = 0.2;    // eps2
  double symmetry = 1e-10;   // eps3
  double zero = 1e-18;       // eps4
};

// Reads the optional arguments into options: omitted ones (and tolerances
// that are not positive) take their defaults.
template <class E, class S, class W, class F, class I, class T1, class T2, class T3, class T4>
JacobiOptions jacobi_options(const E& eigvec, const S& stripd, const W& sweep, const F& freq, const I& itmax,
                             const T1& eps1, const T2& eps2, const T3& eps3, const T4& eps4) {
  JacobiOptions o;
  if (!is_missing(eigvec)) o.vectors = number_of(eigvec) != 0;
  if (!is_missing(stripd)) o.upper_only = number_of(stripd) != 0;
  if (!is_missing(sweep)) o.threshold_sweeps = int16_of(sweep);
  if (!is_missing(freq)) o.fold_every = int16_of(freq);
  if (!is_missing(itmax)) {
    const int m = int16_of(itmax);
    if (m > 0) o.max_sweeps = m;
  }
  auto tolerance = [](const auto& v, double& slot) {
    if (is_missing(v)) return;
    const double x = number_of(v);
    if (x > 0) slot = x;
  };
  tolerance(eps1, o.converge);
  tolerance(eps2, o.threshold);
  tolerance(eps3, o.symmetry);
  tolerance(eps4, o.zero);
  if (o.threshold_sweeps < 0 || o.fold_every < 1) throw Error(err::kInvalidCall);
  return o;
}

namespace jacobi {

// The working matrix in full symmetric storage, column-major: a rotation
// works on the two contiguous columns p and q and mirrors them into rows p
// and q, which is several times faster than walking a triangle across rows.
struct Work {
  int n = 0;
  std::vector<double> a;  // a[i + n*j], both triangles; the diagonal lives in d
  std::vector<double> d;  // current diagonal
  std::vector<double> b;  // diagonal at the last fold
  std::vector<double> z;  // diagonal changes since the last fold
  std::vector<double> v;  // eigenvectors, column-major
  double& at(int i, int j) { return a[static_cast<std::size_t>(i) + static_cast<std::size_t>(n) * j]; }
  double& vec(int i, int j) { return v[static_cast<std::size_t>(i) + static_cast<std::size_t>(n) * j]; }
};

inline double off_sum(Work& w) {
  double s = 0;
  for (int j = 1; j < w.n; ++j)
    for (int i = 0; i < j; ++i) s += std::abs(w.at(i, j));
  return s;
}

// The Frobenius norm of the off-diagonal part, in units of `unit` (the
// largest element), so that no square leaves the double range.
inline double off_norm(Work& w, double unit) {
  double s = 0;
  for (int j = 1; j < w.n; ++j)
    for (int i = 0; i < j; ++i) {
      const double x = w.at(i, j) / unit;
      s += x * x;
    }
  return std::sqrt(2 * s);
}

// The rotation of rows lo..hi-1 of the columns x and y.
inline void rotate_range(double* x, double* y, int lo, int hi, double s, double tau) {
  for (int j = lo; j < hi; ++j) {
    const double g = x[j];
    const double h = y[j];
    x[j] = g - s * (h + g * tau);
    y[j] = h + s * (g - h * tau);
  }
}

// Annihilates a(p,q), p < q.
inline void rotate(Work& w, int p, int q, bool vectors) {
  const double apq = w.at(p, q);
  const double h = w.d[static_cast<std::size_t>(q)] - w.d[static_cast<std::size_t>(p)];
  double t;
  const double g = 100.0 * std::abs(apq);
  if (std::abs(h) + g == std::abs(h)) {
    t = apq / h;  // theta^2 would overflow; t = 1/(2 theta) to working precision
  } else {
    const double theta = 0.5 * h / apq;
    t = 1.0 / (std::abs(theta) + std::sqrt(1.0 + theta * theta));
    if (theta < 0) t = -t;
  }
  const double c = 1.0 / std::sqrt(1.0 + t * t);
  const double s = t * c;
  const double tau = s / (1.0 + c);
  const double dh = t * apq;
  w.z[static_cast<std::size_t>(p)] -= dh;
  w.z[static_cast<std::size_t>(q)] += dh;
  w.d[static_cast<std::size_t>(p)] -= dh;
  w.d[static_cast<std::size_t>(q)] += dh;
  w.at(p, q) = 0;
  w.at(q, p) = 0;
  double* cp = &w.at(0, p);
  double* cq = &w.at(0, q);
  rotate_range(cp, cq, 0, p, s, tau);
  rotate_range(cp, cq, p + 1, q, s, tau);
  rotate_range(cp, cq, q + 1, w.n, s, tau);
  for (int j = 0; j < w.n; ++j) {
    w.at(p, j) = cp[j];
    w.at(q, j) = cq[j];
  }
  if (vectors) rotate_range(&w.vec(0, p), &w.vec(0, q), 0, w.n, s, tau);
}

inline void fold(Work& w) {
  for (std::size_t i = 0; i < w.d.size(); ++i) {
    w.b[i] += w.z[i];
    w.d[i] = w.b[i];
    w.z[i] = 0;
  }
}

struct Outcome {
  bool converged = false;
  long rotations = 0;
  int sweeps = 0;
};

inline Outcome run(Work& w, const JacobiOptions& o) {
  Outcome out;
  const double n2 = static_cast<double>(w.n) * w.n;
  double unit = 0;
  for (double x : w.a) unit = std::max(unit, std::abs(x));
  for (double x : w.d) unit = std::max(unit, std::abs(x));
  if (unit == 0) unit = 1;
  double norm = 0;  // in units of `unit`
  for (double x : w.d) norm += (x / unit) * (x / unit);
  const double off0 = off_norm(w, unit);
  norm = std::sqrt(norm + off0 * off0);
  for (int sweep = 1;; ++sweep) {
    const double sm = off_sum(w);
    if (sm == 0 || (o.converge > 0 && off_norm(w, unit) <= o.converge * norm)) {
      out.converged = true;
      fold(w);
      return out;
    }
    if (sweep > o.max_sweeps) {
      fold(w);
      return out;
    }
    out.sweeps = sweep;
    const double tresh = sweep <= o.threshold_sweeps ? o.threshold * sm / n2 : 0.0;
    const bool zero_test = sweep > o.threshold_sweeps + 1;
    for (int p = 0; p < w.n - 1; ++p)
      for (int q = p + 1; q < w.n; ++q) {
        const double g = std::abs(w.at(p, q));
        if (zero_test && g <= o.zero * std::abs(w.d[static_cast<std::size_t>(p)]) &&
            g <= o.zero * std::abs(w.d[static_cast<std::size_t>(q)])) {
          w.at(p, q) = 0;
          w.at(q, p) = 0;
        } else if (g > tresh) {
          rotate(w, p, q, o.vectors);
          ++out.rotations;
        }
      }
    if (sweep % o.fold_every == 0) fold(w);
  }
}

// Sorts eigenvalues ascending (vectors along) and signs every vector so its
// largest component (the first of equal ones) is positive.
inline void finish(Work& w, std::vector<int>& order, bool vectors) {
  order.resize(static_cast<std::size_t>(w.n));
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(),
                   [&](int x, int y) { return w.d[static_cast<std::size_t>(x)] < w.d[static_cast<std::size_t>(y)]; });
  if (!vectors) return;
  for (int k = 0; k < w.n; ++k) {
    double* col = &w.vec(0, k);
    int big = 0;
    for (int i = 1; i < w.n; ++i)
      if (std::abs(col[i]) > std::abs(col[big])) big = i;
    if (col[big] < 0)
      for (int i = 0; i < w.n; ++i) col[i] = -col[i];
  }
}

}  // namespace jacobi

template <class N, class Matrix, class Values, class Vectors, class Status>
void rutishauser(const N& nv, const Matrix& a, Values& b, Vectors& U, Status& tag1, Status& tag2, Status& iter,
                 const JacobiOptions& o) {
  assign_status(tag1, 0);
  const int n = int16_of(nv);
  if (n < 0) throw Error(err::kInvalidCall);
  jacobi::Work w;
  w.n = n;
  const auto nn = static_cast<std::size_t>(n);
  w.a.assign(nn * nn, 0.0);
  w.d.assign(nn, 0.0);

  // Read (and so check) every position before anything is written.
  double biggest = 0;
  auto read = [&](int i, int j) {
    const double x = number_of(a(i, j));
    if (!std::isfinite(x)) throw Error(err::kOverflow);
    biggest = std::max(biggest, std::abs(x));
    return x;
  };
  for (int j = 1; j <= n; ++j)
    for (int i = 1; i <= (o.upper_only ? j : n); ++i) {
      const double x = read(i, j);
      if (i == j) w.d[static_cast<std::size_t>(i - 1)] = x;
      else {
        w.at(i - 1, j - 1) = x;
        if (o.upper_only) w.at(j - 1, i - 1) = x;
      }
    }
  if (n > 0) {
    (void)b(1), (void)b(n);
    if (o.vectors) (void)U(1, 1), (void)U(n, n), (void)U(1, n), (void)U(n, 1);
  }
  if (!o.upper_only) {
    for (int j = 1; j <= n; ++j)
      for (int i = j + 1; i <= n; ++i) {
        const double lower = number_of(a(i, j));
        double& up = w.at(j - 1, i - 1);
        if (!(std::abs(up - lower) <= o.symmetry * biggest)) {
          assign_status(tag1, 2);
          assign_status(tag2, 0);
          assign_status(iter, 0);
          return;
        }
        up = 0.5 * up + 0.5 * lower;
        w.at(i - 1, j - 1) = up;
      }
  }
  w.b = w.d;
  w.z.assign(nn, 0.0);
  if (o.vectors) {
    w.v.assign(nn * nn, 0.0);
    for (int i = 0; i < n; ++i) w.vec(i, i) = 1;
  }
  const jacobi::Outcome out = jacobi::run(w, o);
  std::vector<int> order;
  jacobi::finish(w, order, o.vectors);

  for (int k = 1; k <= n; ++k) assign_number(b(k), w.d[static_cast<std::size_t>(order[static_cast<std::size_t>(k - 1)])]);
  if (o.vectors)
    for (int k = 1; k <= n; ++k) {
      const int src = order[static_cast<std::size_t>(k - 1)];
      for (int i = 1; i <= n; ++i) assign_number(U(i, k), w.vec(i - 1, src));
    }
  assign_status(tag1, out.converged ? 0 : 1);
  // Rotations exceed 16 bits from n of about 100: such counts are written as 32-bit integers.
  assign_count(tag2, static_cast<std::int32_t>(std::min<long>(out.rotations, 2147483647L)));
  assign_status(iter, static_cast<std::int16_t>(out.sweeps));
}

}  // namespace kor::linalg
