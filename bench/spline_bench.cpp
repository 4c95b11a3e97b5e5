// Splinpd on large tables against GSL's gsl_spline_eval without an
// accelerator, and Splinpd on 1 000 against 1 000 000 knots (the interval
// search is a bisection, so the time per call grows with log n only).
// The knots are evenly spaced, or spaced quadratically ("uneven").  On a
// large table Splinpd's bisection follows a guess made as if the knots were
// evenly spaced; on the uneven knots it is wrong for almost every point, and
// the bisection does the work alone.
#include <gsl/gsl_spline.h>

#include <cmath>
#include <random>
#include <vector>

#include "kor/kor.hpp"
#include "ratio_reporter.hpp"

namespace {

struct Table {
  kor::DoubleArray x, y, y2;
  std::vector<double> points;
  gsl_interp_accel* unused = nullptr;
  gsl_spline* gsl = nullptr;
  Table(int n, bool uneven) : x(kor::Bounds{1, n}), y(kor::Bounds{1, n}), y2(kor::Bounds{1, n}) {
    for (int i = 1; i <= n; ++i) {
      x(i) = uneven ? 0.001 * i * i / n : i * 0.001;
      y(i) = std::sin(x(i) * 7) + 0.1 * std::cos(x(i) * 0.3);
    }
    kor::Korvat::global().Splined(1, n, x, y, 10000, 10000, y2);
    gsl = gsl_spline_alloc(gsl_interp_cspline, static_cast<std::size_t>(n));
    gsl_spline_init(gsl, x.data(), y.data(), static_cast<std::size_t>(n));
    std::mt19937 rng(5);
    std::uniform_real_distribution<double> u(x(1), x(n));
    points.resize(1 << 14);
    for (double& p : points) p = u(rng);
  }
  ~Table() { gsl_spline_free(gsl); }
};

Table& table(int n, bool uneven) {
  static Table small(1000, false), large(1000000, false);
  static Table small_uneven(1000, true), large_uneven(1000000, true);
  if (uneven) return n == 1000 ? small_uneven : large_uneven;
  return n == 1000 ? small : large;
}

void splinpd(benchmark::State& state, bool uneven) {
  const int n = static_cast<int>(state.range(0));
  Table& t = table(n, uneven);
  kor::Korvat k;
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(k.Splinpd(1, n, t.x, t.y, t.y2, t.points[i]));
    i = (i + 1) & (t.points.size() - 1);
  }
}

void gsl_eval(benchmark::State& state, bool uneven) {
  Table& t = table(static_cast<int>(state.range(0)), uneven);
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(gsl_spline_eval(t.gsl, t.points[i], nullptr));
    i = (i + 1) & (t.points.size() - 1);
  }
}

void BM_Splinpd(benchmark::State& state) { splinpd(state, false); }
void BM_GslSplineEval(benchmark::State& state) { gsl_eval(state, false); }
void BM_SplinpdUneven(benchmark::State& state) { splinpd(state, true); }
void BM_GslSplineEvalUneven(benchmark::State& state) { gsl_eval(state, true); }

BENCHMARK(BM_Splinpd)->Arg(1000)->Arg(1000000);
BENCHMARK(BM_GslSplineEval)->Arg(1000)->Arg(1000000);
BENCHMARK(BM_SplinpdUneven)->Arg(1000)->Arg(1000000);
BENCHMARK(BM_GslSplineEvalUneven)->Arg(1000)->Arg(1000000);

}  // namespace

int main(int argc, char** argv) {
  auto& r = kor::bench::run_all(argc, argv);
  std::printf("\nRatios (time of the first / time of the second):\n");
  r.print_ratio("Splinpd / gsl_spline_eval, 1 000 000 knots", "BM_Splinpd/1000000", "BM_GslSplineEval/1000000",
                "(target <= 1.5)");
  r.print_ratio("Splinpd / gsl_spline_eval, 1 000 knots", "BM_Splinpd/1000", "BM_GslSplineEval/1000");
  r.print_ratio("Splinpd 1 000 000 knots / 1 000 knots", "BM_Splinpd/1000000", "BM_Splinpd/1000", "(target <= 2)");
  r.print_ratio("Splinpd / gsl_spline_eval, uneven, 1 000 000 knots", "BM_SplinpdUneven/1000000",
                "BM_GslSplineEvalUneven/1000000");
  r.print_ratio("Splinpd / gsl_spline_eval, uneven, 1 000 knots", "BM_SplinpdUneven/1000",
                "BM_GslSplineEvalUneven/1000");
  return 0;
}
