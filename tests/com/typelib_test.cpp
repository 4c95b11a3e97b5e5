// The type library, described type by type and method by method in the IDL's
// own words: the registered one compared with kor.idl itself (the build copies
// it next to this program), the 32-bit DLL's own (read as a data file, its
// path in KOR_TYPELIB32) compared with the registered 64-bit one.  widl
// silently drops a method it cannot encode, and help strings read back only
// in the right code page: they are stored as Windows-1250 bytes, and the runner
// starts this program with LC_ALL=cs_CZ.UTF-8, which gives it that ANSI code page.
#include <fstream>
#include <map>
#include <regex>
#include <sstream>

#include "support.hpp"

namespace comtest {
namespace {

// Type name ("Name vtable" for the vtable view of a dual interface) -> its
// header line "kind flags GUID [implemented-count impl-flags interface]", then
// one line per method.
using Description = std::map<std::string, std::vector<std::string>>;

std::string take(BSTR s) { const std::string t = s ? narrow(s, SysStringLen(s)) : ""; return SysFreeString(s), t; }
std::string header(int kind, int flags, std::string guid, const std::string& impl = "") {
  char h[24];
  snprintf(h, sizeof h, "%d 0x%04X ", kind, flags & (TYPEFLAG_FDUAL | TYPEFLAG_FHIDDEN | TYPEFLAG_FNONEXTENSIBLE |
                                                     TYPEFLAG_FAPPOBJECT | TYPEFLAG_FCANCREATE | TYPEFLAG_FOLEAUTOMATION));
  for (char& c : guid) c = char(toupper(c));
  return h + guid + impl;
}

std::string spell(const TYPEDESC& t) {
  static const std::map<VARTYPE, std::string> words = {{VT_VARIANT, "VARIANT"}, {VT_R8, "double"}, {VT_BSTR, "BSTR"},
      {VT_I2, "short"}, {VT_DISPATCH, "IDispatch*"}, {VT_HRESULT, "HRESULT"}, {VT_VOID, "void"}};
  if (t.vt == VT_PTR) return spell(*t.lptdesc) + "*";
  if (t.vt == VT_SAFEARRAY) return "SAFEARRAY(" + spell(*t.lptdesc) + ")";
  return words.count(t.vt) ? words.at(t.vt) : "vt" + std::to_string(t.vt);
}

// A method as the IDL declares it, after its kinds and vtable slot (as this
// process lays the vtable out: Wine gives the offset for the process whatever
// the library's syskind):  1/1 7 [id(0x60030000), helpstring("...")] HRESULT Name([in, out] type name, ...);
std::string declaration(ITypeInfo* info, const FUNCDESC* f) {
  BSTR names[20] = {}, help = nullptr;
  UINT got = 0;
  info->GetNames(f->memid, names, 20, &got);
  info->GetDocumentation(f->memid, nullptr, &help, nullptr, nullptr);
  char head[48];
  snprintf(head, sizeof head, "%d/%d %s [id(0x%08lX)", f->funckind, f->invkind,
           f->funckind == FUNC_DISPATCH ? "-" : std::to_string(f->oVft / int(sizeof(void*))).c_str(), (unsigned long)f->memid);
  const std::string h = take(help);
  std::string s = head + (h.empty() ? "" : ", helpstring(\"" + h + "\")") + "] " + spell(f->elemdescFunc.tdesc) + " " +
                  take(names[0]) + "(";
  for (SHORT k = 0; k < f->cParams; ++k) {
    std::string a;
    for (auto [flag, word] : {std::pair{PARAMFLAG_FIN, "in"}, {PARAMFLAG_FOUT, "out"}, {PARAMFLAG_FOPT, "optional"},
                              {PARAMFLAG_FRETVAL, "retval"}})
      if (f->lprgelemdescParam[k].paramdesc.wParamFlags & flag) a += (a.empty() ? "" : ", ") + std::string(word);
    s += (k ? ", [" : "[") + a + "] " + spell(f->lprgelemdescParam[k].tdesc) + " " + (k + 1 < SHORT(got) ? take(names[k + 1]) : "?");
  }
  return s + ");";
}

void describe(Description& out, ITypeInfo* info, const std::string& key) {
  TYPEATTR* a = nullptr;
  Ptr<ITypeInfo> other;
  HREFTYPE ref = 0;
  INT impl = 0;
  BSTR name = nullptr;
  info->GetTypeAttr(&a);
  if (a->typekind == TKIND_COCLASS && info->GetRefTypeOfImplType(0, &ref) == S_OK && info->GetRefTypeInfo(ref, other.put()) == S_OK)
    info->GetImplTypeFlags(0, &impl), other->GetDocumentation(-1, &name, nullptr, nullptr, nullptr);
  out[key] = {header(a->typekind, a->wTypeFlags, narrow(guid_text(a->guid)),
                     other ? " " + std::to_string(a->cImplTypes) + " " + std::to_string(impl) + " " + take(name) : "")};
  for (UINT k = 0; k < a->cFuncs; ++k) {
    FUNCDESC* f = nullptr;
    info->GetFuncDesc(k, &f);
    if ((f->memid & 0xFFFE0000) != 0x60000000) out[key].push_back(declaration(info, f));  // not IDispatch's own
    info->ReleaseFuncDesc(f);
  }
  if (a->typekind == TKIND_DISPATCH && (other = vtable_view(info))) describe(out, other.get(), key + " vtable");
  info->ReleaseTypeAttr(a);
}
Description describe(ITypeLib* library) {
  Description out;
  for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
    Ptr<ITypeInfo> info;
    BSTR name = nullptr;
    library->GetTypeInfo(i, info.put());
    info->GetDocumentation(-1, &name, nullptr, nullptr, nullptr);
    describe(out, info.get(), take(name));
  }
  return out;
}

// The same description worked out from kor.idl, as widl must have encoded it.
Description from_idl() {
  char exe[MAX_PATH];
  const std::string path(exe, GetModuleFileNameA(nullptr, exe, MAX_PATH));
  std::stringstream s;
  s << std::ifstream(path.substr(0, path.find_last_of("\\/") + 1) + "kor.idl").rdbuf();
  const std::string idl = std::regex_replace(std::regex_replace(s.str(), std::regex("//[^\n]*"), ""), std::regex("\\s+"), " ");
  auto each = [](const std::string& text, const char* pattern, auto f) {
    const std::regex re(pattern);
    for (std::sregex_iterator m(text.begin(), text.end(), re), end; m != end; ++m) f(*m);
  };
  Description out;
  each(idl, R"(\[ uuid\(([\w-]+)\),? ?([^\[\]]*)\] (interface|coclass) (\w+) [:{] (?:\[default\] interface )?(\w+))", [&](auto& m) {
    int flags = m[3] == "coclass" ? TYPEFLAG_FCANCREATE : 0;
    for (auto [word, flag] : {std::pair{"dual", TYPEFLAG_FDUAL}, {"hidden", TYPEFLAG_FHIDDEN},
                              {"nonextensible", TYPEFLAG_FNONEXTENSIBLE}, {"appobject", TYPEFLAG_FAPPOBJECT}})
      if (m[2].str().find(word) != std::string::npos) flags |= flag;
    const std::string guid = "{" + m[1].str() + "}", name = m[4];
    if (m[3] == "coclass") return void(out[name] = {header(TKIND_COCLASS, flags, guid, " 1 1 " + m[5].str())});
    out[name] = {header(TKIND_DISPATCH, flags, guid)};
    out[name + " vtable"] = {header(TKIND_INTERFACE, flags | TYPEFLAG_FOLEAUTOMATION, guid)};
    const std::size_t start = idl.find("interface " + name + " : IDispatch {");
    int slot = 7;  // after IUnknown's and IDispatch's
    each(idl.substr(start, idl.find('}', start) - start), R"(\[id\(\w+\)[^\]]*\] HRESULT \w+\([^;]*;)", [&](auto& d) {
      // The dispatch view returns the [out, retval] parameter's type, or nothing.
      std::string text = d.str(), dispatch = text;
      std::smatch retval;
      std::regex_search(text, retval, std::regex(R"((, )?\[out, retval\] (\w+)\* \w+\))"));
      if (!retval.empty()) dispatch = retval.prefix().str() + ")" + retval.suffix().str();
      dispatch.replace(dispatch.find("HRESULT"), 7, retval.empty() ? "void" : retval[2].str());
      out[name].push_back("4/1 - " + dispatch);
      out[name + " vtable"].push_back("1/1 " + std::to_string(slot++) + " " + text);
    });
  });
  return out;
}

void expect_same(const Description& got, const Description& want) {
  EXPECT_EQ(got.size(), want.size());
  for (const auto& [type, lines] : want) {
    const std::vector<std::string> none, &have = got.count(type) ? got.at(type) : none;
    EXPECT_EQ(have.size(), lines.size()) << type;
    for (std::size_t i = 0; i < std::min(have.size(), lines.size()); ++i) EXPECT_EQ(have[i], lines[i]) << type;
  }
}

TEST(TypeLibrary, IsRegisteredForTheDllAndSaysWhatKorIdlSays) {
  Ptr<ITypeLib> library;
  BSTR path = nullptr;
  ASSERT_EQ(LoadRegTypeLib(LIBID_Kor, 3, 0, 0x409, library.put()), S_OK);
  ASSERT_EQ(QueryPathOfRegTypeLib(LIBID_Kor, 3, 0, 0x409, &path), S_OK);
  EXPECT_EQ(lstrcmpiW(text(path).c_str(), kor_dll_path().c_str()), 0);
  SysFreeString(path);
  expect_same(describe(library.get()), from_idl());  // two classes, two interfaces in two views
}

TEST(TypeLibrary, OfThe32BitDllSaysWhatTheRegisteredOneSays) {
  const char* path = getenv("KOR_TYPELIB32");
  if (!path || !*path) GTEST_SKIP() << "KOR_TYPELIB32 names no 32-bit kor.dll";
  Ptr<ITypeLib> wide, narrow32;
  TLIBATTR *w = nullptr, *n = nullptr;
  ASSERT_EQ(LoadRegTypeLib(LIBID_Kor, 3, 0, 0x409, wide.put()), S_OK);
  ASSERT_EQ(LoadTypeLibEx(widen(path).c_str(), REGKIND_NONE, narrow32.put()), S_OK) << path;
  ASSERT_EQ(wide->GetLibAttr(&w) | narrow32->GetLibAttr(&n), S_OK);
  EXPECT_EQ(std::tuple(w->syskind, n->syskind, n->guid == w->guid, n->lcid, n->wMajorVerNum, n->wMinorVerNum),
            std::tuple(SYS_WIN64, SYS_WIN32, true, w->lcid, w->wMajorVerNum, w->wMinorVerNum));
  wide->ReleaseTLibAttr(w), narrow32->ReleaseTLibAttr(n);
  expect_same(describe(narrow32.get()), describe(wide.get()));
}

}  // namespace
}  // namespace comtest
