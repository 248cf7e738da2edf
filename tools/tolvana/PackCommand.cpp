// tolvana pack: a settings archive, as an app ships it.
//
// An archive holds the app file "app.tolvana" (the app's id, API secret and versions) and,
// optionally, prepared stores, gzip-compressed under "<appId>/<language>.sqlite.gz", so
// that an app has its texts before its first update. A prepared store is either an SQLite
// file made elsewhere or built here from translation files, one per group:
//   {"version": 1, "entries": {"key": {"v": "text", "d": "draft"}, …}}   (<group>.json)
// Texts that an app must start with belong in prepared stores: the app file is read again
// at every start, and strings in it would overwrite what updates brought.
//
// Everything is read and checked before the first byte is written, so a mistake in any
// input leaves nothing behind.
#include <stdlib.h>

#include <cstdio>
#include <filesystem>

#include "AppFile.h"
#include "Commands.h"
#include "JsonFile.h"
#include "store/ArchiveWriter.h"
#include "store/TLDBSqlite.h"
#include "support/Files.h"

namespace tolvana::cli {

namespace {

namespace fs = std::filesystem;

struct LanguageFile {
  std::string language, path;
};

LanguageFile parseLanguageFile(const char* option, const std::string& text) {
  auto equals = text.find('=');
  if (equals == std::string::npos || equals == 0 || equals + 1 == text.size()) {
    throw UsageError(std::string(option) + " wants LANG=FILE, not '" + text + "'");
  }
  return {text.substr(0, equals), text.substr(equals + 1)};
}

struct Group {
  std::string name;
  std::int64_t version = 0;
  nlohmann::json entries;
};

Group readGroup(const std::string& path) {
  auto json = readJsonFile(path, "translation file");
  auto version = json.is_object() ? json.find("version") : json.end();
  auto entries = json.is_object() ? json.find("entries") : json.end();
  if (version == json.end() || !version->is_number_integer() || entries == json.end() || !entries->is_object()) {
    throw CommandError("translation file " + path + " wants {\"version\": N, \"entries\": {...}}");
  }
  return {fs::path(path).stem().string(), version->get<std::int64_t>(), *entries};
}

// Writes the groups into a new store at path, as an update would.
void buildStore(const std::string& path, const std::vector<Group>& groups) {
  auto store = TLDBSqlite::initWithPath(path);
  if (!store) throw CommandError("cannot create a store at " + path);
  for (const auto& group : groups) {
    store->beginWriteTransaction();
    store->createOrUpdateGroup(group.name, group.version);
    for (const auto& [key, entry] : group.entries.items()) {
      auto text = [&](const char* field) -> std::optional<std::string> {
        if (entry.is_string() && std::string_view(field) == "v") return entry.get<std::string>();
        auto member = entry.is_object() ? entry.find(field) : entry.end();
        if (member == entry.end() || !member->is_string()) return std::nullopt;
        return member->get<std::string>();
      };
      store->createOrUpdateEntry(key, text("v"), text("d"));
    }
    if (!store->commitWriteTransaction()) throw CommandError("cannot write the store " + path);
  }
}

// A directory of its own under the system's temporary directory, removed however packing ends.
struct Scratch {
  Scratch() {
    std::string pattern = (fs::temp_directory_path() / "tolvana-pack-XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw CommandError("cannot make a temporary directory in " + pattern);
    path = pattern;
  }
  ~Scratch() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
  }
  std::string path;
};

struct PackArguments {
  std::string appFile, output;
  std::vector<std::string> stores, strings;
};

std::string count(std::size_t n, const char* one, const char* many) {
  return std::to_string(n) + " " + (n == 1 ? one : many);
}

void pack(Session& session, const PackArguments& args) {
  session.installWithoutApp();
  fs::path outputDirectory = fs::absolute(args.output).parent_path();
  if (!fs::is_directory(outputDirectory)) {
    throw CommandError("cannot write " + args.output + ": no directory " + outputDirectory.string());
  }
  std::vector<LanguageFile> stores;
  for (const auto& option : args.stores) stores.push_back(parseLanguageFile("--store", option));
  std::map<std::string, std::vector<Group>> groups;  // language → its translation files' groups
  for (const auto& option : args.strings) {
    auto file = parseLanguageFile("--strings", option);
    groups[file.language].push_back(readGroup(file.path));
  }
  auto appText = readWholeFile(args.appFile);
  if (!appText) throw CommandError("cannot read app file " + args.appFile);
  AppFileSummary app = checkAppFile(parseJson(*appText, "app file", args.appFile), args.appFile);
  std::vector<std::pair<std::string, std::string>> storeBytes;  // language → SQLite file
  for (const auto& store : stores) {
    auto bytes = readWholeFile(store.path);
    if (!bytes) throw CommandError("cannot read store " + store.path);
    if (!bytes->starts_with(std::string_view("SQLite format 3\0", 16))) {
      throw CommandError("store " + store.path + " is no SQLite file");
    }
    storeBytes.emplace_back(store.language, std::move(*bytes));
  }

  for (const auto& ignored : app.ignored) warn("app file " + args.appFile + ": ignored " + ignored);
  if (app.entries > 0) {
    warn("app file " + args.appFile + ": its " + count(app.entries, "entry is", "entries are") +
         " re-applied at every start: an update of the same keys lasts only until the next start; "
         "ship them with --strings instead");
  }

  Scratch scratch;
  for (const auto& [language, files] : groups) {
    std::string path = scratch.path + "/" + language + ".sqlite";
    buildStore(path, files);
    auto bytes = readWholeFile(path);
    if (!bytes) throw CommandError("cannot read the store built at " + path);
    storeBytes.emplace_back(language, std::move(*bytes));
  }

  ArchiveWriter archive;
  std::string error;
  bool ok = archive.addFile("app.tolvana", *appText, &error);
  if (ok && !storeBytes.empty()) ok = archive.addDirectory(app.appId, &error);
  std::vector<std::string> languages;
  for (const auto& [language, bytes] : storeBytes) {
    if (!ok) break;
    ok = archive.addCompressed(app.appId + "/" + language + ".sqlite.gz", bytes, &error);
    languages.push_back(language);
  }
  if (!ok || !archive.writeTo(args.output, &error)) throw CommandError(error);
  session.note("packed " + args.output + ": app " + app.appId + "; app file: " +
               count(app.languages, "language", "languages") + ", " + count(app.entries, "entry", "entries") +
               "; prepared stores: " + listOrNone(languages) + "; " +
               std::to_string(fs::file_size(args.output)) + " bytes");
}

}  // namespace

void addPackCommand(CLI::App& app, Session& session) {
  auto args = std::make_shared<PackArguments>();
  auto* command = app.add_subcommand("pack", "Build a settings archive from an app file and prepared stores");
  command->add_option("--app-file", args->appFile, "The app file (JSON with \"_id\" and \"apiSecret\")")->required();
  command->add_option("--store", args->stores, "A prepared store, LANG=FILE.sqlite (repeatable)");
  command->add_option("--strings", args->strings,
                      "A translation file LANG=GROUP.json to build LANG's prepared store from (repeatable)");
  command->add_option("-o,--output", args->output, "The archive to write")->required();
  command->callback([&session, args] { pack(session, *args); });
}

}  // namespace tolvana::cli
