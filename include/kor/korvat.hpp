// kor — the class Korvat: fifteen numerical methods, each in a variant flavour
// (Variant arrays and scalars) and a double flavour (name ends in d).
//
// Conventions shared by every method:
//  - arrays are the caller's, addressed at fixed positions (as a rule from 1);
//    a missing position is error 9, and whatever was written before stays;
//  - results are written in place; status values (ID, Star, Ipoc, ...) are
//    written as 16-bit integers into the by-reference Variants;
//  - an omitted optional Variant is Variant::missing() and takes the method's
//    default; an optional double of the double flavour is never missing
//    (its value, 0 when omitted, is used as it is);
//  - numerical failures are statuses, never errors; runtime faults (5, 6, 9,
//    11, 13) and errors of the client function object end the method.
#pragma once

#include <memory>

#include "kor/dispatch.hpp"
#include "kor/safe_array.hpp"
#include "kor/variant.hpp"

namespace kor {

class Korvat {
 public:
  Korvat();
  ~Korvat();
  Korvat(const Korvat&) = delete;
  Korvat& operator=(const Korvat&) = delete;
  Korvat(Korvat&&) noexcept;
  Korvat& operator=(Korvat&&) noexcept;

  // The predeclared object that clients may call without creating one
  // (one per thread, as the component has one per apartment).
  static Korvat& global();

  // ---- variant flavour ----
  Variant Newton(Dispatch& G, const Variant& n, const Variant& Nunknown, const Variant& NProm,
                 VariantArray& X, VariantArray& ipom, VariantArray& z, Variant& ID,
                 const Variant& Eps = Variant::missing(), const Variant& ALAM = Variant::missing(),
                 const Variant& NITER = Variant::missing(), const Variant& Delta = Variant::missing());
  void Gauss(const Variant& n, VariantArray& a, const Variant& NCOL, Variant& ID);
  void Rkm(Dispatch& G, const Variant& nn, Variant& xb, Variant& xe, VariantArray& Y,
           const Variant& Delta, Variant& Star, VariantArray& zz);
  Variant Fmin(Dispatch& G, const Variant& n, VariantArray& X, const Variant& EPSA, Variant& itmax);
  Variant Fmin(Dispatch& G, const Variant& n, VariantArray& X, const Variant& EPSA = Variant::missing());
  Variant Fmin1(Dispatch& G, const Variant& NX, VariantArray& X, const Variant& Eps, Variant& itmax);
  Variant Fmin1(Dispatch& G, const Variant& NX, VariantArray& X, const Variant& Eps = Variant::missing());
  Variant Flagr(const Variant& n, VariantArray& X, VariantArray& Y, Variant& XI,
                const Variant& M = Variant::missing());
  void LinBairstow(const Variant& npol, VariantArray& apol, VariantArray& xreal, VariantArray& ximag,
                   const Variant& epslin);
  Variant Polyn(const Variant& n, Variant& X, VariantArray& a);
  void Rutishauser(const Variant& n, VariantArray& a, VariantArray& b, VariantArray& U, Variant& tag1,
                   Variant& tag2, Variant& iter, const Variant& eigvec = Variant::missing(),
                   const Variant& stripd = Variant::missing(), const Variant& sweep = Variant::missing(),
                   const Variant& freq = Variant::missing(), const Variant& itmax = Variant::missing(),
                   const Variant& eps1 = Variant::missing(), const Variant& eps2 = Variant::missing(),
                   const Variant& eps3 = Variant::missing(), const Variant& eps4 = Variant::missing());
  void Invert(Variant& n, VariantArray& ap, VariantArray& Ainv, Variant& ID, Variant& EP);
  void Invert(Variant& n, VariantArray& ap, VariantArray& Ainv, Variant& ID);
  void Spline(const Variant& Imin, const Variant& Imax, VariantArray& X, VariantArray& Y,
              const Variant& Y1min, const Variant& Y1max, VariantArray& Y2);
  Variant Splder(Variant& Imin, Variant& Imax, VariantArray& XA, VariantArray& Y, VariantArray& Y2,
                 Variant& XX);
  Variant Splinp(const Variant& Imin, const Variant& Imax, VariantArray& X, VariantArray& Y,
                 VariantArray& Y2, const Variant& XX);
  Variant Splint(const Variant& Imin, const Variant& Imax, VariantArray& X, VariantArray& Y,
                 VariantArray& Y2, const Variant& poc, const Variant& kon);
  Variant Sinterp(const Variant& n, const Variant& Npoc, VariantArray& X, VariantArray& Y,
                  const Variant& XI, const Variant& Y1min, const Variant& Y1max, Variant& Ipoc);

  // ---- double flavour ----
  Variant Newtond(Dispatch& G, const Variant& n, const Variant& Nunknown, const Variant& NProm,
                  DoubleArray& X, VariantArray& ipom, DoubleArray& z, Variant& ID, double Eps = 0.0,
                  const Variant& ALAM = Variant::missing(), const Variant& NITER = Variant::missing(),
                  double Delta = 0.0);
  void Gaussd(const Variant& n, DoubleArray& a, const Variant& NCOL, Variant& ID);
  void Rkmd(Dispatch& G, const Variant& nn, double& xb, double& xe, DoubleArray& Y, double Delta,
            Variant& Star, DoubleArray& zz);
  double Fmind(Dispatch& G, const Variant& n, DoubleArray& X, const Variant& EPSA, Variant& itmax);
  double Fmind(Dispatch& G, const Variant& n, DoubleArray& X, const Variant& EPSA = Variant::missing());
  double Fmin1d(Dispatch& G, const Variant& NX, DoubleArray& X, const Variant& Eps, Variant& itmax);
  double Fmin1d(Dispatch& G, const Variant& NX, DoubleArray& X, const Variant& Eps = Variant::missing());
  double Flagrd(const Variant& n, DoubleArray& X, DoubleArray& Y, double XI,
                const Variant& M = Variant::missing());
  void LinBairstowd(const Variant& npol, DoubleArray& ap, DoubleArray& xreal, DoubleArray& ximag,
                    double epslin);
  double Polynd(const Variant& n, double& X, DoubleArray& a);
  void Rutishauserd(const Variant& n, DoubleArray& a, DoubleArray& b, DoubleArray& U, Variant& tag1,
                    Variant& tag2, Variant& iter, const Variant& eigvec = Variant::missing(),
                    const Variant& stripd = Variant::missing(), const Variant& sweep = Variant::missing(),
                    const Variant& freq = Variant::missing(), const Variant& itmax = Variant::missing(),
                    double eps1 = 0.0, double eps2 = 0.0, double eps3 = 0.0, double eps4 = 0.0);
  void Invertd(Variant& n, DoubleArray& ap, DoubleArray& Ainv, Variant& ID, double& EP);
  void Invertd(Variant& n, DoubleArray& ap, DoubleArray& Ainv, Variant& ID);
  void Splined(const Variant& Imin, const Variant& Imax, DoubleArray& X, DoubleArray& Y, double Y1min,
               double Y1max, DoubleArray& Y2);
  double Splderd(const Variant& Imin, const Variant& Imax, DoubleArray& XA, DoubleArray& Y,
                 DoubleArray& Y2, double& XX);
  double Splinpd(const Variant& Imin, const Variant& Imax, DoubleArray& X, DoubleArray& Y,
                 DoubleArray& Y2, double XX);
  double Splintd(const Variant& Imin, const Variant& Imax, DoubleArray& X, DoubleArray& Y,
                 DoubleArray& Y2, double poc, double kon);
  double Sinterpd(const Variant& n, const Variant& Npoc, DoubleArray& X, DoubleArray& Y, double XI,
                  double Y1min, double Y1max, Variant& Ipoc);

  // ---- the solvers with C++ callables as client functions ----
  // The same methods, for C++ clients whose Fun, FKT or F is a lambda or a
  // function object: called directly, without member lookup or boxing.
  Variant Newton(FunRef Fun, const Variant& n, const Variant& Nunknown, const Variant& NProm, VariantArray& X,
                 VariantArray& ipom, VariantArray& z, Variant& ID, const Variant& Eps = Variant::missing(),
                 const Variant& ALAM = Variant::missing(), const Variant& NITER = Variant::missing(),
                 const Variant& Delta = Variant::missing());
  Variant Newtond(FundRef Fun, const Variant& n, const Variant& Nunknown, const Variant& NProm, DoubleArray& X,
                  VariantArray& ipom, DoubleArray& z, Variant& ID, double Eps = 0.0,
                  const Variant& ALAM = Variant::missing(), const Variant& NITER = Variant::missing(),
                  double Delta = 0.0);
  void Rkm(FktRef FKT, const Variant& nn, Variant& xb, Variant& xe, VariantArray& Y, const Variant& Delta,
           Variant& Star, VariantArray& zz);
  void Rkmd(FktdRef FKT, const Variant& nn, double& xb, double& xe, DoubleArray& Y, double Delta, Variant& Star,
            DoubleArray& zz);
  Variant Fmin(FRef F, const Variant& n, VariantArray& X, const Variant& EPSA, Variant& itmax);
  Variant Fmin(FRef F, const Variant& n, VariantArray& X, const Variant& EPSA = Variant::missing());
  double Fmind(FdRef F, const Variant& n, DoubleArray& X, const Variant& EPSA, Variant& itmax);
  double Fmind(FdRef F, const Variant& n, DoubleArray& X, const Variant& EPSA = Variant::missing());
  Variant Fmin1(FRef F, const Variant& NX, VariantArray& X, const Variant& Eps, Variant& itmax);
  Variant Fmin1(FRef F, const Variant& NX, VariantArray& X, const Variant& Eps = Variant::missing());
  double Fmin1d(FdRef F, const Variant& NX, DoubleArray& X, const Variant& Eps, Variant& itmax);
  double Fmin1d(FdRef F, const Variant& NX, DoubleArray& X, const Variant& Eps = Variant::missing());

  // The members kept between calls (the integrator's working arrays and step,
  // the direct interpolation's spline values), one set per flavour.
  struct State;
  State& state() noexcept { return *state_; }

 private:
  std::unique_ptr<State> state_;
};

}  // namespace kor
