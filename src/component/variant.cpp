#include "kor/variant.hpp"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <ostream>

#include "kor/error.hpp"

namespace kor {

Variant::Variant(std::string_view s) : type_(Type::String) { u_.s = new std::string(s); }

Variant::Variant(const Variant& o) : type_(o.type_), u_(o.u_) {
  if (type_ == Type::String) u_.s = new std::string(*o.u_.s);
}

Variant& Variant::assign_string(const Variant& o) {
  if (this != &o) {
    Variant copy(o);
    *this = std::move(copy);
  }
  return *this;
}

void Variant::release_string() noexcept { delete u_.s; }

double Variant::to_double_slow() const {
  switch (type_) {
    case Type::Empty: return 0.0;
    case Type::Integer: return u_.i16;
    case Type::Long: return u_.i32;
    case Type::Double: return u_.d;
    case Type::Single: return u_.f;
    case Type::Boolean: return u_.b ? -1.0 : 0.0;
    case Type::String: return convert::string_to_double(*u_.s);
    case Type::Null: throw Error(err::kInvalidNull);
    case Type::Missing: break;
  }
  throw Error(err::kTypeMismatch);
}

std::int16_t Variant::to_int16_slow() const {
  switch (type_) {
    case Type::Integer: return u_.i16;
    case Type::Boolean: return u_.b ? -1 : 0;
    case Type::Empty: return 0;
    default: return convert::to_int16(to_double());
  }
}

std::int32_t Variant::to_int32_slow() const {
  switch (type_) {
    case Type::Integer: return u_.i16;
    case Type::Long: return u_.i32;
    case Type::Boolean: return u_.b ? -1 : 0;
    case Type::Empty: return 0;
    default: return convert::to_int32(to_double());
  }
}

bool Variant::to_bool() const {
  if (type_ == Type::Boolean) return u_.b;
  return to_double() != 0.0;
}

std::string Variant::to_string() const {
  switch (type_) {
    case Type::Empty: return "";
    case Type::Null: return "Null";
    case Type::Missing: return "Error 448";
    case Type::Boolean: return u_.b ? "True" : "False";
    case Type::String: return *u_.s;
    case Type::Integer: return std::to_string(u_.i16);
    case Type::Long: return std::to_string(u_.i32);
    case Type::Single:
    case Type::Double: {
      std::string t = convert::str(type_ == Type::Single ? u_.f : u_.d);
      if (!t.empty() && t[0] == ' ') t.erase(0, 1);
      return t;
    }
  }
  return "";
}

bool operator==(const Variant& a, const Variant& b) noexcept {
  if (a.type_ != b.type_) return false;
  switch (a.type_) {
    case Variant::Type::Integer: return a.u_.i16 == b.u_.i16;
    case Variant::Type::Long: return a.u_.i32 == b.u_.i32;
    case Variant::Type::Double: return a.u_.d == b.u_.d;
    case Variant::Type::Single: return a.u_.f == b.u_.f;
    case Variant::Type::Boolean: return a.u_.b == b.u_.b;
    case Variant::Type::String: return *a.u_.s == *b.u_.s;
    default: return true;
  }
}

std::ostream& operator<<(std::ostream& os, const Variant& v) {
  static const char* const names[] = {"Empty",  "Null",    "Integer", "Long",  "Double",
                                      "String", "Boolean", "Missing", "Single"};
  return os << names[static_cast<int>(v.type())] << '(' << v.to_string() << ')';
}

std::optional<int> compare(const Variant& a, const Variant& b) {
  using T = Variant::Type;
  if (a.type() == T::Null || b.type() == T::Null) return std::nullopt;
  const bool text_a = a.type() == T::String, text_b = b.type() == T::String;
  if (text_a || text_b) {
    if (text_a && text_b) {
      const int c = a.string_value().compare(b.string_value());
      return (c > 0) - (c < 0);
    }
    const Variant& other = text_a ? b : a;
    if (other.type() == T::Empty) {
      const int c = (text_a ? a : b).string_value().empty() ? 0 : 1;  // "" beside a text
      return text_a ? c : -c;
    }
    if (!other.is_numeric() && other.type() != T::Boolean) throw Error(err::kTypeMismatch);
    return text_a ? 1 : -1;  // a number is below any text
  }
  const double x = a.to_double(), y = b.to_double();
  return x < y ? -1 : (x > y ? 1 : 0);
}

namespace convert {

double decimal_prefix(std::string_view s, std::size_t& used) {
  // The longest prefix of the form digits [ "." digits ] [ ("E"|"e") [sign] digits ].
  std::size_t i = 0;
  const std::size_t n = s.size();
  auto digit = [&](std::size_t k) { return k < n && s[k] >= '0' && s[k] <= '9'; };
  std::size_t int_start = i;
  while (digit(i)) ++i;
  std::size_t int_end = i;
  std::size_t frac_start = i, frac_end = i;
  if (i < n && s[i] == '.') {
    frac_start = ++i;
    while (digit(i)) ++i;
    frac_end = i;
  }
  if (int_end == int_start && frac_end == frac_start) {
    used = 0;
    return 0.0;  // no digits at all
  }
  long exponent = 0;
  if (i < n && (s[i] == 'e' || s[i] == 'E')) {
    std::size_t j = i + 1;
    bool neg = false;
    if (j < n && (s[j] == '+' || s[j] == '-')) neg = s[j++] == '-';
    if (digit(j)) {
      while (digit(j)) {
        if (exponent < 100000) exponent = exponent * 10 + (s[j] - '0');
        ++j;
      }
      if (neg) exponent = -exponent;
      i = j;
    }
  }
  used = i;
  // Fast path, exact: a mantissa below 2^53 scaled by a power of ten up to
  // 10^22 (both exact doubles) is one correctly rounded multiplication or
  // division, the same double the general conversion gives.
  {
    static constexpr double kPow10[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                        1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                        1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
    std::uint64_t m = 0;
    int ndigits = 0;
    for (std::size_t k = int_start; k < int_end; ++k) {
      m = m * 10 + static_cast<std::uint64_t>(s[k] - '0');
      if (m != 0) ++ndigits;
    }
    for (std::size_t k = frac_start; k < frac_end; ++k) {
      m = m * 10 + static_cast<std::uint64_t>(s[k] - '0');
      if (m != 0) ++ndigits;
    }
    const long scale = exponent - static_cast<long>(frac_end - frac_start);
    if (ndigits <= 15 && scale >= -22 && scale <= 22) {
      const double mantissa = static_cast<double>(m);
      return scale >= 0 ? mantissa * kPow10[scale] : mantissa / kPow10[-scale];
    }
  }
  double value = 0.0;
  auto ec = std::from_chars(s.data(), s.data() + used, value, std::chars_format::general).ec;
  if (ec == std::errc::result_out_of_range) {
    // Tell overflow from underflow by the decimal magnitude of the text.
    long magnitude = exponent;
    std::size_t k = int_start;
    while (k < int_end && s[k] == '0') ++k;
    if (k < int_end) {
      magnitude += static_cast<long>(int_end - k);
    } else {
      std::size_t z = frac_start;
      while (z < frac_end && s[z] == '0') ++z;
      magnitude -= static_cast<long>(z - frac_start);
    }
    if (magnitude > 0) throw Error(err::kOverflow);
    value = 0.0;
  }
  return value;
}

double string_to_double(std::string_view s) {
  auto is_space = [](char c) { return c == ' ' || c == '\t'; };
  while (!s.empty() && is_space(s.front())) s.remove_prefix(1);
  while (!s.empty() && is_space(s.back())) s.remove_suffix(1);
  bool negative = false;
  if (!s.empty() && (s.front() == '+' || s.front() == '-')) {
    negative = s.front() == '-';
    s.remove_prefix(1);
  }
  // Only plain decimal notation: from_chars alone would also take "inf" and "nan".
  if (s.empty() || !(std::isdigit(static_cast<unsigned char>(s.front())) || s.front() == '.'))
    throw Error(err::kTypeMismatch);
  std::size_t used = 0;
  double value = decimal_prefix(s, used);
  if (used != s.size()) throw Error(err::kTypeMismatch);
  return negative ? -value : value;
}

std::string str(double x) {
  if (x == 0) return " 0";
  char buf[40];
  std::snprintf(buf, sizeof buf, "%.15G", x);
  std::string digits = buf;
  // Str writes no zero in front of the decimal point.
  if (digits.starts_with("0.")) digits.erase(0, 1);
  else if (digits.starts_with("-0.")) digits.erase(1, 1);
  if (digits.find('E') != std::string::npos) {
    // %G keeps trailing zeros of the mantissa only with '#'; strip a bare '.'.
    auto epos = digits.find('E');
    if (epos > 0 && digits[epos - 1] == '.') digits.erase(epos - 1, 1);
  }
  if (x >= 0 || std::isnan(x)) digits.insert(digits.begin(), ' ');
  return digits;
}

}  // namespace convert
}  // namespace kor
