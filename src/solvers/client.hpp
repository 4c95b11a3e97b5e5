// How the solvers call the client's function object.
//
// A solver template receives a client adaptor and calls
//   client.call("Fun", X, R, n, z)          (a procedure; its result is ignored)
//   client.value("F", X)                    (a function; its result as it comes, a Variant)
// with its arguments by reference: the caller's own arrays and Variants and
// the solver's own working arrays, so that what the client writes there is
// what the solver reads next.  DispatchClient serves kor::Dispatch; other
// hosts (the COM server, the interpreted solvers) supply their own adaptor
// with the same two members.
#pragma once

#include <string_view>

#include "component/elements.hpp"
#include "kor/dispatch.hpp"

namespace kor::solvers {

inline Argument to_argument(Variant& v) { return &v; }
inline Argument to_argument(double& v) { return &v; }
inline Argument to_argument(VariantArray& a) { return &a; }
inline Argument to_argument(DoubleArray& a) { return &a; }

class DispatchClient {
 public:
  explicit DispatchClient(Dispatch& g) : g_(g) {}

  template <class... A>
  void call(std::string_view member, A&... args) {
    const Argument list[] = {to_argument(args)...};
    g_.Invoke(member, list);
  }

  template <class... A>
  Variant value(std::string_view member, A&... args) {
    const Argument list[] = {to_argument(args)...};
    return g_.Invoke(member, list);
  }

 private:
  Dispatch& g_;
};

// A client function given as a C++ callable (a kor::FunctionRef): called
// directly with the method's own arguments; its result is the callable's.
template <class Fn>
class CallableClient {
 public:
  explicit CallableClient(Fn f) : f_(f) {}

  template <class... A>
  void call(std::string_view, A&... args) {
    f_(args...);
  }

  template <class... A>
  decltype(auto) value(std::string_view, A&... args) {
    return f_(args...);
  }

 private:
  Fn f_;
};

}  // namespace kor::solvers
