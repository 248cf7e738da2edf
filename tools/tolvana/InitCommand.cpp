// tolvana init: a new app and the server project it is updated from, so that the next
// three commands (pack, serve, update) work.
//
//   <bundle>/Info.plist               the app's identifier, base language and TolvanaHost
//   app.json                          the app file: id, API secret, version, base language
//   texts/<lang>/main.json            the texts the app ships, packed with --strings
//   server/project.json               the same id and secret, for tolvana serve to import
//   server/translations/<lang>/main.json
//
// Nothing is written when any of the files exists already (unless --force), or when an
// argument cannot work.
#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <random>

#include "Commands.h"
#include "platform/PropertyList.h"
#include "support/Files.h"
#include "support/SafeName.h"

namespace tolvana::cli {

namespace {

namespace fs = std::filesystem;

struct InitArguments {
  std::string appId = "my-app", languages = "en", host = "http://127.0.0.1:8080", bundleId, server = "server";
  bool force = false;
};

// 32 hex digits from the system's random source: the secret requests are signed with.
std::string newSecret() {
  std::random_device random;
  std::string secret;
  for (int i = 0; i < 32; ++i) secret += "0123456789abcdef"[random() % 16];
  return secret;
}

std::string infoPlist(const InitArguments& args, const std::vector<std::string>& languages) {
  std::vector<std::string> further(languages.begin() + 1, languages.end());
  Value::Dictionary info{{"CFBundleIdentifier", args.bundleId.empty() ? "com.example." + args.appId : args.bundleId},
                         {"CFBundleDevelopmentRegion", languages.front()},
                         {"TolvanaHost", args.host},
                         {"TolvanaLogLevel", "w"}};
  // An update asks only for the device's and the base language unless told of the others.
  if (!further.empty()) info["TolvanaUpdateLanguages"] = join(further, ",");
  std::string error;
  auto bytes = plist::serialize(Value(std::move(info)), plist::Format::Xml, &error);
  if (bytes.empty()) throw CommandError("cannot write the Info.plist: " + error);
  return std::string(bytes.begin(), bytes.end());
}

// The first language is the base language; it gets one sample text, the others start empty.
std::string groupFile(bool base) {
  nlohmann::json entries = nlohmann::json::object();
  if (base) entries["welcome.title"] = {{"v", "Welcome"}};
  return nlohmann::json{{"version", 1}, {"entries", entries}}.dump(2) + "\n";
}

void init(Session& session, InitArguments args) {
  std::string bundle = session.options().bundle.empty() ? "MyApp.app" : session.options().bundle;
  auto languages = split(args.languages, ',');
  for (const auto& language : languages) {
    if (!SafeName::isLanguageCode(language)) throw UsageError("'" + language + "' is no language code");
  }
  if (languages.empty()) throw UsageError("--languages needs at least the base language");
  if (!SafeName::isAppId(args.appId)) throw UsageError("'" + args.appId + "' cannot be an app id");
  if (!args.host.starts_with("http://") && !args.host.starts_with("https://")) {
    throw UsageError("--host wants a URL (http://… or https://…), not '" + args.host + "'");
  }

  const std::string secret = newSecret();
  std::vector<std::pair<std::string, std::string>> files = {
      {bundle + "/Info.plist", infoPlist(args, languages)},
      {"app.json", nlohmann::json{{"_id", args.appId}, {"apiSecret", secret}, {"__v", 1},
                                  {"baseLanguage", languages.front()}}.dump(2) + "\n"},
      {args.server + "/project.json", nlohmann::json{{"appId", args.appId}, {"apiSecret", secret},
                                                      {"baseLanguage", languages.front()}, {"version", 1}}.dump(2) + "\n"}};
  for (const auto& language : languages) {
    files.emplace_back("texts/" + language + "/main.json", groupFile(language == languages.front()));
    files.emplace_back(args.server + "/translations/" + language + "/main.json", groupFile(language == languages.front()));
  }
  for (const auto& [path, content] : files) {
    if (!args.force && fs::exists(path)) throw CommandError(path + " exists already (--force writes over it)");
  }
  for (const auto& [path, content] : files) {
    std::error_code ec;
    fs::create_directories(fs::path(path).parent_path().empty() ? "." : fs::path(path).parent_path(), ec);
    std::string error;
    if (ec || !replaceFileAtomically(path, content, &error)) {
      throw CommandError("cannot write " + path + ": " + (ec ? ec.message() : error));
    }
    session.note("wrote " + path);
  }
  std::string strings;
  for (const auto& language : languages) strings += " --strings " + language + "=texts/" + language + "/main.json";
  std::string port = args.host.substr(args.host.rfind(':') + 1);
  if (port.find_first_not_of("0123456789") != std::string::npos) port = "8080";
  session.note("next:\n  tolvana pack --app-file app.json" + strings + " -o " + bundle +
               "/tolvana_settings.tolvana\n  tolvana serve --project " + args.server + " --port " + port +
               "\n  tolvana --bundle " + bundle + " update");
}

}  // namespace

void addInitCommand(CLI::App& app, Session& session) {
  auto args = std::make_shared<InitArguments>();
  auto* command = app.add_subcommand(
      "init", "Write a new app (--bundle, default MyApp.app), its app file and texts, and its server project");
  command->add_option("--app-id", args->appId, "The app's id on the server")->capture_default_str();
  command->add_option("--languages", args->languages, "Languages, comma-separated; the first is the base language")
      ->capture_default_str();
  command->add_option("--host", args->host, "The server the app is updated from (TolvanaHost)")->capture_default_str();
  command->add_option("--bundle-id", args->bundleId, "The app's CFBundleIdentifier (default: com.example.APP-ID)");
  command->add_option("--server-project", args->server, "Where to write the server project")->capture_default_str();
  command->add_flag("--force", args->force, "Write over files that exist");
  command->callback([&session, args] { init(session, *args); });
}

}  // namespace tolvana::cli
