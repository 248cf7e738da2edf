// tolvana extract: the keys and default texts of an app's sources, written as the base
// language's translation file ({"version": N, "entries": {key: {"v": text}}}), which
// `pack --strings` ships and the translation server imports.
//
//   tolvana extract src/ qml/ -o texts/en/main.json
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>

#include "Commands.h"
#include "JsonFile.h"
#include "SourceScanner.h"
#include "support/Files.h"

namespace tolvana::cli {

namespace {

namespace fs = std::filesystem;

struct ExtractArguments {
  std::vector<std::string> paths;
  std::string output;
};

// The sources under the paths, in a stable order; hidden folders (".git") are passed over.
std::vector<std::pair<std::string, SourceLanguage>> sourcesUnder(const std::vector<std::string>& paths) {
  std::vector<std::pair<std::string, SourceLanguage>> sources;
  SourceLanguage language;
  for (const auto& path : paths) {
    if (fs::is_regular_file(path)) {
      if (!sourceLanguageOf(path, &language)) throw CommandError(path + " is no C, C++, Objective-C or QML source");
      sources.emplace_back(path, language);
      continue;
    }
    if (!fs::is_directory(path)) throw CommandError("no file or directory " + path);
    std::vector<std::pair<std::string, SourceLanguage>> found;
    for (auto it = fs::recursive_directory_iterator(path); it != fs::recursive_directory_iterator(); ++it) {
      if (it->is_directory() && it->path().filename().string().starts_with(".")) {
        it.disable_recursion_pending();
      } else if (it->is_regular_file() && sourceLanguageOf(it->path().string(), &language)) {
        found.emplace_back(it->path().string(), language);
      }
    }
    std::sort(found.begin(), found.end());
    sources.insert(sources.end(), found.begin(), found.end());
  }
  return sources;
}

struct Entry {
  std::string text, where;
};

// Key → text; the first place a key is found wins, and a second default for it is reported.
std::map<std::string, Entry> extract(const std::vector<std::pair<std::string, SourceLanguage>>& sources) {
  std::map<std::string, Entry> entries;
  for (const auto& [path, language] : sources) {
    auto text = readWholeFile(path);
    if (!text) throw CommandError("cannot read " + path);
    ScanResult scan = scanSource(*text, language);
    for (int line : scan.computedKeys) {
      warn(path + ":" + std::to_string(line) + ": the key is no string literal; not extracted");
    }
    for (const auto& found : scan.strings) {
      std::string where = path + ":" + std::to_string(found.line);
      std::vector<std::string> keys{found.key};
      if (found.plural) keys = {found.key + "[one]", found.key + "[other]"};
      for (const auto& key : keys) {
        auto [it, added] = entries.try_emplace(key, Entry{found.text, where});
        if (!added && it->second.text != found.text) {
          warn(where + ": \"" + key + "\" has the default \"" + it->second.text + "\" at " + it->second.where +
               "; \"" + found.text + "\" is left out");
        }
      }
    }
  }
  return entries;
}

void run(Session& session, const ExtractArguments& args) {
  auto sources = sourcesUnder(args.paths);
  auto entries = extract(sources);
  nlohmann::json texts = nlohmann::json::object();
  for (const auto& [key, entry] : entries) texts[key] = {{"v", entry.text}};

  // A file written before keeps its version while its texts stay the same, and counts one
  // up when they change, so that apps holding the old texts take the new ones.
  std::int64_t version = 1;
  if (!args.output.empty() && fs::exists(args.output)) {
    auto previous = readJsonFile(args.output, "translation file");
    auto old = previous.is_object() ? previous.find("version") : previous.end();
    if (old != previous.end() && old->is_number_integer()) {
      version = old->get<std::int64_t>() + (previous.value("entries", nlohmann::json()) == texts ? 0 : 1);
    }
  }
  std::string file = nlohmann::json{{"version", version}, {"entries", texts}}.dump(2) + "\n";
  std::string summary = "extracted " + std::to_string(entries.size()) + " keys from " +
                        std::to_string(sources.size()) + " files";
  if (args.output.empty()) {
    std::fwrite(file.data(), 1, file.size(), stdout);
    if (!session.options().quiet) std::fprintf(stderr, "%s\n", summary.c_str());
    return;
  }
  std::string error;
  if (!replaceFileAtomically(args.output, file, &error)) throw CommandError("cannot write " + args.output + ": " + error);
  session.note(summary + " into " + args.output + " (version " + std::to_string(version) + ")");
}

}  // namespace

void addExtractCommand(CLI::App& app, Session& session) {
  auto args = std::make_shared<ExtractArguments>();
  auto* command = app.add_subcommand(
      "extract", "The keys and default texts of C, C++, Objective-C and QML sources, as a translation file");
  command->add_option("PATH", args->paths, "Source files, or directories to search")->required();
  command->add_option("-o,--output", args->output, "The translation file to write (default: standard output)");
  command->callback([&session, args] { run(session, *args); });
}

}  // namespace tolvana::cli
