// Writes the app that the host benchmarks start through the shared library, as a host ships
// it: a bundle directory with an Info.plist and a settings archive of prepared stores.
// Usage: bench_host_app DIR KEYS KEEP_OPEN(0|1) LANGUAGES(comma-separated, the last one the
// base language); the bundle is DIR/Bench.app.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "HostEntries.h"
#include "support/Json.h"
#include "support/StringUtil.h"
#include "tests/support/ArchiveBuilder.h"
#include "tests/support/FixtureBundle.h"

int main(int argc, char** argv) {
  using namespace tolvana;
  if (argc != 5) {
    std::fprintf(stderr, "usage: %s DIR KEYS KEEP_OPEN LANGUAGES\n", argv[0]);
    return 2;
  }
  const std::string dir = argv[1];
  const int keys = std::atoi(argv[2]);
  testing::FixtureBundle bundle(dir + "/Bench.app");
  bundle.info("CFBundleIdentifier", bench::kHostIdentifier)
      .info("CFBundleDevelopmentRegion", "en")
      .info("TolvanaKeepDatabaseOpen", std::string(argv[3]) == "1")
      .info("TolvanaInitialUpdate", false)
      .info("TolvanaLogLevel", "w");
  bundle.write();

  const std::vector<std::string> codes = split(argv[4], ',');
  Value::Array languages;
  for (const auto& language : codes) languages.push_back(Value::Dictionary{{"name", language}, {"entrys", Value::Array{}}});
  Value::Dictionary app{{"_id", "bench"},       {"apiSecret", "secret"},        {"__v", 1},
                        {"baseLanguage", codes.back()}, {"collectMissingEnabled", true}, {"draftModeEnabled", true},
                        {"languages", languages}};
  testing::ArchiveBuilder archive;
  archive.file("app.tolvana", json::serialize(app));
  for (const auto& language : codes) {
    testing::StoreContents contents{{}, {{"main", 1}}};
    for (auto& entry : bench::hostEntries(language, keys)) contents.entries.push_back({entry.key, entry.value, ""});
    archive.store("bench", language, contents);
  }
  archive.endBlocks();
  archive.writeTo(bundle.path() + "/tolvana_settings.tolvana");
  return 0;
}
