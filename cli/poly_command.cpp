// kor poly COEFFS --at X... [--monic]
#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>

#include "common.hpp"
#include "kor/kor.hpp"

namespace kor::cli {
namespace {

struct PolyOptions {
  std::string coefficients;
  std::vector<double> at;
  bool monic = false;
};

int poly(const PolyOptions& o) {
  const std::vector<double> c = parse_number_list(o.coefficients);
  DoubleArray a(Bounds{1, static_cast<std::int32_t>(c.size())});
  for (std::size_t i = 0; i < c.size(); ++i) a(static_cast<std::int32_t>(i + 1)) = c[i];
  // The sign of the degree selects the layout: monic (leading 1 not given)
  // or general (leading coefficient given).
  const int degree = o.monic ? static_cast<int>(c.size()) : static_cast<int>(c.size()) - 1;
  if (degree == 0) {
    std::cerr << "kor poly: give at least " << (o.monic ? 1 : 2) << " coefficient(s)\n";
    return kExitUsage;
  }
  const Variant n = o.monic ? degree : -degree;
  for (double x : o.at) std::cout << format_number(Korvat::global().Polynd(n, x, a)) << '\n';
  return kExitOk;
}

}  // namespace

void add_poly_command(CLI::App& app, int& exit_code) {
  auto o = std::make_shared<PolyOptions>();
  auto* cmd = app.add_subcommand("poly", "Evaluate a polynomial by Horner's scheme (Polynd)");
  cmd->add_option("COEFFS", o->coefficients, "coefficients, highest power first, comma-separated")->required();
  cmd->add_option("--at", o->at, "the point(s) of evaluation")->required()->expected(1, -1);
  cmd->add_flag("--monic", o->monic, "the leading coefficient 1 is implied, COEFFS start with the next power");
  cmd->callback([o, &exit_code] { exit_code = guarded("poly", [&] { return poly(*o); }); });
}

}  // namespace kor::cli
