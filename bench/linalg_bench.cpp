// Gaussd and Invertd beside a plain textbook elimination on the same
// column-major storage and beside LAPACK (OpenBLAS, one thread): GFLOP/s.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <random>
#include <vector>

#include "kor/kor.hpp"
#include "ratio_reporter.hpp"

extern "C" {
void dgesv_(const int* n, const int* nrhs, double* a, const int* lda, int* ipiv, double* b, const int* ldb, int* info);
void dgetrf_(const int* m, const int* n, double* a, const int* lda, int* ipiv, int* info);
void dgetri_(const int* n, double* a, const int* lda, const int* ipiv, double* work, const int* lwork, int* info);
void openblas_set_num_threads(int);
}

namespace {

// A diagonally dominant random matrix with one right-hand side, column-major.
std::vector<double> make(int n, int extra) {
  std::mt19937 rng(static_cast<unsigned>(n));
  std::uniform_real_distribution<double> u(-1, 1);
  std::vector<double> a(static_cast<std::size_t>(n) * static_cast<std::size_t>(n + extra));
  for (double& v : a) v = u(rng);
  for (int i = 0; i < n; ++i) a[static_cast<std::size_t>(i) * static_cast<std::size_t>(n) + static_cast<std::size_t>(i)] += n;
  return a;
}

// The elimination as a textbook writes it: row by row, a(i,j) -= a(k,j)*f,
// on the column-major storage every face uses.
void textbook_gauss(int n, int ncol, double* a) {
  auto at = [&](int i, int j) -> double& { return a[(i - 1) + static_cast<std::size_t>(j - 1) * n]; };
  for (int k = 1; k <= n; ++k) {
    int p = k;
    for (int i = k + 1; i <= n; ++i)
      if (std::abs(at(i, k)) > std::abs(at(p, k))) p = i;
    for (int j = k; j <= n + ncol; ++j) std::swap(at(k, j), at(p, j));
    const double pivot = at(k, k);
    for (int j = k; j <= n + ncol; ++j) at(k, j) /= pivot;
    for (int i = k + 1; i <= n; ++i) {
      const double f = at(i, k);
      for (int j = k; j <= n + ncol; ++j) at(i, j) -= at(k, j) * f;
    }
  }
  for (int k = n - 1; k >= 1; --k)
    for (int i = k + 1; i <= n; ++i)
      for (int m = 1; m <= ncol; ++m) at(k, n + m) -= at(k, i) * at(i, n + m);
}

// Inversion as a textbook writes it: elimination on a copy and on the identity, row by row.
void textbook_invert(int n, const double* ap, double* x) {
  std::vector<double> c(ap, ap + static_cast<std::size_t>(n) * n);
  auto C = [&](int i, int j) -> double& { return c[(i - 1) + static_cast<std::size_t>(j - 1) * n]; };
  auto X = [&](int i, int j) -> double& { return x[(i - 1) + static_cast<std::size_t>(j - 1) * n]; };
  for (int j = 1; j <= n; ++j)
    for (int i = 1; i <= n; ++i) X(i, j) = i == j;
  for (int k = 1; k <= n; ++k) {
    int p = k;
    for (int i = k + 1; i <= n; ++i)
      if (std::abs(C(i, k)) > std::abs(C(p, k))) p = i;
    for (int j = 1; j <= n; ++j) {
      std::swap(C(k, j), C(p, j));
      std::swap(X(k, j), X(p, j));
    }
    for (int i = k + 1; i <= n; ++i) {
      const double f = C(i, k) / C(k, k);
      for (int j = k + 1; j <= n; ++j) C(i, j) -= C(k, j) * f;
      for (int j = 1; j <= n; ++j) X(i, j) -= X(k, j) * f;
    }
  }
  for (int m = 1; m <= n; ++m)
    for (int i = n; i >= 1; --i) {
      double s = 0;
      for (int j = i + 1; j <= n; ++j) s += C(i, j) * X(j, m);
      X(i, m) = (X(i, m) - s) / C(i, i);
    }
}

void set_flops(benchmark::State& state, double flops) {
  state.counters["GFLOP/s"] = benchmark::Counter(flops * 1e-9, benchmark::Counter::kIsIterationInvariantRate);
}
double gauss_flops(int n) { return 2.0 * n * n * n / 3.0 + 2.0 * n * n; }
double invert_flops(int n) { return 2.0 * n * n * n; }

void BM_Gaussd(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const auto src = make(n, 1);
  kor::DoubleArray a(kor::Bounds{1, n}, kor::Bounds{1, n + 1});
  kor::Variant id;
  kor::Korvat k;
  for (auto _ : state) {
    std::memcpy(a.data(), src.data(), src.size() * sizeof(double));
    k.Gaussd(n, a, 1, id);
  }
  set_flops(state, gauss_flops(n));
}

void BM_TextbookGauss(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const auto src = make(n, 1);
  std::vector<double> a(src.size());
  for (auto _ : state) {
    std::memcpy(a.data(), src.data(), src.size() * sizeof(double));
    textbook_gauss(n, 1, a.data());
    benchmark::DoNotOptimize(a.data());
  }
  set_flops(state, gauss_flops(n));
}

void BM_LapackDgesv(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const auto src = make(n, 1);
  std::vector<double> a(src.size());
  std::vector<int> ipiv(static_cast<std::size_t>(n));
  const int one = 1;
  int info = 0;
  for (auto _ : state) {
    std::memcpy(a.data(), src.data(), src.size() * sizeof(double));
    dgesv_(&n, &one, a.data(), &n, ipiv.data(), a.data() + static_cast<std::size_t>(n) * n, &n, &info);
  }
  set_flops(state, gauss_flops(n));
}

void BM_Invertd(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const auto src = make(n, 0);
  kor::DoubleArray a(kor::Bounds{1, n}, kor::Bounds{1, n}), inv(kor::Bounds{1, n}, kor::Bounds{1, n});
  std::memcpy(a.data(), src.data(), src.size() * sizeof(double));
  kor::Variant nn = n, id;
  double ep = 1e-13;
  kor::Korvat k;
  for (auto _ : state) k.Invertd(nn, a, inv, id, ep);
  set_flops(state, invert_flops(n));
}

void BM_TextbookInvert(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const auto src = make(n, 0);
  std::vector<double> x(src.size());
  for (auto _ : state) {
    textbook_invert(n, src.data(), x.data());
    benchmark::DoNotOptimize(x.data());
  }
  set_flops(state, invert_flops(n));
}

void BM_LapackDgetri(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const auto src = make(n, 0);
  std::vector<double> a(src.size()), work(static_cast<std::size_t>(n) * 64);
  std::vector<int> ipiv(static_cast<std::size_t>(n));
  const int lwork = n * 64;
  int info = 0;
  for (auto _ : state) {
    std::memcpy(a.data(), src.data(), src.size() * sizeof(double));
    dgetrf_(&n, &n, a.data(), &n, ipiv.data(), &info);
    dgetri_(&n, a.data(), &n, ipiv.data(), work.data(), &lwork, &info);
  }
  set_flops(state, invert_flops(n));
}

// Invert on Variants that hold Doubles (what an automation client passes).
void BM_InvertVariant(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const auto src = make(n, 0);
  kor::VariantArray a(kor::Bounds{1, n}, kor::Bounds{1, n}), inv(kor::Bounds{1, n}, kor::Bounds{1, n});
  std::copy(src.begin(), src.end(), a.data());
  kor::Variant nn = n, id, ep = 1e-13;
  kor::Korvat k;
  for (auto _ : state) k.Invert(nn, a, inv, id, ep);
  set_flops(state, invert_flops(n));
}

#define SIZES ->Arg(3)->Arg(10)->Arg(100)->Arg(500)->Arg(1000)->Unit(benchmark::kMicrosecond)
#define GAUSS_SIZES SIZES->Arg(2000)
BENCHMARK(BM_Gaussd) GAUSS_SIZES;
BENCHMARK(BM_TextbookGauss) GAUSS_SIZES;
BENCHMARK(BM_LapackDgesv) GAUSS_SIZES;
BENCHMARK(BM_Invertd) SIZES;
BENCHMARK(BM_TextbookInvert) SIZES;
BENCHMARK(BM_LapackDgetri) SIZES;
BENCHMARK(BM_InvertVariant)->Arg(3)->Arg(10)->Arg(100)->Arg(500)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
  openblas_set_num_threads(1);
  auto& r = kor::bench::run_all(argc, argv);
  std::printf("\nSpeed-ups (time of the named peer / time of kor; above 1 means kor is faster):\n");
  auto name = [](const char* base, int n) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%s/%d", base, n);
    return std::string(buf);
  };
  for (int n : {3, 10, 100, 500, 1000, 2000}) {
    const char* target = n <= 10 ? "(target >= 1)" : "";
    char label[4][64];
    std::snprintf(label[0], 64, "Gaussd vs textbook elimination, n = %d", n);
    std::snprintf(label[1], 64, "Gaussd vs LAPACK dgesv, n = %d", n);
    std::snprintf(label[2], 64, "Invertd vs textbook inversion, n = %d", n);
    std::snprintf(label[3], 64, "Invertd vs LAPACK dgetrf+dgetri, n = %d", n);
    r.print_ratio(label[0], name("BM_TextbookGauss", n), name("BM_Gaussd", n), target);
    r.print_ratio(label[1], name("BM_LapackDgesv", n), name("BM_Gaussd", n), n >= 1000 ? "(target >= 0.5)" : "");
    if (n == 2000) continue;  // the inversions stop at 1000
    r.print_ratio(label[2], name("BM_TextbookInvert", n), name("BM_Invertd", n), target);
    r.print_ratio(label[3], name("BM_LapackDgetri", n), name("BM_Invertd", n), n == 1000 ? "(target >= 0.4)" : "");
  }
  for (int n : {3, 10, 100, 500}) {
    char label[64];
    std::snprintf(label, 64, "Invert on Variant Doubles vs Invertd, n = %d", n);
    r.print_ratio(label, name("BM_Invertd", n), name("BM_InvertVariant", n));
  }
  return 0;
}
