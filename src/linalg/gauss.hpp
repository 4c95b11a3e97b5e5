// Gaussian elimination with partial pivoting on an augmented matrix.
//
//   gauss(n, a, ncol, id)
//
// solves the n equations in a(1..n, 1..n) for the ncol right-hand sides in
// a(1..n, n+1..n+ncol), in place: on success a(i, n+m) is unknown i of
// right-hand side m and id is 0; a pivot candidate below 1E-6 (absolute,
// strict) stops at once with id = 1.  One template serves both flavours and
// every host: n and ncol are read with number_of(), the cells through a(i, j),
// the status written with assign_status().  Newton's method calls it on its
// normal equations within its own flavour.
//
// Every product and difference is formed in the stated order
// (a(i,j) - a(k,j)*f, with f read before the row changes), so the results are
// bit for bit the same on every path.  Dense double matrices whose positions
// are all present take a fast path that walks the columns (the storage order)
// instead of the rows; each element still sees exactly the same operations.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "component/arith.hpp"
#include "component/elements.hpp"
#include "linalg/blocked.hpp"
#include "linalg/kernels.hpp"
#include "kor/variant.hpp"

namespace kor::linalg {

inline constexpr double kGaussPivotMin = 1e-6;

namespace detail {

// The element-by-element elimination, every access checked.
template <class N, class Matrix, class NC, class Status>
void gauss_checked(const N& n, Matrix& a, const NC& ncol, Status& id) {
  auto bound_n = [&] { return count16(number_of(n)); };
  auto bound_nc = [&] {
    const double nd = number_of(n);
    return count16(nd + number_of(ncol));
  };
  for (int k : loop16(1, bound_n())) {
    double big = 0;
    int p = 0;
    for (int i : loop16(k, bound_n())) {
      const double v = std::abs(number_of(a(i, k)));
      if (v > big) {
        big = v;
        p = i;
      }
    }
    if (big < kGaussPivotMin) {
      assign_status(id, 1);
      return;
    }
    const double pivot = number_of(a(p, k));
    if (p != k)
      for (int j : loop16(k, bound_nc())) swap_cells(a(k, j), a(p, j));
    for (int j : loop16(1, bound_nc())) assign_number(a(k, j), arith::div(number_of(a(k, j)), pivot));
    for (int i : loop16(k + 1, bound_n())) {
      const double f = number_of(a(i, k));
      for (int j : loop16(k, bound_nc())) {
        const double aij = number_of(a(i, j));
        assign_number(a(i, j), arith::sub(aij, arith::mul(number_of(a(k, j)), f)));
      }
    }
  }
  for (int k = count16(number_of(n) - 1); k >= 1; --k) {
    for (int i : loop16(k + 1, bound_n())) {
      for (int m : loop16(1, count16(number_of(ncol)))) {
        const std::int32_t c = subscript(number_of(n) + m);
        const double akc = number_of(a(k, c));
        const double aki = number_of(a(k, i));
        assign_number(a(k, c), arith::sub(akc, arith::mul(aki, number_of(a(i, c)))));
      }
    }
  }
}

// The fast paths update many elements in an order other than the
// element-by-element one, which is only sound when no operation can
// overflow.  They keep every value they work on at or below kSafe: products
// of two such values (or of one and a normalised pivot-row entry below
// kSafeRow) and their differences stay far inside the double range.  A step
// whose values leave that range runs in the element-by-element order.
inline constexpr double kSafe = 0x1p400;
inline constexpr double kSafeRow = 0x1p420;


// A matrix of doubles addressed in place, every position known to exist.
template <std::size_t Step>
struct RawMatrix {
  double* a;
  std::size_t ld;
  double& operator()(int i, int j) const {
    return a[static_cast<std::size_t>(i - 1) * Step + static_cast<std::size_t>(j - 1) * ld];
  }
};

// Small systems (the common case): the elimination runs without a check per
// operation on a matrix kept aside first.  A value that leaves the double
// range stays non-finite (it is never overwritten by anything but its own
// update, and inf - inf, inf * 0 are NaN), so a final scan finds whether any
// operation went out of range.  If one did, the matrix gets its old values
// back and the element-by-element order runs instead, raising where it
// raises and leaving what it leaves.  Every element sees the operations of
// the row order in that order, so the results are the same bit for bit.
inline constexpr int kSmallOrder = 16;
inline constexpr int kSmallColumns = 32;
// The loops of the sizes known when compiling unroll completely.  GCC then
// warns about the copies of the steps beyond the order, which never run.
#if defined(__GNUC__) && !defined(__clang__)
#define KOR_UNROLL_SMALL _Pragma("GCC unroll 8")
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Waggressive-loop-optimizations"
#else
#define KOR_UNROLL_SMALL
#endif

// FixedN and FixedNcol, when not 0, are the sizes known when compiling
// (the loops of the most common small systems unroll completely).
template <std::size_t Step, int FixedN, int FixedNcol, class Status>
void gauss_small_sized(int n_given, int ncol_given, double* a, std::size_t ld, Status& id) {
  const int n = FixedN ? FixedN : n_given;
  const int ncol = FixedN ? FixedNcol : ncol_given;
  const RawMatrix<Step> at{a, ld};
  const int nc = n + ncol;
  // With at most 16 equations and every value within 2^16, nothing can
  // leave the double range: partial pivoting at most doubles the values of
  // the rows still to be eliminated at each step (|f| <= |pivot|), a pivot
  // of at least 1E-6 makes a normalised row at most 2^20 times larger, so
  // every coefficient stays below 2^53, and the back substitution grows by
  // at most a factor 16 * 2^53 per row: below 2^910 after 16 rows.  Such
  // matrices need neither the copy nor the final scan.
  auto any_beyond = [&](double limit) { return any_outside<Step>(a, n, nc, ld, limit); };
  const bool bounded = !any_beyond(0x1p16);
  double kept[kSmallOrder * kSmallColumns];
  if (!bounded)
    for (int j = 1; j <= nc; ++j)
      for (int i = 1; i <= n; ++i) kept[(j - 1) * n + (i - 1)] = at(i, j);
  auto out_of_range = [&] { return any_beyond(std::numeric_limits<double>::max()); };
  auto replay = [&] {
    for (int j = 1; j <= nc; ++j)
      for (int i = 1; i <= n; ++i) at(i, j) = kept[(j - 1) * n + (i - 1)];
    gauss_checked(static_cast<double>(n), at, static_cast<double>(ncol), id);
  };
  KOR_UNROLL_SMALL
  for (int k = 1; k <= n; ++k) {
    const auto [big, p] = find_pivot(k, n, [&](int i) { return at(i, k); });
    if (big < kGaussPivotMin) {
      if (!bounded && out_of_range()) return replay();
      assign_status(id, 1);
      return;
    }
    const double pivot = at(p, k);
    if (p != k)
      for (int j = k; j <= nc; ++j) std::swap(at(k, j), at(p, j));
    // Left of the diagonal the row holds zeros, x - 1*x, or NaN where a
    // value had already left the range (the final scan catches those): the
    // quotient of a zero is the zero with the sign of the division, and a
    // NaN stays one.  In a bounded matrix every such zero is x - 1*x = +0,
    // so the quotient is the zero with the pivot's sign, stored unread.
    const std::uint64_t pivot_sign = arith::detail::bits_of(pivot) & 0x8000000000000000u;
    if (bounded) {
      const double zero = pivot_sign ? -0.0 : 0.0;
      KOR_UNROLL_SMALL
      for (int j = 1; j < k; ++j) at(k, j) = zero;
    } else {
      KOR_UNROLL_SMALL
      for (int j = 1; j < k; ++j) at(k, j) = arith::detail::double_of(arith::detail::bits_of(at(k, j)) ^ pivot_sign);
    }
    KOR_UNROLL_SMALL
    for (int j = k; j <= nc; ++j) at(k, j) = at(k, j) / pivot;
    // The columns right of k take their multipliers from column k, which is
    // eliminated last (each element's own sequence of operations is the
    // same in any order of the columns).
    KOR_UNROLL_SMALL
    for (int j = k + 1; j <= nc; ++j) {
      const double pk = at(k, j);
      if constexpr (Step == 1)
        sub_scaled_pairs(&at(k + 1, j), &at(k + 1, k), pk, n - k);
      else
        for (int i = k + 1; i <= n; ++i) at(i, j) = at(i, j) - pk * at(i, k);
    }
    const double pkk = at(k, k);
    for (int i = k + 1; i <= n; ++i) at(i, k) = at(i, k) - pkk * at(i, k);
  }
  KOR_UNROLL_SMALL
  for (int k = n - 1; k >= 1; --k)
    for (int m = 1; m <= ncol; ++m) {
      double x = at(k, n + m);
      KOR_UNROLL_SMALL
      for (int i = k + 1; i <= n; ++i) x = x - at(k, i) * at(i, n + m);
      at(k, n + m) = x;
    }
  if (!bounded && out_of_range()) replay();
}

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

template <std::size_t Step, class Status>
void gauss_small(int n, int ncol, double* a, std::size_t ld, Status& id) {
  if (ncol == 1) {
    switch (n) {
      case 2: return gauss_small_sized<Step, 2, 1>(n, ncol, a, ld, id);
      case 3: return gauss_small_sized<Step, 3, 1>(n, ncol, a, ld, id);
      case 4: return gauss_small_sized<Step, 4, 1>(n, ncol, a, ld, id);
      case 5: return gauss_small_sized<Step, 5, 1>(n, ncol, a, ld, id);
      case 6: return gauss_small_sized<Step, 6, 1>(n, ncol, a, ld, id);
      default: break;
    }
  }
  gauss_small_sized<Step, 0, 0>(n, ncol, a, ld, id);
}

// The fast path for a matrix of doubles whose positions (1..n, 1..n+ncol)
// all exist: a points at the double of a(1,1), consecutive rows are Step
// doubles apart (1 for an array of doubles, 2 for Variants holding Doubles)
// and consecutive columns ld doubles apart.
template <std::size_t Step, class Status>
void gauss_dense(int n, int ncol, double* a, std::size_t ld, Status& id) {
  auto at = [&](int i, int j) -> double& {
    return a[static_cast<std::size_t>(i - 1) * Step + static_cast<std::size_t>(j - 1) * ld];
  };
  if (n <= kSmallOrder && n + ncol <= kSmallColumns) return gauss_small<Step>(n, ncol, a, ld, id);
  const int nc = n + ncol;
  double small[65];
  std::vector<double> large;
  double* f = small;
  if (n > 64) {
    large.resize(static_cast<std::size_t>(n) + 1);
    f = large.data();
  }
  // Whether every value of the part still to be eliminated is within kSafe.
  auto block_within = [&](int k) {
    unsigned bad = 0;
    for (int j = k; j <= nc; ++j)
      for (int i = k; i <= n; ++i) bad |= outside(at(i, j), kSafe);
    return bad == 0;
  };
  // Small systems gain nothing from the column walk; they run the checked
  // row order directly and skip the range scans.
  const bool vectorise = n > 16;
  // Large systems of doubles run whole panels in the blocked form first (the
  // same operations on every element in the same order); what the values
  // do not allow there continues here in the row order.
  int first_step = 1;
  if constexpr (Step == 1) {
    if (n >= kBlockedMin) {
      const BlockedOutcome b = gauss_blocked(n, ncol, a, ld, kGaussPivotMin);
      if (b.singular) {
        assign_status(id, 1);
        return;
      }
      first_step = b.next_step;
    }
  }
  bool safe_block = vectorise && first_step <= n && block_within(first_step);

  for (int k = first_step; k <= n; ++k) {
    const double* col = &at(1, k);
    const auto [big, p] = find_pivot(k, n, [&](int i) { return col[static_cast<std::size_t>(i - 1) * Step]; });
    if (big < kGaussPivotMin) {
      assign_status(id, 1);
      return;
    }
    const double pivot = at(p, k);
    if (p != k)
      for (int j = k; j <= nc; ++j) std::swap(at(k, j), at(p, j));
    double row_bound = 0;
    // Left of the diagonal the row holds zeros, whose quotient is a zero with
    // the sign of the division: no need to divide.
    const bool pivot_negative = std::signbit(pivot);
    for (int j = 1; j < k; ++j) {
      const double x = at(k, j);
      at(k, j) = x == 0 ? (std::signbit(x) != pivot_negative ? -0.0 : 0.0) : arith::div(x, pivot);
    }
    for (int j = k; j <= nc; ++j) {
      const double v = arith::div(at(k, j), pivot);
      at(k, j) = v;
      row_bound = std::max(row_bound, std::abs(v));
    }
    double f_bound = 0;
    for (int i = k + 1; i <= n; ++i) {
      f[i] = at(i, k);
      f_bound = std::max(f_bound, std::abs(at(i, k)));
    }
    if (k == n) break;
    if (safe_block && row_bound <= kSafeRow && f_bound <= kSafe) {
      // No product or difference of this step can overflow: update column by
      // column (contiguous, vectorised), each element in its own order.
      unsigned bad = 0;
      for (int j = k; j <= nc; ++j) {
        double* cj = &at(1, j);
        const double pk = cj[static_cast<std::size_t>(k - 1) * Step];
        // f[i] * pk is the same product as pk * f[i].
        if constexpr (Step == 1) {
          bad |= !sub_scaled(cj + k, f + k + 1, pk, n - k, kSafe);
        } else if constexpr (Step == 2) {
          bad |= !sub_scaled_step2(cj + static_cast<std::size_t>(k) * Step, f + k + 1, pk, n - k, kSafe);
        } else {
          bad |= !sub_scaled_strided<Step>(cj + static_cast<std::size_t>(k) * Step, f + k + 1, pk, n - k, kSafe);
        }
      }
      safe_block = bad == 0;
    } else {
      // Small systems, or values near the edge of the double range: the row
      // order.  The old values of a row are kept aside while it is updated;
      // if a value comes out non-finite, the ones after it get their old
      // values back and that element is recomputed with checks, so an
      // overflow leaves exactly what the element-by-element order leaves.
      double old[64];
      const bool keep = nc - k + 1 <= 64;
      for (int i = k + 1; i <= n; ++i) {
        const double fi = f[i];
        if (keep) {
          unsigned bad = 0;
          for (int j = k; j <= nc; ++j) {
            const double x = at(i, j);
            old[j - k] = x;
            const double v = x - at(k, j) * fi;
            at(i, j) = v;
            bad |= outside(v, std::numeric_limits<double>::max());
          }
          if (!bad) continue;
          int j = k;
          while (!outside(at(i, j), std::numeric_limits<double>::max())) ++j;
          for (int r = j; r <= nc; ++r) at(i, r) = old[r - k];
          for (int r = j; r <= nc; ++r) at(i, r) = arith::sub(at(i, r), arith::mul(at(k, r), fi));  // raises at j
          continue;
        }
        for (int j = k; j <= nc; ++j) at(i, j) = arith::sub(at(i, j), arith::mul(at(k, j), fi));
      }
      safe_block = vectorise && block_within(k + 1);
    }
  }
  // Back substitution.  Each a(k, n+m) takes its updates in ascending i as in
  // the row order, but accumulated in a register (the rows below k do not
  // change meanwhile).  A row's results are written only once all of them
  // are finite (a non-finite value stays non-finite); otherwise the row is
  // redone from its unchanged values in the checked order, which raises
  // where that order raises and leaves what it leaves.
  double small_row[16];
  std::vector<double> large_row;
  double* row = small_row;
  if (ncol > 16) {
    large_row.resize(static_cast<std::size_t>(ncol) + 1);
    row = large_row.data();
  }
  for (int k = n - 1; k >= 1; --k) {
    unsigned bad = 0;
    for (int m = 1; m <= ncol; ++m) {
      const double* bm = &at(1, n + m);
      double x = at(k, n + m);
      for (int i = k + 1; i <= n; ++i) x = x - at(k, i) * bm[static_cast<std::size_t>(i - 1) * Step];
      row[m - 1] = x;
      bad |= outside(x, std::numeric_limits<double>::max());
    }
    if (!bad) [[likely]] {
      for (int m = 1; m <= ncol; ++m) at(k, n + m) = row[m - 1];
      continue;
    }
    for (int i = k + 1; i <= n; ++i) {
      const double aki = at(k, i);
      for (int m = 1; m <= ncol; ++m) at(k, n + m) = arith::sub(at(k, n + m), arith::mul(aki, at(i, n + m)));
    }
  }
}

}  // namespace detail

template <class N, class Matrix, class NC, class Status>
void gauss(const N& n, Matrix& a, const NC& ncol, Status& id) {
  if constexpr (dense_doubles<Matrix>::value) {
    // The fast path needs whole counts whose every position is present and
    // whose loops end below 32767; anything else takes the element-by-element
    // path with its exact faults.  NCOL is not read when n < 1.
    const double nd = number_of(n), cd = nd >= 1 ? number_of(ncol) : 0;
    if (nd >= 1 && cd >= 0 && nd == std::trunc(nd) && cd == std::trunc(cd) && nd + cd < 32767 &&
        a.contains(1, 1) && a.contains(static_cast<int>(nd), static_cast<int>(nd + cd))) {
      assign_status(id, 0);
      detail::gauss_dense<1>(static_cast<int>(nd), static_cast<int>(cd), &a.at_unchecked(1, 1),
                             a.column_stride(), id);
      return;
    }
  } else if constexpr (is_safe_array<Matrix>::value && double_cell<typename Matrix::value_type>::value) {
    // Variants that all hold Doubles stay Doubles through the elimination,
    // so their values can be walked in place like an array of doubles,
    // Cells::step doubles apart.
    using Cells = double_cell<typename Matrix::value_type>;
    const double nd = number_of(n), cd = nd >= 1 ? number_of(ncol) : 0;
    if (nd >= 1 && cd >= 0 && nd == std::trunc(nd) && cd == std::trunc(cd) && nd + cd < 32767 &&
        a.contains(1, 1) && a.contains(static_cast<int>(nd), static_cast<int>(nd + cd))) {
      const int rows = static_cast<int>(nd), cols = static_cast<int>(nd + cd);
      bool all_doubles = true;
      for (int j = 1; j <= cols && all_doubles; ++j)
        for (int i = 1; i <= rows; ++i)
          if (!Cells::holds_double(a.at_unchecked(i, j))) {
            all_doubles = false;
            break;
          }
      if (all_doubles) {
        assign_status(id, 0);
        detail::gauss_dense<Cells::step>(rows, static_cast<int>(cd), Cells::slot(a.at_unchecked(1, 1)),
                                         Cells::step * a.column_stride(), id);
        return;
      }
    }
  }
  assign_status(id, 0);
  detail::gauss_checked(n, a, ncol, id);
}

}  // namespace kor::linalg
