// kor eval TEXT [--z Z1,Z2,...] [--y Y0,Y1,...] [--level N]
#include <CLI/CLI.hpp>
#include <cstdio>
#include <iostream>
#include <memory>

#include "common.hpp"
#include "kor/kor.hpp"

namespace kor::cli {
namespace {

struct EvalOptions {
  std::string text;
  std::string z;
  std::string y;
  int level = 0;
};

int run_eval(const EvalOptions& o) {
  std::vector<double> z, y;
  try {
    if (!o.z.empty()) z = parse_number_list(o.z);
    if (!o.y.empty()) y = parse_number_list(o.y);
  } catch (const std::invalid_argument& e) {
    std::cerr << "kor eval: " << e.what() << '\n';
    return kExitUsage;
  }
  if (z.size() > 10) {
    std::cerr << "kor eval: --z takes at most 10 values (Z1..Z10)\n";
    return kExitUsage;
  }
  // The table holds exactly the rows given, so a name without a value is
  // reported instead of silently reading as 0.
  VariantArray table({1, static_cast<std::int32_t>(z.size())}, {1, 2});
  for (std::size_t i = 0; i < z.size(); ++i) {
    const auto r = static_cast<std::int32_t>(i + 1);
    table(r, 1) = Variant("Z" + std::to_string(r));
    table(r, 2) = Variant(z[i]);
  }
  VariantArray vec({0, static_cast<std::int32_t>(y.size()) - 1});
  for (std::size_t i = 0; i < y.size(); ++i) vec(static_cast<std::int32_t>(i)) = Variant(y[i]);

  auto ipok = static_cast<std::int16_t>(o.level);
  try {
    const Variant v = Interpret().Interp(o.text, ipok, table, vec);
    if (ipok < 0) {
      static const char* const reasons[] = {"", "the text contains a space",
                                            "a variable could not be read",
                                            "a function could not be evaluated"};
      std::cerr << "kor eval: failed with status " << ipok;
      if (ipok >= -3) std::cerr << " (" << reasons[-ipok] << ")";
      std::cerr << '\n';
      return kExitFailed;
    }
    std::cout << format_number(v.to_double()) << '\n';
    return kExitOk;
  } catch (const Error& e) {
    std::cerr << "kor eval: runtime error " << e.number() << ": " << e.description() << '\n';
    return kExitRuntimeError;
  }
}

}  // namespace

void add_eval_command(CLI::App& app, int& exit_code) {
  auto opts = std::make_shared<EvalOptions>();
  auto* cmd = app.add_subcommand("eval", "Evaluate an expression text");
  cmd->add_option("TEXT", opts->text, "the expression, for example \"(X[1]-Z1)^2\"");
  // A text may begin with "-" ("-(2+3)", "-X^2"): what the parser does not
  // take for an option is the text.
  cmd->allow_extras();
  cmd->add_option("--z", opts->z, "values of the table rows Z1, Z2, ... (comma-separated, at most 10)");
  cmd->add_option("--y", opts->y, "indexed variables Y[0], Y[1], ... (comma-separated)");
  cmd->add_option("--level", opts->level,
                  "message level: 0 shows every message, -1 only the table message, -2 none")
      ->check(CLI::Range(-32768, 32767));
  cmd->callback([cmd, opts, &exit_code] {
    auto rest = cmd->remaining();
    std::erase(rest, std::string("--"));
    if (opts->text.empty() && rest.size() == 1) {
      opts->text = rest.front();
    } else if (opts->text.empty() || !rest.empty()) {
      std::cerr << "kor eval: expected one expression text\n";
      exit_code = kExitUsage;
      return;
    }
    exit_code = run_eval(*opts);
  });
}

}  // namespace kor::cli
