// The interpreted solvers: Newton's method, the two minimisers and the
// integrator, with the client's function object replaced by evaluations of
// the caller's expression texts.  The iterations are the variant-flavour
// templates of Korvat, driven by the text clients below.  Every template
// takes the caller's arrays as they are (kor::SafeArray in C++, views over
// the client's SAFEARRAYs in the component), so the texts read the caller's
// unknowns in place.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "component/elements.hpp"
#include "component/flavour.hpp"
#include "interpreter/cells.hpp"
#include "interpreter/evaluator.hpp"
#include "interpreter/program.hpp"
#include "kor/message.hpp"
#include "solvers/fmin.hpp"
#include "solvers/newton.hpp"
#include "solvers/rkm.hpp"

namespace kor::interpreter {

template <class Vector>
using Compiled = CompiledText<VariantArray, Vector>;

// The compiled form of each text a solver evaluates, made on first use:
// every evaluation gives exactly what Interp gives, only faster.  Nothing
// can change the texts during a solver's call (no client code runs), so a
// text once compiled is the text at its position for the rest of the call.
// A cell that holds no text fails where it is first read (text_of).
template <class Vector>
class Texts {
 public:
  template <class Rov>
  Compiled<Vector>& at(const Rov& rov, int i) {
    const auto& cell = rov(i);  // a missing position fails here, on every pass
    if (static_cast<std::size_t>(i) >= texts_.size()) texts_.resize(static_cast<std::size_t>(i) + 1);
    auto& slot = texts_[static_cast<std::size_t>(i)];
    if (!slot) slot = std::make_unique<Compiled<Vector>>(std::string(text_of(cell)), Compiled<Vector>::Layout::Constants);
    return *slot;
  }

 private:
  std::vector<std::unique_ptr<Compiled<Vector>>> texts_;
};

// The variable table of the texts: rows 0..10, columns 0..2; row i holds the
// name Zi and a copy of z(i), taken once at the start (z must have 1..10).
// The thread keeps one table and refills its values for each call; a call
// that begins while another is running (a host that re-enters through a
// message) gets a table of its own.
class ConstantsTable {
 public:
  template <class ZArray>
  explicit ConstantsTable(const ZArray& z) {
    thread_local VariantArray kept = with_names();
    thread_local bool busy = false;
    if (busy) {
      own_ = with_names();
      fill(own_, z);
      table_ = &own_;
    } else {
      fill(kept, z);  // a fault here leaves the kept table free
      busy = true;
      busy_ = &busy;
      table_ = &kept;
    }
  }
  ~ConstantsTable() {
    if (busy_) *busy_ = false;
  }
  ConstantsTable(const ConstantsTable&) = delete;
  ConstantsTable& operator=(const ConstantsTable&) = delete;
  const VariantArray& get() const { return *table_; }

 private:
  static VariantArray with_names() {
    VariantArray table(Bounds{0, 10}, Bounds{0, 2});
    for (int i = 1; i <= 10; ++i) {
      std::string name = "Z";
      name += std::to_string(i);  // appended: GCC 12 misreads "Z" + string as overlapping
      table(i, 1) = Variant(name);
    }
    return table;
  }
  template <class ZArray>
  static void fill(VariantArray& table, const ZArray& z) {
    for (int i = 1; i <= 10; ++i) table(i, 2) = cell_value(z(i));
  }

  VariantArray own_;
  const VariantArray* table_ = nullptr;
  bool* busy_ = nullptr;
};

// Newton's Fun: EvaluateEquations, R(i) = the value of Rov(i) with X as the
// indexed variables; the message level starts at 0 for each pass.
template <class Rov, class XArray>
struct EquationsClient {
  const Rov& rov;
  const VariantArray& table;
  Texts<XArray> texts;
  template <class R, class Z>
  void call(std::string_view, XArray& x, R& r, Variant& n, Z&) {
    std::int16_t level = 0;
    for (int i = 1, m = count16(number_of(n)); i <= m; ++i)
      assign_value(r(i), Variant(texts.at(rov, i).evaluate(level, table, x)));
  }
};

// The minimisers' F: one text, its message level carried through the whole run.
template <class XArray>
struct FunctionClient {
  Compiled<XArray> text;
  const VariantArray& table;
  std::int16_t level = 0;
  Variant value(std::string_view, XArray& x) { return Variant(text.evaluate(level, table, x)); }
};

// The integrator's FKT: EvaluateDerivatives.  Y(0) is the abscissa, Y(1..nn)
// the state, Y(11..10+nn) the derivatives computed so far in this pass.
template <class Rov, class YArray>
struct DerivativesClient {
  const Rov& rov;
  const VariantArray& table;
  Texts<YArray> texts;
  template <class X, class K, class Z>
  void call(std::string_view, Variant& nn, X& xb, YArray& y, K& k, Z&) {
    assign_value(y(0), cell_value(xb));
    std::int16_t level = 0;
    for (int i = 1, m = count16(number_of(nn)); i <= m; ++i) {
      assign_value(k(i), Variant(texts.at(rov, i).evaluate(level, table, y)));
      assign_value(y(i + 10), cell_value(k(i)));
    }
  }
};

// Rov is an array of texts (kor::StringArray, or a host's array whose cells
// text_of reads); the scalars are the caller's, as the templates take them.
template <class Rov, class Arg, class XArray, class IpomArray, class ZArray, class Status>
Variant newton_i(const Rov& rov, const Arg& n, const Arg& nunknown, XArray& x, IpomArray& ipom, ZArray& z,
                 Status& id, const Arg& eps, const Arg& alam, const Arg& niter, const Arg& delta) {
  const ConstantsTable table(z);
  EquationsClient<Rov, XArray> client{rov, table.get(), {}};
  return Variant(static_cast<short>(
      solvers::newton<VariantFlavour>(client, n, nunknown, x, ipom, z, id, eps, alam, niter, delta)));
}

// FminI (rosenbrock) or Fmin1I (Nelder-Mead) on one text.
template <bool NelderMead, class Arg, class XArray, class ZArray, class Limit>
Variant fmin_i(std::string_view rov, const Arg& n, XArray& x, ZArray& z, const Arg& eps, Limit& itmax) {
  const ConstantsTable table(z);
  FunctionClient<XArray> client{Compiled<XArray>(std::string(rov), Compiled<XArray>::Layout::Constants), table.get()};
  if constexpr (NelderMead) return Variant(solvers::fmin1<VariantFlavour>(client, n, x, eps, itmax));
  else return solvers::fmin<VariantFlavour>(client, n, x, eps, itmax);
}

template <class Rov, class Arg, class Abscissa, class YArray, class ZArray, class Status>
void rkm_i(const Rov& rov, const Arg& nn, Abscissa& xb, Abscissa& xe, YArray& y, const Arg& delta, Status& star,
           ZArray& zz) {
  // The evaluation vector keeps the derivatives at 11..10+nn: ten equations at most.
  if (number_of(nn) > 10) {
    ShowMessage("RkmI: počet rovnic > 10 ", style::kCritical, "Interpret");
    assign_integer(star, -9999);
    return;
  }
  const ConstantsTable table(zz);
  DerivativesClient<Rov, YArray> client{rov, table.get(), {}};
  // Interpret keeps no state: every call starts with the integrator's first step.
  double step = 0;
  solvers::rkm<VariantFlavour>(client, step, nn, xb, xe, y, delta, star, zz);
}

}  // namespace kor::interpreter
