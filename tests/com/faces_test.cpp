// The two faces of an object carry a call the same way: IDispatch::Invoke
// hands the client's VARIANTs over in declaration order, a dual-vtable method
// wraps its parameters so that whatever the method writes lands in the
// caller's own storage, and a failure reaches either kind of client in its
// own form (EXCEPINFO, or the HRESULT with IErrorInfo).
//
// The numbers are small cases worked out by hand: 2x + y = 5, x + 3y = 10
// has x = 1, y = 3; the inverse of [[4, 7], [2, 6]] is [[0.6, -0.7],
// [-0.2, 0.4]]; 1·3² - 2·3 + 5 = 8.
#include <gtest/gtest.h>

#include <string>

#include "support.hpp"

namespace comtest {
namespace {

void fill_system(SafeArray& a) {
  const double m[2][3] = {{2, 1, 5}, {1, 3, 10}};
  for (LONG r = 1; r <= 2; ++r)
    for (LONG c = 1; c <= 3; ++c) a.set(r, c, m[r - 1][c - 1]);
}

TEST(Faces, GaussWritesTheSolutionIntoTheCallersArrayAndTheStatusThroughItsReference) {
  // Late bound, the array passed directly and the way a script passes it.
  {
    Ptr<IDispatch> k = create(L"Kor.Korvat");
    ASSERT_TRUE(k);
    SafeArray a = SafeArray::variants({1, 2}, {1, 3});
    fill_system(a);
    SAFEARRAY* const same = a.get();
    Var id(7.0);
    Outcome r = invoke(k.get(), L"Gauss", {byval(2), byref(a), byval(1), byref(id)});
    ASSERT_EQ(r.hr, S_OK) << std::hex << r.hr;
    EXPECT_EQ(a.get(), same);
    EXPECT_DOUBLE_EQ(a.number(1, 3), 1.0);
    EXPECT_DOUBLE_EQ(a.number(2, 3), 3.0);
    EXPECT_EQ(id.vt(), VT_I2);
    EXPECT_EQ(id.number(), 0.0);
    EXPECT_EQ(r.result.vt(), VT_EMPTY);
  }
  {
    Ptr<IDispatch> k = create(L"Kor.Korvat");
    ASSERT_TRUE(k);
    SafeArray a = SafeArray::variants({1, 2}, {1, 3});
    fill_system(a);
    Var holder = array_holder(std::move(a));
    Var id;
    Outcome r = invoke(k.get(), L"Gauss", {byval(2), byref_holder(holder), byval(1), byref(id)});
    ASSERT_EQ(r.hr, S_OK) << std::hex << r.hr;
    ArrayArg solved(holder.ptr());
    ASSERT_TRUE(solved.valid());
    EXPECT_DOUBLE_EQ(solved.number(1, 3), 1.0);
    EXPECT_DOUBLE_EQ(solved.number(2, 3), 3.0);
    EXPECT_EQ(id.vt(), VT_I2);
  }
  // Early bound, both flavours.
  {
    Ptr<_Korvat> k = create_korvat();
    ASSERT_TRUE(k);
    SafeArray a = SafeArray::doubles({1, 2}, {1, 3});
    fill_system(a);
    Var id(7.0);
    ASSERT_EQ(k->Gaussd(byval(2), &a.get(), byval(1), id.ptr()), S_OK);
    EXPECT_DOUBLE_EQ(a.number(1, 3), 1.0);
    EXPECT_DOUBLE_EQ(a.number(2, 3), 3.0);
    EXPECT_EQ(id.vt(), VT_I2);
    EXPECT_EQ(id.number(), 0.0);

    SafeArray v = SafeArray::variants({1, 2}, {1, 3});
    fill_system(v);
    Var vid;
    ASSERT_EQ(k->Gauss(byval(2), &v.get(), byval(1), vid.ptr()), S_OK);
    EXPECT_DOUBLE_EQ(v.number(1, 3), 1.0);
    EXPECT_DOUBLE_EQ(v.number(2, 3), 3.0);
    EXPECT_EQ(vid.vt(), VT_I2);
  }
}

TEST(Faces, FunctionResultsComeBackAsTheTypeTheMethodDeclares) {
  Ptr<_Korvat> k = create_korvat();
  ASSERT_TRUE(k);
  // -2 selects the general form a(1)·X² + a(2)·X + a(3).
  SafeArray ad = SafeArray::doubles({1.0, -2.0, 5.0});
  double x = 3.0;
  double value = 0.0;
  ASSERT_EQ(k->Polynd(byval(-2), &x, &ad.get(), &value), S_OK);
  EXPECT_EQ(value, 8.0);
  EXPECT_EQ(x, 3.0);

  SafeArray av = SafeArray::variants({1.0, -2.0, 5.0});
  Var xv(3.0);
  Var result;
  ASSERT_EQ(k->Polyn(byval(-2), xv.ptr(), &av.get(), result.ptr()), S_OK);
  EXPECT_EQ(result.vt(), VT_R8);
  EXPECT_EQ(result.number(), 8.0);

  Ptr<IDispatch> late = k.as<IDispatch>();
  Outcome r = invoke(late.get(), L"Polynd", {byval(-2), byref(x), byref(ad)});
  ASSERT_EQ(r.hr, S_OK);
  EXPECT_EQ(r.result.vt(), VT_R8);
  EXPECT_EQ(r.result.number(), 8.0);
}

TEST(Faces, InterpretTakesTheTextAsBstrAndWritesTheStatusThroughTheShortReference) {
  Ptr<_Interpret> in = create_interpret();
  ASSERT_TRUE(in);
  SafeArray pr = SafeArray::variants({1, 1}, {1, 2});
  pr.set(1, 1, Var(L"A"));
  pr.set(1, 2, 1.5);
  SafeArray y = SafeArray::variants({0.0});
  const struct {
    const wchar_t* text;
    double value;
    bool ok;
    short status;  // ipok after a failed call
  } rows[] = {
      {L"2+3*4", 14.0, true, 0},
      {L"A*4", 6.0, true, 0},
      {L"1 + 2", -9999.0, false, -1},  // a space is refused
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.text, row.text + wcslen(row.text)));
    BSTR s = SysAllocString(row.text);
    short ipok = -2;  // no messages
    Var result;
    EXPECT_EQ(in->Interp(s, &ipok, &pr.get(), &y.get(), result.ptr()), S_OK);
    SysFreeString(s);
    EXPECT_EQ(result.vt(), VT_R8);
    EXPECT_EQ(result.number(), row.value);
    if (row.ok)
      EXPECT_GE(ipok, 0);
    else
      EXPECT_EQ(ipok, row.status);
  }
}

// A matrix whose second pivot, 1E-7, is below the default threshold 1E-6.
void fill_small_pivot(SafeArray& a) {
  a.set(1, 1, 1.0);
  a.set(1, 2, 0.0);
  a.set(2, 1, 0.0);
  a.set(2, 2, 1e-7);
}

TEST(Faces, ANullPointerForAnOptionalReferenceIsAnOmittedArgument) {
  Ptr<_Korvat> k = create_korvat();
  ASSERT_TRUE(k);
  const struct {
    const char* what;
    bool omit;
    double threshold;
    double expected_id;
  } rows[] = {
      {"EP omitted: the default threshold finds the matrix singular", true, 0, 1},
      {"EP 1E-9: the matrix inverts", false, 1e-9, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    SafeArray ap = SafeArray::variants({1, 2}, {1, 2});
    fill_small_pivot(ap);
    SafeArray ainv = SafeArray::variants({1, 2}, {1, 2});
    Var n(2);
    Var id;
    Var ep(row.threshold);
    ASSERT_EQ(k->Invert(n.ptr(), &ap.get(), &ainv.get(), id.ptr(), row.omit ? nullptr : ep.ptr()), S_OK);
    EXPECT_EQ(id.number(), row.expected_id);

    // The same through IDispatch, EP left out or passed.
    Ptr<IDispatch> late = k.as<IDispatch>();
    Var late_id;
    Outcome r = row.omit ? invoke(late.get(), L"Invert", {byref(n), byref(ap), byref(ainv), byref(late_id)})
                         : invoke(late.get(), L"Invert", {byref(n), byref(ap), byref(ainv), byref(late_id), byref(ep)});
    ASSERT_EQ(r.hr, S_OK);
    EXPECT_EQ(late_id.number(), row.expected_id);
  }

  SafeArray ap = SafeArray::variants({1, 2}, {1, 2});
  ap.set(1, 1, 4.0);
  ap.set(1, 2, 7.0);
  ap.set(2, 1, 2.0);
  ap.set(2, 2, 6.0);
  SafeArray ainv = SafeArray::variants({1, 2}, {1, 2});
  Var n(2);
  Var id;
  ASSERT_EQ(k->Invert(n.ptr(), &ap.get(), &ainv.get(), id.ptr(), nullptr), S_OK);
  EXPECT_EQ(id.number(), 0.0);
  const double inverse[2][2] = {{0.6, -0.7}, {-0.2, 0.4}};
  for (LONG r = 1; r <= 2; ++r)
    for (LONG c = 1; c <= 2; ++c) EXPECT_NEAR(ainv.number(r, c), inverse[r - 1][c - 1], 1e-15) << r << "," << c;
  EXPECT_EQ(ap.number(1, 2), 7.0) << "the input stays as it was";
}

TEST(Faces, ARuntimeErrorReachesEachKindOfClientInItsOwnForm) {
  // Rows 2..3: the method's position 1 is outside the caller's bounds (error 9).
  Ptr<_Korvat> k = create_korvat();
  ASSERT_TRUE(k);
  SafeArray a = SafeArray::doubles({2, 3}, {1, 3});
  Var id;
  SetErrorInfo(0, nullptr);
  EXPECT_EQ(k->Gaussd(byval(2), &a.get(), byval(1), id.ptr()), runtime_error(9));
  ErrorInfo early = take_error_info();
  ASSERT_TRUE(early.present);
  EXPECT_TRUE(IsEqualGUID(early.guid, IID__Korvat));
  EXPECT_FALSE(early.description.empty());

  Ptr<IDispatch> late = k.as<IDispatch>();
  Outcome r = invoke(late.get(), L"Gaussd", {byval(2), byref(a), byval(1), byref(id)});
  EXPECT_EQ(r.hr, DISP_E_EXCEPTION);
  EXPECT_EQ(r.scode, runtime_error(9));
  EXPECT_EQ(r.description, early.description);
  EXPECT_EQ(r.source, early.source);

  // A late-bound client that passes no EXCEPINFO finds the error in IErrorInfo.
  VARIANT args[4] = {byref(id), byval(1), byref(a), byval(2)};
  DISPPARAMS params{args, nullptr, 4, 0};
  SetErrorInfo(0, nullptr);
  EXPECT_EQ(late->Invoke(dispid(late.get(), L"Gaussd"), IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &params,
                         nullptr, nullptr, nullptr),
            DISP_E_EXCEPTION);
  ErrorInfo kept = take_error_info();
  ASSERT_TRUE(kept.present);
  EXPECT_EQ(kept.description, early.description);
}

TEST(Faces, AMismatchedArgumentIsNamedInTheOrderTheClientPassedIt) {
  Ptr<IDispatch> k = create(L"Kor.Korvat");
  ASSERT_TRUE(k);
  const DISPID gauss = dispid(k.get(), L"Gauss");
  for (UINT bad = 0; bad < 3; ++bad) {
    SCOPED_TRACE(bad);
    SafeArray a = SafeArray::variants({1, 2}, {1, 3});
    fill_system(a);
    Var id;
    // n and NCOL must be numbers, a must be an array: give each the other kind.
    VARIANT declared[4] = {byval(2), byref(a), byval(1), byref(id)};
    if (bad == 0) declared[0] = byref(a);
    if (bad == 1) declared[1] = byval(2.0);
    if (bad == 2) declared[2] = byref(a);
    VARIANT reversed[4] = {declared[3], declared[2], declared[1], declared[0]};
    DISPPARAMS params{reversed, nullptr, 4, 0};
    UINT arg_err = 99;
    EXPECT_EQ(k->Invoke(gauss, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &params, nullptr, nullptr, &arg_err),
              DISP_E_TYPEMISMATCH);
    // puArgErr indexes rgvarg, which holds the arguments last to first.
    EXPECT_EQ(arg_err, 3 - bad);
  }
}

}  // namespace
}  // namespace comtest
