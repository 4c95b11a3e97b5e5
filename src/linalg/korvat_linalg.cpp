// Korvat: Gaussian elimination and matrix inversion, both flavours.
#include "kor/korvat.hpp"
#include "linalg/gauss.hpp"
#include "linalg/invert.hpp"
#include "linalg/rutishauser.hpp"

namespace kor {

void Korvat::Gauss(const Variant& n, VariantArray& a, const Variant& NCOL, Variant& ID) {
  linalg::gauss(n, a, NCOL, ID);
}

void Korvat::Gaussd(const Variant& n, DoubleArray& a, const Variant& NCOL, Variant& ID) {
  linalg::gauss(n, a, NCOL, ID);
}

void Korvat::Invert(Variant& n, VariantArray& ap, VariantArray& Ainv, Variant& ID, Variant& EP) {
  if (is_missing(EP)) {
    const Variant omitted_default = linalg::kInvertDefaultEp;
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

void Korvat::Rutishauser(const Variant& n, VariantArray& a, VariantArray& b, VariantArray& U, Variant& tag1,
                         Variant& tag2, Variant& iter, const Variant& eigvec, const Variant& stripd,
                         const Variant& sweep, const Variant& freq, const Variant& itmax, const Variant& eps1,
                         const Variant& eps2, const Variant& eps3, const Variant& eps4) {
  const auto o = linalg::jacobi_options(eigvec, stripd, sweep, freq, itmax, eps1, eps2, eps3, eps4);
  linalg::rutishauser(n, a, b, U, tag1, tag2, iter, o);
}

// The tolerances of the double flavour are doubles that are never missing:
// an omitted one arrives as 0, which selects the default.
void Korvat::Rutishauserd(const Variant& n, DoubleArray& a, DoubleArray& b, DoubleArray& U, Variant& tag1,
                          Variant& tag2, Variant& iter, const Variant& eigvec, const Variant& stripd,
                          const Variant& sweep, const Variant& freq, const Variant& itmax, double eps1,
                          double eps2, double eps3, double eps4) {
  const auto o = linalg::jacobi_options(eigvec, stripd, sweep, freq, itmax, eps1, eps2, eps3, eps4);
  linalg::rutishauser(n, a, b, U, tag1, tag2, iter, o);
}

}  // namespace kor
