// The arguments of one call, as the methods take them.
//
// Arguments arrive as the client sent them: by value (VT_I2, VT_R8,
// VT_BSTR, ...), by reference to a typed variable (VT_BYREF | VT_R8, VT_BYREF
// | VT_ARRAY | VT_VARIANT, ...) or by reference to a VARIANT (VT_BYREF |
// VT_VARIANT, what VBScript sends for every variable, arrays included).
// Arguments reads each one in the form its parameter declares: arrays as
// views over the caller's SAFEARRAY, by-reference scalars as a local that is
// written back to the caller's variable when the call ends, by any path.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <array>
#include <optional>
#include <string>

#include "kor/safe_array.hpp"
#include "kor/variant.hpp"
#include "views.hpp"

namespace kor::com {

// An argument of the wrong kind: answered as `hr` (DISP_E_TYPEMISMATCH,
// DISP_E_PARAMNOTOPTIONAL, DISP_E_BADPARAMCOUNT) naming the argument.
struct ArgumentError {
  HRESULT hr;
  UINT position;  // declaration order
};

class Arguments {
 public:
  Arguments(VARIANT* args, UINT count) : args_(args), count_(count) {}
  ~Arguments();  // writes the by-reference scalars back
  Arguments(const Arguments&) = delete;
  Arguments& operator=(const Arguments&) = delete;

  // Refuses fewer than `required` or more than `total` arguments.
  void expect(UINT required, UINT total) const;

  bool omitted(UINT k) const;
  // A Variant by value (missing when omitted).
  Variant value(UINT k) const;
  // A double by value; an omitted one is 0, as a binding supplies it.
  double real(UINT k) const;
  // A text by value.
  std::string text(UINT k) const;
  // A Variant by reference: the local is written back when the call ends.
  Variant& ref(UINT k);
  // A double by reference, written back likewise.
  double& real_ref(UINT k);
  // A 16-bit integer by reference, written back likewise.
  std::int16_t& short_ref(UINT k);
  // Arrays, in place.
  VariantView& variants(UINT k);
  DoubleView& doubles(UINT k);
  // An array of texts (strings, or Variants holding them), read once.
  StringArray strings(UINT k) const;
  // The client's object.
  IDispatch* object(UINT k) const;

 private:
  VARIANT& at(UINT k) const;
  SAFEARRAY* array(UINT k, VARTYPE element) const;

  struct VariantBack {
    VariantBack(VARIANT* t, Variant v) : target(t), value(std::move(v)) {}
    VARIANT* target;
    Variant value;
  };
  struct DoubleBack {
    DoubleBack(VARIANT* t, double v) : target(t), value(v) {}
    VARIANT* target;
    double value;
  };
  struct ShortBack {
    ShortBack(VARIANT* t, std::int16_t v) : target(t), value(v) {}
    VARIANT* target;
    std::int16_t value;
  };

  // No method has more than sixteen parameters, and each parameter is read
  // in one form: fixed slots keep a call free of allocations.
  static constexpr std::size_t kSlots = 16;
  template <class T>
  struct Slots {
    std::array<std::optional<T>, kSlots> items;
    std::size_t used = 0;
    template <class... A>
    T& add(A&&... a) {
      if (used == kSlots) throw ArgumentError{DISP_E_BADPARAMCOUNT, static_cast<UINT>(kSlots)};
      return items[used++].emplace(std::forward<A>(a)...);
    }
  };

  VARIANT* args_;
  UINT count_;
  Slots<VariantBack> variants_back_;
  Slots<DoubleBack> doubles_back_;
  Slots<ShortBack> shorts_back_;
  Slots<VariantView> variant_views_;
  Slots<DoubleView> double_views_;
};

}  // namespace kor::com
