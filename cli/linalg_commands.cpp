// kor linsolve FILE.csv,  kor invert FILE.csv [--ep EP]  and  kor eigen FILE.csv [--vectors]
#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>

#include "common.hpp"
#include "csv.hpp"
#include "kor/kor.hpp"

namespace kor::cli {
namespace {

DoubleArray to_matrix(const CsvTable& t) {
  const auto rows = static_cast<std::int32_t>(t.rows.size());
  const auto cols = static_cast<std::int32_t>(t.columns());
  DoubleArray a(Bounds{1, rows}, Bounds{1, cols});
  for (std::int32_t i = 1; i <= rows; ++i)
    for (std::int32_t j = 1; j <= cols; ++j) a(i, j) = t.rows[static_cast<std::size_t>(i - 1)][static_cast<std::size_t>(j - 1)];
  return a;
}

int linsolve(const std::string& path) {
  const CsvTable t = read_csv(path);
  const std::size_t n = t.rows.size();
  if (t.columns() <= n)
    throw std::invalid_argument(path + ": an augmented matrix of " + std::to_string(n) + " rows needs at least " +
                                std::to_string(n + 1) + " columns");
  DoubleArray a = to_matrix(t);
  const auto ncol = static_cast<int>(t.columns() - n);
  Variant id;
  Korvat::global().Gaussd(static_cast<int>(n), a, ncol, id);
  if (id.to_int16() != 0) {
    std::cout << "ID = " << id.to_string() << '\n';
    std::cerr << "kor linsolve: the system is singular (a pivot below 1E-6)\n";
    return kExitFailed;
  }
  for (std::size_t i = 1; i <= n; ++i) {
    std::cout << 'x' << i << " =";
    for (int m = 1; m <= ncol; ++m)
      std::cout << (m > 1 ? ", " : " ") << format_number(a(static_cast<std::int32_t>(i), static_cast<std::int32_t>(n) + m));
    std::cout << '\n';
  }
  std::cout << "ID = " << id.to_string() << '\n';
  return kExitOk;
}

int invert(const std::string& path, double ep) {
  const CsvTable t = read_csv(path);
  const std::size_t n = t.rows.size();
  if (t.columns() != n)
    throw std::invalid_argument(path + ": the matrix has " + std::to_string(n) + " rows and " +
                                std::to_string(t.columns()) + " columns; it must be square");
  DoubleArray ap = to_matrix(t);
  DoubleArray inverse(ap.bounds(1), ap.bounds(2));
  Variant nn = static_cast<int>(n), id;
  Korvat::global().Invertd(nn, ap, inverse, id, ep);
  if (id.to_int16() != 0) {
    std::cout << "ID = " << id.to_string() << '\n';
    std::cerr << "kor invert: the matrix is singular (a pivot of magnitude at most " << format_number(ep) << ")\n";
    return kExitFailed;
  }
  for (std::int32_t i = 1; i <= static_cast<std::int32_t>(n); ++i) {
    for (std::int32_t j = 1; j <= static_cast<std::int32_t>(n); ++j) std::cout << (j > 1 ? "," : "") << format_number(inverse(i, j));
    std::cout << '\n';
  }
  std::cout << "ID = " << id.to_string() << '\n';
  return kExitOk;
}

int eigen(const std::string& path, bool vectors) {
  const CsvTable t = read_csv(path);
  const std::size_t n = t.rows.size();
  if (t.columns() != n)
    throw std::invalid_argument(path + ": the matrix has " + std::to_string(n) + " rows and " +
                                std::to_string(t.columns()) + " columns; it must be square");
  DoubleArray a = to_matrix(t);
  const auto order = static_cast<std::int32_t>(n);
  DoubleArray b(Bounds{1, order}), U(Bounds{1, order}, Bounds{1, order});
  Variant tag1, tag2, sweeps;
  Korvat::global().Rutishauserd(order, a, b, U, tag1, tag2, sweeps, vectors);
  if (tag1.to_int16() == 2) {
    std::cerr << "kor eigen: the matrix is not symmetric (to 1E-10 of its largest element)\n";
    return kExitFailed;
  }
  for (std::int32_t k = 1; k <= order; ++k) {
    std::cout << "lambda" << k << " = " << format_number(b(k));
    if (vectors) {
      std::cout << ':';
      for (std::int32_t i = 1; i <= order; ++i) std::cout << (i > 1 ? "," : " ") << format_number(U(i, k));
    }
    std::cout << '\n';
  }
  std::cout << "sweeps = " << sweeps.to_string() << ", rotations = " << tag2.to_string() << '\n';
  if (tag1.to_int16() == 1) {
    std::cerr << "kor eigen: no convergence in 50 sweeps; the values are approximations\n";
    return kExitFailed;
  }
  return kExitOk;
}

}  // namespace

void add_linalg_commands(CLI::App& app, int& exit_code) {
  auto path = std::make_shared<std::string>();
  auto* solve = app.add_subcommand("linsolve", "Solve linear equations (Gaussian elimination, Gaussd)");
  solve->add_option("FILE", *path, "augmented matrix as CSV: one equation per line, coefficients then right-hand sides")
      ->required();
  solve->callback([path, &exit_code] { exit_code = guarded("linsolve", [&] { return linsolve(*path); }); });

  auto ipath = std::make_shared<std::string>();
  auto ep = std::make_shared<double>(1e-13);
  auto* inv = app.add_subcommand("invert", "Invert a square matrix (Invertd)");
  inv->add_option("FILE", *ipath, "the matrix as CSV, one row per line")->required();
  inv->add_option("--ep", *ep, "pivot threshold: a pivot of magnitude at most EP is singular (default 1e-13)");
  inv->callback([ipath, ep, &exit_code] { exit_code = guarded("invert", [&] { return invert(*ipath, *ep); }); });

  auto epath = std::make_shared<std::string>();
  auto vectors = std::make_shared<bool>(false);
  auto* eig = app.add_subcommand("eigen", "Eigenvalues (and vectors) of a symmetric matrix (Rutishauserd, Jacobi)");
  eig->add_option("FILE", *epath, "the symmetric matrix as CSV, one row per line")->required();
  eig->add_flag("--vectors", *vectors, "print each eigenvalue's unit eigenvector after it");
  eig->callback([epath, vectors, &exit_code] {
    exit_code = guarded("eigen", [&] { return eigen(*epath, *vectors); });
  });
}

}  // namespace kor::cli
