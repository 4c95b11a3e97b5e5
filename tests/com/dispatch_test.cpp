// IDispatch of both classes: names to dispatch identifiers, and the calls
// that Invoke refuses before any method runs.
#include <gtest/gtest.h>

#include <string>

#include "support.hpp"

namespace comtest {
namespace {

std::string narrow(const wchar_t* s) { return std::string(s, s + wcslen(s)); }

TEST(GetIDsOfNames, FindsMethodsWhateverTheCaseOfTheName) {
  const struct {
    const wchar_t* progid;
    const wchar_t* name;
    DISPID id;
  } rows[] = {
      {L"Kor.Korvat", L"Newton", 0x60030000},      {L"Kor.Korvat", L"newton", 0x60030000},
      {L"Kor.Korvat", L"GAUSS", 0x60030001},       {L"Kor.Korvat", L"Polyn", 0x60030008},
      {L"Kor.Korvat", L"LinBairstowd", 0x60030017}, {L"Kor.Korvat", L"splderd", 0x6003001E},
      {L"Kor.Korvat", L"SInterpD", 0x60030021},    {L"Kor.Interpret", L"Interp", 0x60030000},
      {L"Kor.Interpret", L"interp", 0x60030000},   {L"Kor.Interpret", L"NEWTONI", 0x60030005},
      {L"Kor.Interpret", L"FminI", 0x60030007},    {L"Kor.Interpret", L"fmin1i", 0x60030008},
      {L"Kor.Interpret", L"RkmI", 0x60030009},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(narrow(row.progid) + " " + narrow(row.name));
    Ptr<IDispatch> object = create(row.progid);
    ASSERT_TRUE(object);
    HRESULT hr = E_FAIL;
    EXPECT_EQ(dispid(object.get(), row.name, &hr), row.id);
    EXPECT_EQ(hr, S_OK);
  }
}

TEST(GetIDsOfNames, UnknownNamesAreRefused) {
  const struct {
    const wchar_t* progid;
    const wchar_t* name;
  } rows[] = {
      {L"Kor.Korvat", L"Nothing"},   {L"Kor.Korvat", L"Gauss2"},   {L"Kor.Korvat", L"Interp"},
      {L"Kor.Korvat", L"NewtonI"},   {L"Kor.Korvat", L"Gaus"},     {L"Kor.Korvat", L""},
      {L"Kor.Interpret", L"Newton"}, {L"Kor.Interpret", L"Gauss"}, {L"Kor.Interpret", L"InterpI"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(narrow(row.progid) + " " + narrow(row.name));
    Ptr<IDispatch> object = create(row.progid);
    ASSERT_TRUE(object);
    HRESULT hr = S_OK;
    EXPECT_EQ(dispid(object.get(), row.name, &hr), DISPID_UNKNOWN);
    EXPECT_EQ(hr, DISP_E_UNKNOWNNAME);
  }
}

TEST(GetIDsOfNames, RefusesAnInterfaceIdentifierOtherThanNull) {
  Ptr<IDispatch> object = create(L"Kor.Korvat");
  ASSERT_TRUE(object);
  LPOLESTR names[1] = {const_cast<LPOLESTR>(L"Gauss")};
  DISPID id = 0;
  EXPECT_EQ(object->GetIDsOfNames(IID__Korvat, names, 1, LOCALE_USER_DEFAULT, &id), DISP_E_UNKNOWNINTERFACE);
}

// Calls refused by Invoke itself, whatever the method would do.
TEST(Invoke, RefusesCallsThatNoMethodCanTake) {
  const struct {
    const char* what;
    const wchar_t* progid;
    DISPID id;
    UINT args;
    UINT named;
    WORD flags;
    HRESULT expected;
  } rows[] = {
      {"a private procedure's identifier", L"Kor.Korvat", 0x60030007, 0, 0, DISPATCH_METHOD, DISP_E_MEMBERNOTFOUND},
      {"another private gap", L"Kor.Korvat", 0x6003001D, 0, 0, DISPATCH_METHOD, DISP_E_MEMBERNOTFOUND},
      {"past the last method", L"Kor.Korvat", 0x60030022, 0, 0, DISPATCH_METHOD, DISP_E_MEMBERNOTFOUND},
      {"an Interpret gap", L"Kor.Interpret", 0x60030001, 0, 0, DISPATCH_METHOD, DISP_E_MEMBERNOTFOUND},
      {"an Interpret gap", L"Kor.Interpret", 0x60030006, 0, 0, DISPATCH_METHOD, DISP_E_MEMBERNOTFOUND},
      {"Gauss with five arguments", L"Kor.Korvat", 0x60030001, 5, 0, DISPATCH_METHOD, DISP_E_BADPARAMCOUNT},
      {"Rutishauser with seventeen", L"Kor.Korvat", 0x60030009, 17, 0, DISPATCH_METHOD, DISP_E_BADPARAMCOUNT},
      {"Sinterpd with nine", L"Kor.Korvat", 0x60030021, 9, 0, DISPATCH_METHOD, DISP_E_BADPARAMCOUNT},
      {"Interp with five", L"Kor.Interpret", 0x60030000, 5, 0, DISPATCH_METHOD, DISP_E_BADPARAMCOUNT},
      {"RkmI with nine", L"Kor.Interpret", 0x60030009, 9, 0, DISPATCH_METHOD, DISP_E_BADPARAMCOUNT},
      {"a named argument", L"Kor.Korvat", 0x60030001, 4, 1, DISPATCH_METHOD, DISP_E_NONAMEDARGS},
      {"a named argument", L"Kor.Interpret", 0x60030000, 4, 1, DISPATCH_METHOD, DISP_E_NONAMEDARGS},
      {"a property put", L"Kor.Korvat", 0x60030001, 1, 1, DISPATCH_PROPERTYPUT, DISP_E_MEMBERNOTFOUND},
      {"a property get", L"Kor.Korvat", 0x60030008, 0, 0, DISPATCH_PROPERTYGET, DISP_E_MEMBERNOTFOUND},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    Ptr<IDispatch> object = create(row.progid);
    ASSERT_TRUE(object);
    VARIANT args[17];
    for (VARIANT& a : args) {
      a.vt = VT_I2;
      a.iVal = 1;
    }
    DISPID named[1] = {row.flags == DISPATCH_PROPERTYPUT ? DISPID_PROPERTYPUT : 0};
    DISPPARAMS params{args, row.named ? named : nullptr, row.args, row.named};
    Var result;
    EXCEPINFO e{};
    UINT arg_err = 0;
    EXPECT_EQ(object->Invoke(row.id, IID_NULL, LOCALE_USER_DEFAULT, row.flags, &params, result.ptr(), &e, &arg_err),
              row.expected);
    EXPECT_EQ(result.vt(), VT_EMPTY);
  }
}

TEST(Invoke, RefusesAnInterfaceIdentifierOtherThanNull) {
  Ptr<IDispatch> object = create(L"Kor.Korvat");
  ASSERT_TRUE(object);
  DISPPARAMS none{nullptr, nullptr, 0, 0};
  EXPECT_EQ(object->Invoke(0x60030001, IID_IDispatch, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &none, nullptr, nullptr,
                           nullptr),
            DISP_E_UNKNOWNINTERFACE);
}

// A vtable method refuses a null retval pointer itself.
TEST(Vtable, FunctionsRefuseANullReturnPointer) {
  Ptr<_Korvat> k = create_korvat();
  ASSERT_TRUE(k);
  SafeArray a = SafeArray::doubles({1.0, 2.0});
  double x = 2.0;
  VARIANT n = byval(1);
  EXPECT_EQ(k->Polynd(n, &x, &a.get(), nullptr), E_POINTER);
  SafeArray v = SafeArray::variants({1.0, 2.0});
  Var xv(2.0);
  EXPECT_EQ(k->Polyn(n, xv.ptr(), &v.get(), nullptr), E_POINTER);

  Ptr<_Interpret> in = create_interpret();
  ASSERT_TRUE(in);
  short ipok = 0;
  SafeArray pr = SafeArray::variants({1, 1}, {1, 2});
  SafeArray y = SafeArray::variants({1.0});
  BSTR s = SysAllocString(L"1+1");
  EXPECT_EQ(in->Interp(s, &ipok, &pr.get(), &y.get(), nullptr), E_POINTER);
  SysFreeString(s);
}

}  // namespace
}  // namespace comtest
