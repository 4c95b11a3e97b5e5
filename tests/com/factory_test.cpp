// Creating the two classes: registration keys, ProgIDs, the class factories,
// the interfaces each object answers, and when the DLL may be unloaded.
#include <gtest/gtest.h>
#include <dispex.h>
#include <ocidl.h>

#include <string>

#include "support.hpp"

namespace comtest {
namespace {

struct ClassRow {
  const wchar_t* progid;
  const CLSID* clsid;
  const IID* iid;    // the class's own dual interface
  const IID* other;  // the other class's interface
};

const ClassRow kClasses[] = {
    {L"Kor.Korvat", &CLSID_Korvat, &IID__Korvat, &IID__Interpret},
    {L"Kor.Interpret", &CLSID_Interpret, &IID__Interpret, &IID__Korvat},
};

std::string narrow(const std::wstring& s) { return std::string(s.begin(), s.end()); }

std::wstring guid_text(const GUID& g) {
  wchar_t t[40];
  StringFromGUID2(g, t, 40);
  return t;
}

// A string value under HKEY_CLASSES_ROOT; "<absent>" if there is none.
std::wstring registry_value(const std::wstring& key, const wchar_t* name) {
  wchar_t data[1024];
  DWORD size = sizeof data;
  if (RegGetValueW(HKEY_CLASSES_ROOT, key.c_str(), name, RRF_RT_REG_SZ, nullptr, data, &size) != ERROR_SUCCESS)
    return L"<absent>";
  return data;
}

TEST(Registration, ClassKeysNameTheDllTheApartmentModelTheProgIdAndTheTypeLibrary) {
  const std::wstring dll = kor_dll_path();
  ASSERT_FALSE(dll.empty());
  EXPECT_NE(GetFileAttributesW(dll.c_str()), INVALID_FILE_ATTRIBUTES) << narrow(dll);
  const std::wstring file = dll.substr(dll.find_last_of(L"\\/") + 1);
  EXPECT_EQ(lstrcmpiW(file.c_str(), L"kor.dll"), 0) << narrow(file);

  for (const ClassRow& c : kClasses) {
    SCOPED_TRACE(narrow(c.progid));
    const std::wstring clsid = L"CLSID\\" + guid_text(*c.clsid);
    const struct {
      std::wstring key;
      const wchar_t* name;
      std::wstring value;
    } rows[] = {
        {clsid + L"\\InprocServer32", nullptr, dll},
        {clsid + L"\\InprocServer32", L"ThreadingModel", L"Apartment"},
        {clsid + L"\\ProgID", nullptr, c.progid},
        {clsid + L"\\TypeLib", nullptr, guid_text(LIBID_Kor)},
        {std::wstring(c.progid) + L"\\CLSID", nullptr, guid_text(*c.clsid)},
    };
    for (const auto& row : rows)
      EXPECT_EQ(registry_value(row.key, row.name), row.value) << narrow(row.key);
  }
}

TEST(ClassFactory, ProgIdsNameTheClassesBothWays) {
  for (const ClassRow& c : kClasses) {
    SCOPED_TRACE(narrow(c.progid));
    CLSID clsid;
    ASSERT_EQ(CLSIDFromProgID(c.progid, &clsid), S_OK);
    EXPECT_TRUE(IsEqualCLSID(clsid, *c.clsid));
    LPOLESTR progid = nullptr;
    ASSERT_EQ(ProgIDFromCLSID(*c.clsid, &progid), S_OK);
    EXPECT_STREQ(progid, c.progid);
    CoTaskMemFree(progid);
  }
}

TEST(ClassFactory, CreatesEachClassByClsidAndByProgId) {
  for (const ClassRow& c : kClasses) {
    SCOPED_TRACE(narrow(c.progid));
    Ptr<IUnknown> by_clsid;
    EXPECT_EQ(CoCreateInstance(*c.clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, by_clsid.put_void()), S_OK);
    EXPECT_TRUE(by_clsid);
    Ptr<IDispatch> by_progid = create(c.progid);
    EXPECT_TRUE(by_progid);
    // Two creations are two objects.
    EXPECT_NE(by_clsid.get(), by_progid.as<IUnknown>().get());
  }
}

TEST(ClassFactory, RefusesAggregationUnknownClassesAndForeignInterfaces) {
  Ptr<IClassFactory> factory;
  ASSERT_EQ(CoGetClassObject(CLSID_Korvat, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory, factory.put_void()),
            S_OK);
  Ptr<IUnknown> outer = create(L"Kor.Interpret").as<IUnknown>();
  Ptr<IUnknown> inner;
  EXPECT_EQ(factory->CreateInstance(outer.get(), IID_IUnknown, inner.put_void()), CLASS_E_NOAGGREGATION);
  EXPECT_FALSE(inner);
  Ptr<IDispatch> wrong;
  EXPECT_EQ(factory->CreateInstance(nullptr, IID__Interpret, wrong.put_void()), E_NOINTERFACE);
  EXPECT_FALSE(wrong);
  Ptr<IDispatch> not_a_factory_interface;
  EXPECT_EQ(factory->QueryInterface(IID_IDispatch, not_a_factory_interface.put_void()), E_NOINTERFACE);
}

TEST(Objects, AnswerTheirOwnInterfacesAndRefuseOthers) {
  for (const ClassRow& c : kClasses) {
    SCOPED_TRACE(narrow(c.progid));
    Ptr<IDispatch> object = create(c.progid);
    ASSERT_TRUE(object);
    const struct {
      const IID* iid;
      HRESULT expected;
    } rows[] = {
        {&IID_IUnknown, S_OK},           {&IID_IDispatch, S_OK},          {c.iid, S_OK},
        {&IID_ISupportErrorInfo, S_OK},  {c.other, E_NOINTERFACE},        {&__uuidof(IDispatchEx), E_NOINTERFACE},
        {&IID_IProvideClassInfo, S_OK},  {&IID_IClassFactory, E_NOINTERFACE}, {&IID_IPersist, E_NOINTERFACE},
    };
    Ptr<IUnknown> identity = object.as<IUnknown>();
    for (const auto& row : rows) {
      SCOPED_TRACE(narrow(guid_text(*row.iid)));
      Ptr<IUnknown> p;
      EXPECT_EQ(object->QueryInterface(*row.iid, p.put_void()), row.expected);
      EXPECT_EQ(static_cast<bool>(p), row.expected == S_OK);
      if (p) {
        // Every interface leads back to the same IUnknown.
        EXPECT_EQ(p.as<IUnknown>().get(), identity.get());
      }
    }
    // The dual interface is the IDispatch: late and early binding reach one vtable.
    Ptr<IUnknown> dual;
    ASSERT_EQ(object->QueryInterface(*c.iid, dual.put_void()), S_OK);
    EXPECT_EQ(static_cast<void*>(dual.get()), static_cast<void*>(object.get()));
  }
}

TEST(Objects, SupportErrorInfoOnTheirOwnInterfaceOnly) {
  for (const ClassRow& c : kClasses) {
    SCOPED_TRACE(narrow(c.progid));
    Ptr<ISupportErrorInfo> s = create(c.progid).as<ISupportErrorInfo>();
    ASSERT_TRUE(s);
    EXPECT_EQ(s->InterfaceSupportsErrorInfo(*c.iid), S_OK);
    EXPECT_EQ(s->InterfaceSupportsErrorInfo(*c.other), S_FALSE);
    EXPECT_EQ(s->InterfaceSupportsErrorInfo(IID_IUnknown), S_FALSE);
  }
}

TEST(Objects, NameTheirClassThroughProvideClassInfo) {
  for (const ClassRow& c : kClasses) {
    SCOPED_TRACE(narrow(c.progid));
    Ptr<IProvideClassInfo> p = create(c.progid).as<IProvideClassInfo>();
    ASSERT_TRUE(p);
    Ptr<ITypeInfo> info;
    ASSERT_EQ(p->GetClassInfo(info.put()), S_OK);
    TYPEATTR* attr = nullptr;
    ASSERT_EQ(info->GetTypeAttr(&attr), S_OK);
    EXPECT_TRUE(IsEqualGUID(attr->guid, *c.clsid));
    EXPECT_EQ(attr->typekind, TKIND_COCLASS);
    info->ReleaseTypeAttr(attr);
  }
}

TEST(Objects, DescribeThemselvesByTheDispatchViewOfTheirInterface) {
  for (const ClassRow& c : kClasses) {
    SCOPED_TRACE(narrow(c.progid));
    Ptr<IDispatch> object = create(c.progid);
    ASSERT_TRUE(object);
    UINT count = 0;
    EXPECT_EQ(object->GetTypeInfoCount(&count), S_OK);
    EXPECT_EQ(count, 1u);
    Ptr<ITypeInfo> info;
    ASSERT_EQ(object->GetTypeInfo(0, LOCALE_USER_DEFAULT, info.put()), S_OK);
    TYPEATTR* attr = nullptr;
    ASSERT_EQ(info->GetTypeAttr(&attr), S_OK);
    EXPECT_TRUE(IsEqualGUID(attr->guid, *c.iid));
    EXPECT_EQ(attr->typekind, TKIND_DISPATCH);
    info->ReleaseTypeAttr(attr);
    Ptr<ITypeInfo> none;
    EXPECT_EQ(object->GetTypeInfo(1, LOCALE_USER_DEFAULT, none.put()), DISP_E_BADINDEX);
    EXPECT_FALSE(none);
  }
}

// The DLL loaded a second time by path, its entry points called directly.
class Module : public ::testing::Test {
 protected:
  void SetUp() override {
    module = LoadLibraryW(kor_dll_path().c_str());
    ASSERT_NE(module, nullptr);
    get_class_object = entry<GetClassObject>("DllGetClassObject");
    can_unload_now = entry<CanUnloadNow>("DllCanUnloadNow");
    ASSERT_NE(get_class_object, nullptr);
    ASSERT_NE(can_unload_now, nullptr);
  }
  void TearDown() override {
    if (module) FreeLibrary(module);
  }

  template <class F>
  F entry(const char* name) const {
    return reinterpret_cast<F>(reinterpret_cast<void*>(GetProcAddress(module, name)));
  }

  using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
  using CanUnloadNow = HRESULT(STDAPICALLTYPE*)();
  HMODULE module = nullptr;
  GetClassObject get_class_object = nullptr;
  CanUnloadNow can_unload_now = nullptr;
};

TEST_F(Module, ExportsTheFourEntryPointsUndecorated) {
  for (const char* name : {"DllGetClassObject", "DllCanUnloadNow", "DllRegisterServer", "DllUnregisterServer"})
    EXPECT_NE(GetProcAddress(module, name), nullptr) << name;
}

TEST_F(Module, GivesFactoriesForItsTwoClassesOnly) {
  for (const ClassRow& c : kClasses) {
    Ptr<IClassFactory> f;
    EXPECT_EQ(get_class_object(*c.clsid, IID_IClassFactory, f.put_void()), S_OK);
    EXPECT_TRUE(f);
  }
  Ptr<IClassFactory> f;
  EXPECT_EQ(get_class_object(LIBID_Kor, IID_IClassFactory, f.put_void()), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_EQ(get_class_object(IID__Korvat, IID_IClassFactory, f.put_void()), CLASS_E_CLASSNOTAVAILABLE);
  EXPECT_FALSE(f);
}

TEST_F(Module, CanUnloadOnlyWhenNoObjectAndNoLockIsAlive) {
  ASSERT_EQ(can_unload_now(), S_OK) << "an object of an earlier test is still alive";
  for (const ClassRow& c : kClasses) {
    SCOPED_TRACE(narrow(c.progid));
    Ptr<IClassFactory> factory;
    ASSERT_EQ(get_class_object(*c.clsid, IID_IClassFactory, factory.put_void()), S_OK);
    EXPECT_EQ(can_unload_now(), S_OK) << "a factory alone keeps the DLL";

    Ptr<IDispatch> first;
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IDispatch, first.put_void()), S_OK);
    EXPECT_EQ(can_unload_now(), S_FALSE);
    Ptr<IDispatch> second = first;
    first.reset();
    EXPECT_EQ(can_unload_now(), S_FALSE) << "the object is still referenced";
    Ptr<IDispatch> other;
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IDispatch, other.put_void()), S_OK);
    second.reset();
    EXPECT_EQ(can_unload_now(), S_FALSE) << "a second object is alive";
    other.reset();
    EXPECT_EQ(can_unload_now(), S_OK);

    EXPECT_EQ(factory->LockServer(TRUE), S_OK);
    EXPECT_EQ(can_unload_now(), S_FALSE);
    EXPECT_EQ(factory->LockServer(TRUE), S_OK);
    EXPECT_EQ(factory->LockServer(FALSE), S_OK);
    EXPECT_EQ(can_unload_now(), S_FALSE) << "one of two locks is still held";
    EXPECT_EQ(factory->LockServer(FALSE), S_OK);
    EXPECT_EQ(can_unload_now(), S_OK);
  }
}

TEST_F(Module, ObjectsMadeAfterAnUnloadQueryStillReadTheTypeLibrary) {
  ASSERT_EQ(can_unload_now(), S_OK);  // lets go of what it had cached
  for (const ClassRow& c : kClasses) {
    SCOPED_TRACE(narrow(c.progid));
    Ptr<IClassFactory> factory;
    ASSERT_EQ(get_class_object(*c.clsid, IID_IClassFactory, factory.put_void()), S_OK);
    Ptr<IDispatch> object;
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IDispatch, object.put_void()), S_OK);
    Ptr<ITypeInfo> info;
    EXPECT_EQ(object->GetTypeInfo(0, LOCALE_USER_DEFAULT, info.put()), S_OK);
    HRESULT hr = E_FAIL;
    dispid(object.get(), *c.clsid == CLSID_Korvat ? L"Gauss" : L"Interp", &hr);
    EXPECT_EQ(hr, S_OK);
  }
}

}  // namespace
}  // namespace comtest
