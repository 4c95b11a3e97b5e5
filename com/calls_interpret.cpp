// Interpret's methods over the caller's VARIANTs and SAFEARRAYs: Interp and
// the interpreted solvers read and write the caller's arrays in place.
#include "calls.hpp"
#include "calls_common.hpp"

#include "interpreter/cells.hpp"
#include "interpreter/evaluator.hpp"
#include "interpreter/interpreted.hpp"
#include "kor/interpret.hpp"

namespace kor::com {
namespace {

enum Member : DISPID {
  kInterp = 0x60030000,
  kNewtonI = 0x60030005,
  kFminI = 0x60030007,
  kFmin1I,
  kRkmI,
};

void run(DISPID id, Arguments& a, Result& out) {
  switch (id) {
    case kInterp: {
      a.expect(4, 4);
      const std::string s = a.text(0);
      std::int16_t& ipok = a.short_ref(1);
      interpreter::Evaluator<VariantView, VariantView> evaluator(a.variants(2), a.variants(3));
      out.set(Variant(evaluator.Interp(s, ipok)));
      return;
    }
    case kNewtonI: {
      a.expect(8, 12);
      // Rov: a String array, read once, or a Variant array whose cells are read as texts where used.
      auto solve = [&](const auto& rov) {
        out.set(interpreter::newton_i(rov, a.value(1), a.value(2), a.variants(4), a.variants(5), a.variants(6),
                                      a.ref(7), a.value(8), a.value(9), a.value(10), a.value(11)));
      };
      if (a.text_array(0)) solve(a.strings(0));
      else solve(a.variants(0));
      return;
    }
    case kFminI:
    case kFmin1I: {
      a.expect(4, 6);
      const std::string rov = a.text(0);
      VariantView& x = a.variants(2);
      VariantView& z = a.variants(3);
      VARIANT& itmax = a.ref(5);
      out.set(id == kFminI ? interpreter::fmin_i<false>(rov, a.value(1), x, z, a.value(4), itmax)
                           : interpreter::fmin_i<true>(rov, a.value(1), x, z, a.value(4), itmax));
      return;
    }
    case kRkmI: {
      a.expect(8, 8);
      auto solve = [&](const auto& rov) {
        interpreter::rkm_i(rov, a.value(1), a.ref(2), a.ref(3), a.variants(4), a.value(5), a.ref(6), a.variants(7));
      };
      if (a.text_array(0)) solve(a.strings(0));
      else solve(a.variants(0));
      return;
    }
    default:
      throw ArgumentError{DISP_E_MEMBERNOTFOUND, 0};
  }
}

}  // namespace

HRESULT invoke_interpret(Interpret&, DISPID id, VARIANT* args, UINT count, VARIANT* result, EXCEPINFO* excep,
                         UINT* arg_err) {
  return guarded_call(L"Kor.Interpret", result, excep, arg_err,
                      [&](Arguments& a, Result& out) { run(id, a, out); }, args, count);
}

}  // namespace kor::com
