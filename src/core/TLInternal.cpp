#include "core/TLInternal.h"

#include <algorithm>

#include "config/ProcessState.h"
#include "config/TLSettings.h"
#include "localization/TLPluralRule.h"
#include "support/StringUtil.h"
#include "support/TLLog.h"
#include "config/TLDeviceUtil.h"
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

std::vector<std::string> enterpriseHostsOfBuild() {
  std::vector<std::string> hosts;
  for (auto& host : split(build::kEnterpriseHosts, ';')) {
    if (!host.empty()) hosts.push_back(std::move(host));
  }
  return hosts;
}

std::string hostOfUrl(std::string_view url) {
  auto scheme = url.find("://");
  std::string_view rest = scheme == std::string_view::npos ? url : url.substr(scheme + 3);
  rest = rest.substr(0, rest.find_first_of("/?#"));
  if (auto at = rest.rfind('@'); at != std::string_view::npos) rest = rest.substr(at + 1);
  if (auto colon = rest.rfind(':'); colon != std::string_view::npos && rest.find(']') == std::string_view::npos) {
    rest = rest.substr(0, colon);
  }
  return toLower(rest);
}

}  // namespace

TLInternal::TLInternal() = default;
TLInternal::~TLInternal() = default;

std::shared_ptr<TLInternal> TLInternal::sharedInstance() {
  ProcessState& state = ProcessState::get();
  std::lock_guard lock(state.engineLock);
  if (state.engine) return state.engine;
  // Only the thread inside start() gets here while it runs (a look-up hook of the Ui port, a
  // log sink): it is answered by the engine as far as it has come, which falls back to the
  // bundle's own tables until its store is open, rather than starting another engine.
  if (state.starting) return state.starting;
  state.starting.reset(new TLInternal());
  struct Started {
    ProcessState& state;
    ~Started() { state.starting.reset(); }
  } started{state};
  state.starting->start();
  state.engine = state.starting;
  return state.engine;
}

void TLInternal::resetInstance() {
  ProcessState& state = ProcessState::get();
  std::lock_guard lock(state.engineLock);
  state.engine.reset();
  // The app's own defaults go too: the whole domain is erased, as a fresh install would be.
  Platform::Current().userDefaults().removePersistentDomain();
  sharedInstance();
}

void TLInternal::dropInstanceForTesting() {
  ProcessState& state = ProcessState::get();
  std::lock_guard lock(state.engineLock);
  state.engine.reset();
  state.forgetForTesting();
}

void TLInternal::start() {
  std::lock_guard lock(mutex_);
  Platform& platform = Platform::Current();
  enabled_ = readTolvanaEnabled(platform.userDefaults());
  if (!enabled_) return;
  logInfo("Version: %@", build::kSdkVersion);
  customHostingEnterpriseHosts_ = enterpriseHostsOfBuild();
  platform.ui().installLookupHooks();
  logSettingsFound();
  logVerbose("Current Language: %@", TLDeviceUtil::deviceLanguageLong());
  logVerbose("Development Language: %@", platform.bundles().mainBundle()->developmentLocalization());
  collectStoryBoardStrings_ = TLSettings::collectStoryBoardStrings();

  database_ = TLDatabase::create();
  if (database_) {
    // The parser asks whether to take every group again; the engine may be gone by then.
    database_->setDraftModeQuery([weak = weak_from_this()] {
      auto engine = weak.lock();
      return engine && engine->isInDraftMode();
    });
  }
  if (database_ && database_->initialized() && !inDraftMode_ && !TLDeviceUtil::isDebuggerConnected()) {
    logInfo("Strings will NOT be uploaded. Neither the debugger is connected nor the app is in draft mode!");
  }
  setInDraftMode(readDraftMode(platform.userDefaults()));
  if (!database_ || !database_->initialized()) {
    showNotInitializedError();
    return;
  }

  defaultGroups_ = {"main"};
  for (const auto& group : TLSettings::updateGroups()) {
    std::string trimmed = trimWhitespace(group);
    if (!trimmed.empty() && std::find(defaultGroups_.begin(), defaultGroups_.end(), trimmed) == defaultGroups_.end()) {
      defaultGroups_.push_back(trimmed);
    }
  }
  resetDefaultLanguages();
  if (TLDeviceUtil::isUITestRunning()) {
    logInfo("UI Tests are running.");
    platform.dispatch().mainAsync([&platform] { platform.ui().addOverlay(true); });
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
  defaults.setObject("TolvanaEnabled", enabled_.load());
  defaults.synchronize();
}

void TLInternal::setEnabled(bool enabled) {
  bool restart = false;
  {
    std::lock_guard lock(mutex_);
    if (enabled_ == enabled) return;
    enabled_ = enabled;
    logInfo("Tolvana is now %@!", enabled ? "enabled" : "disabled");
    writeTolvanaEnabled();
    restart = enabled && (!database_ || !database_->initialized());
  }
  if (restart) resetInstance();
}

void TLInternal::setInDraftMode(bool inDraftMode) {
  if (inDraftMode_.exchange(inDraftMode) == inDraftMode || inDraftMode) return;
  Platform& platform = Platform::Current();
  platform.dispatch().mainAsync([&platform] { platform.ui().removeOverlay(); });
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

bool TLInternal::IsDraftModeEnabled() const {
  auto db = database();
  return ProcessState::get().draftModeEnabled && db && db->draftModeEnabled();
}

void TLInternal::setDraftModeEnabled(bool enabled) { ProcessState::get().draftModeEnabled = enabled; }

std::shared_ptr<TLDatabase> TLInternal::database() const {
  std::lock_guard lock(mutex_);
  return database_;
}

std::vector<std::string> TLInternal::defaultLanguages() const {
  std::lock_guard lock(mutex_);
  return defaultLanguages_;
}

void TLInternal::setDefaultLanguages(std::vector<std::string> languages) {
  std::lock_guard lock(mutex_);
  defaultLanguages_ = std::move(languages);
}

std::vector<std::string> TLInternal::defaultGroups() const {
  std::lock_guard lock(mutex_);
  return defaultGroups_;
}

bool TLInternal::isEnterpriseHost(std::string_view url) const {
  std::string host = hostOfUrl(url);
  std::lock_guard lock(mutex_);
  return std::any_of(customHostingEnterpriseHosts_.begin(), customHostingEnterpriseHosts_.end(),
                     [&](const std::string& suffix) { return host.ends_with(toLower(suffix)); });
}

void TLInternal::showNotInitializedError() {
  if (TLDeviceUtil::isAppExtension() || ProcessState::get().notInitializedAlertShown.exchange(true)) return;
  Platform& platform = Platform::Current();
  platform.dispatch().mainAsync([&platform] {
    // Deliberately without a button: the app cannot work until the settings file is fixed.
    platform.ui().presentAlert(Alert{
        "Error!",
        "Tolvana settings file missing or outdated! Please download the settings file for your app from the dashboard.",
        {},
        {}});
  });
}

void TLInternal::exitApp() { Platform::Current().device().exitProcess(0); }

void TLInternal::setScreenshotInterface(std::weak_ptr<TolvanaScreenshotInterface> provider) {
  std::lock_guard lock(mutex_);
  screenshotInterface_ = std::move(provider);
}

std::shared_ptr<TolvanaScreenshotInterface> TLInternal::screenshotInterface() const {
  std::lock_guard lock(mutex_);
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

}  // namespace tolvana
