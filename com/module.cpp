// The module plumbing of kor.dll: DllMain, the class factories,
// DllGetClassObject and DllCanUnloadNow, and the cache of type information.
#include "module.hpp"

#include <atomic>
#include <mutex>

#include "kor.h"
#include "objects.hpp"

namespace kor::com {
namespace {

HMODULE g_module = nullptr;
std::atomic<long> g_objects{0};
std::atomic<long> g_locks{0};

// ---- type information ----

std::mutex g_info_mutex;
std::shared_ptr<const InterfaceInfo> g_korvat_info;
std::shared_ptr<const InterfaceInfo> g_interpret_info;

// One interface and its class from the type library.
HRESULT make_info(ITypeLib* library, REFIID iid, REFCLSID clsid, std::shared_ptr<const InterfaceInfo>& out) {
  ITypeInfo* info = nullptr;
  ITypeInfo* coclass = nullptr;
  HRESULT hr = library->GetTypeInfoOfGuid(iid, &info);
  if (SUCCEEDED(hr)) hr = library->GetTypeInfoOfGuid(clsid, &coclass);
  if (SUCCEEDED(hr)) {
    try {
      out = std::make_shared<const InterfaceInfo>(info, coclass);
      return S_OK;
    } catch (...) {
      hr = E_OUTOFMEMORY;
    }
  }
  if (info) info->Release();
  if (coclass) coclass->Release();
  return hr;
}

HRESULT load_interface_infos() {
  ITypeLib* library = nullptr;
  HRESULT hr = LoadTypeLibEx(module_path().c_str(), REGKIND_NONE, &library);
  if (FAILED(hr)) return hr;
  hr = make_info(library, IID__Korvat, CLSID_Korvat, g_korvat_info);
  if (SUCCEEDED(hr)) hr = make_info(library, IID__Interpret, CLSID_Interpret, g_interpret_info);
  // Each type info holds its library; the module needs no reference of its own.
  library->Release();
  if (FAILED(hr)) g_korvat_info.reset();
  return hr;
}

// ---- class factories ----

template <class Object>
class ClassFactory final : public IClassFactory {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override {
    if (!out) return E_POINTER;
    if (IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, IID_IClassFactory)) {
      *out = static_cast<IClassFactory*>(this);
      return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
  }
  // The factories are static; only LockServer keeps the DLL loaded.
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID riid, void** out) override {
    if (!out) return E_POINTER;
    *out = nullptr;
    if (outer) return CLASS_E_NOAGGREGATION;
    return Object::create(riid, out);
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
    if (lock)
      add_lock();
    else
      release_lock();
    return S_OK;
  }
};

ClassFactory<KorvatClass> g_korvat_factory;
ClassFactory<InterpretClass> g_interpret_factory;

}  // namespace

HMODULE module_handle() noexcept { return g_module; }
void set_module_handle(HMODULE module) noexcept { g_module = module; }

std::wstring module_path() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    DWORD n = GetModuleFileNameW(g_module, path.data(), static_cast<DWORD>(path.size()));
    if (n == 0) return {};
    if (n < path.size()) {
      path.resize(n);
      return path;
    }
    path.resize(path.size() * 2);
  }
}

void add_object() noexcept { ++g_objects; }
void release_object() noexcept { --g_objects; }
void add_lock() noexcept { ++g_locks; }
void release_lock() noexcept { --g_locks; }
bool can_unload() noexcept { return g_objects.load() == 0 && g_locks.load() == 0; }

InterfaceInfo::InterfaceInfo(ITypeInfo* info, ITypeInfo* coclass) : info_(info), coclass_(coclass) {
  TYPEATTR* attr = nullptr;
  if (FAILED(info_->GetTypeAttr(&attr))) return;
  members_.reserve(attr->cFuncs);
  for (UINT i = 0; i < attr->cFuncs; ++i) {
    FUNCDESC* desc = nullptr;
    if (FAILED(info_->GetFuncDesc(i, &desc))) continue;
    int count = desc->cParams;
    // The dispatch view of a dual interface may still list the return value
    // as a parameter; a client never passes it.
    if (count > 0 && (desc->lprgelemdescParam[count - 1].paramdesc.wParamFlags & PARAMFLAG_FRETVAL)) --count;
    members_.push_back({desc->memid, count});
    info_->ReleaseFuncDesc(desc);
  }
  info_->ReleaseTypeAttr(attr);
}

InterfaceInfo::~InterfaceInfo() {
  info_->Release();
  coclass_->Release();
}

int InterfaceInfo::parameter_count(DISPID id) const noexcept {
  for (const Member& m : members_)
    if (m.id == id) return m.parameters;
  return -1;
}

HRESULT interface_info(REFIID iid, std::shared_ptr<const InterfaceInfo>& info) {
  std::lock_guard lock(g_info_mutex);
  if (!g_korvat_info) {
    HRESULT hr = load_interface_infos();
    if (FAILED(hr)) return hr;
  }
  if (IsEqualIID(iid, IID__Korvat))
    info = g_korvat_info;
  else if (IsEqualIID(iid, IID__Interpret))
    info = g_interpret_info;
  else
    return TYPE_E_ELEMENTNOTFOUND;
  return S_OK;
}

void drop_interface_infos() noexcept {
  std::lock_guard lock(g_info_mutex);
  g_korvat_info.reset();
  g_interpret_info.reset();
}

}  // namespace kor::com

// ---- entry points ----

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) kor::com::set_module_handle(instance);
  return TRUE;
}

STDAPI DllGetClassObject(REFCLSID clsid, REFIID riid, LPVOID* out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (IsEqualCLSID(clsid, CLSID_Korvat)) return kor::com::g_korvat_factory.QueryInterface(riid, out);
  if (IsEqualCLSID(clsid, CLSID_Interpret)) return kor::com::g_interpret_factory.QueryInterface(riid, out);
  return CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllCanUnloadNow() {
  if (!kor::com::can_unload()) return S_FALSE;
  // Nothing uses the type information any more; let it go before the DLL does.
  kor::com::drop_interface_infos();
  return S_OK;
}
