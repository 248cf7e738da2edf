// The update request: the engine's one exchange with the translation server (part of
// TLInternal).
#include <algorithm>
#include <ctime>

#include "core/ProcessState.h"
#include "core/TLInternal.h"
#include "core/TLSettings.h"
#include "support/Hmac.h"
#include "support/Json.h"
#include "support/StringUtil.h"
#include "support/TLLog.h"
#include "sync/HttpFailure.h"
#include "sync/TLDeviceUtil.h"
#include "tolvana/BuildConfig.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

namespace {

// Cacheable requests all carry this time stamp, so that devices asking for the same
// versions send byte-identical URLs and signatures that a cache can answer.
constexpr const char* kCacheableTimestamp = "213374411";
constexpr const char* kUpdatePath = "v4/mobile-apps/sdk";
// What a session uses when nobody configured it.
constexpr double kDefaultRequestTimeout = 60;
constexpr double kDefaultResourceTimeout = 7 * 24 * 3600;

bool listed(const std::vector<std::string>& list, std::string_view item) {
  return std::find(list.begin(), list.end(), item) != list.end();
}

// The characters a URL query may hold as they are; everything else is percent-encoded.
std::string percentEncodedForQuery(std::string_view text) {
  static constexpr std::string_view kAllowed = "!$&'()*+,-./:;=?@_~";
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : text) {
    if (std::isalnum(c) || kAllowed.find(static_cast<char>(c)) != std::string_view::npos) {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += kHex[c >> 4];
      out += kHex[c & 15];
    }
  }
  return out;
}

Value::Dictionary deviceProfile() {
  Value::Dictionary profile;
  auto put = [&](const char* key, std::optional<std::string> value) {
    if (value) profile[key] = std::move(*value);
  };
  put("deviceModel", TLDeviceUtil::deviceModel());
  put("genuine", TLDeviceUtil::genuine());
  put("platform", TLDeviceUtil::platform());
  put("operatingSystem", TLDeviceUtil::operatingSystem());
  put("bundleIdentifier", TLDeviceUtil::bundleIdentifier());
  put("bundleVersion", TLDeviceUtil::bundleVersion());
  put("did", TLDeviceUtil::did());
  put("deviceLanguage", TLDeviceUtil::deviceLanguage());
  put("deviceLanguageLong", TLDeviceUtil::deviceLanguageLong());
  put("deviceLocale", TLDeviceUtil::deviceLocale());
  put("sdkVersion", std::string(build::kSdkVersion));
  return profile;
}

std::tm localTime(double secondsSince1970) {
  std::time_t t = static_cast<std::time_t>(secondsSince1970);
  std::tm parts{};
  localtime_r(&t, &parts);
  return parts;
}

// The handler runs on the main queue when that was asked for, whichever path ends the update.
void complete(const TLInternal::UpdateCompletion& completion, bool completeOnMainQueue, bool success) {
  if (!completion) return;
  if (completeOnMainQueue) {
    Platform::Current().dispatch().mainAsync([completion, success] { completion(success); });
  } else {
    completion(success);
  }
}

}  // namespace

std::string TLInternal::generateHmac(std::string_view message) const {
  auto db = database();
  return hmacSha256Hex(db ? db->apiSecret() : std::string(), message);
}

bool TLInternal::shouldSendMAU() const {
  Platform& platform = Platform::Current();
  auto last = platform.userDefaults().objectForKey("TolvanaLastMAU");
  auto seconds = last ? last->numberAsDouble() : std::nullopt;
  if (!seconds) return true;
  std::tm then = localTime(*seconds);
  std::tm now = localTime(platform.clock().secondsSince1970());
  return then.tm_mon != now.tm_mon || then.tm_year != now.tm_year;
}

void TLInternal::writeLastMAU() {
  Platform& platform = Platform::Current();
  platform.userDefaults().setObject("TolvanaLastMAU", platform.clock().secondsSince1970());
  platform.userDefaults().synchronize();
}

void TLInternal::updateGroups(std::optional<std::vector<std::string>> groups,
                              std::optional<std::vector<std::string>> languages, bool completeOnMainQueue,
                              UpdateCompletion completion) {
  std::lock_guard lock(mutex_);
  if (!enabled() || !database_ || !database_->initialized()) {
    if (completion) completion(false);
    return;
  }
  std::string host = TLSettings::hostWithAppId(database_->appId());
  std::string proxy = TLSettings::proxyHost();
  if (proxy.empty()) {
    updateGroupsFromHost(std::move(groups), std::move(languages), host, completeOnMainQueue, std::move(completion));
    return;
  }
  std::weak_ptr<TLInternal> weak = weak_from_this();
  updateGroupsFromHost(groups, languages, proxy, completeOnMainQueue,
                       [weak, groups, languages, host, completeOnMainQueue, completion](bool success) {
                         auto engine = weak.lock();
                         if (success || !engine) {
                           if (completion) completion(success);
                           return;
                         }
                         logInfo("Could not connect to proxy. Fallback to public api!");
                         // The fall-back reports failure even when it worked: the proxy is what
                         // the app was configured to use.
                         engine->updateGroupsFromHost(groups, languages, host, completeOnMainQueue,
                                                      [completion](bool fallbackSuccess) {
                                                        logInfo("Fallback request %@!",
                                                                fallbackSuccess ? "successful" : "failed");
                                                        if (completion) completion(false);
                                                      });
                       });
}

void TLInternal::updateGroupsFromHost(std::optional<std::vector<std::string>> groups,
                                      std::optional<std::vector<std::string>> languages, const std::string& host,
                                      bool completeOnMainQueue, UpdateCompletion completion) {
  std::lock_guard lock(mutex_);
  if (!enabled() || !database_ || !database_->initialized()) {
    if (completion) completion(false);
    return;
  }
  TLDatabase& db = *database_;
  bool draft = isInDraftMode();
  std::vector<std::string> requestedGroups = groups && !groups->empty() ? *groups : defaultGroups_;

  std::vector<std::string> requestedLanguages;
  if (languages && !languages->empty()) {
    requestedLanguages = *languages;
    if (auto base = db.baseLanguage(); base && !listed(requestedLanguages, *base)) requestedLanguages.push_back(*base);
    if (std::string deviceLong = TLDeviceUtil::deviceLanguageLong(); !listed(requestedLanguages, deviceLong)) {
      requestedLanguages.push_back(deviceLong);
    }
    Locale& locale = Platform::Current().locale();
    for (std::size_t i = 0, n = requestedLanguages.size(); i < n; ++i) {
      LocaleComponents parts = locale.componentsFromLocaleIdentifier(requestedLanguages[i]);
      if (parts.count() >= 2 && !parts.language.empty() && !listed(requestedLanguages, parts.language)) {
        requestedLanguages.push_back(parts.language);
      }
    }
  } else {
    requestedLanguages = defaultLanguages_;
  }
  if (!draft) {
    std::erase_if(requestedLanguages, [&](const std::string& language) { return !db.isLanguageSupported(language); });
  }

  Value::Dictionary requestedData;
  for (const auto& language : requestedLanguages) {
    Value::Dictionary versions;
    for (const auto& group : requestedGroups) versions[group] = draft ? 0 : db.versionForGroup(group, language);
    requestedData[language] = std::move(versions);
  }
  Value::Dictionary body{{"requestedData", std::move(requestedData)}};
  bool full = false;
  {
    std::lock_guard missingLock(missingMutex_);
    if (!missingEntries_.empty()) {
      Value::Dictionary missing;
      for (const auto& [language, entries] : missingEntries_) {
        Value::Dictionary texts;
        for (const auto& [key, text] : entries) texts[key] = text;
        missing[language] = std::move(texts);
      }
      body["missingEntries"] = std::move(missing);
      full = true;
    }
  }
  // Enterprise hosts never get the monthly report as a reason of its own.
  if (shouldSendMAU() && !isEnterpriseHost(host)) full = true;
  if (draft) {
    body["returnDraft"] = true;
    full = true;
  }
  Value::Dictionary profile = deviceProfile();
  std::string timestamp = kCacheableTimestamp;
  if (full) {
    body.insert(profile.begin(), profile.end());
    timestamp = TLDeviceUtil::timestamp();
  }
  std::string json = json::serialize(body);

  HttpRequest request;
  std::string base = host + "/" + kUpdatePath + "/" + db.appId();
  request.headers = {{"hmac", generateHmac(timestamp + json + timestamp)},
                     {"timestamp", timestamp},
                     {"lastversion", db.appVersion().description()},
                     {"Content-Type", "application/json"},
                     {"Accept-Encoding", "gzip"}};
  if (full) {
    request.method = "POST";
    request.url = base;
    request.headers.emplace_back("Content-Length", std::to_string(json.size()));
    request.body = std::move(json);
  } else {
    request.method = "GET";
    request.url = base + "?params=" + percentEncodedForQuery(json);
    for (const auto& [key, value] : profile) request.headers.emplace_back(key, value.asString());
  }
  // Only the first request of the process gets the configured time-outs; later ones keep
  // the defaults, as they always have.
  if (!ProcessState::get().sessionTimeoutsApplied.exchange(true)) {
    request.requestTimeout = TLSettings::timeoutIntervalForRequest();
    request.resourceTimeout = TLSettings::timeoutIntervalForResource();
  } else {
    request.requestTimeout = kDefaultRequestTimeout;
    request.resourceTimeout = kDefaultResourceTimeout;
  }

  isFetchingLocalisationTexts_ = true;
  std::weak_ptr<TLInternal> weak = weak_from_this();
  // Kept apart from the request, which the call consumes, to name the cause of a failure.
  std::string url = request.url;
  double timeout = request.requestTimeout;
  Platform::Current().http().send(
      std::move(request),
      [weak, full, completeOnMainQueue, url, timeout, completion = std::move(completion)](HttpResponse response) {
        if (auto cause = httpFailureCause(url, timeout, response)) logWarning("Update request failed: %@", *cause);
        if (auto engine = weak.lock()) {
          engine->handleUpdateAnswer(response, full, completeOnMainQueue, completion);
        } else {
          complete(completion, completeOnMainQueue, false);
        }
      });
}

void TLInternal::handleUpdateAnswer(const HttpResponse& response, bool fullRequest, bool completeOnMainQueue,
                                    const UpdateCompletion& completion) {
  auto fail = [&] {
    complete(completion, completeOnMainQueue, false);
    isFetchingLocalisationTexts_ = false;
    if (!ProcessState::get().firstUpdateCompleted.exchange(true)) logInfo("initialized!");
  };
  if (response.error || response.status != 200 || response.body.empty()) return fail();
  if (trimWhitespaceAndNewlines(response.body).empty()) return fail();
  // An answer that is no JSON object ends here without a word, and the request counts as
  // still in flight: kept so, as hosts have always seen it.
  if (response.body.front() != '{') return;

  auto db = database();
  bool accepted = db && db->parseResponseV2Json(response.body);
  if (accepted && fullRequest) writeLastMAU();
  if (isInDraftMode() && !IsDraftModeEnabled()) {
    setInDraftMode(false);
    writeDraftMode();
  }
  if (accepted && db->entriesWritten() > 0) ++ProcessState::get().textsChanged;
  complete(completion, completeOnMainQueue, accepted);
  isFetchingLocalisationTexts_ = false;
  if (!ProcessState::get().firstUpdateCompleted.exchange(true)) {
    logInfo("%@ initialized!", accepted ? "successfully" : "");
    if (db && db->collectMissingEnabled()) fillMissingStringsFromLocalStrings();
  }
  if (!TLDeviceUtil::isAppExtension() && !ProcessState::get().gesturesRegistered.exchange(true)) {
    Platform& platform = Platform::Current();
    platform.dispatch().mainAsync([&platform] { platform.ui().registerDraftModeGestures(); });
  }
}

}  // namespace tolvana
