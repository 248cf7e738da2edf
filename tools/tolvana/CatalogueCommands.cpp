// tolvana import / tolvana export: a language's texts in and out of a translation server as
// catalogue files, through its admin API, for scripts and CI. The server reads and writes the
// files, so a file it takes from the console and from here is read the same way.
//
//   tolvana import --server https://l10n.example.org --token-file admin.token --project my-app
//                  --language ru ru.po --dry-run
//   tolvana export --server ... --project my-app --language ru --format po -o ru.po
#include <cstdio>
#include <future>
#include <map>

#include "Commands.h"
#include "support/Files.h"
#include "support/Json.h"
#include "tolvana/platform/Platform.h"

namespace tolvana::cli {

namespace {

struct ServerArguments {
  std::string server, tokenFile, project, language;
};

struct CatalogueArguments {
  ServerArguments at;
  std::string file, format, output;
  bool dryRun = false;
};

void addServerOptions(CLI::App* command, ServerArguments& args) {
  command->add_option("--server", args.server, "The translation server's URL")->required();
  command->add_option("--token-file", args.tokenFile, "A file holding the server's admin token")->required();
  command->add_option("--project", args.project, "The project's id")->required();
  command->add_option("--language", args.language, "The language (\"ru\", \"pt-BR\")")->required();
}

// The format a file name suggests; ".json" is the flat form.
std::string formatOfFile(const std::string& file) {
  static const std::map<std::string, std::string> kByExtension = {
      {".json", "json"}, {".strings", "strings"}, {".stringsdict", "stringsdict"}, {".po", "po"}, {".pot", "pot"},
      {".xlf", "xliff"}, {".xliff", "xliff"}, {".ts", "ts"}};
  auto dot = file.rfind('.');
  auto at = dot == std::string::npos ? kByExtension.end() : kByExtension.find(file.substr(dot));
  if (at == kByExtension.end()) throw UsageError("cannot tell the format of " + file + "; give --format");
  return at->second;
}

HttpResponse send(Session& session, const ServerArguments& at, const std::string& method, const std::string& path,
                  std::string body) {
  auto token = readWholeFile(at.tokenFile);
  if (!token) throw CommandError("cannot read the token file " + at.tokenFile);
  std::string server = at.server;
  while (server.ends_with("/")) server.pop_back();
  HttpRequest request{method, server + "/admin/v1/projects/" + at.project + "/languages/" + at.language + path,
                      {{"Authorization", "Bearer " + trimWhitespaceAndNewlines(*token)}}, std::move(body)};
  if (method == "POST") request.headers.emplace_back("Content-Type", "application/json");
  std::promise<HttpResponse> answered;
  session.installWithoutApp();
  Platform::Current().http().send(std::move(request), [&answered](HttpResponse r) { answered.set_value(std::move(r)); });
  HttpResponse response = answered.get_future().get();
  if (response.error) throw CommandError("no answer from " + at.server + ": " + *response.error);
  if (response.status != 200) {
    auto refusal = json::parse(response.body);
    const Value* why = refusal ? refusal->find("error") : nullptr;
    throw CommandError("the server refused (HTTP " + std::to_string(response.status) +
                       "): " + (why && why->isString() ? why->asString() : response.body.substr(0, 200)));
  }
  return response;
}

void printChanges(const Value& answer, const char* list, const char* mark) {
  const Value* changes = answer.find(list);
  if (!changes || !changes->isArray()) return;
  for (const Value& c : changes->asArray()) {
    auto field = [&c](const char* name) {
      const Value* v = c.find(name);
      return v && v->isString() ? v->asString() : std::string();
    };
    std::string key = field("key") + (field("plural").empty() ? "" : "[" + field("plural") + "]");
    std::string was = c.find("was") ? json::serialize(*c.find("was")) + " -> " : "";
    std::printf("%s %s: %s%s\n", mark, key.c_str(), was.c_str(), json::serialize(*c.find("text")).c_str());
  }
}

void importFile(Session& session, const CatalogueArguments& args) {
  std::string error;
  auto bytes = readWholeFile(args.file, &error);
  if (!bytes) throw CommandError("cannot read " + args.file + ": " + error);
  std::string format = args.format.empty() ? formatOfFile(args.file) : args.format;
  Value body = Value::Dictionary{{"format", format},
                                 {"content", Value::Data(bytes->begin(), bytes->end())},  // sent as base64
                                 {"dryRun", args.dryRun}};
  HttpResponse response = send(session, args.at, "POST", "/import", json::serialize(body));
  auto answer = json::parse(response.body);
  if (!answer || !answer->isDictionary()) throw CommandError("the server's answer is no JSON object");
  printChanges(*answer, "added", "+");
  printChanges(*answer, "changed", "~");
  auto count = [&answer](const char* list) { return answer->find(list)->asArray().size(); };
  const Value* unchanged = answer->find("unchanged");
  session.note(std::string(args.dryRun ? "would add " : "added as drafts: ") + std::to_string(count("added")) +
               " new, " + std::to_string(count("changed")) + " changed; " +
               (unchanged ? unchanged->description() : "0") + " unchanged" +
               (args.dryRun ? " (dry run: nothing written)" : ""));
}

void exportFile(Session& session, const CatalogueArguments& args) {
  std::string format = args.format.empty() ? (args.output.empty() ? "" : formatOfFile(args.output)) : args.format;
  if (format.empty()) throw UsageError("give --format or an --output file name that tells it");
  HttpResponse response = send(session, args.at, "GET", "/export?format=" + format, "");
  if (args.output.empty()) {
    std::fwrite(response.body.data(), 1, response.body.size(), stdout);
    return;
  }
  std::string error;
  if (!replaceFileAtomically(args.output, response.body, &error)) throw CommandError(error);
  session.note("wrote " + args.output + " (" + std::to_string(response.body.size()) + " bytes)");
}

}  // namespace

void addCatalogueCommands(CLI::App& app, Session& session) {
  auto importing = std::make_shared<CatalogueArguments>();
  auto* import = app.add_subcommand("import", "Import a catalogue file into a language on a translation server, as drafts");
  addServerOptions(import, importing->at);
  import->add_option("file", importing->file, "The file (.po, .pot, .json, .strings, .stringsdict, .xlf, .xliff, .ts)")->required();
  import->add_option("--format", importing->format, "json, json-nested, strings, stringsdict, po, pot, xliff, xliff2 or ts (default: by extension)");
  import->add_flag("--dry-run", importing->dryRun, "Show what would be added and changed; write nothing");
  import->callback([&session, importing] { importFile(session, *importing); });

  auto exporting = std::make_shared<CatalogueArguments>();
  auto* exporter = app.add_subcommand("export", "Export a language from a translation server as a catalogue file");
  addServerOptions(exporter, exporting->at);
  exporter->add_option("--format", exporting->format, "json, json-nested, strings, stringsdict, po, pot, xliff (1.2), xliff2 or ts");
  exporter->add_option("-o,--output", exporting->output, "The file to write (default: standard output)");
  exporter->callback([&session, exporting] { exportFile(session, *exporting); });
}

}  // namespace tolvana::cli
