// The variant flavour against the double flavour on the same data.
#include <cmath>
#include <cstring>

#include "kor/kor.hpp"
#include "ratio_reporter.hpp"

namespace {

constexpr int kN = 100;

double entry(int i, int j) { return (i == j ? kN : 0) + std::sin(i * 0.7 + j * 1.3); }

void BM_Gauss(benchmark::State& state) {
  kor::VariantArray src(kor::Bounds{1, kN}, kor::Bounds{1, kN + 1}), a;
  for (int i = 1; i <= kN; ++i)
    for (int j = 1; j <= kN + 1; ++j) src(i, j) = entry(i, j);
  kor::Variant id;
  kor::Korvat k;
  for (auto _ : state) {
    a = src;
    k.Gauss(kN, a, 1, id);
  }
}

void BM_Gaussd(benchmark::State& state) {
  kor::DoubleArray src(kor::Bounds{1, kN}, kor::Bounds{1, kN + 1}), a;
  for (int i = 1; i <= kN; ++i)
    for (int j = 1; j <= kN + 1; ++j) src(i, j) = entry(i, j);
  kor::Variant id;
  kor::Korvat k;
  for (auto _ : state) {
    a = src;
    k.Gaussd(kN, a, 1, id);
  }
}

template <class Array>
struct Spline {
  Array x{kor::Bounds{1, 1000}}, y{kor::Bounds{1, 1000}}, y2{kor::Bounds{1, 1000}};
  Spline() {
    for (int i = 1; i <= 1000; ++i) {
      x(i) = i * 0.01;
      y(i) = std::sin(i * 0.01);
    }
  }
};

void BM_Splinp(benchmark::State& state) {
  Spline<kor::VariantArray> s;
  kor::Korvat k;
  k.Spline(1, 1000, s.x, s.y, 10000, 10000, s.y2);
  double xx = 0.05;
  for (auto _ : state) {
    benchmark::DoNotOptimize(k.Splinp(1, 1000, s.x, s.y, s.y2, xx));
    xx = xx > 9.9 ? 0.05 : xx + 0.37;
  }
}

void BM_Splinpd(benchmark::State& state) {
  Spline<kor::DoubleArray> s;
  kor::Korvat k;
  k.Splined(1, 1000, s.x, s.y, 10000, 10000, s.y2);
  double xx = 0.05;
  for (auto _ : state) {
    benchmark::DoNotOptimize(k.Splinpd(1, 1000, s.x, s.y, s.y2, xx));
    xx = xx > 9.9 ? 0.05 : xx + 0.37;
  }
}

void BM_Polyn(benchmark::State& state) {
  kor::VariantArray a(kor::Bounds{1, 21});
  for (int i = 1; i <= 21; ++i) a(i) = 1.0 / i;
  kor::Variant x = 0.9;
  kor::Korvat k;
  for (auto _ : state) benchmark::DoNotOptimize(k.Polyn(-20, x, a));
}

void BM_Polynd(benchmark::State& state) {
  kor::DoubleArray a(kor::Bounds{1, 21});
  for (int i = 1; i <= 21; ++i) a(i) = 1.0 / i;
  double x = 0.9;
  kor::Korvat k;
  for (auto _ : state) benchmark::DoNotOptimize(k.Polynd(-20, x, a));
}

BENCHMARK(BM_Gauss);
BENCHMARK(BM_Gaussd);
BENCHMARK(BM_Splinp);
BENCHMARK(BM_Splinpd);
BENCHMARK(BM_Polyn);
BENCHMARK(BM_Polynd);

}  // namespace

int main(int argc, char** argv) {
  auto& r = kor::bench::run_all(argc, argv);
  std::printf("\nVariant flavour time / double flavour time (target <= 2):\n");
  r.print_ratio("Gauss / Gaussd, n = 100 (including the copy of the matrix)", "BM_Gauss", "BM_Gaussd");
  r.print_ratio("Splinp / Splinpd, 1 000 knots", "BM_Splinp", "BM_Splinpd");
  r.print_ratio("Polyn / Polynd, degree 20", "BM_Polyn", "BM_Polynd");
  return 0;
}
