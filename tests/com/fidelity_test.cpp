// The caller's variables as the methods see them through IDispatch: statuses
// land in typed variables converted by the runtime's rules, what a method
// only reads comes back as it went in, objects count by their default member,
// named arguments, G = Nothing, and which arrays a callback may re-dimension.
// Every expected value is worked out by hand beside its case.
#include <gtest/gtest.h>

#include "support.hpp"

namespace comtest {
namespace {

// A value of type vt built by hand: CY counts 1/10000, DATE days from
// 1899-12-30, a Boolean is True for any non-zero, a text is the digits.
VARIANT of(VARTYPE vt, long long x) {
  VARIANT v{};
  switch (vt) {
    case VT_UI1: v.bVal = static_cast<BYTE>(x); break;
    case VT_I2: v.iVal = static_cast<SHORT>(x); break;
    case VT_I4: v.lVal = static_cast<LONG>(x); break;
    case VT_I8: v.llVal = x; break;
    case VT_R4: v.fltVal = static_cast<float>(x); break;
    case VT_R8: v.dblVal = static_cast<double>(x); break;
    case VT_CY: v.cyVal.int64 = x * 10000; break;
    case VT_DATE: v.date = static_cast<double>(x); break;
    case VT_BOOL: v.boolVal = x ? VARIANT_TRUE : VARIANT_FALSE; break;
    case VT_DECIMAL:
      v.decVal.sign = static_cast<BYTE>(x < 0 ? DECIMAL_NEG : 0);
      v.decVal.Lo64 = static_cast<ULONGLONG>(x < 0 ? -x : x);
      break;
    case VT_BSTR: v.bstrVal = SysAllocString(std::to_wstring(x).c_str()); break;
  }
  v.vt = vt;  // after decVal, whose first field it shares
  return v;
}

// A typed variable of the client's (Dim b As Byte, ...): the union of a
// VARIANT, passed as VT_BYREF | vt; value() reads it back as a Variant.
struct Typed {
  Var store;
  explicit Typed(VARIANT initial) { store.v = initial; }
  VARIANT arg() {
    VARIANT v;
    v.vt = VT_BYREF | store.v.vt;
    v.byref = store.v.vt == VT_DECIMAL ? static_cast<void*>(&store.v.decVal) : static_cast<void*>(&store.v.llVal);
    return v;
  }
  bool holds(const VARIANT& want) {
    return store.v.vt == want.vt && VarCmp(&store.v, const_cast<VARIANT*>(&want), LOCALE_USER_DEFAULT, 0) == VARCMP_EQ;
  }
};

const VARTYPE kTypes[] = {VT_UI1, VT_I2, VT_I4, VT_I8, VT_R4, VT_R8, VT_CY, VT_DATE, VT_DECIMAL, VT_BOOL, VT_BSTR};

VARIANT holding(VARTYPE vt, void* p) {
  VARIANT v;
  v.vt = vt;
  v.byref = p;  // the union's pointer: parray, pdispVal or pvarVal
  return v;
}

TEST(Fidelity, StatusesLandInVariablesOfEveryTypeConvertedAsTheRuntimeConverts) {
  Ptr<IDispatch> k = create(L"Kor.Korvat");
  // Gauss on a singular system (row 2 = 2 * row 1) writes ID = 1.
  for (VARTYPE vt : kTypes) {
    Typed id(of(vt, 7));
    Array a(VT_R8, {{1, 2, 3}, {2, 4, 6}});
    EXPECT_EQ(call(Face::late, k.get(), L"Gaussd", {val(2), ref(a), val(1), id.arg()}).hr, S_OK) << vt;
    Var want;
    want.v = of(vt, 1);
    EXPECT_TRUE(id.holds(want.v)) << vt;
  }
  // Rkm on y' = y from 0 to 1 with Star = 0 starts with a step of 1E-5 and
  // adapts it: Star = -1, a Single.  A Byte cannot take -1: error 6 at that
  // write, and the Byte keeps its 0.
  for (VARTYPE vt : kTypes) {
    Typed star(of(vt, 0));
    Ptr<ClientObject> g = ClientObject::make();
    g->define(L"FKT", [](ClientObject::Call& c) {
      c.array(3).set(1, c.array(2)(1));
      return S_OK;
    });
    IDispatch* gd = g.get();
    Array y(VT_VARIANT, {1.0}), zz(VT_VARIANT, {0.0});
    Var xb(kor::Variant(0.0)), xe(kor::Variant(1.0));
    const Outcome r = call(Face::late, create(L"Kor.Korvat").get(), L"Rkm",
                           {ref(gd), val(1), ref(xb), ref(xe), ref(y), val(1E-4), star.arg(), ref(zz)});
    EXPECT_EQ(r.scode, vt == VT_UI1 ? runtime_error(6) : 0) << vt;
    Var want;
    want.v = of(vt, vt == VT_UI1 ? 0 : -1);
    EXPECT_TRUE(star.holds(want.v)) << vt;
  }
  // A Variant is overwritten with the Integer 1 whatever it held; one that
  // holds the array Gauss works on (locked) keeps it: error 10.
  Array held(VT_VARIANT, {1.0});
  Ptr<ClientObject> object = ClientObject::make();
  object->AddRef();
  VARIANT error_value = holding(VT_ERROR, nullptr);
  error_value.scode = 5;
  for (VARIANT before : {holding(VT_ARRAY | VT_VARIANT, std::exchange(held.sa, nullptr)),
                         holding(VT_DISPATCH, object.get()), error_value}) {
    Var id;
    id.v = before;
    Array a(VT_VARIANT, {{1, 2, 3}, {2, 4, 6}});
    EXPECT_EQ(call(Face::late, k.get(), L"Gauss", {val(2), ref(a), val(1), ref(id)}).hr, S_OK) << before.vt;
    EXPECT_EQ(id.v.vt, VT_I2) << before.vt;
    EXPECT_EQ(id.number(), 1) << before.vt;
  }
  Array a(VT_R8, {{1, 2, 3}, {2, 4, 6}});
  VARIANT same_array = holding(VT_ARRAY | VT_R8, a.sa);
  const Outcome r = call(Face::late, k.get(), L"Gaussd", {val(2), ref(a), val(1), holding(VT_BYREF | VT_VARIANT, &same_array)});
  EXPECT_EQ(r.scode, runtime_error(10));
  EXPECT_EQ(r.description, L"This array is fixed or temporarily locked");
  EXPECT_EQ(same_array.vt, VT_ARRAY | VT_R8);
}

TEST(Fidelity, WhatTheMethodOnlyReadsComesBackAsItWentIn) {
  // Flagr on three points of y = 2x with M = 3: the value at 2.5 is 5
  // exactly (-0.25 + 3 + 2.25).  XI is read where it is used, an object
  // through its default member.
  Ptr<ClientObject> cell = ClientObject::make(), plain = ClientObject::make();
  cell->define(L"", [](ClientObject::Call& c) { return c.answer(2.5); });
  plain->define(L"F", [](ClientObject::Call& c) { return c.answer(2.5); });
  VARIANT decimal = of(VT_DECIMAL, 25), currency = of(VT_CY, 0);
  decimal.decVal.scale = 1;
  currency.cyVal.int64 = 25000;
  const struct {
    const char* what;
    VARIANT xi;
    SCODE scode;
  } rows[] = {
      {"a Currency 2.5", currency, 0},
      {"a Decimal 2.5", decimal, 0},
      {"a text", holding(VT_BSTR, SysAllocString(L"2.5")), 0},
      {"an object with a default member", holding(VT_DISPATCH, cell.get()), 0},
      {"an object without one", holding(VT_DISPATCH, plain.get()), runtime_error(438)},
  };
  for (const auto& row : rows) {
    if (row.xi.vt == VT_DISPATCH) row.xi.pdispVal->AddRef();
    Var xi, before;
    xi.v = row.xi;
    before = xi;
    Array x(VT_VARIANT, {1, 2, 3}), y(VT_VARIANT, {2, 4, 6});
    const Outcome r = call(Face::late, create(L"Kor.Korvat").get(), L"Flagr", {val(3), ref(x), ref(y), ref(xi), val(3)});
    EXPECT_EQ(r.scode, row.scode) << row.what;
    EXPECT_EQ(r.result.number(), row.scode ? 0 : 5) << row.what;
    EXPECT_EQ(xi.v.vt, before.v.vt) << row.what;
    if (xi.v.vt == VT_DISPATCH) {
      EXPECT_EQ(xi.v.pdispVal, before.v.pdispVal) << row.what;
    } else {
      EXPECT_EQ(VarCmp(&xi.v, &before.v, LOCALE_USER_DEFAULT, 0), VARCMP_EQ) << row.what;
    }
  }
  // A Currency variable of the client's own type, by reference.
  Typed cy(currency);
  Array x(VT_VARIANT, {1, 2, 3}), y(VT_VARIANT, {2, 4, 6});
  const Outcome r = call(Face::late, create(L"Kor.Korvat").get(), L"Flagr", {val(3), ref(x), ref(y), cy.arg(), val(3)});
  EXPECT_EQ(r.result.number(), 5);
  EXPECT_EQ(cy.store.v.cyVal.int64, 25000);
}

TEST(Fidelity, NamedArgumentsAndTheWritesACallbackSees) {
  // VBA's  K.Fmin G, 1, X, itmax:=it  with it = 5: Fmin writes 2000 into it
  // before its first F, and F reads the caller's variable.
  Ptr<IDispatch> k = create(L"Kor.Korvat");
  LPOLESTR names[] = {const_cast<LPOLESTR>(L"Fmin"), const_cast<LPOLESTR>(L"ITMAX")};
  DISPID ids[2] = {};
  ASSERT_EQ(k->GetIDsOfNames(IID_NULL, names, 2, 0, ids), S_OK);
  EXPECT_EQ(ids[1], 4);  // the fifth parameter
  Var it(kor::Variant(5));
  std::vector<double> seen;
  Ptr<ClientObject> g = ClientObject::make();
  g->define(L"F", [&](ClientObject::Call& c) {
    seen.push_back(it.number());
    const double d = c.array(0)(1) - 1;
    return c.answer(d * d);
  });
  IDispatch* gd = g.get();
  Array x(VT_VARIANT, {0.0});
  // Named positions: itmax; one past the last; one also given in order.
  for (DISPID named : {4, 5, 2}) {
    VARIANT args[] = {ref(it), ref(x), val(1), ref(gd)};  // last to first, the named one first
    DISPPARAMS params{args, &named, 4, 1};
    Var result;
    UINT arg_err = 99;
    EXPECT_EQ(k->Invoke(ids[0], IID_NULL, 0, DISPATCH_METHOD, &params, &result.v, nullptr, &arg_err),
              named == 4 ? S_OK : DISP_E_PARAMNOTFOUND);
    EXPECT_EQ(arg_err, named == 4 ? 99u : 0u);
  }
  ASSERT_FALSE(seen.empty());
  for (double s : seen) EXPECT_EQ(s, 2000);
  EXPECT_EQ(it.v.vt, VT_I2);  // the count of trial steps
  EXPECT_NEAR(x(1), 1, 1E-3);
}

TEST(Fidelity, CallbacksMeetNothingAndArraysAsTheRuntimeHasThem) {
  // Newton writes ID = 0, then calls Fun: with G = Nothing, error 91 there.
  for (Face face : kFaces) {
    IDispatch* nothing = nullptr;
    Var id(kor::Variant("unset"));
    Array x(VT_VARIANT, {1.0}), ipom(VT_VARIANT, {1.0}), z(VT_VARIANT, {0.0});
    const Outcome r = call(face, create(L"Kor.Korvat").get(), L"Newton",
                           {ref(nothing), val(1), val(1), val(0), ref(x), ref(ipom), ref(z), ref(id)});
    EXPECT_EQ(r.scode, runtime_error(91)) << face_name(face);
    EXPECT_EQ(r.description, L"Object variable or With block variable not set") << face_name(face);
    EXPECT_EQ(id.v.vt, VT_I2) << face_name(face);
    EXPECT_EQ(id.number(), 0) << face_name(face);
  }
  // Newton on x^2 = 4 from 1.  z reaches Fun as the caller's own reference,
  // unlocked: Fun re-dimensions it to 0..5.  X is Newton's own while it
  // runs: locked, and an X that Fun replaces by a new array is error 10.
  for (bool replace_x : {false, true}) {
    HRESULT redim_z = E_FAIL, redim_x = E_FAIL;
    Ptr<ClientObject> g = ClientObject::make();
    g->define(L"Fun", [&](ClientObject::Call& c) {
      Cells x = c.array(0);
      c.array(1).set(1, x(1) * x(1) - 4);
      SAFEARRAYBOUND b{6, 0};
      redim_z = SafeArrayRedim(*c.args[3]->pparray, &b);
      redim_x = SafeArrayRedim(x.sa, &b);
      if (replace_x) *c.args[0]->pparray = SafeArrayCreateVector(VT_VARIANT, 1, 1);
      return S_OK;
    });
    IDispatch* gd = g.get();
    Var id;
    Array x(VT_VARIANT, {1.0}), ipom(VT_VARIANT, {1.0}), z(VT_VARIANT, {0.0});
    SAFEARRAY* own_x = x.sa;
    const Outcome r = call(Face::late, create(L"Kor.Korvat").get(), L"Newton",
                           {ref(gd), val(1), val(1), val(0), ref(x), ref(ipom), ref(z), ref(id)});
    LONG upper = 0;
    SafeArrayGetUBound(z.sa, 1, &upper);
    EXPECT_EQ(redim_z, S_OK);
    EXPECT_EQ(upper, 5);
    EXPECT_EQ(redim_x, DISP_E_ARRAYISLOCKED);
    EXPECT_EQ(r.scode, replace_x ? runtime_error(10) : 0);
    EXPECT_EQ(x.sa, own_x);
    EXPECT_NEAR(x(1), replace_x ? 1 : 2, 1E-4);
  }
  // Gauss with n = 0 never reads NCOL: an array there does no harm; with n = 1 it is error 13.
  for (int n : {0, 1}) {
    Array a(VT_VARIANT, {{2, 4}}), ncol(VT_VARIANT, {1.0});
    Var id, ncol_value;
    ncol_value.v = holding(VT_ARRAY | VT_VARIANT, std::exchange(ncol.sa, nullptr));
    const Outcome r = call(Face::late, create(L"Kor.Korvat").get(), L"Gauss", {val(n), ref(a), val(ncol_value), ref(id)});
    EXPECT_EQ(r.scode, n ? runtime_error(13) : 0) << n;
  }
}

}  // namespace
}  // namespace comtest
