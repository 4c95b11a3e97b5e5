// kor solve EQ... --x X1,X2,... [--unknowns I,J,...] [--z ...] [--eps E] [--alam A] [--niter N]
// kor minimize TEXT --x ... [--z ...] [--method rosenbrock|simplex] [--eps E] [--itmax N]
// kor ode EQ... --y0 ... --from A --to B [--z ...] [--delta D] [--points K] [--plot FILE.svg]
//
// The interpreted solvers of Interpret on texts that read the constants as
// Z1..Z10 and the unknowns as X[1], X[2], ... (the state as Y[1], ..., the
// abscissa as Y[0] in kor ode).
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <fstream>
#include <iostream>
#include <memory>

#include "common.hpp"
#include "kor/kor.hpp"

namespace kor::cli {
namespace {

// Z1..Z10 with the given values; the rest are 0 (the solvers read all ten).
VariantArray constants(const std::vector<double>& z) {
  VariantArray zz(Bounds{1, 10});
  for (int i = 1; i <= 10; ++i)
    zz(i) = Variant(static_cast<std::size_t>(i) <= z.size() ? z[static_cast<std::size_t>(i - 1)] : 0.0);
  return zz;
}

StringArray texts(const std::vector<std::string>& t) {
  StringArray rov(Bounds{1, static_cast<std::int32_t>(t.size())});
  for (std::size_t i = 0; i < t.size(); ++i) rov(static_cast<std::int32_t>(i + 1)) = t[i];
  return rov;
}

VariantArray vector_from(const std::vector<double>& v, std::int32_t last) {
  VariantArray a(Bounds{0, last});
  for (std::int32_t i = 0; i <= last; ++i) a(i) = Variant(0.0);
  for (std::size_t i = 0; i < v.size(); ++i) a(static_cast<std::int32_t>(i + 1)) = Variant(v[i]);
  return a;
}

// Parses the comma lists of a command; false after naming the bad one.
bool parse_lists(const char* command, std::initializer_list<std::pair<const std::string*, std::vector<double>*>> lists) {
  try {
    for (const auto& [text, out] : lists)
      if (!text->empty()) *out = parse_number_list(*text);
  } catch (const std::invalid_argument& e) {
    std::cerr << command << ": " << e.what() << '\n';
    return false;
  }
  return true;
}

void print_point(const VariantArray& x, std::size_t n) {
  for (std::size_t k = 1; k <= n; ++k)
    std::cout << "X[" << k << "] = " << format_number(x(static_cast<std::int32_t>(k)).to_double()) << '\n';
}

// ---- kor solve ----
struct SolveOptions {
  std::vector<std::string> equations;
  std::string x, unknowns, z;
  double eps = 1e-5, alam = 0.8;
  int niter = 100;
};

int run_solve(const SolveOptions& o) {
  std::vector<double> x, unknowns, z;
  if (!parse_lists("kor solve", {{&o.x, &x}, {&o.unknowns, &unknowns}, {&o.z, &z}})) return kExitUsage;
  if (x.empty() || z.size() > 10) {
    std::cerr << "kor solve: --x needs the starting values and --z takes at most 10 values\n";
    return kExitUsage;
  }
  if (unknowns.empty())
    for (std::size_t k = 1; k <= x.size(); ++k) unknowns.push_back(static_cast<double>(k));
  const auto n = static_cast<std::int32_t>(o.equations.size());
  const auto m = static_cast<std::int32_t>(unknowns.size());
  StringArray rov = texts(o.equations);
  VariantArray xv = vector_from(x, static_cast<std::int32_t>(x.size()));
  VariantArray ipom(Bounds{1, m});
  for (std::int32_t k = 1; k <= m; ++k) ipom(k) = Variant(unknowns[static_cast<std::size_t>(k - 1)]);
  VariantArray zz = constants(z);
  Variant id;
  const Variant it = Interpret().NewtonI(rov, Variant(n), Variant(m), Variant(0), xv, ipom, zz, id, Variant(o.eps),
                                         Variant(o.alam), Variant(o.niter));
  print_point(xv, x.size());
  const int status = id.to_int16();
  static const char* const words[] = {"converged", "iteration limit", "singular"};
  std::cout << (status >= 0 && status <= 2 ? words[status] : "unknown status") << " after "
            << format_number(it.to_double()) << " iterations\n";
  return status == 0 ? kExitOk : kExitFailed;
}

// ---- kor minimize ----
struct MinimizeOptions {
  std::vector<std::string> texts;
  std::string text, x, z, method = "rosenbrock";
  double eps = -1;  // below zero: the method's default
  int itmax = 1000;
};

int run_minimize(const MinimizeOptions& o) {
  std::vector<double> x, z;
  if (!parse_lists("kor minimize", {{&o.x, &x}, {&o.z, &z}})) return kExitUsage;
  if (x.empty() || z.size() > 10) {
    std::cerr << "kor minimize: --x needs the starting point and --z takes at most 10 values\n";
    return kExitUsage;
  }
  VariantArray xv = vector_from(x, static_cast<std::int32_t>(x.size()));
  VariantArray zz = constants(z);
  const Variant n(static_cast<std::int32_t>(x.size()));
  const Variant eps = o.eps < 0 ? Variant::missing() : Variant(o.eps);
  Variant itmax(o.itmax);
  const int limit = o.itmax < 11 ? 2000 : o.itmax;  // the methods' floor
  Variant best;
  bool limited = false;
  if (o.method == "simplex") {
    best = Interpret().Fmin1I(o.text, n, xv, zz, eps, itmax);
  } else {
    best = Interpret().FminI(o.text, n, xv, zz, eps, itmax);
    limited = itmax.to_double() > limit;  // the trial steps taken
  }
  print_point(xv, x.size());
  std::cout << "F = " << format_number(best.to_double()) << '\n'
            << (limited ? "iteration limit" : "converged") << " after " << format_number(itmax.to_double())
            << (o.method == "simplex" ? " iterations\n" : " trial steps\n");
  return limited ? kExitFailed : kExitOk;
}

// ---- kor ode ----
struct OdeOptions {
  std::vector<std::string> equations;
  std::string y0, z, plot;
  double from = 0, to = 1, delta = 1e-6;
  int points = 10;
};

void write_plot(const std::string& file, const std::vector<std::vector<double>>& rows) {
  const double w = 640, h = 400, margin = 40;
  double x0 = rows.front()[0], x1 = rows.back()[0], lo = rows[0][1], hi = rows[0][1];
  for (const auto& r : rows)
    for (std::size_t j = 1; j < r.size(); ++j) lo = std::min(lo, r[j]), hi = std::max(hi, r[j]);
  if (hi == lo) hi = lo + 1;
  if (x1 == x0) x1 = x0 + 1;
  std::ofstream out(file);
  out << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << w << "\" height=\"" << h << "\">\n"
      << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
  static const char* const colours[] = {"#1f77b4", "#d62728", "#2ca02c", "#9467bd", "#ff7f0e"};
  for (std::size_t j = 1; j < rows[0].size(); ++j) {
    out << "<polyline fill=\"none\" stroke=\"" << colours[(j - 1) % 5] << "\" points=\"";
    for (const auto& r : rows)
      out << margin + (r[0] - x0) / (x1 - x0) * (w - 2 * margin) << ','
          << h - margin - (r[j] - lo) / (hi - lo) * (h - 2 * margin) << ' ';
    out << "\"/>\n";
  }
  out << "<text x=\"4\" y=\"14\" font-size=\"12\">" << format_number(hi) << "</text>\n"
      << "<text x=\"4\" y=\"" << h - 4 << "\" font-size=\"12\">" << format_number(lo) << "</text>\n</svg>\n";
}

int run_ode(const OdeOptions& o) {
  std::vector<double> y0, z;
  if (!parse_lists("kor ode", {{&o.y0, &y0}, {&o.z, &z}})) return kExitUsage;
  const auto nn = static_cast<std::int32_t>(o.equations.size());
  if (static_cast<std::size_t>(nn) != y0.size() || nn > 10 || z.size() > 10 || o.points < 1) {
    std::cerr << "kor ode: give one starting value per equation (at most 10), at most 10 values in --z "
                 "and at least one point\n";
    return kExitUsage;
  }
  // The integrator steps forward: backwards it may never come to an end.
  if (!(o.to > o.from)) {
    std::cerr << "kor ode: --to must be greater than --from\n";
    return kExitUsage;
  }
  StringArray rov = texts(o.equations);
  VariantArray y = vector_from(y0, 10 + nn);
  VariantArray zz = constants(z);
  Variant xb(o.from), star(0);
  std::vector<std::vector<double>> rows;
  auto record = [&] {
    std::vector<double> r{xb.to_double()};
    for (std::int32_t i = 1; i <= nn; ++i) r.push_back(y(i).to_double());
    rows.push_back(std::move(r));
  };
  record();
  // Interpret keeps no step between calls: each piece starts with the
  // integrator's first step.
  Interpret interpret;
  for (int k = 1; k <= o.points; ++k) {
    Variant xe(k == o.points ? o.to : o.from + (o.to - o.from) * k / o.points);
    interpret.RkmI(rov, Variant(nn), xb, xe, y, Variant(o.delta), star, zz);
    record();
  }
  std::cout << 'x';
  for (std::int32_t i = 1; i <= nn; ++i) std::cout << ",y" << i;
  std::cout << '\n';
  for (const auto& r : rows) {
    for (std::size_t j = 0; j < r.size(); ++j) std::cout << (j ? "," : "") << format_number(r[j]);
    std::cout << '\n';
  }
  if (!o.plot.empty()) write_plot(o.plot, rows);
  return kExitOk;
}

// Adds the text arguments, which may begin with "-" (as "-X[1]^2").
template <class Run>
void finish_command(CLI::App* cmd, const char* name, std::vector<std::string>& texts, int& exit_code, Run run) {
  cmd->allow_extras();
  cmd->callback([cmd, name, &texts, &exit_code, run] {
    auto rest = cmd->remaining();
    std::erase(rest, std::string("--"));
    texts.insert(texts.end(), rest.begin(), rest.end());
    if (texts.empty()) {
      std::cerr << "kor " << name << ": expected at least one expression text\n";
      exit_code = kExitUsage;
      return;
    }
    exit_code = guarded(name, run);
  });
}

}  // namespace

void add_solver_commands(CLI::App& app, int& exit_code) {
  {
    auto o = std::make_shared<SolveOptions>();
    auto* cmd = app.add_subcommand("solve", "Solve nonlinear equations EQ = 0 by Newton's method (NewtonI)");
    cmd->add_option("EQ", o->equations, "the equations' left sides, for example \"X[1]^2-Z1\"");
    cmd->add_option("--x", o->x, "starting values X[1], X[2], ... (comma-separated)")->required();
    cmd->add_option("--unknowns", o->unknowns, "indices of the unknowns solved for (default: all)");
    cmd->add_option("--z", o->z, "constants Z1..Z10 (comma-separated)");
    cmd->add_option("--eps", o->eps, "largest relative correction at convergence");
    cmd->add_option("--alam", o->alam, "damping control");
    cmd->add_option("--niter", o->niter, "iteration limit")->check(CLI::Range(0, 32767));
    finish_command(cmd, "solve", o->equations, exit_code, [o] { return run_solve(*o); });
  }
  {
    auto o = std::make_shared<MinimizeOptions>();
    auto* cmd = app.add_subcommand("minimize", "Minimise a function of X[1], X[2], ... (FminI or Fmin1I)");
    cmd->add_option("TEXT", o->texts, "the function, for example \"(X[1]-1)^2+(X[2]-Z1)^2\"");
    cmd->add_option("--x", o->x, "starting point (comma-separated)")->required();
    cmd->add_option("--z", o->z, "constants Z1..Z10 (comma-separated)");
    cmd->add_option("--method", o->method, "rosenbrock (default) or simplex")
        ->check(CLI::IsMember({"rosenbrock", "simplex"}));
    cmd->add_option("--eps", o->eps, "tolerance (default: the method's own)");
    cmd->add_option("--itmax", o->itmax, "limit on trial steps (Rosenbrock)")->check(CLI::Range(0, 32767));
    finish_command(cmd, "minimize", o->texts, exit_code, [o]() -> int {
      if (o->texts.size() != 1) {
        std::cerr << "kor minimize: expected one function text\n";
        return kExitUsage;
      }
      o->text = o->texts.front();
      return run_minimize(*o);
    });
  }
  {
    auto o = std::make_shared<OdeOptions>();
    auto* cmd = app.add_subcommand("ode", "Integrate Y[i]' = EQi from --from to --to (RkmI); prints a CSV table");
    cmd->add_option("EQ", o->equations, "the derivatives, for example \"Y[1]\" or \"Y[0]*Y[2]\"");
    cmd->add_option("--y0", o->y0, "starting values Y[1], Y[2], ... (comma-separated)")->required();
    cmd->add_option("--from", o->from, "start of the interval")->required();
    cmd->add_option("--to", o->to, "end of the interval")->required();
    cmd->add_option("--z", o->z, "constants Z1..Z10 (comma-separated)");
    cmd->add_option("--delta", o->delta, "bound on the error estimate of one step");
    cmd->add_option("--points", o->points, "number of intervals of the table")->check(CLI::Range(1, 100000));
    cmd->add_option("--plot", o->plot, "write a line chart of the solution to this SVG file");
    finish_command(cmd, "ode", o->equations, exit_code, [o] { return run_ode(*o); });
  }
}

}  // namespace kor::cli
