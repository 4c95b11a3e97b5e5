// Character classes and string helpers of the expression scan.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "kor/error.hpp"
#include "kor/variant.hpp"

namespace kor::interpreter {

inline bool is_digit(char c) { return c >= '0' && c <= '9'; }

inline bool is_operator(char c) {
  return c == ')' || c == '^' || c == '/' || c == '*' || c == '-' || c == '+';
}

// A name starts with a letter or with one of "[", "\", "]", "_", "`" (the
// characters between "Z" and "a" other than "^").
inline bool is_name_start(char c) { return c >= 'A' && c <= 'z' && c != '^'; }

// The substring of `length` characters from the 1-based position `start`,
// with the runtime's rules: a start below 1 or a negative length is an invalid
// call (error 5); a start past the end gives "".
inline std::string_view mid(std::string_view s, int start, int length) {
  if (start < 1 || length < 0) [[unlikely]] throw Error(err::kInvalidCall);
  const std::size_t from = static_cast<std::size_t>(start - 1);
  if (from >= s.size()) return {};
  return s.substr(from, static_cast<std::size_t>(length));
}

// The value of the leading number of a text, like the runtime's Val: an
// optional sign, then the longest decimal prefix; 0 if there is none.
inline double leading_number(std::string_view s) {
  bool negative = false;
  if (!s.empty() && (s[0] == '+' || s[0] == '-')) {
    negative = s[0] == '-';
    s.remove_prefix(1);
  }
  std::size_t used = 0;
  const double v = convert::decimal_prefix(s, used);
  return negative ? -v : v;
}

// A number token: a decimal comma is accepted in place of the point.
inline double number_value(std::string_view token) {
  if (token.find(',') == std::string_view::npos) return leading_number(token);
  char buf[64];
  std::string big;
  char* p = buf;
  if (token.size() > sizeof buf) {
    big.resize(token.size());
    p = big.data();
  }
  for (std::size_t i = 0; i < token.size(); ++i) p[i] = token[i] == ',' ? '.' : token[i];
  return leading_number(std::string_view(p, token.size()));
}

// The upper-cased form of a name: ASCII letters and the Latin letters of
// U+00E0..U+017F (Czech among them) in UTF-8.  Short names stay on the stack.
class UpperName {
 public:
  explicit UpperName(std::string_view s) {
    char* out = buf_;
    if (s.size() > sizeof buf_) {
      big_.resize(s.size());
      out = big_.data();
    }
    std::size_t i = 0;
    while (i < s.size()) {
      const auto c = static_cast<unsigned char>(s[i]);
      if (c >= 'a' && c <= 'z') {
        out[i] = static_cast<char>(c - 32);
        ++i;
      } else if ((c == 0xC3 || c == 0xC4 || c == 0xC5) && i + 1 < s.size() &&
                 (static_cast<unsigned char>(s[i + 1]) & 0xC0) == 0x80) {
        const auto c2 = static_cast<unsigned char>(s[i + 1]);
        unsigned cp = (static_cast<unsigned>(c & 0x1F) << 6) | (c2 & 0x3Fu);
        cp = upper_latin(cp);
        out[i] = static_cast<char>(0xC0 | (cp >> 6));
        out[i + 1] = static_cast<char>(0x80 | (cp & 0x3F));
        i += 2;
      } else {
        out[i] = s[i];
        ++i;
      }
    }
    view_ = std::string_view(out, s.size());
  }
  UpperName(const UpperName&) = delete;
  UpperName& operator=(const UpperName&) = delete;

  std::string_view view() const { return view_; }

 private:
  // Upper case of a code point of U+00C0..U+017F whose upper case has a
  // two-byte UTF-8 form of its own (so U+00FF and U+0130/U+0131 stay as they are).
  static unsigned upper_latin(unsigned cp) {
    if (cp >= 0xE0 && cp <= 0xFE && cp != 0xF7) return cp - 0x20;
    if ((cp >= 0x100 && cp <= 0x12F) || (cp >= 0x132 && cp <= 0x137) || (cp >= 0x14A && cp <= 0x177))
      return (cp & 1) ? cp - 1 : cp;
    if ((cp >= 0x139 && cp <= 0x148) || (cp >= 0x179 && cp <= 0x17E))
      return (cp & 1) ? cp : cp - 1;
    return cp;
  }

  char buf_[48];
  std::string big_;
  std::string_view view_;
};

}  // namespace kor::interpreter
