// kor — runtime errors.
//
// Every fault that ends a method is a kor::Error carrying the runtime error
// number that automation clients know, and its standard description.
// Numerical failures (singular matrix, no convergence) are not errors: they
// are status values written by the method.
#pragma once

#include <exception>
#include <string>
#include <string_view>

namespace kor {

// The runtime error numbers a client may see.
namespace err {
inline constexpr int kInvalidCall = 5;       // invalid procedure call or argument
inline constexpr int kOverflow = 6;          // overflow
inline constexpr int kSubscript = 9;         // subscript out of range
inline constexpr int kArrayLocked = 10;      // this array is fixed or temporarily locked
inline constexpr int kDivisionByZero = 11;   // division by zero
inline constexpr int kTypeMismatch = 13;     // type mismatch
inline constexpr int kOutOfStack = 28;       // out of stack space
inline constexpr int kObjectNotSet = 91;     // object variable or With block variable not set
inline constexpr int kInvalidNull = 94;      // invalid use of Null
inline constexpr int kNoMember = 438;        // object doesn't support this property or method
}  // namespace err

// The standard description of a runtime error number ("" for numbers kor never raises).
std::string_view standard_description(int number) noexcept;

class Error : public std::exception {
 public:
  // A runtime error with its standard description.
  explicit Error(int number);
  // An error with a description of its own, for example one raised by a client object.
  Error(int number, std::string description, std::string source = {});

  int number() const noexcept { return number_; }
  const std::string& description() const noexcept { return description_; }
  const std::string& source() const noexcept { return source_; }
  const char* what() const noexcept override { return description_.c_str(); }

 private:
  int number_;
  std::string description_;
  std::string source_;
};

// Throws Error(number).  Out of line, so that the checks on hot paths that
// call it (subscripts, conversions, arithmetic) stay small enough to inline.
[[noreturn]] void raise_error(int number);

}  // namespace kor
