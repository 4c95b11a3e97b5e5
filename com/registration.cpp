// Self-registration: DllRegisterServer writes the classes' keys from a small
// table and registers the embedded type library; DllUnregisterServer removes
// both again.
#include <windows.h>
#include <oleauto.h>
#include <olectl.h>

#include <string>

#include "kor.h"
#include "module.hpp"

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

// Keys under HKEY_CLASSES_ROOT, one table for every class.  In the texts
// $C stands for the class's CLSID, $P for its ProgID, $L for the LIBID and
// $M for the path of this DLL.  A null name is the key's default value.
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

HRESULT set_value(const Value& v, const Class& c) {
  HKEY key = nullptr;
  LSTATUS s = RegCreateKeyExW(HKEY_CLASSES_ROOT, expand(v.key, c).c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                              KEY_SET_VALUE, nullptr, &key, nullptr);
  if (s != ERROR_SUCCESS) return HRESULT_FROM_WIN32(s);
  const std::wstring data = expand(v.data, c);
  s = RegSetValueExW(key, v.name, 0, REG_SZ, reinterpret_cast<const BYTE*>(data.c_str()),
                     static_cast<DWORD>((data.size() + 1) * sizeof(wchar_t)));
  RegCloseKey(key);
  return s == ERROR_SUCCESS ? S_OK : HRESULT_FROM_WIN32(s);
}

HRESULT remove_classes() {
  HRESULT result = S_OK;
  for (const Class& c : kClasses) {
    for (const wchar_t* pattern : kOwnKeys) {
      LSTATUS s = RegDeleteTreeW(HKEY_CLASSES_ROOT, expand(pattern, c).c_str());
      if (s != ERROR_SUCCESS && s != ERROR_FILE_NOT_FOUND && SUCCEEDED(result)) result = HRESULT_FROM_WIN32(s);
    }
  }
  return result;
}

HRESULT register_type_library() {
  std::wstring path = module_path();
  ITypeLib* library = nullptr;
  HRESULT hr = LoadTypeLibEx(path.c_str(), REGKIND_NONE, &library);
  if (FAILED(hr)) return hr;
  hr = RegisterTypeLib(library, path.data(), nullptr);
  library->Release();
  return hr;
}

}  // namespace
}  // namespace kor::com

STDAPI DllRegisterServer() {
  using namespace kor::com;
  HRESULT hr = S_OK;
  for (const Class& c : kClasses)
    for (const Value& v : kValues)
      if (SUCCEEDED(hr)) hr = set_value(v, c);
  if (FAILED(hr)) {
    remove_classes();
    return SELFREG_E_CLASS;
  }
  hr = register_type_library();
  if (FAILED(hr)) {
    remove_classes();
    return SELFREG_E_TYPELIB;
  }
  return S_OK;
}

STDAPI DllUnregisterServer() {
  using namespace kor::com;
  HRESULT classes = remove_classes();
  HRESULT library = UnRegisterTypeLib(LIBID_Kor, kMajor, kMinor, kLcid, SYS_WIN64);
  // A library that was never registered is no failure of unregistration.
  if (library == TYPE_E_REGISTRYACCESS || library == TYPE_E_LIBNOTREGISTERED) library = S_OK;
  if (FAILED(classes)) return SELFREG_E_CLASS;
  if (FAILED(library)) return SELFREG_E_TYPELIB;
  return S_OK;
}
