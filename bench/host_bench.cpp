// Look-ups where a host makes them: through the shared library's C++ facade and C interface,
// with the engine on the Linux platform (a bundle directory, the user's data and defaults
// directories, the device language from the environment), side by side with GNU dcgettext on
// a catalogue of the same entries. Also allocations per facade hit, and the engine's first
// start (unpack) and second start to the first answered look-up, each in a fresh process.
//
// Usage: host_bench KEYS default|keep-open [Google Benchmark flags…]
// One app per run: KEYS entries in each of four stores (de-AT, de, fr and the base language
// en), the device language de-AT; bench_host_app, beside this program, writes it.
#include <libintl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <new>
#include <string>
#include <vector>

#include "HostEntries.h"
#include "RatioReporter.h"
#include "tolvana/Tolvana.h"
#include "tolvana/tolvana.h"

namespace {
std::atomic<bool> countingAllocations{false};
std::atomic<long> allocations{0};
}  // namespace

// The counting operator new pairs with free() on purpose.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

void* operator new(std::size_t size) {
  if (countingAllocations.load(std::memory_order_relaxed)) allocations.fetch_add(1, std::memory_order_relaxed);
  if (void* p = std::malloc(size ? size : 1)) return p;
  throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }

namespace tolvana::bench {
namespace {

namespace fs = std::filesystem;
using tolvana::Tolvana;

struct Run {
  int keys = 5000;
  bool keepOpen = false;
  std::string directory;
  std::string program;  // bench_host_app
  std::string mode() const { return keepOpen ? "keep-open" : "default mode"; }
};
Run run;

// Before anything else: its children must start the library afresh.
void Startup_toFirstLookup(benchmark::State& state);
BENCHMARK(Startup_toFirstLookup)->Iterations(1)->Unit(benchmark::kMillisecond);

// The look-up benchmarks; TOLVANA_BENCH_ITERATIONS fixes their iterations, so that two runs
// under callgrind differ by a known number of calls.
std::vector<benchmark::internal::Benchmark*> lookups;
#define HOST_BENCHMARK(function) \
  const bool registered_##function = (lookups.push_back(benchmark::RegisterBenchmark(#function, function)), true)

const Tolvana::Arguments kArguments{{"n", "3"}};
const std::string kDefault = "Default text";

// Writes an app with bench_host_app in a directory of its own.
void makeApp(const std::string& name, int keys, const std::string& languages) {
  std::string dir = run.directory + "/" + name;
  fs::create_directories(dir);
  std::string command = run.program + " " + dir + " " + std::to_string(keys) + (run.keepOpen ? " 1 " : " 0 ") + languages;
  if (std::system(command.c_str()) != 0) {
    std::fprintf(stderr, "%s failed\n", command.c_str());
    std::exit(1);
  }
}

// Points the library's environment at an app; it must happen before the library's first use.
void useApp(const std::string& name) {
  std::string dir = run.directory + "/" + name;
  setenv("TOLVANA_MAIN_BUNDLE", (dir + "/Bench.app").c_str(), 1);
  setenv("XDG_DATA_HOME", (dir + "/data").c_str(), 1);
  setenv("XDG_CONFIG_HOME", (dir + "/config").c_str(), 1);
}


std::string hitKey() { return "key_" + hostHitIndex(run.keys); }
std::string expectedHit() { return "de-AT text " + hostHitIndex(run.keys) + " for %{n} items"; }

// The gettext catalogue of the device language's entries, in its own locale directory.
bool gettextReady() {
  static const bool ready = [] {
    std::string po = "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=UTF-8\\n\"\n";
    for (const auto& entry : hostEntries("de-AT", run.keys)) {
      po += "msgid \"" + entry.key + "\"\nmsgstr \"" + entry.value + "\"\n";
    }
    std::ofstream(run.directory + "/de.po") << po;
    const char* locale = std::setlocale(LC_MESSAGES, "C.UTF-8");
    if (!locale) return false;
    // Under the device language, which LANGUAGE names first, and under the locale itself.
    for (std::string name : {std::string("de_AT"), std::string(locale)}) {
      std::string folder = run.directory + "/locale/" + name + "/LC_MESSAGES";
      fs::create_directories(folder);
      std::string msgfmt = "msgfmt -o " + folder + "/bench.mo " + run.directory + "/de.po";
      if (std::system(msgfmt.c_str()) != 0) return false;
    }
    bindtextdomain("bench", (run.directory + "/locale").c_str());
    bind_textdomain_codeset("bench", "UTF-8");
    return expectedHit() == dcgettext("bench", hitKey().c_str(), LC_MESSAGES) &&
           std::strcmp(dcgettext("bench", kHostMissKey, LC_MESSAGES), kHostMissKey) == 0;
  }();
  return ready;
}

void gettext(benchmark::State& state, const std::string& key) {
  if (!gettextReady()) return state.SkipWithError("gettext catalogue could not be set up");
  // The library hands back a string the caller owns; so does this.
  for (auto _ : state) benchmark::DoNotOptimize(std::string(dcgettext("bench", key.c_str(), LC_MESSAGES)));
}
void Host_baselineGettextHit(benchmark::State& state) { gettext(state, hitKey()); }
void Host_baselineGettextMiss(benchmark::State& state) { gettext(state, kHostMissKey); }
HOST_BENCHMARK(Host_baselineGettextHit);
HOST_BENCHMARK(Host_baselineGettextMiss);

// A host draws many different texts, not one text again and again, and a catalogue that
// remembers its last answers flatters a look-up repeated on one key: these walk every
// singular key of the store in turn.
const std::vector<std::string>& everyKey() {
  static const std::vector<std::string> keys = [] {
    std::vector<std::string> all;
    for (int i = 0; i < run.keys / 2; ++i) all.push_back("key_" + std::to_string(i));
    return all;
  }();
  return keys;
}
template <class LookUp>
void measureEveryKey(benchmark::State& state, LookUp lookUp) {
  const auto& keys = everyKey();
  if (lookUp(keys[1]) != "de-AT text 1 for %{n} items") return state.SkipWithError("wrong answer");
  std::size_t next = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(lookUp(keys[next]));
    if (++next == keys.size()) next = 0;
  }
}
void Host_baselineGettextEveryKey(benchmark::State& state) {
  if (!gettextReady()) return state.SkipWithError("gettext catalogue could not be set up");
  measureEveryKey(state, [](const std::string& key) { return std::string(dcgettext("bench", key.c_str(), LC_MESSAGES)); });
}
void Host_facadeEveryKey(benchmark::State& state) {
  measureEveryKey(state, [](const std::string& key) { return Tolvana::localizedStringForKey(key); });
}
HOST_BENCHMARK(Host_baselineGettextEveryKey);
HOST_BENCHMARK(Host_facadeEveryKey);
// The same walk on two threads at once, each look-up counted: half the one-thread walk's time
// while the threads share nothing on the look-up path, more for each line they contend for.
const bool registeredTwoThreads =
    (lookups.push_back(
         benchmark::RegisterBenchmark("Host_facadeEveryKeyTwoThreads", Host_facadeEveryKey)->Threads(2)->UseRealTime()),
     true);

template <class LookUp>
void measure(benchmark::State& state, const std::string& expected, LookUp lookUp) {
  if (lookUp() != expected) return state.SkipWithError(("wrong answer: " + lookUp()).c_str());
  for (auto _ : state) benchmark::DoNotOptimize(lookUp());
}

// The floor under any hit that hands back a string the caller owns: the hit's text copied
// into a new one, with no look-up at all.
void Host_baselineReturnedTextAlone(benchmark::State& state) {
  const std::string text = expectedHit();
  measure(state, text, [&text] { return std::string(std::string_view(text)); });
}

void Host_facadeHit(benchmark::State& state) {
  measure(state, expectedHit(), [key = hitKey()] { return Tolvana::localizedStringForKey(key); });
}
void Host_facadeHitWithDefault(benchmark::State& state) {
  measure(state, expectedHit(), [key = hitKey()] { return Tolvana::localizedStringForKey(key, kDefault); });
}
void Host_facadeHitWithArguments(benchmark::State& state) {
  measure(state, "de-AT text " + hostHitIndex(run.keys) + " for 3 items",
          [key = hitKey()] { return Tolvana::localizedStringForKey(key, kArguments); });
}
void Host_facadeHitWithPluralRule(benchmark::State& state) {
  measure(state, "de-AT one " + hostHitIndex(run.keys) + " for 3 item", [key = hitKey()] {
    return Tolvana::localizedStringForKey(key, kArguments, Tolvana::pluralRuleForQuantity(1));
  });
}
void Host_facadeMissToDefault(benchmark::State& state) {
  measure(state, kDefault, [] { return Tolvana::localizedStringForKey(kHostMissKey, kDefault); });
}
void Host_facadeMissWithArguments(benchmark::State& state) {
  measure(state, kDefault, [] { return Tolvana::localizedStringForKey(kHostMissKey, kDefault, kArguments); });
}

template <class LookUp>
void measureC(benchmark::State& state, const std::string& expected, LookUp lookUp) {
  char* first = lookUp();
  bool right = first && expected == first;
  tolvana_string_free(first);
  if (!right) return state.SkipWithError("wrong answer");
  for (auto _ : state) {
    char* text = lookUp();
    benchmark::DoNotOptimize(text);
    tolvana_string_free(text);
  }
}
void Host_cHit(benchmark::State& state) {
  measureC(state, expectedHit(), [key = hitKey()] { return tolvana_localized_string(key.c_str()); });
}
void Host_cMissToDefault(benchmark::State& state) {
  measureC(state, kDefault, [] { return tolvana_localized_string_with_default(kHostMissKey, kDefault.c_str()); });
}
HOST_BENCHMARK(Host_baselineReturnedTextAlone);
HOST_BENCHMARK(Host_facadeHit);
HOST_BENCHMARK(Host_facadeHitWithDefault);
HOST_BENCHMARK(Host_facadeHitWithArguments);
HOST_BENCHMARK(Host_facadeHitWithPluralRule);
HOST_BENCHMARK(Host_facadeMissToDefault);
HOST_BENCHMARK(Host_facadeMissWithArguments);
HOST_BENCHMARK(Host_cHit);
HOST_BENCHMARK(Host_cMissToDefault);

void Footprint_allocationsPerFacadeHit(benchmark::State& state) {
  constexpr int kLookups = 1000;
  const std::string key = hitKey();
  Tolvana::localizedStringForKey(key);
  for (auto _ : state) {
    allocations = 0;
    countingAllocations = true;
    for (int i = 0; i < kLookups; ++i) benchmark::DoNotOptimize(Tolvana::localizedStringForKey(key));
    countingAllocations = false;
  }
  recordFigure("Alloc_perFacadeHit", double(allocations) / kLookups);
  // The returned text is longer than a short string, so it takes one allocation.
  recordFigure("Alloc_baselineReturnedString", 1);
}
BENCHMARK(Footprint_allocationsPerFacadeHit)->Iterations(1);

// Milliseconds from the engine's start to the first answered look-up, in a child process that
// has not used the library before: the first start on an empty data directory, the second in
// another child on what the first left. Forked before this process touches the library, so
// this benchmark is registered first.
double startInChild(const std::string& app) {
  int pipes[2];
  if (pipe(pipes) != 0) return -1;
  pid_t child = fork();
  if (child == 0) {
    close(pipes[0]);
    useApp(app);
    setenv("LANGUAGE", "de", 1);
    auto begin = std::chrono::steady_clock::now();
    bool right = Tolvana::localizedStringForKey("key_1250") == "de text 1250 for %{n} items";
    double ms = right ? std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count() : -1;
    (void)!write(pipes[1], &ms, sizeof ms);
    _exit(0);
  }
  close(pipes[1]);
  double ms = -1;
  (void)!read(pipes[0], &ms, sizeof ms);
  close(pipes[0]);
  waitpid(child, nullptr, 0);
  return ms;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

void Startup_toFirstLookup(benchmark::State& state) {
  std::vector<double> first, second;
  for (auto _ : state) {
    for (int round = 0; round < 9; ++round) {
      std::string app = "start" + std::to_string(round);
      makeApp(app, 5000, "de,en");
      first.push_back(startInChild(app));
      second.push_back(startInChild(app));
    }
  }
  if (*std::min_element(first.begin(), first.end()) < 0 || *std::min_element(second.begin(), second.end()) < 0) {
    return state.SkipWithError("a start answered wrongly");
  }
  recordFigure("Startup_firstStartMedianMs", median(first));
  recordFigure("Startup_secondStartMedianMs", median(second));
  state.counters["first_ms"] = median(first);
  state.counters["second_ms"] = median(second);
}

}  // namespace
}  // namespace tolvana::bench

int main(int argc, char** argv) {
  using namespace tolvana::bench;
  if (argc < 3) {
    std::fprintf(stderr, "usage: %s KEYS default|keep-open [benchmark flags]\n", argv[0]);
    return 2;
  }
  run.keys = std::atoi(argv[1]);
  run.keepOpen = std::string(argv[2]) == "keep-open";
  run.program = (fs::path(argv[0]).parent_path() / "bench_host_app").string();
  char pattern[] = "/tmp/tolvana-host-bench-XXXXXX";
  if (!mkdtemp(pattern)) return 1;
  run.directory = pattern;

  makeApp("lookups", run.keys, "de-AT,de,fr,en");
  useApp("lookups");
  setenv("LANGUAGE", "de_AT", 1);
  recordFigure("Startup_baselineFirstLimitMs", 8);
  recordFigure("Startup_baselineSecondLimitMs", 5);

  std::string config = std::to_string(run.keys) + " keys, " + run.mode();
  addTarget({"facade hit, " + config, "Host_facadeHit", "Host_baselineGettextHit", 0.5, true});
  addTarget({"facade hit, every key in turn, " + config, "Host_facadeEveryKey", "Host_baselineGettextEveryKey", 0.5, true});
  addTarget({"facade miss to the default, " + config, "Host_facadeMissToDefault", "Host_baselineGettextMiss", 0.8, true});
  addTarget({"C hit over the facade hit, ns, " + config, "Host_cOverFacadeHit", "Host_baselineAllowanceNs", 1, true});
  addTarget({"C miss over the facade miss, ns, " + config, "Host_cOverFacadeMiss", "Host_baselineAllowanceNs", 1, true});
  addTarget({"allocations per facade hit, " + config, "Alloc_perFacadeHit", "Alloc_baselineReturnedString", 1, true});
  addTarget({"first start to the first look-up, ms", "Startup_firstStartMedianMs", "Startup_baselineFirstLimitMs", 1, true});
  addTarget({"second start to the first look-up, ms", "Startup_secondStartMedianMs", "Startup_baselineSecondLimitMs", 1,
             true});
  recordFigure("Host_baselineAllowanceNs", 30);
  addDifference("Host_cOverFacadeHit", "Host_cHit", "Host_facadeHit");
  addDifference("Host_cOverFacadeMiss", "Host_cMissToDefault", "Host_facadeMissToDefault");

  if (const char* iterations = std::getenv("TOLVANA_BENCH_ITERATIONS")) {
    for (auto* benchmark : lookups) benchmark->Iterations(std::atoll(iterations));
  }
  argv[2] = argv[0];
  int status = runWithRatios(argc - 2, argv + 2);
  fs::remove_all(run.directory);
  return status;
}
