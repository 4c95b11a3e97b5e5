// The interpreted solvers against the same solvers with a C++ function
// object, and on the problems their texts describe.
#include <gtest/gtest.h>

#include <cmath>

#include "interpreter/interpreted.hpp"
#include "kor/kor.hpp"
#include "support.hpp"

namespace kor {
namespace {

using testing::error_of;

VariantArray constants(std::initializer_list<double> values) {
  VariantArray z(Bounds{1, 10});
  int i = 1;
  for (double v : values) z(i++) = Variant(v);
  return z;
}

TEST(NewtonI, SolvesTheTextsAsNewtonSolvesTheFunction) {
  StringArray rov = StringArray::from({"X[1]^2-Z1"});
  VariantArray x = VariantArray::from({1.0}), ipom = VariantArray::from({1}), z = constants({2});
  Variant id;
  Interpret in;
  in.NewtonI(rov, 1, 1, 0, x, ipom, z, id);
  EXPECT_EQ(id, Variant(short{0}));
  EXPECT_NEAR(x(1).to_double(), std::sqrt(2.0), 1e-9);

  // The same iteration with a function object: the same bits.
  FunctionObject g;
  g.define("Fun", [](VariantArray& xx, VariantArray& r, Variant&, VariantArray&) {
    const double v = xx(1).to_double();
    r(1) = Variant(std::pow(v, 2) - 2);
  });
  VariantArray x2 = VariantArray::from({1.0});
  Korvat().Newton(g, 1, 1, 0, x2, ipom, z, id);
  EXPECT_EQ(x2(1), x(1));
  // Constants short of Z10 fail before the iteration; a misspelt name is reported.
  VariantArray short_z(Bounds{1, 3});
  id = 5;
  EXPECT_EQ(error_of([&] { in.NewtonI(rov, 1, 1, 0, x, ipom, short_z, id); }), err::kSubscript);
  EXPECT_EQ(id, Variant(5));  // failed before the iteration began
  StringArray typo = StringArray::from({"X[1]^2-Q1"});
  MessageCapture capture;
  in.NewtonI(typo, 1, 1, 0, x, ipom, z, id, Variant::missing(), Variant::missing(), 3);
  ASSERT_FALSE(capture.messages().empty());
  EXPECT_EQ(capture.messages()[0], (Message{"Proměnná Q1 nenalezena!", 16, "Interpret"}));
}

TEST(NewtonI, EveryCallReadsItsOwnConstants) {
  // One text, so one program for every call; each call its own Z1.
  StringArray rov = StringArray::from({"X[1]^2-Z1"});
  VariantArray ipom = VariantArray::from({1});
  Variant id;
  for (double z1 : {2.0, 3.0, 2.0}) {
    VariantArray x = VariantArray::from({1.0}), z = constants({z1});
    Interpret().NewtonI(rov, 1, 1, 0, x, ipom, z, id);
    EXPECT_NEAR(x(1).to_double(), std::sqrt(z1), 1e-6);
  }
  // A call that begins while another one runs gets a table of its own.
  const interpreter::ConstantsTable outer(constants({5}));
  {
    const interpreter::ConstantsTable inner(constants({7}));
    EXPECT_EQ(inner.get()(1, 2), Variant(7.0));
    EXPECT_EQ(outer.get()(1, 2), Variant(5.0));
  }
  EXPECT_EQ(outer.get()(1, 1), Variant("Z1"));
}

TEST(MinimisersI, TextsAgreeWithFunctionObjects) {
  VariantArray z = constants({1, 2});
  FunctionObject g;
  g.define("F", [](VariantArray& x) { return std::pow(x(1).to_double() - 1, 2) + std::pow(x(2).to_double() - 2, 2); });
  for (bool simplex : {false, true}) {
    VariantArray xi = VariantArray::from({0.0, 0.0}), xf = xi;
    Variant it1 = 500, it2 = 500;
    const Variant fi = simplex ? Interpret().Fmin1I("(X[1]-Z1)^2+(X[2]-Z2)^2", 2, xi, z, Variant::missing(), it1)
                               : Interpret().FminI("(X[1]-Z1)^2+(X[2]-Z2)^2", 2, xi, z, Variant::missing(), it1);
    const Variant ff = simplex ? Korvat().Fmin1(g, 2, xf, Variant::missing(), it2) : Korvat().Fmin(g, 2, xf, Variant::missing(), it2);
    EXPECT_NEAR(xi(1).to_double(), 1, 1e-2);
    EXPECT_NEAR(xi(2).to_double(), 2, 1e-2);
    EXPECT_TRUE(fi == ff && xi(1) == xf(1) && xi(2) == xf(2) && it1 == it2) << simplex;
  }
}

TEST(RkmI, DerivativeTextsAndTheEvaluationVector) {
  Interpret in;
  VariantArray zz = constants({});
  // y' = y over [0, 1].
  StringArray grow = StringArray::from({"Y[1]"});
  VariantArray y(Bounds{0, 11});
  y(1) = 1.0;
  Variant xb = 0.0, xe = 1.0, star = 0;
  in.RkmI(grow, 1, xb, xe, y, 1e-7, star, zz);
  EXPECT_NEAR(y(1).to_double(), std::exp(1.0), 1e-6);
  EXPECT_NEAR(y(0).to_double(), 1.0, 1e-12);  // the abscissa of the last pass
  // y1' = x, y2' = y1' of the same pass: y1 = y2 = x^2/2.
  StringArray pair = StringArray::from({"Y[0]", "Y[11]"});
  VariantArray y2(Bounds{0, 12});
  y2(1) = 0.0;
  y2(2) = 0.0;
  xb = 0.0;
  xe = 2.0;
  in.RkmI(pair, 2, xb, xe, y2, 1e-7, star, zz);
  EXPECT_NEAR(y2(1).to_double(), 2.0, 1e-9);
  EXPECT_NEAR(y2(2).to_double(), 2.0, 1e-9);
  // More than ten equations: one message, Star = -9999, nothing else touched.
  MessageCapture capture;
  StringArray many(Bounds{1, 11});
  xb = 0.5;
  in.RkmI(many, 11, xb, xe, y2, 1e-7, star, zz);
  EXPECT_EQ(star, Variant(-9999));
  EXPECT_EQ(xb, Variant(0.5));
  EXPECT_EQ(capture.messages(), (std::vector<Message>{{"RkmI: počet rovnic > 10 ", 16, "Interpret"}}));
}

}  // namespace
}  // namespace kor
