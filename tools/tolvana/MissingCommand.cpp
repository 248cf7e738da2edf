// tolvana missing: what is untranslated. For each language, the keys the base language's
// store has that the language's store lacks or leaves empty; and, against the app's own
// string tables, the keys a table has that the store lacks, and the keys only the store has.
#include <algorithm>
#include <cstdio>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "Commands.h"
#include "tolvana/platform/Platform.h"

namespace tolvana::cli {

namespace {

struct Difference {
  std::set<std::string> untranslated, missingFromStore, onlyInStore;
  std::size_t missing() const { return untranslated.size() + missingFromStore.size(); }
};

// Key → text of a language's store, empty texts included; empty for a language without one.
std::map<std::string, std::string> storeEntries(TLDatabase& db, const std::string& language) {
  std::map<std::string, std::string> entries;
  auto store = db.databaseForLanguage(language, false);
  for (const auto& entry : store ? store->entryList().value_or(std::vector<TLLanguageEntry>{}) : std::vector<TLLanguageEntry>{}) {
    entries[entry.key] = entry.value;
  }
  return entries;
}

std::map<std::string, Difference> compare(TLInternal& engine, TLDatabase& db) {
  std::map<std::string, std::set<std::string>> tables;
  engine.forEachLocalString(*Platform::Current().bundles().mainBundle(),
                            [&](const std::string& language, const std::string& key, const std::string&) {
                              tables[language].insert(key);
                            });
  std::string base = db.baseLanguage().value_or("");
  auto baseEntries = storeEntries(db, base);
  std::map<std::string, Difference> differences;
  for (const auto& language : db.availableLanguages()) tables.try_emplace(language);
  for (const auto& [language, keys] : tables) {
    auto stored = storeEntries(db, language);
    Difference& difference = differences[language];
    if (language != base) {
      for (const auto& [key, text] : baseEntries) {
        auto found = stored.find(key);
        if (!text.empty() && (found == stored.end() || found->second.empty())) difference.untranslated.insert(key);
      }
    }
    for (const auto& key : keys) {
      if (!stored.contains(key)) difference.missingFromStore.insert(key);
    }
    for (const auto& [key, text] : stored) {
      if (!keys.contains(key)) difference.onlyInStore.insert(key);
    }
  }
  return differences;
}

void printTable(const Session& session, const std::map<std::string, Difference>& differences) {
  std::size_t width = 3;
  for (const auto& [language, difference] : differences) {
    for (const auto* keys : {&difference.untranslated, &difference.missingFromStore, &difference.onlyInStore}) {
      for (const auto& key : *keys) width = std::max(width, key.size());
    }
  }
  auto row = [width](std::string language, std::string key, const std::string& where) {
    language.resize(std::max<std::size_t>(language.size(), 9), ' ');
    key.resize(width, ' ');
    return language + " " + key + " " + where;
  };
  std::printf("%s\n", session.heading(row("LANGUAGE", "KEY", "WHERE")).c_str());
  for (const auto& [language, difference] : differences) {
    for (const auto& key : difference.untranslated) {
      std::printf("%s\n", row(language, key, "base language only (untranslated)").c_str());
    }
    for (const auto& key : difference.missingFromStore) {
      std::printf("%s\n", row(language, key, "app tables only (untranslated)").c_str());
    }
    for (const auto& key : difference.onlyInStore) std::printf("%s\n", row(language, key, "store only").c_str());
  }
}

}  // namespace

void addMissingCommand(CLI::App& app, Session& session) {
  struct Arguments {
    bool json = false, failOnMissing = false;
  };
  auto args = std::make_shared<Arguments>();
  auto* command = app.add_subcommand(
      "missing",
      "Per language, the keys the base language has and it lacks; the keys of the app's own string tables its "
      "store lacks, and the reverse");
  command->add_flag("--json", args->json,
                    "Print {language: {untranslated: [...], missingFromStore: [...], onlyInStore: [...]}}");
  command->add_flag("--fail-on-missing", args->failOnMissing, "Exit with status 1 when any key is untranslated");
  command->callback([&session, args] {
    auto db = session.initializedDatabase();
    auto differences = compare(*session.engine(), *db);
    if (args->json) {
      nlohmann::json out = nlohmann::json::object();
      for (const auto& [language, difference] : differences) {
        out[language] = {{"untranslated", difference.untranslated},
                         {"missingFromStore", difference.missingFromStore},
                         {"onlyInStore", difference.onlyInStore}};
      }
      std::printf("%s\n", out.dump().c_str());
    } else {
      printTable(session, differences);
    }
    std::size_t missing = 0;
    for (const auto& [language, difference] : differences) missing += difference.missing();
    if (args->failOnMissing && missing > 0) {
      std::fflush(stdout);
      throw CommandError(std::to_string(missing) + " untranslated key" + (missing == 1 ? "" : "s"));
    }
  });
}

}  // namespace tolvana::cli
