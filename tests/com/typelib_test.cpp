// The type library as a client reads it from the registry, compared with
// kor.idl itself (the build copies it next to this program): the library's
// attributes, every class and interface with its flags, and every method
// written back in the IDL's own words from both views of its dual interface.
// widl silently drops a method it cannot encode, and help strings read back
// only in the right code page: they are stored as Windows-1250 bytes, and the
// runner starts this program with LC_ALL=cs_CZ.UTF-8, which gives it that
// ANSI code page.
#include <gtest/gtest.h>

#include <cstdio>
#include <cwctype>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>

#include "support.hpp"

namespace comtest {
namespace {

// kor.idl without its comments, every run of white space one space.
const std::string& idl() {
  static const std::string text = [] {
    char exe[MAX_PATH];
    const std::string path(exe, GetModuleFileNameA(nullptr, exe, MAX_PATH));
    std::ifstream in(path.substr(0, path.find_last_of("\\/") + 1) + "kor.idl");
    std::stringstream s;
    s << in.rdbuf();
    return std::regex_replace(std::regex_replace(s.str(), std::regex("//[^\n]*"), ""), std::regex("\\s+"), " ");
  }();
  return text;
}

// Each match of `pattern` in `text`, as its groups.
std::vector<std::vector<std::string>> find_all(const std::string& text, const char* pattern) {
  std::vector<std::vector<std::string>> out;
  const std::regex re(pattern);
  for (std::sregex_iterator m(text.begin(), text.end(), re), end; m != end; ++m)
    out.emplace_back(m->begin(), m->end());
  return out;
}

std::string take(BSTR s) {
  const std::string t = s ? narrow(s, SysStringLen(s)) : "";
  SysFreeString(s);
  return t;
}

std::string spell(const TYPEDESC& t) {
  switch (t.vt) {
    case VT_PTR: return spell(*t.lptdesc) + "*";
    case VT_SAFEARRAY: return "SAFEARRAY(" + spell(*t.lptdesc) + ")";
    case VT_VARIANT: return "VARIANT";
    case VT_R8: return "double";
    case VT_BSTR: return "BSTR";
    case VT_I2: return "short";
    case VT_DISPATCH: return "IDispatch*";
    case VT_HRESULT: return "HRESULT";
    case VT_VOID: return "void";
    default: return "vt" + std::to_string(t.vt);
  }
}

// A method as the IDL declares it: [id(...), helpstring("...")] HRESULT Name([in, out] type name, ...);
std::string declaration(ITypeInfo* info, const FUNCDESC* f) {
  BSTR names[20] = {}, help = nullptr;
  UINT got = 0;
  info->GetNames(f->memid, names, 20, &got);
  info->GetDocumentation(f->memid, nullptr, &help, nullptr, nullptr);
  char id[16];
  snprintf(id, sizeof id, "0x%08lX", static_cast<unsigned long>(f->memid));
  const std::string h = take(help);
  std::string s = std::string("[id(") + id + ")" + (h.empty() ? "" : ", helpstring(\"" + h + "\")") + "] " +
                  spell(f->elemdescFunc.tdesc) + " " + take(names[0]) + "(";
  for (SHORT k = 0; k < f->cParams; ++k) {
    const USHORT flags = f->lprgelemdescParam[k].paramdesc.wParamFlags;
    std::string a;
    for (auto [flag, word] : {std::pair{PARAMFLAG_FIN, "in"}, {PARAMFLAG_FOUT, "out"}, {PARAMFLAG_FOPT, "optional"},
                              {PARAMFLAG_FRETVAL, "retval"}})
      if (flags & flag) a += (a.empty() ? "" : ", ") + std::string(word);
    s += (k ? ", [" : "[") + a + "] " + spell(f->lprgelemdescParam[k].tdesc) + " " +
         (k + 1 < static_cast<SHORT>(got) ? take(names[k + 1]) : "?");
  }
  return s + ");";
}

class TypeLibrary : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto lib =
        find_all(idl(), R"re(version\((\d+)\.(\d+)\), lcid\((\w+)\), helpstring\("([^"]*)"\) \] library (\w+))re");
    ASSERT_EQ(lib.size(), 1u) << "kor.idl not found next to the test program, or its library header changed";
    header = lib[0];
    const auto major = static_cast<WORD>(std::stoi(header[1])), minor = static_cast<WORD>(std::stoi(header[2]));
    ASSERT_EQ(LoadRegTypeLib(LIBID_Kor, major, minor, std::stoul(header[3], nullptr, 0), library.put()), S_OK);
  }
  // The type description of that name, and its attributes.
  Ptr<ITypeInfo> named(const std::string& name, TYPEATTR** attr) {
    std::wstring w = widen(name);
    ITypeInfo* info = nullptr;
    MEMBERID member = 0;
    USHORT found = 1;
    if (library->FindName(w.data(), 0, &info, &member, &found) != S_OK || !found) return Ptr<ITypeInfo>();
    info->GetTypeAttr(attr);
    return Ptr<ITypeInfo>(info);
  }
  std::vector<std::string> header;
  Ptr<ITypeLib> library;
};

TEST_F(TypeLibrary, IsRegisteredForTheDllWithTheLibraryAttributesOfTheIdl) {
  TLIBATTR* attr = nullptr;
  ASSERT_EQ(library->GetLibAttr(&attr), S_OK);
  EXPECT_EQ(attr->syskind, sizeof(void*) == 8 ? SYS_WIN64 : SYS_WIN32);
  BSTR path = nullptr, name = nullptr, help = nullptr;
  ASSERT_EQ(QueryPathOfRegTypeLib(LIBID_Kor, attr->wMajorVerNum, attr->wMinorVerNum, attr->lcid, &path), S_OK);
  library->ReleaseTLibAttr(attr);
  EXPECT_EQ(lstrcmpiW(widen(take(path)).c_str(), kor_dll_path().c_str()), 0);
  ASSERT_EQ(library->GetDocumentation(-1, &name, &help, nullptr, nullptr), S_OK);
  EXPECT_EQ(take(name), header[5]);
  EXPECT_EQ(take(help), header[4]);
}

TEST_F(TypeLibrary, HoldsEveryClassAndInterfaceOfTheIdlWithItsFlags) {
  const std::pair<const char*, WORD> words[] = {{"dual", TYPEFLAG_FDUAL}, {"hidden", TYPEFLAG_FHIDDEN},
                                                {"nonextensible", TYPEFLAG_FNONEXTENSIBLE},
                                                {"appobject", TYPEFLAG_FAPPOBJECT}};
  const WORD mask = TYPEFLAG_FDUAL | TYPEFLAG_FHIDDEN | TYPEFLAG_FNONEXTENSIBLE | TYPEFLAG_FAPPOBJECT |
                    TYPEFLAG_FCANCREATE | TYPEFLAG_FOLEAUTOMATION;
  // [attributes] interface Name : IDispatch, or [attributes] coclass Name { [default] interface Default;
  const auto types =
      find_all(idl(), R"(\[([^\[\]]*)\] (interface|coclass) (\w+) [:{] (?:\[default\] interface )?(\w+))");
  ASSERT_EQ(types.size(), 4u);
  EXPECT_EQ(library->GetTypeInfoCount(), 4u);
  for (const auto& t : types) {
    SCOPED_TRACE(t[3]);
    const bool coclass = t[2] == "coclass";
    WORD flags = coclass ? TYPEFLAG_FCANCREATE : 0;
    for (const auto& [word, flag] : words) if (t[1].find(word) != std::string::npos) flags |= flag;
    TYPEATTR* a = nullptr;
    Ptr<ITypeInfo> info = named(t[3], &a), other;
    ASSERT_TRUE(info);
    EXPECT_EQ(a->typekind, coclass ? TKIND_COCLASS : TKIND_DISPATCH);
    EXPECT_EQ(a->wTypeFlags & mask, flags) << std::hex << a->wTypeFlags;
    EXPECT_EQ(a->cImplTypes, 1);
    info->ReleaseTypeAttr(a);
    // A class's one default interface; an interface's vtable view, an automation interface.
    HREFTYPE ref = 0;
    INT impl = 0;
    BSTR other_name = nullptr;
    ASSERT_EQ(info->GetRefTypeOfImplType(coclass ? 0 : -1, &ref), S_OK);
    ASSERT_EQ(info->GetRefTypeInfo(ref, other.put()), S_OK);
    other->GetDocumentation(-1, &other_name, nullptr, nullptr, nullptr);
    ASSERT_EQ(other->GetTypeAttr(&a), S_OK);
    if (coclass) {
      EXPECT_EQ(info->GetImplTypeFlags(0, &impl), S_OK);
      EXPECT_EQ(impl, IMPLTYPEFLAG_FDEFAULT);
      EXPECT_EQ(take(other_name), t[4]);
    } else {
      EXPECT_EQ(a->typekind, TKIND_INTERFACE);
      EXPECT_EQ(a->wTypeFlags & mask, flags | TYPEFLAG_FOLEAUTOMATION) << std::hex << a->wTypeFlags;
      EXPECT_EQ(take(other_name), t[3]);
    }
    other->ReleaseTypeAttr(a);
  }
}

TEST_F(TypeLibrary, HoldsEveryMethodOfTheIdlOnBothViewsAndTheObjectsFindItByName) {
  std::size_t count = 0;
  for (const auto& [progid, iface] : {std::pair{L"Kor.Korvat", "_Korvat"}, {L"Kor.Interpret", "_Interpret"}}) {
    SCOPED_TRACE(iface);
    const std::size_t start = idl().find(std::string("interface ") + iface + " : IDispatch {");
    ASSERT_NE(start, std::string::npos);
    const auto methods = find_all(idl().substr(start, idl().find('}', start) - start),
                                  R"(\[id\((\w+)\)[^\]]*\] HRESULT (\w+)\([^;]*;)");
    TYPEATTR* a = nullptr;
    Ptr<ITypeInfo> dispatch = named(iface, &a), vtable;
    ASSERT_TRUE(dispatch);
    dispatch->ReleaseTypeAttr(a);
    HREFTYPE ref = 0;
    ASSERT_EQ(dispatch->GetRefTypeOfImplType(-1, &ref), S_OK);
    ASSERT_EQ(dispatch->GetRefTypeInfo(ref, vtable.put()), S_OK);
    ASSERT_EQ(vtable->GetTypeAttr(&a), S_OK);
    EXPECT_EQ(a->cFuncs, methods.size());
    vtable->ReleaseTypeAttr(a);
    Ptr<IDispatch> object = create(progid);
    for (std::size_t i = 0; i < methods.size(); ++i, ++count) {
      const std::string& idl_text = methods[i][0];
      const MEMBERID id = static_cast<MEMBERID>(std::stoul(methods[i][1], nullptr, 0));
      SCOPED_TRACE(methods[i][2]);
      // The vtable view in declaration order, after IUnknown's and IDispatch's seven slots.
      FUNCDESC* f = nullptr;
      ASSERT_EQ(vtable->GetFuncDesc(static_cast<UINT>(i), &f), S_OK);
      EXPECT_EQ(declaration(vtable.get(), f), idl_text);
      EXPECT_EQ(f->funckind, FUNC_PUREVIRTUAL);
      EXPECT_EQ(f->oVft, static_cast<SHORT>((7 + i) * sizeof(void*)));
      vtable->ReleaseFuncDesc(f);
      // The dispatch view returns the [out, retval] parameter's type, or nothing.
      std::smatch retval;
      std::regex_search(idl_text, retval, std::regex(R"((, )?\[out, retval\] (\w+)\* \w+\))"));
      std::string expected = retval.empty() ? idl_text : retval.prefix().str() + ")" + retval.suffix().str();
      expected.replace(expected.find("HRESULT"), 7, retval.empty() ? "void" : retval[2].str());
      ASSERT_TRUE(f = function(dispatch.get(), id));
      EXPECT_EQ(declaration(dispatch.get(), f), expected);
      EXPECT_EQ(f->funckind, FUNC_DISPATCH);
      EXPECT_EQ(f->invkind, INVOKE_FUNC);
      dispatch->ReleaseFuncDesc(f);
      for (auto change : {::towlower, ::towupper}) {
        std::wstring name = widen(methods[i][2]);
        for (wchar_t& c : name) c = static_cast<wchar_t>(change(c));
        HRESULT hr = E_FAIL;
        EXPECT_EQ(dispid(object.get(), name.c_str(), &hr), id);
        EXPECT_EQ(hr, S_OK);
      }
    }
  }
  // Fifteen methods in two flavours, and the evaluator with its four solvers.
  EXPECT_EQ(count, 35u);
}

}  // namespace
}  // namespace comtest
