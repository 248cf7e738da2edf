// tolvana pack / unpack: settings archives, as an app ships them.
//
// An archive holds the app file "app.tolvana" (the app's id, API secret and versions) and,
// optionally, prepared stores, gzip-compressed under "<appId>/<language>.sqlite.gz", so
// that an app has its texts before its first update. A prepared store is either an SQLite
// file made elsewhere or built here from translation files, one per group:
//   {"version": 1, "entries": {"key": {"v": "text", "d": "draft"}, …}}   (<group>.json)
// Texts that an app must start with belong in prepared stores: the app file is read again
// at every start, and strings in it would overwrite what updates brought.
#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "Commands.h"
#include "store/ArchiveWriter.h"
#include "store/TLArchive.h"
#include "store/TLDBSqlite.h"
#include "support/Files.h"

namespace tolvana::cli {

namespace {

std::string readFile(const std::string& path, const char* what) {
  auto bytes = readWholeFile(path);
  if (!bytes) throw CommandError(std::string("cannot read ") + what + " " + path);
  return std::move(*bytes);
}

// Fails early on what would make the app refuse the archive at start.
std::string appIdOf(const std::string& appFile, const std::string& path) {
  auto json = nlohmann::json::parse(appFile, nullptr, false);
  if (json.is_discarded() || !json.is_object()) throw CommandError("app file " + path + " is no JSON object");
  auto id = json.find("_id");
  if (id == json.end() || !id->is_string() || id->get<std::string>().empty()) {
    throw CommandError("app file " + path + " has no \"_id\" string");
  }
  auto secret = json.find("apiSecret");
  if (secret == json.end() || !secret->is_string()) {
    throw CommandError("app file " + path + " has no \"apiSecret\" string");
  }
  return id->get<std::string>();
}

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

// Writes the groups of translation files into a new store at path, as an update would.
void buildStore(const std::string& path, const std::vector<std::string>& groupFiles) {
  auto store = TLDBSqlite::initWithPath(path);
  if (!store) throw CommandError("cannot create a store at " + path);
  for (const auto& file : groupFiles) {
    auto json = nlohmann::json::parse(readFile(file, "translation file"), nullptr, false);
    auto version = json.is_object() ? json.find("version") : json.end();
    auto entries = json.is_object() ? json.find("entries") : json.end();
    if (version == json.end() || !version->is_number_integer() || entries == json.end() || !entries->is_object()) {
      throw CommandError("translation file " + file + " wants {\"version\": N, \"entries\": {...}}");
    }
    store->beginWriteTransaction();
    store->createOrUpdateGroup(std::filesystem::path(file).stem().string(), version->get<std::int64_t>());
    for (const auto& [key, entry] : entries->items()) {
      auto text = [&](const char* field) -> std::optional<std::string> {
        if (entry.is_string() && std::string_view(field) == "v") return entry.get<std::string>();
        auto member = entry.is_object() ? entry.find(field) : entry.end();
        if (member == entry.end() || !member->is_string()) return std::nullopt;
        return member->get<std::string>();
      };
      auto value = text("v");
      auto draft = text("d");
      store->createOrUpdateEntry(key, value, draft);
    }
    store->commitWriteTransaction();
  }
}

struct PackArguments {
  std::string appFile, output;
  std::vector<std::string> stores, strings;
};

void pack(Session& session, const PackArguments& args) {
  session.installWithoutApp();
  std::vector<LanguageFile> stores;
  for (const auto& option : args.stores) stores.push_back(parseLanguageFile("--store", option));
  std::map<std::string, std::vector<std::string>> groupFiles;  // language → its translation files
  for (const auto& option : args.strings) {
    auto file = parseLanguageFile("--strings", option);
    groupFiles[file.language].push_back(file.path);
  }
  std::string appFile = readFile(args.appFile, "app file");
  std::string appId = appIdOf(appFile, args.appFile);

  // Removed however packing ends.
  struct Scratch {
    std::string path;
    ~Scratch() {
      std::error_code ignored;
      std::filesystem::remove_all(path, ignored);
    }
  } scratch{args.output + ".stores"};
  std::filesystem::remove_all(scratch.path);
  std::filesystem::create_directories(scratch.path);
  for (const auto& [language, files] : groupFiles) {
    std::string path = scratch.path + "/" + language + ".sqlite";
    buildStore(path, files);
    stores.push_back({language, path});
  }

  ArchiveWriter archive;
  std::string error;
  bool ok = archive.addFile("app.tolvana", appFile, &error);
  if (ok && !stores.empty()) ok = archive.addDirectory(appId, &error);
  for (const auto& store : stores) {
    if (!ok) break;
    std::string bytes = readFile(store.path, "store");
    if (!bytes.starts_with(std::string_view("SQLite format 3\0", 16))) {
      throw CommandError("store " + store.path + " is no SQLite file");
    }
    ok = archive.addCompressed(appId + "/" + store.language + ".sqlite.gz", bytes, &error);
  }
  if (!ok || !archive.writeTo(args.output, &error)) throw CommandError(error);
  session.note("packed " + args.output + ": app " + appId + ", " + std::to_string(stores.size()) + " prepared store" +
               (stores.size() == 1 ? "" : "s") + ", " + std::to_string(std::filesystem::file_size(args.output)) +
               " bytes");
}

struct UnpackArguments {
  std::string archive, destination;
  bool force = false;
};

void unpack(Session& session, const UnpackArguments& args) {
  const std::string& archive = args.archive;
  const std::string& destination = args.destination;
  if (!std::filesystem::is_regular_file(archive)) throw CommandError("no archive at " + archive);
  session.installWithoutApp();
  std::error_code ec;
  std::filesystem::create_directories(destination, ec);
  if (ec) throw CommandError("cannot create " + destination + ": " + ec.message());
  // The app's own rules keep the stores it already has and skip languages marked deleted in
  // its defaults; --force writes every member.
  if (!TLArchive::createFilesAndDirectoriesAtPath(destination, archive, !args.force)) {
    throw CommandError(session.withEngineError("cannot unpack " + archive));
  }
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(destination)) files += entry.is_regular_file();
  std::printf("unpacked %s into %s: %zu files\n", archive.c_str(), destination.c_str(), files);
}

}  // namespace

void addArchiveCommands(CLI::App& app, Session& session) {
  auto args = std::make_shared<PackArguments>();

  auto* packCommand = app.add_subcommand("pack", "Build a settings archive from an app file and prepared stores");
  packCommand->add_option("--app-file", args->appFile, "The app file (JSON with \"_id\" and \"apiSecret\")")->required();
  packCommand->add_option("--store", args->stores, "A prepared store, LANG=FILE.sqlite (repeatable)");
  packCommand->add_option("--strings", args->strings,
                          "A translation file LANG=GROUP.json to build LANG's prepared store from (repeatable)");
  packCommand->add_option("-o,--output", args->output, "The archive to write")->required();
  packCommand->callback([&session, args] { pack(session, *args); });

  auto unpackArgs = std::make_shared<UnpackArguments>();
  auto* unpackCommand = app.add_subcommand(
      "unpack",
      "Unpack a settings archive into a directory as the app would: stores already there are kept and "
      "languages the app's defaults mark deleted are not written (--force overwrites everything)");
  unpackCommand->add_option("ARCHIVE", unpackArgs->archive, "The settings archive")->required();
  unpackCommand->add_option("DIR", unpackArgs->destination, "Where to unpack it")->required();
  unpackCommand->add_flag("--force", unpackArgs->force, "Write every member, also over existing stores");
  unpackCommand->callback([&session, unpackArgs] { unpack(session, *unpackArgs); });
}

}  // namespace tolvana::cli
