// How the algorithms read and write the caller's cells and scalars.
//
// Every algorithm is a template over the caller's element and array types.
// It never touches a cell directly: it reads a number with number_of(),
// writes one with assign_number(), reads counts with int16_of()/int32_of()
// (rounding half to even, overflow is error 6), tests optional arguments with
// is_missing() and writes statuses with assign_status().  These overloads
// serve kor::Variant and double; the COM server adds its own for VARIANT, so
// the same template runs in place on a client's SAFEARRAY.
#pragma once

#include <cstdint>
#include <climits>
#include <type_traits>
#include <utility>

#include "kor/error.hpp"
#include "kor/safe_array.hpp"
#include "kor/variant.hpp"

namespace kor {

inline double number_of(const Variant& v) { return v.to_double(); }
inline double number_of(double d) { return d; }

inline void assign_number(Variant& v, double x) { v = Variant(x); }
inline void assign_number(double& d, double x) { d = x; }

inline std::int16_t int16_of(const Variant& v) { return v.to_int16(); }
inline std::int16_t int16_of(double d) { return convert::to_int16(d); }
inline std::int32_t int32_of(const Variant& v) { return v.to_int32(); }
inline std::int32_t int32_of(double d) { return convert::to_int32(d); }

inline bool is_missing(const Variant& v) { return v.is_missing(); }
// An optional double can never test as missing.
inline bool is_missing(double) { return false; }

inline void assign_status(Variant& v, std::int16_t s) { v = Variant(static_cast<short>(s)); }
// An integer constant of an algorithm written into a cell: a 16-bit integer
// in a Variant (it keeps that type until arithmetic makes it a Double).
inline void assign_integer(Variant& v, std::int16_t s) { v = Variant(static_cast<short>(s)); }
inline void assign_integer(double& d, std::int16_t s) { d = s; }
// A count written like an automation literal: 16-bit when it fits, 32-bit otherwise.
inline void assign_count(Variant& v, std::int32_t c) { v = Variant(static_cast<int>(c)); }

// A cell's value kept aside and put back as it was (a Variant keeps its
// type; a host's own cell type converts to and from kor::Variant).
inline const Variant& cell_value(const Variant& v) { return v; }
inline double cell_value(double d) { return d; }
inline void assign_value(Variant& cell, const Variant& v) { cell = v; }
inline void assign_value(double& cell, double v) { cell = v; }

// Exchanges two cells as they are (a Variant keeps its type).
inline void swap_cells(Variant& a, Variant& b) noexcept { std::swap(a, b); }
inline void swap_cells(double& a, double& b) noexcept { std::swap(a, b); }

// The bounds 0 .. n of a working array that a method dimensions itself: an
// upper bound below the lower one is error 9, as re-dimensioning is.
inline Bounds upto(std::int32_t n) {
  if (n < 0) throw Error(err::kSubscript);
  return Bounds{0, n};
}

// The passes of a counted loop whose counter is 16-bit, from..to: as in the
// runtime's loop, the increment after a pass at 32767 overflows (error 6),
// so a loop that runs to a bound of 32767 fails after its last pass.
//   for (int i : loop16(1, n)) ...
class loop16 {
 public:
  loop16(int from, int to) noexcept : from_(from), to_(to) {}
  struct End {};
  struct Pass {
    int i, to;
    int operator*() const noexcept { return i; }
    Pass& operator++() {
      if (i == INT16_MAX) throw Error(err::kOverflow);
      ++i;
      return *this;
    }
    bool operator!=(End) const noexcept { return i <= to; }
  };
  Pass begin() const noexcept { return {from_, to_}; }
  End end() const noexcept { return {}; }

 private:
  int from_, to_;
};

// Loop bounds and subscripts computed from numbers: 16-bit for counts, 32-bit
// for subscripts, rounding half to even, overflow is error 6.
inline std::int16_t count16(double x) { return convert::to_int16(x); }
inline std::int32_t subscript(double x) { return convert::to_int32(x); }

// Dense column-major storage of doubles that an algorithm may walk with raw
// pointers once it has checked every position it will touch.
template <class A>
struct dense_doubles : std::false_type {};
// Any kor::SafeArray: positions checked once may be walked unchecked.
template <class A>
struct is_safe_array : std::false_type {};
template <class T>
struct is_safe_array<SafeArray<T>> : std::true_type {};
template <>
struct dense_doubles<SafeArray<double>> : std::true_type {};

// Cells that can hold a double in place (a Variant holding a Double): an
// array of them that all do can be walked as doubles `step` doubles apart.
template <class Cell>
struct double_cell : std::false_type {};
template <>
struct double_cell<Variant> : std::true_type {
  static constexpr std::size_t step = sizeof(Variant) / sizeof(double);
  static bool holds_double(const Variant& v) noexcept { return v.type() == Variant::Type::Double; }
  static double* slot(Variant& v) noexcept { return v.double_slot(); }
};

// For fast paths that read an argument once where the element-by-element
// order reads it at every use: plain_number() is true when a read can
// neither fail nor run client code, referent() is the storage a write to the
// argument would change, and overwrites_plainly() is true when a number can
// be stored in a cell without failing.
inline bool plain_number(const Variant& v) noexcept { return v.is_numeric() || v.is_empty(); }
inline bool plain_number(double) noexcept { return true; }
inline const void* referent(const Variant& v) noexcept { return &v; }
inline const void* referent(const double& d) noexcept { return &d; }
inline bool overwrites_plainly(const Variant&) noexcept { return true; }

}  // namespace kor
