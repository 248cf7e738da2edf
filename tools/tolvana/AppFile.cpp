#include "AppFile.h"

#include <set>

#include "Session.h"

namespace tolvana::cli {

namespace {

using json = nlohmann::json;

const std::set<std::string> kKnownFields = {"_id",          "apiSecret",       "__v",       "baseLanguage",
                                            "masterLanguage", "collectMissingEnabled", "draftModeEnabled",
                                            "languages"};

bool isText(const json& value) { return value.is_string() || value.is_number(); }

// One language object; what it holds goes into summary.
void checkLanguage(const json& language, std::size_t index, AppFileSummary& summary) {
  std::string where = "languages[" + std::to_string(index) + "]";
  if (!language.is_object()) return summary.ignored.push_back(where + ": no object");
  auto name = language.find("name");
  if (name == language.end() || !name->is_string() || name->get<std::string>().empty()) {
    return summary.ignored.push_back(where + ": no \"name\" string");
  }
  where += " (" + name->get<std::string>() + ")";
  auto entries = language.find("entrys");
  if (entries == language.end()) {
    if (language.contains("entries")) {
      summary.ignored.push_back(where + ": \"entries\", which the app file spells \"entrys\"");
    }
    return;
  }
  if (!entries->is_array()) return summary.ignored.push_back(where + ": \"entrys\" is no array");
  std::size_t taken = 0, skipped = 0;
  for (const auto& entry : *entries) {
    bool usable = entry.is_object() && entry.contains("key") && entry["key"].is_string();
    for (const char* field : {"value", "draft"}) {
      if (usable && entry.contains(field) && !entry[field].is_null() && !isText(entry[field])) usable = false;
    }
    ++(usable ? taken : skipped);
  }
  if (skipped > 0) {
    summary.ignored.push_back(where + ": " + std::to_string(skipped) +
                              (skipped == 1 ? " entry" : " entries") + " without a \"key\" string or with a value or draft that is no text");
  }
  if (taken > 0) ++summary.languages;
  summary.entries += taken;
}

}  // namespace

AppFileSummary checkAppFile(const json& appFile, const std::string& path) {
  auto fail = [&](const std::string& problem) { throw CommandError("app file " + path + ": " + problem); };
  if (!appFile.is_object()) fail("no JSON object");
  auto text = [&](const char* field) {
    auto it = appFile.find(field);
    return it != appFile.end() && it->is_string() ? std::optional(it->get<std::string>()) : std::nullopt;
  };
  AppFileSummary summary;
  summary.appId = text("_id").value_or("");
  if (summary.appId.empty()) fail("no \"_id\" string (the app's id on the server)");
  if (!text("apiSecret")) fail("no \"apiSecret\" string");
  if (!appFile.contains("__v") || !appFile["__v"].is_number()) fail("no \"__v\" number (the version of its texts)");
  if (!text("baseLanguage") && !text("masterLanguage")) fail("no \"baseLanguage\" string");
  for (const auto& [field, value] : appFile.items()) {
    if (!kKnownFields.contains(field)) summary.ignored.push_back("the unknown field \"" + field + "\"");
  }
  if (auto languages = appFile.find("languages"); languages != appFile.end()) {
    if (!languages->is_array()) {
      summary.ignored.push_back("\"languages\": no array");
    } else {
      for (std::size_t i = 0; i < languages->size(); ++i) checkLanguage((*languages)[i], i, summary);
    }
  }
  return summary;
}

}  // namespace tolvana::cli
