// The cost of one full look-up: a hit in the long device language, and a miss that falls
// through every store and the bundle to the default text; in the default mode (stores
// opened and closed around each query) and with the stores kept open. Baselines: a hash
// map find, and a prepared SELECT on an open SQLite connection.
#include <sqlite3.h>

#include <memory>
#include <unordered_map>

#include "RatioReporter.h"
#include "core/TLInternal.h"
#include "support/Format.h"
#include "tests/support/AppFixture.h"

namespace tolvana::bench {
namespace {

constexpr int kEntries = 5000;

std::vector<TLLanguageEntry> entries(const char* language) {
  std::vector<TLLanguageEntry> rows;
  for (int i = 0; i < kEntries; ++i) rows.push_back({format("key_%d", i), format("%@ text %d", language, i), ""});
  return rows;
}

// One app per mode, installed when its benchmark starts.
std::unique_ptr<testing::AppFixture> app(bool keepOpen) {
  auto fixture = std::make_unique<testing::AppFixture>();
  fixture->platform.locale->setPreferredLanguages({"de-AT"});
  fixture->bundle.info("TolvanaKeepDatabaseOpen", keepOpen);
  fixture->appLanguage("en", entries("en"));
  fixture->stores["de"] = testing::StoreContents{entries("de"), {{"main", 1}}};
  fixture->stores["de-AT"] = testing::StoreContents{entries("de-AT"), {{"main", 1}}};
  fixture->install();
  return fixture;
}

void lookup(benchmark::State& state, bool keepOpen, bool hit) {
  auto fixture = app(keepOpen);
  auto engine = TLInternal::sharedInstance();
  std::string key = hit ? "key_4242" : "no_such_key";
  for (auto _ : state) benchmark::DoNotOptimize(engine->localizedStringForKey(key, "Default text"));
  if (engine->localizedStringForKey(key, "Default text").text != (hit ? "de-AT text 4242" : "Default text")) {
    state.SkipWithError("wrong answer");
  }
}

void Lookup_hitLongLanguage(benchmark::State& state) { lookup(state, false, true); }
void Lookup_missToDefault(benchmark::State& state) { lookup(state, false, false); }
void Lookup_hitLongLanguageKeepOpen(benchmark::State& state) { lookup(state, true, true); }
void Lookup_missToDefaultKeepOpen(benchmark::State& state) { lookup(state, true, false); }

void Lookup_baselineHashMap(benchmark::State& state) {
  std::unordered_map<std::string, std::string> map;
  for (const auto& entry : entries("de-AT")) map.emplace(entry.key, entry.value);
  std::string key = "key_4242";
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
    sqlite3_bind_text(select, 1, "key_4242", -1, SQLITE_STATIC);
    if (sqlite3_step(select) != SQLITE_ROW) state.SkipWithError("no row");
    benchmark::DoNotOptimize(sqlite3_column_text(select, 0));
    sqlite3_reset(select);
  }
  sqlite3_finalize(select);
  sqlite3_close(db);
}

BENCHMARK(Lookup_baselineHashMap);
BENCHMARK(Lookup_baselineOpenSqliteSelect);
BENCHMARK(Lookup_hitLongLanguage)->Unit(benchmark::kMicrosecond);
BENCHMARK(Lookup_missToDefault)->Unit(benchmark::kMicrosecond);
BENCHMARK(Lookup_hitLongLanguageKeepOpen)->Unit(benchmark::kMicrosecond);
BENCHMARK(Lookup_missToDefaultKeepOpen)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace tolvana::bench

int main(int argc, char** argv) { return tolvana::bench::runWithRatios(argc, argv); }
