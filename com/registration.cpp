// Self-registration.  DllRegisterServer writes the classes' keys from a small
// table into the machine's classes and registers the embedded type library;
// DllInstall with the command line "user" does the same in the current user's
// classes, which needs no administrator rights (regsvr32 /n /i:user kor.dll).
// Unregistration removes the keys that registration wrote, and nothing else.
//
// Every key goes to the registry view of this DLL's own bitness: on 64-bit
// Windows the 32-bit kor.dll registers where 32-bit clients look (the
// redirected CLSID and Interface keys), the 64-bit one where 64-bit clients do.
#include <windows.h>
#include <oleauto.h>
#include <olectl.h>

#include <string>

#include "kor.h"
#include "module.hpp"

// oleaut32 has had these since Windows Vista; MinGW's oleauto.h does not declare them.
WINOLEAUTAPI RegisterTypeLibForUser(ITypeLib* library, OLECHAR* path, OLECHAR* help_dir);
WINOLEAUTAPI UnRegisterTypeLibForUser(REFGUID libid, WORD major, WORD minor, LCID lcid, SYSKIND syskind);

namespace kor::com {
namespace {

struct Class {
  const CLSID* clsid;
  const wchar_t* progid;
};

constexpr Class kClasses[] = {
    {&CLSID_Korvat, L"Kor.Korvat"},
    {&CLSID_Interpret, L"Kor.Interpret"},
};

// Keys under the classes root, one table for every class.  In the texts $C
// stands for the class's CLSID, $P for its ProgID, $L for the LIBID and $M for
// the path of this DLL.  A null name is the key's default value.
struct Value {
  const wchar_t* key;
  const wchar_t* name;
  const wchar_t* data;
};

constexpr Value kValues[] = {
    {L"CLSID\\$C", nullptr, L"$P"},
    {L"CLSID\\$C\\InprocServer32", nullptr, L"$M"},
    {L"CLSID\\$C\\InprocServer32", L"ThreadingModel", L"Apartment"},
    {L"CLSID\\$C\\ProgID", nullptr, L"$P"},
    {L"CLSID\\$C\\TypeLib", nullptr, L"$L"},
    {L"CLSID\\$C\\Version", nullptr, L"3.0"},
    {L"$P", nullptr, L"$P"},
    {L"$P\\CLSID", nullptr, L"$C"},
};

// The keys that unregistration removes with everything below them.
constexpr const wchar_t* kOwnKeys[] = {L"CLSID\\$C", L"$P"};

constexpr WORD kMajor = 3;
constexpr WORD kMinor = 0;
constexpr LCID kLcid = 0x409;
constexpr bool kWide = sizeof(void*) == 8;
constexpr REGSAM kView = kWide ? KEY_WOW64_64KEY : KEY_WOW64_32KEY;
constexpr SYSKIND kSyskind = kWide ? SYS_WIN64 : SYS_WIN32;

enum class Scope { machine, user };

std::wstring guid_text(const GUID& guid) {
  wchar_t text[40];
  StringFromGUID2(guid, text, 40);
  return text;
}

std::wstring expand(const wchar_t* pattern, const Class& c) {
  std::wstring out;
  for (const wchar_t* p = pattern; *p; ++p) {
    if (*p != L'$' || !p[1]) {
      out += *p;
      continue;
    }
    switch (*++p) {
      case L'C': out += guid_text(*c.clsid); break;
      case L'P': out += c.progid; break;
      case L'L': out += guid_text(LIBID_Kor); break;
      case L'M': out += module_path(); break;
      default: out += L'$'; out += *p; break;
    }
  }
  return out;
}

// HKLM\Software\Classes or HKCU\Software\Classes.  Not HKEY_CLASSES_ROOT,
// which would put a machine-wide registration into the user's classes
// wherever the user already has a key of the same name.
class ClassesRoot {
 public:
  explicit ClassesRoot(Scope scope) {
    status_ = RegCreateKeyExW(scope == Scope::user ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE, L"Software\\Classes",
                              0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS | kView, nullptr, &key_, nullptr);
  }
  ~ClassesRoot() {
    if (key_) RegCloseKey(key_);
  }
  ClassesRoot(const ClassesRoot&) = delete;
  ClassesRoot& operator=(const ClassesRoot&) = delete;

  HRESULT status() const { return HRESULT_FROM_WIN32(status_); }

  HRESULT set(const Value& v, const Class& c) const {
    HKEY key = nullptr;
    LSTATUS s = RegCreateKeyExW(key_, expand(v.key, c).c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                KEY_SET_VALUE | kView, nullptr, &key, nullptr);
    if (s != ERROR_SUCCESS) return HRESULT_FROM_WIN32(s);
    const std::wstring data = expand(v.data, c);
    s = RegSetValueExW(key, v.name, 0, REG_SZ, reinterpret_cast<const BYTE*>(data.c_str()),
                       static_cast<DWORD>((data.size() + 1) * sizeof(wchar_t)));
    RegCloseKey(key);
    return HRESULT_FROM_WIN32(s);
  }

  // Removes a key with everything below it; a key that is not there is no failure.
  LSTATUS remove(const std::wstring& path) const {
    HKEY key = nullptr;
    LSTATUS s = RegOpenKeyExW(key_, path.c_str(), 0, DELETE | KEY_ENUMERATE_SUB_KEYS | KEY_QUERY_VALUE | KEY_SET_VALUE | kView,
                              &key);
    if (s == ERROR_SUCCESS) {
      s = RegDeleteTreeW(key, nullptr);
      RegCloseKey(key);
      if (s == ERROR_SUCCESS) s = RegDeleteKeyExW(key_, path.c_str(), kView, 0);
    }
    return s == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : s;
  }

 private:
  HKEY key_ = nullptr;
  LSTATUS status_;
};

HRESULT remove_classes(const ClassesRoot& root) {
  HRESULT result = S_OK;
  for (const Class& c : kClasses)
    for (const wchar_t* pattern : kOwnKeys) {
      LSTATUS s = root.remove(expand(pattern, c));
      if (s != ERROR_SUCCESS && SUCCEEDED(result)) result = HRESULT_FROM_WIN32(s);
    }
  return result;
}

HRESULT register_type_library(Scope scope) {
  std::wstring path = module_path();
  ITypeLib* library = nullptr;
  HRESULT hr = LoadTypeLibEx(path.c_str(), REGKIND_NONE, &library);
  if (FAILED(hr)) return hr;
  hr = scope == Scope::user ? RegisterTypeLibForUser(library, path.data(), nullptr)
                            : RegisterTypeLib(library, path.data(), nullptr);
  library->Release();
  return hr;
}

HRESULT unregister_type_library(Scope scope) {
  HRESULT hr = scope == Scope::user ? UnRegisterTypeLibForUser(LIBID_Kor, kMajor, kMinor, kLcid, kSyskind)
                                    : UnRegisterTypeLib(LIBID_Kor, kMajor, kMinor, kLcid, kSyskind);
  // A library that was never registered is no failure of unregistration.
  return hr == TYPE_E_REGISTRYACCESS || hr == TYPE_E_LIBNOTREGISTERED ? S_OK : hr;
}

HRESULT register_server(Scope scope) {
  ClassesRoot root(scope);
  HRESULT hr = root.status();
  for (const Class& c : kClasses)
    for (const Value& v : kValues)
      if (SUCCEEDED(hr)) hr = root.set(v, c);
  if (FAILED(hr)) {
    remove_classes(root);
    return SELFREG_E_CLASS;
  }
  if (FAILED(register_type_library(scope))) {
    remove_classes(root);
    return SELFREG_E_TYPELIB;
  }
  return S_OK;
}

HRESULT unregister_server(Scope scope) {
  ClassesRoot root(scope);
  if (FAILED(root.status())) return SELFREG_E_CLASS;
  HRESULT classes = remove_classes(root);
  HRESULT library = unregister_type_library(scope);
  if (FAILED(classes)) return SELFREG_E_CLASS;
  if (FAILED(library)) return SELFREG_E_TYPELIB;
  return S_OK;
}

}  // namespace
}  // namespace kor::com

STDAPI DllRegisterServer() { return kor::com::register_server(kor::com::Scope::machine); }

STDAPI DllUnregisterServer() { return kor::com::unregister_server(kor::com::Scope::machine); }

// regsvr32 /i:user kor.dll (with /n: only this) registers for the current user,
// regsvr32 /u /i:user kor.dll unregisters again.  Without a command line it
// stands for the machine-wide registration, as regsvr32 /i alone expects.
STDAPI DllInstall(BOOL install, LPCWSTR command_line) {
  using kor::com::Scope;
  Scope scope = Scope::machine;
  if (command_line && *command_line) {
    if (CompareStringOrdinal(command_line, -1, L"user", -1, TRUE) != CSTR_EQUAL) return E_INVALIDARG;
    scope = Scope::user;
  }
  return install ? kor::com::register_server(scope) : kor::com::unregister_server(scope);
}
