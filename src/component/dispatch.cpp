#include "kor/dispatch.hpp"

#include <algorithm>
#include <cctype>

namespace kor {
namespace {
bool same_name(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
    return std::toupper(static_cast<unsigned char>(x)) == std::toupper(static_cast<unsigned char>(y));
  });
}
}  // namespace

FunctionObject& FunctionObject::define_raw(std::string name, Member member) {
  for (auto& [n, m] : members_) {
    if (same_name(n, name)) {
      m = std::move(member);
      return *this;
    }
  }
  members_.emplace_back(std::move(name), std::move(member));
  return *this;
}

Variant FunctionObject::Invoke(std::string_view name, std::span<const Argument> args) {
  for (auto& [n, m] : members_)
    if (same_name(n, name)) return m(args);
  throw Error(err::kNoMember);
}

}  // namespace kor
