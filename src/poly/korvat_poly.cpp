// Korvat: Horner evaluation, both flavours.
#include "kor/korvat.hpp"
#include "poly/polyn.hpp"

namespace kor {

Variant Korvat::Polyn(const Variant& n, Variant& X, VariantArray& a) { return Variant(poly::polyn(n, X, a)); }

double Korvat::Polynd(const Variant& n, double& X, DoubleArray& a) { return poly::polyn(n, X, a); }

}  // namespace kor
