// tolvana settings: every configuration key with its typed value and where it came from.
#include <cstdio>

#include "Commands.h"
#include "config/TLSettings.h"

namespace tolvana::cli {

namespace {

using Kind = TLSettings::Kind;

struct Setting {
  const char* key;
  Kind kind;
  std::string (*value)();
};

std::string yesNo(bool b) { return b ? "true" : "false"; }

std::string bracketed(const auto& items) { return "[" + join(items, ", ") + "]"; }

std::string number(double n) { return Value(n).description(); }

// The keys in the order a developer meets them: start-up, network, web views, look-up, store.
const Setting kSettings[] = {
    {"TolvanaEnableAutostart", Kind::Boolean, [] { return yesNo(TLSettings::autostartEnabled()); }},
    {"TolvanaEnableAutostartForTests", Kind::Boolean, [] { return yesNo(TLSettings::autostartEnabledForTests()); }},
    {"TolvanaWaitOnAppStart", Kind::Boolean, [] { return yesNo(TLSettings::waitOnAppStart()); }},
    {"TolvanaInitialUpdate", Kind::Boolean, [] { return yesNo(TLSettings::enableInitialUpdate()); }},
    {"TolvanaHost", Kind::String, [] { return TLSettings::hostWithAppId("%@"); }},
    {"TolvanaProxyHost", Kind::String, [] { return TLSettings::proxyHost(); }},
    {"TolvanaTimeoutIntervalForRequest", Kind::Number, [] { return number(TLSettings::timeoutIntervalForRequest()); }},
    {"TolvanaTimeoutIntervalForResource", Kind::Number, [] { return number(TLSettings::timeoutIntervalForResource()); }},
    {"TolvanaUpdateGroups", Kind::String, [] { return bracketed(TLSettings::updateGroups()); }},
    {"TolvanaUpdateLanguages", Kind::String, [] { return bracketed(TLSettings::updateLanguages()); }},
    {"TolvanaTranslateWebViews", Kind::Boolean, [] { return yesNo(TLSettings::translateWebViews()); }},
    {"TolvanaEnableJSConsoleLog", Kind::Boolean, [] { return yesNo(TLSettings::enableJSConsoleLog()); }},
    {"TolvanaWebViewOrigins", Kind::String, [] { return bracketed(TLSettings::webViewOrigins()); }},
    {"TolvanaTranslateWebViewSubPages", Kind::Boolean, [] { return yesNo(TLSettings::translateWebViewSubPages()); }},
    {"TolvanaAdditionalFrameworks", Kind::String, [] { return bracketed(TLSettings::additionalFrameworks()); }},
    {"TolvanaAdditionalStringFiles", Kind::String, [] { return bracketed(TLSettings::additionalStringFiles()); }},
    {"TolvanaCollectStoryBoardStrings", Kind::Boolean, [] { return yesNo(TLSettings::collectStoryBoardStrings()); }},
    {"TolvanaDraftModeEnabled", Kind::Boolean, [] { return yesNo(TLSettings::draftModeEnabled()); }},
    {"TolvanaLogGetString", Kind::Boolean, [] { return yesNo(TLSettings::enableLogGetString()); }},
    {"TolvanaLogLevel", Kind::String, [] { return TLSettings::logLevel(); }},
    {"TolvanaSettingsFilename", Kind::String, [] { return TLSettings::settingsFileName(); }},
    {"TolvanaTestSettingsFilename", Kind::String, [] { return TLSettings::testSettingsFileName(); }},
    {"TolvanaKeepDatabaseOpen", Kind::Boolean, [] { return yesNo(TLSettings::keepDatabaseOpen()); }},
};

const char* kindName(Kind kind) {
  switch (kind) {
    case Kind::Boolean: return "Boolean";
    case Kind::Number: return "Number";
    case Kind::String: return "String";
  }
  return "";
}

// A value of the wrong type counts as absent, so the default applies; say so.
const char* source(const Setting& setting) {
  auto raw = TLSettings::objectForInfoDictionaryKey(setting.key);
  if (!raw) return "default";
  return TLSettings::getSettingForKey(setting.key, Value(), setting.kind) == *raw ? "Info.plist" : "default*";
}

}  // namespace

void addSettingsCommand(CLI::App& app, Session& session) {
  auto* command = app.add_subcommand("settings", "Every configuration key with its value and source");
  command->callback([&session] {
    session.install();
    char header[80];
    std::snprintf(header, sizeof header, "%-34s %-8s %-10s %s", "Key", "Type", "Source", "Value");
    std::printf("%s\n", session.heading(header).c_str());
    bool wrongType = false;
    for (const Setting& setting : kSettings) {
      const char* from = source(setting);
      wrongType |= std::string_view(from) == "default*";
      std::printf("%-34s %-8s %-10s %s\n", setting.key, kindName(setting.kind), from, setting.value().c_str());
    }
    if (wrongType) std::printf("default* = set in the Info.plist with the wrong type, so the default applies\n");
  });
}

}  // namespace tolvana::cli
