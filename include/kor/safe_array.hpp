// kor — the caller's arrays.
//
// A SafeArray has one or two dimensions, any lower and upper bound per
// dimension, and is stored column-major like the platform's safe arrays.
// Every access through operator() is checked: a subscript outside the bounds,
// the wrong number of subscripts, or an array that was never dimensioned is
// error 9 (subscript out of range).
#pragma once

#include <cstdint>
#include <algorithm>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "kor/error.hpp"
#include "kor/variant.hpp"

// Element access is the innermost operation of every method: keep it inline.
#if defined(__GNUC__)
#define KOR_ALWAYS_INLINE [[gnu::always_inline]] inline
#else
#define KOR_ALWAYS_INLINE inline
#endif

namespace kor {

struct Bounds {
  std::int32_t lower;
  std::int32_t upper;
  std::int64_t count() const noexcept {
    return upper >= lower ? std::int64_t{upper} - lower + 1 : 0;
  }
};

template <class T>
class SafeArray {
 public:
  using value_type = T;

  // An array that has not been dimensioned: every access is error 9.
  SafeArray() = default;
  explicit SafeArray(Bounds rows) { redim(rows); }
  SafeArray(Bounds rows, Bounds cols) { redim(rows, cols); }

  // A one-dimensional array with the given values from position `lower` on.
  static SafeArray from(std::initializer_list<T> values, std::int32_t lower = 1) {
    SafeArray a(Bounds{lower, lower + static_cast<std::int32_t>(values.size()) - 1});
    std::int32_t i = lower;
    for (const T& v : values) a(i++) = v;
    return a;
  }
  // A two-dimensional array from rows of values, positions from (lower, lower).
  static SafeArray from_rows(std::initializer_list<std::initializer_list<T>> rows,
                             std::int32_t lower = 1) {
    std::int32_t ncols = 0;
    for (const auto& r : rows) ncols = std::max<std::int32_t>(ncols, static_cast<std::int32_t>(r.size()));
    SafeArray a(Bounds{lower, lower + static_cast<std::int32_t>(rows.size()) - 1},
                Bounds{lower, lower + ncols - 1});
    std::int32_t i = lower;
    for (const auto& r : rows) {
      std::int32_t j = lower;
      for (const T& v : r) a(i, j++) = v;
      ++i;
    }
    return a;
  }

  // Re-dimensions the array; the contents are reset to T().
  void redim(Bounds rows) {
    dims_ = 1;
    b_[0] = rows;
    b_[1] = Bounds{0, -1};
    data_.assign(static_cast<std::size_t>(rows.count()), T());
  }
  void redim(Bounds rows, Bounds cols) {
    dims_ = 2;
    b_[0] = rows;
    b_[1] = cols;
    data_.assign(static_cast<std::size_t>(rows.count() * cols.count()), T());
  }

  int dims() const noexcept { return dims_; }
  bool allocated() const noexcept { return dims_ > 0; }
  // Bounds of dimension 1 or 2; error 9 for a dimension the array does not have.
  std::int32_t lbound(int dim = 1) const { return bounds(dim).lower; }
  std::int32_t ubound(int dim = 1) const { return bounds(dim).upper; }
  Bounds bounds(int dim = 1) const {
    if (dim < 1 || dim > dims_) throw Error(err::kSubscript);
    return b_[dim - 1];
  }

  KOR_ALWAYS_INLINE T& operator()(std::int32_t i) { return data_[offset(i)]; }
  KOR_ALWAYS_INLINE const T& operator()(std::int32_t i) const { return data_[offset(i)]; }
  KOR_ALWAYS_INLINE T& operator()(std::int32_t i, std::int32_t j) { return data_[offset(i, j)]; }
  KOR_ALWAYS_INLINE const T& operator()(std::int32_t i, std::int32_t j) const { return data_[offset(i, j)]; }

  // Whether a position exists, without raising.
  bool contains(std::int32_t i) const noexcept {
    return dims_ == 1 && i >= b_[0].lower && i <= b_[0].upper;
  }
  bool contains(std::int32_t i, std::int32_t j) const noexcept {
    return dims_ == 2 && i >= b_[0].lower && i <= b_[0].upper && j >= b_[1].lower &&
           j <= b_[1].upper;
  }

  // Unchecked access for loops that have checked their whole range with contains().
  T& at_unchecked(std::int32_t i) noexcept { return data_[static_cast<std::size_t>(i - b_[0].lower)]; }
  T& at_unchecked(std::int32_t i, std::int32_t j) noexcept {
    return data_[static_cast<std::size_t>(i - b_[0].lower) +
                 static_cast<std::size_t>(j - b_[1].lower) * static_cast<std::size_t>(b_[0].count())];
  }
  // Distance in elements between (i, j) and (i, j + 1).
  std::size_t column_stride() const noexcept { return static_cast<std::size_t>(b_[0].count()); }

  T* data() noexcept { return data_.data(); }
  const T* data() const noexcept { return data_.data(); }
  std::size_t size() const noexcept { return data_.size(); }

 private:
  KOR_ALWAYS_INLINE std::size_t offset(std::int32_t i) const {
    if (!contains(i)) [[unlikely]] raise_error(err::kSubscript);
    return static_cast<std::size_t>(i - b_[0].lower);
  }
  KOR_ALWAYS_INLINE std::size_t offset(std::int32_t i, std::int32_t j) const {
    if (!contains(i, j)) [[unlikely]] raise_error(err::kSubscript);
    return static_cast<std::size_t>(i - b_[0].lower) +
           static_cast<std::size_t>(j - b_[1].lower) * static_cast<std::size_t>(b_[0].count());
  }

  int dims_ = 0;
  Bounds b_[2] = {{0, -1}, {0, -1}};
  std::vector<T> data_;
};

using VariantArray = SafeArray<Variant>;
using DoubleArray = SafeArray<double>;
using StringArray = SafeArray<std::string>;

}  // namespace kor
