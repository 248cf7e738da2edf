// TLDatabase's state, shared by the files that make up the manager.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "store/TLDBProtocol.h"
#include "store/TLDatabase.h"
#include "tolvana/Value.h"

namespace tolvana {

namespace database_type {
constexpr int kTypeSqlite = 0;
constexpr int kTypeRealm = 1;
constexpr int kTypeFile = 2;
}  // namespace database_type

struct TLDatabase::State {
  std::string apiSecret;
  std::string appId;
  std::optional<std::string> baseLanguage;
  Value appVersion = Value(-1);
  bool initialized = false;
  bool collectMissingEnabled = false;
  bool draftModeEnabled = false;
  int dbType = database_type::kTypeSqlite;
  std::map<std::string, std::shared_ptr<TLDBProtocol>, std::less<>> databases;
  std::string dbPathFormat;
  std::string dbDirectory;
  std::string dataDirectory;
  std::set<std::string> availableLanguages;
  std::function<bool()> draftModeQuery;
  int unwrittenGroups = 0;
  // Languages without a store file, until when that answer holds: a look-up in a language
  // the app does not have then costs neither a file-system call nor the manager's lock.
  std::map<std::string, std::chrono::steady_clock::time_point, std::less<>> absentUntil;
};

}  // namespace tolvana
