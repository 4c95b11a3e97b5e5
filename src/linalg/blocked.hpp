// Blocked elimination for large dense systems of doubles, exactly in the
// element-by-element order.
//
// Gaussian elimination as this library does it updates, at step k, every
// element right of and below the pivot: a(i, j) - a(k, j) * f(i), the pivot
// row already divided by the pivot and f(i) the element a(i, k) of that
// moment.  Every element thus takes its updates for k = 1, 2, ... one at a
// time, each product rounded and then subtracted.  The blocked form keeps
// exactly that sequence for every element but reorders the work between
// elements: a panel of kPanel steps is eliminated on its own columns first
// (pivot search, row exchange, normalisation, the update of the panel's
// columns), with the multipliers kept aside; the pivot rows of the panel then
// get their pending updates and their division in the remaining columns; and
// the trailing part of the matrix takes all the panel's updates at once, tile
// by tile in registers, k ascending inside every tile.  No operation is fused
// or regrouped, so the results are the same bit for bit, on every processor.
//
// The reordering is sound only if no operation can overflow: a panel starts
// only when every value still to be eliminated is at most kBlockSafe (2^300).
// Partial pivoting at most doubles such values per step (|f| <= |pivot|), so
// within a panel of at most 128 steps every value stays below 2^428, a pivot
// row divided by a pivot of at least 1E-6 below 2^448, and every product and
// difference below 2^877, far inside the double range.  Otherwise the caller
// finishes in the row order.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

#include "component/arith.hpp"
#include "component/cpu.hpp"
#include "linalg/kernels.hpp"

namespace kor::linalg::detail {

inline constexpr int kBlockedMin = 96;  // from this order the blocked form pays
inline constexpr int kPanel = 128;      // steps per panel (at most 128, see above)
inline constexpr double kBlockSafe = 0x1p300;

// The trailing update of one panel:
//   C(r, c) = C(r, c) - U(k, c) * F(r, k)   for k = 0 .. kc-1 in this order,
// for rows r < rows and columns c < cols.  C is column-major (leading
// dimension ldc), F column-major (leading dimension ldf), and U packed by
// groups of kNr columns: u[(c / kNr) * kc * kNr + k * kNr + c % kNr].
inline constexpr int kMr = 8;
inline constexpr int kNr = 4;

// One kMr x kNr tile held in registers over the whole panel.
#if KOR_X86_FEATURES
__attribute__((target("avx2"))) inline void tile_avx2(double* c, std::size_t ldc, const double* f, std::size_t ldf,
                                                      const double* u, int kc) {
  typedef double v4 __attribute__((vector_size(32)));
  v4 acc[kNr][2];
  for (int j = 0; j < kNr; ++j)
    for (int v = 0; v < 2; ++v) std::memcpy(&acc[j][v], c + static_cast<std::size_t>(j) * ldc + 4 * v, 32);
  for (int k = 0; k < kc; ++k) {
    v4 fk[2];
    std::memcpy(&fk[0], f + static_cast<std::size_t>(k) * ldf, 32);
    std::memcpy(&fk[1], f + static_cast<std::size_t>(k) * ldf + 4, 32);
    for (int j = 0; j < kNr; ++j) {
      const double uj = u[k * kNr + j];
      const v4 b = {uj, uj, uj, uj};
      acc[j][0] = acc[j][0] - b * fk[0];
      acc[j][1] = acc[j][1] - b * fk[1];
    }
  }
  for (int j = 0; j < kNr; ++j)
    for (int v = 0; v < 2; ++v) std::memcpy(c + static_cast<std::size_t>(j) * ldc + 4 * v, &acc[j][v], 32);
}
// dst[t] = dst[t] - src[t] * s for t < count, four at a time.
__attribute__((target("avx2"))) inline void sub_scaled_avx2(double* dst, const double* src, double s, int count) {
  typedef double v4 __attribute__((vector_size(32)));
  const v4 b = {s, s, s, s};
  int t = 0;
  for (; t + 4 <= count; t += 4) {
    v4 d, x;
    std::memcpy(&d, dst + t, 32);
    std::memcpy(&x, src + t, 32);
    d = d - x * b;
    std::memcpy(dst + t, &d, 32);
  }
  for (; t < count; ++t) dst[t] = dst[t] - src[t] * s;
}
#else
inline void tile_avx2(double*, std::size_t, const double*, std::size_t, const double*, int) {}
inline void sub_scaled_avx2(double*, const double*, double, int) {}
#endif
using cpu::has_avx2;

// dst[t] = dst[t] - src[t] * s for t < count, in the widest registers the processor has.
inline void sub_scaled_wide(double* dst, const double* src, double s, int count) {
  if (has_avx2()) sub_scaled_avx2(dst, src, s, count);
  else sub_scaled(dst, src, s, count, std::numeric_limits<double>::max());
}

inline void tile_plain(double* c, std::size_t ldc, const double* f, std::size_t ldf, const double* u, int kc) {
  double acc[kNr][kMr];
  for (int j = 0; j < kNr; ++j)
    for (int i = 0; i < kMr; ++i) acc[j][i] = c[static_cast<std::size_t>(j) * ldc + i];
  for (int k = 0; k < kc; ++k) {
    const double* fk = f + static_cast<std::size_t>(k) * ldf;
    for (int j = 0; j < kNr; ++j) {
      const double uj = u[k * kNr + j];
      for (int i = 0; i < kMr; ++i) acc[j][i] = acc[j][i] - uj * fk[i];
    }
  }
  for (int j = 0; j < kNr; ++j)
    for (int i = 0; i < kMr; ++i) c[static_cast<std::size_t>(j) * ldc + i] = acc[j][i];
}

inline void trailing_update(double* c, std::size_t ldc, int rows, int cols, const double* f, std::size_t ldf,
                            const double* u, int kc) {
  const bool wide = has_avx2();
  const int full_rows = rows - rows % kMr;
  // Rows in chunks whose multipliers stay in the cache while every column
  // group passes over them.
  constexpr int kChunk = 256;
  for (int r0 = 0; r0 < rows; r0 += kChunk) {
    const int r1 = std::min(rows, r0 + kChunk);
    for (int c0 = 0; c0 < cols; c0 += kNr) {
      const double* ub = u + static_cast<std::size_t>(c0 / kNr) * kc * kNr;
      double* cb = c + static_cast<std::size_t>(c0) * ldc;
      const int width = std::min(kNr, cols - c0);
      int r = r0;
      if (width == kNr)
        for (; r + kMr <= std::min(r1, full_rows); r += kMr) {
          if (wide) tile_avx2(cb + r, ldc, f + r, ldf, ub, kc);
          else tile_plain(cb + r, ldc, f + r, ldf, ub, kc);
        }
      // The edges, element by element in the same order.
      for (int j = 0; j < width; ++j)
        for (int i = (width == kNr ? r : r0); i < r1; ++i) {
          double x = cb[static_cast<std::size_t>(j) * ldc + i];
          for (int k = 0; k < kc; ++k) x = x - ub[k * kNr + j] * f[static_cast<std::size_t>(k) * ldf + i];
          cb[static_cast<std::size_t>(j) * ldc + i] = x;
        }
    }
  }
}

// The pivot rows of a panel are finished by rows, kept aside: row r (of
// count, each width long at rows + r * width) takes the pending updates of
// the panel, row_r - row_q * F(r, q) for q = 0 .. r-1 ascending, with
// F(r, q) = f[r + q * ldf], then its division by pivots[r] when pivots are
// given.
inline void finish_rows(double* rows, int count, int width, const double* f, std::size_t ldf,
                        const double* pivots) {
  const std::size_t w = static_cast<std::size_t>(width);
  for (int r = 0; r < count; ++r) {
    double* row = &rows[static_cast<std::size_t>(r) * w];
    for (int q = 0; q < r; ++q) sub_scaled_wide(row, &rows[static_cast<std::size_t>(q) * w], f[static_cast<std::size_t>(r) + static_cast<std::size_t>(q) * ldf], width);
    if (pivots == nullptr) continue;
    const double pivot = pivots[r];
    for (int j = 0; j < width; ++j) row[j] = row[j] / pivot;
  }
}

// Copies count rows of cols columns between a column-major matrix
// (a[r + c * ld]) and the columns from..from+cols-1 of the row buffer.
inline void gather_rows(const double* a, std::size_t ld, int count, int cols, double* rows, int width, int from) {
  for (int c = 0; c < cols; ++c)
    for (int r = 0; r < count; ++r)
      rows[static_cast<std::size_t>(r) * width + from + c] = a[static_cast<std::size_t>(r) + static_cast<std::size_t>(c) * ld];
}
inline void scatter_rows(double* a, std::size_t ld, int count, int cols, const double* rows, int width, int from) {
  for (int c = 0; c < cols; ++c)
    for (int r = 0; r < count; ++r)
      a[static_cast<std::size_t>(r) + static_cast<std::size_t>(c) * ld] = rows[static_cast<std::size_t>(r) * width + from + c];
}

// Packs the columns from..from+cols-1 of the finished rows as
// trailing_update reads them.
inline void pack_rows(const double* rows, int count, int width, int from, int cols, std::vector<double>& packed) {
  const int groups = (cols + kNr - 1) / kNr;
  packed.assign(static_cast<std::size_t>(groups) * count * kNr, 0.0);
  for (int j = 0; j < cols; ++j)
    for (int r = 0; r < count; ++r)
      packed[static_cast<std::size_t>(j / kNr) * count * kNr + static_cast<std::size_t>(r) * kNr + j % kNr] =
          rows[static_cast<std::size_t>(r) * width + from + j];
}

struct BlockedOutcome {
  int next_step;  // the first step still to be done in the row order (n + 1: none)
  bool singular;  // the elimination stopped at a pivot below the threshold
};

// Runs whole panels while the values allow it.  a(i, j) is a[(i-1) + (j-1) * ld]
// (Step 1 storage); the n x (n + ncol) matrix is eliminated as gauss_checked
// would, and on return it holds exactly what that order leaves after
// next_step - 1 steps (or at the singular pivot).
inline BlockedOutcome gauss_blocked(int n, int ncol, double* a, std::size_t ld, double pivot_min) {
  auto at = [&](int i, int j) -> double& {
    return a[static_cast<std::size_t>(i - 1) + static_cast<std::size_t>(j - 1) * ld];
  };
  const int nc = n + ncol;
  const std::size_t un = static_cast<std::size_t>(n);
  std::vector<double> mult(un * kPanel);  // F(i, k): mult[(i-1) + (k-k0) * n]
  std::vector<double> rows, packed, pivots(kPanel);
  auto F = [&](int i, int k, int k0) -> double& {
    return mult[static_cast<std::size_t>(i - 1) + static_cast<std::size_t>(k - k0) * un];
  };

  // The pivot rows k0 .. k0+count-1 in the columns from `first` on: their
  // pending updates of this panel, k ascending, then the division by their
  // pivot; the rows, so finished, are packed for the trailing update.
  auto finish_pivot_rows = [&](int k0, int count, int first) {
    const int width = nc - first + 1;
    if (width <= 0 || count == 0) return;
    rows.assign(static_cast<std::size_t>(count) * static_cast<std::size_t>(width), 0.0);
    gather_rows(&at(k0, first), ld, count, width, rows.data(), width, 0);
    finish_rows(rows.data(), count, width, &F(k0, k0, k0), un, pivots.data());
    scatter_rows(&at(k0, first), ld, count, width, rows.data(), width, 0);
    pack_rows(rows.data(), count, width, 0, width, packed);
  };
  // The rows from `top` on take the updates of steps k0 .. k0+count-1 in the
  // columns from `first` on.
  auto update_below = [&](int k0, int count, int top, int first) {
    if (top > n || first > nc || count == 0) return;
    trailing_update(&at(top, first), ld, n - top + 1, nc - first + 1, &F(top, k0, k0), un, packed.data(), count);
  };

  for (int k0 = 1; k0 <= n; k0 += kPanel) {
    unsigned bad = 0;
    for (int j = k0; j <= nc; ++j)
      for (int i = k0; i <= n; ++i) bad |= outside(at(i, j), kBlockSafe);
    if (bad) return {k0, false};
    const int kend = std::min(n, k0 + kPanel - 1);
    const int count = kend - k0 + 1;
    for (int k = k0; k <= kend; ++k) {
      const double* col = &at(1, k);
      const auto [big, p] = find_pivot(k, n, [&](int i) { return col[i - 1]; });
      if (big < pivot_min) {
        // Leave what the row order leaves at this step: the earlier pivot
        // rows finished, the rows below with their pending updates.
        finish_pivot_rows(k0, k - k0, kend + 1);
        update_below(k0, k - k0, k, kend + 1);
        return {k, true};
      }
      const double pivot = at(p, k);
      pivots[static_cast<std::size_t>(k - k0)] = pivot;
      if (p != k) {
        for (int j = k; j <= nc; ++j) std::swap(at(k, j), at(p, j));
        for (int q = k0; q < k; ++q) std::swap(F(k, q, k0), F(p, q, k0));  // the pending updates go with their rows
      }
      const bool pivot_negative = std::signbit(pivot);
      for (int j = 1; j < k; ++j) {
        const double x = at(k, j);
        at(k, j) = x == 0 ? (std::signbit(x) != pivot_negative ? -0.0 : 0.0) : x / pivot;
      }
      for (int j = k; j <= kend; ++j) at(k, j) = at(k, j) / pivot;
      for (int i = k + 1; i <= n; ++i) F(i, k, k0) = at(i, k);
      for (int j = k; j <= kend; ++j)
        sub_scaled_wide(&at(k + 1, j), &F(k + 1, k, k0), at(k, j), n - k);
    }
    finish_pivot_rows(k0, count, kend + 1);
    update_below(k0, count, kend + 1, kend + 1);
  }
  return {n + 1, false};
}

// Inversion eliminates a copy C of the matrix beside the identity X: at step
// k every row i below the pivot whose C(i, k) is not zero takes
//   f = C(i, k) / C(k, k),  C(i, j) - C(k, j) * f for j > k,  X(i, j) - X(k, j) * f for every j,
// the pivot row left undivided; back substitution then solves every column
// of X.  The blocked form is Gauss's with the undivided pivot rows, the
// quotients f as multipliers and X as further columns, and two savings that
// change no value.  The same guard keeps it exact: |f| <= 1, so within a
// panel every value of C and X stays below 2^428 and every product below
// 2^856.
//
// A row skipped at step k (C(i, k) = 0) takes f = 0 instead: x - u * 0 is x
// for every finite u unless x is -0.  X never holds -0 (it starts with +0
// and 1, and x - y is -0 only for x = -0).  In C the sign of a zero may
// change that way, but no zero of C reaches a result through its sign: a
// zero below the pivot skips its row either way, a zero pivot divides by
// zero either way, a sum s of back substitution starts at +0 and so never
// becomes -0, and x - 0 or x - u * 0 is x for every x that is not zero.
//
// For the same reason the columns of X need no work before they start:
// column c is the identity column until the step at which the row holding
// its 1 becomes the pivot row, and every product with its zeros is zero.  X
// is therefore kept in the order in which its columns start (column t is the
// column of the identity row that was pivot row t), and a panel ending at
// step kend updates only columns 1..kend: about n^3/6 operations instead of
// n^3/2.
//
// Back substitution solves kBackCols columns at once, each value summed in
// the row order; a non-finite result means an operation went out of range,
// and the columns from the first such one (in the caller's order) are then
// solved again in that order, raising where it raises.
inline constexpr int kBackCols = 32;

#if KOR_X86_FEATURES
// t: n rows of kBackCols values; c: C by rows.
__attribute__((target("avx2"))) inline void back_substitute_avx2(double* t, int n, const double* c) {
  typedef double v4 __attribute__((vector_size(32)));
  constexpr int kV = kBackCols / 4;
  const std::size_t un = static_cast<std::size_t>(n);
  for (int i = n; i >= 1; --i) {
    v4 acc[kV];
    for (int v = 0; v < kV; ++v) acc[v] = v4{0, 0, 0, 0};
    const double* ci = c + static_cast<std::size_t>(i - 1) * un;
    for (int j = i + 1; j <= n; ++j) {
      const double cij = ci[j - 1];
      const v4 b = {cij, cij, cij, cij};
      const double* tj = t + static_cast<std::size_t>(j - 1) * kBackCols;
      for (int v = 0; v < kV; ++v) {
        v4 y;
        std::memcpy(&y, tj + 4 * v, 32);
        acc[v] = acc[v] + b * y;
      }
    }
    const double cii = ci[i - 1];
    const v4 d = {cii, cii, cii, cii};
    double* ti = t + static_cast<std::size_t>(i - 1) * kBackCols;
    for (int v = 0; v < kV; ++v) {
      v4 y;
      std::memcpy(&y, ti + 4 * v, 32);
      y = (y - acc[v]) / d;
      std::memcpy(ti + 4 * v, &y, 32);
    }
  }
}
#else
inline void back_substitute_avx2(double*, int, const double*) {}
#endif

inline void back_substitute_plain(double* t, int n, const double* c) {
  const std::size_t un = static_cast<std::size_t>(n);
  for (int i = n; i >= 1; --i) {
    double acc[kBackCols] = {};
    const double* ci = c + static_cast<std::size_t>(i - 1) * un;
    for (int j = i + 1; j <= n; ++j) {
      const double* tj = t + static_cast<std::size_t>(j - 1) * kBackCols;
      for (int m = 0; m < kBackCols; ++m) acc[m] = acc[m] + ci[j - 1] * tj[m];
    }
    double* ti = t + static_cast<std::size_t>(i - 1) * kBackCols;
    for (int m = 0; m < kBackCols; ++m) ti[m] = (ti[m] - acc[m]) / ci[i - 1];
  }
}

// Back substitution of the columns from..n of x (x[(i-1) + (m-1) * ldx]) in
// the row order, C by rows in crow.  The sum s is local, so an overflow
// inside it shows as a non-finite s at its end, before anything is written.
inline void back_substitute_checked(int n, const double* crow, double* x, std::size_t ldx, int from) {
  for (int m = from; m <= n; ++m) {
    double* xm = x + static_cast<std::size_t>(m - 1) * ldx;
    for (int i = n; i >= 1; --i) {
      double s = 0;
      const double* ci = crow + static_cast<std::size_t>(i - 1) * static_cast<std::size_t>(n);
      for (int j = i + 1; j <= n; ++j) s = s + ci[j - 1] * xm[j - 1];
      arith::checked(s);
      xm[i - 1] = arith::div(arith::sub(xm[i - 1], s), ci[i - 1]);
    }
  }
}

// A tile of kBackCols columns solved side by side: solve() takes the
// columns (n values each, column(m) for m < cols), in_range(m) tells whether
// column m ended within the double range (if not, an operation of the row
// order would have raised), and store() copies its values out.
class BackTile {
 public:
  BackTile(int n, const double* crow)
      : n_(n), crow_(crow), tile_(static_cast<std::size_t>(n) * kBackCols) {}

  template <class Column>
  void solve(int cols, Column column) {
    std::fill(tile_.begin(), tile_.end(), 0.0);
    for (int m = 0; m < cols; ++m) {
      const double* src = column(m);
      for (int i = 1; i <= n_; ++i) at(i, m) = src[i - 1];
    }
    if (has_avx2()) back_substitute_avx2(tile_.data(), n_, crow_);
    else back_substitute_plain(tile_.data(), n_, crow_);
  }
  bool in_range(int m) const {
    unsigned out_of_range = 0;
    for (int i = 1; i <= n_; ++i) out_of_range |= outside(at(i, m), std::numeric_limits<double>::max());
    return out_of_range == 0;
  }
  void store(int m, double* dst) const {
    for (int i = 1; i <= n_; ++i) dst[i - 1] = at(i, m);
  }

 private:
  double& at(int i, int m) { return tile_[static_cast<std::size_t>(i - 1) * kBackCols + static_cast<std::size_t>(m)]; }
  double at(int i, int m) const { return tile_[static_cast<std::size_t>(i - 1) * kBackCols + static_cast<std::size_t>(m)]; }

  int n_;
  const double* crow_;
  std::vector<double> tile_;
};

// Back substitution of all columns of x, kBackCols at a time: a column that
// ends out of range is solved again, with the columns after it, in the row
// order, which raises where it raises; the columns before it are complete.
inline void back_substitute_tiled(int n, const double* crow, double* x, std::size_t ldx) {
  auto column = [&](int c) { return x + static_cast<std::size_t>(c - 1) * ldx; };
  BackTile tile(n, crow);
  for (int t0 = 1; t0 <= n; t0 += kBackCols) {
    const int cols = std::min(kBackCols, n - t0 + 1);
    tile.solve(cols, [&](int m) { return column(t0 + m); });
    for (int m = 0; m < cols; ++m) {
      if (!tile.in_range(m)) return back_substitute_checked(n, crow, x, ldx, t0 + m);
      tile.store(m, column(t0 + m));
    }
  }
}

// The inversion of ap (ap[(i-1) + (j-1) * ldp]) into x (the same with ldx),
// the pivots compared with ep.  Returns singular, or next_step = n + 1 when
// the inverse is complete (a fault of the back substitution raises);
// otherwise the row order takes over at next_step from what is handed over:
// x as that order leaves it after the steps before, crow (n x n, by rows)
// holding C.
inline BlockedOutcome invert_blocked(int n, const double* ap, std::size_t ldp, double* x, std::size_t ldx, double ep,
                                     double* crow) {
  const std::size_t un = static_cast<std::size_t>(n);
  // C by columns; below the pivot the quotients f take the place of C(i, k),
  // which is not read again.  X in the order its columns start, and the
  // identity row each row of it started as (the caller's column of row t).
  std::vector<double> cw(un * un), xs(un * un);
  std::vector<int> rowid(un + 1);
  auto C = [&](int i, int j) -> double& { return cw[static_cast<std::size_t>(i - 1) + static_cast<std::size_t>(j - 1) * un]; };
  auto X = [&](int i, int t) -> double& { return xs[static_cast<std::size_t>(i - 1) + static_cast<std::size_t>(t - 1) * un]; };
  auto out = [&](int c) { return x + static_cast<std::size_t>(c - 1) * ldx; };
  for (int j = 1; j <= n; ++j) std::memcpy(&C(1, j), ap + static_cast<std::size_t>(j - 1) * ldp, un * sizeof(double));
  for (int i = 1; i <= n; ++i) rowid[static_cast<std::size_t>(i)] = i;

  // The caller's inverse as the row order leaves it after `started` steps.
  auto write_inverse = [&](int started) {
    for (int t = 1; t <= started; ++t) std::memcpy(out(rowid[static_cast<std::size_t>(t)]), &X(1, t), un * sizeof(double));
    for (int i = started + 1; i <= n; ++i) {
      double* col = out(rowid[static_cast<std::size_t>(i)]);
      std::fill(col, col + n, 0.0);
      col[i - 1] = 1.0;
    }
  };
  std::vector<double> rows, packed_c, packed_x;
  // The pivot rows k0 .. k0+count-1 take their pending updates in C's
  // columns from `first` on and in X's columns 1..xcols; the rows from `top`
  // on then take all of the panel's.
  auto finish_panel = [&](int k0, int count, int first, int xcols, int top) {
    const int cc = std::max(0, n - first + 1), width = cc + xcols;
    if (count == 0 || width == 0) return;
    rows.assign(static_cast<std::size_t>(count) * static_cast<std::size_t>(width), 0.0);
    if (cc > 0) gather_rows(&C(k0, first), un, count, cc, rows.data(), width, 0);
    if (xcols > 0) gather_rows(&X(k0, 1), un, count, xcols, rows.data(), width, cc);
    finish_rows(rows.data(), count, width, &C(k0, k0), un, nullptr);
    if (cc > 0) scatter_rows(&C(k0, first), un, count, cc, rows.data(), width, 0);
    if (xcols > 0) scatter_rows(&X(k0, 1), un, count, xcols, rows.data(), width, cc);
    if (top > n) return;
    if (cc > 0) {
      pack_rows(rows.data(), count, width, 0, cc, packed_c);
      trailing_update(&C(top, first), un, n - top + 1, cc, &C(top, k0), un, packed_c.data(), count);
    }
    if (xcols > 0) {
      pack_rows(rows.data(), count, width, cc, xcols, packed_x);
      trailing_update(&X(top, 1), un, n - top + 1, xcols, &C(top, k0), un, packed_x.data(), count);
    }
  };

  for (int k0 = 1; k0 <= n; k0 += kPanel) {
    unsigned bad = 0;
    for (int j = k0; j <= n; ++j)
      for (int i = k0; i <= n; ++i) bad |= outside(C(i, j), kBlockSafe);
    for (int t = 1; t < k0; ++t)
      for (int i = k0; i <= n; ++i) bad |= outside(X(i, t), kBlockSafe);
    if (bad) {
      write_inverse(k0 - 1);
      for (int i = 1; i <= n; ++i)
        for (int j = 1; j <= n; ++j) crow[static_cast<std::size_t>(i - 1) * un + static_cast<std::size_t>(j - 1)] = C(i, j);
      return {k0, false};
    }
    const int kend = std::min(n, k0 + kPanel - 1);
    for (int k = k0; k <= kend; ++k) {
      const double* col = &C(1, k);
      const int p = find_pivot(k, n, [&](int i) { return col[i - 1]; }).p;
      if (k < p) {
        for (int j = k0; j <= n; ++j) std::swap(C(k, j), C(p, j));  // with the panel's pending quotients
        for (int t = 1; t < k; ++t) std::swap(X(k, t), X(p, t));
        std::swap(rowid[static_cast<std::size_t>(k)], rowid[static_cast<std::size_t>(p)]);
      }
      const double pivot = C(k, k);
      if (std::abs(pivot) <= ep) {
        finish_panel(k0, k - k0, n + 1, k - 1, k);
        write_inverse(k - 1);
        return {k, true};
      }
      for (int i = k + 1; i <= n; ++i) {
        const double c = C(i, k);
        C(i, k) = c == 0 ? 0.0 : c / pivot;
      }
      for (int j = k + 1; j <= kend; ++j) sub_scaled_wide(&C(k + 1, j), &C(k + 1, k), C(k, j), n - k);
      X(k, k) = 1.0;  // column k starts
    }
    finish_panel(k0, kend - k0 + 1, kend + 1, kend, kend + 1);
  }

  for (int i = 1; i <= n; ++i)
    for (int j = i; j <= n; ++j) crow[static_cast<std::size_t>(i - 1) * un + static_cast<std::size_t>(j - 1)] = C(i, j);
  BackTile tile(n, crow);
  int first_bad = n + 1;  // the caller's first column out of range
  for (int t0 = 1; t0 <= n; t0 += kBackCols) {
    const int cols = std::min(kBackCols, n - t0 + 1);
    tile.solve(cols, [&](int m) { return &X(1, t0 + m); });
    for (int m = 0; m < cols; ++m) {
      const int c = rowid[static_cast<std::size_t>(t0 + m)];
      if (!tile.in_range(m)) {
        first_bad = std::min(first_bad, c);
        continue;
      }
      tile.store(m, out(c));
    }
  }
  if (first_bad <= n) {
    // The row order has not reached the columns from first_bad on: they get
    // what the elimination left and are solved again in that order.
    for (int t = 1; t <= n; ++t)
      if (rowid[static_cast<std::size_t>(t)] >= first_bad) std::memcpy(out(rowid[static_cast<std::size_t>(t)]), &X(1, t), un * sizeof(double));
    back_substitute_checked(n, crow, x, ldx, first_bad);
  }
  return {n + 1, false};
}

}  // namespace kor::linalg::detail
