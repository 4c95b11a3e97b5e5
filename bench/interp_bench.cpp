// Interp (which scans its text on every call) against muparser, on the
// same texts: muparser parse-and-evaluate (SetExpr + Eval) and evaluate-only.
#include <muParser.h>

#include <string>

#include "bench_texts.hpp"
#include "kor/kor.hpp"
#include "ratio_reporter.hpp"

namespace {

using kor::bench::kTexts;

struct Values {
  kor::VariantArray table = kor::VariantArray::from_rows({{"Z1", 0.5}, {"Z2", -1.25}});
  kor::VariantArray x = kor::VariantArray::from({0.0, 1.5, 2.0}, 0);
  double mz1 = 0.5, mz2 = -1.25, mx1 = 1.5, mx2 = 2.0;
  void define(mu::Parser& p) {
    p.DefineVar("Z1", &mz1);
    p.DefineVar("Z2", &mz2);
    p.DefineVar("X1", &mx1);
    p.DefineVar("X2", &mx2);
  }
};

void BM_Interp(benchmark::State& state) {
  const auto& t = kTexts[state.range(0)];
  Values v;
  kor::Interpret in;
  for (auto _ : state) {
    std::int16_t ipok = 0;
    benchmark::DoNotOptimize(in.Interp(t.kor, ipok, v.table, v.x));
  }
  state.SetLabel(t.name);
}

void BM_MuparserParseEval(benchmark::State& state) {
  const auto& t = kTexts[state.range(0)];
  Values v;
  mu::Parser p;
  v.define(p);
  const std::string expr = t.muparser;
  for (auto _ : state) {
    p.SetExpr(expr);
    benchmark::DoNotOptimize(p.Eval());
  }
  state.SetLabel(t.name);
}

void BM_MuparserEvalOnly(benchmark::State& state) {
  const auto& t = kTexts[state.range(0)];
  Values v;
  mu::Parser p;
  v.define(p);
  p.SetExpr(t.muparser);
  p.Eval();
  for (auto _ : state) benchmark::DoNotOptimize(p.Eval());
  state.SetLabel(t.name);
}

BENCHMARK(BM_Interp)->DenseRange(0, 2);
BENCHMARK(BM_MuparserParseEval)->DenseRange(0, 2);
BENCHMARK(BM_MuparserEvalOnly)->DenseRange(0, 2);

}  // namespace

int main(int argc, char** argv) {
  // The texts must mean the same thing in both evaluators.
  for (int k = 0; k < 3; ++k) {
    Values v;
    mu::Parser p;
    v.define(p);
    p.SetExpr(kTexts[k].muparser);
    std::int16_t ipok = 0;
    const double a = kor::Interpret().Interp(kTexts[k].kor, ipok, v.table, v.x).to_double();
    const double b = p.Eval();
    if (ipok < 0 || std::abs(a - b) > 1e-12 * std::max(1.0, std::abs(b))) {
      std::fprintf(stderr, "text %s: Interp %.17g, muparser %.17g\n", kTexts[k].name, a, b);
      return 1;
    }
  }
  auto& r = kor::bench::run_all(argc, argv);
  std::printf("\nRatios (muparser time / Interp time; higher is better for Interp):\n");
  for (int k = 0; k < 3; ++k) {
    char n[8], parse[80], eval[80];
    std::snprintf(n, sizeof n, "/%d", k);
    std::snprintf(parse, sizeof parse, "parse+eval vs Interp, %s", kTexts[k].name);
    std::snprintf(eval, sizeof eval, "eval-only vs Interp, %s", kTexts[k].name);
    r.print_ratio(parse, std::string("BM_MuparserParseEval").append(n), std::string("BM_Interp").append(n),
                  "(target >= 30x)");
    r.print_ratio(eval, std::string("BM_MuparserEvalOnly").append(n), std::string("BM_Interp").append(n));
  }
  return 0;
}
