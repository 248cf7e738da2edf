// The cost of one full look-up through the engine, in the default mode (no connection kept
// between operations) and with "TolvanaKeepDatabaseOpen": a hit in the long device language,
// a hit only in the base language, and a miss that falls through every store and the bundle
// to the default text; plain, with arguments and with a plural rule. Baselines: GNU
// dcgettext on a catalogue of the same entries, the bare SQLite sequence of a look-up
// without an index (open read-only, prepare, step, finalize, close), a prepared SELECT on an
// open connection, and a hash-map find. Also: look-up latency while another thread ingests a
// 16 MB update answer against the same look-up idle, allocations per look-up, and the read
// index's memory against the store file.
#include <libintl.h>
#include <sqlite3.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <new>
#include <thread>
#include <unordered_map>

#include "RatioReporter.h"
#include "config/TLDeviceUtil.h"
#include "core/TLInternal.h"
#include "localization/TLPluralRule.h"
#include "store/TLDBSqlite.h"
#include "store/TLDatabase.h"
#include "support/Format.h"
#include "tests/support/AppFixture.h"
#include "tests/support/TempDir.h"

// Counts the allocations made while counting is on, on any thread.
namespace {
std::atomic<bool> countingAllocations{false};
std::atomic<long> allocations{0};
}  // namespace

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

constexpr int kEntries = 10000;
constexpr const char* kHitKey = "key_4242";
constexpr const char* kBaseOnlyKey = "base_4242";
constexpr const char* kMissKey = "no_such_key";

std::vector<TLLanguageEntry> entries(const char* language, bool withBaseOnly = false) {
  std::vector<TLLanguageEntry> rows;
  for (int i = 0; i < kEntries; ++i) {
    std::string n = std::to_string(i);
    rows.push_back({"key_" + n, language + (" text " + n) + " for %{n} items", ""});
    rows.push_back({"key_" + n + "[one]", language + (" one " + n) + " for %{n} item", ""});
    if (withBaseOnly) rows.push_back({"base_" + n, language + (" base " + n), ""});
  }
  return rows;
}

// One app per mode, installed when its benchmark starts.
std::unique_ptr<testing::AppFixture> app(bool keepOpen) {
  auto fixture = std::make_unique<testing::AppFixture>();
  fixture->platform.locale->setPreferredLanguages({"de-AT"});
  fixture->bundle.info("TolvanaKeepDatabaseOpen", keepOpen);
  fixture->appLanguage("en", entries("en", true));
  fixture->stores["de"] = testing::StoreContents{entries("de"), {{"main", 1}}};
  fixture->stores["de-AT"] = testing::StoreContents{entries("de-AT"), {{"main", 1}}};
  fixture->stores["fr"] = testing::StoreContents{entries("fr"), {{"main", 1}}};
  fixture->install();
  return fixture;
}

enum class Kind { hit, baseOnly, miss };
enum class Form { plain, arguments, plural };

const std::map<std::string, std::string> kArguments{{"n", "3"}};

TLLocalizedString lookUp(TLInternal& engine, Kind kind, Form form) {
  const char* key = kind == Kind::hit ? kHitKey : kind == Kind::baseOnly ? kBaseOnlyKey : kMissKey;
  switch (form) {
    case Form::plain: return engine.localizedStringForKey(key, "Default text");
    case Form::arguments: return engine.localizedStringForKeyWithArguments(key, &kArguments, "Default text");
    case Form::plural:
      return engine.localizedStringForKeyWithArgumentsAndPluralRule(key, &kArguments, TLPluralRuleForQuantity(1),
                                                                    "Default text");
  }
  return {};
}

std::string expected(Kind kind, Form form) {
  if (kind == Kind::miss) return "Default text";
  if (kind == Kind::baseOnly) return form == Form::plural ? "Default text" : "en base 4242";
  std::string n = form == Form::plain ? "%{n}" : "3";
  return form == Form::plural ? "de-AT one 4242 for " + n + " item" : "de-AT text 4242 for " + n + " items";
}

void lookup(benchmark::State& state, bool keepOpen, Kind kind, Form form) {
  auto fixture = app(keepOpen);
  auto engine = TLInternal::sharedInstance();
  if (lookUp(*engine, kind, form).text != expected(kind, form)) state.SkipWithError("wrong answer");
  for (auto _ : state) benchmark::DoNotOptimize(lookUp(*engine, kind, form));
}

#define TL_LOOKUP(name, kind, form)                                                                    \
  void Lookup_##name(benchmark::State& state) { lookup(state, false, Kind::kind, Form::form); }       \
  void Lookup_##name##KeepOpen(benchmark::State& state) { lookup(state, true, Kind::kind, Form::form); } \
  BENCHMARK(Lookup_##name);                                                                            \
  BENCHMARK(Lookup_##name##KeepOpen);
TL_LOOKUP(hitLongLanguage, hit, plain)
TL_LOOKUP(hitBaseLanguageOnly, baseOnly, plain)
TL_LOOKUP(missToDefault, miss, plain)
TL_LOOKUP(hitWithArguments, hit, arguments)
TL_LOOKUP(hitWithPluralRule, hit, plural)
TL_LOOKUP(missWithArguments, miss, arguments)
#undef TL_LOOKUP

// A catalogue of the long language's entries for GNU gettext, in a locale of its own (made
// with localedef when the system lacks it); null when gettext cannot be set up here.
const char* gettextDomain() {
  static const bool ready = [] {
    static testing::TempDir dir;
    std::string po = "msgid \"\"\nmsgstr \"Content-Type: text/plain; charset=UTF-8\\n\"\n";
    for (const auto& entry : entries("de-AT")) po += "msgid \"" + entry.key + "\"\nmsgstr \"" + entry.value + "\"\n";
    std::ofstream(dir.file("de.po")) << po;
    const char* locale = std::setlocale(LC_MESSAGES, "de_DE.UTF-8");
    if (!locale) {
      std::string command = "localedef -i de_DE -f UTF-8 " + dir.file("locales/de_DE.UTF-8") + " 2>/dev/null";
      if (std::system(command.c_str()) == 0) {
        setenv("LOCPATH", dir.file("locales").c_str(), 1);
        locale = std::setlocale(LC_MESSAGES, "de_DE.UTF-8");
      }
    }
    // Without the locale sources, C.UTF-8 still looks catalogues up.
    if (!locale) locale = std::setlocale(LC_MESSAGES, "C.UTF-8");
    if (!locale) return false;
    fs::create_directories(dir.file(std::string(locale) + "/LC_MESSAGES"));
    std::string msgfmt = "msgfmt -o " + dir.file(std::string(locale) + "/LC_MESSAGES/tolvana.mo") + " " + dir.file("de.po");
    if (std::system(msgfmt.c_str()) != 0) return false;
    bindtextdomain("tolvana", dir.file("").c_str());
    bind_textdomain_codeset("tolvana", "UTF-8");
    for (const auto& entry : entries("de-AT")) {
      if (entry.value != dcgettext("tolvana", entry.key.c_str(), LC_MESSAGES)) return false;
    }
    return std::strcmp(dcgettext("tolvana", kMissKey, LC_MESSAGES), kMissKey) == 0;
  }();
  return ready ? "tolvana" : nullptr;
}

void gettext(benchmark::State& state, const char* key) {
  const char* domain = gettextDomain();
  if (!domain) return state.SkipWithError("gettext catalogue or locale could not be set up");
  // The engine returns a string it owns; so does this.
  for (auto _ : state) benchmark::DoNotOptimize(std::string(dcgettext(domain, key, LC_MESSAGES)));
}
void Lookup_baselineGettextHit(benchmark::State& state) { gettext(state, kHitKey); }
void Lookup_baselineGettextMiss(benchmark::State& state) { gettext(state, kMissKey); }

void Lookup_baselineHashMap(benchmark::State& state) {
  std::unordered_map<std::string, std::string> map;
  for (const auto& entry : entries("de-AT")) map.emplace(entry.key, entry.value);
  std::string key = kHitKey;
  for (auto _ : state) benchmark::DoNotOptimize(map.find(key));
}

void Lookup_baselineOpenSqliteSelect(benchmark::State& state) {
  auto fixture = app(true);
  TLInternal::sharedInstance();  // unpacks the stores
  sqlite3* db = nullptr;
  sqlite3_open_v2(fixture->storePath("de-AT").c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
  sqlite3_stmt* select = nullptr;
  sqlite3_prepare_v2(db, "SELECT value FROM entries WHERE key=@KEY", -1, &select, nullptr);
  for (auto _ : state) {
    sqlite3_bind_text(select, 1, kHitKey, -1, SQLITE_STATIC);
    if (sqlite3_step(select) != SQLITE_ROW) state.SkipWithError("no row");
    benchmark::DoNotOptimize(sqlite3_column_text(select, 0));
    sqlite3_reset(select);
  }
  sqlite3_finalize(select);
  sqlite3_close(db);
}

// What a look-up cost before the read index: a connection per query.
void Lookup_baselineBareSqliteSequence(benchmark::State& state) {
  auto fixture = app(false);
  TLInternal::sharedInstance();
  std::string path = fixture->storePath("de-AT");
  for (auto _ : state) {
    sqlite3* db = nullptr;
    sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_stmt* select = nullptr;
    sqlite3_prepare_v2(db, "SELECT value FROM entries WHERE key=@KEY", -1, &select, nullptr);
    sqlite3_bind_text(select, 1, kHitKey, -1, SQLITE_STATIC);
    if (sqlite3_step(select) != SQLITE_ROW) state.SkipWithError("no row");
    benchmark::DoNotOptimize(std::string(reinterpret_cast<const char*>(sqlite3_column_text(select, 0))));
    sqlite3_finalize(select);
    sqlite3_close(db);
  }
}

BENCHMARK(Lookup_baselineGettextHit);
BENCHMARK(Lookup_baselineGettextMiss);
BENCHMARK(Lookup_baselineHashMap);
BENCHMARK(Lookup_baselineOpenSqliteSelect);
BENCHMARK(Lookup_baselineBareSqliteSequence)->Unit(benchmark::kMicrosecond);

// Two languages of 200 groups with 250 entries each, about 16 MB.
std::string largeAnswer() {
  std::string data;
  for (const char* language : {"de-AT", "de"}) {
    std::string groups;
    for (int g = 0; g < 200; ++g) {
      std::string list;
      for (int i = 0; i < 250; ++i) {
        list += format(R"(%@"screen_%d.label_%d":{"v":"%@ text %d of group %d, long enough to look like a real sentence","d":"%@ draft %d of group %d, changed by a translator last week"})",
                       i ? "," : "", g, i, language, i, g, language, i, g);
      }
      groups += format(R"(%@"group_%d":{"version":1,"entries":{%@}})", g ? "," : "", g, list);
    }
    data += format(R"(%@"%@":{%@})", data.empty() ? "" : ",", language, groups);
  }
  return R"({"__v":2,"baseLanguage":"en","data":{)" + data + "}}";
}

struct Percentiles {
  double median, p99;
};

Percentiles percentiles(std::vector<double> samples) {
  std::sort(samples.begin(), samples.end());
  return {samples[samples.size() / 2], samples[samples.size() * 99 / 100]};
}

// Look-ups on this thread while another ingests the answer, then as many idle.
void LookupLatency_duringIngest(benchmark::State& state) {
  auto fixture = app(false);
  auto engine = TLInternal::sharedInstance();
  const std::string answer = largeAnswer();
  auto timeOne = [&] {
    auto start = std::chrono::steady_clock::now();
    benchmark::DoNotOptimize(engine->localizedStringForKey(kHitKey, "Default text"));
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
  };
  for (auto _ : state) {
    std::vector<double> busy, idle;
    std::atomic<bool> done{false};
    std::thread ingest([&] {
      if (!engine->database()->parseResponseV2Json(answer)) state.SkipWithError("ingest failed");
      done = true;
    });
    while (!done) busy.push_back(timeOne());
    ingest.join();
    while (idle.size() < busy.size()) idle.push_back(timeOne());
    auto during = percentiles(busy), quiet = percentiles(idle);
    recordFigure("LookupLatency_p99DuringIngest", during.p99);
    recordFigure("LookupLatency_medianDuringIngest", during.median);
    recordFigure("LookupLatency_baselineP99Idle", quiet.p99);
    recordFigure("LookupLatency_baselineMedianIdle", quiet.median);
    state.counters["samples"] = static_cast<double>(busy.size());
    state.counters["p99_busy_ns"] = during.p99;
    state.counters["p99_idle_ns"] = quiet.p99;
  }
  if (engine->localizedStringForKey("screen_3.label_7", "x").text != "de-AT text 7 of group 3, long enough to look like a real sentence") {
    state.SkipWithError("the answer was not ingested");
  }
}
BENCHMARK(LookupLatency_duringIngest)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();

// Allocations per keep-open hit, and the read index's memory against its store file.
void Footprint_allocationsAndIndex(benchmark::State& state) {
  auto fixture = app(true);
  auto engine = TLInternal::sharedInstance();
  lookUp(*engine, Kind::hit, Form::plain);
  constexpr int kLookups = 1000;
  for (auto _ : state) {
    allocations = 0;
    countingAllocations = true;
    for (int i = 0; i < kLookups; ++i) benchmark::DoNotOptimize(lookUp(*engine, Kind::hit, Form::plain));
    countingAllocations = false;
  }
  recordFigure("Alloc_perKeepOpenHit", double(allocations) / kLookups);
  // The returned text is longer than a short string, so it takes one allocation.
  recordFigure("Alloc_baselineReturnedString", 1);
  auto store = std::dynamic_pointer_cast<TLDBSqlite>(engine->database()->databaseForLanguage("de-AT", false));
  double indexBytes = store ? double(store->indexBytes()) : 0;
  recordFigure("Index_bytes", indexBytes);
  recordFigure("Index_baselineFileBytes", double(fs::file_size(fixture->storePath("de-AT"))));
  state.counters["index_bytes_per_entry"] = indexBytes / double(entries("de-AT").size());
  state.counters["file_bytes_per_entry"] =
      double(fs::file_size(fixture->storePath("de-AT"))) / double(entries("de-AT").size());
}
BENCHMARK(Footprint_allocationsAndIndex)->Iterations(1);

// Engine start-up to the first answered look-up: the first start unpacks the archive (an app
// file of 30,000 entries and three prepared stores), the second finds them unpacked.
void Startup_toFirstLookup(benchmark::State& state) {
  const bool first = state.range(0) == 0;
  auto fixture = app(false);
  TLInternal::sharedInstance();
  std::vector<double> seconds;
  for (auto _ : state) {
    state.PauseTiming();
    if (first) fs::remove_all(fixture->dataDirectory());
    TLInternal::dropInstanceForTesting();
    TLDeviceUtil::forgetDeviceLanguages();
    TLDeviceUtil::resetOnceValuesForTesting();
    state.ResumeTiming();
    auto start = std::chrono::steady_clock::now();
    auto engine = TLInternal::sharedInstance();
    if (lookUp(*engine, Kind::hit, Form::plain).text != expected(Kind::hit, Form::plain)) {
      state.SkipWithError("wrong answer");
    }
    seconds.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  recordFigure(first ? "Startup_firstStartMedianMs" : "Startup_secondStartMedianMs", percentiles(seconds).median * 1e3);
  recordFigure("Startup_baselineLimitMs", 5);
}
BENCHMARK(Startup_toFirstLookup)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(10);

const bool kTargets[] = {
    addTarget({"keep-open look-up hit", "Lookup_hitLongLanguageKeepOpen", "Lookup_baselineGettextHit", 1, true}),
    addTarget({"default-mode look-up hit", "Lookup_hitLongLanguage", "Lookup_baselineGettextHit", 1, true}),
    addTarget({"miss to the default, default mode", "Lookup_missToDefault", "Lookup_baselineGettextMiss", 1, true}),
    addTarget({"miss to the default, keep-open", "Lookup_missToDefaultKeepOpen", "Lookup_baselineGettextMiss", 1,
               true}),
    addTarget({"look-up p99 during a 16 MB ingest", "LookupLatency_p99DuringIngest", "LookupLatency_baselineP99Idle",
               2, true}),
    addTarget({"allocations per keep-open hit", "Alloc_perKeepOpenHit", "Alloc_baselineReturnedString", 1, true}),
    addTarget({"second start to the first look-up, ms", "Startup_secondStartMedianMs", "Startup_baselineLimitMs", 1,
               true}),
    addTarget({"index memory", "Index_bytes", "Index_baselineFileBytes", 1.2, true}),
};

}  // namespace
}  // namespace tolvana::bench

int main(int argc, char** argv) { return tolvana::bench::runWithRatios(argc, argv); }
