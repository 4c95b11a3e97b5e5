// Korvat's methods over the caller's VARIANTs and SAFEARRAYs: the same
// algorithm templates as the C++ class, instantiated for views over the
// client's own storage.
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

// The dispatch identifiers of _Korvat: 0x60030000 plus the declaration position.
enum Member : DISPID {
  kNewton = 0x60030000, kGauss, kRkm, kFmin, kFmin1, kFlagr, kLinBairstow,
  kPolyn = 0x60030008, kRutishauser, kInvert, kSpline,
  kSplder = 0x6003000D, kSplinp, kSplint, kSinterp,
  kNewtond, kGaussd, kRkmd, kFmind, kFmin1d, kFlagrd, kLinBairstowd,
  kPolynd = 0x60030019, kRutishauserd, kInvertd, kSplined,
  kSplderd = 0x6003001E, kSplinpd, kSplintd, kSinterpd,
};

// Runs one method; its return value goes to `out`.
void run(Korvat& self, DISPID id, Arguments& a, Result& out) {
  auto& state = self.state();
  switch (id) {
    // ---- variant flavour ----
    case kNewton: {
      a.expect(8, 12);
      ComClient g(a.object(0));
      const auto opt = solvers::newton_options(a.value(8), a.value(11));
      out.set(Variant(static_cast<short>(solvers::newton<VariantFlavour>(
          g, a.value(1), a.value(2), a.variants(4), a.variants(5), a.variants(6), a.ref(7), opt, a.value(9),
          a.value(10)))));
      return;
    }
    case kGauss:
      a.expect(4, 4);
      linalg::gauss(a.value(0), a.variants(1), a.value(2), a.ref(3));
      return;
    case kRkm: {
      a.expect(8, 8);
      ComClient g(a.object(0));
      solvers::rkm<VariantFlavour>(g, state.rkm_step_variant, a.value(1), a.ref(2), a.ref(3), a.variants(4),
                                   number_of(a.value(5)), a.ref(6), a.variants(7));
      return;
    }
    case kFmin: {
      a.expect(3, 5);
      ComClient g(a.object(0));
      out.set(Variant(solvers::fmin<VariantFlavour>(g, a.value(1), a.variants(2), a.value(3), a.ref(4))));
      return;
    }
    case kFmin1: {
      a.expect(3, 5);
      ComClient g(a.object(0));
      out.set(Variant(solvers::fmin1<VariantFlavour>(g, a.value(1), a.variants(2), a.value(3), a.ref(4))));
      return;
    }
    case kFlagr:
      a.expect(4, 5);
      out.set(Variant(interp::flagr(a.value(0), a.variants(1), a.variants(2), a.ref(3), a.value(4))));
      return;
    case kLinBairstow:
      a.expect(5, 5);
      poly::lin_bairstow(a.value(0), a.variants(1), a.variants(2), a.variants(3), a.value(4));
      return;
    case kPolyn:
      a.expect(3, 3);
      out.set(Variant(poly::polyn(a.value(0), a.ref(1), a.variants(2))));
      return;
    case kRutishauser: {
      a.expect(7, 16);
      const auto o = linalg::jacobi_options(a.value(7), a.value(8), a.value(9), a.value(10), a.value(11),
                                            a.value(12), a.value(13), a.value(14), a.value(15));
      linalg::rutishauser(a.value(0), a.variants(1), a.variants(2), a.variants(3), a.ref(4), a.ref(5), a.ref(6), o);
      return;
    }
    case kInvert: {
      a.expect(4, 5);
      Variant& ep = a.ref(4);
      if (is_missing(ep)) {
        const Variant omitted_default = linalg::kInvertDefaultEp;
        linalg::invert(a.ref(0), a.variants(1), a.variants(2), a.ref(3), omitted_default);
      } else {
        linalg::invert(a.ref(0), a.variants(1), a.variants(2), a.ref(3), ep);
      }
      return;
    }
    case kSpline:
      a.expect(7, 7);
      interp::spline<VariantFlavour>(a.value(0), a.value(1), a.variants(2), a.variants(3), a.value(4), a.value(5),
                                     a.variants(6));
      return;
    case kSplder: {
      a.expect(6, 6);
      const std::int32_t imin = int32_of(a.ref(0)), imax = int32_of(a.ref(1));
      out.set(Variant(interp::splder(imin, imax, a.variants(2), a.variants(3), a.variants(4), number_of(a.ref(5)))));
      return;
    }
    case kSplinp:
      a.expect(6, 6);
      out.set(Variant(interp::splinp(int32_of(a.value(0)), int32_of(a.value(1)), a.variants(2), a.variants(3),
                                     a.variants(4), number_of(a.value(5)))));
      return;
    case kSplint:
      a.expect(7, 7);
      out.set(Variant(interp::splint(int32_of(a.value(0)), int32_of(a.value(1)), a.variants(2), a.variants(3),
                                     a.variants(4), number_of(a.value(5)), number_of(a.value(6)))));
      return;
    case kSinterp:
      a.expect(8, 8);
      out.set(Variant(interp::sinterp<VariantFlavour>(state.sinterp_variant, a.value(0), a.value(1), a.variants(2),
                                                      a.variants(3), a.value(4), a.value(5), a.value(6), a.ref(7))));
      return;

    // ---- double flavour ----
    case kNewtond: {
      a.expect(8, 12);
      ComClient g(a.object(0));
      const auto opt = solvers::newton_options(a.real(8), a.real(11));
      out.set(Variant(static_cast<short>(solvers::newton<DoubleFlavour>(
          g, a.value(1), a.value(2), a.doubles(4), a.variants(5), a.doubles(6), a.ref(7), opt, a.value(9),
          a.value(10)))));
      return;
    }
    case kGaussd:
      a.expect(4, 4);
      linalg::gauss(a.value(0), a.doubles(1), a.value(2), a.ref(3));
      return;
    case kRkmd: {
      a.expect(8, 8);
      ComClient g(a.object(0));
      solvers::rkm<DoubleFlavour>(g, state.rkm_step_double, a.value(1), a.real_ref(2), a.real_ref(3), a.doubles(4),
                                  a.real(5), a.ref(6), a.doubles(7));
      return;
    }
    case kFmind: {
      a.expect(3, 5);
      ComClient g(a.object(0));
      out.set(solvers::fmin<DoubleFlavour>(g, a.value(1), a.doubles(2), a.value(3), a.ref(4)));
      return;
    }
    case kFmin1d: {
      a.expect(3, 5);
      ComClient g(a.object(0));
      out.set(solvers::fmin1<DoubleFlavour>(g, a.value(1), a.doubles(2), a.value(3), a.ref(4)));
      return;
    }
    case kFlagrd:
      a.expect(4, 5);
      out.set(interp::flagr(a.value(0), a.doubles(1), a.doubles(2), a.real(3), a.value(4)));
      return;
    case kLinBairstowd:
      a.expect(5, 5);
      poly::lin_bairstow(a.value(0), a.doubles(1), a.doubles(2), a.doubles(3), a.real(4));
      return;
    case kPolynd:
      a.expect(3, 3);
      out.set(poly::polyn(a.value(0), a.real_ref(1), a.doubles(2)));
      return;
    case kRutishauserd: {
      a.expect(7, 16);
      const auto o = linalg::jacobi_options(a.value(7), a.value(8), a.value(9), a.value(10), a.value(11), a.real(12),
                                            a.real(13), a.real(14), a.real(15));
      linalg::rutishauser(a.value(0), a.doubles(1), a.doubles(2), a.doubles(3), a.ref(4), a.ref(5), a.ref(6), o);
      return;
    }
    case kInvertd:
      a.expect(4, 5);
      linalg::invert(a.ref(0), a.doubles(1), a.doubles(2), a.ref(3), a.real_ref(4));
      return;
    case kSplined:
      a.expect(7, 7);
      interp::spline<DoubleFlavour>(a.value(0), a.value(1), a.doubles(2), a.doubles(3), a.real(4), a.real(5),
                                    a.doubles(6));
      return;
    case kSplderd: {
      a.expect(6, 6);
      const std::int32_t imin = int32_of(a.value(0)), imax = int32_of(a.value(1));
      out.set(interp::splder(imin, imax, a.doubles(2), a.doubles(3), a.doubles(4), a.real_ref(5)));
      return;
    }
    case kSplinpd:
      a.expect(6, 6);
      out.set(interp::splinp(int32_of(a.value(0)), int32_of(a.value(1)), a.doubles(2), a.doubles(3), a.doubles(4),
                             a.real(5)));
      return;
    case kSplintd:
      a.expect(7, 7);
      out.set(interp::splint(int32_of(a.value(0)), int32_of(a.value(1)), a.doubles(2), a.doubles(3), a.doubles(4),
                             a.real(5), a.real(6)));
      return;
    case kSinterpd:
      a.expect(8, 8);
      out.set(interp::sinterp<DoubleFlavour>(state.sinterp_double, a.value(0), a.value(1), a.doubles(2),
                                             a.doubles(3), a.real(4), a.real(5), a.real(6), a.ref(7)));
      return;
    default:
      throw ArgumentError{DISP_E_MEMBERNOTFOUND, 0};
  }
}

}  // namespace

HRESULT invoke_korvat(Korvat& self, DISPID id, VARIANT* args, UINT count, VARIANT* result, EXCEPINFO* excep,
                      UINT* arg_err) {
  return guarded_call(L"Kor.Korvat", result, excep, arg_err, [&](Arguments& a, Result& out) { run(self, id, a, out); },
                      args, count);
}

}  // namespace kor::com
