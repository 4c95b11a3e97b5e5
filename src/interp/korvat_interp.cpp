// Korvat: Lagrange interpolation and the cubic-spline family, both flavours.
#include "component/korvat_state.hpp"
#include "interp/flagr.hpp"
#include "interp/spline.hpp"
#include "kor/korvat.hpp"

namespace kor {

Variant Korvat::Flagr(const Variant& n, VariantArray& X, VariantArray& Y, Variant& XI, const Variant& M) {
  return Variant(interp::flagr(n, X, Y, XI, M));
}

double Korvat::Flagrd(const Variant& n, DoubleArray& X, DoubleArray& Y, double XI, const Variant& M) {
  return interp::flagr(n, X, Y, XI, M);
}

void Korvat::Spline(const Variant& Imin, const Variant& Imax, VariantArray& X, VariantArray& Y,
                    const Variant& Y1min, const Variant& Y1max, VariantArray& Y2) {
  interp::spline<VariantFlavour>(Imin, Imax, X, Y, Y1min, Y1max, Y2);
}

void Korvat::Splined(const Variant& Imin, const Variant& Imax, DoubleArray& X, DoubleArray& Y, double Y1min,
                     double Y1max, DoubleArray& Y2) {
  interp::spline<DoubleFlavour>(Imin, Imax, X, Y, Y1min, Y1max, Y2);
}

Variant Korvat::Splder(Variant& Imin, Variant& Imax, VariantArray& XA, VariantArray& Y, VariantArray& Y2,
                       Variant& XX) {
  return Variant(interp::splder(int32_of(Imin), int32_of(Imax), XA, Y, Y2, number_of(XX)));
}

double Korvat::Splderd(const Variant& Imin, const Variant& Imax, DoubleArray& XA, DoubleArray& Y,
                       DoubleArray& Y2, double& XX) {
  return interp::splder(int32_of(Imin), int32_of(Imax), XA, Y, Y2, XX);
}

Variant Korvat::Splinp(const Variant& Imin, const Variant& Imax, VariantArray& X, VariantArray& Y,
                       VariantArray& Y2, const Variant& XX) {
  return Variant(interp::splinp(int32_of(Imin), int32_of(Imax), X, Y, Y2, number_of(XX)));
}

double Korvat::Splinpd(const Variant& Imin, const Variant& Imax, DoubleArray& X, DoubleArray& Y,
                       DoubleArray& Y2, double XX) {
  return interp::splinp(int32_of(Imin), int32_of(Imax), X, Y, Y2, XX);
}

Variant Korvat::Splint(const Variant& Imin, const Variant& Imax, VariantArray& X, VariantArray& Y,
                       VariantArray& Y2, const Variant& poc, const Variant& kon) {
  return Variant(interp::splint(int32_of(Imin), int32_of(Imax), X, Y, Y2, number_of(poc), number_of(kon)));
}

double Korvat::Splintd(const Variant& Imin, const Variant& Imax, DoubleArray& X, DoubleArray& Y,
                       DoubleArray& Y2, double poc, double kon) {
  return interp::splint(int32_of(Imin), int32_of(Imax), X, Y, Y2, poc, kon);
}

Variant Korvat::Sinterp(const Variant& n, const Variant& Npoc, VariantArray& X, VariantArray& Y,
                        const Variant& XI, const Variant& Y1min, const Variant& Y1max, Variant& Ipoc) {
  return Variant(interp::sinterp<VariantFlavour>(state().sinterp_variant, n, Npoc, X, Y, XI, Y1min, Y1max, Ipoc));
}

double Korvat::Sinterpd(const Variant& n, const Variant& Npoc, DoubleArray& X, DoubleArray& Y, double XI,
                        double Y1min, double Y1max, Variant& Ipoc) {
  return interp::sinterp<DoubleFlavour>(state().sinterp_double, n, Npoc, X, Y, XI, Y1min, Y1max, Ipoc);
}

}  // namespace kor
