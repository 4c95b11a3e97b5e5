// What the whole of kor.dll shares: its module handle, the count of live
// objects and server locks that DllCanUnloadNow answers from, and the type
// information of the two interfaces, read once from the embedded type library.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <memory>
#include <string>
#include <vector>

namespace kor::com {

HMODULE module_handle() noexcept;
void set_module_handle(HMODULE module) noexcept;

// The full path of kor.dll (for the registry and for LoadTypeLibEx).
std::wstring module_path();

// Objects and LockServer locks keep the DLL loaded.
void add_object() noexcept;
void release_object() noexcept;
void add_lock() noexcept;
void release_lock() noexcept;
bool can_unload() noexcept;

// The dispatch view of one interface of the type library and the class that
// has it as its default interface, with the number of parameters (the return
// value not counted) of each member, so that Invoke can refuse surplus
// arguments before a method sees them.
class InterfaceInfo {
 public:
  InterfaceInfo(ITypeInfo* info, ITypeInfo* coclass);  // takes over one reference of each
  ~InterfaceInfo();
  InterfaceInfo(const InterfaceInfo&) = delete;
  InterfaceInfo& operator=(const InterfaceInfo&) = delete;

  ITypeInfo* type_info() const noexcept { return info_; }
  ITypeInfo* class_info() const noexcept { return coclass_; }
  // The parameter count of member `id`, or -1 if the interface has no such member.
  int parameter_count(DISPID id) const noexcept;

 private:
  struct Member {
    DISPID id;
    int parameters;
  };
  ITypeInfo* info_;
  ITypeInfo* coclass_;
  std::vector<Member> members_;
};

// The type information of the interface `iid` (_Korvat or _Interpret), loaded
// on first use.  An object keeps the shared pointer for its lifetime, so the
// cache itself can be dropped when the DLL is about to be unloaded.
HRESULT interface_info(REFIID iid, std::shared_ptr<const InterfaceInfo>& info);
void drop_interface_infos() noexcept;

}  // namespace kor::com
