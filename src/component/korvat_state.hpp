// The members a Korvat object keeps between calls.
#pragma once

#include "kor/korvat.hpp"

namespace kor {

struct Korvat::State {
  // The direct spline interpolation's auxiliary values, one array per flavour.
  VariantArray sinterp_variant;
  DoubleArray sinterp_double;
  // The integrator's step size, carried from call to call (0 before the first).
  double rkm_step_variant = 0;
  double rkm_step_double = 0;
};

}  // namespace kor
