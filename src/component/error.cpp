#include "kor/error.hpp"

namespace kor {

std::string_view standard_description(int number) noexcept {
  switch (number) {
    case err::kInvalidCall: return "Invalid procedure call or argument";
    case err::kOverflow: return "Overflow";
    case err::kSubscript: return "Subscript out of range";
    case err::kArrayLocked: return "This array is fixed or temporarily locked";
    case err::kDivisionByZero: return "Division by zero";
    case err::kTypeMismatch: return "Type mismatch";
    case err::kOutOfStack: return "Out of stack space";
    case err::kObjectNotSet: return "Object variable or With block variable not set";
    case err::kInvalidNull: return "Invalid use of Null";
    case 450: return "Wrong number of arguments or invalid property assignment";
    case err::kNoMember: return "Object doesn't support this property or method";
    default: return "";
  }
}

Error::Error(int number)
    : number_(number), description_(standard_description(number)) {
  if (description_.empty()) description_ = "Application-defined or object-defined error";
}

Error::Error(int number, std::string description, std::string source)
    : number_(number), description_(std::move(description)), source_(std::move(source)) {}

void raise_error(int number) { throw Error(number); }

}  // namespace kor
