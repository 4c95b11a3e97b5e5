#include "kor/interpret.hpp"

#include "interpreter/cells.hpp"
#include "interpreter/evaluator.hpp"

namespace kor {

Variant Interpret::Interp(std::string_view s, std::int16_t& ipok, const VariantArray& Pr,
                          const VariantArray& Y) const {
  interpreter::Evaluator<VariantArray, VariantArray> evaluator(Pr, Y);
  return Variant(evaluator.Interp(s, ipok));
}

}  // namespace kor
