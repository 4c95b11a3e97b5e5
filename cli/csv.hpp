// Numeric CSV tables for the kor command: numbers separated by commas, one
// row per line; blank lines and text after '#' are ignored.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace kor::cli {

// A bad file; the message names the file and, where it applies, the line.
struct CsvError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct CsvTable {
  std::vector<std::vector<double>> rows;
  std::size_t columns() const { return rows.empty() ? 0 : rows.front().size(); }
};

// Reads a table whose rows all have the same number of values ("-" reads
// standard input).  Throws CsvError for a missing file, text where a number
// belongs, ragged rows or a file without data.
CsvTable read_csv(const std::string& path);

}  // namespace kor::cli
