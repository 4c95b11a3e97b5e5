// Korvat's methods over the caller's numpy arrays, lists and kor.Ref cells:
// the same algorithm templates as the C++ class, instantiated for views over
// the caller's own storage.  Each method is written once; a face type holds
// what differs between the flavours at the surface.
#include "client.hpp"
#include "component/flavour.hpp"
#include "component/korvat_state.hpp"
#include "interp/flagr.hpp"
#include "interp/spline.hpp"
#include "kor/korvat.hpp"
#include "linalg/gauss.hpp"
#include "linalg/invert.hpp"
#include "linalg/rutishauser.hpp"
#include "module.hpp"
#include "poly/lin_bairstow.hpp"
#include "poly/polyn.hpp"
#include "solvers/fmin.hpp"
#include "solvers/newton.hpp"
#include "solvers/rkm.hpp"

namespace kor::python {
namespace {

using H = py::handle;

// The element type of the arrays, the type of the real scalars (by value and
// by reference), the members the object keeps for the flavour, and how a
// result is returned.
struct VariantFace {
  static constexpr bool is_double = false;
  using Flavour = VariantFlavour;
  using Array = ObjectView;
  using RealRef = VariantRef;
  static std::string name(const char* base) { return base; }
  static Variant real(H h) { return value(h); }
  static py::object result(double x) { return py::float_(x); }
  static py::object result(const Variant& v) { return to_python(v); }
  static double& rkm_step(Korvat::State& s) { return s.rkm_step_variant; }
  static VariantArray& sinterp(Korvat::State& s) { return s.sinterp_variant; }
};

struct DoubleFace {
  static constexpr bool is_double = true;
  using Flavour = DoubleFlavour;
  using Array = DoubleView;
  using RealRef = DoubleRef;
  static std::string name(const char* base) { return std::string(base) + "d"; }
  static double real(H h) { return kor::python::real(h); }
  static py::object result(double x) { return py::float_(x); }
  static py::object result(const Variant& v) { return py::float_(number_of(v)); }
  static double& rkm_step(Korvat::State& s) { return s.rkm_step_double; }
  static DoubleArray& sinterp(Korvat::State& s) { return s.sinterp_double; }
};

template <class F>
void define(py::class_<Korvat>& c, const py::object& missing) {
  using A = typename F::Array;
  using R = typename F::RealRef;
  using Flavour = typename F::Flavour;
  const auto opt = [&](const char* name) { return py::arg(name) = missing; };

  c.def(F::name("Newton").c_str(),
        [](Korvat&, H G, H n, H Nunknown, H, H X, H ipom, H z, H ID, H Eps, H ALAM, H NITER, H Delta) {
          PyClient g(G);
          A x(X), zz(z);
          ObjectView ip(ipom);
          VariantRef id(ID);
          return solvers::newton<Flavour>(g, value(n), value(Nunknown), x, ip, zz, id.get(), F::real(Eps), value(ALAM),
                                          value(NITER), F::real(Delta));
        },
        "G"_a, "n"_a, "Nunknown"_a, "NProm"_a, "X"_a, "ipom"_a, "z"_a, "ID"_a, opt("Eps"), opt("ALAM"), opt("NITER"),
        opt("Delta"));

  c.def(F::name("Gauss").c_str(),
        [](Korvat&, H n, H a, H NCOL, H ID) {
          A m(a);
          VariantRef id(ID);
          walk([&](auto&& matrix) { linalg::gauss(value(n), matrix, value(NCOL), id.get()); }, m);
        },
        "n"_a, "a"_a, "NCOL"_a, "ID"_a);

  c.def(F::name("Rkm").c_str(),
        [](Korvat& self, H G, H nn, H xb, H xe, H Y, H Delta, H Star, H zz) {
          PyClient g(G);
          R b(xb), e(xe);
          A y(Y), z(zz);
          VariantRef star(Star);
          solvers::rkm<Flavour>(g, F::rkm_step(self.state()), value(nn), b.get(), e.get(), y, number_of(F::real(Delta)),
                                star.get(), z);
        },
        "G"_a, "nn"_a, "xb"_a, "xe"_a, "Y"_a, "Delta"_a, "Star"_a, "zz"_a);

  c.def(F::name("Fmin").c_str(),
        [](Korvat&, H G, H n, H X, H EPSA, H itmax) {
          PyClient g(G);
          A x(X);
          VariantRef it(itmax);
          return F::result(solvers::fmin<Flavour>(g, value(n), x, value(EPSA), it.get()));
        },
        "G"_a, "n"_a, "X"_a, opt("EPSA"), opt("itmax"));

  c.def(F::name("Fmin1").c_str(),
        [](Korvat&, H G, H NX, H X, H Eps, H itmax) {
          PyClient g(G);
          A x(X);
          VariantRef it(itmax);
          return F::result(solvers::fmin1<Flavour>(g, value(NX), x, value(Eps), it.get()));
        },
        "G"_a, "NX"_a, "X"_a, opt("Eps"), opt("itmax"));

  // XI is a Variant by reference in Flagr, a double by value in Flagrd.
  c.def(F::name("Flagr").c_str(),
        [](Korvat&, H n, H X, H Y, H XI, H M) {
          A x(X), y(Y);
          if constexpr (F::is_double) {
            return F::result(interp::flagr(value(n), x, y, F::real(XI), value(M)));
          } else {
            VariantRef xi(XI);
            return F::result(interp::flagr(value(n), x, y, xi.get(), value(M)));
          }
        },
        "n"_a, "X"_a, "Y"_a, "XI"_a, opt("M"));

  c.def(F::name("LinBairstow").c_str(),
        [](Korvat&, H npol, H apol, H xreal, H ximag, H epslin) {
          A a(apol), xr(xreal), xi(ximag);
          poly::lin_bairstow(value(npol), a, xr, xi, F::real(epslin));
        },
        "npol"_a, "apol"_a, "xreal"_a, "ximag"_a, "epslin"_a);

  c.def(F::name("Polyn").c_str(),
        [](Korvat&, H n, H X, H a) {
          R x(X);
          A coefficients(a);
          if constexpr (F::is_double) return F::result(poly::polyn<double>(value(n), x.get(), coefficients));
          else return F::result(poly::polyn<Variant>(value(n), x.get(), coefficients));
        },
        "n"_a, "X"_a, "a"_a);

  c.def(F::name("Rutishauser").c_str(),
        [](Korvat&, H n, H a, H b, H U, H tag1, H tag2, H iter, H eigvec, H stripd, H sweep, H freq, H itmax, H eps1,
           H eps2, H eps3, H eps4) {
          A m(a), v(b), u(U);
          VariantRef t1(tag1), t2(tag2), it(iter);
          const auto o = linalg::jacobi_options(value(eigvec), value(stripd), value(sweep), value(freq), value(itmax),
                                                F::real(eps1), F::real(eps2), F::real(eps3), F::real(eps4));
          linalg::rutishauser(value(n), m, v, u, t1.get(), t2.get(), it.get(), o);
        },
        "n"_a, "a"_a, "b"_a, "U"_a, "tag1"_a, "tag2"_a, "iter"_a, opt("eigvec"), opt("stripd"), opt("sweep"),
        opt("freq"), opt("itmax"), opt("eps1"), opt("eps2"), opt("eps3"), opt("eps4"));

  c.def(F::name("Invert").c_str(),
        [](Korvat&, H n, H ap, H Ainv, H ID, H EP) {
          VariantRef order(n), id(ID);
          A a(ap), inv(Ainv);
          R ep(EP);
          walk([&](auto&& m, auto&& result) {
            // Only a Variant can be omitted: the double flavour uses what it gets (0 when omitted).
            if constexpr (!F::is_double) {
              if (is_missing(ep.get())) {
                const Variant omitted_default = linalg::kInvertDefaultEp;
                linalg::invert(order.get(), m, result, id.get(), omitted_default);
                return;
              }
            }
            linalg::invert(order.get(), m, result, id.get(), ep.get());
          }, a, inv);
        },
        "n"_a, "ap"_a, "Ainv"_a, "ID"_a, opt("EP"));

  c.def(F::name("Spline").c_str(),
        [](Korvat&, H Imin, H Imax, H X, H Y, H Y1min, H Y1max, H Y2) {
          A x(X), y(Y), y2(Y2);
          interp::spline<Flavour>(value(Imin), value(Imax), x, y, F::real(Y1min), F::real(Y1max), y2);
        },
        "Imin"_a, "Imax"_a, "X"_a, "Y"_a, "Y1min"_a, "Y1max"_a, "Y2"_a);

  c.def(F::name("Splder").c_str(),
        [](Korvat&, H Imin, H Imax, H XA, H Y, H Y2, H XX) {
          const std::int32_t imin = int32_of(value(Imin)), imax = int32_of(value(Imax));
          A x(XA), y(Y), y2(Y2);
          R xx(XX);
          return walk([&](auto&&... v) { return F::result(interp::splder(imin, imax, v..., number_of(xx.get()))); }, x,
                      y, y2);
        },
        "Imin"_a, "Imax"_a, "XA"_a, "Y"_a, "Y2"_a, "XX"_a);

  c.def(F::name("Splinp").c_str(),
        [](Korvat&, H Imin, H Imax, H X, H Y, H Y2, H XX) {
          A x(X), y(Y), y2(Y2);
          const std::int32_t imin = int32_of(value(Imin)), imax = int32_of(value(Imax));
          const double xx = number_of(F::real(XX));
          return walk([&](auto&&... v) { return F::result(interp::splinp(imin, imax, v..., xx)); }, x, y, y2);
        },
        "Imin"_a, "Imax"_a, "X"_a, "Y"_a, "Y2"_a, "XX"_a);

  c.def(F::name("Splint").c_str(),
        [](Korvat&, H Imin, H Imax, H X, H Y, H Y2, H poc, H kon) {
          A x(X), y(Y), y2(Y2);
          const std::int32_t imin = int32_of(value(Imin)), imax = int32_of(value(Imax));
          const double a = number_of(F::real(poc)), b = number_of(F::real(kon));
          return walk([&](auto&&... v) { return F::result(interp::splint(imin, imax, v..., a, b)); }, x, y, y2);
        },
        "Imin"_a, "Imax"_a, "X"_a, "Y"_a, "Y2"_a, "poc"_a, "kon"_a);

  c.def(F::name("Sinterp").c_str(),
        [](Korvat& self, H n, H Npoc, H X, H Y, H XI, H Y1min, H Y1max, H Ipoc) {
          A x(X), y(Y);
          VariantRef ipoc(Ipoc);
          return walk([&](auto&& vx, auto&& vy) {
            return F::result(interp::sinterp<Flavour>(F::sinterp(self.state()), value(n), value(Npoc), vx, vy,
                                                      F::real(XI), F::real(Y1min), F::real(Y1max), ipoc.get()));
          }, x, y);
        },
        "n"_a, "Npoc"_a, "X"_a, "Y"_a, "XI"_a, "Y1min"_a, "Y1max"_a, "Ipoc"_a);
}

}  // namespace

void define_korvat(py::module_& m) {
  const py::object missing = py::reinterpret_borrow<py::object>(missing_object());
  py::class_<Korvat> c(m, "Korvat", "Fifteen numerical methods, each in a variant flavour and a double flavour (d).");
  c.def(py::init<>());
  define<VariantFace>(c, missing);
  define<DoubleFace>(c, missing);
}

}  // namespace kor::python
