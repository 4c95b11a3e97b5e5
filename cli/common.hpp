// Shared pieces of the kor command's subcommands.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

namespace kor::cli {

// Exit codes of the kor command.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFailed = 1;      // the method reported a failure status
inline constexpr int kExitRuntimeError = 2;  // a runtime error ended the method
inline constexpr int kExitUsage = 3;       // bad arguments or a bad input file

// A number as the shortest text that reads back to the same double.
std::string format_number(double x);

// Parses "1,2.5,-3" into numbers; throws std::invalid_argument naming the bad item.
std::vector<double> parse_number_list(std::string_view text);

// Runs a command body, turning a bad input file into a message and
// kExitUsage and a runtime error into a message and kExitRuntimeError.
int guarded(const char* command, const std::function<int()>& body);

// Each subcommand registers itself on the app.
void add_eval_command(CLI::App& app, int& exit_code);
void add_linalg_commands(CLI::App& app, int& exit_code);
void add_poly_command(CLI::App& app, int& exit_code);
void add_interpolation_commands(CLI::App& app, int& exit_code);
void add_solver_commands(CLI::App& app, int& exit_code);

}  // namespace kor::cli
