// Korvat's methods over the caller's VARIANTs and SAFEARRAYs: the same
// algorithm templates as the C++ class, instantiated for the client's own
// storage: its arrays in place, its by-reference scalars as its variables,
// its by-value Variants as it sent them, each converted where the algorithm
// first uses it.
#include "calls.hpp"
#include "calls_common.hpp"

#include "component/flavour.hpp"
#include "component/korvat_state.hpp"
#include "interp/flagr.hpp"
#include "interp/spline.hpp"
#include "kor/korvat.hpp"
#include "linalg/gauss.hpp"
#include "linalg/invert.hpp"
#include "linalg/rutishauser.hpp"
#include "poly/lin_bairstow.hpp"
#include "poly/polyn.hpp"
#include "solvers/fmin.hpp"
#include "solvers/newton.hpp"
#include "solvers/rkm.hpp"

namespace kor::com {
namespace {

// The dispatch identifiers of the variant flavour: 0x60030000 plus the
// declaration position.  The double flavour's twin of each method is
// declared kDoubleOffset positions later.
enum Member : DISPID {
  kNewton = 0x60030000, kGauss, kRkm, kFmin, kFmin1, kFlagr, kLinBairstow,
  kPolyn = 0x60030008, kRutishauser, kInvert, kSpline,
  kSplder = 0x6003000D, kSplinp, kSplint, kSinterp,
};
constexpr DISPID kDoubleOffset = 0x11;

// What differs between the two flavours at the component's surface: the
// element type of the arrays, the type of the real scalars (a Variant, or a
// double converted on entry), and the object's members kept for each flavour.
struct VariantFace {
  static constexpr bool is_double = false;
  static constexpr VARTYPE element = VT_VARIANT;
  using Flavour = VariantFlavour;
  static VariantView& array(Arguments& a, UINT k) { return a.variants(k); }
  static const VARIANT& real(Arguments& a, UINT k) { return a.value(k); }
  static VARIANT& real_ref(Arguments& a, UINT k) { return a.ref(k); }
  static Variant result(double x) { return Variant(x); }
  static double& rkm_step(Korvat::State& s) { return s.rkm_step_variant; }
  static VariantArray& sinterp(Korvat::State& s) { return s.sinterp_variant; }
};

struct DoubleFace {
  static constexpr bool is_double = true;
  static constexpr VARTYPE element = VT_R8;
  using Flavour = DoubleFlavour;
  static DoubleView& array(Arguments& a, UINT k) { return a.doubles(k); }
  static double real(Arguments& a, UINT k) { return a.real(k); }
  static VARIANT& real_ref(Arguments& a, UINT k) { return a.real_ref(k); }
  static double result(double x) { return x; }
  static double& rkm_step(Korvat::State& s) { return s.rkm_step_double; }
  static DoubleArray& sinterp(Korvat::State& s) { return s.sinterp_double; }
};

// Runs one method of one flavour (`member` is its variant-flavour
// identifier); its return value goes to `out`.
template <class F>
void run(Korvat& self, DISPID member, Arguments& a, Result& out) {
  using Flavour = typename F::Flavour;
  auto& state = self.state();
  switch (member) {
    case kNewton: {
      a.expect(8, 12);
      ComClient g(a.object(0));
      // z goes to Fun as the caller sent it: the method never reads it.
      ArrayArgument z = a.unlocked(6, F::element);
      out.set(Variant(static_cast<short>(solvers::newton<Flavour>(g, a.value(1), a.value(2), F::array(a, 4),
                                                                  a.variants(5), z, a.ref(7), F::real(a, 8),
                                                                  a.value(9), a.value(10), F::real(a, 11)))));
      return;
    }
    case kGauss:
      a.expect(4, 4);
      linalg::gauss(a.value(0), F::array(a, 1), a.value(2), a.ref(3));
      return;
    case kRkm: {
      a.expect(8, 8);
      ComClient g(a.object(0));
      ArrayArgument zz = a.unlocked(7, F::element);  // handed to FKT only
      solvers::rkm<Flavour>(g, F::rkm_step(state), a.value(1), F::real_ref(a, 2), F::real_ref(a, 3), F::array(a, 4),
                            F::real(a, 5), a.ref(6), zz);
      return;
    }
    case kFmin:
    case kFmin1: {
      a.expect(3, 5);
      ComClient g(a.object(0));
      if (member == kFmin) {
        // The best value as F gave it; the double flavour converts it at the end.
        Variant best = solvers::fmin<Flavour>(g, a.value(1), F::array(a, 2), a.value(3), a.ref(4));
        if constexpr (F::is_double) out.set(number_of(best));
        else out.set(std::move(best));
      } else {
        out.set(F::result(solvers::fmin1<Flavour>(g, a.value(1), F::array(a, 2), a.value(3), a.ref(4))));
      }
      return;
    }
    case kFlagr:
      a.expect(4, 5);
      // XI is a Variant by reference in Flagr, a double by value in Flagrd.
      if constexpr (F::is_double)
        out.set(interp::flagr(a.value(0), F::array(a, 1), F::array(a, 2), a.real(3), a.value(4)));
      else
        out.set(Variant(interp::flagr(a.value(0), F::array(a, 1), F::array(a, 2), a.ref(3), a.value(4))));
      return;
    case kLinBairstow:
      a.expect(5, 5);
      poly::lin_bairstow(a.value(0), F::array(a, 1), F::array(a, 2), F::array(a, 3), F::real(a, 4));
      return;
    case kPolyn:
      a.expect(3, 3);
      out.set(poly::polyn<decltype(F::result(0.0))>(a.value(0), F::real_ref(a, 1), F::array(a, 2)));
      return;
    case kRutishauser: {
      a.expect(7, 16);
      const auto o = linalg::jacobi_options(a.value(7), a.value(8), a.value(9), a.value(10), a.value(11),
                                            F::real(a, 12), F::real(a, 13), F::real(a, 14), F::real(a, 15));
      linalg::rutishauser(a.value(0), F::array(a, 1), F::array(a, 2), F::array(a, 3), a.ref(4), a.ref(5), a.ref(6),
                          o);
      return;
    }
    case kInvert: {
      a.expect(4, 5);
      auto& ep = F::real_ref(a, 4);
      // Only a Variant can be omitted: the double flavour uses what it gets (0 when omitted).
      if constexpr (!F::is_double) {
        if (is_missing(ep)) {
          const Variant omitted_default = linalg::kInvertDefaultEp;
          linalg::invert(a.ref(0), F::array(a, 1), F::array(a, 2), a.ref(3), omitted_default);
          return;
        }
      }
      linalg::invert(a.ref(0), F::array(a, 1), F::array(a, 2), a.ref(3), ep);
      return;
    }
    case kSpline:
      a.expect(7, 7);
      interp::spline<Flavour>(a.value(0), a.value(1), F::array(a, 2), F::array(a, 3), F::real(a, 4), F::real(a, 5),
                              F::array(a, 6));
      return;
    case kSplder: {
      a.expect(6, 6);
      const std::int32_t imin = int32_of(a.ref(0)), imax = int32_of(a.ref(1));
      out.set(F::result(interp::splder(imin, imax, F::array(a, 2), F::array(a, 3), F::array(a, 4),
                                       number_of(F::real_ref(a, 5)))));
      return;
    }
    case kSplinp:
      a.expect(6, 6);
      out.set(F::result(interp::splinp(int32_of(a.value(0)), int32_of(a.value(1)), F::array(a, 2), F::array(a, 3),
                                       F::array(a, 4), number_of(F::real(a, 5)))));
      return;
    case kSplint:
      a.expect(7, 7);
      out.set(F::result(interp::splint(int32_of(a.value(0)), int32_of(a.value(1)), F::array(a, 2), F::array(a, 3),
                                       F::array(a, 4), number_of(F::real(a, 5)), number_of(F::real(a, 6)))));
      return;
    case kSinterp:
      a.expect(8, 8);
      out.set(F::result(interp::sinterp<Flavour>(F::sinterp(state), a.value(0), a.value(1), F::array(a, 2),
                                                 F::array(a, 3), F::real(a, 4), F::real(a, 5), F::real(a, 6),
                                                 a.ref(7))));
      return;
    default:
      throw ArgumentError{DISP_E_MEMBERNOTFOUND, 0};
  }
}

void run(Korvat& self, DISPID id, Arguments& a, Result& out) {
  if (id >= kNewton + kDoubleOffset) run<DoubleFace>(self, id - kDoubleOffset, a, out);
  else run<VariantFace>(self, id, a, out);
}

}  // namespace

HRESULT invoke_korvat(Korvat& self, DISPID id, VARIANT* args, UINT count, VARIANT* result, EXCEPINFO* excep,
                      UINT* arg_err) {
  return guarded_call(L"Kor.Korvat", result, excep, arg_err, [&](Arguments& a, Result& out) { run(self, id, a, out); },
                      args, count);
}

}  // namespace kor::com
