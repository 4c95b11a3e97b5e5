// The arguments of one call, as the methods take them.
//
// Arguments arrive as the client sent them: by value (VT_I2, VT_R8,
// VT_BSTR, ...), by reference to a typed variable (VT_BYREF | VT_R8, VT_BYREF
// | VT_ARRAY | VT_VARIANT, ...) or by reference to a VARIANT (VT_BYREF |
// VT_VARIANT, what VBScript sends for every variable, arrays included).
// Arguments hands each one over in the form its parameter declares:
//  - a Variant by reference is the caller's variable itself (the VARIANT that
//    refers to it), so the method reads and writes it where the algorithm
//    does; one passed by value or omitted gets a local of the call;
//  - a Variant by value is the value the caller sent (a copy when it came by
//    reference), read where the method first uses it;
//  - a double by value is converted on entry, as a typed parameter is;
//  - arrays are views over the caller's SAFEARRAY, locked while the call
//    lasts, or handed on unlocked (ArrayArgument) where the method only
//    passes them to the client's callback.
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
  ~Arguments();  // frees the call's locals; writes 16-bit integers back if finish() did not
  Arguments(const Arguments&) = delete;
  Arguments& operator=(const Arguments&) = delete;

  // Refuses fewer than `required` or more than `total` arguments.
  void expect(UINT required, UINT total) const;

  bool omitted(UINT k) const;
  // A Variant by value (VT_ERROR "missing" when omitted).
  const VARIANT& value(UINT k);
  // A Variant by reference: the caller's variable.
  VARIANT& ref(UINT k);
  // A double by value, converted now; an omitted one is 0, as a binding supplies it.
  double real(UINT k);
  // A double by reference: the caller's variable, checked to hold a number
  // (a local 0 when omitted).
  VARIANT& real_ref(UINT k);
  // A 16-bit integer by reference, converted now and written back by finish().
  std::int16_t& short_ref(UINT k);
  // A text by value: Null is error 94.
  std::string text(UINT k) const;
  // Arrays, in place.
  VariantView& variants(UINT k);
  DoubleView& doubles(UINT k);
  ArrayArgument unlocked(UINT k, VARTYPE element) const;
  // Whether argument k is an array of texts (VT_BSTR), and its texts, read once.
  bool text_array(UINT k) const;
  StringArray strings(UINT k) const;
  // The client's object (null for Nothing: the method fails where it calls it).
  IDispatch* object(UINT k) const;

  // Writes the 16-bit integers back into the caller's variables; a value
  // that does not fit the variable's type is the runtime's error.
  void finish() { write_back(true); }

 private:
  VARIANT& at(UINT k) const { return args_[k]; }
  SAFEARRAY* array(UINT k, VARTYPE element) const;
  VARIANT& local(const VARIANT* copy_of, UINT k);
  void write_back(bool all);

  struct ShortBack {
    ShortBack(VARIANT* t, std::int16_t v) : target(t), entry(v), value(v) {}
    VARIANT* target;
    std::int16_t entry, value;
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
  std::array<VARIANT, kSlots> locals_;
  std::size_t locals_used_ = 0;
  Slots<ShortBack> shorts_back_;
  bool finished_ = false;
  Slots<VariantView> variant_views_;
  Slots<DoubleView> double_views_;
};

}  // namespace kor::com
