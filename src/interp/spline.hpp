// The cubic-spline family: coefficients (spline), interval search
// (spl_locate), derivative (splder), value (splinp), integral (splint) and
// the direct interpolation that keeps its coefficients (sinterp).
//
// The knots are X(imin..imax), Y(imin..imax); Y2 holds the auxiliary value of
// every knot as spline() leaves it.  The recurrence of spline() is this
// library's own (its interior right-hand side is the difference of the two
// neighbouring chord slopes with the second divided by p), so the values are
// not those of the textbook spline; every method of the family depends on it.
// End slopes at or below -9998.999 ask for the chord estimate, at or above
// 9998.999 for a natural end.
#pragma once

#include <cmath>
#include <cstdint>
#include <utility>

#include "component/arith.hpp"
#include "component/elements.hpp"
#include "component/flavour.hpp"
#include "kor/message.hpp"

namespace kor::interp {

inline constexpr double kSlopeEstimate = -9998.999;
inline constexpr double kSlopeNatural = 9998.999;
inline constexpr const char* kSplineTitle = "SPLINE";
inline constexpr const char* kBadInputMessage = " Špatné vstup. hodnoty ";

// Where a companion array's position 0 would lie, if it is dense and holds
// imin..imax; nullptr otherwise (nothing is fetched then).
template <class A>
const double* companion_base(const A& a, std::int32_t imin, std::int32_t imax) {
  if constexpr (dense_doubles<A>::value) {
    if (imin <= imax && a.contains(imin) && a.contains(imax))
      return &const_cast<A&>(a).at_unchecked(imin) - imin;
  }
  return nullptr;
}

// Knot counts above which the interval search guesses and fetches ahead
// (below, the bisection runs in cache, where a wrong guess costs more than
// a right one saves).
inline constexpr std::int32_t kLargeTable = 1 << 15;

struct Interval {
  std::int32_t klo;
  std::int32_t khi;
  double h;
};

// Where xx would lie if the knots imin..imax were evenly spaced, as a
// position in imin..imax-1.  Only a guess: follow_guess checks it against
// the knots the bisection compares.  A span of zero, a NaN or a point
// outside the knots gives an end position (the comparisons fail for NaN).
inline std::int32_t interpolated_guess(const double* base, std::int32_t imin, std::int32_t imax, double xx) {
  const double last = static_cast<double>(imax) - imin - 1;
  const double t = (xx - base[imin]) / (base[imax] - base[imin]) * (last + 1);
  if (!(t > 0)) return imin;
  if (!(t < last)) return imax - 1;
  return imin + static_cast<std::int32_t>(t);
}

// Takes the bisection's own steps over [lo, hi] while each agrees with the
// guess.  The guess alone chooses the next midpoint, so the knots of all the
// levels are loaded together instead of one after another; the first knot
// that disagrees ends the walk, and the bisection goes on from that level.
// Where the guess holds, the interval is the one the bisection finds.
inline void follow_guess(const double* base, double xx, std::int32_t guess, std::int32_t& lo, std::int32_t& hi) {
  while (hi - lo > 1) {
    const std::int32_t k = lo + ((hi - lo) >> 1);
    const bool right = guess >= k;
    if (right == (base[k] > xx)) return;
    (right ? lo : hi) = k;
  }
}

// SplLocate: bisection for the knot interval of xx.  A point on an interior
// knot belongs to the interval on its right; points outside the knots fall
// in the first or last interval.  A zero-width interval shows a message (the
// caller's division by h then fails).
//
// `companions` are arrays the caller reads at the interval found (Y, Y2):
// on dense storage of a large table their lines are fetched while the last
// levels are compared.
template <class Knots, class... Companions>
Interval spl_locate(std::int32_t imin, std::int32_t imax, const Knots& x, double xx,
                    const Companions&... companions) {
  Interval r{imin, imax, 0};
  if constexpr (is_safe_array<Knots>::value) {
    if (imin <= imax && x.contains(imin) && x.contains(imax)) {
      // Every position the bisection can visit exists: walk the storage
      // directly.  The midpoint lo + (hi - lo) / 2 is the floor of
      // (lo + hi) / 2 without its overflow.
      const auto* base = &const_cast<Knots&>(x).at_unchecked(imin) - imin;
      std::int32_t lo = imin, hi = imax;
      if (hi - lo > kLargeTable) {
        // A large table lives in memory, not in cache.  Knots evenly spaced
        // are found by following the guess, all levels' knots and the
        // companions' lines at the guess fetched at once.  Otherwise the
        // halves are chosen by a jump, so the processor runs ahead on the
        // half it guesses; the two knots of the next level and, near the
        // end, the companions' lines are fetched meanwhile.  (The empty
        // statement keeps the compiler from turning the jump into a
        // conditional move.)
        const double* nearby[] = {companion_base(companions, imin, imax)..., nullptr};
        if constexpr (dense_doubles<Knots>::value) {
          const std::int32_t guess = interpolated_guess(base, imin, imax, xx);
          for (const double* c : nearby)
            if (c) __builtin_prefetch(c + guess);
          follow_guess(base, xx, guess, lo, hi);
        }
        while (hi - lo > 1) {
          const std::int32_t k = lo + ((hi - lo) >> 1);
          __builtin_prefetch(base + lo + ((k - lo) >> 1));
          __builtin_prefetch(base + k + ((hi - k) >> 1));
          if (hi - lo <= 16)
            for (const double* c : nearby)
              if (c) __builtin_prefetch(c + lo);
          if (number_of(base[k]) > xx) {
            hi = k;
            asm volatile("");
          } else {
            lo = k;
          }
        }
      }
      // In cache, a conditional move is faster than a jump mispredicted
      // half the time.
      while (hi - lo > 1) {
        const std::int32_t k = lo + ((hi - lo) >> 1);
        const bool right = !(number_of(base[k]) > xx);
        lo = right ? k : lo;
        hi = right ? hi : k;
      }
      r.klo = lo;
      r.khi = hi;
      r.h = arith::sub(number_of(base[hi]), number_of(base[lo]));
      if (r.h == 0) ShowMessage(kBadInputMessage, style::kCritical, kSplineTitle);
      return r;
    }
  }
  while (r.khi - r.klo > 1) {
    const auto k = static_cast<std::int32_t>(std::floor((static_cast<double>(r.khi) + r.klo) / 2));
    if (number_of(x(k)) > xx)
      r.khi = k;
    else
      r.klo = k;
  }
  r.h = arith::sub(number_of(x(r.khi)), number_of(x(r.klo)));
  if (r.h == 0) ShowMessage(kBadInputMessage, style::kCritical, kSplineTitle);
  return r;
}

// A quotient stored into the caller's Y2.  Splined stores the result first
// and then the runtime tests it, so a faulty quotient (a division by zero,
// an overflow) is in the cell when the error is raised; Spline's Variant
// division raises before anything is stored.
template <class Flavour, class Cell>
void store_quotient(Cell& cell, double num, double den) {
  if constexpr (Flavour::is_double) {
    const double q = num / den;
    assign_number(cell, q);
    if (den == 0) throw Error(err::kDivisionByZero);
    arith::checked(q);
  } else {
    assign_number(cell, arith::div(num, den));
  }
}

// Spline: the auxiliary values Y2(imin..imax).
template <class Flavour, class I, class Xs, class Ys, class Slope, class Out>
void spline(const I& imin_arg, const I& imax_arg, const Xs& x, const Ys& y, const Slope& y1min_arg,
            const Slope& y1max_arg, Out& y2) {
  using arith::add;
  using arith::div;
  using arith::mul;
  using arith::sub;
  const std::int32_t imin = int32_of(imin_arg);
  const std::int32_t imax = int32_of(imax_arg);
  // The work array is addressed with the knot subscripts but dimensioned
  // 0 .. imax-imin+1, so it serves imin of 0, 1 or 2 only: a larger imin
  // fails with error 9, as clients have always seen.
  const std::int64_t upper = std::int64_t{imax} - imin + 1;
  if (upper < 0 || upper > INT32_MAX) throw Error(err::kSubscript);
  DoubleArray w(Bounds{0, static_cast<std::int32_t>(upper)});
  if (imin == imax) {
    ShowMessage(Flavour::is_double ? " SPLINED - zadan jen 1 bod!" : " SPLINE - zadan jen 1 bod!",
                style::kCritical, kSplineTitle);
    return;
  }
  auto X = [&](std::int32_t i) { return number_of(x(i)); };
  auto Y = [&](std::int32_t i) { return number_of(y(i)); };
  auto Y2 = [&](std::int32_t i) { return number_of(y2(i)); };
  double y1min = number_of(y1min_arg);
  double y1max = number_of(y1max_arg);
  if (y1min <= kSlopeEstimate) y1min = div(sub(Y(imin + 1), Y(imin)), sub(X(imin + 1), X(imin)));
  if (y1max <= kSlopeEstimate) y1max = div(sub(Y(imax), Y(imax - 1)), sub(X(imax), X(imax - 1)));

  if (y1min >= kSlopeNatural) {
    assign_integer(y2(imin), 0);
    w(imin) = 0;
  } else {
    assign_number(y2(imin), -0.5);
    const double dx = sub(X(imin + 1), X(imin));
    w(imin) = mul(div(3, dx), sub(div(sub(Y(imin + 1), Y(imin)), dx), y1min));
  }
  for (std::int32_t i = imin + 1; i <= imax - 1; ++i) {
    const double sig = div(sub(X(i), X(i - 1)), sub(X(i + 1), X(i - 1)));
    const double p = add(mul(sig, Y2(i - 1)), 2);
    store_quotient<Flavour>(y2(i), sub(sig, 1), p);
    w(i) = sub(div(sub(Y(i + 1), Y(i)), sub(X(i + 1), X(i))), div(div(sub(Y(i), Y(i - 1)), sub(X(i), X(i - 1))), p));
  }
  double qn = 0, un = 0;
  if (!(y1max >= kSlopeNatural)) {
    qn = 0.5;
    const double dx = sub(X(imax), X(imax - 1));
    un = mul(div(3, dx), sub(y1max, div(sub(Y(imax), Y(imax - 1)), dx)));
  }
  const double top = sub(un, mul(qn, w(imax - 1)));
  store_quotient<Flavour>(y2(imax), top, add(mul(qn, Y2(imax - 1)), 1));
  for (std::int32_t k = imax - 1; k >= imin; --k) {
    const double y2k = Y2(k);
    const double y2next = Y2(k + 1);
    if constexpr (Flavour::is_double) {
      // The sum is stored, then tested.
      const double v = y2k * y2next + w(k);
      assign_number(y2(k), v);
      arith::checked(v);
    } else {
      assign_number(y2(k), add(mul(y2k, y2next), w(k)));
    }
  }
}

// Splder: the first derivative; outside the knots, the one at the nearer end knot.
template <class Xs, class Ys, class Y2s>
double splder(std::int32_t imin, std::int32_t imax, const Xs& x, const Ys& y, const Y2s& y2,
              double xx) {
  using arith::add;
  using arith::div;
  using arith::mul;
  using arith::sub;
  const Interval in = spl_locate(imin, imax, x, xx);
  double a = div(sub(number_of(x(in.khi)), xx), in.h);
  double b = div(sub(xx, number_of(x(in.klo))), in.h);
  if (b < 0) {
    a = 1;
    b = 0;
  } else if (a < 0) {
    a = 0;
    b = 1;
  }
  const double hi = mul(mul(sub(mul(mul(3, b), b), 1), number_of(y2(in.khi))), in.h);
  const double lo = mul(mul(sub(mul(mul(3, a), a), 1), number_of(y2(in.klo))), in.h);
  return add(div(sub(hi, lo), 6), div(sub(number_of(y(in.khi)), number_of(y(in.klo))), in.h));
}

// The value of the cubic between two knots, at a = (x(khi) - xx) / h and
// b = (xx - x(klo)) / h, in the operations of Ops.
struct CubicPoint {
  double a, b, h, y2lo, y2hi, ylo, yhi;
};

template <class Ops>
inline double cubic_value(const CubicPoint& p) {
  using O = Ops;
  double ca, cb;
  O::cubes(p.a, p.b, ca, cb);
  const double cubic = O::add(O::mul(O::sub(ca, p.a), p.y2lo), O::mul(O::sub(cb, p.b), p.y2hi));
  return O::add(O::add(O::mul(p.a, p.ylo), O::mul(p.b, p.yhi)), O::div(O::mul(cubic, O::mul(p.h, p.h)), 6));
}

KOR_FUSED inline double cubic_value_fused(const CubicPoint& p) { return cubic_value<arith::Unchecked<true>>(p); }

// Unchecked first: every operation takes a non-finite operand on to the
// result (none divides by a computed value), so a finite result means that
// no step failed.  Otherwise step by step, to raise where a step fails.
inline double cubic_value_of(const CubicPoint& p) {
  const double v = cpu::has_fused_multiply_add() ? cubic_value_fused(p) : cubic_value<arith::Unchecked<>>(p);
  if (std::isfinite(v)) [[likely]] return v;
  return cubic_value<arith::Checked>(p);
}

// Splinp: the value; outside the knots, a straight line along the end slope.
template <class Xs, class Ys, class Y2s>
double splinp(std::int32_t imin, std::int32_t imax, const Xs& x, const Ys& y, const Y2s& y2,
              double xx) {
  using arith::add;
  using arith::div;
  using arith::mul;
  using arith::sub;
  const Interval in = spl_locate(imin, imax, x, xx, y, y2);
  if constexpr (dense_doubles<Xs>::value && dense_doubles<Ys>::value && dense_doubles<Y2s>::value) {
    // Three arrays of doubles holding imin..imax: the common case reads them
    // in place and computes without checks.  h is finite, so a quotient
    // that comes out finite had no fault (an overflowed difference divides
    // to an infinity); the two differences add up to h, so a zero-width
    // interval gives infinities of both signs or 0/0, never two quotients
    // of at least 0.  Anything else (that interval, a point outside the
    // knots, a fault) goes the checked way below, which raises where a step
    // fails.
    const double* xs = companion_base(x, imin, imax);
    const double* ys = companion_base(y, imin, imax);
    const double* y2s = companion_base(y2, imin, imax);
    if (xs && ys && y2s) {
      const double a = (xs[in.khi] - xx) / in.h;
      const double b = (xx - xs[in.klo]) / in.h;
      if (a >= 0 && b >= 0)
        return cubic_value_of({a, b, in.h, y2s[in.klo], y2s[in.khi], ys[in.klo], ys[in.khi]});
    }
  }
  const double a = div(sub(number_of(x(in.khi)), xx), in.h);
  const double b = div(sub(xx, number_of(x(in.klo))), in.h);
  if (b < 0) {
    const double x0 = number_of(x(imin));
    const double d = splder(imin, imax, x, y, y2, x0);
    return add(mul(sub(xx, x0), d), number_of(y(imin)));
  }
  if (a < 0) {
    const double x1 = number_of(x(imax));
    const double d = splder(imin, imax, x, y, y2, x1);
    return add(mul(sub(xx, x1), d), number_of(y(imax)));
  }
  const CubicPoint p{a, b, in.h, number_of(y2(in.klo)), number_of(y2(in.khi)), number_of(y(in.klo)),
                     number_of(y(in.khi))};
  return cubic_value_of(p);
}

// Splint: the integral from poc to kon, by Simpson panels and closed-form
// interval integrals.  A range that does not strictly contain an end knot is
// one Simpson panel over the whole range, however many intervals it spans.
template <class Xs, class Ys, class Y2s>
double splint(std::int32_t imin, std::int32_t imax, const Xs& x, const Ys& y, const Y2s& y2,
              double poc, double kon) {
  using arith::add;
  using arith::div;
  using arith::mul;
  using arith::pow;
  using arith::sub;
  double a = poc, b = kon;
  double sign = 1;
  if (!(a <= b)) {
    std::swap(a, b);
    sign = -1;
  }
  if (std::abs(sub(b, a)) <= 1e-9) return 0.0;
  const double fa = splinp(imin, imax, x, y, y2, a);
  Interval first = spl_locate(imin, imax, x, a);
  const double fb = splinp(imin, imax, x, y, y2, b);
  // Located again with a, not b: the two intervals always agree.
  Interval second = spl_locate(imin, imax, x, a);
  const double xmin = number_of(x(imin));
  const bool c1 = !((a < xmin) & (xmin < b));
  const double xmax = number_of(x(imax));
  const bool c2 = !((a < xmax) & (xmax < b));
  double s;
  if (second.klo == first.klo && c1 && c2) {
    const double d = sub(b, a);
    const double fm = splinp(imin, imax, x, y, y2, add(a, div(d, 2)));
    s = mul(add(add(fa, fb), mul(4, fm)), div(d, 6));
  } else {
    if (a < number_of(x(imin))) first.khi = imin;
    if (number_of(x(imax)) < b) second.klo = imax;
    double d = sub(number_of(x(first.khi)), a);
    double fm = splinp(imin, imax, x, y, y2, add(a, div(d, 2)));
    s = mul(add(add(mul(4, fm), fa), number_of(y(first.khi))), div(d, 6));
    d = sub(b, number_of(x(second.klo)));
    fm = splinp(imin, imax, x, y, y2, sub(b, div(d, 2)));
    s = add(s, mul(add(add(mul(4, fm), fb), number_of(y(second.klo))), div(d, 6)));
    for (std::int32_t i = first.khi; i <= second.klo - 1; ++i) {
      const double h = sub(number_of(x(i + 1)), number_of(x(i)));
      const double trap = div(mul(add(number_of(y(i)), number_of(y(i + 1))), h), 2);
      const double corr = div(mul(add(number_of(y2(i)), number_of(y2(i + 1))), pow(h, 3)), 24);
      s = sub(add(s, trap), corr);
    }
  }
  return mul(sign, s);
}

// Sinterp: spline and evaluation in one call, keeping the auxiliary values in
// the object's own array of the flavour while ipoc is non-zero.
template <class Flavour, class N, class Xs, class Ys, class Real, class Status>
double sinterp(typename Flavour::Array& stored, const N& n, const N& npoc, const Xs& x, const Ys& y,
               const Real& xi, const Real& y1min, const Real& y1max, Status& ipoc) {
  const std::int32_t count = int32_of(n);
  if (count < 0) throw Error(err::kSubscript);
  if (number_of(ipoc) == 0) {
    stored.redim(Bounds{0, count});
  } else {
    // Keep the values whose subscripts remain.
    typename Flavour::Array kept(Bounds{0, count});
    if (stored.allocated())
      for (std::int32_t i = 0; i <= count && i <= stored.ubound(1); ++i) kept(i) = stored(i);
    stored = std::move(kept);
  }
  const double last = number_of(n) + number_of(npoc) - 1;
  if (number_of(ipoc) == 0) {
    spline<Flavour>(number_of(npoc), last, x, y, y1min, y1max, stored);
    assign_status(ipoc, 1);
  }
  return splinp(int32_of(npoc), subscript(last), x, y, stored, number_of(xi));
}

}  // namespace kor::interp
