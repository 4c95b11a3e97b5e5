// kor poly COEFFS --at X... [--monic]   and   kor roots COEFFS [--eps EPS]
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

// A root as "a", "a + bi" or "a - bi".
std::string root_text(double re, double im) {
  if (im == 0) return format_number(re);
  return format_number(re) + (im > 0 ? " + " : " - ") + format_number(std::abs(im)) + "i";
}

int roots(const std::string& text, double eps) {
  std::vector<double> c = parse_number_list(text);
  // Leading zeros only lower the degree; dropping them here keeps the
  // undefined root positions out of the listing.
  std::size_t lead = 0;
  while (lead + 1 < c.size() && c[lead] == 0) ++lead;
  if (lead > 0) {
    c.erase(c.begin(), c.begin() + static_cast<std::ptrdiff_t>(lead));
    std::cerr << "kor roots: leading zero coefficients dropped, the degree is " << c.size() - 1 << '\n';
  }
  const auto degree = static_cast<std::int32_t>(c.size()) - 1;
  if (degree < 1) {
    std::cerr << "kor roots: give at least 2 coefficients, highest power first\n";
    return kExitUsage;
  }
  DoubleArray a(Bounds{1, degree + 1});
  for (std::int32_t i = 1; i <= degree + 1; ++i) a(i) = c[static_cast<std::size_t>(i - 1)];
  DoubleArray xr(Bounds{1, degree}), xi(Bounds{1, degree});
  MessageCapture messages;
  Korvat::global().LinBairstowd(degree, a, xr, xi, eps);
  for (std::int32_t i = 1; i <= degree; ++i) std::cout << root_text(xr(i), xi(i)) << '\n';
  // A lowered degree is a notice; a factor that did not converge is a failure.
  bool inexact = false;
  for (const Message& m : messages.messages()) {
    std::cerr << "kor roots: " << m.text << '\n';
    inexact = inexact || m.text.find("nekonverguje") != std::string::npos;
  }
  return inexact ? kExitFailed : kExitOk;
}

}  // namespace

void add_poly_command(CLI::App& app, int& exit_code) {
  auto o = std::make_shared<PolyOptions>();
  auto* cmd = app.add_subcommand("poly", "Evaluate a polynomial by Horner's scheme (Polynd)");
  cmd->add_option("COEFFS", o->coefficients, "coefficients, highest power first, comma-separated")->required();
  cmd->add_option("--at", o->at, "the point(s) of evaluation")->required()->expected(1, -1);
  cmd->add_flag("--monic", o->monic, "the leading coefficient 1 is implied, COEFFS start with the next power");
  cmd->callback([o, &exit_code] { exit_code = guarded("poly", [&] { return poly(*o); }); });

  auto coefficients = std::make_shared<std::string>();
  auto eps = std::make_shared<double>(1e-12);
  auto* r = app.add_subcommand("roots", "All roots of a polynomial by the Lin-Bairstow method (LinBairstowd)");
  r->add_option("COEFFS", *coefficients, "coefficients, highest power first, comma-separated")->required();
  r->add_option("--eps", *eps, "relative tolerance of the quadratic factors (default 1e-12)");
  r->callback([coefficients, eps, &exit_code] {
    exit_code = guarded("roots", [&] { return roots(*coefficients, *eps); });
  });
}

}  // namespace kor::cli
