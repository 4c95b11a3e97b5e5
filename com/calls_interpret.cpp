// Interpret's methods over the caller's VARIANTs and SAFEARRAYs.
//
// Interp reads the caller's variable table and vector in place.  The
// interpreted solvers work on the library's own arrays: the caller's X, ipom,
// z, Y and zz (a few numbers each) are copied in on entry and written back
// when the call ends, by any path, so the caller sees what the method wrote.
#include "calls.hpp"
#include "calls_common.hpp"

#include "interpreter/cells.hpp"
#include "interpreter/evaluator.hpp"
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

// A caller's Variant array as a kor::VariantArray for the length of a call.
class Copied {
 public:
  explicit Copied(VariantView& view) : view_(view) {
    SAFEARRAY* sa = view.get();
    const UINT dims = sa ? SafeArrayGetDim(sa) : 0;
    if (dims == 1) {
      copy_.redim(Bounds{view.lbound(1), view.ubound(1)});
      for (std::int32_t i = view.lbound(1); i <= view.ubound(1); ++i) copy_(i) = kor_value(view(i));
    } else if (dims == 2) {
      copy_.redim(Bounds{view.lbound(1), view.ubound(1)}, Bounds{view.lbound(2), view.ubound(2)});
      for (std::int32_t j = view.lbound(2); j <= view.ubound(2); ++j)
        for (std::int32_t i = view.lbound(1); i <= view.ubound(1); ++i) copy_(i, j) = kor_value(view(i, j));
    }
  }
  ~Copied() {
    if (copy_.dims() == 1) {
      for (std::int32_t i = copy_.lbound(1); i <= copy_.ubound(1); ++i) put(view_(i), copy_(i));
    } else if (copy_.dims() == 2) {
      for (std::int32_t j = copy_.lbound(2); j <= copy_.ubound(2); ++j)
        for (std::int32_t i = copy_.lbound(1); i <= copy_.ubound(1); ++i) put(view_(i, j), copy_(i, j));
    }
  }
  Copied(const Copied&) = delete;
  Copied& operator=(const Copied&) = delete;
  VariantArray& get() { return copy_; }

 private:
  static void put(VARIANT& cell, const Variant& v) noexcept {
    VariantClear(&cell);
    to_variant(v, cell);
  }
  VariantView& view_;
  VariantArray copy_;
};

void run(Interpret& self, DISPID id, Arguments& a, Result& out) {
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
      StringArray rov = a.strings(0);
      Copied x(a.variants(4)), ipom(a.variants(5)), z(a.variants(6));
      out.set(self.NewtonI(rov, a.value(1), a.value(2), a.value(3), x.get(), ipom.get(), z.get(), a.ref(7), a.value(8),
                           a.value(9), a.value(10), a.value(11)));
      return;
    }
    case kFminI:
    case kFmin1I: {
      a.expect(4, 6);
      const std::string rov = a.text(0);
      Copied x(a.variants(2)), z(a.variants(3));
      Variant& itmax = a.ref(5);
      out.set(id == kFminI ? self.FminI(rov, a.value(1), x.get(), z.get(), a.value(4), itmax)
                           : self.Fmin1I(rov, a.value(1), x.get(), z.get(), a.value(4), itmax));
      return;
    }
    case kRkmI: {
      a.expect(8, 8);
      StringArray rov = a.strings(0);
      Copied y(a.variants(4)), zz(a.variants(7));
      self.RkmI(rov, a.value(1), a.ref(2), a.ref(3), y.get(), a.value(5), a.ref(6), zz.get());
      return;
    }
    default:
      throw ArgumentError{DISP_E_MEMBERNOTFOUND, 0};
  }
}

}  // namespace

HRESULT invoke_interpret(Interpret& self, DISPID id, VARIANT* args, UINT count, VARIANT* result, EXCEPINFO* excep,
                         UINT* arg_err) {
  return guarded_call(L"Kor.Interpret", result, excep, arg_err,
                      [&](Arguments& a, Result& out) { run(self, id, a, out); }, args, count);
}

}  // namespace kor::com
