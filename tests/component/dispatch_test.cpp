#include <gtest/gtest.h>

#include "kor/kor.hpp"
#include "support.hpp"

namespace kor {
namespace {

using testing::error_of;

TEST(FunctionObject, CallsMembersByNameWithArgumentsByReference) {
  FunctionObject g;
  g.define("Fun", [](DoubleArray& x, DoubleArray& f, Variant& count) {
    f(1) = x(1) * x(1) - 2;
    x(1) += 1;  // the client may write the method's own arrays
    count = Variant(count.to_double() + 1);
  });
  g.define("F", [](const DoubleArray& x) { return x(1) * 10; });
  DoubleArray x = DoubleArray::from({3.0});
  DoubleArray f({1, 1});
  Variant count(0.0);
  const Argument args[] = {&x, &f, &count};
  EXPECT_TRUE(g.Invoke("fun", args).is_empty());  // names compare without regard to case
  EXPECT_EQ(f(1), 7.0);
  EXPECT_EQ(x(1), 4.0);
  EXPECT_EQ(count, Variant(1.0));
  const Argument one[] = {&x};
  EXPECT_EQ(g.Invoke("F", one), Variant(40.0));
}

TEST(FunctionObject, FaultsOfTheProtocol) {
  FunctionObject g;
  g.define("F", [](DoubleArray& x) { return x(1); });
  g.define("Boom", [](Variant&) -> double { throw Error(1001, "client says no"); });
  DoubleArray x = DoubleArray::from({1.0});
  VariantArray vx = VariantArray::from({1.0});
  Variant v;
  const Argument right[] = {&x};
  const Argument wrong_type[] = {&vx};
  const Argument two[] = {&x, &x};
  const Argument scalar[] = {&v};
  EXPECT_EQ(error_of([&] { g.Invoke("FKT", right); }), err::kNoMember);
  EXPECT_EQ(error_of([&] { g.Invoke("F", wrong_type); }), err::kTypeMismatch);
  EXPECT_EQ(error_of([&] { g.Invoke("F", two); }), err::kWrongArgumentCount);
  try {
    g.Invoke("Boom", scalar);
    FAIL() << "the client's error must pass through";
  } catch (const Error& e) {
    EXPECT_EQ(e.number(), 1001);
    EXPECT_EQ(e.description(), "client says no");
  }
}

}  // namespace
}  // namespace kor
