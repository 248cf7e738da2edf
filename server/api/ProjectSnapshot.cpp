#include "api/ProjectSnapshot.h"

#include "support/Json.h"

namespace tolvana::server {

namespace {

std::string quoted(const std::string& text) { return json::serialize(Value(text)); }

std::string groupText(const Value::Dictionary& entries, std::int64_t version) {
  return json::serialize(Value::Dictionary{{"entries", entries}, {"version", version}});
}

}  // namespace

ProjectSnapshot::ProjectSnapshot(const ProjectContent& content) : project_(content.project) {
  for (const auto& language : project_.languages) languages_[language];
  std::map<std::pair<std::string, std::string>, std::int64_t> versions;
  for (const Group& group : content.groups) versions[{group.language, group.name}] = group.version;

  // Entries come ordered by language and group: each group is encoded when the next begins.
  std::map<std::string, std::map<std::string, std::pair<Value::Dictionary, Value::Dictionary>>> collected;
  for (const Entry& entry : content.entries) {
    if (!languages_.contains(entry.language)) continue;  // a language taken out of the project
    auto& [published, withDrafts] = collected[entry.language][entry.group];
    Value::Dictionary sent;
    if (entry.value) sent["v"] = *entry.value;
    if (entry.value) published[entry.appKey()] = sent;
    if (entry.draft) sent["d"] = *entry.draft;
    if (!sent.empty()) withDrafts[entry.appKey()] = sent;
  }
  for (const Group& group : content.groups) {
    if (languages_.contains(group.language)) collected[group.language][group.name];  // groups without entries
  }
  for (auto& [language, groups] : collected) {
    for (auto& [name, texts] : groups) {
      auto version = versions.find({language, name});
      std::int64_t v = version == versions.end() ? 0 : version->second;
      languages_[language][name] = GroupTexts{v, groupText(texts.first, v), groupText(texts.second, v)};
    }
  }
  head_ = "{\"__v\":" + std::to_string(project_.contentVersion) + ",\"baseLanguage\":" + quoted(project_.baseLanguage) +
          ",\"collectMissingEnabled\":" + (project_.collectMissing ? "true" : "false") + ",\"data\":{";
  tail_ = std::string("},\"draftModeEnabled\":") + (project_.draftMode ? "true" : "false") + "}";
}

std::string ProjectSnapshot::answer(const RequestedVersions& requested, bool drafts) const {
  std::string out = head_;
  bool firstLanguage = true;
  for (const auto& [language, groups] : languages_) {
    if (!firstLanguage) out += ',';
    firstLanguage = false;
    out += quoted(language);
    out += ":{";
    auto asked = requested.find(language);
    bool firstGroup = true;
    if (asked != requested.end()) {
      for (const auto& [name, held] : asked->second) {
        auto group = groups.find(name);
        if (group == groups.end() || (!drafts && group->second.version <= held)) continue;
        if (!firstGroup) out += ',';
        firstGroup = false;
        out += quoted(name);
        out += ':';
        out += drafts ? group->second.withDrafts : group->second.published;
      }
    }
    out += '}';
  }
  out += tail_;
  return out;
}

}  // namespace tolvana::server
