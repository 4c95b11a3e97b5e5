// Calls as compiled clients make them, through IDispatch::Invoke and through
// the dual vtable: what Invoke refuses, named arguments, the caller's own
// arrays and typed variables written where the method writes them, subtypes
// kept, runtime errors in each client's form, client function objects called
// back, and the message boxes.  The numbers are small cases worked out by hand.
#include <cmath>

#include "support.hpp"

namespace comtest {
namespace {

TEST(Dispatch, RefusesUnknownNamesAndCallsNoMethodTakes) {
  for (auto [progid, name] : {std::pair{L"Kor.Korvat", L"Gaus"}, {L"Kor.Korvat", L"Interp"}, {L"Kor.Interpret", L"Gauss"}}) {
    HRESULT hr = S_OK;
    EXPECT_EQ(std::pair(dispid(create(progid).get(), name, &hr), hr), std::pair(DISPID(DISPID_UNKNOWN), DISP_E_UNKNOWNNAME)) << narrow(name);
  }
  const struct { const wchar_t* progid; DISPID id; UINT args, named; WORD flags; REFIID iid; HRESULT hr; } calls[] = {
      {L"Kor.Korvat", 0x60030007, 0, 0, DISPATCH_METHOD, IID_NULL, DISP_E_MEMBERNOTFOUND},  // a private procedure's
      {L"Kor.Korvat", 0x60030022, 0, 0, DISPATCH_METHOD, IID_NULL, DISP_E_MEMBERNOTFOUND},  // past the last method
      {L"Kor.Interpret", 0x60030001, 0, 0, DISPATCH_METHOD, IID_NULL, DISP_E_MEMBERNOTFOUND},  // a gap
      {L"Kor.Korvat", 0x60030001, 5, 0, DISPATCH_METHOD, IID_NULL, DISP_E_BADPARAMCOUNT},  // Gauss with 5
      {L"Kor.Interpret", 0x60030009, 9, 0, DISPATCH_METHOD, IID_NULL, DISP_E_BADPARAMCOUNT},  // RkmI with 9
      {L"Kor.Korvat", 0x60030001, 1, 1, DISPATCH_PROPERTYPUT, IID_NULL, DISP_E_MEMBERNOTFOUND},
      {L"Kor.Interpret", 0x60030000, 0, 0, DISPATCH_PROPERTYGET, IID_NULL, DISP_E_MEMBERNOTFOUND},
      {L"Kor.Korvat", 0x60030001, 0, 0, DISPATCH_METHOD, IID_IDispatch, DISP_E_UNKNOWNINTERFACE},
  };
  for (const auto& row : calls) {
    std::vector<VARIANT> args(9, val(1));
    DISPID put = DISPID_PROPERTYPUT;
    DISPPARAMS params{args.data(), row.named ? &put : nullptr, row.args, row.named};
    Var result;
    EXPECT_EQ(create(row.progid)->Invoke(row.id, row.iid, 0, row.flags, &params, &result.v, nullptr, nullptr), row.hr)
        << std::hex << row.id;
    EXPECT_EQ(result.v.vt, VT_EMPTY);
  }
}

TEST(Dispatch, PlacesNamedArgumentsByTheParameterNamesAndTheCallbackSeesTheWrites) {
  // VBA's  K.Fmin G, 1, X:=x, itmax:=it  with it = 5: Fmin writes 2000 into it
  // before its first F, and F reads the caller's variable; (x - 1)^2 is least at 1.
  Ptr<IDispatch> k = create(L"Kor.Korvat");
  const wchar_t* names[] = {L"Fmin", L"ITMAX", L"x"};
  DISPID ids[3] = {};
  ASSERT_EQ(k->GetIDsOfNames(IID_NULL, const_cast<LPOLESTR*>(names), 3, 0, ids), S_OK);
  EXPECT_EQ(std::vector<DISPID>(ids + 1, ids + 3), (std::vector<DISPID>{4, 2}));
  Var it(kor::Variant(5));
  std::vector<double> seen;
  Ptr<ClientObject> g = ClientObject::make();
  g->define(L"F", [&](ClientObject::Call& c) { return seen.push_back(it.number()), c.answer(std::pow(c.array(0)(1) - 1, 2)); });
  IDispatch* gd = g.get();
  Array x(VT_VARIANT, {0.0});
  // itmax and X named; then a name past the last parameter, and one also given in order.
  for (std::vector<DISPID> named : {std::vector<DISPID>{4, 2}, {5, 2}, {1, 2}}) {
    const Outcome r = call(Face::late, k.get(), ids[0], {ref(it), ref(x), ref(gd), val(1)}, named);
    EXPECT_EQ(r.hr, named[0] == 4 ? S_OK : DISP_E_PARAMNOTFOUND);
    EXPECT_EQ(r.arg_err, named[0] == 4 ? UINT_MAX : 3u);
  }
  EXPECT_TRUE(!seen.empty() && std::count(seen.begin(), seen.end(), 2000.0) == long(seen.size()));
  EXPECT_EQ(it.v.vt, VT_I2);  // the count of trial steps
  EXPECT_NEAR(x(1), 1, 1E-3);
}

// A value of type vt built by hand: CY counts 1/10000, DATE days from
// 1899-12-30, a Boolean is True for any non-zero, a text is the digits.
Var of(VARTYPE vt, long long x) {
  Var out;
  VARIANT& v = out.v;
  switch (vt) {
    case VT_UI1: v.bVal = BYTE(x); break;
    case VT_I2: v.iVal = SHORT(x); break;
    case VT_I4: v.lVal = LONG(x); break;
    case VT_I8: v.llVal = x; break;
    case VT_R4: v.fltVal = float(x); break;
    case VT_R8: case VT_DATE: v.dblVal = double(x); break;
    case VT_CY: v.cyVal.int64 = x * 10000; break;
    case VT_BOOL: v.boolVal = x ? VARIANT_TRUE : VARIANT_FALSE; break;
    case VT_DECIMAL: v.decVal.sign = BYTE(x < 0 ? DECIMAL_NEG : 0), v.decVal.Lo64 = ULONGLONG(x < 0 ? -x : x); break;
    case VT_BSTR: v.bstrVal = SysAllocString(std::to_wstring(x).c_str()); break;
  }
  v.vt = vt;  // after decVal, whose first field it shares
  return out;
}
// A typed variable of the client's (Dim b As Byte, ...), passed as VT_BYREF | its type.
VARIANT typed(Var& x) { return by(VT_BYREF | x.v.vt, x.v.vt == VT_DECIMAL ? (void*)&x.v.decVal : &x.v.llVal); }
bool same(const Var& a, const Var& b) {
  return a.v.vt == b.v.vt && VarCmp(const_cast<VARIANT*>(&a.v), const_cast<VARIANT*>(&b.v), 0, 0) == VARCMP_EQ;
}

TEST(Variables, OfEveryTypeTakeStatusesConvertedAsTheRuntimeConvertsAndKeepWhatIsOnlyRead) {
  Ptr<IDispatch> k = create(L"Kor.Korvat");
  Ptr<ClientObject> g = ClientObject::make();
  g->define(L"FKT", [](ClientObject::Call& c) { return c.array(3).set(c.array(2)(1), 1), S_OK; });  // y' = y
  IDispatch* gd = g.get();
  for (VARTYPE vt : {VT_UI1, VT_I2, VT_I4, VT_I8, VT_R4, VT_R8, VT_CY, VT_DATE, VT_DECIMAL, VT_BOOL, VT_BSTR}) {
    // Gauss on a singular system (row 2 = 2 * row 1) writes ID = 1.
    Var id = of(vt, 7), star = of(vt, 0), xb(kor::Variant(0.0)), xe(kor::Variant(1.0));
    Array a(VT_R8, {{1, 2, 3}, {2, 4, 6}}), y(VT_VARIANT, {1.0}), zz(VT_VARIANT, {0.0});
    EXPECT_EQ(call(Face::late, k.get(), L"Gaussd", {val(2), ref(a), val(1), typed(id)}).hr, S_OK) << vt;
    EXPECT_TRUE(same(id, of(vt, 1))) << vt;
    // Rkm on y' = y from 0 to 1 with Star = 0 starts with a step of 1E-5 and
    // adapts it: Star = -1, a Single.  A Byte cannot take -1: error 6 at that
    // write, and the Byte keeps its 0.
    const Outcome r = call(Face::late, k.get(), L"Rkm", {ref(gd), val(1), ref(xb), ref(xe), ref(y), val(1E-4), typed(star), ref(zz)});
    EXPECT_EQ(r.scode, vt == VT_UI1 ? runtime_error(6) : 0) << vt;
    EXPECT_TRUE(same(star, of(vt, vt == VT_UI1 ? 0 : -1))) << vt;
    // What a method only reads comes back as it went in: Flagr on three points
    // of y = 2x with M = 3 is exact, 4 at XI = 2 (-2 at True, which is -1).
    Var xi = of(vt, 2);
    Array x(VT_VARIANT, {1, 2, 3}), y2x(VT_VARIANT, {2, 4, 6});
    EXPECT_EQ(call(Face::late, k.get(), L"Flagr", {val(3), ref(x), ref(y2x), typed(xi), val(3)}).result.number(), vt == VT_BOOL ? -2 : 4);
    EXPECT_TRUE(same(xi, of(vt, 2))) << vt;
  }
}

TEST(Faces, SolveInTheCallersOwnArray) {
  for (Face face : kFaces)
    for (VARTYPE element : {VT_VARIANT, VT_R8}) {
      // 2x + y = 5, x + 3y = 10: x = 1, y = 3.
      Array a(element, {{2, 1, 5}, {1, 3, 10}});
      SAFEARRAY* const callers = a.sa;
      Var id(kor::Variant(7.0));
      const Outcome r =
          call(face, create(L"Kor.Korvat").get(), element == VT_R8 ? L"Gaussd" : L"Gauss", {val(2), ref(a), val(1), ref(id)});
      ASSERT_EQ(r.hr, S_OK) << narrow(r.description);
      EXPECT_EQ(std::tuple(r.result.v.vt, a.sa, a(1, 3), a(2, 3)), std::tuple(VARTYPE(VT_EMPTY), callers, 1.0, 3.0));
      EXPECT_TRUE(same(id, of(VT_I2, 0)));
    }
  // Through the vtable, a null pointer for the return value is refused.
  Array d(VT_R8, {1, 2});
  double x = 2;
  EXPECT_EQ(create(L"Kor.Korvat").as<_Korvat>()->Polynd(val(1), &x, &d.sa, nullptr), E_POINTER);
}

TEST(Errors, ReachEachKindOfClientAsTheRuntimeErrorsNumberDescriptionAndSource) {
  // Polynd(n, X, a) on a(1..2): n = -3 reads a(0); 1E300 * 1E300 overflows; a text that holds no number.
  const struct { int number; const wchar_t* description; kor::Variant n; double x; } rows[] = {
      {9, L"Subscript out of range", kor::Variant(-3), 1},
      {6, L"Overflow", kor::Variant(-1), 1e300},
      {13, L"Type mismatch", kor::Variant("two"), 1}};
  for (const auto& row : rows)
    for (Face face : kFaces) {
      Array c(VT_R8, {1e300, 0});
      Var n(row.n);
      double x = row.x;
      const Outcome o = call(face, create(L"Kor.Korvat").get(), L"Polynd", {val(n), ref(x), ref(c)});
      EXPECT_EQ(std::tie(o.hr, o.scode, o.description, o.source),
                std::tuple(DISP_E_EXCEPTION, runtime_error(row.number), std::wstring(row.description), std::wstring(L"Kor.Korvat")));
    }
  // A vtable client gets the error's HRESULT and the interface's IErrorInfo; a
  // late-bound client that passes no EXCEPINFO finds the error there too.
  Ptr<IDispatch> k = create(L"Kor.Korvat");
  Array c(VT_R8, {1, 2});
  double x = 1, result = 0;
  VARIANT polynd[] = {ref(c), ref(x), val(-3)};
  DISPPARAMS params{polynd, nullptr, 3, 0};
  for (bool vtable : {true, false}) {
    SetErrorInfo(0, nullptr);
    EXPECT_EQ(vtable ? k.as<_Korvat>()->Polynd(val(-3), &x, &c.sa, &result)
                     : k->Invoke(dispid(k.get(), L"Polynd"), IID_NULL, 0, DISPATCH_METHOD, &params, nullptr, nullptr, nullptr),
              vtable ? runtime_error(9) : DISP_E_EXCEPTION);
    Ptr<IErrorInfo> info;
    BSTR description = nullptr;
    GUID guid{};
    ASSERT_EQ(GetErrorInfo(0, info.put()), S_OK);
    info->GetDescription(&description), info->GetGUID(&guid);
    EXPECT_TRUE(text(description) == L"Subscript out of range" && IsEqualGUID(guid, IID__Korvat));
    SysFreeString(description);
  }
}

TEST(ClientObjects, AreCalledBackWithTheCallersArraysAndTheirFailuresReachTheCaller) {
  // A compiled client's object gets the arrays of the double flavour as they are.
  Ptr<ClientObject> g = ClientObject::make();
  Array x(VT_R8, {0, 0});
  int forms = 0, callers = 0;
  g->define(L"F", [&](ClientObject::Call& c) {  // 3 + (x1 - 1)^2 + (x2 + 2)^2: 3 at (1, -2)
    const Cells a = c.array(0);
    forms += c.args[0]->vt != (VT_BYREF | VT_ARRAY | VT_R8), callers += a.sa != x.sa;
    return c.answer(3 + (a(1) - 1) * (a(1) - 1) + (a(2) + 2) * (a(2) + 2));
  });
  g->define(L"Fun", [&](ClientObject::Call& c) {  // x1^2 + x2^2 = z(1), x1 = x2: (2, 2) from (1, 3)
    Cells a = c.array(0), r = c.array(1), z = c.array(3);
    forms += c.args[1]->vt != (VT_BYREF | VT_ARRAY | VT_R8);
    return r.set(a(1) * a(1) + a(2) * a(2) - z(1), 1), r.set(a(1) - a(2), 2), S_OK;
  });
  IDispatch* gd = g.get();
  Ptr<IDispatch> k = create(L"Kor.Korvat");
  Var itmax(kor::Variant(short{500})), id(kor::Variant(7.0));
  Outcome r = call(Face::late, k.get(), L"Fmin1d", {ref(gd), val(2), ref(x), val(1e-10), ref(itmax)});
  ASSERT_EQ(r.hr, S_OK) << narrow(r.description);
  EXPECT_TRUE(std::abs(r.result.number() - 3) < 1e-8 && std::abs(x(1) - 1) < 1e-4 && std::abs(x(2) + 2) < 1e-4) << x(1) << " " << x(2);
  EXPECT_TRUE(itmax.number() > 0 && itmax.number() < 500) << "itmax comes back as the number of iterations";
  Array nx(VT_R8, {1, 3}), z(VT_R8, {8}), ipom(VT_VARIANT, {1, 2});
  r = call(Face::vtable, k.get(), L"Newtond", {ref(gd), val(2), val(2), val(0), ref(nx), ref(ipom), ref(z), ref(id), val(1e-12)});
  ASSERT_EQ(r.hr, S_OK) << narrow(r.description);
  EXPECT_TRUE(id.number() == 0 && std::abs(nx(1) - 2) < 1e-9 && std::abs(nx(2) - 2) < 1e-9) << nx(1) << " " << nx(2);
  EXPECT_EQ(forms + callers, 0) << "F and Fun receive the caller's own arrays";
  // A client's failure reaches the caller unchanged, one that fails with a
  // plain HRESULT too (as script objects do), and a client without F is error 438.
  const struct { ClientObject::Member f; SCODE scode; const wchar_t* description; } rows[] = {
      {[](ClientObject::Call& c) { return c.raise(1234, L"the client failed"); }, runtime_error(1234), L"the client failed"},
      {[](ClientObject::Call&) { return runtime_error(5001); }, runtime_error(5001), nullptr},
      {nullptr, runtime_error(438), L"Object doesn't support this property or method"}};
  for (const auto& row : rows)
    for (Face face : kFaces) {
      Ptr<ClientObject> client = ClientObject::make();
      if (row.f) client->define(L"F", row.f);
      IDispatch* cd = client.get();
      Array at(VT_R8, {0});
      const Outcome o = call(face, k.get(), L"Fmind", {ref(cd), val(1), ref(at)});
      EXPECT_EQ(std::tie(o.hr, o.scode), std::tuple(DISP_E_EXCEPTION, row.scode));
      EXPECT_EQ(o.description, row.description ? row.description : o.description);
    }
}

TEST(Messages, AreShownWithTheLibrarysTextsAndTitles) {
  MessageBoxCapture boxes;
  Ptr<IDispatch> k = create(L"Kor.Korvat"), in = create(L"Kor.Interpret");
  // One knot: the double flavour's own text.
  Array x(VT_R8, {0}), y(VT_R8, {0}), y2(VT_R8, {0});
  EXPECT_EQ(call(Face::late, k.get(), L"Splined", {val(1), val(1), ref(x), ref(y), val(0.0), val(0.0), ref(y2)}).hr, S_OK);
  // A leading zero coefficient lowers the degree: x^2 - 3x + 2 has the roots 1 and 2.
  Array c(VT_R8, {0, 1, -3, 2}), xr(VT_R8, {0, 0, 0}), xi(VT_R8, {0, 0, 0});
  EXPECT_EQ(call(Face::vtable, k.get(), L"LinBairstowd", {val(3), ref(c), ref(xr), ref(xi), val(1e-12)}).hr, S_OK);
  EXPECT_NEAR(xr(1) + xr(2), 3, 1e-14);
  // An unknown variable in an interpreted text.
  Array pr(VT_VARIANT, {{0, 0}, {0, 0}}), vy(VT_VARIANT, {0});
  Var text(kor::Variant("2*Q")), ipok(kor::Variant(0));
  EXPECT_EQ(call(Face::late, in.get(), L"Interp", {val(text), ref(ipok), ref(pr), ref(vy)}).result.number(), -9999);
  EXPECT_EQ(boxes.shown, (std::vector<Shown>{
      {L" SPLINED - zadan jen 1 bod!", L"SPLINE", MB_ICONHAND},
      {L"Nulový koeficient u nejvyšší mocniny, stupeň rovnice snížen na 2", L"LINBAIRSTOW", MB_ICONHAND},
      {L"Proměnná Q nenalezena!", L"Interpret", MB_ICONHAND}}));
}

}  // namespace
}  // namespace comtest
