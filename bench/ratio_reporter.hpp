// A console reporter that also remembers each benchmark's time per
// iteration, so a benchmark program can print ratios measured in one run.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace kor::bench {

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const auto& r : runs)
      if (r.run_type == Run::RT_Iteration) times_[r.benchmark_name()] = r.GetAdjustedCPUTime();
    ConsoleReporter::ReportRuns(runs);
  }
  // Time of `slow` divided by time of `fast` (how many times faster `fast` is).
  double ratio(const std::string& slow, const std::string& fast) const {
    auto s = times_.find(slow), f = times_.find(fast);
    if (s == times_.end() || f == times_.end() || f->second == 0) return 0;
    return s->second / f->second;
  }
  void print_ratio(const std::string& label, const std::string& slow, const std::string& fast,
                   const char* target = "") const {
    std::printf("  %-58s %8.2fx %s\n", label.c_str(), ratio(slow, fast), target);
  }

 private:
  std::map<std::string, double> times_;
};

// Runs every registered benchmark with the ratio reporter and hands it back.
inline RatioReporter& run_all(int argc, char** argv) {
  static RatioReporter reporter;
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks(&reporter);
  return reporter;
}

}  // namespace kor::bench
