// kor — the dynamically typed value of the variant flavour.
//
// A Variant holds Empty, Null, a 16-bit integer, a 32-bit integer, a double,
// a string (UTF-8), a Boolean, or the marker of an omitted optional argument.
// Arithmetic reads it as a double: Empty is 0, True is -1, a string that reads
// as a number is that number; anything else is a type mismatch (error 13), and
// Null is error 94.  Counts and subscripts are read as whole numbers, rounding
// half to even, with overflow (error 6) outside the 16-bit or 32-bit range.
#pragma once

#include <cmath>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

#include "kor/error.hpp"

namespace kor {

class Variant {
 public:
  enum class Type : std::uint8_t { Empty, Null, Integer, Long, Double, String, Boolean, Missing, Single };

  Variant() noexcept : type_(Type::Empty) { u_.d = 0; }
  Variant(short v) noexcept : type_(Type::Integer) { u_.i16 = v; }
  // An int is typed like a literal of the automation language: a 16-bit
  // integer when it fits, a 32-bit integer otherwise.
  Variant(int v) noexcept {
    if (v >= INT16_MIN && v <= INT16_MAX) {
      type_ = Type::Integer;
      u_.i16 = static_cast<std::int16_t>(v);
    } else {
      type_ = Type::Long;
      u_.i32 = v;
    }
  }
  Variant(double v) noexcept : type_(Type::Double) { u_.d = v; }
  Variant(bool v) noexcept : type_(Type::Boolean) { u_.b = v; }
  Variant(const char* s) : Variant(std::string_view(s)) {}
  Variant(std::string_view s);
  Variant(const std::string& s) : Variant(std::string_view(s)) {}

  static Variant null() noexcept { return Variant(Type::Null); }
  static Variant missing() noexcept { return Variant(Type::Missing); }
  // A single-precision number (the integrator's Star is written as one).
  static Variant from_single(float v) noexcept {
    Variant r(Type::Single);
    r.u_.f = v;
    return r;
  }
  static Variant from_long(std::int32_t v) noexcept {
    Variant r(Type::Long);
    r.u_.i32 = v;
    return r;
  }

  Variant(const Variant& o);
  Variant(Variant&& o) noexcept : type_(o.type_), u_(o.u_) { o.type_ = Type::Empty; }
  // Only a string owns storage: every other value is copied as it stands.
  Variant& operator=(const Variant& o) {
    if (type_ != Type::String && o.type_ != Type::String) [[likely]] {
      type_ = o.type_;
      u_ = o.u_;
      return *this;
    }
    return assign_string(o);
  }
  Variant& operator=(Variant&& o) noexcept {
    if (this != &o) {
      release();
      type_ = o.type_;
      u_ = o.u_;
      o.type_ = Type::Empty;
    }
    return *this;
  }
  ~Variant() { release(); }

  Type type() const noexcept { return type_; }
  bool is_empty() const noexcept { return type_ == Type::Empty; }
  bool is_null() const noexcept { return type_ == Type::Null; }
  bool is_missing() const noexcept { return type_ == Type::Missing; }
  bool is_string() const noexcept { return type_ == Type::String; }
  bool is_numeric() const noexcept {
    return type_ == Type::Integer || type_ == Type::Long || type_ == Type::Double || type_ == Type::Single;
  }

  // The value as a double (errors 13 and 94 as described above).
  double to_double() const {
    if (type_ == Type::Double) return u_.d;  // the common cases, kept inline
    if (type_ == Type::Integer) return u_.i16;
    return to_double_slow();
  }
  // Whole numbers, rounding half to even; overflow is error 6.
  std::int16_t to_int16() const {
    if (type_ == Type::Integer) return u_.i16;  // the common case, kept inline
    return to_int16_slow();
  }
  std::int32_t to_int32() const {
    if (type_ == Type::Integer) return u_.i16;  // the common cases, kept inline
    if (type_ == Type::Long) return u_.i32;
    return to_int32_slow();
  }
  bool to_bool() const;

  // Raw access for callers that have checked the type.
  std::int16_t int16_value() const noexcept { return u_.i16; }
  std::int32_t int32_value() const noexcept { return u_.i32; }
  double double_value() const noexcept { return u_.d; }
  float single_value() const noexcept { return u_.f; }
  bool bool_value() const noexcept { return u_.b; }
  // The storage of a Double's value, for algorithms that have checked the
  // type of every cell they walk and keep writing doubles into them.
  double* double_slot() noexcept { return &u_.d; }
  std::string_view string_value() const noexcept {
    return type_ == Type::String ? std::string_view(*u_.s) : std::string_view();
  }

  // Text as the automation language prints it (numbers as with Str, without the
  // leading space of non-negative numbers; True/False; Empty as "").
  std::string to_string() const;

  // Same type and same value (NaN equals nothing).
  friend bool operator==(const Variant& a, const Variant& b) noexcept;

 private:
  explicit Variant(Type t) noexcept : type_(t) { u_.d = 0; }
  void release() noexcept {
    if (type_ == Type::String) release_string();
    type_ = Type::Empty;
  }
  void release_string() noexcept;
  Variant& assign_string(const Variant& o);
  double to_double_slow() const;
  std::int16_t to_int16_slow() const;
  std::int32_t to_int32_slow() const;

  Type type_;
  union {
    std::int16_t i16;
    std::int32_t i32;
    float f;
    double d;
    bool b;
    std::string* s;
  } u_;
};

std::ostream& operator<<(std::ostream& os, const Variant& v);

// The runtime's comparison of two Variants: numbers (Empty as 0, Booleans as
// -1 and 0) by value, two texts as text (by character codes), a number below
// any text, Empty beside a text as "".  Negative, zero or positive as a is
// below, equal to or above b; nothing when either is Null (a test on it
// fails).  Other values are error 13.
std::optional<int> compare(const Variant& a, const Variant& b);

// Conversions shared by every face.
namespace convert {
// Rounds half to even and checks the range (error 6 outside, and for NaN).
inline std::int16_t to_int16(double x) {
  const double r = std::nearbyint(x);  // the default rounding mode: half to even
  if (!(r >= -32768.0 && r <= 32767.0)) [[unlikely]] raise_error(err::kOverflow);
  return static_cast<std::int16_t>(r);
}
inline std::int32_t to_int32(double x) {
  const double r = std::nearbyint(x);
  if (!(r >= -2147483648.0 && r <= 2147483647.0)) [[unlikely]] raise_error(err::kOverflow);
  return static_cast<std::int32_t>(r);
}
// Reads a whole string as a number the way automation does (surrounding
// spaces allowed, an optional sign, decimals and an exponent); error 13 if it is not one.
double string_to_double(std::string_view s);
// The value of the longest prefix of s that is a decimal number (digits,
// optional fraction, optional exponent); 0 with used == 0 if there is none.
// A value too large for a double is error 6; one too small reads as 0.
double decimal_prefix(std::string_view s, std::size_t& used);
// A number as the automation language's Str prints it: a leading space for a
// non-negative number, up to 15 significant digits, no zero before the
// decimal point (" .5"), and an exponent outside 1E-4 .. 1E+15 (" 1E+20").
std::string str(double x);
}  // namespace convert

}  // namespace kor
