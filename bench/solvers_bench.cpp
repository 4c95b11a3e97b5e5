// The solvers: interpreted texts against native function objects, compiled
// texts against the scan and against muparser's evaluation, and two peers
// from GSL (rkf45 for the integrator, nmsimplex2 for Nelder-Mead).
#include <gsl/gsl_errno.h>
#include <gsl/gsl_multimin.h>
#include <gsl/gsl_odeiv2.h>
#include <muParser.h>

#include <cmath>
#include <cstdio>
#include <string>

#include "bench_texts.hpp"
#include "interpreter/program.hpp"
#include "kor/kor.hpp"
#include "ratio_reporter.hpp"

namespace {

using kor::bench::kTexts;

kor::VariantArray constants(double z1, double z2) {
  kor::VariantArray z(kor::Bounds{1, 10});
  z(1) = z1;
  z(2) = z2;
  for (int i = 3; i <= 10; ++i) z(i) = 0.0;
  return z;
}

// ---- one evaluation: scan, compiled, muparser ----
struct EvalSetup {
  kor::VariantArray table = kor::VariantArray::from_rows({{"Z1", 0.5}, {"Z2", -1.25}});
  kor::VariantArray x = kor::VariantArray::from({0.0, 1.5, 2.0}, 0);
};

void BM_Scan(benchmark::State& state) {
  EvalSetup s;
  const auto& t = kTexts[state.range(0)];
  for (auto _ : state) {
    std::int16_t ipok = 0;
    benchmark::DoNotOptimize(kor::interpreter::Evaluator<kor::VariantArray, kor::VariantArray>(s.table, s.x).Interp(t.kor, ipok));
  }
}

void BM_Compiled(benchmark::State& state) {
  EvalSetup s;
  kor::interpreter::CompiledText<kor::VariantArray, kor::VariantArray> c(kTexts[state.range(0)].kor);
  for (auto _ : state) {
    std::int16_t ipok = 0;
    benchmark::DoNotOptimize(c.evaluate(ipok, s.table, s.x));
  }
}

void BM_MuparserEval(benchmark::State& state) {
  double z1 = 0.5, z2 = -1.25, x1 = 1.5, x2 = 2.0;
  mu::Parser p;
  p.DefineVar("Z1", &z1);
  p.DefineVar("Z2", &z2);
  p.DefineVar("X1", &x1);
  p.DefineVar("X2", &x2);
  p.SetExpr(kTexts[state.range(0)].muparser);
  p.Eval();
  for (auto _ : state) benchmark::DoNotOptimize(p.Eval());
}

BENCHMARK(BM_Scan)->DenseRange(0, 2);
BENCHMARK(BM_Compiled)->DenseRange(0, 2);
BENCHMARK(BM_MuparserEval)->DenseRange(0, 2);

// ---- interpreted solvers against native function objects ----
const char* kQuadratic = "(X[1]-Z1)^2+(X[2]-Z2)^2";

void BM_FminI(benchmark::State& state) {
  kor::Interpret in;
  auto z = constants(1, 2);
  for (auto _ : state) {
    auto x = kor::VariantArray::from({0.0, 0.0});
    benchmark::DoNotOptimize(in.FminI(kQuadratic, 2, x, z));
  }
}

void BM_FminNative(benchmark::State& state) {
  kor::FunctionObject g;
  g.define("F", [](kor::VariantArray& x) {
    return std::pow(x(1).to_double() - 1, 2) + std::pow(x(2).to_double() - 2, 2);
  });
  kor::Korvat k;
  for (auto _ : state) {
    auto x = kor::VariantArray::from({0.0, 0.0});
    benchmark::DoNotOptimize(k.Fmin(g, 2, x));
  }
}

void BM_Fmin1I(benchmark::State& state) {
  kor::Interpret in;
  auto z = constants(1, 2);
  for (auto _ : state) {
    auto x = kor::VariantArray::from({0.0, 0.0});
    benchmark::DoNotOptimize(in.Fmin1I(kQuadratic, 2, x, z));
  }
}

void BM_Fmin1Native(benchmark::State& state) {
  kor::FunctionObject g;
  g.define("F", [](kor::VariantArray& x) {
    return std::pow(x(1).to_double() - 1, 2) + std::pow(x(2).to_double() - 2, 2);
  });
  kor::Korvat k;
  for (auto _ : state) {
    auto x = kor::VariantArray::from({0.0, 0.0});
    benchmark::DoNotOptimize(k.Fmin1(g, 2, x));
  }
}

void BM_NewtonI(benchmark::State& state) {
  kor::Interpret in;
  auto z = constants(4, 1);
  auto rov = kor::StringArray::from({"X[1]^2+X[2]^2-Z1", "X[1]*X[2]-Z2"});
  auto ipom = kor::VariantArray::from({1, 2});
  kor::Variant id;
  for (auto _ : state) {
    auto x = kor::VariantArray::from({2.0, 0.5});
    benchmark::DoNotOptimize(in.NewtonI(rov, 2, 2, 0, x, ipom, z, id));
  }
}

void BM_NewtonNative(benchmark::State& state) {
  kor::FunctionObject g;
  g.define("Fun", [](kor::VariantArray& x, kor::VariantArray& r, kor::Variant&, kor::VariantArray&) {
    const double a = x(1).to_double(), b = x(2).to_double();
    r(1) = std::pow(a, 2) + std::pow(b, 2) - 4;
    r(2) = a * b - 1;
  });
  auto z = constants(4, 1);
  auto ipom = kor::VariantArray::from({1, 2});
  kor::Variant id;
  kor::Korvat k;
  for (auto _ : state) {
    auto x = kor::VariantArray::from({2.0, 0.5});
    benchmark::DoNotOptimize(k.Newton(g, 2, 2, 0, x, ipom, z, id));
  }
}

void BM_RkmI(benchmark::State& state) {
  kor::Interpret in;
  auto zz = constants(0, 0);
  auto rov = kor::StringArray::from({"Y[1]"});
  for (auto _ : state) {
    kor::VariantArray y(kor::Bounds{0, 11});
    y(1) = 1.0;
    kor::Variant xb = 0.0, xe = 1.0, star = 0;
    in.RkmI(rov, 1, xb, xe, y, 1e-7, star, zz);
  }
}

void BM_RkmNative(benchmark::State& state) {
  kor::FunctionObject g;
  g.define("FKT", [](kor::Variant&, kor::Variant&, kor::VariantArray& y, kor::VariantArray& k, kor::VariantArray&) {
    k(1) = y(1);
  });
  auto zz = constants(0, 0);
  for (auto _ : state) {
    kor::Korvat k;  // a fresh object: the same first step as RkmI
    kor::VariantArray y(kor::Bounds{0, 11});
    y(1) = 1.0;
    kor::Variant xb = 0.0, xe = 1.0, star = 0;
    k.Rkm(g, 1, xb, xe, y, 1e-7, star, zz);
  }
}

BENCHMARK(BM_FminI);
BENCHMARK(BM_FminNative);
BENCHMARK(BM_Fmin1I);
BENCHMARK(BM_Fmin1Native);
BENCHMARK(BM_NewtonI);
BENCHMARK(BM_NewtonNative);
BENCHMARK(BM_RkmI);
BENCHMARK(BM_RkmNative);

// ---- Rkmd against GSL's rkf45 at comparable accuracy ----
// Right-hand-side evaluations of the last run, to compare time per evaluation.
double g_rkmd_error[2], g_gsl_error[2];
int g_rkmd_evals[2][2], g_gsl_evals[2];

int linear_rhs(double, const double y[], double f[], void* params) {
  const int n = *static_cast<int*>(params);
  for (int i = 0; i < n; ++i) f[i] = -(i + 1) * 0.1 * y[i] + (i > 0 ? 0.05 * y[i - 1] : 0.0);
  return GSL_SUCCESS;
}

// y' = y on [0, 1] (n = 1) or the 10-equation lower-triangular linear system
// on [0, 2]; range(1) chooses the client: 0 a Dispatch object, 1 a callable.
void BM_Rkmd(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const bool callable = state.range(1) != 0;
  int evals = 0;
  auto fkt = [n, &evals](kor::Variant&, double& x, kor::DoubleArray& y, kor::DoubleArray& k, kor::DoubleArray&) {
    ++evals;
    if (n == 1) {
      k(1) = y(1);
      return;
    }
    // The arrays' storage in place, as rkf45's client gets it (Y from 1,
    // the method's own K from 0: both dense from position 1 on).
    int nn = n;
    linear_rhs(x, &y(1), &k(1), &nn);
  };
  kor::FunctionObject g;
  g.define("FKT", fkt);
  kor::DoubleArray zz(kor::Bounds{1, 1});
  double last = 0;
  for (auto _ : state) {
    kor::Korvat k;
    kor::DoubleArray y(kor::Bounds{1, n});
    for (int i = 1; i <= n; ++i) y(i) = 1.0;
    double xb = 0, xe = n == 1 ? 1.0 : 2.0;
    kor::Variant star = 0;
    evals = 0;
    if (callable) k.Rkmd(fkt, n, xb, xe, y, 1e-10, star, zz);
    else k.Rkmd(g, n, xb, xe, y, 1e-10, star, zz);
    last = y(1);
  }
  const double exact = n == 1 ? std::exp(1.0) : std::exp(-0.2);
  g_rkmd_error[n == 1 ? 0 : 1] = std::abs(last - exact);
  g_rkmd_evals[n == 1 ? 0 : 1][callable] = evals;
}

struct GslRhs {
  int n;
  int evals;
};

void BM_GslRkf45(benchmark::State& state) {
  GslRhs p{static_cast<int>(state.range(0)), 0};
  auto rhs = [](double t, const double y[], double f[], void* v) -> int {
    auto* q = static_cast<GslRhs*>(v);
    ++q->evals;
    if (q->n == 1) {
      f[0] = y[0];
      return GSL_SUCCESS;
    }
    return linear_rhs(t, y, f, &q->n);
  };
  gsl_odeiv2_system sys = {rhs, nullptr, static_cast<std::size_t>(p.n), &p};
  double last = 0;
  for (auto _ : state) {
    p.evals = 0;
    gsl_odeiv2_driver* d = gsl_odeiv2_driver_alloc_y_new(&sys, gsl_odeiv2_step_rkf45, 1e-5, 1e-10, 0.0);
    double y[10];
    for (int i = 0; i < p.n; ++i) y[i] = 1.0;
    double t = 0;
    gsl_odeiv2_driver_apply(d, &t, p.n == 1 ? 1.0 : 2.0, y);
    gsl_odeiv2_driver_free(d);
    last = y[0];
  }
  const double exact = p.n == 1 ? std::exp(1.0) : std::exp(-0.2);
  g_gsl_error[p.n == 1 ? 0 : 1] = std::abs(last - exact);
  g_gsl_evals[p.n == 1 ? 0 : 1] = p.evals;
}

BENCHMARK(BM_Rkmd)->Args({1, 0})->Args({1, 1})->Args({10, 0})->Args({10, 1});
BENCHMARK(BM_GslRkf45)->Arg(1)->Arg(10);

// ---- Fmin1d against GSL's nmsimplex2 on the 2-D Rosenbrock function ----
int g_fmin1d_calls[2] = {0, 0}, g_gsl_calls = 0;
double g_fmin1d_error = 0, g_gsl_nm_error = 0;

double rosen(double a, double b) { return 100 * (b - a * a) * (b - a * a) + (1 - a) * (1 - a); }

// range(0) chooses the client: 0 a Dispatch object, 1 a callable.
void BM_Fmin1d(benchmark::State& state) {
  const bool callable = state.range(0) != 0;
  int calls = 0;
  auto f = [&calls](kor::DoubleArray& x) {
    ++calls;
    return rosen(x(1), x(2));
  };
  kor::FunctionObject g;
  g.define("F", f);
  kor::Korvat k;
  double err = 0;
  for (auto _ : state) {
    calls = 0;
    auto x = kor::DoubleArray::from({-1.2, 1.0});
    if (callable) k.Fmin1d(f, 2, x, 1e-5);
    else k.Fmin1d(g, 2, x, 1e-5);
    err = std::hypot(x(1) - 1, x(2) - 1);
  }
  g_fmin1d_calls[callable] = calls;
  g_fmin1d_error = err;
}

void BM_GslNmsimplex2(benchmark::State& state) {
  int calls = 0;
  auto f = [](const gsl_vector* v, void* p) -> double {
    ++*static_cast<int*>(p);
    return rosen(gsl_vector_get(v, 0), gsl_vector_get(v, 1));
  };
  gsl_multimin_function fn = {f, 2, &calls};
  double err = 0;
  for (auto _ : state) {
    calls = 0;
    gsl_vector* x = gsl_vector_alloc(2);
    gsl_vector* step = gsl_vector_alloc(2);
    gsl_vector_set(x, 0, -1.2);
    gsl_vector_set(x, 1, 1.0);
    gsl_vector_set_all(step, 0.1);
    gsl_multimin_fminimizer* m = gsl_multimin_fminimizer_alloc(gsl_multimin_fminimizer_nmsimplex2, 2);
    gsl_multimin_fminimizer_set(m, &fn, x, step);
    for (int it = 0; it < 10000; ++it) {
      if (gsl_multimin_fminimizer_iterate(m)) break;
      if (gsl_multimin_test_size(gsl_multimin_fminimizer_size(m), 1e-8) == GSL_SUCCESS) break;
    }
    err = std::hypot(gsl_vector_get(m->x, 0) - 1, gsl_vector_get(m->x, 1) - 1);
    gsl_multimin_fminimizer_free(m);
    gsl_vector_free(x);
    gsl_vector_free(step);
  }
  g_gsl_calls = calls;
  g_gsl_nm_error = err;
}

BENCHMARK(BM_Fmin1d)->Arg(0)->Arg(1);
BENCHMARK(BM_GslNmsimplex2);

}  // namespace

int main(int argc, char** argv) {
  auto& r = kor::bench::run_all(argc, argv);
  std::printf("\nOne evaluation (time of the first / time of the second):\n");
  for (int k = 0; k < 3; ++k) {
    char label[2][96], a[32], b[32], c[32];
    std::snprintf(label[0], 96, "scan / compiled, %s", kTexts[k].name);
    std::snprintf(label[1], 96, "muparser eval-only / compiled, %s", kTexts[k].name);
    std::snprintf(a, 32, "BM_Scan/%d", k);
    std::snprintf(b, 32, "BM_Compiled/%d", k);
    std::snprintf(c, 32, "BM_MuparserEval/%d", k);
    r.print_ratio(label[0], a, b, "(target >= 10)");
    r.print_ratio(label[1], c, b, "(target >= 1)");
  }
  std::printf("\nInterpreted solver / the same solver with a C++ function object (target <= 2):\n");
  r.print_ratio("FminI / Fmin", "BM_FminI", "BM_FminNative");
  r.print_ratio("Fmin1I / Fmin1", "BM_Fmin1I", "BM_Fmin1Native");
  r.print_ratio("NewtonI / Newton", "BM_NewtonI", "BM_NewtonNative");
  r.print_ratio("RkmI / Rkm", "BM_RkmI", "BM_RkmNative");
  std::printf("\nPeers, time per evaluation of the client function (kor / peer; target <= 1 with a callable):\n");
  auto per_eval = [&](const char* label, const char* ours, int our_evals, const char* peer, int peer_evals) {
    const double ratio = r.ratio(ours, peer) * peer_evals / (our_evals > 0 ? our_evals : 1);
    std::printf("  %-58s %8.2fx (%d and %d evaluations)\n", label, ratio, our_evals, peer_evals);
  };
  for (int k = 0; k < 2; ++k) {
    const char* what = k == 0 ? "y' = y" : "10 linear equations";
    char label[2][96], ours[2][32], peer[32];
    for (int c = 0; c < 2; ++c) {
      std::snprintf(label[c], 96, "Rkmd (%s) / rkf45, %s", c ? "callable" : "Dispatch", what);
      std::snprintf(ours[c], 32, "BM_Rkmd/%d/%d", k == 0 ? 1 : 10, c);
    }
    std::snprintf(peer, 32, "BM_GslRkf45/%d", k == 0 ? 1 : 10);
    per_eval(label[0], ours[0], g_rkmd_evals[k][0], peer, g_gsl_evals[k]);
    per_eval(label[1], ours[1], g_rkmd_evals[k][1], peer, g_gsl_evals[k]);
    std::printf("    errors at the end: Rkmd %.3g, rkf45 %.3g\n", g_rkmd_error[k], g_gsl_error[k]);
  }
  per_eval("Fmin1d (Dispatch) / nmsimplex2, Rosenbrock", "BM_Fmin1d/0", g_fmin1d_calls[0], "BM_GslNmsimplex2",
           g_gsl_calls);
  per_eval("Fmin1d (callable) / nmsimplex2, Rosenbrock", "BM_Fmin1d/1", g_fmin1d_calls[1], "BM_GslNmsimplex2",
           g_gsl_calls);
  std::printf("    distance to (1,1): Fmin1d %.2g, nmsimplex2 %.2g\n", g_fmin1d_error, g_gsl_nm_error);
  return 0;
}
