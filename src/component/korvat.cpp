#include "kor/korvat.hpp"

#include "component/korvat_state.hpp"

namespace kor {

Korvat::Korvat() : state_(std::make_unique<State>()) {}
Korvat::~Korvat() = default;
Korvat::Korvat(Korvat&&) noexcept = default;
Korvat& Korvat::operator=(Korvat&&) noexcept = default;

Korvat& Korvat::global() {
  thread_local Korvat instance;
  return instance;
}

}  // namespace kor
