// Matrix inversion that keeps the input intact.
//
//   invert(n, ap, ainv, id, ep)
//
// copies ap(1..n, 1..n) into a local work matrix C, reduces C to upper
// triangular form by elimination with partial pivoting while applying the
// same row operations to an identity held in ainv, and obtains the inverse
// column by column by back substitution.  A pivot with |C(k,k)| <= ep stops
// with id = 1 (ainv partly transformed); success writes id = 0.  id is not
// touched on entry.  ep is the threshold already resolved by the caller
// (its default applies only to an omitted Variant).
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <span>
#include <type_traits>
#include <vector>

#include "component/arith.hpp"
#include "component/elements.hpp"
#include "linalg/gauss.hpp"

namespace kor::linalg {

// The variant flavour's threshold when EP is omitted.
inline constexpr double kInvertDefaultEp = 1e-6;


namespace detail {

// The element-by-element inversion, every access checked.  Work is the
// element type of the local matrix (Variant or double).
template <class Work, class N, class MatrixIn, class MatrixOut, class Status, class Ep>
void invert_checked(const N& n, const MatrixIn& ap, MatrixOut& ainv, Status& id, const Ep& ep) {
  auto bound_n = [&] { return count16(number_of(n)); };
  SafeArray<Work> c(upto(bound_n()), upto(bound_n()));
  for (int i = 1, imax = bound_n(); i <= imax; ++i)
    for (int j = 1, jmax = bound_n(); j <= jmax; ++j) {
      assign_integer(ainv(i, j), 0);
      c(i, j) = static_cast<Work>(cell_value(ap(i, j)));
    }
  for (int i = 1, imax = bound_n(); i <= imax; ++i) assign_integer(ainv(i, i), 1);

  for (int k = 1, kmax = bound_n(); k <= kmax; ++k) {
    const int p = find_pivot(k, bound_n(), [&](int i) { return number_of(c(i, k)); }).p;
    if (k < p) {
      for (int j = k, jmax = bound_n(); j <= jmax; ++j) swap_cells(c(k, j), c(p, j));
      for (int j = 1, jmax = bound_n(); j <= jmax; ++j) swap_cells(ainv(k, j), ainv(p, j));
    }
    if (std::abs(number_of(c(k, k))) <= number_of(ep)) {
      assign_status(id, 1);
      return;
    }
    if (k < bound_n()) {
      for (int i = k + 1, imax = bound_n(); i <= imax; ++i) {
        if (number_of(c(i, k)) == 0) continue;
        const double f = arith::div(number_of(c(i, k)), number_of(c(k, k)));
        for (int j = k + 1, jmax = bound_n(); j <= jmax; ++j)
          assign_number(c(i, j), arith::sub(number_of(c(i, j)), arith::mul(number_of(c(k, j)), f)));
        for (int j = 1, jmax = bound_n(); j <= jmax; ++j)
          assign_number(ainv(i, j), arith::sub(number_of(ainv(i, j)), arith::mul(number_of(ainv(k, j)), f)));
      }
    }
  }
  const int nn = bound_n();
  for (int m = 1; m <= nn; ++m)
    for (int i = nn; i >= 1; --i) {
      double s = 0;
      if (i < nn)
        for (int j = i + 1; j <= nn; ++j) s = arith::add(s, arith::mul(number_of(c(i, j)), number_of(ainv(j, m))));
      assign_number(ainv(i, m), arith::div(arith::sub(number_of(ainv(i, m)), s), number_of(c(i, i))));
    }
  assign_status(id, 0);
}

// The fast path for dense double matrices whose positions all exist.  The
// local matrix is kept by rows (row i of C is contiguous), the inverse is the
// caller's column-major storage.
template <class Status>
void invert_dense(int n, const double* ap, std::size_t ldp, double* x, std::size_t ldx, Status& id,
                  double ep) {
  const std::size_t un = static_cast<std::size_t>(n);
  // Small matrices keep their work space on the stack.
  double small_c[16 * 16], small_f[17];
  char small_live[17];
  std::vector<double> big_c, big_f;
  std::vector<char> big_live;
  double* cdata = small_c;
  double* f = small_f;
  char* live = small_live;
  if (n > 16) {
    big_c.resize(un * un);
    big_f.resize(un + 1);
    big_live.resize(un + 1);
    cdata = big_c.data();
    f = big_f.data();
    live = big_live.data();
  }
  const std::span<double> cbuf(cdata, un * un);
  auto C = [&](int i, int j) -> double& { return cbuf[static_cast<std::size_t>(i - 1) * un + static_cast<std::size_t>(j - 1)]; };
  auto X = [&](int i, int j) -> double& {
    return x[static_cast<std::size_t>(i - 1) + static_cast<std::size_t>(j - 1) * ldx];
  };
  // Large matrices run in panels as far as their values allow (the same
  // operations on every element in the same order); the rest continues here.
  int first_step = 1;
  if (n >= kBlockedMin) {
    const BlockedOutcome b = invert_blocked(n, ap, ldp, x, ldx, ep, cdata);
    if (b.singular || b.next_step > n) {
      assign_status(id, b.singular ? 1 : 0);
      return;
    }
    first_step = b.next_step;
  } else {
    for (int j = 1; j <= n; ++j)
      for (int i = 1; i <= n; ++i) {
        X(i, j) = 0.0;
        C(i, j) = ap[static_cast<std::size_t>(i - 1) + static_cast<std::size_t>(j - 1) * ldp];
      }
    for (int i = 1; i <= n; ++i) X(i, i) = 1.0;
  }

  auto all_within = [&] {
    unsigned bad = 0;
    for (double v : cbuf) bad |= outside(v, kSafe);
    for (int j = 1; j <= n; ++j)
      for (int i = 1; i <= n; ++i) bad |= outside(X(i, j), kSafe);
    return bad == 0;
  };
  const bool vectorise = n > 16;
  bool safe = vectorise && all_within();

  for (int k = first_step; k <= n; ++k) {
    const int p = find_pivot(k, n, [&](int i) { return C(i, k); }).p;
    if (k < p) {
      for (int j = k; j <= n; ++j) std::swap(C(k, j), C(p, j));
      for (int j = 1; j <= n; ++j) std::swap(X(k, j), X(p, j));
    }
    if (std::abs(C(k, k)) <= ep) {
      assign_status(id, 1);
      return;
    }
    if (k == n) break;
    double f_bound = 0;
    bool any = false;
    for (int i = k + 1; i <= n; ++i) {
      const bool nz = C(i, k) != 0;
      live[static_cast<std::size_t>(i)] = nz;
      if (nz) {
        const double fi = arith::div(C(i, k), C(k, k));
        f[static_cast<std::size_t>(i)] = fi;
        f_bound = std::max(f_bound, std::abs(fi));
        any = true;
      } else {
        f[static_cast<std::size_t>(i)] = 0.0;
      }
    }
    if (!any) continue;
    if (safe && f_bound <= kSafeRow) {
      unsigned bad = 0;
      bool all_live = true;
      for (int i = k + 1; i <= n; ++i) {
        if (!live[static_cast<std::size_t>(i)]) {
          all_live = false;
          continue;
        }
        bad |= !sub_scaled(&C(i, k + 1), &C(k, k + 1), f[static_cast<std::size_t>(i)], n - k, kSafe);
      }
      if (all_live) {
        for (int j = 1; j <= n; ++j) {
          double* xj = &X(1, j);
          bad |= !sub_scaled(xj + k, f + k + 1, xj[k - 1], n - k, kSafe);
        }
        safe = bad == 0;
        continue;
      }
      // The inverse, column by column (its storage order); a row whose C(i,k)
      // is zero is left exactly as it is.
      for (int j = 1; j <= n; ++j) {
        double* xj = &X(1, j);
        const double xk = xj[k - 1];
        for (int i = k + 1; i <= n; ++i) {
          const double v = xj[i - 1] - xk * f[static_cast<std::size_t>(i)];
          const double w = live[static_cast<std::size_t>(i)] ? v : xj[i - 1];
          xj[i - 1] = w;
          bad |= outside(w, kSafe);
        }
      }
      safe = bad == 0;
    } else {
      for (int i = k + 1; i <= n; ++i) {
        if (!live[static_cast<std::size_t>(i)]) continue;
        const double fi = f[static_cast<std::size_t>(i)];
        for (int j = k + 1; j <= n; ++j) C(i, j) = arith::sub(C(i, j), arith::mul(C(k, j), fi));
        for (int j = 1; j <= n; ++j) X(i, j) = arith::sub(X(i, j), arith::mul(X(k, j), fi));
      }
      safe = vectorise && all_within();
    }
  }
  back_substitute_tiled(n, cdata, x, ldx);
  assign_status(id, 0);
}

// Small matrices (the common case) run without a check per operation.  A
// value out of the double range stays non-finite where it was made (C and
// the inverse only ever update a value from itself), so a final scan of both
// tells whether any operation of the element-by-element order would have
// raised; if one would, the element-by-element inversion runs instead on the
// caller's arrays (the input is intact, the inverse is rebuilt from the
// identity), raising where it raises.  Each value sees the same operations
// in the same order, so the results are the same bit for bit.
inline constexpr int kSmallInvert = 16;

// Returns false when an operation went out of range (nothing is reported
// then; the caller replays the checked order).
// FixedN, when not 0, is the order known when compiling (the loops of the
// most common small matrices unroll completely).
template <int FixedN, class Status>
bool invert_small_sized(int n_given, const double* ap, std::size_t ldp, double* x, std::size_t ldx, Status& id,
                        double ep) {
  const int n = FixedN ? FixedN : n_given;
  double c[kSmallInvert][kSmallInvert];  // c[i-1][j-1]: rows contiguous
  double f[kSmallInvert + 1];
  auto X = [&](int i, int j) -> double& {
    return x[static_cast<std::size_t>(i - 1) + static_cast<std::size_t>(j - 1) * ldx];
  };
  auto C = [&](int i, int j) -> double& { return c[i - 1][j - 1]; };
  for (int j = 1; j <= n; ++j)
    for (int i = 1; i <= n; ++i) {
      X(i, j) = 0.0;
      C(i, j) = ap[static_cast<std::size_t>(i - 1) + static_cast<std::size_t>(j - 1) * ldp];
    }
  for (int i = 1; i <= n; ++i) X(i, i) = 1.0;
  auto in_range = [&] {
    constexpr double kMax = std::numeric_limits<double>::max();
    return !(any_outside(&C(1, 1), n, n, kSmallInvert, kMax) | any_outside(x, n, n, ldx, kMax));
  };
  for (int k = 1; k <= n; ++k) {
    const int p = find_pivot(k, n, [&](int i) { return C(i, k); }).p;
    if (k < p) {
      for (int j = k; j <= n; ++j) std::swap(C(k, j), C(p, j));
      for (int j = 1; j <= n; ++j) std::swap(X(k, j), X(p, j));
    }
    if (std::abs(C(k, k)) <= ep) {
      if (!in_range()) return false;
      assign_status(id, 1);
      return true;
    }
    for (int i = k + 1; i <= n; ++i) {
      if (C(i, k) == 0) {
        f[i] = 0;
        continue;
      }
      const double fi = C(i, k) / C(k, k);
      f[i] = fi;
      for (int j = k + 1; j <= n; ++j) C(i, j) = C(i, j) - C(k, j) * fi;
    }
    // The inverse by columns (its storage order); rows with C(i,k) = 0 skipped.
    for (int j = 1; j <= n; ++j) {
      const double xk = X(k, j);
      for (int i = k + 1; i <= n; ++i)
        if (C(i, k) != 0) X(i, j) = X(i, j) - xk * f[i];
    }
  }
  // The back substitution, four columns at a time: each column's sums run
  // in their own order, and the columns' chains of additions and divisions
  // overlap instead of waiting for each other.
  auto solve = [&]<int kColumns>(int m) {
    for (int i = n; i >= 1; --i) {
      double s[kColumns] = {};
      for (int j = i + 1; j <= n; ++j)
        for (int t = 0; t < kColumns; ++t) s[t] = s[t] + C(i, j) * X(j, m + t);
      for (int t = 0; t < kColumns; ++t) X(i, m + t) = (X(i, m + t) - s[t]) / C(i, i);
    }
  };
  int m = 1;
  for (; m + 3 <= n; m += 4) solve.template operator()<4>(m);
  for (; m <= n; ++m) solve.template operator()<1>(m);
  if (!in_range()) return false;
  assign_status(id, 0);
  return true;
}

template <class Status>
bool invert_small(int n, const double* ap, std::size_t ldp, double* x, std::size_t ldx, Status& id, double ep) {
  switch (n) {
    case 2: return invert_small_sized<2>(n, ap, ldp, x, ldx, id, ep);
    case 3: return invert_small_sized<3>(n, ap, ldp, x, ldx, id, ep);
    case 4: return invert_small_sized<4>(n, ap, ldp, x, ldx, id, ep);
    case 5: return invert_small_sized<5>(n, ap, ldp, x, ldx, id, ep);
    case 6: return invert_small_sized<6>(n, ap, ldp, x, ldx, id, ep);
    default: return invert_small_sized<0>(n, ap, ldp, x, ldx, id, ep);
  }
}

// Address of a cell, as an integer to compare with the ends of an array.
template <class T>
std::uintptr_t address_of(const T* p) {
  return reinterpret_cast<std::uintptr_t>(p);
}

// The Variant flavour on cells that all hold Doubles: the values are taken
// into a dense matrix, inverted by the double flavour's kernels, and the
// inverse is stored as Doubles, which is what the element-by-element order
// leaves on success.  Whenever that order would leave something else (a
// singular matrix leaves integer zeros and ones, a failed operation leaves a
// partial inverse) or could see something else (a count or threshold that is
// a cell of the inverse, a value read through client code), the fast path
// gives up, having written nothing, and false sends the caller to the
// element-by-element order.
template <class N, class MatrixIn, class MatrixOut, class Status, class Ep>
bool invert_double_cells(const N& n, const MatrixIn& ap, MatrixOut& ainv, Status& id, const Ep& ep) {
  using InCell = std::remove_cvref_t<decltype(ap(1, 1))>;
  using Cells = double_cell<InCell>;
  if (!plain_number(n) || !plain_number(ep)) return false;
  const double nd = number_of(n);
  if (!(nd >= 1 && nd <= 32767 && nd == std::trunc(nd))) return false;
  const int ni = static_cast<int>(nd);
  if (!(ap.contains(1, 1) && ap.contains(ni, ni) && ainv.contains(1, 1) && ainv.contains(ni, ni))) return false;
  const auto first = address_of(&ainv.at_unchecked(1, 1));
  const auto last = address_of(&ainv.at_unchecked(ni, ni) + 1);
  const auto written = [&](std::uintptr_t p) { return p >= first && p < last; };
  if (written(address_of(referent(n))) || written(address_of(referent(ep))) || written(address_of(referent(id))) ||
      written(address_of(&const_cast<MatrixIn&>(ap).at_unchecked(1, 1))) ||
      written(address_of(&const_cast<MatrixIn&>(ap).at_unchecked(ni, ni))))
    return false;
  const std::size_t un = static_cast<std::size_t>(ni);
  std::vector<double> a(un * un), x(un * un);
  for (int j = 1; j <= ni; ++j)
    for (int i = 1; i <= ni; ++i) {
      auto& cell = const_cast<MatrixIn&>(ap).at_unchecked(i, j);
      if (!Cells::holds_double(cell) || !overwrites_plainly(ainv.at_unchecked(i, j))) return false;
      a[static_cast<std::size_t>(i - 1) + static_cast<std::size_t>(j - 1) * un] = *Cells::slot(cell);
    }
  const double threshold = number_of(ep);
  Variant status;
  if (ni <= kSmallInvert) {
    if (!invert_small(ni, a.data(), un, x.data(), un, status, threshold)) return false;
  } else {
    try {
      invert_dense(ni, a.data(), un, x.data(), un, status, threshold);
    } catch (const Error&) {
      return false;
    }
  }
  if (status.to_int16() != 0) return false;
  for (int j = 1; j <= ni; ++j)
    for (int i = 1; i <= ni; ++i)
      assign_number(ainv.at_unchecked(i, j), x[static_cast<std::size_t>(i - 1) + static_cast<std::size_t>(j - 1) * un]);
  assign_status(id, 0);
  return true;
}

}  // namespace detail

// The threshold ep is read where the pivot is compared with it (a Variant
// that holds no number fails there, after the identity has been written).
template <class N, class MatrixIn, class MatrixOut, class Status, class Ep>
void invert(const N& n, const MatrixIn& ap, MatrixOut& ainv, Status& id, const Ep& ep) {
  using Cell = std::remove_cvref_t<decltype(ap(1, 1))>;
  if constexpr (dense_doubles<MatrixIn>::value && dense_doubles<MatrixOut>::value) {
    const double nd = number_of(n);
    const int ni = static_cast<int>(nd);
    if (nd >= 1 && nd == std::trunc(nd) && nd <= 32767 && ap.contains(1, 1) && ap.contains(ni, ni) &&
        ainv.contains(1, 1) && ainv.contains(ni, ni) &&
        &const_cast<MatrixIn&>(ap).at_unchecked(1, 1) != &ainv.at_unchecked(1, 1)) {
      if (ni <= detail::kSmallInvert) {
        if (detail::invert_small(ni, &const_cast<MatrixIn&>(ap).at_unchecked(1, 1), ap.column_stride(),
                                 &ainv.at_unchecked(1, 1), ainv.column_stride(), id, number_of(ep)))
          return;
        detail::invert_checked<double>(n, ap, ainv, id, ep);
        return;
      }
      detail::invert_dense(ni, &const_cast<MatrixIn&>(ap).at_unchecked(1, 1), ap.column_stride(),
                           &ainv.at_unchecked(1, 1), ainv.column_stride(), id, number_of(ep));
      return;
    }
  }
  if constexpr (is_safe_array<MatrixIn>::value && is_safe_array<MatrixOut>::value && double_cell<Cell>::value) {
    if (detail::invert_double_cells(n, ap, ainv, id, ep)) return;
  }
  using Work = std::conditional_t<std::is_same_v<Cell, double>, double, Variant>;
  detail::invert_checked<Work>(n, ap, ainv, id, ep);
}

}  // namespace kor::linalg
