#include "ProjectDirectory.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <map>
#include <stdexcept>

#include "api/InputRules.h"
#include "support/Files.h"
#include "support/Json.h"

namespace fs = std::filesystem;

namespace tolvana::server {

namespace {

Value readJson(const fs::path& path) {
  auto text = readWholeFile(path.string());
  if (!text) throw std::runtime_error("cannot read " + path.string());
  std::string why;
  auto value = json::parse(*text, &why);
  if (!value || !value->isDictionary()) throw std::runtime_error(path.string() + " is no JSON object " + why);
  return *value;
}

std::int64_t modificationVersion(const fs::path& path) {
  auto since1970 = std::chrono::file_clock::to_sys(fs::last_write_time(path)).time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(since1970).count();
}

std::optional<std::string> textOf(const Value* v) {
  if (!v || v->isNull()) return std::nullopt;
  return v->isString() ? v->asString() : v->description();
}

// Fills the settings of project.json into project; the languages of the folder come later.
void readSettings(const fs::path& file, Project* project) {
  std::error_code ec;
  if (!fs::is_regular_file(file, ec)) {
    throw std::runtime_error("project.json in " + file.parent_path().string() + " is missing");
  }
  Value settings = readJson(file);
  const Value* appId = settings.find("appId");
  const Value* secret = settings.find("apiSecret");
  if (!appId || !appId->isString() || !InputRules::isProjectId(appId->asString()) || !secret || !secret->isString()) {
    throw std::runtime_error("project.json in " + file.parent_path().string() + " lacks a usable appId or apiSecret");
  }
  project->id = appId->asString();
  project->apiSecret = secret->asString();
  auto text = [&](const char* key, std::string fallback) {
    const Value* v = settings.find(key);
    return v && v->isString() ? v->asString() : fallback;
  };
  auto flag = [&](const char* key) {
    const Value* v = settings.find(key);
    return !v || v->boolValue();
  };
  project->baseLanguage = text("baseLanguage", "en");
  project->collectMissing = flag("collectMissingEnabled");
  project->draftMode = flag("draftModeEnabled");
  if (const Value* v = settings.find("version"); v && v->numberAsInteger()) project->contentVersion = *v->numberAsInteger();
  if (const Value* host = settings.find("enterpriseHost"); host && host->isString()) {
    project->enterpriseHost = host->asString();
  }
  for (auto [key, into] : {std::pair{"screenTags", &project->screenTags}, {"languages", &project->languages}}) {
    if (const Value* list = settings.find(key); list && list->isArray()) {
      for (const Value& item : list->asArray()) {
        if (item.isString()) into->push_back(item.asString());
      }
    }
  }
  if (!InputRules::isLanguageCode(project->baseLanguage)) throw std::runtime_error(file.string() + ": no base language");
}

std::vector<Entry> readGroup(const fs::path& file, Group* group) {
  Value content = readJson(file);
  const Value* version = content.find("version");
  const Value* entries = content.find("entries");
  if ((version && !version->isInteger()) || !entries || !entries->isDictionary()) {
    throw std::runtime_error(file.string() + " lacks an \"entries\" object or has a version that is no integer");
  }
  group->version = version ? version->asInteger() : modificationVersion(file);
  std::vector<Entry> out;
  for (const auto& [appKey, entry] : entries->asDictionary()) {
    if (!InputRules::isKey(appKey) || !entry.isDictionary()) throw std::runtime_error(file.string() + ": unusable entry");
    auto [key, plural] = Entry::splitAppKey(appKey);
    auto draft = textOf(entry.find("d"));
    if (draft && draft->empty()) draft.reset();  // the library reads an empty draft as none
    out.push_back(Entry{group->language, group->name, key, plural, textOf(entry.find("v")), draft, 0});
  }
  return out;
}

}  // namespace

std::string importProjectDirectory(Storage& storage, const std::string& directory) {
  Project project;
  readSettings(fs::path(directory) / "project.json", &project);
  std::vector<std::pair<Group, std::vector<Entry>>> groups;
  std::error_code ec;
  for (fs::directory_iterator language(fs::path(directory) / "translations", ec), end; !ec && language != end;
       language.increment(ec)) {
    if (!language->is_directory()) continue;
    std::string code = language->path().filename();
    if (!InputRules::isLanguageCode(code)) throw std::runtime_error(language->path().string() + " names no language");
    project.languages.push_back(code);
    for (const auto& file : fs::directory_iterator(language->path())) {
      if (file.path().extension() != ".json") continue;
      Group group{code, file.path().stem(), 0};
      if (!InputRules::isGroupName(group.name)) throw std::runtime_error(file.path().string() + " names no group");
      auto entries = readGroup(file.path(), &group);
      groups.emplace_back(group, std::move(entries));
    }
  }
  if (auto existing = storage.project(project.id)) {
    project.languages.insert(project.languages.end(), existing->languages.begin(), existing->languages.end());
    storage.updateProject(project);
  } else {
    storage.createProject(project);
  }
  for (const auto& [group, entries] : groups) storage.importGroup(project.id, group, entries);
  return project.id;
}

void exportProjectDirectory(Storage& storage, const std::string& projectId, const std::string& directory) {
  auto content = storage.content(projectId);
  if (!content) throw std::runtime_error("no project " + projectId);
  const Project& p = content->project;
  Value::Dictionary settings{{"appId", p.id},
                             {"apiSecret", p.apiSecret},
                             {"baseLanguage", p.baseLanguage},
                             {"version", p.contentVersion},
                             {"collectMissingEnabled", p.collectMissing},
                             {"draftModeEnabled", p.draftMode},
                             {"screenTags", Value::Array(p.screenTags.begin(), p.screenTags.end())},
                             {"languages", Value::Array(p.languages.begin(), p.languages.end())}};
  if (p.enterpriseHost) settings["enterpriseHost"] = *p.enterpriseHost;
  std::string error;
  fs::create_directories(directory);
  if (!replaceFileAtomically((fs::path(directory) / "project.json").string(), json::serialize(settings), &error)) {
    throw std::runtime_error(error);
  }
  std::map<std::pair<std::string, std::string>, Value::Dictionary> files;
  for (const Group& group : content->groups) files[{group.language, group.name}];
  for (const Entry& entry : content->entries) {
    Value::Dictionary texts;
    if (entry.value) texts["v"] = *entry.value;
    if (entry.draft) texts["d"] = *entry.draft;
    files[{entry.language, entry.group}][entry.appKey()] = texts;
  }
  for (const Group& group : content->groups) {
    // Names were checked on their way in; a database edited by hand gets checked here too.
    if (!InputRules::isLanguageCode(group.language) || !InputRules::isGroupName(group.name)) {
      throw std::runtime_error("the group " + group.language + "/" + group.name + " cannot be a file name");
    }
    fs::path file = fs::path(directory) / "translations" / group.language / (group.name + ".json");
    fs::create_directories(file.parent_path());
    Value body = Value::Dictionary{{"version", group.version}, {"entries", files[{group.language, group.name}]}};
    if (!replaceFileAtomically(file.string(), json::serialize(body), &error)) throw std::runtime_error(error);
  }
}

}  // namespace tolvana::server
