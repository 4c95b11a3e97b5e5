// Helpers shared by the unit tests.
#pragma once

#include "kor/error.hpp"

namespace kor::testing {

// The number of the kor::Error that f raises, or 0 if it raises none.
template <class F>
int error_of(F&& f) {
  try {
    f();
  } catch (const Error& e) {
    return e.number();
  }
  return 0;
}

}  // namespace kor::testing
