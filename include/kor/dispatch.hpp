// kor — client function objects.
//
// Newton's method, the integrator and the minimisers call a member of the
// client's object by name (Fun, FKT, F), late bound, with every argument by
// reference: the client reads and writes the method's own arrays in place.
// kor::Dispatch is that protocol in C++; FunctionObject builds one from lambdas.
#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "kor/error.hpp"
#include "kor/safe_array.hpp"
#include "kor/variant.hpp"

namespace kor {

namespace err {
inline constexpr int kWrongArgumentCount = 450;  // wrong number of arguments
}

// One argument of a late-bound call, always by reference.
using Argument = std::variant<Variant*, double*, VariantArray*, DoubleArray*>;

class Dispatch {
 public:
  virtual ~Dispatch() = default;
  // Calls the member `name` (compared without regard to case).  A member the
  // object does not have is error 438; whatever the member raises passes
  // through unchanged.
  virtual Variant Invoke(std::string_view name, std::span<const Argument> args) = 0;
};

namespace detail {
template <class T>
struct callable_traits : callable_traits<decltype(&T::operator())> {};
template <class C, class R, class... A>
struct callable_traits<R (C::*)(A...) const> {
  using result = R;
  using args = std::tuple<A...>;
};
template <class C, class R, class... A>
struct callable_traits<R (C::*)(A...)> {
  using result = R;
  using args = std::tuple<A...>;
};
template <class R, class... A>
struct callable_traits<R (*)(A...)> {
  using result = R;
  using args = std::tuple<A...>;
};

// The argument k as the reference type the member declares; a different type is error 13.
template <class P>
P bind_argument(const Argument& arg) {
  using T = std::remove_cvref_t<P>;
  static_assert(std::is_lvalue_reference_v<P>, "members take their arguments by reference");
  if (auto p = std::get_if<T*>(&arg)) return **p;
  throw Error(err::kTypeMismatch);
}
}  // namespace detail

// A client function object whose members are C++ callables.  Each callable
// takes its arguments as references (Variant&, double&, VariantArray&,
// DoubleArray&, const or not) and returns void, a double or a Variant.
class FunctionObject : public Dispatch {
 public:
  using Member = std::function<Variant(std::span<const Argument>)>;

  template <class F>
  FunctionObject& define(std::string name, F f) {
    using traits = detail::callable_traits<std::decay_t<F>>;
    return define_raw(std::move(name), adapt<typename traits::result>(
                                           std::move(f), static_cast<typename traits::args*>(nullptr)));
  }
  // A member that sees the raw argument list.
  FunctionObject& define_raw(std::string name, Member member);

  Variant Invoke(std::string_view name, std::span<const Argument> args) override;

 private:
  template <class R, class F, class... A>
  static Member adapt(F f, std::tuple<A...>*) {
    return [f = std::move(f)](std::span<const Argument> args) mutable -> Variant {
      if (args.size() != sizeof...(A)) throw Error(err::kWrongArgumentCount);
      return call<R>(f, args, std::index_sequence_for<A...>{}, static_cast<std::tuple<A...>*>(nullptr));
    };
  }
  template <class R, class F, std::size_t... K, class... A>
  static Variant call(F& f, std::span<const Argument> args, std::index_sequence<K...>,
                      std::tuple<A...>*) {
    if constexpr (std::is_void_v<R>) {
      f(detail::bind_argument<A>(args[K])...);
      return Variant();
    } else {
      return Variant(f(detail::bind_argument<A>(args[K])...));
    }
  }

  std::vector<std::pair<std::string, Member>> members_;
};

// A client function as a plain C++ callable, for C++ clients that need no
// late binding: the method calls it directly, without a member lookup or a
// Variant per argument, through the same algorithm as a Dispatch client.
// FunctionRef refers to the callable (it does not copy it): pass a lambda or
// a function object that lives for the call.
template <class Signature>
class FunctionRef;

template <class R, class... A>
class FunctionRef<R(A...)> {
 public:
  template <class F>
    requires(!std::is_same_v<std::remove_cvref_t<F>, FunctionRef> && std::is_invocable_r_v<R, F&, A...>)
  FunctionRef(F&& f) noexcept  // NOLINT: converts any suitable callable
      : object_(const_cast<void*>(static_cast<const void*>(std::addressof(f)))),
        call_([](void* o, A... a) -> R { return (*static_cast<std::remove_reference_t<F>*>(o))(std::forward<A>(a)...); }) {}
  R operator()(A... a) const { return call_(object_, std::forward<A>(a)...); }

 private:
  void* object_;
  R (*call_)(void*, A...);
};

// The client functions of the solvers as callables, one per flavour:
// Fun(X, R, n, z) of Newton, FKT(nn, xb, Y, K, zz) of the integrator, F(X) of the minimisers.
using FunRef = FunctionRef<void(VariantArray& X, VariantArray& R, Variant& n, VariantArray& z)>;
using FundRef = FunctionRef<void(DoubleArray& X, DoubleArray& R, Variant& n, DoubleArray& z)>;
using FktRef = FunctionRef<void(Variant& nn, Variant& xb, VariantArray& Y, VariantArray& K, VariantArray& zz)>;
using FktdRef = FunctionRef<void(Variant& nn, double& xb, DoubleArray& Y, DoubleArray& K, DoubleArray& zz)>;
using FRef = FunctionRef<Variant(VariantArray& X)>;
using FdRef = FunctionRef<double(DoubleArray& X)>;

}  // namespace kor
