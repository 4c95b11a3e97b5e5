// The members a Korvat object keeps between calls.
#pragma once

#include "kor/korvat.hpp"

namespace kor {

struct Korvat::State {
  // The direct spline interpolation's auxiliary values, one array per flavour.
  VariantArray sinterp_variant;
  DoubleArray sinterp_double;
};

}  // namespace kor
