// The two flavours of every Korvat method.  The algorithm is the same; a
// flavour contributes only what differs between the two: its name in
// messages, its defaults and tolerances, and the element type of its own
// working arrays.
#pragma once

#include "kor/safe_array.hpp"

namespace kor {

struct VariantFlavour {
  static constexpr bool is_double = false;
  using Array = VariantArray;
};

struct DoubleFlavour {
  static constexpr bool is_double = true;
  using Array = DoubleArray;
};

}  // namespace kor
