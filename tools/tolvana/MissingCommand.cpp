// tolvana missing: what is untranslated. For each language, the keys the app's own string
// tables have that the language's store lacks, and the keys only the store has.
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
  std::set<std::string> missingFromStore, onlyInStore;
};

std::map<std::string, Difference> compare(TLInternal& engine, TLDatabase& db) {
  std::map<std::string, std::set<std::string>> tables;
  engine.forEachLocalString(*Platform::Current().bundles().mainBundle(),
                            [&](const std::string& language, const std::string& key, const std::string&) {
                              tables[language].insert(key);
                            });
  std::map<std::string, Difference> differences;
  for (const auto& language : db.availableLanguages()) tables.try_emplace(language);
  for (const auto& [language, keys] : tables) {
    auto stored = db.stringsForLanguage(language);
    Difference& difference = differences[language];
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
    for (const auto* keys : {&difference.missingFromStore, &difference.onlyInStore}) {
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
    for (const auto& key : difference.missingFromStore) {
      std::printf("%s\n", row(language, key, "app tables only (untranslated)").c_str());
    }
    for (const auto& key : difference.onlyInStore) std::printf("%s\n", row(language, key, "store only").c_str());
  }
}

}  // namespace

void addMissingCommand(CLI::App& app, Session& session) {
  auto json = std::make_shared<bool>(false);
  auto* command = app.add_subcommand(
      "missing", "Per language, the keys of the app's own string tables its store lacks, and the reverse");
  command->add_flag("--json", *json, "Print {language: {missingFromStore: [...], onlyInStore: [...]}}");
  command->callback([&session, json] {
    auto db = session.initializedDatabase();
    auto differences = compare(*session.engine(), *db);
    if (!*json) return printTable(session, differences);
    nlohmann::json out = nlohmann::json::object();
    for (const auto& [language, difference] : differences) {
      out[language] = {{"missingFromStore", difference.missingFromStore}, {"onlyInStore", difference.onlyInStore}};
    }
    std::printf("%s\n", out.dump().c_str());
  });
}

}  // namespace tolvana::cli
