// Every method of both classes called with arguments of every odd kind a
// client might send: the component must answer each call with a result or
// an error, never crash, hang or leak an exception.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support.hpp"

namespace comtest {
namespace {

struct Member {
  DISPID id;
  std::wstring name;
  std::vector<VARTYPE> params;  // as declared (VT_PTR chains folded into VT_BYREF)
};

// The members of an object's interface, read from its own type information.
std::vector<Member> members_of(IDispatch* object) {
  Ptr<ITypeInfo> info;
  std::vector<Member> out;
  if (object->GetTypeInfo(0, 0x409, info.put()) != S_OK) return out;
  TYPEATTR* attr = nullptr;
  info->GetTypeAttr(&attr);
  for (UINT f = 0; f < attr->cFuncs; ++f) {
    FUNCDESC* fd = nullptr;
    info->GetFuncDesc(f, &fd);
    if (fd->memid >= 0x60030000) {
      BSTR name = nullptr;
      UINT got = 0;
      info->GetNames(fd->memid, &name, 1, &got);
      Member m{fd->memid, name ? name : L"", {}};
      SysFreeString(name);
      for (SHORT p = 0; p < fd->cParams; ++p) {
        const TYPEDESC* t = &fd->lprgelemdescParam[p].tdesc;
        VARTYPE vt = 0;
        while (t->vt == VT_PTR) {
          vt |= VT_BYREF;
          t = t->lptdesc;
        }
        if (t->vt == VT_SAFEARRAY) vt |= VT_ARRAY | t->lptdesc->vt;
        else vt |= t->vt;
        if (fd->lprgelemdescParam[p].paramdesc.wParamFlags & PARAMFLAG_FRETVAL) continue;
        m.params.push_back(vt);
      }
      out.push_back(std::move(m));
    }
    info->ReleaseFuncDesc(fd);
  }
  info->ReleaseTypeAttr(attr);
  return out;
}

bool acceptable(HRESULT hr) {
  return hr == S_OK || hr == DISP_E_EXCEPTION || hr == DISP_E_TYPEMISMATCH || hr == DISP_E_PARAMNOTOPTIONAL ||
         hr == DISP_E_BADPARAMCOUNT;
}

TEST(Robustness, EveryMethodAnswersOddArgumentsWithAnError) {
  MessageBoxCapture boxes;  // methods may show messages; none may block
  Ptr<ClientObject> client = ClientObject::make();
  for (const wchar_t* name : {L"Fun", L"FKT"}) client->define(name, [](ClientObject::Call&) { return S_OK; });
  client->define(L"F", [](ClientObject::Call& c) { return c.set_result(1.0); });
  int succeeded = 0, refused = 0, raised = 0;
  for (const wchar_t* progid : {L"Kor.Korvat", L"Kor.Interpret"}) {
    Ptr<IDispatch> object = create(progid);
    ASSERT_TRUE(object);
    const std::vector<Member> members = members_of(object.get());
    ASSERT_GE(members.size(), 5u);
    // Kinds of argument: each call passes one kind in every position.
    for (int kind = 0; kind < 8; ++kind) {
      for (const Member& m : members) {
        SCOPED_TRACE(std::string(m.name.begin(), m.name.end()) + " kind " + std::to_string(kind));
        std::vector<SafeArray> arrays;
        arrays.reserve(m.params.size());
        std::vector<Var> vars(m.params.size());
        std::vector<double> doubles(m.params.size(), 0.5);
        std::vector<short> shorts(m.params.size(), 2);
        std::vector<IDispatch*> objects(m.params.size(), client.get());
        std::vector<VARIANT> args;
        for (std::size_t k = 0; k < m.params.size(); ++k) {
          const VARTYPE vt = m.params[k];
          switch (kind) {
            case 0: args.push_back(byval(Var())); break;                    // Empty
            case 1: vars[k] = Var(L"abc"); args.push_back(byval(vars[k])); break;  // text
            case 2: {                                                        // Null
              VARIANT v;
              VariantInit(&v);
              v.vt = VT_NULL;
              args.push_back(v);
              break;
            }
            case 3: args.push_back(missing()); break;                       // all omitted
            case 4: args.push_back(byval(32767)); break;                     // a count at the 16-bit edge
            case 5: args.push_back(byval(-1e308)); break;
            case 6:                                                          // the declared kind, tiny
            case 7: {                                                        // the declared kind, empty arrays
              if (vt & VT_ARRAY) {
                const VARTYPE element = vt & VT_TYPEMASK;
                const SafeArray::Bounds b{1, kind == 6 ? 2 : 0};  // positions 1..2, or none
                SafeArray a = element == VT_R8     ? SafeArray::doubles(b)
                              : element == VT_BSTR ? SafeArray::strings(b)
                                                   : SafeArray::variants(b);
                arrays.push_back(std::move(a));
                args.push_back(byref(arrays.back()));
              } else if (vt == (VT_BYREF | VT_DISPATCH)) {
                args.push_back(byref(objects[k]));
              } else if (vt == (VT_BYREF | VT_R8)) {
                args.push_back(byref(doubles[k]));
              } else if (vt == (VT_BYREF | VT_I2)) {
                args.push_back(byref(shorts[k]));
              } else if (vt == VT_BSTR) {
                vars[k] = Var(L"X[1]+(");
                args.push_back(byval(vars[k]));
              } else if (vt == (VT_BYREF | VT_VARIANT)) {
                vars[k] = Var(3);
                args.push_back(byref(vars[k]));
              } else {
                args.push_back(byval(kind == 6 ? 3 : 0));
              }
              break;
            }
          }
        }
        const Outcome r = invoke(object.get(), m.id, args);
        EXPECT_TRUE(acceptable(r.hr)) << std::hex << r.hr;
        (r.hr == S_OK ? succeeded : r.hr == DISP_E_EXCEPTION ? raised : refused)++;
      }
    }
  }
  // The calls reached the methods: some ran, some raised, some were refused.
  EXPECT_GT(succeeded, 10);
  EXPECT_GT(raised, 10);
  EXPECT_GT(refused, 10);
}

}  // namespace
}  // namespace comtest
