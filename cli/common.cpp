#include "common.hpp"

#include <charconv>
#include <iostream>
#include <stdexcept>

#include "csv.hpp"
#include "kor/error.hpp"

namespace kor::cli {

std::string format_number(double x) {
  char buf[64];
  auto r = std::to_chars(buf, buf + sizeof buf, x);
  return std::string(buf, r.ptr);
}

std::vector<double> parse_number_list(std::string_view text) {
  std::vector<double> out;
  std::size_t start = 0;
  while (start <= text.size()) {
    std::size_t comma = text.find(',', start);
    if (comma == std::string_view::npos) comma = text.size();
    std::string_view item = text.substr(start, comma - start);
    while (!item.empty() && item.front() == ' ') item.remove_prefix(1);
    while (!item.empty() && item.back() == ' ') item.remove_suffix(1);
    double v = 0;
    const char* b = item.data();
    const char* e = item.data() + item.size();
    if (!item.empty() && *b == '+') ++b;
    auto r = std::from_chars(b, e, v);
    if (item.empty() || r.ec != std::errc() || r.ptr != e)
      throw std::invalid_argument("not a number: \"" + std::string(item) + "\"");
    out.push_back(v);
    start = comma + 1;
  }
  return out;
}

int guarded(const char* command, const std::function<int()>& body) {
  try {
    return body();
  } catch (const CsvError& e) {
    std::cerr << "kor " << command << ": " << e.what() << '\n';
    return kExitUsage;
  } catch (const std::invalid_argument& e) {
    std::cerr << "kor " << command << ": " << e.what() << '\n';
    return kExitUsage;
  } catch (const Error& e) {
    std::cerr << "kor " << command << ": runtime error " << e.number() << ": " << e.description() << '\n';
    return kExitRuntimeError;
  }
}

}  // namespace kor::cli
