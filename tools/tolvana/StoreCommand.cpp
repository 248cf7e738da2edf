// tolvana store: what the local stores hold — per language its groups with their versions
// and its entries with their drafts.
#include <cstdio>

#include "Commands.h"

namespace tolvana::cli {

namespace {

struct StoreArguments {
  std::optional<std::string> language, key;
};

void printLanguage(const Session& session, TLDatabase& db, const std::string& language,
                   const std::optional<std::string>& key) {
  auto store = db.databaseForLanguage(language, false);
  if (!store) throw CommandError("no store for language " + language);
  std::vector<std::string> versions;
  for (const auto& [name, version] : store->groupList().value_or(std::map<std::string, std::int64_t>{})) {
    versions.push_back(name + " v" + std::to_string(version));
  }
  auto entries = store->entryList();
  std::printf("%s: %zu entries; groups: %s\n", session.heading(language).c_str(), entries ? entries->size() : 0,
              listOrNone(versions).c_str());
  if (!entries) return;
  for (const auto& entry : *entries) {
    if (key && entry.key != *key) continue;
    std::printf("  %s = \"%s\"", entry.key.c_str(), entry.value.c_str());
    if (!entry.draft.empty()) std::printf("  draft: \"%s\"", entry.draft.c_str());
    std::printf("\n");
  }
}

void listStores(Session& session, const StoreArguments& args) {
  auto db = session.initializedDatabase();
  session.note("stores in " + db->dbDirectory());
  if (args.language) {
    if (!db->availableLanguages().contains(*args.language)) {
      throw CommandError("no store for language " + *args.language);
    }
    printLanguage(session, *db, *args.language, args.key);
    return;
  }
  for (const auto& language : db->availableLanguages()) printLanguage(session, *db, language, args.key);
}

}  // namespace

void addStoreCommand(CLI::App& app, Session& session) {
  auto args = std::make_shared<StoreArguments>();
  auto* command = app.add_subcommand("store", "Entries, drafts and group versions of the local stores");
  command->add_option("--language", args->language, "Only this language's store");
  command->add_option("--key", args->key, "Only this key's entries");
  command->callback([&session, args] { listStores(session, *args); });
}

}  // namespace tolvana::cli
