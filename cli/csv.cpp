#include "csv.hpp"

#include <charconv>
#include <cmath>
#include <fstream>
#include <iostream>
#include <sstream>

namespace kor::cli {
namespace {

std::string_view trim(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t' || s.front() == '\r')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r')) s.remove_suffix(1);
  return s;
}

std::vector<double> parse_row(std::string_view line, const std::string& where) {
  std::vector<double> row;
  std::size_t start = 0;
  int column = 1;
  for (;;) {
    const std::size_t comma = line.find(',', start);
    const std::string_view item = trim(line.substr(start, comma == std::string_view::npos ? line.npos : comma - start));
    const char* b = item.data();
    const char* e = item.data() + item.size();
    if (b != e && *b == '+') ++b;
    double v = 0;
    const auto r = std::from_chars(b, e, v);
    if (item.empty() || r.ec != std::errc() || r.ptr != e)
      throw CsvError(where + ": column " + std::to_string(column) + ": \"" + std::string(item) +
                     "\" is not a number");
    if (!std::isfinite(v))
      throw CsvError(where + ": column " + std::to_string(column) + ": \"" + std::string(item) +
                     "\" is not a finite number");
    row.push_back(v);
    if (comma == std::string_view::npos) break;
    start = comma + 1;
    ++column;
  }
  return row;
}

}  // namespace

CsvTable read_csv(const std::string& path) {
  std::ifstream file;
  std::istream* in = &std::cin;
  if (path != "-") {
    file.open(path);
    if (!file) throw CsvError(path + ": cannot open the file");
    in = &file;
  }
  CsvTable table;
  std::string line;
  int number = 0;
  int first_line = 0;
  while (std::getline(*in, line)) {
    ++number;
    std::string_view content = line;
    if (const auto hash = content.find('#'); hash != std::string_view::npos) content = content.substr(0, hash);
    if (trim(content).empty()) continue;
    const std::string where = path + ":" + std::to_string(number);
    auto row = parse_row(content, where);
    if (!table.rows.empty() && row.size() != table.columns())
      throw CsvError(where + ": " + std::to_string(row.size()) + " values where line " + std::to_string(first_line) +
                     " has " + std::to_string(table.columns()));
    if (table.rows.empty()) first_line = number;
    table.rows.push_back(std::move(row));
  }
  if (table.rows.empty()) throw CsvError(path + ": no numbers in the file");
  return table;
}

}  // namespace kor::cli
