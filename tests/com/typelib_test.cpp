// The type library Kor as a client reads it back from the registry: the
// library's attributes, its four type descriptions, and every method of both
// interfaces on the dispatch view and on the vtable view.  The method tables
// below are written in the words of the library's reference (name, dispatch
// identifier, returns, help string, parameters with their passing); the test
// turns each parameter into the type description automation must record for
// it and compares with what the type library holds, so a method that widl
// dropped or changed shows up here.
//
// The help strings are stored as Windows-1250 bytes; they read back as the
// exact Czech text only in a process whose ANSI code page is 1250 (the runner
// starts this program with LC_ALL=cs_CZ.UTF-8).
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "support.hpp"

namespace comtest {
namespace {

struct MethodRow {
  const wchar_t* name;
  MEMBERID id;
  const char* returns;  // "Variant", "double" or "none"
  const wchar_t* help;  // "" for a method without a help string
  const char* params;   // "name type, by value|by reference[ optional]; ..."
};

// clang-format off
const MethodRow kKorvatMethods[] = {
    {L"Newton", 0x60030000, "Variant", L"Řešení soustavy nelineárních rovnic",
     "G object, by reference; n Variant, by value; Nunknown Variant, by value; NProm Variant, by value; "
     "X array of Variant, by reference; ipom array of Variant, by reference; "
     "z array of Variant, by reference; ID Variant, by reference; Eps Variant, by value optional; "
     "ALAM Variant, by value optional; NITER Variant, by value optional; Delta Variant, by value optional"},
    {L"Gauss", 0x60030001, "none", L"Řešení soustavy lin. rovnic Gaussovou eliminací",
     "n Variant, by value; a array of Variant, by reference; NCOL Variant, by value; "
     "ID Variant, by reference"},
    {L"Rkm", 0x60030002, "none", L"Řešení soustavy obyč. dif. rovnic metodou Runge-Kutta-Merson "
                          L"s automatickou regulací kroku",
     "G object, by reference; nn Variant, by value; xb Variant, by reference; xe Variant, by reference; "
     "Y array of Variant, by reference; Delta Variant, by value; Star Variant, by reference; "
     "zz array of Variant, by reference"},
    {L"Fmin", 0x60030003, "Variant", L"Minimalizace funkce (Rosenbrock)",
     "G object, by reference; n Variant, by value; X array of Variant, by reference; "
     "EPSA Variant, by value optional; itmax Variant, by reference optional"},
    {L"Fmin1", 0x60030004, "Variant", L"Minimalizace funkce (Nelder-Mead)",
     "G object, by reference; NX Variant, by value; X array of Variant, by reference; "
     "Eps Variant, by value optional; itmax Variant, by reference optional"},
    {L"Flagr", 0x60030005, "Variant", L"Lagrangeova neekvidistantní interpolace",
     "n Variant, by value; X array of Variant, by reference; Y array of Variant, by reference; "
     "XI Variant, by reference; M Variant, by value optional"},
    {L"LinBairstow", 0x60030006, "none", L"Obecné kořeny algebraické rovnice",
     "npol Variant, by value; apol array of Variant, by reference; xreal array of Variant, by reference; "
     "ximag array of Variant, by reference; epslin Variant, by value"},
    {L"Polyn", 0x60030008, "Variant", L"Vyčíslení polynomu (Hornerovo schema)",
     "n Variant, by value; X Variant, by reference; a array of Variant, by reference"},
    {L"Rutishauser", 0x60030009, "none", L"Vlastní čísla a vektory matice",
     "n Variant, by value; a array of Variant, by reference; b array of Variant, by reference; "
     "U array of Variant, by reference; tag1 Variant, by reference; tag2 Variant, by reference; "
     "iter Variant, by reference; eigvec Variant, by value optional; stripd Variant, by value optional; "
     "sweep Variant, by value optional; freq Variant, by value optional; "
     "itmax Variant, by value optional; eps1 Variant, by value optional; eps2 Variant, by value optional; "
     "eps3 Variant, by value optional; eps4 Variant, by value optional"},
    {L"Invert", 0x6003000A, "none", L"Inverze matice s jejím zachováním",
     "n Variant, by reference; ap array of Variant, by reference; Ainv array of Variant, by reference; "
     "ID Variant, by reference; EP Variant, by reference optional"},
    {L"Spline", 0x6003000B, "none", L"Výpočet pomocných hodnot kubických spline pro interpolaci",
     "Imin Variant, by value; Imax Variant, by value; X array of Variant, by reference; "
     "Y array of Variant, by reference; Y1min Variant, by value; Y1max Variant, by value; "
     "Y2 array of Variant, by reference"},
    {L"Splder", 0x6003000D, "Variant", L"Derivace pomocí kubických spline",
     "Imin Variant, by reference; Imax Variant, by reference; XA array of Variant, by reference; "
     "Y array of Variant, by reference; Y2 array of Variant, by reference; XX Variant, by reference"},
    {L"Splinp", 0x6003000E, "Variant", L"Interpolace pomocí kubických spline",
     "Imin Variant, by value; Imax Variant, by value; X array of Variant, by reference; "
     "Y array of Variant, by reference; Y2 array of Variant, by reference; XX Variant, by value"},
    {L"Splint", 0x6003000F, "Variant", L"Integrace fce pomocí kubických spline",
     "Imin Variant, by value; Imax Variant, by value; X array of Variant, by reference; "
     "Y array of Variant, by reference; Y2 array of Variant, by reference; poc Variant, by value; "
     "kon Variant, by value"},
    {L"Sinterp", 0x60030010, "Variant", L"Přímá interpolace funkce pomocí kubických spline",
     "n Variant, by value; Npoc Variant, by value; X array of Variant, by reference; "
     "Y array of Variant, by reference; XI Variant, by value; Y1min Variant, by value; "
     "Y1max Variant, by value; Ipoc Variant, by reference"},
    {L"Newtond", 0x60030011, "Variant", L"",
     "G object, by reference; n Variant, by value; Nunknown Variant, by value; NProm Variant, by value; "
     "X array of double, by reference; ipom array of Variant, by reference; "
     "z array of double, by reference; ID Variant, by reference; Eps double, by value optional; "
     "ALAM Variant, by value optional; NITER Variant, by value optional; Delta double, by value optional"},
    {L"Gaussd", 0x60030012, "none", L"",
     "n Variant, by value; a array of double, by reference; NCOL Variant, by value; "
     "ID Variant, by reference"},
    {L"Rkmd", 0x60030013, "none", L"",
     "G object, by reference; nn Variant, by value; xb double, by reference; xe double, by reference; "
     "Y array of double, by reference; Delta double, by value; Star Variant, by reference; "
     "zz array of double, by reference"},
    {L"Fmind", 0x60030014, "double", L"",
     "G object, by reference; n Variant, by value; X array of double, by reference; "
     "EPSA Variant, by value optional; itmax Variant, by reference optional"},
    {L"Fmin1d", 0x60030015, "double", L"",
     "G object, by reference; NX Variant, by value; X array of double, by reference; "
     "Eps Variant, by value optional; itmax Variant, by reference optional"},
    {L"Flagrd", 0x60030016, "double", L"",
     "n Variant, by value; X array of double, by reference; Y array of double, by reference; "
     "XI double, by value; M Variant, by value optional"},
    {L"LinBairstowd", 0x60030017, "none", L"",
     "npol Variant, by value; ap array of double, by reference; xreal array of double, by reference; "
     "ximag array of double, by reference; epslin double, by value"},
    {L"Polynd", 0x60030019, "double", L"",
     "n Variant, by value; X double, by reference; a array of double, by reference"},
    {L"Rutishauserd", 0x6003001A, "none", L"",
     "n Variant, by value; a array of double, by reference; b array of double, by reference; "
     "U array of double, by reference; tag1 Variant, by reference; tag2 Variant, by reference; "
     "iter Variant, by reference; eigvec Variant, by value optional; stripd Variant, by value optional; "
     "sweep Variant, by value optional; freq Variant, by value optional; "
     "itmax Variant, by value optional; eps1 double, by value optional; eps2 double, by value optional; "
     "eps3 double, by value optional; eps4 double, by value optional"},
    {L"Invertd", 0x6003001B, "none", L"",
     "n Variant, by reference; ap array of double, by reference; Ainv array of double, by reference; "
     "ID Variant, by reference; EP double, by reference optional"},
    {L"Splined", 0x6003001C, "none", L"",
     "Imin Variant, by value; Imax Variant, by value; X array of double, by reference; "
     "Y array of double, by reference; Y1min double, by value; Y1max double, by value; "
     "Y2 array of double, by reference"},
    {L"Splderd", 0x6003001E, "double", L"",
     "Imin Variant, by value; Imax Variant, by value; XA array of double, by reference; "
     "Y array of double, by reference; Y2 array of double, by reference; XX double, by reference"},
    {L"Splinpd", 0x6003001F, "double", L"",
     "Imin Variant, by value; Imax Variant, by value; X array of double, by reference; "
     "Y array of double, by reference; Y2 array of double, by reference; XX double, by value"},
    {L"Splintd", 0x60030020, "double", L"",
     "Imin Variant, by value; Imax Variant, by value; X array of double, by reference; "
     "Y array of double, by reference; Y2 array of double, by reference; poc double, by value; "
     "kon double, by value"},
    {L"Sinterpd", 0x60030021, "double", L"",
     "n Variant, by value; Npoc Variant, by value; X array of double, by reference; "
     "Y array of double, by reference; XI double, by value; Y1min double, by value; "
     "Y1max double, by value; Ipoc Variant, by reference"},
};

const MethodRow kInterpretMethods[] = {
    {L"Interp", 0x60030000, "Variant", L"Interpretační vyčíslení výrazu z textu",
     "s string, by value; ipok 16-bit integer, by reference; Pr array of Variant, by reference; "
     "Y array of Variant, by reference"},
    {L"NewtonI", 0x60030005, "Variant", L"Interpretační řešení soustavy nelineárních rovnic",
     "Rov array of string, by reference; n Variant, by value; Nunknown Variant, by value; "
     "NProm Variant, by value; X array of Variant, by reference; ipom array of Variant, by reference; "
     "z array of Variant, by reference; ID Variant, by reference; Eps Variant, by value optional; "
     "ALAM Variant, by value optional; NITER Variant, by value optional; Delta Variant, by value optional"},
    {L"FminI", 0x60030007, "Variant", L"Interpretační minimalizace fce n-proměnných, Rosenbrock",
     "Rov string, by value; n Variant, by value; X array of Variant, by reference; "
     "z array of Variant, by reference; EPSA Variant, by value optional; "
     "itmax Variant, by reference optional"},
    {L"Fmin1I", 0x60030008, "Variant", L"Interpretační minimalizace fce n-proměnných, Nelder-Mead",
     "Rov string, by value; NX Variant, by value; X array of Variant, by reference; "
     "z array of Variant, by reference; Eps Variant, by value optional; "
     "itmax Variant, by reference optional"},
    {L"RkmI", 0x60030009, "none", L"Interpretační řešení soustavy dif. rovnic",
     "Rov array of string, by reference; nn Variant, by value; xb Variant, by reference; "
     "xe Variant, by reference; Y array of Variant, by reference; Delta Variant, by value; "
     "Star Variant, by reference; zz array of Variant, by reference"},
};
// clang-format on

// ---- what a parameter must look like in the type library ----

struct Param {
  std::wstring name;
  std::string type;  // a C-like spelling of the TYPEDESC, e.g. "SAFEARRAY(VARIANT)*"
  USHORT flags;      // PARAMFLAG_FIN / FOUT / FOPT / FRETVAL
};

// The automation type of a parameter of the given kind and passing.
std::string automation_type(const std::string& kind, bool by_reference) {
  std::string base;
  if (kind == "Variant") base = "VARIANT";
  else if (kind == "double") base = "double";
  else if (kind == "object") base = "IDispatch*";
  else if (kind == "string") base = "BSTR";
  else if (kind == "16-bit integer") base = "short";
  else if (kind == "array of Variant") base = "SAFEARRAY(VARIANT)";
  else if (kind == "array of double") base = "SAFEARRAY(double)";
  else if (kind == "array of string") base = "SAFEARRAY(BSTR)";
  else ADD_FAILURE() << "unknown kind in the table: " << kind;
  return by_reference ? base + "*" : base;
}

std::wstring widen(std::string_view s) { return std::wstring(s.begin(), s.end()); }

std::string trim(std::string s) {
  while (!s.empty() && s.front() == ' ') s.erase(s.begin());
  while (!s.empty() && s.back() == ' ') s.pop_back();
  return s;
}

// "X array of double, by reference" -> {X, SAFEARRAY(double)*, FIN|FOUT}
std::vector<Param> expected_params(const MethodRow& row) {
  std::vector<Param> out;
  std::string text = row.params;
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find(';', start);
    if (end == std::string::npos) end = text.size();
    std::string item = trim(text.substr(start, end - start));
    start = end + 1;
    std::size_t space = item.find(' ');
    std::size_t comma = item.find(", by ");
    if (space == std::string::npos || comma == std::string::npos) {
      ADD_FAILURE() << "malformed table entry: " << item;
      continue;
    }
    std::string passing = item.substr(comma + 2);
    const bool optional = passing.size() > 9 && passing.substr(passing.size() - 9) == " optional";
    if (optional) passing.resize(passing.size() - 9);
    const bool by_reference = passing == "by reference";
    if (!by_reference && passing != "by value") ADD_FAILURE() << "malformed passing: " << item;
    Param p;
    p.name = widen(item.substr(0, space));
    p.type = automation_type(item.substr(space + 1, comma - space - 1), by_reference);
    p.flags = static_cast<USHORT>(PARAMFLAG_FIN | (by_reference ? PARAMFLAG_FOUT : 0) |
                                  (optional ? PARAMFLAG_FOPT : 0));
    out.push_back(p);
  }
  return out;
}

// The type a method returns on the dispatch view ("void" for "none").
std::string expected_return(const MethodRow& row) {
  std::string r = row.returns;
  if (r == "none") return "void";
  return automation_type(r, false);
}

// ---- what the type library holds ----

std::string spell(const TYPEDESC& t) {
  switch (t.vt) {
    case VT_PTR: return spell(*t.lptdesc) + "*";
    case VT_SAFEARRAY: return "SAFEARRAY(" + spell(*t.lptdesc) + ")";
    case VT_VARIANT: return "VARIANT";
    case VT_R8: return "double";
    case VT_BSTR: return "BSTR";
    case VT_I2: return "short";
    case VT_I4: return "long";
    case VT_DISPATCH: return "IDispatch*";
    case VT_UNKNOWN: return "IUnknown*";
    case VT_HRESULT: return "HRESULT";
    case VT_VOID: return "void";
    case VT_BOOL: return "VARIANT_BOOL";
    default: {
      std::ostringstream s;
      s << "vt" << t.vt;
      return s.str();
    }
  }
}

std::wstring text(BSTR s) { return s ? std::wstring(s, SysStringLen(s)) : std::wstring(); }

struct Method {
  std::wstring name;
  FUNCKIND kind;
  INVOKEKIND invoke;
  SHORT vtable_offset;
  std::string returns;
  std::vector<Param> params;
  std::wstring help;
};

// The method with member id `id` of a type info; name "" if there is none.
Method read_method(ITypeInfo* info, MEMBERID id) {
  Method m;
  TYPEATTR* attr = nullptr;
  if (FAILED(info->GetTypeAttr(&attr))) return m;
  for (UINT i = 0; i < attr->cFuncs; ++i) {
    FUNCDESC* f = nullptr;
    if (FAILED(info->GetFuncDesc(i, &f))) continue;
    if (f->memid == id) {
      m.kind = f->funckind;
      m.invoke = f->invkind;
      m.vtable_offset = f->oVft;
      m.returns = spell(f->elemdescFunc.tdesc);
      std::vector<BSTR> names(static_cast<std::size_t>(f->cParams) + 1, nullptr);
      UINT got = 0;
      info->GetNames(id, names.data(), static_cast<UINT>(names.size()), &got);
      m.name = got ? text(names[0]) : L"";
      for (SHORT p = 0; p < f->cParams; ++p) {
        const ELEMDESC& e = f->lprgelemdescParam[p];
        Param param;
        param.name = static_cast<UINT>(p) + 1 < got ? text(names[static_cast<std::size_t>(p) + 1]) : L"";
        param.type = spell(e.tdesc);
        param.flags = e.paramdesc.wParamFlags & (PARAMFLAG_FIN | PARAMFLAG_FOUT | PARAMFLAG_FOPT | PARAMFLAG_FRETVAL);
        m.params.push_back(param);
      }
      for (BSTR b : names) SysFreeString(b);
      BSTR help = nullptr;
      info->GetDocumentation(id, nullptr, &help, nullptr, nullptr);
      m.help = text(help);
      SysFreeString(help);
    }
    info->ReleaseFuncDesc(f);
  }
  info->ReleaseTypeAttr(attr);
  return m;
}

// The member ids of a type info that are the interface's own (not IDispatch's).
std::vector<MEMBERID> own_members(ITypeInfo* info) {
  std::vector<MEMBERID> ids;
  TYPEATTR* attr = nullptr;
  if (FAILED(info->GetTypeAttr(&attr))) return ids;
  for (UINT i = 0; i < attr->cFuncs; ++i) {
    FUNCDESC* f = nullptr;
    if (FAILED(info->GetFuncDesc(i, &f))) continue;
    if ((f->memid & 0xFFFF0000) != 0x60000000 && (f->memid & 0xFFFF0000) != 0x60010000) ids.push_back(f->memid);
    info->ReleaseFuncDesc(f);
  }
  info->ReleaseTypeAttr(attr);
  return ids;
}

std::string describe(const std::vector<Param>& ps) {
  std::ostringstream s;
  for (const Param& p : ps) {
    s << std::string(p.name.begin(), p.name.end()) << ":" << p.type << ":" << std::hex << p.flags << " ";
  }
  return s.str();
}

class TypeLibrary : public ::testing::Test {
 protected:
  void SetUp() override {
    HRESULT hr = LoadRegTypeLib(LIBID_Kor, 3, 0, 0x409, library.put());
    ASSERT_EQ(hr, S_OK) << "LoadRegTypeLib: 0x" << std::hex << hr;
  }

  // The dispatch view and the vtable view of interface `iid`.
  void views(REFIID iid, Ptr<ITypeInfo>& dispatch, Ptr<ITypeInfo>& vtable) {
    ASSERT_EQ(library->GetTypeInfoOfGuid(iid, dispatch.put()), S_OK);
    HREFTYPE ref = 0;
    ASSERT_EQ(dispatch->GetRefTypeOfImplType(static_cast<UINT>(-1), &ref), S_OK) << "not a dual interface";
    ASSERT_EQ(dispatch->GetRefTypeInfo(ref, vtable.put()), S_OK);
  }

  void check_methods(REFIID iid, const MethodRow* rows, std::size_t count);

  Ptr<ITypeLib> library;
};

TEST_F(TypeLibrary, LibraryHasItsNameHelpStringVersionAndLocale) {
  TLIBATTR* attr = nullptr;
  ASSERT_EQ(library->GetLibAttr(&attr), S_OK);
  EXPECT_TRUE(IsEqualGUID(attr->guid, LIBID_Kor));
  EXPECT_EQ(attr->wMajorVerNum, 3);
  EXPECT_EQ(attr->wMinorVerNum, 0);
  EXPECT_EQ(attr->lcid, 0x409u);
  EXPECT_EQ(attr->syskind, SYS_WIN64);
  library->ReleaseTLibAttr(attr);

  BSTR name = nullptr, help = nullptr;
  ASSERT_EQ(library->GetDocumentation(-1, &name, &help, nullptr, nullptr), S_OK);
  EXPECT_EQ(text(name), L"Kor");
  EXPECT_EQ(text(help), L"KOR Knihovna numerických metod");
  SysFreeString(name);
  SysFreeString(help);
}

TEST_F(TypeLibrary, RegisteredPathIsTheDll) {
  BSTR path = nullptr;
  ASSERT_EQ(QueryPathOfRegTypeLib(LIBID_Kor, 3, 0, 0x409, &path), S_OK);
  EXPECT_EQ(lstrcmpiW(text(path).c_str(), kor_dll_path().c_str()), 0)
      << std::string(text(path).begin(), text(path).end());
  SysFreeString(path);
}

TEST_F(TypeLibrary, FourTypeDescriptionsInOrderWithTheirKindsAndFlags) {
  struct Row {
    const wchar_t* name;
    const GUID* guid;
    TYPEKIND kind;
    WORD required;   // flags that must be set
    WORD forbidden;  // flags that must not be set
  };
  const WORD kInterface = TYPEFLAG_FDUAL | TYPEFLAG_FHIDDEN | TYPEFLAG_FNONEXTENSIBLE | TYPEFLAG_FDISPATCHABLE;
  const Row rows[] = {
      {L"_Korvat", &IID__Korvat, TKIND_DISPATCH, kInterface, TYPEFLAG_FAPPOBJECT | TYPEFLAG_FCANCREATE},
      {L"Korvat", &CLSID_Korvat, TKIND_COCLASS, TYPEFLAG_FAPPOBJECT | TYPEFLAG_FCANCREATE, TYPEFLAG_FHIDDEN},
      {L"_Interpret", &IID__Interpret, TKIND_DISPATCH, kInterface, TYPEFLAG_FAPPOBJECT | TYPEFLAG_FCANCREATE},
      {L"Interpret", &CLSID_Interpret, TKIND_COCLASS, TYPEFLAG_FCANCREATE, TYPEFLAG_FAPPOBJECT | TYPEFLAG_FHIDDEN},
  };
  ASSERT_EQ(library->GetTypeInfoCount(), 4u);
  for (UINT i = 0; i < 4; ++i) {
    SCOPED_TRACE(i);
    const Row& row = rows[i];
    TYPEKIND kind;
    ASSERT_EQ(library->GetTypeInfoType(i, &kind), S_OK);
    EXPECT_EQ(kind, row.kind);
    BSTR name = nullptr;
    ASSERT_EQ(library->GetDocumentation(static_cast<INT>(i), &name, nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(text(name), row.name);
    SysFreeString(name);

    Ptr<ITypeInfo> info;
    ASSERT_EQ(library->GetTypeInfo(i, info.put()), S_OK);
    TYPEATTR* attr = nullptr;
    ASSERT_EQ(info->GetTypeAttr(&attr), S_OK);
    EXPECT_TRUE(IsEqualGUID(attr->guid, *row.guid));
    EXPECT_EQ(attr->wTypeFlags & row.required, row.required) << std::hex << attr->wTypeFlags;
    EXPECT_EQ(attr->wTypeFlags & row.forbidden, 0) << std::hex << attr->wTypeFlags;
    info->ReleaseTypeAttr(attr);
  }
}

TEST_F(TypeLibrary, EachClassHasItsInterfaceAsItsOneDefaultInterface) {
  const struct {
    const GUID* clsid;
    const GUID* iid;
  } rows[] = {{&CLSID_Korvat, &IID__Korvat}, {&CLSID_Interpret, &IID__Interpret}};
  for (const auto& row : rows) {
    Ptr<ITypeInfo> coclass;
    ASSERT_EQ(library->GetTypeInfoOfGuid(*row.clsid, coclass.put()), S_OK);
    TYPEATTR* attr = nullptr;
    ASSERT_EQ(coclass->GetTypeAttr(&attr), S_OK);
    EXPECT_EQ(attr->cImplTypes, 1);
    coclass->ReleaseTypeAttr(attr);
    INT flags = 0;
    ASSERT_EQ(coclass->GetImplTypeFlags(0, &flags), S_OK);
    EXPECT_EQ(flags, IMPLTYPEFLAG_FDEFAULT);
    HREFTYPE ref = 0;
    ASSERT_EQ(coclass->GetRefTypeOfImplType(0, &ref), S_OK);
    Ptr<ITypeInfo> iface;
    ASSERT_EQ(coclass->GetRefTypeInfo(ref, iface.put()), S_OK);
    ASSERT_EQ(iface->GetTypeAttr(&attr), S_OK);
    EXPECT_TRUE(IsEqualGUID(attr->guid, *row.iid));
    iface->ReleaseTypeAttr(attr);
  }
}

TEST_F(TypeLibrary, VtableViewsAreAutomationInterfacesDerivedFromIDispatch) {
  for (const GUID* iid : {&IID__Korvat, &IID__Interpret}) {
    Ptr<ITypeInfo> dispatch, vtable;
    views(*iid, dispatch, vtable);
    if (!vtable) return;
    TYPEATTR* attr = nullptr;
    ASSERT_EQ(vtable->GetTypeAttr(&attr), S_OK);
    EXPECT_EQ(attr->typekind, TKIND_INTERFACE);
    const WORD flags = TYPEFLAG_FDUAL | TYPEFLAG_FOLEAUTOMATION | TYPEFLAG_FHIDDEN | TYPEFLAG_FNONEXTENSIBLE;
    EXPECT_EQ(attr->wTypeFlags & flags, flags) << std::hex << attr->wTypeFlags;
    EXPECT_EQ(attr->cImplTypes, 1);
    vtable->ReleaseTypeAttr(attr);
    HREFTYPE ref = 0;
    ASSERT_EQ(vtable->GetRefTypeOfImplType(0, &ref), S_OK);
    Ptr<ITypeInfo> base;
    ASSERT_EQ(vtable->GetRefTypeInfo(ref, base.put()), S_OK);
    ASSERT_EQ(base->GetTypeAttr(&attr), S_OK);
    EXPECT_TRUE(IsEqualGUID(attr->guid, IID_IDispatch));
    base->ReleaseTypeAttr(attr);
  }
}

void TypeLibrary::check_methods(REFIID iid, const MethodRow* rows, std::size_t count) {
  Ptr<ITypeInfo> dispatch, vtable;
  views(iid, dispatch, vtable);
  if (!vtable) return;

  // Exactly the methods of the table, no more and no fewer, on both views.
  std::vector<MEMBERID> expected_ids;
  for (std::size_t i = 0; i < count; ++i) expected_ids.push_back(rows[i].id);
  EXPECT_EQ(own_members(dispatch.get()), expected_ids);
  EXPECT_EQ(own_members(vtable.get()), expected_ids);

  for (std::size_t i = 0; i < count; ++i) {
    const MethodRow& row = rows[i];
    SCOPED_TRACE(std::string(row.name, row.name + wcslen(row.name)));
    const std::vector<Param> params = expected_params(row);

    // Dispatch view: the method as IDispatch::Invoke callers see it, the
    // return value folded into the method's own type.
    Method d = read_method(dispatch.get(), row.id);
    EXPECT_EQ(d.name, row.name);
    EXPECT_EQ(d.kind, FUNC_DISPATCH);
    EXPECT_EQ(d.invoke, INVOKE_FUNC);
    EXPECT_EQ(d.returns, expected_return(row));
    EXPECT_EQ(describe(d.params), describe(params));
    EXPECT_EQ(d.help, row.help);

    // Vtable view: HRESULT, the parameters, then the return value as an
    // [out, retval] pointer; slots follow IDispatch's seven in table order.
    Method v = read_method(vtable.get(), row.id);
    EXPECT_EQ(v.name, row.name);
    EXPECT_EQ(v.kind, FUNC_PUREVIRTUAL);
    EXPECT_EQ(v.returns, "HRESULT");
    EXPECT_EQ(v.vtable_offset, static_cast<SHORT>((7 + i) * sizeof(void*)));
    std::vector<Param> with_retval = params;
    if (std::string(row.returns) != "none")
      with_retval.push_back({L"Result", automation_type(row.returns, true),
                             static_cast<USHORT>(PARAMFLAG_FOUT | PARAMFLAG_FRETVAL)});
    EXPECT_EQ(describe(v.params), describe(with_retval));
    EXPECT_EQ(v.help, row.help);
  }
}

TEST_F(TypeLibrary, EveryKorvatMethodHasItsIdParametersReturnAndHelp) {
  check_methods(IID__Korvat, kKorvatMethods, std::size(kKorvatMethods));
}

TEST_F(TypeLibrary, EveryInterpretMethodHasItsIdParametersReturnAndHelp) {
  check_methods(IID__Interpret, kInterpretMethods, std::size(kInterpretMethods));
}

TEST_F(TypeLibrary, TheTableHasThirtyKorvatAndFiveInterpretMethods) {
  // Fifteen methods in two flavours, and the evaluator with four solvers.
  EXPECT_EQ(std::size(kKorvatMethods), 30u);
  EXPECT_EQ(std::size(kInterpretMethods), 5u);
}

}  // namespace
}  // namespace comtest
