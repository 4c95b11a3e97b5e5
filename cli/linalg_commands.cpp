// kor linsolve FILE.csv   and   kor invert FILE.csv [--ep EP]
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
}

}  // namespace kor::cli
