// Korvat: Gaussian elimination and matrix inversion, both flavours.
#include "kor/korvat.hpp"
#include "linalg/gauss.hpp"
#include "linalg/invert.hpp"

namespace kor {

void Korvat::Gauss(const Variant& n, VariantArray& a, const Variant& NCOL, Variant& ID) {
  linalg::gauss(n, a, NCOL, ID);
}

void Korvat::Gaussd(const Variant& n, DoubleArray& a, const Variant& NCOL, Variant& ID) {
  linalg::gauss(n, a, NCOL, ID);
}

void Korvat::Invert(Variant& n, VariantArray& ap, VariantArray& Ainv, Variant& ID, Variant& EP) {
  if (is_missing(EP)) {
    const Variant omitted_default = 1e-6;
    linalg::invert(n, ap, Ainv, ID, omitted_default);
    return;
  }
  linalg::invert(n, ap, Ainv, ID, EP);
}

void Korvat::Invert(Variant& n, VariantArray& ap, VariantArray& Ainv, Variant& ID) {
  Variant omitted = Variant::missing();
  Invert(n, ap, Ainv, ID, omitted);
}

// The threshold of the double flavour is a double that is never missing: the
// value received is used, 0 when the client omits it.
void Korvat::Invertd(Variant& n, DoubleArray& ap, DoubleArray& Ainv, Variant& ID, double& EP) {
  linalg::invert(n, ap, Ainv, ID, EP);
}

void Korvat::Invertd(Variant& n, DoubleArray& ap, DoubleArray& Ainv, Variant& ID) {
  double omitted = 0.0;
  Invertd(n, ap, Ainv, ID, omitted);
}

}  // namespace kor
