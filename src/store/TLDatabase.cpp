#include "store/TLDatabase.h"

#include <chrono>
#include <filesystem>

#include "config/ProcessState.h"
#include "config/TLDeviceUtil.h"
#include "config/TLSettings.h"
#include "platform/PropertyList.h"
#include "store/AppFileReceipt.h"
#include "store/ReadIndexSnapshot.h"
#include "store/ResponseParser.h"
#include "store/SettingsArchive.h"
#include "store/TLArchive.h"
#include "store/TLDBFile.h"
#include "store/TLDBSqlite.h"
#include "store/TLDatabaseState.h"
#include "support/Files.h"
#include "support/Json.h"
#include "support/Mutex.h"
#include "support/SafeName.h"
#include "support/StringUtil.h"
#include "support/TLLog.h"
#include "tolvana/platform/Platform.h"

namespace fs = std::filesystem;

namespace tolvana {

TLDatabase::TLDatabase() : state_(std::make_unique<State>()) {}

namespace {

std::vector<std::string> storeLanguagesIn(const std::string& directory) {
  std::vector<std::string> languages;
  std::error_code ec;
  for (fs::directory_iterator it(directory, ec), end; !ec && it != end; it.increment(ec)) {
    std::string name = it->path().filename().string();
    // The name up to the last extension is the language. What is no language code (a store
    // moved aside, a stray file) is no language.
    std::string language = deletingPathExtension(name);
    if (SafeName::isLanguageCode(language)) languages.push_back(std::move(language));
  }
  return languages;
}

bool canWriteIn(const std::string& directory) {
  ReplacementFile probe(directory + "/.write-probe");
  return probe.open();
}

}  // namespace

std::shared_ptr<TLDatabase> TLDatabase::create() {
  std::shared_ptr<TLDatabase> database(new TLDatabase());
  LockGuard lock(database->mutex_);
  State& s = *database->state_;

  if (auto directory = TLDeviceUtil::userdataDirectory()) {
    s.dataDirectory = *directory;
  } else {
    logError("Could not get data directory.");
  }
  std::error_code ec;
  if (!fs::is_directory(s.dataDirectory, ec)) {
    fs::create_directories(s.dataDirectory, ec);
    if (ec || s.dataDirectory.empty()) logError("Create database folder failed %@", s.dataDirectory);
  }

  std::string archiveName = SettingsArchive::name();
  auto archivePath = SettingsArchive::locate(archiveName);

  TLDeviceUtil::logMemUsage();
  // Without an archive the unpacking reports the place the app should have shipped it.
  std::string lookedFor = Platform::Current().bundles().mainBundle()->bundlePath() + "/" + archiveName;
  bool unpacked = TLArchive::createFilesAndDirectoriesAtPath(s.dataDirectory, archivePath.value_or(lookedFor), true);
  TLDeviceUtil::logMemUsage();
  std::string appFile = s.dataDirectory + "/app.tolvana";
  // A folder the app may no longer write (a read-only mount) still holds a complete set of
  // files from an earlier start, which serve better than none.
  if (!unpacked && !canWriteIn(s.dataDirectory) && fs::exists(appFile, ec)) {
    logWarning("Data directory %@ cannot be written; answering from the files it holds.", s.dataDirectory);
  } else if (!unpacked) {
    logError("Error parsing settings file.");
    return nullptr;
  }

  if (!fs::exists(appFile, ec)) {
    logError("App settings file missing or outdated! Please download the settings file for your app from the dashboard.");
    return nullptr;
  }
  auto text = readWholeFile(appFile);
  if (!text) {
    logInfo("Missing Tolvana Settings File: %@", archiveName);
    return nullptr;
  }

  s.initialized = true;
  return database->takeAppFile(*text, archiveName) ? database : nullptr;
}

// Reads the app file: its app id and secret fix where the stores live, and its strings go to
// them. The caller holds mutex_.
bool TLDatabase::takeAppFile(const std::string& text, const std::string& archiveName) {
  State& s = *state_;
  std::error_code ec;
  // With the receipt of this very file, its strings are decoded only if a store changed.
  const std::string digest = AppFileReceipt::digestOf(text);
  const std::string receiptPath = s.dataDirectory + "/app.tolvana.receipt";
  auto receipt = AppFileReceipt::read(receiptPath);
  if (receipt && receipt->digest() != digest) receipt.reset();
  std::optional<Value> settings;
  if (receipt) settings = json::parse(receipt->settings());
  if (!settings) {
    receipt.reset();
    settings = json::parse(text);
  }
  if (!settings || !settings->isDictionary()) {
    logInfo("Could not parse Settings File: '%@'.", archiveName);
    return false;
  }
  const Value* appId = settings->find("_id");
  if (!appId || !appId->isString() || appId->asString().empty()) {
    logInfo("Could not parse app id from Settings File: '%@'.", archiveName);
    return false;
  }
  if (!SafeName::isAppId(appId->asString())) {
    logError("App id of Settings File '%@' refused: it cannot name a folder.", archiveName);
    return false;
  }
  const Value* secret = settings->find("apiSecret");
  if (!secret || !secret->isString()) {
    logInfo("Could not parse secret from Settings File: '%@'.", archiveName);
    return false;
  }
  s.appId = appId->asString();
  s.apiSecret = secret->asString();
  s.dbDirectory = s.dataDirectory + "/" + s.appId;
  // Without prepared stores in the archive the folder does not exist yet; a link planted in
  // its place is not followed.
  makeDirectoriesBelow(s.dataDirectory, s.appId);
  // The path format must be known before the app file's strings are written to the stores.
  s.dbPathFormat = s.dbDirectory + (s.dbType == database_type::kTypeRealm ? "/%@.realm" : s.dbType == database_type::kTypeFile ? "/%@.dict" : "/%@.sqlite");
  auto storePath = [this](std::string_view language) { return this->storePath(language); };
  if (receipt && receipt->storesUnchanged(storePath)) {
    // The stores hold what this file would write again; the app-level fields are all it adds.
    ResponseParser(*this).parseV1(*settings);
    return true;
  }
  if (receipt && !(settings = json::parse(text))) {
    logInfo("Could not parse Settings File: '%@'.", archiveName);
    return false;
  }
  AppFileReceipt::remove(receiptPath);
  ResponseParser::V1Writes writes;
  if (ResponseParser(*this).parseV1(*settings, &writes) && writes.complete) {
    Value::Dictionary topLevel;
    for (const auto& [key, value] : settings->asDictionary()) {
      if (key != "languages") topLevel.emplace(key, value);
    }
    AppFileReceipt::of(digest, json::serialize(Value(std::move(topLevel))), writes.languages, storePath)
        .write(receiptPath);
  }
  return true;
}

std::shared_ptr<TLDBProtocol> TLDatabase::databaseForLanguage(std::string_view language, bool createDatabase) {
  LockGuard lock(mutex_);
  if (state_->dbType == database_type::kTypeRealm) {
    logAssert("Realm is disabled.");
    return nullptr;
  }
  LockGuard opening(openMutex_);
  if (!SafeName::isLanguageCode(language)) {
    logError("Language code '%@' refused: it cannot name a store.", language);
    return nullptr;
  }
  return openStore(language, createDatabase);
}

std::shared_ptr<TLDBProtocol> TLDatabase::openForReading(std::string_view language) {
  if (state_->dbType != database_type::kTypeSqlite || !SafeName::isLanguageCode(language)) return nullptr;
  LockGuard opening(openMutex_);
  return openStore(language, false);
}

std::shared_ptr<TLDBProtocol> TLDatabase::openStore(std::string_view language, bool createDatabase) {
  State& s = *state_;
  if (auto it = s.databases.find(language); it != s.databases.end()) return it->second;
  std::string path = storePath(language);
  std::error_code ec;
  if (!createDatabase && !fs::exists(path, ec)) {
    LookupWrite writing(*this, Answers::unchanged);
    s.absentUntil[std::string(language)] = Platform::Current().clock().monotonicNow() + std::chrono::seconds(1);
    return nullptr;
  }
  std::shared_ptr<TLDBProtocol> store;
  if (s.dbType == database_type::kTypeFile) {
    store = TLDBFile::initWithPath(path);
  } else {
    store = TLDBSqlite::initWithPath(s.dbPathFormat.empty() ? std::nullopt : std::optional(path));
  }
  if (store) {
    LookupWrite writing(*this, Answers::unchanged);
    s.absentUntil.erase(std::string(language));
    s.databases.emplace(std::string(language), store);
  }
  return store;
}

// The path format is fixed before the manager is handed out, so this needs no lock.
std::string TLDatabase::storePath(std::string_view language) const {
  std::string path = state_->dbPathFormat;
  if (auto at = path.find("%@"); at != std::string::npos) path.replace(at, 2, language);
  return path;
}

bool TLDatabase::dropIfBroken(std::string_view language, const TLDBProtocol* store) {
  if (!store || !store->isBroken()) return false;
  LockGuard lock(mutex_);
  LockGuard opening(openMutex_);
  if (auto it = state_->databases.find(language); it != state_->databases.end() && it->second.get() == store) {
    LookupWrite writing(*this);
    state_->databases.erase(it);
  }
  // Renamed, not removed: the file may tell what broke it. The next start unpacks the
  // language again, since its store no longer exists.
  std::string path = storePath(language), aside = path + ".corrupt";
  logError("Store %@ is broken; moved aside to %@", language, aside);
  std::error_code ec;
  fs::rename(path, aside, ec);
  if (ec) fs::remove(path, ec);
  // A journal left beside it would be replayed into the store that takes its place.
  fs::remove(path + "-journal", ec);
  ReadIndexSnapshot::remove(path);
  return true;
}

std::int64_t TLDatabase::versionForGroup(std::string_view group, std::string_view language) {
  LockGuard lock(mutex_);
  auto store = databaseForLanguage(language, false);
  if (!store) return 0;
  std::int64_t version = store->getGroupVersion(group);
  return dropIfBroken(language, store) ? 0 : version;
}

std::map<std::string, std::string> TLDatabase::stringsForLanguage(std::string_view language) {
  LockGuard lock(mutex_);
  std::map<std::string, std::string> strings;
  auto store = databaseForLanguage(language, false);
  if (!store) return strings;
  auto entries = store->entryList();
  dropIfBroken(language, store);
  for (auto& entry : entries.value_or(std::vector<TLLanguageEntry>{})) {
    bool useDraft = state_->draftModeEnabled && !entry.draft.empty();
    strings[std::move(entry.key)] = useDraft ? std::move(entry.draft) : std::move(entry.value);
  }
  return strings;
}

bool TLDatabase::isLanguageSupported(std::string_view language) {
  SharedLockGuard reading(lookupMutex_);
  return state_->availableLanguages.count(std::string(language)) > 0;
}

// A parse may have written texts, whether it ended well or not.
bool TLDatabase::parseResponseV1(const Value& answer) {
  LockGuard lock(mutex_);
  bool parsed = ResponseParser(*this).parseV1(answer);
  ProcessState::get().answersChanged();
  return parsed;
}

bool TLDatabase::parseResponseV2(const Value& answer) { return parseResponseV2Json(json::serialize(answer)); }

// An accepted answer changed the answers of the keys it wrote and nothing else (a change of
// the app's settings or of the languages moved the generation on by itself), so the answers an
// adapter kept under other keys still stand.
bool TLDatabase::parseResponseV2Json(const std::string& text, TextChanges* changes) {
  LockGuard lock(mutex_);
  ChangedKeys written;
  bool parsed = ResponseParser(*this).parseV2(text, changes, &written);
  if (parsed && written.complete) {
    ProcessState::get().textsWritten(std::move(written.keys));
  } else {
    ProcessState::get().answersChanged();
  }
  return parsed;
}

void TLDatabase::removeUnusedDatabases(const std::vector<std::string>& languages) {
  LockGuard lock(mutex_);
  std::map<std::string, bool> marks;
  for (const auto& language : languages) marks[language] = false;
  for (const auto& stored : storeLanguagesIn(state_->dbDirectory)) marks.try_emplace(stored, true);
  setDeletionMarks(marks);
}

// The file stays until the next unpacking of an archive that carries the language.
const std::string& TLDatabase::emptyValue() {
  // Never destroyed: the library's threads may still look strings up while the process exits.
  static const auto* empty = new std::string;
  return *empty;
}

void TLDatabase::saveLatestAppInfo() {
  LockGuard lock(mutex_);
  const State& s = *state_;
  Value::Dictionary info{{"__v", s.appVersion},
                         {"_id", s.appId},
                         {"collectMissingEnabled", s.collectMissingEnabled},
                         {"draftModeEnabled", s.draftModeEnabled}};
  if (s.baseLanguage) info["baseLanguage"] = *s.baseLanguage;
  std::string error;
  if (!plist::writeFileAtomically(s.dataDirectory + "/latest.app.tolvana", info, plist::Format::Xml, &error)) {
    logError("%@", error);
  }
}

void TLDatabase::setDraftModeQuery(std::function<bool()> query) {
  LockGuard lock(mutex_);
  state_->draftModeQuery = std::move(query);
}

bool TLDatabase::engineInDraftMode() const {
  std::function<bool()> query;
  {
    LockGuard lock(mutex_);
    query = state_->draftModeQuery;
  }
  return query && query();
}

// An update sets the app's settings whenever the project changed; only a setting that changed
// may change an answer, and the version number changes none.
void TLDatabase::setAppVersion(Value version) {
  LockGuard lock(mutex_);
  LookupWrite writing(*this, Answers::unchanged);
  state_->appVersion = std::move(version);
}

void TLDatabase::setBaseLanguage(std::optional<std::string> language) {
  LockGuard lock(mutex_);
  LookupWrite writing(*this, language == state_->baseLanguage ? Answers::unchanged : Answers::mayChange);
  state_->baseLanguage = std::move(language);
}

void TLDatabase::setCollectMissingEnabled(bool enabled) {
  LockGuard lock(mutex_);
  LookupWrite writing(*this, enabled == state_->collectMissingEnabled ? Answers::unchanged : Answers::mayChange);
  state_->collectMissingEnabled = enabled;
}

void TLDatabase::setDraftModeEnabled(bool enabled) {
  LockGuard lock(mutex_);
  LookupWrite writing(*this, enabled == state_->draftModeEnabled ? Answers::unchanged : Answers::mayChange);
  state_->draftModeEnabled = enabled;
}

void TLDatabase::setUnwrittenGroups(int count) {
  LockGuard lock(mutex_);
  LookupWrite writing(*this, Answers::unchanged);
  state_->unwrittenGroups = count;
}

// Every update refreshes the list; only a list that changed may change which language answers.
void TLDatabase::refreshAvailableLanguages() {
  LockGuard lock(mutex_);
  auto languages = storeLanguagesIn(state_->dbDirectory);
  std::set<std::string> available(languages.begin(), languages.end());
  LookupWrite writing(*this, available == state_->availableLanguages ? Answers::unchanged : Answers::mayChange);
  state_->availableLanguages = std::move(available);
}

#define TL_GETTER(type, name) \
  type TLDatabase::name() const { \
    SharedLockGuard reading(lookupMutex_); \
    return state_->name; \
  }
TL_GETTER(std::string, apiSecret)
TL_GETTER(std::string, appId)
TL_GETTER(std::optional<std::string>, baseLanguage)
TL_GETTER(Value, appVersion)
TL_GETTER(bool, initialized)
TL_GETTER(bool, collectMissingEnabled)
TL_GETTER(bool, draftModeEnabled)
TL_GETTER(int, dbType)
TL_GETTER(std::string, dbDirectory)
TL_GETTER(std::string, dataDirectory)
TL_GETTER(std::string, dbPathFormat)
TL_GETTER(std::set<std::string>, availableLanguages)
TL_GETTER(int, unwrittenGroups)
#undef TL_GETTER

}  // namespace tolvana
