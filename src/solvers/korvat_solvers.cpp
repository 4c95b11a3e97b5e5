// Korvat: Newton's method and the Runge-Kutta-Merson integrator, both flavours.
#include "component/korvat_state.hpp"
#include "kor/korvat.hpp"
#include "solvers/client.hpp"
#include "solvers/newton.hpp"
#include "solvers/rkm.hpp"

namespace kor {

Variant Korvat::Newton(Dispatch& G, const Variant& n, const Variant& Nunknown, const Variant& /*NProm*/,
                       VariantArray& X, VariantArray& ipom, VariantArray& z, Variant& ID, const Variant& Eps,
                       const Variant& ALAM, const Variant& NITER, const Variant& Delta) {
  solvers::DispatchClient client(G);
  return Variant(static_cast<short>(
      solvers::newton<VariantFlavour>(client, n, Nunknown, X, ipom, z, ID, Eps, ALAM, NITER, Delta)));
}

Variant Korvat::Newtond(Dispatch& G, const Variant& n, const Variant& Nunknown, const Variant& /*NProm*/,
                        DoubleArray& X, VariantArray& ipom, DoubleArray& z, Variant& ID, double Eps,
                        const Variant& ALAM, const Variant& NITER, double Delta) {
  solvers::DispatchClient client(G);
  return Variant(static_cast<short>(
      solvers::newton<DoubleFlavour>(client, n, Nunknown, X, ipom, z, ID, Eps, ALAM, NITER, Delta)));
}

void Korvat::Rkm(Dispatch& G, const Variant& nn, Variant& xb, Variant& xe, VariantArray& Y, const Variant& Delta,
                 Variant& Star, VariantArray& zz) {
  solvers::DispatchClient client(G);
  solvers::rkm<VariantFlavour>(client, state().rkm_step_variant, nn, xb, xe, Y, number_of(Delta), Star, zz);
}

void Korvat::Rkmd(Dispatch& G, const Variant& nn, double& xb, double& xe, DoubleArray& Y, double Delta,
                  Variant& Star, DoubleArray& zz) {
  solvers::DispatchClient client(G);
  solvers::rkm<DoubleFlavour>(client, state().rkm_step_double, nn, xb, xe, Y, Delta, Star, zz);
}

}  // namespace kor

#include "solvers/fmin.hpp"

namespace kor {

Variant Korvat::Fmin(Dispatch& G, const Variant& n, VariantArray& X, const Variant& EPSA, Variant& itmax) {
  solvers::DispatchClient client(G);
  return solvers::fmin<VariantFlavour>(client, n, X, EPSA, itmax);
}

Variant Korvat::Fmin(Dispatch& G, const Variant& n, VariantArray& X, const Variant& EPSA) {
  Variant omitted = Variant::missing();
  return Fmin(G, n, X, EPSA, omitted);
}

double Korvat::Fmind(Dispatch& G, const Variant& n, DoubleArray& X, const Variant& EPSA, Variant& itmax) {
  solvers::DispatchClient client(G);
  return number_of(solvers::fmin<DoubleFlavour>(client, n, X, EPSA, itmax));
}

double Korvat::Fmind(Dispatch& G, const Variant& n, DoubleArray& X, const Variant& EPSA) {
  Variant omitted = Variant::missing();
  return Fmind(G, n, X, EPSA, omitted);
}

Variant Korvat::Fmin1(Dispatch& G, const Variant& NX, VariantArray& X, const Variant& Eps, Variant& itmax) {
  solvers::DispatchClient client(G);
  return Variant(solvers::fmin1<VariantFlavour>(client, NX, X, Eps, itmax));
}

Variant Korvat::Fmin1(Dispatch& G, const Variant& NX, VariantArray& X, const Variant& Eps) {
  Variant omitted = Variant::missing();
  return Fmin1(G, NX, X, Eps, omitted);
}

double Korvat::Fmin1d(Dispatch& G, const Variant& NX, DoubleArray& X, const Variant& Eps, Variant& itmax) {
  solvers::DispatchClient client(G);
  return solvers::fmin1<DoubleFlavour>(client, NX, X, Eps, itmax);
}

double Korvat::Fmin1d(Dispatch& G, const Variant& NX, DoubleArray& X, const Variant& Eps) {
  Variant omitted = Variant::missing();
  return Fmin1d(G, NX, X, Eps, omitted);
}

}  // namespace kor
