// Korvat: Newton's method, the Runge-Kutta-Merson integrator and the two
// minimisers, both flavours, each with a Dispatch client or a C++ callable.
// Every method is written once over its client adaptor.
#include "component/korvat_state.hpp"
#include "kor/korvat.hpp"
#include "solvers/client.hpp"
#include "solvers/fmin.hpp"
#include "solvers/newton.hpp"
#include "solvers/rkm.hpp"

namespace kor {
namespace {

using solvers::CallableClient;
using solvers::DispatchClient;

template <class Flavour, class Client, class XArray, class ZArray, class Real>
Variant newton(Client client, const Variant& n, const Variant& Nunknown, XArray& X, VariantArray& ipom, ZArray& z,
               Variant& ID, const Real& Eps, const Variant& ALAM, const Variant& NITER, const Real& Delta) {
  return Variant(static_cast<short>(solvers::newton<Flavour>(client, n, Nunknown, X, ipom, z, ID, Eps, ALAM, NITER, Delta)));
}

// Fmin keeps F's values as they come; the double flavour converts the best one at the end.
template <class Flavour, class Client, class XArray>
auto fmin(Client client, const Variant& n, XArray& X, const Variant& EPSA, Variant& itmax) {
  Variant best = solvers::fmin<Flavour>(client, n, X, EPSA, itmax);
  if constexpr (Flavour::is_double) return number_of(best);
  else return best;
}

template <class Flavour, class Client, class XArray>
auto fmin1(Client client, const Variant& NX, XArray& X, const Variant& Eps, Variant& itmax) {
  const double best = solvers::fmin1<Flavour>(client, NX, X, Eps, itmax);
  if constexpr (Flavour::is_double) return best;
  else return Variant(best);
}

}  // namespace

Variant Korvat::Newton(Dispatch& G, const Variant& n, const Variant& Nunknown, const Variant&, VariantArray& X,
                       VariantArray& ipom, VariantArray& z, Variant& ID, const Variant& Eps, const Variant& ALAM,
                       const Variant& NITER, const Variant& Delta) {
  return newton<VariantFlavour>(DispatchClient(G), n, Nunknown, X, ipom, z, ID, Eps, ALAM, NITER, Delta);
}
Variant Korvat::Newton(FunRef Fun, const Variant& n, const Variant& Nunknown, const Variant&, VariantArray& X,
                       VariantArray& ipom, VariantArray& z, Variant& ID, const Variant& Eps, const Variant& ALAM,
                       const Variant& NITER, const Variant& Delta) {
  return newton<VariantFlavour>(CallableClient(Fun), n, Nunknown, X, ipom, z, ID, Eps, ALAM, NITER, Delta);
}
Variant Korvat::Newtond(Dispatch& G, const Variant& n, const Variant& Nunknown, const Variant&, DoubleArray& X,
                        VariantArray& ipom, DoubleArray& z, Variant& ID, double Eps, const Variant& ALAM,
                        const Variant& NITER, double Delta) {
  return newton<DoubleFlavour>(DispatchClient(G), n, Nunknown, X, ipom, z, ID, Eps, ALAM, NITER, Delta);
}
Variant Korvat::Newtond(FundRef Fun, const Variant& n, const Variant& Nunknown, const Variant&, DoubleArray& X,
                        VariantArray& ipom, DoubleArray& z, Variant& ID, double Eps, const Variant& ALAM,
                        const Variant& NITER, double Delta) {
  return newton<DoubleFlavour>(CallableClient(Fun), n, Nunknown, X, ipom, z, ID, Eps, ALAM, NITER, Delta);
}

void Korvat::Rkm(Dispatch& G, const Variant& nn, Variant& xb, Variant& xe, VariantArray& Y, const Variant& Delta,
                 Variant& Star, VariantArray& zz) {
  DispatchClient client(G);
  solvers::rkm<VariantFlavour>(client, state().rkm_step_variant, nn, xb, xe, Y, number_of(Delta), Star, zz);
}
void Korvat::Rkm(FktRef FKT, const Variant& nn, Variant& xb, Variant& xe, VariantArray& Y, const Variant& Delta,
                 Variant& Star, VariantArray& zz) {
  CallableClient client(FKT);
  solvers::rkm<VariantFlavour>(client, state().rkm_step_variant, nn, xb, xe, Y, number_of(Delta), Star, zz);
}
void Korvat::Rkmd(Dispatch& G, const Variant& nn, double& xb, double& xe, DoubleArray& Y, double Delta,
                  Variant& Star, DoubleArray& zz) {
  DispatchClient client(G);
  solvers::rkm<DoubleFlavour>(client, state().rkm_step_double, nn, xb, xe, Y, Delta, Star, zz);
}
void Korvat::Rkmd(FktdRef FKT, const Variant& nn, double& xb, double& xe, DoubleArray& Y, double Delta,
                  Variant& Star, DoubleArray& zz) {
  CallableClient client(FKT);
  solvers::rkm<DoubleFlavour>(client, state().rkm_step_double, nn, xb, xe, Y, Delta, Star, zz);
}

// The minimisers: with and without the by-reference itmax, with either client.
#define KOR_MINIMISER(Name, impl, Flavour, Result, Array, Client, Wrap)                      \
  Result Korvat::Name(Client G, const Variant& n, Array& X, const Variant& eps, Variant& itmax) { \
    return impl<Flavour>(Wrap(G), n, X, eps, itmax);                                          \
  }                                                                                            \
  Result Korvat::Name(Client G, const Variant& n, Array& X, const Variant& eps) {             \
    Variant omitted = Variant::missing();                                                      \
    return Name(G, n, X, eps, omitted);                                                        \
  }
KOR_MINIMISER(Fmin, fmin, VariantFlavour, Variant, VariantArray, Dispatch&, DispatchClient)
KOR_MINIMISER(Fmin, fmin, VariantFlavour, Variant, VariantArray, FRef, CallableClient)
KOR_MINIMISER(Fmind, fmin, DoubleFlavour, double, DoubleArray, Dispatch&, DispatchClient)
KOR_MINIMISER(Fmind, fmin, DoubleFlavour, double, DoubleArray, FdRef, CallableClient)
KOR_MINIMISER(Fmin1, fmin1, VariantFlavour, Variant, VariantArray, Dispatch&, DispatchClient)
KOR_MINIMISER(Fmin1, fmin1, VariantFlavour, Variant, VariantArray, FRef, CallableClient)
KOR_MINIMISER(Fmin1d, fmin1, DoubleFlavour, double, DoubleArray, Dispatch&, DispatchClient)
KOR_MINIMISER(Fmin1d, fmin1, DoubleFlavour, double, DoubleArray, FdRef, CallableClient)
#undef KOR_MINIMISER

}  // namespace kor
