#include "api/UpdateRequest.h"

#include <strings.h>

#include <cstring>

#include "api/AnswerCache.h"
#include "api/InputRules.h"
#include "support/Json.h"

namespace tolvana::server {

namespace {

constexpr std::size_t kMaxLanguages = 500;
constexpr std::size_t kMaxGroups = 500;
constexpr std::size_t kMaxMissing = 20000;
constexpr std::size_t kMaxProfileField = 512;
constexpr const char* kProfileFields[] = {"deviceModel",      "genuine",         "platform",       "operatingSystem",
                                          "bundleIdentifier", "bundleVersion",   "did",            "deviceLanguage",
                                          "deviceLanguageLong", "deviceLocale",  "sdkVersion"};

std::optional<std::string> readRequested(const Value* data, RequestedVersions& requested) {
  if (!data) return std::nullopt;
  if (!data->isDictionary()) return "\"requestedData\" is no object";
  if (data->asDictionary().size() > kMaxLanguages) return "\"requestedData\" names too many languages";
  for (const auto& [language, groups] : data->asDictionary()) {
    if (!InputRules::isLanguageCode(language)) return "\"requestedData\" names no language code: " + language.substr(0, 40);
    if (!groups.isDictionary()) return "\"requestedData\" of " + language + " is no object";
    if (groups.asDictionary().size() > kMaxGroups) return "\"requestedData\" of " + language + " names too many groups";
    auto& versions = requested[language];
    for (const auto& [group, version] : groups.asDictionary()) {
      if (!InputRules::isGroupName(group)) return "\"requestedData\" of " + language + " names an unusable group";
      versions[group] = version.numberAsInteger().value_or(-1);
    }
  }
  return std::nullopt;
}

std::optional<std::string> readMissing(const Value* missing, const std::string& appVersion, Seconds now,
                                       UpdateRequest& out) {
  if (!missing) return std::nullopt;
  if (!missing->isDictionary()) return "\"missingEntries\" is no object";
  for (const auto& [language, entries] : missing->asDictionary()) {
    if (!entries.isDictionary()) return "\"missingEntries\" of a language is no object";
    for (const auto& [key, text] : entries.asDictionary()) {
      std::string value = text.isString() ? text.asString() : text.isNull() ? "" : text.description();
      if (out.missing.size() >= kMaxMissing || !InputRules::isLanguageCode(language) || !InputRules::isKey(key) ||
          !InputRules::isText(value)) {
        ++out.missingRefused;
        continue;
      }
      out.missing.push_back(MissingString{language, key, value, now, now, 1, appVersion, std::nullopt});
    }
  }
  return std::nullopt;
}

}  // namespace

void UpdateRequest::readProfile(const Value& body, const httplib::Request& request, UpdateRequest* out) {
  std::string joined;
  auto take = [&](const char* field, const std::string& text) {
    if (text.empty() || !InputRules::isText(text, kMaxProfileField)) return;
    if (std::string_view(field) == "did") out->device = text;
    joined.append(field).append(1, '\x1f').append(text).append(1, '\x1e');
    out->profile.emplace_back(field, text);
  };
  // A full request carries the profile in its body, a cacheable one in its headers, which are
  // walked once rather than looked up eleven times (the most common request pays for it).
  if (request.method == "GET") {
    for (const auto& [name, value] : request.headers) {
      for (const char* field : kProfileFields) {
        if (name.size() == std::strlen(field) && ::strcasecmp(name.c_str(), field) == 0) take(field, value);
      }
    }
  } else {
    for (const char* field : kProfileFields) {
      if (const Value* v = body.find(field); v && v->isString()) take(field, v->asString());
    }
  }
  if (out->device.empty()) out->device = "profile " + entityTagOf(joined);
}

std::optional<std::string> UpdateRequest::read(const Value& body, const httplib::Request& request, Seconds now,
                                               UpdateRequest* out) {
  if (auto problem = readRequested(body.find("requestedData"), out->requested)) return problem;
  const Value* drafts = body.find("returnDraft");
  out->drafts = drafts && drafts->isBoolean() && drafts->asBoolean();
  readProfile(body, request, out);
  std::string appVersion = request.get_header_value("lastversion").substr(0, 64);
  for (const auto& [field, text] : out->profile) {
    if (field == "bundleVersion") appVersion = text;
  }
  if (!InputRules::isText(appVersion)) appVersion.clear();
  return readMissing(body.find("missingEntries"), appVersion, now, *out);
}

std::string UpdateRequest::answerKey() const {
  std::string key = drafts ? "D" : "P";
  for (const auto& [language, groups] : requested) {
    for (const auto& [group, version] : groups) {
      key.append(language).append(1, '\x1f').append(group).append(1, '\x1f').append(std::to_string(version));
      key += '\x1e';
    }
  }
  return key;
}

}  // namespace tolvana::server
