// Runs the registered benchmarks and then prints each one's throughput or time as a ratio
// to its baseline, a benchmark of the same run named "<group>_baseline…": rates as a share
// of the baseline's rate, times as a multiple of the baseline's time. Last come the targets,
// one "TARGET |" line each, which scripts/bench gathers into its closing table.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace tolvana::bench {

// A figure of the run (a benchmark's name, or one given to recordFigure) held against a
// baseline of the same run: figure / baseline must stay at most, or at least, limit.
struct Target {
  std::string path;
  std::string figure;
  std::string baseline;
  double limit;
  bool atMost;
};

inline std::vector<Target>& targets() {
  static std::vector<Target> registered;
  return registered;
}

inline bool addTarget(Target target) {
  targets().push_back(std::move(target));
  return true;
}

// Figures a benchmark measures itself (latency percentiles, bytes, counts).
inline std::map<std::string, double>& recordedFigures() {
  static std::map<std::string, double> figures;
  return figures;
}

inline void recordFigure(const std::string& name, double value) { recordedFigures()[name] = value; }

// A figure that is the difference of two others of the run (an overhead one path adds to
// another), computed once both have run.
struct Difference {
  std::string name, minuend, subtrahend;
};
inline std::vector<Difference>& differences() {
  static std::vector<Difference> registered;
  return registered;
}
inline void addDifference(std::string name, std::string minuend, std::string subtrahend) {
  differences().push_back({std::move(name), std::move(minuend), std::move(subtrahend)});
}

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
    printTargets();
  }

 private:
  void printTargets() {
    for (const auto& [name, value] : recordedFigures()) results_[name] = value;
    for (const Difference& d : differences()) {
      auto a = results_.find(d.minuend), b = results_.find(d.subtrahend);
      if (a != results_.end() && b != results_.end()) results_[d.name] = a->second - b->second;
    }
    std::printf("\nTargets (figure / baseline, same run):\n");
    for (const Target& t : targets()) {
      auto figure = results_.find(t.figure), baseline = results_.find(t.baseline);
      if (figure == results_.end() || baseline == results_.end() || baseline->second == 0) {
        std::printf("TARGET | %s | not run | | | %s %.2f x | not measured\n", t.path.c_str(), t.atMost ? "<=" : ">=",
                    t.limit);
        continue;
      }
      double ratio = figure->second / baseline->second;
      bool met = t.atMost ? ratio <= t.limit : ratio >= t.limit;
      std::printf("TARGET | %s | %s %.4g | %s %.4g | %.3f | %s %.2f x | %s\n", t.path.c_str(), t.figure.c_str(),
                  figure->second, t.baseline.c_str(), baseline->second, ratio, t.atMost ? "<=" : ">=", t.limit,
                  met ? "met" : "NOT MET");
    }
  }

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
