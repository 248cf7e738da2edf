// Records: what the translation server keeps, as plain values that every storage backend
// reads and writes alike.
//
// A project is one app as the library knows it (its id and API secret). Its texts are
// entries, each in one language and one group; an entry has a published value, which every
// app receives, and a draft, which only apps in draft mode see until it is published. A
// group's version in a language goes up when a publication changes it, which is how an app
// that holds the group learns that it is out of date. What apps send in (missing strings,
// screenshots, issues, their device profiles) is kept beside the texts.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tolvana::server {

// Seconds since 1970 (UTC).
using Seconds = std::int64_t;

struct Project {
  std::string id{};
  std::string apiSecret{};
  std::string baseLanguage{};
  std::vector<std::string> languages{};  // every language of the project, the base included
  std::optional<std::string> enterpriseHost{};
  bool collectMissing = true;
  bool draftMode = true;
  std::vector<std::string> screenTags{};
  std::int64_t contentVersion = 1;  // "__v" of the answers; up by one at every publication
  std::int64_t revision = 0;        // up at every change an answer could show
};

struct Entry {
  std::string language{};
  std::string group{};
  std::string key{};
  std::string plural{};  // "" or a plural rule word: the app sees the key as "key[plural]"
  std::optional<std::string> value{};  // published
  std::optional<std::string> draft{};  // not published yet
  Seconds updatedAt = 0;

  // The key as apps send and receive it.
  std::string appKey() const { return plural.empty() ? key : key + "[" + plural + "]"; }
  // Splits an app's key into key and plural form; a bracket suffix that is no plural rule
  // word is part of the key.
  static std::pair<std::string, std::string> splitAppKey(const std::string& appKey);
};

struct Group {
  std::string language{};
  std::string name{};
  std::int64_t version = 0;
};

// Everything an answer is built from.
struct ProjectContent {
  Project project{};
  std::vector<Group> groups{};
  std::vector<Entry> entries{};
};

struct MissingString {
  std::string language{};
  std::string key{};
  std::string value{};  // the app's default text ("" when it had none)
  Seconds firstSeen = 0;
  Seconds lastSeen = 0;
  std::int64_t count = 0;
  std::string appVersion{};
  std::optional<Seconds> acceptedAt{};
};

struct Screenshot {
  std::int64_t id = 0;
  std::string tag{};
  std::int64_t bytes = 0;      // of the PNG
  std::string positionsJson{};   // the string positions as the app sent them
  std::string deviceJson{};      // the other fields of the upload
  Seconds receivedAt = 0;
};

struct Issue {
  std::int64_t number = 0;
  std::string tag{};  // "ISSUE-<number>": the screen tag of its screenshot
  std::string summary{};
  std::string description{};
  std::string deviceJson{};
  Seconds receivedAt = 0;
};

struct DeviceProfile {
  std::string device{};        // the vendor id the app sends, or a digest of the profile without one
  std::string profileJson{};   // the profile fields last seen
  Seconds firstSeen = 0;
  Seconds lastSeen = 0;
  std::int64_t requests = 0;
};

}  // namespace tolvana::server
