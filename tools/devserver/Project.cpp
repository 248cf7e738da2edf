#include "Project.h"

#include <chrono>
#include <filesystem>

#include "support/Files.h"
#include "support/Json.h"

namespace fs = std::filesystem;

namespace tolvana::devserver {

namespace {

std::optional<Value> readJson(const fs::path& path) {
  auto text = readWholeFile(path.string());
  if (!text) return std::nullopt;
  return json::parse(*text);
}

// A group file without a version is as new as its last save, so that an edit reaches the
// apps at their next update without anyone bumping a number.
std::int64_t modificationVersion(const fs::path& path) {
  std::error_code ec;
  auto written = fs::last_write_time(path, ec);
  if (ec) return 0;
  auto since1970 = std::chrono::file_clock::to_sys(written).time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(since1970).count();
}

bool writeJson(const fs::path& path, const Value& value, std::string* error) {
  return replaceFileAtomically(path.string(), json::serialize(value), error);
}

}  // namespace

std::optional<ProjectSnapshot> Project::read(std::string* error) const {
  std::lock_guard lock(mutex_);
  auto settings = readJson(fs::path(directory_) / "project.json");
  const Value* appId = settings ? settings->find("appId") : nullptr;
  const Value* secret = settings ? settings->find("apiSecret") : nullptr;
  if (!appId || !appId->isString() || !secret || !secret->isString()) {
    *error = "project.json in " + directory_ + " is missing or lacks appId and apiSecret";
    return std::nullopt;
  }
  ProjectSnapshot snapshot{appId->asString(), secret->asString(), *settings, {}};
  std::error_code ec;
  for (fs::directory_iterator language(fs::path(directory_) / "translations", ec), end; !ec && language != end;
       language.increment(ec)) {
    if (!language->is_directory()) continue;
    for (fs::directory_iterator file(language->path(), ec), fileEnd; !ec && file != fileEnd; file.increment(ec)) {
      if (file->path().extension() != ".json") continue;
      auto content = readJson(file->path());
      const Value* version = content ? content->find("version") : nullptr;
      const Value* entries = content ? content->find("entries") : nullptr;
      if ((version && !version->isInteger()) || !entries || !entries->isDictionary()) continue;
      snapshot.languages[language->path().filename()][file->path().stem()] =
          ProjectGroup{version ? version->asInteger() : modificationVersion(file->path()), entries->asDictionary()};
    }
  }
  return snapshot;
}

bool Project::publish(const std::string& language, const std::string& group, const Value::Dictionary& entries,
                      std::string* error) {
  std::lock_guard lock(mutex_);
  fs::path groupFile = fs::path(directory_) / "translations" / language / (group + ".json");
  Value content = readJson(groupFile).value_or(Value::Dictionary{{"version", 0}, {"entries", Value::Dictionary{}}});
  if (!content.isDictionary() || !content.find("entries") || !content.find("entries")->isDictionary()) {
    content = Value::Dictionary{{"version", 0}, {"entries", Value::Dictionary{}}};
  }
  auto& fields = content.asDictionary();
  for (const auto& [key, entry] : entries) fields["entries"].asDictionary()[key] = entry;
  // A file versioned by its save time stays so: writing it is the bump.
  if (auto version = fields.find("version"); version != fields.end()) {
    version->second = version->second.numberAsInteger().value_or(0) + 1;
  }
  if (!writeJson(groupFile, content, error)) return false;

  fs::path projectFile = fs::path(directory_) / "project.json";
  Value settings = readJson(projectFile).value_or(Value::Dictionary{});
  if (!settings.isDictionary()) settings = Value::Dictionary{};
  settings.asDictionary()["version"] = settings.find("version") ? settings.find("version")->numberAsInteger().value_or(0) + 1 : 1;
  return writeJson(projectFile, settings, error);
}

}  // namespace tolvana::devserver
