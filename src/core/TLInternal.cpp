#include "core/TLInternal.h"

#include <algorithm>

#include "config/ProcessState.h"
#include "config/TLDeviceUtil.h"
#include "config/TLSettings.h"
#include "config/TextsChangedNotices.h"
#include "localization/TLPluralRule.h"
#include "support/Mutex.h"
#include "support/StringUtil.h"
#include "support/TLLog.h"
#include "support/WhileAlive.h"
#include "tolvana/BuildConfig.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

namespace {

// "Tolvana Setting found" lines: the keys in the order they are reported, and how each
// value is shown.
enum class Shown { Value, Boolean, True };
struct ReportedKey {
  const char* key;
  Shown shown;
};
constexpr ReportedKey kReportedKeys[] = {
    {"TolvanaEnableJSConsoleLog", Shown::True},     {"TolvanaTranslateWebViews", Shown::True},
    {"TolvanaHost", Shown::Value},                  {"TolvanaSettingsFilename", Shown::Value},
    {"TolvanaInitialUpdate", Shown::Boolean},       {"TolvanaDraftModeEnabled", Shown::Boolean},
    {"TolvanaUpdateLanguages", Shown::Value},       {"TolvanaUpdateGroups", Shown::True},
    {"TolvanaEnableAllCertificates", Shown::Value}, {"TolvanaLogGetString", Shown::True},
};

void logSettingsFound() {
  if (auto level = TLSettings::objectForInfoDictionaryKey("TolvanaLogLevel")) {
    logInfo("Tolvana Setting found: %@ value: %@", "TolvanaLogLevel", *level);
  }
  logVerbose("App is in debug mode: %@", TLDeviceUtil::isDebuggerConnected() ? "true" : "false");
  for (const ReportedKey& reported : kReportedKeys) {
    auto value = TLSettings::objectForInfoDictionaryKey(reported.key);
    if (!value) continue;
    std::string shown = reported.shown == Shown::Value     ? value->description()
                        : reported.shown == Shown::Boolean ? (value->boolValue() ? "true" : "false")
                                                           : "true";
    logInfo("Tolvana Setting found: %@ value: %@", reported.key, shown);
    if (std::string_view(reported.key) == "TolvanaDraftModeEnabled") ProcessState::get().draftModeEnabled = value->boolValue();
  }
}

}  // namespace

TLInternal::~TLInternal() = default;

void TLInternal::assemble() {
  const std::weak_ptr<TLInternal> self = weak_from_this();
  const std::weak_ptr<const void> owner = self;
  // What a part asks of the engine runs only while the engine lives, and holds it meanwhile:
  // a part's closure outlives many calls and may run on any thread.
  auto engine = [&self](auto call) { return whileAlive(self, std::move(call)); };
  auto recordMiss = engine([](TLInternal& e, auto language, auto key, auto value) {
    return e.storeMissingEntryForLanguage(language, key, value);
  });
  auto entryExists = engine([](TLInternal& e, std::string_view key) { return e.entryExists(key); });
  auto hmac = engine([](TLInternal& e, std::string_view message) { return e.generateHmac(message); });
  auto captureNoChecks = engine([](TLInternal& e, const std::string& tag, CaptureCompletion done) {
    e.captureScreenshotNoChecksWithTag(tag, {}, false, std::move(done));
  });

  lookup_ = std::make_unique<StringLookup>(StringLookup::Context{state_, recordMiss});
  languages_ = std::make_unique<LanguageSelection>(LanguageSelection::Context{state_});
  missing_ = std::make_unique<MissingEntries>(MissingEntries::Context{
      state_, owner, engine([](TLInternal& e, MissingEntries::Completion done) {
        e.updateGroups(std::nullopt, std::nullopt, true, std::move(done));
      })});
  import_ = std::make_unique<StringTablesImport>(StringTablesImport::Context{*lookup_, *languages_, recordMiss});
  updates_ = std::make_unique<UpdateClient>(UpdateClient::Context{
      state_, *languages_, *missing_, owner,
      engine([](TLInternal& e) {
        e.setInDraftMode(false);
        e.writeDraftMode();
      }),
      engine([](TLInternal& e) { e.fillMissingStringsFromLocalStrings(); }),
      engine([](TLInternal& e) {
        e.registerTestModeGesture();
        e.registerDraftMenuGesture();
      })});
  live_ = std::make_unique<LivePreview>(LivePreview::Context{
      state_, owner, hmac, engine([](TLInternal& e) { return e.defaultLanguages(); }),
      engine([](TLInternal& e, auto groups, auto languages) { e.updateGroups(groups, languages, false, nullptr); })});
  overlay_ = std::make_unique<OverlayControl>(OverlayControl::Context{
      state_, owner,
      engine([](TLInternal& e, Screenshots::TagsCompletion done) { e.loadScreenTagsWithCompletionHandler(std::move(done)); }),
      TLOverlay::Engine{
          captureNoChecks,
          engine([](TLInternal& e, const std::string& tag, const std::string& positions, CaptureCompletion done) {
            e.captureScreenshotWithTagAndPositionFromDraftModeDialog(tag, positions, std::move(done));
          }),
          engine([](TLInternal& e, const std::string& summary, const std::string& description) {
            e.requestJiraIssue(summary, description);
          }),
          engine([](TLInternal& e) { return e.isPossibleSwiftUi(); }), nullptr, owner}});
  collector_ = std::make_unique<StringCollector>(StringCollector::Context{
      state_, entryExists,
      engine([](TLInternal& e, std::string_view key) { return e.localizedStringForKey(key, std::nullopt).text; })});
  screenshots_ = std::make_unique<Screenshots>(Screenshots::Context{
      state_, owner, *collector_, entryExists, hmac, engine([](TLInternal& e) { return e.screenshotInterface(); })});
  issues_ = std::make_unique<IssueRequest>(IssueRequest::Context{state_, hmac, captureNoChecks});
  draft_ = std::make_unique<DraftMode>(DraftMode::Context{
      state_, owner, engine([](TLInternal& e, bool on) { e.setInDraftMode(on); }),
      engine([](TLInternal& e) { e.writeDraftMode(); }), engine([](TLInternal& e) { e.toggleOverlay(); }),
      engine([](TLInternal& e) { e.exitApp(); })});
}

void TLInternal::start() {
  LockGuard lock(state_.lock());
  Platform& platform = Platform::Current();
  state_.enabled = readTolvanaEnabled(platform.userDefaults());
  if (!state_.enabled) return;
  logInfo("Version: %@", build::kSdkVersion);
  platform.ui().installLookupHooks();
  logSettingsFound();
  logVerbose("Current Language: %@", TLDeviceUtil::deviceLanguageLong());
  logVerbose("Development Language: %@", platform.bundles().mainBundle()->developmentLocalization());
  state_.collectStoryBoardStrings = TLSettings::collectStoryBoardStrings();
  state_.logGetString = TLSettings::enableLogGetString();
  if (auto expansion = TLSettings::pseudoLocalizationExpansion()) {
    logInfo("Pseudo-localisation is on: texts grow by %@ %%.", static_cast<long>(*expansion * 100));
    state_.pseudoExpansion = *expansion;
  }

  auto database = TLDatabase::create();
  if (database) {
    // The parser asks whether to take every group again; the engine may be gone by then.
    database->setDraftModeQuery([weak = weak_from_this()] {
      auto engine = weak.lock();
      return engine && engine->isInDraftMode();
    });
  }
  state_.setDatabase(database);
  if (database && database->initialized() && !state_.inDraftMode && !TLDeviceUtil::isDebuggerConnected()) {
    logInfo("Strings will NOT be uploaded. Neither the debugger is connected nor the app is in draft mode!");
  }
  setInDraftMode(readDraftMode(platform.userDefaults()));
  if (!database || !database->initialized()) {
    showNotInitializedError();
    return;
  }

  updates_->resetDefaultGroups();
  resetDefaultLanguages();
  if (TLDeviceUtil::isUITestRunning()) {
    logInfo("UI Tests are running.");
    addUITestOverlay();
  }
  if (TLDeviceUtil::isInShowIdModeOnLaunch()) {
    logInfo("Show ID mode was set on app launch.");
    setInShowIdMode(true);
  }
}

bool TLInternal::readTolvanaEnabled(const UserDefaults& defaults) {
  auto stored = defaults.objectForKey("TolvanaEnabled");
  return !stored || stored->boolValue();
}

void TLInternal::writeTolvanaEnabled() {
  UserDefaults& defaults = Platform::Current().userDefaults();
  defaults.setObject("TolvanaEnabled", state_.enabled.load());
  defaults.synchronize();
}

void TLInternal::setEnabled(bool enabled) {
  bool restart = false;
  {
    LockGuard lock(state_.lock());
    if (state_.enabled == enabled) return;
    state_.enabled = enabled;
    ProcessState::get().answersChanged();
    logInfo("Tolvana is now %@!", enabled ? "enabled" : "disabled");
    writeTolvanaEnabled();
    auto database = state_.database();
    restart = enabled && (!database || !database->initialized());
  }
  if (restart) resetInstance();
}

bool TLInternal::readDraftMode(const UserDefaults& defaults) {
  auto stored = defaults.objectForKey("TolvanaDraftMode");
  return stored && stored->boolValue();
}

void TLInternal::writeDraftMode() {
  UserDefaults& defaults = Platform::Current().userDefaults();
  defaults.setObject("TolvanaDraftMode", isInDraftMode());
  defaults.synchronize();
}

bool TLInternal::IsDraftModeEnabled() const { return state_.isDraftModeEnabled(); }

void TLInternal::setDraftModeEnabled(bool enabled) { ProcessState::get().draftModeEnabled = enabled; }

std::shared_ptr<TLDatabase> TLInternal::database() const { return state_.database(); }

void TLInternal::showNotInitializedError() {
  if (TLDeviceUtil::isAppExtension() || ProcessState::get().notInitializedAlertShown.exchange(true)) return;
  Platform::Current().dispatch().mainAsync([] {
    // Deliberately without a button: the app cannot work until the settings file is fixed.
    Platform::Current().ui().presentAlert(Alert{
        "Error!",
        "Tolvana settings file missing or outdated! Please download the settings file for your app from the dashboard.",
        {},
        {}});
  });
}

void TLInternal::exitApp() { Platform::Current().device().exitProcess(0); }

void TLInternal::setScreenshotInterface(std::weak_ptr<TolvanaScreenshotInterface> provider) {
  LockGuard lock(state_.lock());
  screenshotInterface_ = std::move(provider);
}

std::shared_ptr<TolvanaScreenshotInterface> TLInternal::screenshotInterface() const {
  LockGuard lock(state_.lock());
  return screenshotInterface_.lock();
}

std::int64_t TLInternal::pluralRuleFromString(std::optional<std::string_view> word) const {
  std::int64_t rule = -1;
  for (std::int64_t i = 0; i < 6; ++i) {
    if (word && *word == pluralRuleWord(i)) rule = i;
  }
  if (rule == -1) logError("Invalid PluralRule: %@", word);
  return rule;
}

std::optional<std::string> TLInternal::pluralRuleToString(std::int64_t rule) const {
  auto word = pluralRuleWord(rule);
  return word ? std::optional<std::string>(*word) : std::nullopt;
}

// The parts' work, under the names the facade, the tools and the tests know.

std::vector<std::string> TLInternal::defaultLanguages() const { return languages_->defaultLanguages(); }
void TLInternal::setDefaultLanguages(std::vector<std::string> languages) {
  languages_->setDefaultLanguages(std::move(languages));
}
void TLInternal::resetDefaultLanguages() { languages_->resetDefaultLanguages(); }
bool TLInternal::setLanguage(std::optional<std::string_view> language) {
  std::string before = TLDeviceUtil::deviceLanguageLong();
  if (!languages_->setLanguage(language)) return false;
  std::string now = TLDeviceUtil::deviceLanguageLong();
  if (now != before) {
    TextsChanged notice{.cause = TextsChanged::Cause::languageSwitch, .languages = {now}, .changes = {}};
    if (std::string shortForm = TLDeviceUtil::deviceLanguage(); shortForm != now) notice.languages.push_back(shortForm);
    TextsChangedNotices::post(std::move(notice));
  }
  return true;
}
std::optional<std::string> TLInternal::getBaseLanguage() const { return languages_->getBaseLanguage(); }
std::optional<std::string> TLInternal::uploadLanguage() const { return languages_->uploadLanguage(); }

std::optional<std::string> TLInternal::localizedStringForKeyAndLanguage(std::string_view key,
                                                                        std::string_view language) {
  return lookup_->localizedStringForKeyAndLanguage(key, language);
}
StringLookup::Renewal TLInternal::renewAnswers() const { return lookup_->renewAnswers(); }
TLLocalizedString TLInternal::localizedStringForKey(std::string_view key, std::optional<std::string_view> value,
                                                    std::optional<std::string_view> table,
                                                    std::shared_ptr<const Bundle> bundle) {
  return lookup_->localizedStringForKey(key, value, table, std::move(bundle));
}
TLLocalizedString TLInternal::localizedStringForKey(std::string_view key, std::optional<std::string_view> value) {
  return lookup_->localizedStringForKey(key, value, std::nullopt, nullptr);
}
TLLocalizedString TLInternal::localizedStringForKeyWithArguments(std::string_view key,
                                                                 const std::map<std::string, std::string>* arguments,
                                                                 std::optional<std::string_view> value) {
  return lookup_->localizedStringForKeyWithArguments(key, arguments, value);
}
TLLocalizedString TLInternal::localizedStringForKeyWithArgumentsAndPluralRule(
    std::string_view key, const std::map<std::string, std::string>* arguments, std::int64_t pluralRule,
    std::optional<std::string_view> value) {
  return lookup_->localizedStringForKeyWithArgumentsAndPluralRule(key, arguments, pluralRule, value);
}
TLLanguageMap TLInternal::localizeMap(const TLLanguageMap& map) { return lookup_->localizeMap(map); }
std::map<std::string, std::string> TLInternal::localizedStringsForLanguage(std::string_view language) {
  return lookup_->localizedStringsForLanguage(language);
}
std::map<std::string, std::string> TLInternal::localizedStringsForCurrentLanguage() {
  return lookup_->localizedStringsForCurrentLanguage();
}
bool TLInternal::entryExists(std::string_view key) { return lookup_->entryExists(key); }
bool TLInternal::collectMissingEnabled() const { return state_.collectMissingEnabled(); }

void TLInternal::updateGroups(std::optional<std::vector<std::string>> groups,
                              std::optional<std::vector<std::string>> languages, bool completeOnMainQueue,
                              UpdateCompletion completion, UpdateClient::ChangesSink changes) {
  updates_->updateGroups(std::move(groups), std::move(languages), completeOnMainQueue, std::move(completion),
                         std::move(changes));
}
void TLInternal::updateGroupsFromHost(std::optional<std::vector<std::string>> groups,
                                      std::optional<std::vector<std::string>> languages, const std::string& host,
                                      bool completeOnMainQueue, UpdateCompletion completion) {
  updates_->updateGroupsFromHost(std::move(groups), std::move(languages), host, completeOnMainQueue,
                                 std::move(completion));
}
std::string TLInternal::generateHmac(std::string_view message) const { return updates_->generateHmac(message); }
bool TLInternal::isEnterpriseHost(std::string_view url) const { return updates_->isEnterpriseHost(url); }

bool TLInternal::storeMissingEntryForLanguage(std::optional<std::string_view> language,
                                              std::optional<std::string_view> key,
                                              std::optional<std::string_view> value) {
  return missing_->storeMissingEntryForLanguage(language, key, value);
}
bool TLInternal::queueSendMissingEntrys() { return missing_->queueSendMissingEntrys(); }
TLLanguageMap TLInternal::missingEntries() const { return missing_->missingEntries(); }

void TLInternal::fillMissingStringsFromLocalStrings() { import_->fillMissingStringsFromLocalStrings(); }
void TLInternal::fillMissingStringsFromLocalStringsAndBundle(const Bundle& bundle) {
  import_->fillMissingStringsFromLocalStringsAndBundle(bundle);
}
void TLInternal::forEachLocalString(const Bundle& bundle, const LocalStringVisitor& visit) {
  import_->forEachLocalString(bundle, visit);
}

}  // namespace tolvana
