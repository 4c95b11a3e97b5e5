// kor — the class Interpret: the expression evaluator and the interpreted solvers.
#pragma once

#include <cstdint>
#include <string_view>

#include "kor/safe_array.hpp"
#include "kor/variant.hpp"

namespace kor {

class Interpret {
 public:
  // The value of the expression text `s`.
  //   ipok  on entry the message level (0 or more: every message; -1: only
  //         "Nenaplněno pole proměnná - hodnota!"; -2 or less: none); on exit
  //         0 or more for success, -1 for a space in the text, -2 for a
  //         variable that could not be read, -3 for a function that failed.
  //   Pr    the variable table: names (upper case) in column 1, values in
  //         column 2, rows 1 to the upper bound of the first dimension.
  //   Y     the indexed variables, read through names like Y[3].
  // Returns a Double: the value, or -9999 on failure.
  Variant Interp(std::string_view s, std::int16_t& ipok, const VariantArray& Pr,
                 const VariantArray& Y) const;

  // ---- interpreted solvers: the equations or the objective as texts ----
  // The texts read the constants z(1..10) as Z1..Z10 and the unknowns as X[1], X[2], ...
  Variant NewtonI(StringArray& Rov, const Variant& n, const Variant& Nunknown, const Variant& NProm,
                  VariantArray& X, VariantArray& ipom, VariantArray& z, Variant& ID,
                  const Variant& Eps = Variant::missing(), const Variant& ALAM = Variant::missing(),
                  const Variant& NITER = Variant::missing(), const Variant& Delta = Variant::missing());
  Variant FminI(std::string_view Rov, const Variant& n, VariantArray& X, VariantArray& z,
                const Variant& EPSA, Variant& itmax);
  Variant FminI(std::string_view Rov, const Variant& n, VariantArray& X, VariantArray& z,
                const Variant& EPSA = Variant::missing());
  Variant Fmin1I(std::string_view Rov, const Variant& NX, VariantArray& X, VariantArray& z,
                 const Variant& Eps, Variant& itmax);
  Variant Fmin1I(std::string_view Rov, const Variant& NX, VariantArray& X, VariantArray& z,
                 const Variant& Eps = Variant::missing());
  void RkmI(StringArray& Rov, const Variant& nn, Variant& xb, Variant& xe, VariantArray& Y,
            const Variant& Delta, Variant& Star, VariantArray& zz);
};

}  // namespace kor
