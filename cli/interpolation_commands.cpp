// kor spline FILE.csv --at X... [--derivative] [--integral A B] [--start-slope S] [--end-slope S]
// kor lagrange FILE.csv --at X... [--points M]
#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>

#include "common.hpp"
#include "csv.hpp"
#include "kor/kor.hpp"

namespace kor::cli {
namespace {

struct Points {
  DoubleArray x, y;
  int n = 0;
};

Points read_points(const std::string& path) {
  const CsvTable t = read_csv(path);
  if (t.columns() != 2) throw std::invalid_argument(path + ": expected two columns, x and y");
  Points p;
  p.n = static_cast<int>(t.rows.size());
  p.x.redim(Bounds{1, p.n});
  p.y.redim(Bounds{1, p.n});
  for (int i = 1; i <= p.n; ++i) {
    p.x(i) = t.rows[static_cast<std::size_t>(i - 1)][0];
    p.y(i) = t.rows[static_cast<std::size_t>(i - 1)][1];
  }
  return p;
}

// An end slope: a number, "natural" (the default) or "chord" (the first or last chord's slope).
double end_slope(const std::string& s) {
  if (s.empty() || s == "natural") return 10000.0;
  if (s == "chord") return -10000.0;
  const auto v = parse_number_list(s);
  if (v.size() != 1) throw std::invalid_argument("an end slope is one number, \"natural\" or \"chord\"");
  if (v[0] <= -9998.999 || v[0] >= 9998.999)
    throw std::invalid_argument("an end slope must lie strictly between -9998.999 and 9998.999");
  return v[0];
}

struct SplineOptions {
  std::string path, start, end;
  std::vector<double> at, integral;
  bool derivative = false;
};

int spline(const SplineOptions& o) {
  Points p = read_points(o.path);
  for (int i = 2; i <= p.n; ++i)
    if (!(p.x(i) > p.x(i - 1))) throw std::invalid_argument(o.path + ": x must increase strictly (row " + std::to_string(i) + ")");
  if (o.at.empty() && o.integral.empty()) throw std::invalid_argument("give --at and/or --integral");
  Korvat& k = Korvat::global();
  DoubleArray y2(Bounds{1, p.n});
  k.Splined(1, p.n, p.x, p.y, end_slope(o.start), end_slope(o.end), y2);
  if (p.n < 2) return kExitFailed;  // the one-point message has been shown
  for (double x : o.at)
    std::cout << format_number(o.derivative ? k.Splderd(1, p.n, p.x, p.y, y2, x) : k.Splinpd(1, p.n, p.x, p.y, y2, x))
              << '\n';
  if (!o.integral.empty()) std::cout << format_number(k.Splintd(1, p.n, p.x, p.y, y2, o.integral[0], o.integral[1])) << '\n';
  return kExitOk;
}

struct LagrangeOptions {
  std::string path;
  std::vector<double> at;
  int points = 4;
};

int lagrange(const LagrangeOptions& o) {
  Points p = read_points(o.path);
  if (p.n == 2)
    std::cerr << "kor lagrange: note: with two points the method returns its two-point product "
                 "y1*(x-x1)*(y2-y1)/(x2-x1), not the straight line\n";
  else if (o.points > p.n)
    throw std::invalid_argument("--points " + std::to_string(o.points) + " exceeds the " + std::to_string(p.n) +
                                " points of the table");
  for (double x : o.at) std::cout << format_number(Korvat::global().Flagrd(p.n, p.x, p.y, x, o.points)) << '\n';
  return kExitOk;
}

}  // namespace

void add_interpolation_commands(CLI::App& app, int& exit_code) {
  auto s = std::make_shared<SplineOptions>();
  auto* sp = app.add_subcommand("spline", "Cubic spline through a table: value, derivative, integral");
  sp->add_option("FILE", s->path, "CSV with two columns x,y (x strictly increasing)")->required();
  sp->add_option("--at", s->at, "point(s) of evaluation")->expected(1, -1);
  sp->add_flag("--derivative", s->derivative, "print the first derivative instead of the value");
  sp->add_option("--integral", s->integral, "print the integral from A to B")->expected(2);
  sp->add_option("--start-slope", s->start, "slope at the first point: a number, natural (default) or chord");
  sp->add_option("--end-slope", s->end, "slope at the last point: a number, natural (default) or chord");
  sp->callback([s, &exit_code] { exit_code = guarded("spline", [&] { return spline(*s); }); });

  auto l = std::make_shared<LagrangeOptions>();
  auto* lg = app.add_subcommand("lagrange", "Lagrange interpolation on non-equidistant points (Flagrd)");
  lg->add_option("FILE", l->path, "CSV with two columns x,y (any order)")->required();
  lg->add_option("--at", l->at, "point(s) of interpolation")->required()->expected(1, -1);
  lg->add_option("--points", l->points, "number of neighbouring points used (default 4)")->check(CLI::Range(1, 32767));
  lg->callback([l, &exit_code] { exit_code = guarded("lagrange", [&] { return lagrange(*l); }); });
}

}  // namespace kor::cli
