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

namespace kor::linalg {

inline constexpr double kGaussPivotMin = 1e-6;

namespace detail {

// The element-by-element elimination, every access checked.
template <class N, class Matrix, class NC, class Status>
void gauss_checked(const N& n, Matrix& a, const NC& ncol, Status& id) {
  auto bound_n = [&] { return count16(number_of(n)); };
  auto bound_nc = [&] { return count16(number_of(n) + number_of(ncol)); };
  const int kmax = bound_n();
  for (int k = 1; k <= kmax; ++k) {
    double big = 0;
    int p = 0;
    const int imax = bound_n();
    for (int i = k; i <= imax; ++i) {
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
    if (p != k) {
      const int jmax = bound_nc();
      for (int j = k; j <= jmax; ++j) swap_cells(a(k, j), a(p, j));
    }
    const int jmax = bound_nc();
    for (int j = 1; j <= jmax; ++j) assign_number(a(k, j), arith::div(number_of(a(k, j)), pivot));
    const int rmax = bound_n();
    for (int i = k + 1; i <= rmax; ++i) {
      const double f = number_of(a(i, k));
      const int cmax = bound_nc();
      for (int j = k; j <= cmax; ++j)
        assign_number(a(i, j), arith::sub(number_of(a(i, j)), arith::mul(number_of(a(k, j)), f)));
    }
  }
  const double nd = number_of(n);
  const int kstart = count16(nd - 1);
  for (int k = kstart; k >= 1; --k) {
    const int imax = bound_n();
    for (int i = k + 1; i <= imax; ++i) {
      const int mmax = count16(number_of(ncol));
      for (int m = 1; m <= mmax; ++m) {
        const std::int32_t c = subscript(nd + m);
        assign_number(a(k, c), arith::sub(number_of(a(k, c)), arith::mul(number_of(a(k, i)), number_of(a(i, c)))));
      }
    }
  }
}

// An upper bound of |x| for every x whose bits were OR-ed into `bits`: the
// largest exponent seen, with a full mantissa.  Inf or NaN give infinity.
inline double magnitude_bound(std::uint64_t bits) {
  const std::uint64_t e = bits & 0x7FF0000000000000ULL;
  if (e == 0x7FF0000000000000ULL) return std::numeric_limits<double>::infinity();
  return std::bit_cast<double>(e) * 2.0;
}
inline std::uint64_t magnitude_bits(double x) { return std::bit_cast<std::uint64_t>(x); }

// The fast path for a dense double matrix whose positions (1..n, 1..n+ncol)
// all exist.  a points at a(1,1); column j starts at a + (j-1)*ld.
template <class Status>
void gauss_dense(int n, int ncol, double* a, std::size_t ld, Status& id) {
  auto at = [&](int i, int j) -> double& {
    return a[static_cast<std::size_t>(i - 1) + static_cast<std::size_t>(j - 1) * ld];
  };
  const int nc = n + ncol;
  std::vector<double> f(static_cast<std::size_t>(n) + 1);
  // Upper bound of every |a(i,j)| in the part still to be eliminated.
  std::uint64_t bits = 0;
  for (int j = 1; j <= nc; ++j)
    for (int i = 1; i <= n; ++i) bits |= magnitude_bits(at(i, j)) & 0x7FF0000000000000ULL;
  double sub_bound = magnitude_bound(bits);

  for (int k = 1; k <= n; ++k) {
    double big = 0;
    int p = 0;
    const double* col = &at(1, k);
    for (int i = k; i <= n; ++i) {
      const double v = std::abs(col[i - 1]);
      if (v > big) {
        big = v;
        p = i;
      }
    }
    if (big < kGaussPivotMin) {
      assign_status(id, 1);
      return;
    }
    const double pivot = at(p, k);
    if (p != k)
      for (int j = k; j <= nc; ++j) std::swap(at(k, j), at(p, j));
    double row_bound = 0;
    for (int j = 1; j <= nc; ++j) {
      const double v = arith::div(at(k, j), pivot);
      at(k, j) = v;
      if (j >= k) row_bound = std::max(row_bound, std::abs(v));
    }
    double f_bound = 0;
    for (int i = k + 1; i <= n; ++i) {
      f[static_cast<std::size_t>(i)] = at(i, k);
      f_bound = std::max(f_bound, std::abs(at(i, k)));
    }
    if (k == n) break;
    if (sub_bound + row_bound * f_bound < 0x1p1020) {
      // No product or difference of this step can overflow: update column by
      // column (contiguous, vectorised), each element in its own order.
      std::uint64_t next = 0;
      for (int j = k; j <= nc; ++j) {
        double* cj = &at(1, j);
        const double pk = cj[k - 1];
        for (int i = k + 1; i <= n; ++i) {
          const double v = cj[i - 1] - pk * f[static_cast<std::size_t>(i)];
          cj[i - 1] = v;
          next |= magnitude_bits(v) & 0x7FF0000000000000ULL;
        }
      }
      sub_bound = magnitude_bound(next);
    } else {
      // Near the edge of the double range: the checked row order, so that an
      // overflow leaves exactly what the element-by-element order leaves.
      std::uint64_t next = 0;
      for (int i = k + 1; i <= n; ++i) {
        const double fi = f[static_cast<std::size_t>(i)];
        for (int j = k; j <= nc; ++j) {
          const double v = arith::sub(at(i, j), arith::mul(at(k, j), fi));
          at(i, j) = v;
          next |= magnitude_bits(v) & 0x7FF0000000000000ULL;
        }
      }
      sub_bound = magnitude_bound(next);
    }
  }
  for (int k = n - 1; k >= 1; --k)
    for (int i = k + 1; i <= n; ++i) {
      const double aki = at(k, i);
      for (int m = 1; m <= ncol; ++m) at(k, n + m) = arith::sub(at(k, n + m), arith::mul(aki, at(i, n + m)));
    }
}

}  // namespace detail

template <class N, class Matrix, class NC, class Status>
void gauss(const N& n, Matrix& a, const NC& ncol, Status& id) {
  if constexpr (dense_doubles<Matrix>::value) {
    const double nd = number_of(n), cd = number_of(ncol);
    // The fast path needs whole counts whose every position is present;
    // anything else takes the element-by-element path with its exact faults.
    if (nd >= 1 && cd >= 0 && nd == std::trunc(nd) && cd == std::trunc(cd) && nd + cd <= 32767 &&
        a.contains(1, 1) && a.contains(static_cast<int>(nd), static_cast<int>(nd + cd))) {
      assign_status(id, 0);
      detail::gauss_dense(static_cast<int>(nd), static_cast<int>(cd), &a.at_unchecked(1, 1),
                          a.column_stride(), id);
      return;
    }
  }
  assign_status(id, 0);
  detail::gauss_checked(n, a, ncol, id);
}

}  // namespace kor::linalg
