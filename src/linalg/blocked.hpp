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
#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__))
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
inline bool has_avx2() {
  static const bool yes = __builtin_cpu_supports("avx2");
  return yes;
}
#else
inline void tile_avx2(double*, std::size_t, const double*, std::size_t, const double*, int) {}
inline void sub_scaled_avx2(double*, const double*, double, int) {}
inline bool has_avx2() { return false; }
#endif

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
    const std::size_t w = static_cast<std::size_t>(width);
    rows.assign(static_cast<std::size_t>(count) * w, 0.0);
    for (int j = 0; j < width; ++j)
      for (int r = 0; r < count; ++r) rows[static_cast<std::size_t>(r) * w + j] = at(k0 + r, first + j);
    for (int r = 0; r < count; ++r) {
      double* row = &rows[static_cast<std::size_t>(r) * w];
      for (int q = 0; q < r; ++q) sub_scaled_wide(row, &rows[static_cast<std::size_t>(q) * w], F(k0 + r, k0 + q, k0), width);
      const double pivot = pivots[static_cast<std::size_t>(r)];
      for (int j = 0; j < width; ++j) row[j] = row[j] / pivot;
    }
    for (int j = 0; j < width; ++j)
      for (int r = 0; r < count; ++r) at(k0 + r, first + j) = rows[static_cast<std::size_t>(r) * w + j];
    const int groups = (width + kNr - 1) / kNr;
    packed.assign(static_cast<std::size_t>(groups) * count * kNr, 0.0);
    for (int j = 0; j < width; ++j)
      for (int r = 0; r < count; ++r)
        packed[static_cast<std::size_t>(j / kNr) * count * kNr + static_cast<std::size_t>(r) * kNr + j % kNr] =
            rows[static_cast<std::size_t>(r) * w + j];
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
      double big = 0;
      int p = 0;
      for (int i = k; i <= n; ++i) {
        const double v = std::abs(at(i, k));
        if (v > big) {
          big = v;
          p = i;
        }
      }
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

}  // namespace kor::linalg::detail
