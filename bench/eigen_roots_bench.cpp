// Rutishauserd beside LAPACK dsyev, and LinBairstowd beside the eigenvalues
// of the companion matrix by LAPACK dgeev (OpenBLAS, one thread): time, and
// the largest error against the known answers (counter "err").
#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdio>
#include <cstring>
#include <numbers>
#include <random>
#include <vector>

#include "kor/kor.hpp"
#include "ratio_reporter.hpp"

extern "C" {
void dsyev_(const char* jobz, const char* uplo, const int* n, double* a, const int* lda, double* w, double* work,
            const int* lwork, int* info);
void dgeev_(const char* jobvl, const char* jobvr, const int* n, double* a, const int* lda, double* wr, double* wi,
            double* vl, const int* ldvl, double* vr, const int* ldvr, double* work, const int* lwork, int* info);
void openblas_set_num_threads(int);
}

namespace {

using cplx = std::complex<double>;

// Q diag(lambda) Q^T with Q a Householder reflection, column-major.
struct Symmetric {
  std::vector<double> a;
  std::vector<double> lambda;  // ascending
};

Symmetric symmetric(int n) {
  std::mt19937 gen(static_cast<unsigned>(n));
  std::uniform_real_distribution<double> u(-1, 1);
  Symmetric s;
  for (int i = 0; i < n; ++i) s.lambda.push_back(u(gen) * 10);
  std::vector<double> v(static_cast<std::size_t>(n));
  double vv = 0;
  for (double& x : v) {
    x = u(gen);
    vv += x * x;
  }
  s.a.assign(static_cast<std::size_t>(n) * n, 0.0);
  // Q = I - 2 v v^T / vv;  A = Q diag Q^T.
  auto q = [&](int i, int k) { return (i == k ? 1.0 : 0.0) - 2 * v[static_cast<std::size_t>(i)] * v[static_cast<std::size_t>(k)] / vv; };
  for (int i = 0; i < n; ++i)
    for (int j = 0; j <= i; ++j) {
      double sum = 0;
      for (int k = 0; k < n; ++k) sum += q(i, k) * s.lambda[static_cast<std::size_t>(k)] * q(j, k);
      s.a[static_cast<std::size_t>(i) + static_cast<std::size_t>(j) * n] = sum;
      s.a[static_cast<std::size_t>(j) + static_cast<std::size_t>(i) * n] = sum;
    }
  std::sort(s.lambda.begin(), s.lambda.end());
  return s;
}

double value_error(const std::vector<double>& found, const std::vector<double>& exact) {
  double e = 0;
  for (std::size_t i = 0; i < exact.size(); ++i) e = std::max(e, std::abs(found[i] - exact[i]));
  return e;
}

void BM_Rutishauserd(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const Symmetric s = symmetric(n);
  kor::DoubleArray a(kor::Bounds{1, n}, kor::Bounds{1, n}), b(kor::Bounds{1, n}), U(kor::Bounds{1, n}, kor::Bounds{1, n});
  std::memcpy(a.data(), s.a.data(), s.a.size() * sizeof(double));
  kor::Variant t1, t2, it;
  kor::Korvat k;
  for (auto _ : state) k.Rutishauserd(n, a, b, U, t1, t2, it);
  std::vector<double> found(b.data(), b.data() + n);
  state.counters["err"] = value_error(found, s.lambda);
}

void BM_LapackDsyev(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const Symmetric s = symmetric(n);
  std::vector<double> a(s.a.size()), w(static_cast<std::size_t>(n));
  int lwork = -1, info = 0;
  double query = 0;
  dsyev_("V", "U", &n, a.data(), &n, w.data(), &query, &lwork, &info);
  lwork = static_cast<int>(query);
  std::vector<double> work(static_cast<std::size_t>(lwork));
  for (auto _ : state) {
    std::memcpy(a.data(), s.a.data(), s.a.size() * sizeof(double));
    dsyev_("V", "U", &n, a.data(), &n, w.data(), work.data(), &lwork, &info);
  }
  state.counters["err"] = value_error(w, s.lambda);
}

// A polynomial of degree n with known roots: real ones and conjugate pairs
// on radii between 0.5 and 2.
struct Poly {
  std::vector<double> c;  // highest power first
  std::vector<cplx> roots;
};

Poly poly(int n) {
  Poly p;
  for (int k = 0; k < n / 2; ++k)
    for (int sign : {1, -1}) p.roots.push_back(std::polar(0.5 + 1.5 * k / (n / 2), sign * (0.3 + 2.5 * k / (n / 2))));
  if (n % 2) p.roots.emplace_back(-0.75, 0);
  std::vector<cplx> c{1};
  for (const cplx& r : p.roots) {
    c.push_back(0);
    for (std::size_t k = c.size() - 1; k > 0; --k) c[k] -= r * c[k - 1];
  }
  for (const cplx& x : c) p.c.push_back(x.real());
  return p;
}

double root_error(std::vector<cplx> found, const std::vector<cplx>& exact) {
  double e = 0;
  for (const cplx& r : exact) {
    auto best = std::min_element(found.begin(), found.end(),
                                 [&](const cplx& x, const cplx& y) { return std::abs(x - r) < std::abs(y - r); });
    e = std::max(e, std::abs(*best - r));
    found.erase(best);
  }
  return e;
}

void BM_LinBairstowd(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const Poly p = poly(n);
  kor::DoubleArray ap(kor::Bounds{1, n + 1}), xr(kor::Bounds{1, n}), xi(kor::Bounds{1, n});
  std::memcpy(ap.data(), p.c.data(), p.c.size() * sizeof(double));
  kor::Korvat k;
  for (auto _ : state) k.LinBairstowd(n, ap, xr, xi, 1e-12);
  std::vector<cplx> found;
  for (int i = 1; i <= n; ++i) found.emplace_back(xr(i), xi(i));
  state.counters["err"] = root_error(found, p.roots);
}

void BM_LapackCompanionDgeev(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const Poly p = poly(n);
  std::vector<double> a(static_cast<std::size_t>(n) * n), wr(static_cast<std::size_t>(n)), wi(wr.size());
  int lwork = -1, info = 0, one = 1;
  double query = 0;
  dgeev_("N", "N", &n, a.data(), &n, wr.data(), wi.data(), nullptr, &one, nullptr, &one, &query, &lwork, &info);
  lwork = static_cast<int>(query);
  std::vector<double> work(static_cast<std::size_t>(lwork));
  for (auto _ : state) {
    // The companion matrix: first row -c(1..n)/c(0), ones below the diagonal.
    std::fill(a.begin(), a.end(), 0.0);
    for (int j = 0; j < n; ++j) a[static_cast<std::size_t>(j) * n] = -p.c[static_cast<std::size_t>(j + 1)] / p.c[0];
    for (int i = 1; i < n; ++i) a[static_cast<std::size_t>(i) + static_cast<std::size_t>(i - 1) * n] = 1;
    dgeev_("N", "N", &n, a.data(), &n, wr.data(), wi.data(), nullptr, &one, nullptr, &one, work.data(), &lwork, &info);
  }
  std::vector<cplx> found;
  for (int i = 0; i < n; ++i) found.emplace_back(wr[static_cast<std::size_t>(i)], wi[static_cast<std::size_t>(i)]);
  state.counters["err"] = root_error(found, p.roots);
}

BENCHMARK(BM_Rutishauserd)->Arg(50)->Arg(200)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_LapackDsyev)->Arg(50)->Arg(200)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_LinBairstowd)->Arg(10)->Arg(30)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_LapackCompanionDgeev)->Arg(10)->Arg(30)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
  openblas_set_num_threads(1);
  auto& r = kor::bench::run_all(argc, argv);
  std::printf("\nSpeed-ups (time of the named peer / time of kor; above 1 means kor is faster):\n");
  for (int n : {50, 200})
    r.print_ratio("Rutishauserd vs LAPACK dsyev (vectors), n = " + std::to_string(n),
                  "BM_LapackDsyev/" + std::to_string(n), "BM_Rutishauserd/" + std::to_string(n));
  for (int n : {10, 30})
    r.print_ratio("LinBairstowd vs LAPACK dgeev on the companion, degree " + std::to_string(n),
                  "BM_LapackCompanionDgeev/" + std::to_string(n), "BM_LinBairstowd/" + std::to_string(n));
  std::printf("(accuracy: the counter err of each line, largest distance to the known answer)\n");
  return 0;
}
