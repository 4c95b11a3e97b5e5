// The interpreted solvers of Interpret: Newton's method, the two minimisers
// and the integrator, with the client's function object replaced by
// evaluations of the caller's expression texts.  The iterations are the
// variant-flavour templates of Korvat, driven by the client adaptors below.
#include <memory>
#include <string>
#include <vector>

#include "component/flavour.hpp"
#include "interpreter/cells.hpp"
#include "interpreter/evaluator.hpp"
#include "interpreter/program.hpp"
#include "kor/interpret.hpp"
#include "solvers/fmin.hpp"
#include "solvers/newton.hpp"
#include "solvers/rkm.hpp"

namespace kor {
namespace {

using Compiled = interpreter::CompiledText<VariantArray, VariantArray>;

// The compiled form of each text a solver evaluates, made on first use:
// every evaluation gives exactly what Interp gives, only faster.
class Texts {
 public:
  Compiled& at(const StringArray& rov, int i) {
    const std::string& text = rov(i);  // read on every pass, as the scan reads it
    if (static_cast<std::size_t>(i) >= texts_.size()) texts_.resize(static_cast<std::size_t>(i) + 1);
    auto& slot = texts_[static_cast<std::size_t>(i)];
    if (!slot || slot->text() != text) slot = std::make_unique<Compiled>(text);
    return *slot;
  }

 private:
  std::vector<std::unique_ptr<Compiled>> texts_;
};

// The variable table of the texts: rows 0..10, columns 0..2; row i holds the
// name Zi and a copy of z(i), taken once at the start (z must have 1..10).
VariantArray constants_table(const VariantArray& z) {
  VariantArray table(Bounds{0, 10}, Bounds{0, 2});
  for (int i = 1; i <= 10; ++i) {
    std::string name = "Z";
    name += std::to_string(i);  // appended: GCC 12 misreads "Z" + string as overlapping
    table(i, 1) = Variant(name);
    table(i, 2) = z(i);
  }
  return table;
}

// Newton's Fun: EvaluateEquations, R(i) = the value of Rov(i) with X as the
// indexed variables; the message level starts at 0 for each pass.
struct EquationsClient {
  const StringArray& rov;
  const VariantArray& table;
  Texts texts;
  void call(std::string_view, VariantArray& x, VariantArray& r, Variant& n, VariantArray&) {
    std::int16_t level = 0;
    for (int i = 1, m = count16(number_of(n)); i <= m; ++i)
      r(i) = Variant(texts.at(rov, i).evaluate(level, table, x));
  }
};

// The minimisers' F: one text, its message level carried through the whole run.
struct FunctionClient {
  Compiled text;
  const VariantArray& table;
  std::int16_t level = 0;
  double value(std::string_view, VariantArray& x) { return text.evaluate(level, table, x); }
};

// The integrator's FKT: EvaluateDerivatives.  Y(0) is the abscissa, Y(1..nn)
// the state, Y(11..10+nn) the derivatives computed so far in this pass.
struct DerivativesClient {
  const StringArray& rov;
  const VariantArray& table;
  Texts texts;
  void call(std::string_view, Variant& nn, Variant& xb, VariantArray& y, VariantArray& k, VariantArray&) {
    y(0) = xb;
    std::int16_t level = 0;
    for (int i = 1, m = count16(number_of(nn)); i <= m; ++i) {
      k(i) = Variant(texts.at(rov, i).evaluate(level, table, y));
      y(i + 10) = k(i);
    }
  }
};

}  // namespace

Variant Interpret::NewtonI(StringArray& Rov, const Variant& n, const Variant& Nunknown, const Variant& /*NProm*/,
                           VariantArray& X, VariantArray& ipom, VariantArray& z, Variant& ID, const Variant& Eps,
                           const Variant& ALAM, const Variant& NITER, const Variant& Delta) {
  const VariantArray table = constants_table(z);
  EquationsClient client{Rov, table, {}};
  const solvers::NewtonOptions opt = solvers::newton_options(Eps, Delta);
  return Variant(static_cast<short>(
      solvers::newton<VariantFlavour>(client, n, Nunknown, X, ipom, z, ID, opt, ALAM, NITER)));
}

Variant Interpret::FminI(std::string_view Rov, const Variant& n, VariantArray& X, VariantArray& z,
                         const Variant& EPSA, Variant& itmax) {
  const VariantArray table = constants_table(z);
  FunctionClient client{Compiled(std::string(Rov)), table};
  return Variant(solvers::fmin<VariantFlavour>(client, n, X, EPSA, itmax));
}

Variant Interpret::FminI(std::string_view Rov, const Variant& n, VariantArray& X, VariantArray& z,
                         const Variant& EPSA) {
  Variant omitted = Variant::missing();
  return FminI(Rov, n, X, z, EPSA, omitted);
}

Variant Interpret::Fmin1I(std::string_view Rov, const Variant& NX, VariantArray& X, VariantArray& z,
                          const Variant& Eps, Variant& itmax) {
  const VariantArray table = constants_table(z);
  FunctionClient client{Compiled(std::string(Rov)), table};
  return Variant(solvers::fmin1<VariantFlavour>(client, NX, X, Eps, itmax));
}

Variant Interpret::Fmin1I(std::string_view Rov, const Variant& NX, VariantArray& X, VariantArray& z,
                          const Variant& Eps) {
  Variant omitted = Variant::missing();
  return Fmin1I(Rov, NX, X, z, Eps, omitted);
}

void Interpret::RkmI(StringArray& Rov, const Variant& nn, Variant& xb, Variant& xe, VariantArray& Y,
                     const Variant& Delta, Variant& Star, VariantArray& zz) {
  // The evaluation vector keeps the derivatives at 11..10+nn: ten equations at most.
  if (number_of(nn) > 10) {
    ShowMessage("RkmI: počet rovnic > 10 ", style::kCritical, "Interpret");
    Star = Variant(-9999);
    return;
  }
  const VariantArray table = constants_table(zz);
  DerivativesClient client{Rov, table, {}};
  // Interpret keeps no state: every call starts with the integrator's first step.
  double step = 0;
  solvers::rkm<VariantFlavour>(client, step, nn, xb, xe, Y, number_of(Delta), Star, zz);
}

}  // namespace kor
