// Runs the registered benchmarks and then prints each one's throughput or time as a ratio
// to its baseline, a benchmark of the same run named "<group>_baseline…": rates as a share
// of the baseline's rate, times as a multiple of the baseline's time.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>

namespace tolvana::bench {

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      std::string name = run.benchmark_name();
      auto rate = run.counters.find("items_per_second");
      if (rate == run.counters.end()) rate = run.counters.find("bytes_per_second");
      // Times in nanoseconds per iteration, whatever unit the benchmark prints in.
      results_[name] = rate != run.counters.end() ? double(rate->second)
                                                  : run.real_accumulated_time * 1e9 / double(run.iterations);
      perSecond_[name] = rate != run.counters.end();
    }
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf("\nRatios against the baseline of each group (same run):\n");
    for (const auto& [name, value] : results_) {
      std::string group = name.substr(0, name.find('_'));
      if (name.rfind(group + "_baseline", 0) == 0) continue;
      for (const auto& [other, baseline] : results_) {
        if (other.rfind(group + "_baseline", 0) != 0) continue;
        std::printf("  %-42s %10.4g %-7s = %8.3f x the %s of %s\n", name.c_str(), value,
                    perSecond_[name] ? "per s" : "ns", value / baseline, perSecond_[name] ? "rate" : "time",
                    other.c_str());
      }
    }
  }

 private:
  std::map<std::string, double> results_;
  std::map<std::string, bool> perSecond_;
};

inline int runWithRatios(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}

}  // namespace tolvana::bench
