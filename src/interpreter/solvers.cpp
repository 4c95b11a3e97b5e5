// Interpret's interpreted solvers on the library's own arrays.
#include "interpreter/interpreted.hpp"
#include "kor/interpret.hpp"

namespace kor {

Variant Interpret::NewtonI(StringArray& Rov, const Variant& n, const Variant& Nunknown, const Variant& /*NProm*/,
                           VariantArray& X, VariantArray& ipom, VariantArray& z, Variant& ID, const Variant& Eps,
                           const Variant& ALAM, const Variant& NITER, const Variant& Delta) {
  return interpreter::newton_i(Rov, n, Nunknown, X, ipom, z, ID, Eps, ALAM, NITER, Delta);
}

Variant Interpret::FminI(std::string_view Rov, const Variant& n, VariantArray& X, VariantArray& z,
                         const Variant& EPSA, Variant& itmax) {
  return interpreter::fmin_i<false>(Rov, n, X, z, EPSA, itmax);
}

Variant Interpret::FminI(std::string_view Rov, const Variant& n, VariantArray& X, VariantArray& z,
                         const Variant& EPSA) {
  Variant omitted = Variant::missing();
  return FminI(Rov, n, X, z, EPSA, omitted);
}

Variant Interpret::Fmin1I(std::string_view Rov, const Variant& NX, VariantArray& X, VariantArray& z,
                          const Variant& Eps, Variant& itmax) {
  return interpreter::fmin_i<true>(Rov, NX, X, z, Eps, itmax);
}

Variant Interpret::Fmin1I(std::string_view Rov, const Variant& NX, VariantArray& X, VariantArray& z,
                          const Variant& Eps) {
  Variant omitted = Variant::missing();
  return Fmin1I(Rov, NX, X, z, Eps, omitted);
}

void Interpret::RkmI(StringArray& Rov, const Variant& nn, Variant& xb, Variant& xe, VariantArray& Y,
                     const Variant& Delta, Variant& Star, VariantArray& zz) {
  interpreter::rkm_i(Rov, nn, xb, xe, Y, Delta, Star, zz);
}

}  // namespace kor
