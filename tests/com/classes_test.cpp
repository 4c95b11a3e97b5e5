// The two classes as the registry and the DLL give them: the keys that
// registration wrote (machine-wide, or per user: PerUser runs when
// KOR_PER_USER_DLL names the DLL registered with regsvr32 /n /i:user), what a
// factory refuses, the interfaces each object answers, and when
// DllCanUnloadNow lets the DLL go.
#include <ocidl.h>

#include "support.hpp"

namespace comtest {
namespace {

// ProgID, CLSID, its own dual interface, the other class's, one of its methods.
struct Class { const wchar_t* progid; const CLSID* clsid; const IID *iid, *other; const wchar_t* method; };
const Class kClasses[] = {{L"Kor.Korvat", &CLSID_Korvat, &IID__Korvat, &IID__Interpret, L"Gauss"},
                          {L"Kor.Interpret", &CLSID_Interpret, &IID__Interpret, &IID__Korvat, L"Interp"}};

// Follows ProgID -> CLSID -> InprocServer32 under a classes root, checking
// every value registration writes on the way; the server's path.
std::wstring server(HKEY root, const Class& c) {
  const std::wstring clsid = reg_text(root, std::wstring(c.progid) + L"\\CLSID"), key = L"CLSID\\" + clsid;
  EXPECT_EQ(std::tuple(clsid, reg_text(root, key + L"\\ProgID"), reg_text(root, key + L"\\TypeLib"),
                       reg_text(root, key + L"\\InprocServer32", L"ThreadingModel")),
            std::tuple(guid_text(*c.clsid), std::wstring(c.progid), guid_text(LIBID_Kor), std::wstring(L"Apartment")));
  return reg_text(root, key + L"\\InprocServer32");
}

template <class F>
F entry(HMODULE dll, const char* name) { return reinterpret_cast<F>(reinterpret_cast<void*>(GetProcAddress(dll, name))); }
using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);

TEST(Registration, NamesTheDllItsApartmentModelProgIdAndTypeLibraryForEachClass) {
  for (const Class& c : kClasses) {
    const std::wstring dll = server(HKEY_CLASSES_ROOT, c);
    EXPECT_NE(GetFileAttributesW(dll.c_str()), INVALID_FILE_ATTRIBUTES) << narrow(dll);
    EXPECT_EQ(lstrcmpiW(dll.substr(dll.find_last_of(L"\\/") + 1).c_str(), L"kor.dll"), 0) << narrow(dll);
  }
}

// Wine's HKEY_CLASSES_ROOT shows the machine's classes only, so the client
// reads the user's classes itself and makes the objects from the DLL named there.
TEST(PerUser, BothClassesAreInTheUsersClassesOnlyAndMadeFromTheDllNamedThere) {
  const char* expected = getenv("KOR_PER_USER_DLL");
  if (!expected) GTEST_SKIP() << "KOR_PER_USER_DLL names no DLL registered per user";
  HKEY user = nullptr;
  ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"Software\\Classes", 0, KEY_READ, &user), ERROR_SUCCESS);
  for (const Class& c : kClasses) {
    const std::wstring dll = server(user, c);
    EXPECT_EQ(lstrcmpiW(dll.c_str(), widen(expected).c_str()), 0) << narrow(dll);
    EXPECT_EQ(reg_text(HKEY_LOCAL_MACHINE, L"Software\\Classes\\CLSID\\" + guid_text(*c.clsid)), L"<absent>") << "also for the machine";
    Ptr<IClassFactory> factory;
    Ptr<IDispatch> object;
    auto get_class_object = entry<GetClassObject>(LoadLibraryW(dll.c_str()), "DllGetClassObject");
    ASSERT_TRUE(get_class_object) << narrow(dll);
    ASSERT_EQ(get_class_object(*c.clsid, IID_IClassFactory, factory.put_void()), S_OK);
    ASSERT_EQ(factory->CreateInstance(nullptr, *c.iid, object.put_void()), S_OK);
    EXPECT_NE(dispid(object.get(), c.method), DISPID_UNKNOWN);
  }
  RegCloseKey(user);
}

TEST(Objects, AnswerTheirOwnInterfacesAndDescribeThemselves) {
  for (const Class& c : kClasses) {
    Ptr<IDispatch> object = create(c.progid);
    // Every interface leads back to the same IUnknown; the dual one is the IDispatch itself; no other is answered.
    for (const IID* iid : {&IID_IUnknown, &IID_IDispatch, c.iid, &IID_ISupportErrorInfo, &IID_IProvideClassInfo})
      EXPECT_EQ(object.as<IUnknown>(*iid).as<IUnknown>().get(), object.as<IUnknown>().get()) << narrow(guid_text(*iid));
    EXPECT_EQ(static_cast<void*>(object.as<IUnknown>(*c.iid).get()), static_cast<void*>(object.get()));
    for (const IID* iid : {c.other, &IID_IClassFactory, &IID_IPersist}) EXPECT_FALSE(object.as<IUnknown>(*iid));
    EXPECT_EQ(object.as<ISupportErrorInfo>()->InterfaceSupportsErrorInfo(*c.iid), S_OK);
    EXPECT_EQ(object.as<ISupportErrorInfo>()->InterfaceSupportsErrorInfo(*c.other), S_FALSE);
    // The class through IProvideClassInfo, the dispatch view of its interface through IDispatch.
    Ptr<ITypeInfo> info[3];
    TYPEATTR *k = nullptr, *f = nullptr;
    UINT count = 0;
    ASSERT_EQ(object.as<IProvideClassInfo>()->GetClassInfo(info[0].put()) | object->GetTypeInfo(0, 0, info[1].put()), S_OK);
    ASSERT_EQ(info[0]->GetTypeAttr(&k) | info[1]->GetTypeAttr(&f), S_OK);
    EXPECT_TRUE(IsEqualGUID(k->guid, *c.clsid) && IsEqualGUID(f->guid, *c.iid) && f->typekind == TKIND_DISPATCH);
    info[0]->ReleaseTypeAttr(k), info[1]->ReleaseTypeAttr(f);
    EXPECT_TRUE(object->GetTypeInfoCount(&count) == S_OK && count == 1);
    EXPECT_EQ(object->GetTypeInfo(1, 0, info[2].put()), DISP_E_BADINDEX);
  }
}

// The DLL's entry points called directly, as COM calls them.
TEST(Module, GivesFactoriesThatRefuseWhatTheyCannotMakeAndUnloadsOnlyWhenNothingIsAlive) {
  HMODULE dll = LoadLibraryW(kor_dll_path().c_str());
  ASSERT_NE(dll, nullptr);
  auto get_class_object = entry<GetClassObject>(dll, "DllGetClassObject");
  auto can_unload = entry<HRESULT(STDAPICALLTYPE*)()>(dll, "DllCanUnloadNow");
  ASSERT_TRUE(get_class_object && can_unload && GetProcAddress(dll, "DllRegisterServer") &&
              GetProcAddress(dll, "DllUnregisterServer") && GetProcAddress(dll, "DllInstall"));
  Ptr<IClassFactory> none;
  EXPECT_EQ(get_class_object(IID__Korvat, IID_IClassFactory, none.put_void()), CLASS_E_CLASSNOTAVAILABLE);
  ASSERT_EQ(can_unload(), S_OK) << "an object of an earlier test is still alive";
  for (const Class& c : kClasses) {
    Ptr<IClassFactory> factory;
    Ptr<IUnknown> first, second, refused;
    ASSERT_EQ(get_class_object(*c.clsid, IID_IClassFactory, factory.put_void()), S_OK);
    EXPECT_EQ(can_unload(), S_OK) << "a factory alone keeps the DLL";
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, first.put_void()), S_OK);
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, second.put_void()), S_OK);
    EXPECT_NE(first.get(), second.get());
    EXPECT_EQ((std::tuple{factory->CreateInstance(first.get(), IID_IUnknown, refused.put_void()),
                         factory->CreateInstance(nullptr, *c.other, refused.put_void()),
                         factory->QueryInterface(IID_IDispatch, refused.put_void()), bool(refused)}),
              std::tuple(CLASS_E_NOAGGREGATION, E_NOINTERFACE, E_NOINTERFACE, false));
    first = Ptr<IUnknown>();
    EXPECT_EQ(can_unload(), S_FALSE) << "a second object is alive";
    second = Ptr<IUnknown>();
    EXPECT_EQ(can_unload(), S_OK);
    EXPECT_EQ(factory->LockServer(TRUE) | factory->LockServer(TRUE) | factory->LockServer(FALSE), S_OK);
    EXPECT_EQ(can_unload(), S_FALSE) << "one of two locks is still held";
    EXPECT_EQ(factory->LockServer(FALSE), S_OK);
    EXPECT_EQ(can_unload(), S_OK);
    // That answer let go of the cached type information: a new object reads it again.
    Ptr<IDispatch> again;
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IDispatch, again.put_void()), S_OK);
    EXPECT_NE(dispid(again.get(), c.method), DISPID_UNKNOWN);
  }
  FreeLibrary(dll);
}

}  // namespace
}  // namespace comtest
