// kor — classical numerical methods from the command line.
#include <CLI/CLI.hpp>

#include "common.hpp"

int main(int argc, char** argv) {
  CLI::App app{"kor: classical numerical methods (expressions, linear algebra, splines, solvers)"};
  app.require_subcommand(1);
  int exit_code = kor::cli::kExitOk;
  kor::cli::add_eval_command(app, exit_code);
  kor::cli::add_linalg_commands(app, exit_code);
  kor::cli::add_poly_command(app, exit_code);
  kor::cli::add_interpolation_commands(app, exit_code);
  kor::cli::add_solver_commands(app, exit_code);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    const int rc = app.exit(e);
    return rc == 0 ? 0 : kor::cli::kExitUsage;
  }
  return exit_code;
}
