// What a call through the component costs, measured in one run:
//  - Splinpd through IDispatch::Invoke on a 1 000 000-knot table against the
//    same call on a 1 000-knot table (the arrays are read in place, so the
//    cost grows with the bisection's log n only, not with n);
//  - Gauss on 100 equations through Invoke, on a Variant array and on a
//    double array;
//  - Polynd of degree 3 late bound (IDispatch::Invoke), early bound (the
//    dual vtable) and as a direct call of the C++ library, in microseconds.
#include <windows.h>
#include <oleauto.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <vector>

#include "kor.h"
#include "kor/kor.hpp"

namespace {

using Clock = std::chrono::steady_clock;

SAFEARRAY* doubles(LONG n) {
  SAFEARRAYBOUND b{static_cast<ULONG>(n), 1};
  return SafeArrayCreate(VT_R8, 1, &b);
}

double* data(SAFEARRAY* a) { return static_cast<double*>(a->pvData); }

template <class F>
double seconds_per_call(int calls, F f) {
  const auto t0 = Clock::now();
  for (int i = 0; i < calls; ++i) f(i);
  return std::chrono::duration<double>(Clock::now() - t0).count() / calls;
}

VARIANT r8(double x) {
  VARIANT v;
  v.vt = VT_R8;
  v.dblVal = x;
  return v;
}
VARIANT i4(LONG x) {
  VARIANT v;
  v.vt = VT_I4;
  v.lVal = x;
  return v;
}
VARIANT ref(SAFEARRAY** a) {
  VARIANT v;
  v.vt = VT_BYREF | VT_ARRAY | VT_R8;
  v.pparray = a;
  return v;
}

struct Table {
  SAFEARRAY* x;
  SAFEARRAY* y;
  SAFEARRAY* y2;
  LONG n;
};

Table make_table(_Korvat* k, LONG n) {
  Table t{doubles(n), doubles(n), doubles(n), n};
  for (LONG i = 0; i < n; ++i) {
    data(t.x)[i] = i;
    data(t.y)[i] = std::sin(0.001 * i);
  }
  VARIANT lo = i4(1), hi = i4(n);
  k->Splined(lo, hi, &t.x, &t.y, 10000, 10000, &t.y2);
  return t;
}

// Splinpd(Imin, Imax, X, Y, Y2, XX) through Invoke, at points spread over the table.
double splinp_call(IDispatch* d, DISPID id, Table& t, int calls) {
  double sink = 0;
  const double s = seconds_per_call(calls, [&](int i) {
    VARIANT args[6] = {r8(1 + std::fmod(i * 7919.123, t.n - 1.0)), ref(&t.y2), ref(&t.y), ref(&t.x), i4(t.n), i4(1)};
    DISPPARAMS p{args, nullptr, 6, 0};
    VARIANT result;
    VariantInit(&result);
    d->Invoke(id, IID_NULL, 0, DISPATCH_METHOD, &p, &result, nullptr, nullptr);
    sink += result.dblVal;
  });
  if (sink == 12345.678) std::printf(" ");
  return s;
}

}  // namespace

int main() {
  CoInitialize(nullptr);
  CLSID clsid;
  IDispatch* d = nullptr;
  _Korvat* k = nullptr;
  if (FAILED(CLSIDFromProgID(L"Kor.Korvat", &clsid)) ||
      FAILED(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, reinterpret_cast<void**>(&d))) ||
      FAILED(d->QueryInterface(IID__Korvat, reinterpret_cast<void**>(&k)))) {
    std::printf("kor_com_bench: Kor.Korvat is not registered\n");
    return 1;
  }
  LPOLESTR names[] = {const_cast<LPOLESTR>(L"Splinpd"), const_cast<LPOLESTR>(L"Polynd")};
  DISPID splinp = 0, polyn = 0;
  d->GetIDsOfNames(IID_NULL, &names[0], 1, 0, &splinp);
  d->GetIDsOfNames(IID_NULL, &names[1], 1, 0, &polyn);

  Table small = make_table(k, 1000), large = make_table(k, 1000000);
  const int calls = 200000;
  splinp_call(d, splinp, small, calls / 10);  // warm up
  const double t_small = splinp_call(d, splinp, small, calls);
  const double t_large = splinp_call(d, splinp, large, calls);
  std::printf("Splinpd via IDispatch::Invoke: %.3f us per call on 1 000 knots, %.3f us on 1 000 000 knots:"
              " ratio %.2fx (target below 2x)\n",
              t_small * 1e6, t_large * 1e6, t_large / t_small);

  SAFEARRAY* c = doubles(4);
  for (int i = 0; i < 4; ++i) data(c)[i] = i + 1;  // x^3 + 2x^2 + 3x + 4
  double x = 0.5, sink = 0;
  const double late = seconds_per_call(calls, [&](int) {
    VARIANT args[3] = {ref(&c), VARIANT{}, i4(-3)};
    args[1].vt = VT_BYREF | VT_R8;
    args[1].pdblVal = &x;
    DISPPARAMS p{args, nullptr, 3, 0};
    VARIANT result;
    VariantInit(&result);
    d->Invoke(polyn, IID_NULL, 0, DISPATCH_METHOD, &p, &result, nullptr, nullptr);
    sink += result.dblVal;
  });
  const double early = seconds_per_call(calls, [&](int) {
    double r = 0;
    VARIANT n = i4(-3);
    k->Polynd(n, &x, &c, &r);
    sink += r;
  });
  // Gauss on a 100 x 101 system: a Variant array (each cell a VT_R8) and a
  // double array, both through Invoke.
  {
    const LONG n = 100;
    SAFEARRAYBOUND b[2] = {{static_cast<ULONG>(n), 1}, {static_cast<ULONG>(n + 1), 1}};
    SAFEARRAY* va = SafeArrayCreate(VT_VARIANT, 2, b);
    SAFEARRAY* da = SafeArrayCreate(VT_R8, 2, b);
    auto fill = [&] {
      auto* v = static_cast<VARIANT*>(va->pvData);
      for (LONG e = 0; e < n * (n + 1); ++e) {
        const double value = (e % (n + 1) == 0 ? n : 0) + std::sin(e * 0.37);
        v[e].vt = VT_R8;
        v[e].dblVal = value;
        data(da)[e] = value;
      }
    };
    LPOLESTR gn[] = {const_cast<LPOLESTR>(L"Gauss"), const_cast<LPOLESTR>(L"Gaussd")};
    DISPID gauss = 0, gaussd = 0;
    d->GetIDsOfNames(IID_NULL, &gn[0], 1, 0, &gauss);
    d->GetIDsOfNames(IID_NULL, &gn[1], 1, 0, &gaussd);
    auto solve = [&](DISPID id, SAFEARRAY** a, VARTYPE element) {
      VARIANT id_var;
      VariantInit(&id_var);
      VARIANT args[4] = {VARIANT{}, i4(1), VARIANT{}, i4(n)};
      args[0].vt = VT_BYREF | VT_VARIANT;
      args[0].pvarVal = &id_var;
      args[2].vt = VT_BYREF | VT_ARRAY | element;
      args[2].pparray = a;
      DISPPARAMS p{args, nullptr, 4, 0};
      d->Invoke(id, IID_NULL, 0, DISPATCH_METHOD, &p, nullptr, nullptr, nullptr);
    };
    const int rounds = 20;
    double tv = 0, td = 0;
    for (int r = 0; r < rounds; ++r) {
      fill();
      tv += seconds_per_call(1, [&](int) { solve(gauss, &va, VT_VARIANT); });
      td += seconds_per_call(1, [&](int) { solve(gaussd, &da, VT_R8); });
    }
    std::printf("Gauss, 100 equations through Invoke: Variant array %.0f us, double array %.0f us (%.1fx)\n",
                tv / rounds * 1e6, td / rounds * 1e6, tv / td);
    SafeArrayDestroy(va);
    SafeArrayDestroy(da);
  }

  kor::DoubleArray a(kor::Bounds{1, 4});
  for (int i = 1; i <= 4; ++i) a(i) = i;
  kor::Korvat direct;
  const kor::Variant n3 = -3;
  const double native = seconds_per_call(calls * 10, [&](int) { sink += direct.Polynd(n3, x, a); });
  std::printf("Polynd, degree 3: late bound %.3f us, early bound %.3f us, direct C++ call %.3f us per call"
              " (late-bound overhead %.3f us)\n",
              late * 1e6, early * 1e6, native * 1e6, (late - native) * 1e6);
  if (sink == 0) std::printf(" ");
  k->Release();
  d->Release();
  CoUninitialize();
  return 0;
}
