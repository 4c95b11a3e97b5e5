// Korvat: Horner evaluation, both flavours.
#include "kor/korvat.hpp"
#include "poly/lin_bairstow.hpp"
#include "poly/polyn.hpp"

namespace kor {

Variant Korvat::Polyn(const Variant& n, Variant& X, VariantArray& a) { return poly::polyn<Variant>(n, X, a); }

double Korvat::Polynd(const Variant& n, double& X, DoubleArray& a) { return poly::polyn<double>(n, X, a); }

void Korvat::LinBairstow(const Variant& npol, VariantArray& apol, VariantArray& xreal, VariantArray& ximag,
                         const Variant& epslin) {
  poly::lin_bairstow(npol, apol, xreal, ximag, epslin);
}

void Korvat::LinBairstowd(const Variant& npol, DoubleArray& ap, DoubleArray& xreal, DoubleArray& ximag,
                          double epslin) {
  poly::lin_bairstow(npol, ap, xreal, ximag, epslin);
}

}  // namespace kor
