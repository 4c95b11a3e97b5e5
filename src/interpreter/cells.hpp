// The evaluator's view of kor::Variant cells in a variable table or vector.
#pragma once

#include <string>
#include <string_view>

#include "kor/variant.hpp"

namespace kor {

// A table row matches when its name cell is a string equal to the
// upper-cased name; a cell of any other type never matches.
inline bool cell_is_name(const Variant& cell, std::string_view upper_name) {
  return cell.is_string() && cell.string_value() == upper_name;
}

inline double cell_number(const Variant& cell) { return cell.to_double(); }

// A cell's number where reading it can neither fail nor convert a text.
inline bool cell_plain_number(const Variant& cell, double& out) noexcept {
  if (cell.type() == Variant::Type::Double || cell.type() == Variant::Type::Integer) {
    out = cell.to_double();
    return true;
  }
  return false;
}

// A text of the interpreted solvers' equation array.
inline const std::string& text_of(const std::string& cell) { return cell; }

}  // namespace kor
