// The members a Korvat object keeps between calls.
#pragma once

#include "kor/korvat.hpp"

namespace kor {

struct Korvat::State {
  // Members are added by the methods that keep state: the integrator (Rkm,
  // Rkmd) and the direct spline interpolation (Sinterp, Sinterpd), one set per flavour.
};

}  // namespace kor
