// The test support itself: the message box capture patches the very import
// slot through which kor.dll calls MessageBoxW, the client object delivers
// its arguments in declaration order, and the array helpers lay elements out
// as the platform does.
#include <gtest/gtest.h>

#include <string>

#include "support.hpp"

namespace comtest {
namespace {

TEST(ImportSlot, FindsImportsOfKorDllAndNothingElse) {
  HMODULE kor = LoadLibraryW(kor_dll_path().c_str());
  ASSERT_NE(kor, nullptr);
  const struct {
    const char* dll;
    const char* function;
    bool found;
  } rows[] = {
      {"user32.dll", "MessageBoxW", true},   {"USER32.DLL", "MessageBoxW", true},
      {"oleaut32.dll", "VariantInit", true}, {"user32.dll", "MessageBoxA", false},
      {"user32.dll", "MessageBoxw", false},  {"gdi32.dll", "TextOutW", false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.dll) + "!" + row.function);
    void** slot = import_slot(kor, row.dll, row.function);
    EXPECT_EQ(slot != nullptr, row.found);
    if (slot) {
      // The slot holds the address the loader resolved for the import.
      HMODULE dll = GetModuleHandleA(row.dll);
      ASSERT_NE(dll, nullptr);
      EXPECT_EQ(*slot, reinterpret_cast<void*>(GetProcAddress(dll, row.function)));
    }
  }
  FreeLibrary(kor);
}

TEST(MessageBoxCapture, RecordsWhatIsCalledThroughKorDllsSlotAndRestoresIt) {
  HMODULE kor = LoadLibraryW(kor_dll_path().c_str());
  ASSERT_NE(kor, nullptr);
  void** slot = import_slot(kor, "user32.dll", "MessageBoxW");
  ASSERT_NE(slot, nullptr);
  void* const original = *slot;
  {
    MessageBoxCapture boxes;
    ASSERT_TRUE(boxes.installed());
    EXPECT_EQ(boxes.slot(), slot);
    EXPECT_EQ(boxes.original(), original);
    EXPECT_NE(*slot, original);
    // A call as kor.dll makes it: through its import slot.
    auto message_box = reinterpret_cast<decltype(&MessageBoxW)>(*slot);
    EXPECT_EQ(message_box(nullptr, L"Chyba ve výrazu\rdruhý řádek", L"Interpret", MB_ICONSTOP | MB_OK), IDOK);
    EXPECT_EQ(message_box(nullptr, L"Překročen počet iterací", L"FMIN", MB_ICONEXCLAMATION | MB_OK), IDOK);
    const std::vector<ShownMessage> expected = {
        {L"Chyba ve výrazu\rdruhý řádek", L"Interpret", 16},
        {L"Překročen počet iterací", L"FMIN", 48},
    };
    EXPECT_EQ(boxes.messages(), expected);
    boxes.clear();
    EXPECT_TRUE(boxes.messages().empty());
  }
  EXPECT_EQ(*slot, original);
  FreeLibrary(kor);
}

TEST(ClientObject, FindsMembersWhateverTheCaseAndCallsThemWithArgumentsInDeclarationOrder) {
  Ptr<ClientObject> g = ClientObject::make();
  std::vector<double> seen;
  g->define(L"Fun", [&](ClientObject::Call& c) {
    for (VARIANT* a : c.args) seen.push_back(number(a));
    return S_OK;
  });
  g->define(L"F", [](ClientObject::Call& c) {
    ArrayArg x(c.args[0]);
    return c.set_result(x.number(1) * 10 + x.number(2));
  });
  g->define(L"FKT", [](ClientObject::Call& c) { return c.raise(11, L"Division by zero"); });

  HRESULT hr = E_FAIL;
  EXPECT_EQ(dispid(g.get(), L"FUN", &hr), 1);
  EXPECT_EQ(dispid(g.get(), L"f", &hr), 2);
  EXPECT_EQ(dispid(g.get(), L"fkt", &hr), 3);
  EXPECT_EQ(dispid(g.get(), L"G", &hr), DISPID_UNKNOWN);
  EXPECT_EQ(hr, DISP_E_UNKNOWNNAME);

  double d = 3;
  Var v(4.0);
  Outcome fun = invoke(g.get(), L"Fun", {byval(1), byval(2.5), byref(d), byref(v)}, DISPATCH_METHOD);
  EXPECT_EQ(fun.hr, S_OK);
  EXPECT_EQ(seen, (std::vector<double>{1, 2.5, 3, 4}));

  SafeArray x = SafeArray::doubles({7.0, 3.0});
  Outcome f = invoke(g.get(), L"F", {byref(x)});
  EXPECT_EQ(f.hr, S_OK);
  EXPECT_EQ(f.result.vt(), VT_R8);
  EXPECT_EQ(f.result.number(), 73.0);

  Outcome fkt = invoke(g.get(), L"FKT", {});
  EXPECT_EQ(fkt.hr, DISP_E_EXCEPTION);
  EXPECT_EQ(fkt.scode, runtime_error(11));
  EXPECT_EQ(fkt.description, L"Division by zero");

  EXPECT_EQ(g->calls(L"fun"), 1);
  EXPECT_EQ(g->calls(L"F"), 1);
  EXPECT_EQ(g->calls(L"FKT"), 1);
  EXPECT_EQ(invoke(g.get(), DISPID{4}, {}).hr, DISP_E_MEMBERNOTFOUND);
}

TEST(ArrayArg, ReachesTheArrayThroughEitherWayOfPassingItAndWritesInPlace) {
  SafeArray direct = SafeArray::variants({1.0, 2.0, 3.0});
  VARIANT by_array = byref(direct);
  Var holder = array_holder(SafeArray::doubles({4.0, 5.0}));
  VARIANT by_holder = byref_holder(holder);

  ArrayArg a(&by_array);
  ASSERT_TRUE(a.valid());
  EXPECT_EQ(a.element_type(), VT_VARIANT);
  EXPECT_EQ(a.lower(), 1);
  EXPECT_EQ(a.upper(), 3);
  a.set(2, -1.5);
  EXPECT_EQ(direct.number(2), -1.5);

  ArrayArg b(&by_holder);
  ASSERT_TRUE(b.valid());
  EXPECT_EQ(b.element_type(), VT_R8);
  EXPECT_EQ(b.number(2), 5.0);

  Var scalar(2.0);
  VARIANT not_an_array = byref(scalar);
  EXPECT_FALSE(ArrayArg(&not_an_array).valid());
  EXPECT_TRUE(set_number(&not_an_array, 6.25));
  EXPECT_EQ(scalar.vt(), VT_R8);
  EXPECT_EQ(scalar.number(), 6.25);
}

TEST(SafeArray, TwoDimensionalElementsAreColumnMajorWithTheCallersBounds) {
  // a(0..1, 2..4): element (r, c) sits at (r - 0) + (c - 2) * 2.
  SafeArray a = SafeArray::doubles({0, 1}, {2, 4});
  for (LONG r = 0; r <= 1; ++r)
    for (LONG c = 2; c <= 4; ++c) a.set(r, c, 10.0 * r + c);
  double* data = nullptr;
  ASSERT_EQ(SafeArrayAccessData(a.get(), reinterpret_cast<void**>(&data)), S_OK);
  const double expected[] = {2, 12, 3, 13, 4, 14};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(data[i], expected[i]) << i;
  SafeArrayUnaccessData(a.get());
  EXPECT_EQ(a.number(1, 3), 13.0);
}

TEST(Arguments, CarryTheTypesAClientSends) {
  Var v;
  double d = 0;
  short s = 0;
  IDispatch* p = nullptr;
  SafeArray va = SafeArray::variants({1.0});
  SafeArray da = SafeArray::doubles({1.0});
  SafeArray sa = SafeArray::strings({L"x"});
  const struct {
    const char* what;
    VARIANT arg;
    VARTYPE vt;
  } rows[] = {
      {"short literal", byval(3), VT_I2},
      {"long literal", byval(40000), VT_I4},
      {"double literal", byval(0.5), VT_R8},
      {"omitted", missing(), VT_ERROR},
      {"Variant variable", byref(v), VT_BYREF | VT_VARIANT},
      {"double variable", byref(d), VT_BYREF | VT_R8},
      {"Integer variable", byref(s), VT_BYREF | VT_I2},
      {"object variable", byref(p), VT_BYREF | VT_DISPATCH},
      {"Variant array", byref(va), VT_BYREF | VT_ARRAY | VT_VARIANT},
      {"double array", byref(da), VT_BYREF | VT_ARRAY | VT_R8},
      {"string array", byref(sa), VT_BYREF | VT_ARRAY | VT_BSTR},
  };
  for (const auto& row : rows) EXPECT_EQ(row.arg.vt, row.vt) << row.what;
  EXPECT_EQ(missing().scode, DISP_E_PARAMNOTFOUND);
  EXPECT_EQ(byref(da).pparray, &da.get());
}

}  // namespace
}  // namespace comtest
