// Every method of both classes, its parameters read from the object's own
// type information, called with arguments of every odd kind a client might
// send: each call must end in a result or an error, never in a crash, a hang
// or a C++ exception crossing the boundary.  With arguments of the declared
// types, the method's slot of the dual vtable must do what IDispatch::Invoke
// does: the same outcome, the same values left in the caller's storage.
#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "support.hpp"

namespace comtest {
namespace {

enum Kind { empty, text, null, omitted, edge, huge, tiny, no_positions, vectors, matrices, kinds };
const char* const kKindNames[] = {"Empty", "a text", "Null", "omitted", "32767", "-1E308",
                                  "declared types, arrays 1..2",
                                  "declared types, arrays without positions", "declared types, arrays 0..4",
                                  "declared types, arrays 0..3 x 0..4"};

// The arguments of one call, all of one kind, and the caller's storage they point at.
struct Call {
  std::vector<Array> arrays;
  std::vector<Var> vars;
  std::vector<double> doubles;
  std::vector<short> shorts;
  std::vector<IDispatch*> objects;
  std::vector<VARIANT> args;

  Call(const FUNCDESC* f, Kind kind, IDispatch* client) {
    const auto n = static_cast<std::size_t>(f->cParams);
    arrays.reserve(n);  // the arguments point into these: no reallocation
    doubles.reserve(n);
    shorts.reserve(n);
    vars.resize(n);
    objects.assign(n, client);
    for (std::size_t k = 0; k < n; ++k) {
      const TYPEDESC* t = &f->lprgelemdescParam[k].tdesc;
      const bool by_ref = t->vt == VT_PTR;
      if (by_ref) t = t->lptdesc;
      // Counts and positions 3, 0, or 1, 2, 3, 1, ... by position, so that ranges are not empty.
      const double scalar = kind == tiny ? 3 : kind == no_positions ? 0 : 1 + static_cast<double>(k % 3);
      doubles.push_back(scalar);
      shorts.push_back(static_cast<short>(scalar));
      if (kind < tiny) {
        const kor::Variant odd[] = {kor::Variant(), kor::Variant("abc"), kor::Variant::null(), kor::Variant::missing(),
                                    kor::Variant(32767), kor::Variant(-1e308)};
        vars[k] = Var(odd[kind]);
        args.push_back(val(vars[k]));
      } else if (t->vt == VT_SAFEARRAY && t->lptdesc->vt == VT_BSTR) {
        arrays.push_back(kind == no_positions ? Array(VT_BSTR, {kor::Bounds{1, 0}})
                         : kind == tiny       ? Array({L"X[1]+(", L"1"})
                                              : Array({L"X[1]-Z1", L"X[2]*X[1]-2"}));
        args.push_back(ref(arrays.back()));
      } else if (t->vt == VT_SAFEARRAY) {
        const std::int32_t lower = kind == vectors || kind == matrices ? 0 : 1,
                           upper = kind == tiny ? 2 : kind == no_positions ? 0 : kind == vectors ? 4 : 3;
        Array& a = arrays.emplace_back(t->lptdesc->vt, kind == matrices
                                                           ? std::initializer_list<kor::Bounds>{{lower, upper}, {0, 4}}
                                                           : std::initializer_list<kor::Bounds>{{lower, upper}});
        for (LONG i = lower; i <= upper; ++i)
          for (LONG j = 0; j <= (kind == matrices ? 4 : 0); ++j)
            kind == matrices ? a.set(i, j, 1.0 + i + 10 * j + (i == j ? 40 : 0)) : a.set(i, 1.5 * i + 1);
        args.push_back(ref(a));
      } else if (t->vt == VT_DISPATCH) {
        args.push_back(ref(objects[k]));
      } else if (by_ref && t->vt == VT_R8) {
        args.push_back(ref(doubles[k]));
      } else if (by_ref && t->vt == VT_I2) {
        args.push_back(ref(shorts[k]));
      } else if (t->vt == VT_BSTR) {
        vars[k] = Var(kor::Variant(kind == tiny ? "X[1]+(" : "(X[1]-1)^2+Z1"));
        args.push_back(val(vars[k]));
      } else if (by_ref) {
        vars[k] = Var(kor::Variant(scalar));
        args.push_back(ref(vars[k]));
      } else {
        args.push_back(val(static_cast<int>(scalar)));
      }
    }
  }

  // What the call left in the caller's storage.
  std::string state() const {
    std::ostringstream s;
    auto put = [&](auto read) {
      try {
        s << read() << " ";
      } catch (...) {
        s << "? ";
      }
    };
    for (const Array& a : arrays) {
      VARTYPE vt = VT_EMPTY;
      if (SafeArrayGetVartype(a.sa, &vt) != S_OK || vt == VT_BSTR) continue;  // texts are only read
      LONG lo[2] = {0, 0}, hi[2] = {-1, 0};
      const UINT dims = SafeArrayGetDim(a.sa);
      for (UINT d = 1; d <= dims; ++d) {
        SafeArrayGetLBound(a.sa, d, &lo[d - 1]);
        SafeArrayGetUBound(a.sa, d, &hi[d - 1]);
      }
      for (LONG i = lo[0]; i <= hi[0]; ++i)
        for (LONG j = lo[1]; j <= hi[1]; ++j) put([&] { return dims == 2 ? a(i, j) : a(i); });
    }
    for (const Var& v : vars) put([&] { return kor_value(v.v).to_string(); });
    for (double d : doubles) s << d << " ";
    for (short i : shorts) s << i << " ";
    return s.str();
  }
};

TEST(Robustness, EveryMethodAnswersOddArgumentsAndItsTwoFacesAgree) {
  MessageBoxCapture boxes;  // methods may show messages; none may block
  std::map<HRESULT, int> answers;
  int agreed = 0;
  for (const wchar_t* progid : {L"Kor.Korvat", L"Kor.Interpret"}) {
    Ptr<ITypeInfo> info;
    TYPEATTR* attr = nullptr;
    ASSERT_EQ(create(progid)->GetTypeInfo(0, 0, info.put()), S_OK);
    ASSERT_EQ(info->GetTypeAttr(&attr), S_OK);
    for (UINT i = 0; i < attr->cFuncs; ++i) {
      FUNCDESC* f = nullptr;
      info->GetFuncDesc(i, &f);
      BSTR name = nullptr;
      info->GetDocumentation(f->memid, &name, nullptr, nullptr, nullptr);
      const std::string method = narrow(name, SysStringLen(name));
      SysFreeString(name);
      for (int kind = 0; kind < kinds && (f->memid & 0xFFFE0000) != 0x60000000; ++kind) {  // not IDispatch's own
        SCOPED_TRACE(method + " with " + kKindNames[kind]);
        std::string state[2];
        HRESULT code[2] = {};
        Outcome o[2];
        for (Face face : kFaces) {
          if (face == Face::vtable && kind < tiny) continue;
          const int at = face == Face::late ? 0 : 1;
          Ptr<ClientObject> g = ClientObject::make();
          g->define(L"Fun", [](ClientObject::Call&) { return S_OK; });
          g->define(L"FKT", [](ClientObject::Call&) { return S_OK; });
          g->define(L"F", [](ClientObject::Call& c) { return c.answer(1.0); });
          Call c(f, static_cast<Kind>(kind), g.get());
          o[at] = call(face, create(progid).get(), f->memid, c.args);
          state[at] = c.state();
          code[at] = o[at].hr == DISP_E_EXCEPTION ? o[at].scode : o[at].hr;
          EXPECT_TRUE(code[at] == S_OK || HRESULT_FACILITY(code[at]) == FACILITY_CONTROL ||
                      code[at] == DISP_E_TYPEMISMATCH || code[at] == DISP_E_PARAMNOTOPTIONAL ||
                      code[at] == DISP_E_BADPARAMCOUNT)
              << face_name(face) << ": 0x" << std::hex << code[at];
          if (face == Face::late) ++answers[code[at] == S_OK ? S_OK : o[at].hr];
        }
        if (kind < tiny) continue;
        EXPECT_EQ(code[1], code[0]);
        EXPECT_EQ(o[1].description, o[0].description);
        EXPECT_EQ(code[0] == S_OK ? o[1].result.v.vt : 0, code[0] == S_OK ? o[0].result.v.vt : 0);
        EXPECT_EQ(state[1], state[0]);
        EXPECT_TRUE(o[0].result.v.vt != VT_R8 || o[1].result.number() == o[0].result.number());
        agreed += code[0] == S_OK;
      }
      info->ReleaseFuncDesc(f);
    }
    info->ReleaseTypeAttr(attr);
  }
  // The calls reached the methods: some ran, some raised, some were refused;
  // and a good part of the methods ran to their end on both faces.
  EXPECT_GT(answers[S_OK], 10);
  EXPECT_GT(answers[DISP_E_EXCEPTION], 10);
  EXPECT_GT(answers[DISP_E_TYPEMISMATCH], 10);
  EXPECT_GT(agreed, 20);
}

}  // namespace
}  // namespace comtest
