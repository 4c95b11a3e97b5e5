// The two classes as the registry and the class factories give them: the
// keys registration wrote, creation by CLSID and ProgID, what a factory
// refuses, the interfaces each object answers, and when DllCanUnloadNow lets
// the DLL go.
#include <gtest/gtest.h>
#include <ocidl.h>

#include "support.hpp"

namespace comtest {
namespace {

struct Class {
  const wchar_t* progid;
  const CLSID* clsid;
  const IID* iid;    // its own dual interface
  const IID* other;  // the other class's
};
const Class kClasses[] = {{L"Kor.Korvat", &CLSID_Korvat, &IID__Korvat, &IID__Interpret},
                          {L"Kor.Interpret", &CLSID_Interpret, &IID__Interpret, &IID__Korvat}};

std::wstring text(const GUID& g) {
  wchar_t t[40];
  StringFromGUID2(g, t, 40);
  return t;
}

TEST(Registration, NamesTheDllItsApartmentModelProgIdAndTypeLibraryForEachClass) {
  const std::wstring dll = kor_dll_path();
  EXPECT_NE(GetFileAttributesW(dll.c_str()), INVALID_FILE_ATTRIBUTES) << narrow(dll);
  EXPECT_EQ(lstrcmpiW(dll.substr(dll.find_last_of(L"\\/") + 1).c_str(), L"kor.dll"), 0) << narrow(dll);
  for (const Class& c : kClasses) {
    const std::wstring clsid = L"CLSID\\" + text(*c.clsid), server = clsid + L"\\InprocServer32";
    const struct { std::wstring key; const wchar_t* name; std::wstring value; } rows[] = {
        {server, nullptr, dll}, {server, L"ThreadingModel", L"Apartment"}, {clsid + L"\\ProgID", nullptr, c.progid},
        {clsid + L"\\TypeLib", nullptr, text(LIBID_Kor)},
        {std::wstring(c.progid) + L"\\CLSID", nullptr, text(*c.clsid)}};
    for (const auto& row : rows) {
      wchar_t data[1024] = L"<absent>";
      DWORD size = sizeof data;
      RegGetValueW(HKEY_CLASSES_ROOT, row.key.c_str(), row.name, RRF_RT_REG_SZ, nullptr, data, &size);
      EXPECT_EQ(data, row.value) << narrow(row.key);
    }
    LPOLESTR progid = nullptr;
    ASSERT_EQ(ProgIDFromCLSID(*c.clsid, &progid), S_OK);
    EXPECT_STREQ(progid, c.progid);
    CoTaskMemFree(progid);
  }
}

TEST(ClassFactory, MakesANewObjectPerCallAndRefusesAggregationAndForeignInterfaces) {
  for (const Class& c : kClasses) {
    Ptr<IClassFactory> factory;
    ASSERT_EQ(CoGetClassObject(*c.clsid, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory, factory.put_void()), S_OK);
    Ptr<IUnknown> first, refused;
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, first.put_void()), S_OK);
    EXPECT_NE(create(c.progid).as<IUnknown>().get(), first.get());
    EXPECT_EQ(factory->CreateInstance(first.get(), IID_IUnknown, refused.put_void()), CLASS_E_NOAGGREGATION);
    EXPECT_EQ(factory->CreateInstance(nullptr, *c.other, refused.put_void()), E_NOINTERFACE);
    EXPECT_EQ(factory->QueryInterface(IID_IDispatch, refused.put_void()), E_NOINTERFACE);
    EXPECT_FALSE(refused);
  }
}

TEST(Objects, AnswerTheirOwnInterfacesAndDescribeThemselves) {
  for (const Class& c : kClasses) {
    SCOPED_TRACE(narrow(c.progid));
    Ptr<IDispatch> object = create(c.progid);
    const Ptr<IUnknown> identity = object.as<IUnknown>();
    // Every interface leads back to the same IUnknown; the dual one is the IDispatch itself.
    for (const IID* iid : {&IID_IUnknown, &IID_IDispatch, c.iid, &IID_ISupportErrorInfo, &IID_IProvideClassInfo})
      EXPECT_EQ(object.as<IUnknown>(*iid).as<IUnknown>().get(), identity.get()) << narrow(text(*iid));
    EXPECT_EQ(static_cast<void*>(object.as<IUnknown>(*c.iid).get()), static_cast<void*>(object.get()));
    for (const IID* iid : {c.other, &__uuidof(IDispatchEx), &IID_IClassFactory, &IID_IPersist})
      EXPECT_FALSE(object.as<IUnknown>(*iid)) << narrow(text(*iid));
    EXPECT_EQ(object.as<ISupportErrorInfo>()->InterfaceSupportsErrorInfo(*c.iid), S_OK);
    EXPECT_EQ(object.as<ISupportErrorInfo>()->InterfaceSupportsErrorInfo(*c.other), S_FALSE);
    // The class through IProvideClassInfo, the dispatch view of the interface through IDispatch.
    Ptr<ITypeInfo> klass, face, none;
    TYPEATTR *k = nullptr, *f = nullptr;
    UINT count = 0;
    ASSERT_EQ(object.as<IProvideClassInfo>()->GetClassInfo(klass.put()), S_OK);
    ASSERT_EQ(object->GetTypeInfo(0, LOCALE_USER_DEFAULT, face.put()), S_OK);
    ASSERT_EQ(klass->GetTypeAttr(&k) | face->GetTypeAttr(&f), S_OK);
    EXPECT_TRUE(IsEqualGUID(k->guid, *c.clsid) && IsEqualGUID(f->guid, *c.iid) && f->typekind == TKIND_DISPATCH);
    klass->ReleaseTypeAttr(k);
    face->ReleaseTypeAttr(f);
    EXPECT_EQ(object->GetTypeInfoCount(&count), S_OK);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(object->GetTypeInfo(1, LOCALE_USER_DEFAULT, none.put()), DISP_E_BADINDEX);
  }
}

// The DLL's entry points called directly, as COM calls them.
TEST(Module, GivesFactoriesForItsClassesAndUnloadsOnlyWhenNoObjectOrLockIsAlive) {
  HMODULE dll = LoadLibraryW(kor_dll_path().c_str());
  ASSERT_NE(dll, nullptr);
  auto get_class_object = reinterpret_cast<HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**)>(
      reinterpret_cast<void*>(GetProcAddress(dll, "DllGetClassObject")));
  auto can_unload =
      reinterpret_cast<HRESULT(STDAPICALLTYPE*)()>(reinterpret_cast<void*>(GetProcAddress(dll, "DllCanUnloadNow")));
  ASSERT_TRUE(get_class_object && can_unload && GetProcAddress(dll, "DllRegisterServer") &&
              GetProcAddress(dll, "DllUnregisterServer"));
  Ptr<IClassFactory> none;
  EXPECT_EQ(get_class_object(LIBID_Kor, IID_IClassFactory, none.put_void()), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(get_class_object(IID__Korvat, IID_IClassFactory, none.put_void()), CLASS_E_CLASSNOTAVAILABLE);
  ASSERT_EQ(can_unload(), S_OK) << "an object of an earlier test is still alive";
  for (const Class& c : kClasses) {
    SCOPED_TRACE(narrow(c.progid));
    Ptr<IClassFactory> factory;
    Ptr<IDispatch> first, second, other;
    ASSERT_EQ(get_class_object(*c.clsid, IID_IClassFactory, factory.put_void()), S_OK);
    EXPECT_EQ(can_unload(), S_OK) << "a factory alone keeps the DLL";
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IDispatch, first.put_void()), S_OK);
    second = first;
    first = Ptr<IDispatch>();
    EXPECT_EQ(can_unload(), S_FALSE) << "the object is still referenced";
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IDispatch, other.put_void()), S_OK);
    second = Ptr<IDispatch>();
    EXPECT_EQ(can_unload(), S_FALSE) << "a second object is alive";
    other = Ptr<IDispatch>();
    EXPECT_EQ(can_unload(), S_OK);
    EXPECT_EQ(factory->LockServer(TRUE) | factory->LockServer(TRUE) | factory->LockServer(FALSE), S_OK);
    EXPECT_EQ(can_unload(), S_FALSE) << "one of two locks is still held";
    EXPECT_EQ(factory->LockServer(FALSE), S_OK);
    EXPECT_EQ(can_unload(), S_OK);
    // That answer let go of the cached type information: a new object reads it again.
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IDispatch, other.put_void()), S_OK);
    HRESULT hr = E_FAIL;
    dispid(other.get(), c.clsid == &CLSID_Korvat ? L"Gauss" : L"Interp", &hr);
    EXPECT_EQ(hr, S_OK);
  }
  FreeLibrary(dll);
}

}  // namespace
}  // namespace comtest
