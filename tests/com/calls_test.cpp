// Calls as compiled clients make them, through IDispatch::Invoke and through
// the dual vtable: what Invoke refuses before a method runs, named arguments,
// results written into the caller's own arrays and variables, omitted
// arguments, runtime errors in each client's form, client function objects
// called back through IDispatch and IDispatchEx, and the message boxes.  The
// numbers are small cases worked out by hand.
#include <gtest/gtest.h>

#include <cmath>

#include "support.hpp"

namespace comtest {
namespace {

TEST(Dispatch, RefusesUnknownNamesAndCallsNoMethodTakes) {
  for (const auto& [progid, name] : {std::pair{L"Kor.Korvat", L"Gaus"}, {L"Kor.Korvat", L"Interp"},
                                     {L"Kor.Korvat", L""}, {L"Kor.Interpret", L"Gauss"}}) {
    HRESULT hr = S_OK;
    dispid(create(progid).get(), name, &hr);
    EXPECT_EQ(hr, DISP_E_UNKNOWNNAME) << narrow(name);
  }
  const struct { const char* what; const wchar_t* progid; DISPID id; UINT args, named; WORD flags; HRESULT hr; }
  calls[] = {
      {"a private procedure's identifier", L"Kor.Korvat", 0x60030007, 0, 0, DISPATCH_METHOD, DISP_E_MEMBERNOTFOUND},
      {"past the last method", L"Kor.Korvat", 0x60030022, 0, 0, DISPATCH_METHOD, DISP_E_MEMBERNOTFOUND},
      {"an Interpret gap", L"Kor.Interpret", 0x60030001, 0, 0, DISPATCH_METHOD, DISP_E_MEMBERNOTFOUND},
      {"Gauss with five arguments", L"Kor.Korvat", 0x60030001, 5, 0, DISPATCH_METHOD, DISP_E_BADPARAMCOUNT},
      {"Rutishauser with seventeen", L"Kor.Korvat", 0x60030009, 17, 0, DISPATCH_METHOD, DISP_E_BADPARAMCOUNT},
      {"RkmI with nine", L"Kor.Interpret", 0x60030009, 9, 0, DISPATCH_METHOD, DISP_E_BADPARAMCOUNT},
      {"a position named and given", L"Kor.Korvat", 0x60030001, 4, 1, DISPATCH_METHOD, DISP_E_PARAMNOTFOUND},
      {"a property put", L"Kor.Korvat", 0x60030001, 1, 1, DISPATCH_PROPERTYPUT, DISP_E_MEMBERNOTFOUND},
      {"a property get", L"Kor.Interpret", 0x60030000, 0, 0, DISPATCH_PROPERTYGET, DISP_E_MEMBERNOTFOUND},
  };
  for (const auto& row : calls) {
    VARIANT args[17];
    for (VARIANT& a : args) a = val(1);
    DISPID named[] = {row.flags == DISPATCH_PROPERTYPUT ? DISPID_PROPERTYPUT : 0};
    DISPPARAMS params{args, row.named ? named : nullptr, row.args, row.named};
    Var result;
    EXPECT_EQ(create(row.progid)->Invoke(row.id, IID_NULL, 0, row.flags, &params, &result.v, nullptr, nullptr),
              row.hr) << row.what;
    EXPECT_EQ(result.v.vt, VT_EMPTY) << row.what;
  }
  // Only IID_NULL names the interface of a member.
  Ptr<IDispatch> k = create(L"Kor.Korvat");
  LPOLESTR name[] = {const_cast<LPOLESTR>(L"Gauss")};
  DISPID id = 0;
  DISPPARAMS none{nullptr, nullptr, 0, 0};
  EXPECT_EQ(k->GetIDsOfNames(IID__Korvat, name, 1, 0, &id), DISP_E_UNKNOWNINTERFACE);
  EXPECT_EQ(k->Invoke(0x60030001, IID_IDispatch, 0, DISPATCH_METHOD, &none, nullptr, nullptr, nullptr),
            DISP_E_UNKNOWNINTERFACE);
}

TEST(Dispatch, PlacesNamedArgumentsByTheParameterNamesOfTheTypeLibrary) {
  // Polynd(n, X, a), all three named, in another order: x^2 - 3x + 2 at 3 is 2.
  Ptr<IDispatch> k = create(L"Kor.Korvat");
  const wchar_t* words[] = {L"Polynd", L"a", L"x", L"N"};
  DISPID ids[4] = {};
  ASSERT_EQ(k->GetIDsOfNames(IID_NULL, const_cast<LPOLESTR*>(words), 4, 0, ids), S_OK);
  EXPECT_EQ(std::vector<DISPID>(ids + 1, ids + 4), (std::vector<DISPID>{2, 1, 0}));
  Array c(VT_R8, {1, -3, 2});
  double x = 3;
  VARIANT args[] = {ref(c), ref(x), val(-2)};
  DISPPARAMS params{args, ids + 1, 3, 3};
  Var result;
  EXPECT_EQ(k->Invoke(ids[0], IID_NULL, 0, DISPATCH_METHOD, &params, &result.v, nullptr, nullptr), S_OK);
  EXPECT_EQ(result.number(), 2.0);
}

TEST(Faces, SolveInTheCallersOwnArrayAndWriteTheStatusIntoItsVariable) {
  enum Passing { typed, in_a_variant, integer_status, double_status };
  const struct { const char* what; Face face; const wchar_t* method; VARTYPE element; Passing passing; } rows[] = {
      {"Variant array by reference", Face::late, L"Gauss", VT_VARIANT, typed},
      {"the array in a Variant by reference, as a script passes it", Face::late, L"Gauss", VT_VARIANT, in_a_variant},
      {"double array, status in an Integer variable", Face::late, L"Gaussd", VT_R8, integer_status},
      {"status in a Double variable", Face::late, L"Gaussd", VT_R8, double_status},
      {"Variant array through the vtable", Face::vtable, L"Gauss", VT_VARIANT, typed},
      {"double array through the vtable", Face::vtable, L"Gaussd", VT_R8, typed},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    // 2x + y = 5, x + 3y = 10: x = 1, y = 3.
    Array a(row.element, {{2, 1, 5}, {1, 3, 10}});
    SAFEARRAY* const callers = a.sa;
    Var id(kor::Variant(7.0)), holder;
    short status = 7;
    double real_status = 7;
    VARIANT array = ref(a);
    if (row.passing == in_a_variant) {
      holder.v.vt = VT_ARRAY | VT_VARIANT;
      holder.v.parray = a.sa;
      array = ref(holder);
    }
    Outcome r = call(row.face, create(L"Kor.Korvat").get(), row.method,
                     {val(2), array, val(1), row.passing == integer_status  ? ref(status)
                                             : row.passing == double_status ? ref(real_status)
                                                                            : ref(id)});
    holder.v.vt = VT_EMPTY;  // the array stays a's
    ASSERT_EQ(r.hr, S_OK) << narrow(r.description);
    EXPECT_EQ(r.result.v.vt, VT_EMPTY);
    EXPECT_EQ(a.sa, callers);
    EXPECT_DOUBLE_EQ(a(1, 3), 1.0);
    EXPECT_DOUBLE_EQ(a(2, 3), 3.0);
    const VARIANT written = row.passing == integer_status  ? val(status)
                            : row.passing == double_status ? val(real_status)
                                                           : id.v;
    EXPECT_EQ(written.vt, row.passing == double_status ? VT_R8 : VT_I2);
    EXPECT_EQ(number_of(written), 0.0);
  }
}

TEST(Faces, AnOmittedOptionalArgumentTakesItsDefault) {
  // diag(1, 1E-7): below Invert's default threshold 1E-6 the matrix is
  // singular (ID 1); an omitted EP of Invertd is 0, so it inverts (ID 0).
  const struct { const wchar_t* method; VARTYPE element; bool given; double ep; short id; } rows[] = {
      {L"Invert", VT_VARIANT, false, 0, 1},
      {L"Invert", VT_VARIANT, true, 1e-9, 0},
              {L"Invertd", VT_R8, false, 0, 0},
              {L"Invertd", VT_R8, true, 1e-3, 1}};
  for (Face face : kFaces)
    for (const auto& row : rows) {
      SCOPED_TRACE(std::string(face_name(face)) + " " + narrow(row.method) + (row.given ? " with EP" : " without EP"));
      Array ap(row.element, {{1, 0}, {0, 1e-7}}), ainv(row.element, {{0, 0}, {0, 0}});
      Var n(kor::Variant(2)), id, ep(kor::Variant(row.ep));
      double epd = row.ep;
      const VARIANT last = !row.given ? missing() : row.element == VT_R8 ? ref(epd) : ref(ep);
      Outcome r = call(face, create(L"Kor.Korvat").get(), row.method, {ref(n), ref(ap), ref(ainv), ref(id), last});
      ASSERT_EQ(r.hr, S_OK);
      EXPECT_EQ(id.number(), row.id);
      EXPECT_EQ(ap(2, 2), 1e-7) << "the input is kept";
      EXPECT_TRUE(row.id != 0 || std::abs(ainv(2, 2) - 1e7) < 1e-6) << ainv(2, 2);
    }
}

TEST(Faces, TakeANullPointerAsAnOmittedArgumentAndRefuseItForTheReturnValue) {
  Ptr<_Korvat> k = create(L"Kor.Korvat").as<_Korvat>();
  Ptr<_Interpret> in = create(L"Kor.Interpret").as<_Interpret>();
  Array d(VT_R8, {1, 2}), v(VT_VARIANT, {1, 2}), pr(VT_VARIANT, {{1, 2}}), y(VT_VARIANT, {1});
  double x = 2;
  Var xv(kor::Variant(2.0));
  short ipok = 0;
  BSTR s = SysAllocString(L"1+1");
  EXPECT_EQ(k->Polynd(val(1), &x, &d.sa, nullptr), E_POINTER);
  EXPECT_EQ(k->Polyn(val(1), &xv.v, &v.sa, nullptr), E_POINTER);
  EXPECT_EQ(in->Interp(s, &ipok, &pr.sa, &y.sa, nullptr), E_POINTER);
  SysFreeString(s);
  // diag(1, 1E-7) without EP: singular below the default threshold 1E-6.
  Array ap(VT_VARIANT, {{1, 0}, {0, 1e-7}}), ainv(VT_VARIANT, {{0, 0}, {0, 0}});
  Var n(kor::Variant(2)), id;
  EXPECT_EQ(k->Invert(&n.v, &ap.sa, &ainv.sa, &id.v, nullptr), S_OK);
  EXPECT_EQ(id.number(), 1);
}

TEST(Errors, ReachEachKindOfClientAsTheRuntimeErrorsNumber) {
  using Run = std::function<Outcome(Face, IDispatch*)>;
  const struct { int number; const wchar_t* description; Run run; } rows[] = {
      {9, L"Subscript out of range",  // the system's rows are 2..3, the method reads row 1
       [](Face f, IDispatch* k) {
         Array a(VT_R8, {kor::Bounds{2, 3}, {1, 3}});
         Var id;
         return call(f, k, L"Gaussd", {val(2), ref(a), val(1), ref(id)});
       }},
      {6, L"Overflow",  // 1E300 * 1E300
       [](Face f, IDispatch* k) {
         Array c(VT_R8, {1e300, 0});
         double x = 1e300;
         return call(f, k, L"Polynd", {val(-1), ref(x), ref(c)});
       }},
      {5, L"Invalid procedure call or argument",  // a negative degree
       [](Face f, IDispatch* k) {
         Array c(VT_R8, {1, 2}), xr(VT_R8, {0, 0}), xi(VT_R8, {0, 0});
         return call(f, k, L"LinBairstowd", {val(-1), ref(c), ref(xr), ref(xi), val(1e-12)});
       }},
      {13, L"Type mismatch",  // a text that holds no number
       [](Face f, IDispatch* k) {
         Array c(VT_R8, {1, 2});
         Var n(kor::Variant("two"));
         double x = 1;
         return call(f, k, L"Polynd", {val(n), ref(x), ref(c)});
       }},
  };
  for (const auto& row : rows)
    for (Face face : kFaces) {
      SCOPED_TRACE(std::string(face_name(face)) + " " + std::to_string(row.number));
      const Outcome o = row.run(face, create(L"Kor.Korvat").get());
      EXPECT_EQ(o.hr, DISP_E_EXCEPTION);
      EXPECT_EQ(o.scode, runtime_error(row.number));
      EXPECT_EQ(o.description, row.description);
      EXPECT_EQ(o.source, L"Kor.Korvat");
    }
  // A vtable client gets the error's HRESULT and the interface's IErrorInfo; a
  // late-bound client that passes no EXCEPINFO finds the error there too.
  Ptr<IDispatch> k = create(L"Kor.Korvat");
  Array c(VT_R8, {1, 2});
  double x = 1, result = 0;
  SetErrorInfo(0, nullptr);
  EXPECT_EQ(k.as<_Korvat>()->Polynd(val(-3), &x, &c.sa, &result), runtime_error(9));
  const ErrorInfo e = take_error_info();
  EXPECT_TRUE(IsEqualGUID(e.guid, IID__Korvat));
  EXPECT_EQ(e.description, L"Subscript out of range");
  VARIANT args[] = {ref(c), ref(x), val(-3)};
  DISPPARAMS params{args, nullptr, 3, 0};
  EXPECT_EQ(k->Invoke(dispid(k.get(), L"Polynd"), IID_NULL, 0, DISPATCH_METHOD, &params, nullptr, nullptr, nullptr),
            DISP_E_EXCEPTION);
  EXPECT_EQ(take_error_info().description, L"Subscript out of range");
}

TEST(Errors, AnArgumentOfTheWrongKindIsRefusedOnEntryOrWhereItIsFirstUsed) {
  // Arrays and typed doubles are checked on entry, naming the argument; a
  // Variant scalar is read where the method first uses it (error 13).
  const struct { const wchar_t* method; UINT position; HRESULT hr; } rows[] = {
      {L"Gauss", 1, DISP_E_TYPEMISMATCH},
      {L"Gaussd", 1, DISP_E_TYPEMISMATCH},
              {L"Flagrd", 3, DISP_E_TYPEMISMATCH},
              {L"Gauss", 0, DISP_E_EXCEPTION}};
  for (const auto& row : rows) {
    const std::wstring method = row.method;
    SCOPED_TRACE(narrow(method) + " " + std::to_string(row.position));
    Array a(VT_VARIANT, {{2, 1, 5}, {1, 3, 10}}), xs(VT_R8, {1, 2}), ys(VT_R8, {1, 4});
    Var id, text(kor::Variant("abc"));
    std::vector<VARIANT> args = {val(2), ref(a), val(1), ref(id)};
    if (method == L"Flagrd") args = {val(2), ref(xs), ref(ys), val(1.5)};
    // A number where the array belongs, a Variant array for the double flavour,
    // a text for a double, the array where the count belongs.
    if (method != L"Gaussd") args[row.position] = row.position == 1 ? val(2) : row.position == 3 ? val(text) : ref(a);
    Outcome r = call(Face::late, create(L"Kor.Korvat").get(), row.method, args);
    EXPECT_EQ(r.hr, row.hr);
    EXPECT_EQ(r.arg_err, row.hr == DISP_E_TYPEMISMATCH ? row.position : UINT_MAX);
    EXPECT_EQ(r.scode, row.hr == DISP_E_EXCEPTION ? runtime_error(13) : 0);
    EXPECT_EQ(a(1, 3), 5.0) << "nothing solved";
  }
}

TEST(ClientObjects, AreCalledBackWithTheCallersArraysAndTheirWritesAreRead) {
  for (bool script_like : {false, true}) {
    SCOPED_TRACE(script_like ? "through IDispatchEx" : "through IDispatch");
    // A script object receives every array as a Variant by reference that holds it.
    const VARTYPE expected = script_like ? VT_BYREF | VT_VARIANT : VT_BYREF | VT_ARRAY | VT_R8;
    Ptr<ClientObject> g = ClientObject::make(script_like);
    Array x(VT_R8, {0, 0});
    int forms = 0, callers = 0, calls = 0;
    g->define(L"F", [&](ClientObject::Call& c) {  // 3 + (x1 - 1)^2 + (x2 + 2)^2: 3 at (1, -2)
      const Cells a = c.array(0);
      ++calls;
      forms += c.args[0]->vt != expected;
      callers += a.sa != x.sa;
      return c.answer(3 + (a(1) - 1) * (a(1) - 1) + (a(2) + 2) * (a(2) + 2));
    });
    g->define(L"Fun", [&](ClientObject::Call& c) {  // x1^2 + x2^2 = z(1), x1 = x2: (2, 2) from (1, 3)
      Cells a = c.array(0), r = c.array(1), z = c.array(3);
      forms += c.args[1]->vt != expected;
      r.set(1, a(1) * a(1) + a(2) * a(2) - z(1));
      r.set(2, a(1) - a(2));
      return S_OK;
    });
    g->define(L"FKT", [&](ClientObject::Call& c) {  // y' = y
      c.array(3).set(1, c.array(2)(1));
      return S_OK;
    });
    IDispatch* gd = g.get();
    Ptr<IDispatch> k = create(L"Kor.Korvat");

    Var itmax(kor::Variant(short{500}));
    Outcome r = call(Face::late, k.get(), L"Fmin1d", {ref(gd), val(2), ref(x), val(1e-10), ref(itmax)});
    ASSERT_EQ(r.hr, S_OK) << narrow(r.description);
    EXPECT_NEAR(r.result.number(), 3, 1e-8);
    EXPECT_NEAR(x(1), 1, 1e-4);
    EXPECT_NEAR(x(2), -2, 1e-4);
    EXPECT_EQ(callers, 0) << "F receives the caller's own array";
    EXPECT_GT(calls, 10);
    EXPECT_GT(itmax.number(), 0) << "itmax comes back as the number of iterations";
    EXPECT_LT(itmax.number(), 500) << "itmax comes back as the number of iterations";

    Array nx(VT_R8, {1, 3}), z(VT_R8, {8}), ipom(VT_VARIANT, {1, 2});
    Var id(kor::Variant(7.0));
    r = call(Face::vtable, k.get(), L"Newtond",
             {ref(gd), val(2), val(2), val(0), ref(nx), ref(ipom), ref(z), ref(id), val(1e-12)});
    ASSERT_EQ(r.hr, S_OK) << narrow(r.description);
    EXPECT_EQ(id.number(), 0);
    EXPECT_NEAR(nx(1), 2, 1e-9);
    EXPECT_NEAR(nx(2), 2, 1e-9);

    // From 0 to 1, then on from 1 to 2 with the same object: e and e^2.
    Array y(VT_R8, {1}), zz(VT_R8, {0});
    double xb = 0, xe = 1;
    Var star(kor::Variant(short{0}));
    for (double end : {1.0, 2.0}) {
      xe = end;
      r = call(Face::late, k.get(), L"Rkmd",
               {ref(gd), val(1), ref(xb), ref(xe), ref(y), val(1e-8), ref(star), ref(zz)});
      ASSERT_EQ(r.hr, S_OK) << narrow(r.description);
      EXPECT_NEAR(y(1), std::exp(end), 1e-5);
      EXPECT_NEAR(xb, end, 1e-12);
    }
    EXPECT_EQ(forms, 0) << "arrays in the form " << expected;
  }
}

TEST(ClientObjects, TheirFailuresReachTheCallerUnchanged) {
  const wchar_t* const no_member = L"Object doesn't support this property or method";
  const struct {
    bool script_like;
    ClientObject::Member f;  // null: the object has no F
    SCODE scode;
    const wchar_t* description;
  } rows[] = {
      {false, [](ClientObject::Call& c) { return c.raise(1234, L"the client failed"); }, runtime_error(1234),
       L"the client failed"},
      // A script object's error comes back as a plain HRESULT.
      {true, [](ClientObject::Call&) { return runtime_error(5001); }, runtime_error(5001), nullptr},
      {false, nullptr, runtime_error(438), no_member},
      {true, nullptr, runtime_error(438), no_member},
  };
  for (const auto& row : rows)
    for (Face face : kFaces) {
      SCOPED_TRACE(std::string(face_name(face)) + " " + std::to_string(row.scode));
      Ptr<ClientObject> g = ClientObject::make(row.script_like);
      if (row.f) g->define(L"F", row.f);
      IDispatch* gd = g.get();
      Array x(VT_R8, {0});
      Outcome r = call(face, create(L"Kor.Korvat").get(), L"Fmind", {ref(gd), val(1), ref(x)});
      EXPECT_EQ(r.hr, DISP_E_EXCEPTION);
      EXPECT_EQ(r.scode, row.scode);
      EXPECT_EQ(r.description, row.description ? row.description : r.description);
    }
}

TEST(Messages, AreShownWithTheLibrarysTextsAndTitles) {
  MessageBoxCapture boxes;
  Ptr<IDispatch> k = create(L"Kor.Korvat"), in = create(L"Kor.Interpret");
  // One knot: the double flavour's own text.
  Array x(VT_R8, {0}), y(VT_R8, {0}), y2(VT_R8, {0});
  EXPECT_EQ(call(Face::late, k.get(), L"Splined", {val(1), val(1), ref(x), ref(y), val(0.0), val(0.0), ref(y2)}).hr,
            S_OK);
  // A leading zero coefficient lowers the degree: x^2 - 3x + 2 has the roots 1 and 2.
  Array c(VT_R8, {0, 1, -3, 2}), xr(VT_R8, {0, 0, 0}), xi(VT_R8, {0, 0, 0});
  EXPECT_EQ(call(Face::vtable, k.get(), L"LinBairstowd", {val(3), ref(c), ref(xr), ref(xi), val(1e-12)}).hr, S_OK);
  EXPECT_NEAR(xr(1) + xr(2), 3, 1e-14);
  // An unknown variable in an interpreted text.
  Array pr(VT_VARIANT, {{0, 0}, {0, 0}}), vy(VT_VARIANT, {0});
  Var text(kor::Variant("2*Q"));
  short ipok = 0;
  EXPECT_EQ(call(Face::late, in.get(), L"Interp", {val(text), ref(ipok), ref(pr), ref(vy)}).result.number(), -9999);
  const std::vector<Shown> expected = {
      {L" SPLINED - zadan jen 1 bod!", L"SPLINE", MB_ICONHAND},
      {L"Nulový koeficient u nejvyšší mocniny, stupeň rovnice snížen na 2", L"LINBAIRSTOW", MB_ICONHAND},
      {L"Proměnná Q nenalezena!", L"Interpret", MB_ICONHAND},
  };
  EXPECT_EQ(boxes.shown, expected);
}

TEST(Interpret, ReadsTheTextAndTheCallersTablesAndWritesTheStatus) {
  const struct {
    const char* text;
    double value;
    bool ok;  // else ipok is -1 after the call (from -2: no messages)
  } rows[] = {{"2+3*4", 14, true}, {"Z1*Y[1]+Y[2]", 17, true}, {"1 + 2", -9999, false}};
  for (Face face : kFaces)
    for (const auto& row : rows) {
      SCOPED_TRACE(std::string(face_name(face)) + " " + row.text);
      Array pr(VT_VARIANT, {{0, 0}, {0, 0}}), y(VT_VARIANT, {3, 5});
      pr.set(1, 1, "Z1");
      pr.set(1, 2, 4.0);
      Var text(kor::Variant(row.text));
      short ipok = -2;
      Outcome r = call(face, create(L"Kor.Interpret").get(), L"Interp", {val(text), ref(ipok), ref(pr), ref(y)});
      ASSERT_EQ(r.hr, S_OK);
      EXPECT_EQ(r.result.number(), row.value);
      EXPECT_TRUE(row.ok ? ipok >= 0 : ipok == -1) << ipok;
    }
  // The interpreted Newton on an array of texts: x1^2 + x2^2 = Z1 = 8, x1 = x2.
  Array rov({L"X[1]^2+X[2]^2-Z1", L"X[1]-X[2]"}), x(VT_VARIANT, {1, 3}), ipom(VT_VARIANT, {1, 2}),
      z(VT_VARIANT, {8, 0, 0, 0, 0, 0, 0, 0, 0, 0});
  Var id;
  Outcome r = call(Face::late, create(L"Kor.Interpret").get(), L"NewtonI",
                   {ref(rov), val(2), val(2), val(0), ref(x), ref(ipom), ref(z), ref(id), val(1e-12)});
  ASSERT_EQ(r.hr, S_OK);
  EXPECT_EQ(id.number(), 0);
  EXPECT_NEAR(x(1), 2, 1e-9);
}

}  // namespace
}  // namespace comtest
