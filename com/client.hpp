// The client's function object (Fun, FKT, F) called through its IDispatch.
//
// The solvers call client.call(member, args...) and client.value(member,
// args...) with their arguments by reference.  Each argument reaches the
// client by reference:
//  - the caller's own arrays as the caller's own SAFEARRAY (nothing copied);
//    an array the method only hands on (ArrayArgument) as the caller's own
//    reference to it, so the client may re-dimension it;
//  - the caller's by-reference scalars as the caller's own variables;
//  - the method's own Variants as VT_BYREF VARIANTs over them;
//  - the method's working arrays (kor::SafeArray) as a SAFEARRAY made for
//    the call, filled before it and read back after it, so what the client
//    writes is what the method reads next.
// A script object (one that answers IDispatchEx, as VBScript classes do) gets
// every array as VT_BYREF | VT_VARIANT over a VARIANT holding the array: a
// script writes into an array only when it arrives that way.  Other clients
// get typed arrays by reference (VT_BYREF | VT_ARRAY | VT_R8 or VT_VARIANT),
// as a compiled client declares them.
#pragma once

#include <windows.h>
#include <dispex.h>
#include <oleauto.h>

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "kor/error.hpp"
#include "kor/safe_array.hpp"
#include "kor/variant.hpp"
#include "views.hpp"

namespace kor::com {

class ComClient {
 public:
  // A null g (Nothing) is error 91 at the first call, as the runtime fails
  // where the object is used.
  explicit ComClient(IDispatch* g);
  ~ComClient();
  ComClient(const ComClient&) = delete;
  ComClient& operator=(const ComClient&) = delete;

  template <class... A>
  void call(std::string_view member, A&... args) {
    invoke(member, nullptr, args...);
  }

  // The member's result as it comes.
  template <class... A>
  Variant value(std::string_view member, A&... args) {
    VARIANT result;
    VariantInit(&result);
    invoke(member, &result, args...);
    Variant v;
    try {
      v = kor_value(result);
    } catch (...) {
      VariantClear(&result);
      throw;
    }
    VariantClear(&result);
    return v;
  }

 private:
  // One argument slot: the VARIANT passed, what it points at, and how to
  // bring the client's writes back.
  struct Slot {
    VARIANT arg;        // what the client receives (in reverse order)
    VARIANT holder;     // a VARIANT the argument points at, when it needs one
    SAFEARRAY* array = nullptr;  // the caller's array or one made for the call
    SAFEARRAY* worked_on = nullptr;  // an array the method works on: the client may not replace it
    SAFEARRAY* made = nullptr;   // made for the call: destroyed after it
    SAFEARRAY** handed = nullptr;  // the caller's reference to an array handed on in `holder`
    Variant* variant = nullptr;  // a method's Variant, read back after the call
    VariantArray* variant_array = nullptr;
    DoubleArray* double_array = nullptr;
  };

  template <class... A>
  void invoke(std::string_view member, VARIANT* result, A&... args) {
    std::array<Slot, sizeof...(A)> slots{};
    std::size_t k = sizeof...(A);
    (bind(slots[--k], args), ...);
    dispatch(member, slots.data(), slots.size(), result);
  }

  void bind(Slot& s, Variant& v);
  void bind(Slot& s, VARIANT& v);
  void bind(Slot& s, ArrayArgument& a);
  void bind(Slot& s, VariantView& a);
  void bind(Slot& s, DoubleView& a);
  void bind(Slot& s, VariantArray& a);
  void bind(Slot& s, DoubleArray& a);
  void bind_array(Slot& s, SAFEARRAY* sa, VARTYPE element);

  // Calls the member with the bound slots, reads the slots back and frees
  // what was made for the call, by any path.
  void dispatch(std::string_view member, Slot* slots, std::size_t count, VARIANT* result);
  static void release(Slot& s) noexcept;
  DISPID id_of(std::string_view member);

  IDispatch* g_;
  IDispatchEx* script_ = nullptr;
  std::vector<std::pair<std::string, DISPID>> ids_;
};

}  // namespace kor::com
