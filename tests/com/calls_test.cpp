// Methods called as compiled clients call them: late bound with typed arrays
// by reference (as VB does), early bound through the dual vtable, with a
// client function object, and with the faults a client must see.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "support.hpp"

namespace comtest {
namespace {

constexpr SCODE runtime_error(int number) { return static_cast<SCODE>(0x800A0000u | static_cast<unsigned>(number)); }

// 2x + y = 5, x + 3y = 10: x = 1, y = 3.
SafeArray small_system(bool doubles) {
  SafeArray a = doubles ? SafeArray::doubles({1, 2}, {1, 3}) : SafeArray::variants({1, 2}, {1, 3});
  const double v[2][3] = {{2, 1, 5}, {1, 3, 10}};
  for (LONG i = 1; i <= 2; ++i)
    for (LONG j = 1; j <= 3; ++j) a.set(i, j, v[i - 1][j - 1]);
  return a;
}

TEST(LateBound, TypedArraysByReferenceAreSolvedInPlace) {
  Ptr<IDispatch> k = create(L"Kor.Korvat");
  ASSERT_TRUE(k);
  for (const wchar_t* name : {L"Gauss", L"Gaussd"}) {
    SCOPED_TRACE(std::string(name, name + wcslen(name)));
    SafeArray a = small_system(name[5] == L'd');
    SAFEARRAY* before = a.get();
    short id = 7;  // a typed status variable, as VB's Dim id As Integer
    Outcome r = invoke(k.get(), name, {byval(2), byref(a), byval(1), byref(id)});
    ASSERT_EQ(r.hr, S_OK);
    EXPECT_EQ(id, 0);
    EXPECT_EQ(a.get(), before);  // the same array, written in place
    EXPECT_DOUBLE_EQ(a.number(1, 3), 1.0);
    EXPECT_DOUBLE_EQ(a.number(2, 3), 3.0);
  }
}

TEST(LateBound, VariantAndDoubleArraysGiveTheSameSolutionBitForBit) {
  // 30 equations: a Variant array whose cells all hold doubles (walked in
  // place as doubles), one with a single 32-bit integer cell (element by
  // element) and a double array must give identical results.
  Ptr<IDispatch> k = create(L"Kor.Korvat");
  ASSERT_TRUE(k);
  const LONG n = 30;
  SafeArray all = SafeArray::variants({1, n}, {1, n + 1}), mixed = SafeArray::variants({1, n}, {1, n + 1});
  SafeArray doubles = SafeArray::doubles({1, n}, {1, n + 1});
  for (LONG i = 1; i <= n; ++i)
    for (LONG j = 1; j <= n + 1; ++j) {
      const double v = std::sin(0.7 * i + 1.3 * j) + (i == j ? 3.0 : 0.0);
      all.set(i, j, v);
      mixed.set(i, j, v);
      doubles.set(i, j, v);
    }
  mixed.set(2, 1, Var(1));  // a Long: the same number, another cell type
  all.set(2, 1, 1.0);
  doubles.set(2, 1, 1.0);
  Var id1, id2, id3;
  ASSERT_EQ(invoke(k.get(), L"Gauss", {byval(static_cast<int>(n)), byref(all), byval(1), byref(id1)}).hr, S_OK);
  ASSERT_EQ(invoke(k.get(), L"Gauss", {byval(static_cast<int>(n)), byref(mixed), byval(1), byref(id2)}).hr, S_OK);
  ASSERT_EQ(invoke(k.get(), L"Gaussd", {byval(static_cast<int>(n)), byref(doubles), byval(1), byref(id3)}).hr, S_OK);
  EXPECT_EQ(id1.number(), 0.0);
  EXPECT_EQ(id2.number(), 0.0);
  for (LONG i = 1; i <= n; ++i)
    for (LONG j = 1; j <= n + 1; ++j) {
      EXPECT_EQ(all.number(i, j), doubles.number(i, j)) << i << "," << j;
      EXPECT_EQ(mixed.number(i, j), doubles.number(i, j)) << i << "," << j;
    }
}

TEST(LateBound, ScalarsConvertAsAutomationConverts) {
  // x^2 - 3x + 2 (general form) at 3 is 2, whatever type carries n and X.
  Ptr<IDispatch> k = create(L"Kor.Korvat");
  ASSERT_TRUE(k);
  SafeArray c = SafeArray::doubles({1, -3, 2});
  const struct {
    Var n;
    Var x;
  } rows[] = {{Var(short{-2}), Var(3.0)}, {Var(-2), Var(short{3})}, {Var(L"-2"), Var(L"3")}, {Var(-2.0), Var(3)}};
  for (const auto& row : rows) {
    Var x = row.x;
    double xd = x.number();
    Outcome r = invoke(k.get(), L"Polynd", {byval(row.n), byref(xd), byref(c)});
    ASSERT_EQ(r.hr, S_OK);
    EXPECT_EQ(r.result.vt(), VT_R8);
    EXPECT_EQ(r.result.number(), 2.0);
  }
  // A string that holds no number is a runtime type mismatch in the method.
  double x = 3;
  Outcome bad = invoke(k.get(), L"Polynd", {byval(Var(L"two")), byref(x), byref(c)});
  EXPECT_EQ(bad.hr, DISP_E_EXCEPTION);
  EXPECT_EQ(bad.scode, runtime_error(13));
  EXPECT_EQ(bad.description, L"Type mismatch");
}

TEST(LateBound, WrongArgumentKindsNameTheArgument) {
  Ptr<IDispatch> k = create(L"Kor.Korvat");
  ASSERT_TRUE(k);
  SafeArray variants = small_system(false);
  Var id;
  // Gaussd wants doubles: the Variant array (declaration position 1) is refused.
  Outcome r = invoke(k.get(), L"Gaussd", {byval(2), byref(variants), byval(1), byref(id)});
  EXPECT_EQ(r.hr, DISP_E_TYPEMISMATCH);
  EXPECT_EQ(r.arg_err, 1u);
  // An object where a number belongs.
  Ptr<ClientObject> g = ClientObject::make();
  IDispatch* gd = g.get();
  SafeArray d = small_system(true);
  r = invoke(k.get(), L"Gaussd", {byref(gd), byref(d), byval(1), byref(id)});
  EXPECT_EQ(r.hr, DISP_E_TYPEMISMATCH);
  EXPECT_EQ(r.arg_err, 0u);
}

TEST(LateBound, RuntimeErrorsArriveAsExceptionsWithTheirNumbers) {
  Ptr<IDispatch> k = create(L"Kor.Korvat");
  ASSERT_TRUE(k);
  const struct {
    int number;
    const wchar_t* description;
    double n;
    std::initializer_list<double> coefficients;
    double x;
  } rows[] = {
      {9, L"Subscript out of range", -3, {1, 2}, 1},        // a(3) is missing
      {6, L"Overflow", -1, {1e300, 0}, 1e300},              // 1e300 * 1e300
      {5, L"Invalid procedure call or argument", -1, {1, 2}, 0},  // LinBairstowd below: negative degree
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.number);
    SafeArray c = SafeArray::doubles(row.coefficients);
    double x = row.x;
    Outcome r;
    if (row.number == 5) {
      SafeArray xr = SafeArray::doubles({0, 0}), xi = SafeArray::doubles({0, 0});
      r = invoke(k.get(), L"LinBairstowd", {byval(-1), byref(c), byref(xr), byref(xi), byval(1e-12)});
    } else {
      r = invoke(k.get(), L"Polynd", {byval(row.n), byref(x), byref(c)});
    }
    EXPECT_EQ(r.hr, DISP_E_EXCEPTION);
    EXPECT_EQ(r.scode, runtime_error(row.number));
    EXPECT_EQ(r.description, row.description);
  }
}

TEST(EarlyBound, TheVtableGivesTheSameResultsAndErrorInfo) {
  Ptr<_Korvat> k = create_korvat();
  ASSERT_TRUE(k);
  SafeArray a = small_system(true);
  VARIANT n = byval(2), ncol = byval(1);
  Var id;
  ASSERT_EQ(k->Gaussd(n, &a.get(), ncol, id.ptr()), S_OK);
  EXPECT_EQ(id.vt(), VT_I2);
  EXPECT_EQ(id.number(), 0.0);
  EXPECT_DOUBLE_EQ(a.number(1, 3), 1.0);
  EXPECT_DOUBLE_EQ(a.number(2, 3), 3.0);

  SafeArray c = SafeArray::doubles({1, -3, 2});
  double x = 3, result = 0;
  VARIANT deg = byval(-2);
  ASSERT_EQ(k->Polynd(deg, &x, &c.get(), &result), S_OK);
  EXPECT_EQ(result, 2.0);

  // A fault: the runtime error's HRESULT and the thread's IErrorInfo.
  VARIANT deg3 = byval(-3);
  EXPECT_EQ(k->Polynd(deg3, &x, &c.get(), &result), runtime_error(9));
  const ErrorInfo info = take_error_info();
  EXPECT_TRUE(info.present);
  EXPECT_EQ(info.description, L"Subscript out of range");

  // Roots through the vtable: x^2 - 2x + 5 has 1 + 2i and 1 - 2i.
  SafeArray q = SafeArray::doubles({1, -2, 5}), qr = SafeArray::doubles({0, 0}), qi = SafeArray::doubles({0, 0});
  VARIANT two = byval(2);
  ASSERT_EQ(k->LinBairstowd(two, &q.get(), &qr.get(), &qi.get(), 0.0), S_OK);
  EXPECT_NEAR(qr.number(1), 1, 1e-15);
  EXPECT_NEAR(qi.number(1), 2, 1e-15);
  EXPECT_NEAR(qi.number(2), -2, 1e-15);
}

TEST(ClientObjects, TheMinimiserCallsFWithTheCallersOwnArray) {
  Ptr<IDispatch> k = create(L"Kor.Korvat");
  ASSERT_TRUE(k);
  SafeArray x = SafeArray::doubles({0, 0});
  SAFEARRAY* callers = x.get();
  bool same_array = true;
  Ptr<ClientObject> g = ClientObject::make();
  g->define(L"F", [&](ClientObject::Call& c) {
    ArrayArg xa(c.args[0]);
    same_array = same_array && xa.get() == callers;
    const double u = xa.number(1) - 1, v = xa.number(2) + 2;  // minimum 3 at (1, -2)
    return c.set_result(u * u + v * v + 3);
  });
  IDispatch* gd = g.get();
  Var itmax(short{500});
  Outcome r = invoke(k.get(), L"Fmin1d", {byref(gd), byval(2), byref(x), byval(1e-10), byref(itmax)});
  ASSERT_EQ(r.hr, S_OK) << std::string(r.description.begin(), r.description.end());
  EXPECT_NEAR(r.result.number(), 3, 1e-8);
  EXPECT_NEAR(x.number(1), 1, 1e-4);
  EXPECT_NEAR(x.number(2), -2, 1e-4);
  EXPECT_TRUE(same_array);
  EXPECT_GT(g->calls(L"F"), 10);
  EXPECT_GT(itmax.number(), 0);
}

TEST(ClientObjects, NewtonsFunWritesTheResidualsTheMethodReads) {
  // x^2 + y^2 = z(1) = 8, x = y from (1, 3): the root (2, 2).
  Ptr<IDispatch> k = create(L"Kor.Korvat");
  ASSERT_TRUE(k);
  SafeArray x = SafeArray::doubles({1, 3}), z = SafeArray::doubles({8});
  SafeArray ipom = SafeArray::variants({1, 2});
  Ptr<ClientObject> g = ClientObject::make();
  g->define(L"Fun", [](ClientObject::Call& c) {
    ArrayArg xa(c.args[0]), r(c.args[1]), za(c.args[3]);
    r.set(1, xa.number(1) * xa.number(1) + xa.number(2) * xa.number(2) - za.number(1));
    r.set(2, xa.number(1) - xa.number(2));
    return S_OK;
  });
  IDispatch* gd = g.get();
  Var id;
  Outcome r = invoke(k.get(), L"Newtond",
                     {byref(gd), byval(2), byval(2), byval(0), byref(x), byref(ipom), byref(z), byref(id), byval(1e-12)});
  ASSERT_EQ(r.hr, S_OK) << std::string(r.description.begin(), r.description.end());
  EXPECT_EQ(id.number(), 0.0);
  EXPECT_NEAR(x.number(1), 2, 1e-9);
  EXPECT_NEAR(x.number(2), 2, 1e-9);
}

TEST(ClientObjects, TheIntegratorsFKTWritesTheDerivatives) {
  // y' = y from y(0) = 1: e at 1, and (the same object going on) e^2 at 2.
  Ptr<IDispatch> k = create(L"Kor.Korvat");
  ASSERT_TRUE(k);
  Ptr<ClientObject> g = ClientObject::make();
  g->define(L"FKT", [](ClientObject::Call& c) {
    ArrayArg y(c.args[2]), f(c.args[3]);
    f.set(1, y.number(1));
    return S_OK;
  });
  IDispatch* gd = g.get();
  SafeArray y = SafeArray::doubles({1}), zz = SafeArray::doubles({0});
  double xb = 0, xe = 1;
  Var star(short{0});
  Outcome r = invoke(k.get(), L"Rkmd", {byref(gd), byval(1), byref(xb), byref(xe), byref(y), byval(1e-8), byref(star),
                                        byref(zz)});
  ASSERT_EQ(r.hr, S_OK) << std::string(r.description.begin(), r.description.end());
  EXPECT_NEAR(y.number(1), std::exp(1.0), 1e-6);
  EXPECT_NEAR(xb, 1.0, 1e-12);
  xe = 2;
  r = invoke(k.get(), L"Rkmd", {byref(gd), byval(1), byref(xb), byref(xe), byref(y), byval(1e-8), byref(star), byref(zz)});
  ASSERT_EQ(r.hr, S_OK);
  EXPECT_NEAR(y.number(1), std::exp(2.0), 1e-5);
  EXPECT_GT(g->calls(L"FKT"), 12);
}

TEST(ClientObjects, TheClientsErrorsPassThroughUnchanged) {
  Ptr<IDispatch> k = create(L"Kor.Korvat");
  ASSERT_TRUE(k);
  SafeArray x = SafeArray::doubles({0});
  Ptr<ClientObject> g = ClientObject::make();
  g->define(L"F", [](ClientObject::Call& c) { return c.raise(1234, L"the client failed"); });
  IDispatch* gd = g.get();
  Outcome r = invoke(k.get(), L"Fmind", {byref(gd), byval(1), byref(x)});
  EXPECT_EQ(r.hr, DISP_E_EXCEPTION);
  EXPECT_EQ(r.scode, runtime_error(1234));
  EXPECT_EQ(r.description, L"the client failed");

  // A client without the member: 438.
  Ptr<ClientObject> empty = ClientObject::make();
  IDispatch* ed = empty.get();
  r = invoke(k.get(), L"Fmind", {byref(ed), byval(1), byref(x)});
  EXPECT_EQ(r.hr, DISP_E_EXCEPTION);
  EXPECT_EQ(r.scode, runtime_error(438));
  EXPECT_EQ(r.description, L"Object doesn't support this property or method");
}

TEST(Messages, MethodsShowTheirMessageBoxesWithExactTexts) {
  Ptr<IDispatch> k = create(L"Kor.Korvat");
  ASSERT_TRUE(k);
  MessageBoxCapture boxes;
  ASSERT_TRUE(boxes.installed());
  // One knot: the spline's message, the double flavour's own text.
  SafeArray x = SafeArray::doubles({0}), y = SafeArray::doubles({0}), y2 = SafeArray::doubles({0});
  Outcome r = invoke(k.get(), L"Splined", {byval(1), byval(1), byref(x), byref(y), byval(0.0), byval(0.0), byref(y2)});
  EXPECT_EQ(r.hr, S_OK);
  // A leading zero coefficient: the degree is lowered, with a Czech message.
  SafeArray c = SafeArray::doubles({0, 1, -3, 2}), xr = SafeArray::doubles({0, 0, 0}), xi = SafeArray::doubles({0, 0, 0});
  r = invoke(k.get(), L"LinBairstowd", {byval(3), byref(c), byref(xr), byref(xi), byval(1e-12)});
  EXPECT_EQ(r.hr, S_OK);
  EXPECT_NEAR(xr.number(1), 1, 1e-15);
  EXPECT_NEAR(xr.number(2), 2, 1e-15);
  // The interpreter's message for an unknown variable.
  Ptr<IDispatch> in = create(L"Kor.Interpret");
  SafeArray pr = SafeArray::variants({1, 2}, {1, 2}), vy = SafeArray::variants({1, 1});
  short ipok = 0;
  r = invoke(in.get(), L"Interp", {byval(Var(L"2*Q")), byref(ipok), byref(pr), byref(vy)});
  EXPECT_EQ(r.hr, S_OK);
  EXPECT_EQ(r.result.number(), -9999.0);
  const std::vector<ShownMessage> expected = {
      {L" SPLINED - zadan jen 1 bod!", L"SPLINE", 16},
      {L"Nulový koeficient u nejvyšší mocniny, stupeň rovnice snížen na 2", L"LINBAIRSTOW", 16},
      {L"Proměnná Q nenalezena!", L"Interpret", 16},
  };
  EXPECT_EQ(boxes.messages(), expected);
}

TEST(Interpret, InterpReadsTheCallersTableInPlaceOnBothFaces) {
  Ptr<_Interpret> in = create_interpret();
  ASSERT_TRUE(in);
  SafeArray pr = SafeArray::variants({1, 2}, {1, 2}), y = SafeArray::variants({0, 2});
  pr.set(1, 1, Var(L"Z1"));
  pr.set(1, 2, 4.0);
  y.set(1, 3.0);
  y.set(2, 5.0);
  BSTR text = SysAllocString(L"Z1*Y[1]+Y[2]");
  short ipok = 0;
  Var result;
  ASSERT_EQ(in->Interp(text, &ipok, &pr.get(), &y.get(), result.ptr()), S_OK);
  SysFreeString(text);
  EXPECT_EQ(result.number(), 17.0);
  // Late bound, and the interpreted Newton on texts.
  Ptr<IDispatch> d = create(L"Kor.Interpret");
  SafeArray rov = SafeArray::strings({L"X[1]^2+X[2]^2-Z1", L"X[1]-X[2]"});
  SafeArray x = SafeArray::variants({1, 3}), ipom = SafeArray::variants({1, 2});
  SafeArray z = SafeArray::variants({8, 0, 0, 0, 0, 0, 0, 0, 0, 0});  // Z1..Z10
  Var id;
  Outcome r = invoke(d.get(), L"NewtonI",
                     {byref(rov), byval(2), byval(2), byval(0), byref(x), byref(ipom), byref(z), byref(id), byval(1e-12)});
  ASSERT_EQ(r.hr, S_OK);
  EXPECT_EQ(id.number(), 0.0);
  EXPECT_NEAR(x.number(1), 2, 1e-9);
}

}  // namespace
}  // namespace comtest
