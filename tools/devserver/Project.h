// Project: the translations the reference server serves, read from a project directory.
//
//   project.json                      {"appId", "apiSecret", "baseLanguage", "version",
//                                      "collectMissingEnabled", "draftModeEnabled", "screenTags"}
//   translations/<lang>/<group>.json  {"version": N, "entries": {key: {"v": text, "d": draft}}}
//
// The files are read again for every request, so a test or a translator can change them
// while the server runs.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "tolvana/Value.h"

namespace tolvana::devserver {

struct ProjectGroup {
  std::int64_t version = 0;
  Value::Dictionary entries;  // key → {"v", "d"}
};

struct ProjectSnapshot {
  std::string appId;
  std::string apiSecret;
  Value settings;  // project.json as it stands
  std::map<std::string, std::map<std::string, ProjectGroup>> languages;  // language → group → content
};

class Project {
 public:
  explicit Project(std::string directory) : directory_(std::move(directory)) {}
  const std::string& directory() const { return directory_; }

  // Nullopt (with a reason) when project.json is missing or lacks the app id or secret.
  std::optional<ProjectSnapshot> read(std::string* error) const;
  // Writes the group with its version one higher and the entries merged in, and raises the
  // project's version, as publishing on the translation service does.
  bool publish(const std::string& language, const std::string& group, const Value::Dictionary& entries,
               std::string* error);

 private:
  std::string directory_;
  mutable std::mutex mutex_;  // one writer at a time; readers see whole files
};

}  // namespace tolvana::devserver
