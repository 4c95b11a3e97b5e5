// The Runge-Kutta-Merson integrator with automatic step control.
//
// Integrates nn equations y' = f(x, y) from xb to xe; the client's
// FKT(nn, xb, Y, K, zz) writes f into K, with the caller's own xb and Y as the
// stage variables.  The step size is kept in the object (one per flavour):
// the step a call ends with is the first step of the next call.  There is no
// step limit: a problem whose error estimate stays above Delta at the
// minimum step runs for ever, as it always has.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "component/arith.hpp"
#include "component/elements.hpp"
#include "component/flavour.hpp"
#include "component/pow_fifth.hpp"
#include "component/range_scan.hpp"

// The step's helpers are inlined into its loop, so that the view stays in registers.
#if defined(__GNUC__)
#define KOR_LAMBDA_INLINE __attribute__((always_inline))
#else
#define KOR_LAMBDA_INLINE
#endif

namespace kor::solvers {

inline constexpr double kRkmMinStep = 1e-5;

namespace detail {

// The method's own arrays: the values at the start of the step and the
// slopes of the five stages.
enum Row : int { Y0, K1, K2, K3, K4, K5, kRows };

// Each row's double at position 1, held by value in the raw loops: a copy
// whose address is never taken stays in registers, where pointers read
// through memory would be read again after every store the loop makes.
struct RowStarts {
  const double* at[kRows];
};

// The arithmetic of a stage, written once over the rows at position i:
// checked, on the arrays (every operation raises error 6 when its result is
// not finite), or raw, on their storage from position 1 on.
template <class Array>
struct CheckedOps : arith::Checked {
  explicit CheckedOps(const Array* r) : rows(r) {}
  const Array* rows;
  double at(Row r, int i) const { return number_of(rows[r](i)); }
  static double abs(double a) { return std::abs(a); }
};
struct RawOps : arith::Unchecked<> {
  explicit RawOps(RowStarts r) : rows(r) {}
  RowStarts rows;
  double at(Row r, int i) const { return rows.at[r][i - 1]; }
  static double abs(double a) { return std::abs(a); }
  static bool finite(double a) { return !ranges::outside(a, std::numeric_limits<double>::max()); }
  static void store(double* to, double v) { *to = v; }
  template <class F>
  static void lanes(double v, F f) { f(v); }
};

#if defined(__GNUC__)
// Positions i and i + 1 at once, each lane doing RawOps' operations in the
// same order, so that its doubles are the scalar loop's, bit for bit.
struct RawPairOps {
  using Pair = arith::detail::v2d;
  using Mask = arith::detail::v2l;
  explicit RawPairOps(RowStarts r) : rows(r) {}
  RowStarts rows;
  Pair at(Row r, int i) const {
    Pair v;
    std::memcpy(&v, rows.at[r] + i - 1, sizeof v);
    return v;
  }
  static Pair add(Pair a, Pair b) { return a + b; }
  static Pair sub(Pair a, Pair b) { return a - b; }
  static Pair mul(Pair a, Pair b) { return a * b; }
  static Pair mul(double a, Pair b) { return Pair{a, a} * b; }
  static Pair abs(Pair a) { return reinterpret_cast<Pair>(reinterpret_cast<Mask>(a) & 0x7fffffffffffffffLL); }
  static bool finite(Pair a) {
    const double m = std::numeric_limits<double>::max();
    const Mask in = abs(a) <= Pair{m, m};
#if defined(__SSE2__)
    // Both lanes' signs in one instruction, not each lane moved out apart.
    return __builtin_ia32_movmskpd(reinterpret_cast<Pair>(in)) == 3;
#else
    return in[0] & in[1];
#endif
  }
  static void store(double* to, Pair v) { std::memcpy(to, &v, sizeof v); }
  template <class F>
  static void lanes(Pair v, F f) {
    f(v[0]);
    f(v[1]);
  }
};
#endif

// step(ops, i) at positions i = 1..n on the rows' storage (the starts taken
// by value: see RowStarts), two at a time where the compiler has vector
// types and one at a time after; it stops at the first call that returns
// false.  Returns the position it stopped at, n + 1 when every call went
// through.
template <class Step>
KOR_ALWAYS_INLINE int raw_positions(int n, RowStarts rows, Step step) {
  int i = 1;
#if defined(__GNUC__)
  for (; i < n; i += 2)
    if (!step(RawPairOps{rows}, i)) [[unlikely]] break;
#endif
  for (; i <= n; ++i)
    if (!step(RawOps{rows}, i)) [[unlikely]] break;
  return i;
}

// Where the caller's Y holds doubles at 1..n, its double at position 1.
template <class YArray>
KOR_ALWAYS_INLINE double* dense_from_one(YArray& y, int n) {
  if constexpr (dense_doubles<YArray>::value) {
    if (n >= 1 && n < 32767 && y.contains(1) && y.contains(n)) return &y.at_unchecked(1);
  }
  return nullptr;
}

}  // namespace detail

// star: in, a value <= 0 starts with the saved step and a value > 0 tries
// the whole interval first; out, -1 (single precision) once the step was adapted.
// xb, xe and star are the caller's variables: FKT sees xb move through the
// stages, and star is written only when the step is adapted.
template <class Flavour, class Client, class Count, class Abscissa, class YArray, class Tolerance, class Status,
          class ZArray>
void rkm(Client& client, double& saved_step, const Count& nn_arg, Abscissa& xb, const Abscissa& xe, YArray& y,
         const Tolerance& delta_arg, Status& star, ZArray& zz) {
  using arith::div;
  using arith::mul;
  using arith::sub;
  using Array = typename Flavour::Array;

  Variant nn = cell_value(nn_arg);  // FKT receives the method's own copy
  auto NN = [&] { return int16_of(nn); };
  const int own = NN();
  using detail::Row;
  using enum detail::Row;
  Array w[kRows] = {Array(upto(own)), Array(upto(own)), Array(upto(own)),
                    Array(upto(own)), Array(upto(own)), Array(upto(own))};
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

  // The double flavour's loops run on plain doubles where they can: Y dense
  // at 1..n, with n within the method's own arrays and within every K of the
  // step.  FKT may change nn and, in C++, re-dimension Y or the K it is
  // given, so the view is taken again after every call; yd null sends the
  // loops to the checked ones, which raise where a position is gone.
  double* yd = nullptr;
  int n = 0;
  int k_reach = own;  // every K of this step holds 1..k_reach
  // Each row's double at position 1, taken again after the call that is
  // given the row (the only one that may re-dimension it).
  detail::RowStarts raw = {};
  if constexpr (Flavour::is_double)
    if (own >= 1) raw.at[Y0] = &w[Y0].at_unchecked(1);
  auto look = [&]() KOR_LAMBDA_INLINE {
    if constexpr (Flavour::is_double) {
      n = NN();
      yd = n <= k_reach ? detail::dense_from_one(y, n) : nullptr;
    }
  };
  auto fkt = [&](Row r) KOR_LAMBDA_INLINE {
    Array& k = w[r];
    client.call("FKT", nn, xb, y, k, zz);
    if constexpr (Flavour::is_double) {
      if (k.contains(1)) [[likely]] {
        raw.at[r] = &k.at_unchecked(1);
        if (!k.contains(k_reach)) [[unlikely]] k_reach = k.ubound();
      } else {
        k_reach = 0;
      }
      look();
    }
  };

  // The raw loops test results, not operations.  Every value a stage or an
  // estimate computes is a chain of sums and products, and a sum or product
  // with an infinity or a NaN among its operands is itself an infinity or a
  // NaN: so a finite result had no operation overflow on its way.  A raw
  // stage stores each result once it is seen finite and stops at the first
  // that is not; the checked loop then runs from the start, writes the same
  // cells before it and raises at the operation that fails.
  //
  // Y(i) = value(ops, i) for i = 1..NN(), the checked loop raising at the
  // operation that fails with the cells before it written.
  auto stage = [&](auto value) KOR_LAMBDA_INLINE {
    if constexpr (Flavour::is_double) {
      if (yd) {
        const int stop = detail::raw_positions(n, raw, [&](auto o, int i) KOR_LAMBDA_INLINE {
          const auto v = value(o, i);
          if (!o.finite(v)) [[unlikely]] return false;
          o.store(yd + i - 1, v);
          return true;
        });
        if (stop > n) return;
      }
    }
    for (int i : loop16(1, NN())) assign_number(y(i), value(detail::CheckedOps<Array>{w}, i));
  };

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
    k_reach = own;
    look();
    if (Flavour::is_double && yd)
      std::copy_n(yd, n, &w[Y0].at_unchecked(1));
    else
      for (int i : loop16(1, NN())) w[Y0](i) = cell_value(y(i));
    const double t = div(h, 3);

    assign_value(xb, x0cell);
    fkt(K1);
    stage([&](auto o, int i) { return o.add(o.at(Y0, i), o.mul(t, o.at(K1, i))); });
    assign_number(xb, arith::add(x0, t));
    fkt(K2);
    stage([&](auto o, int i) { return o.add(o.at(Y0, i), o.mul(t, o.mul(0.5, o.add(o.at(K1, i), o.at(K2, i))))); });
    fkt(K3);
    stage([&](auto o, int i) {
      return o.add(o.at(Y0, i), o.mul(t, o.add(o.mul(0.375, o.at(K1, i)), o.mul(1.125, o.at(K3, i)))));
    });
    assign_number(xb, arith::add(x0, mul(0.5, h)));
    fkt(K4);
    stage([&](auto o, int i) {
      return o.add(o.at(Y0, i),
                   o.mul(t, o.add(o.sub(o.mul(1.5, o.at(K1, i)), o.mul(4.5, o.at(K3, i))), o.mul(6, o.at(K4, i)))));
    });
    assign_number(xb, arith::add(x0, h));
    fkt(K5);
    stage([&](auto o, int i) {
      return o.add(o.at(Y0, i), o.mul(t, o.add(o.mul(2, o.at(K4, i)), o.mul(0.5, o.add(o.at(K5, i), o.at(K1, i))))));
    });

    // The error estimate, the largest over the equations.
    auto estimate = [&](auto o, int i) {
      return o.abs(o.sub(o.add(o.sub(o.mul(0.2, o.at(K1, i)), o.mul(0.9, o.at(K3, i))), o.mul(0.8, o.at(K4, i))),
                            o.mul(0.1, o.at(K5, i))));
    };
    double e = 0;
    auto largest = [&e](double ei) {
      if (ei > e) e = ei;
    };
    bool estimated = false;
    if constexpr (Flavour::is_double) {
      if (yd) {
        // The largest of a set does not depend on the order it is read in.
        bool finite = true;
        detail::raw_positions(n, raw, [&](auto o, int i) KOR_LAMBDA_INLINE {
          const auto ei = estimate(o, i);
          finite &= o.finite(ei);
          o.lanes(ei, largest);
          return true;
        });
        estimated = finite;
      }
    }
    if (!estimated) {
      e = 0;
      for (int i : loop16(1, NN())) largest(estimate(detail::CheckedOps<Array>{w}, i));
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
      if (Flavour::is_double && yd)
        for (int i = 1; i <= n; ++i) assign_number(yd[i - 1], raw.at[Y0][i - 1]);
      else
        for (int i : loop16(1, NN())) assign_value(y(i), w[Y0](i));
      assign_value(xb, x0cell);
    }
    h = mul(h, mul(0.8, arith::pow_fifth(div(delta, e))));
    if (std::abs(h) < kRkmMinStep) h = h > 0 ? kRkmMinStep : (h < 0 ? -kRkmMinStep : 0.0);
    saved_step = h;
    assign_value(star, Variant::from_single(-1.0f));
    final_mode = false;
  }
  if (number_of(star) > 0) saved_step = h;
}

}  // namespace kor::solvers

#undef KOR_LAMBDA_INLINE
