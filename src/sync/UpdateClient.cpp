#include "sync/UpdateClient.h"

#include <algorithm>
#include <ctime>

#include "config/ProcessState.h"
#include "config/TLDeviceUtil.h"
#include "config/TLSettings.h"
#include "config/TextsChangedNotices.h"
#include "support/Hmac.h"
#include "support/Json.h"
#include "support/Mutex.h"
#include "support/StringUtil.h"
#include "support/TLLog.h"
#include "support/WhileAlive.h"
#include "sync/HttpFailure.h"
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
  // The time comes from the defaults file, which anything may have written: a value no time
  // can have is held to the nearest one that can (NaN to the epoch) before it is converted,
  // since converting it as it is would be undefined.
  constexpr double kFarthest = 1e15;  // about 31 million years either way
  if (!(secondsSince1970 == secondsSince1970)) secondsSince1970 = 0;
  std::time_t t = static_cast<std::time_t>(std::clamp(secondsSince1970, -kFarthest, kFarthest));
  std::tm parts{};
  localtime_r(&t, &parts);
  return parts;
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

// The handler runs on the main queue when that was asked for, whichever path ends the update.
void complete(const UpdateClient::Completion& completion, bool completeOnMainQueue, bool success) {
  if (!completion) return;
  if (completeOnMainQueue) {
    Platform::Current().dispatch().mainAsync([completion, success] { completion(success); });
  } else {
    completion(success);
  }
}

}  // namespace

UpdateClient::UpdateClient(Context context)
    : context_(std::move(context)), customHostingEnterpriseHosts_(enterpriseHostsOfBuild()) {}

std::vector<std::string> UpdateClient::defaultGroups() const {
  LockGuard lock(context_.state.lock());
  return defaultGroups_;
}

void UpdateClient::resetDefaultGroups() {
  std::vector<std::string> groups{"main"};
  for (const auto& group : TLSettings::updateGroups()) {
    std::string trimmed = trimWhitespace(group);
    if (!trimmed.empty() && std::find(groups.begin(), groups.end(), trimmed) == groups.end()) {
      groups.push_back(trimmed);
    }
  }
  LockGuard lock(context_.state.lock());
  defaultGroups_ = std::move(groups);
}

bool UpdateClient::isEnterpriseHost(std::string_view url) const {
  std::string host = hostOfUrl(url);
  return std::any_of(customHostingEnterpriseHosts_.begin(), customHostingEnterpriseHosts_.end(),
                     [&](const std::string& suffix) { return host.ends_with(toLower(suffix)); });
}

std::string UpdateClient::generateHmac(std::string_view message) const {
  auto db = context_.state.database();
  return hmacSha256Hex(db ? db->apiSecret() : std::string(), message);
}

bool UpdateClient::shouldSendMAU() const {
  Platform& platform = Platform::Current();
  auto last = platform.userDefaults().objectForKey("TolvanaLastMAU");
  auto seconds = last ? last->numberAsDouble() : std::nullopt;
  if (!seconds) return true;
  std::tm then = localTime(*seconds);
  std::tm now = localTime(platform.clock().secondsSince1970());
  return then.tm_mon != now.tm_mon || then.tm_year != now.tm_year;
}

void UpdateClient::writeLastMAU() {
  Platform& platform = Platform::Current();
  platform.userDefaults().setObject("TolvanaLastMAU", platform.clock().secondsSince1970());
  platform.userDefaults().synchronize();
}

std::chrono::duration<double> UpdateClient::longestUpdate() {
  // Only the first request of the process gets the configured time-outs (see signedRequest).
  double first = ProcessState::get().sessionTimeoutsApplied ? kDefaultResourceTimeout
                                                           : TLSettings::timeoutIntervalForResource();
  double fallback = TLSettings::proxyHost().empty() ? 0 : kDefaultResourceTimeout;
  return std::chrono::duration<double>(first + fallback);
}

std::shared_ptr<TLDatabase> UpdateClient::openDatabaseOrFail(const Completion& completion) const {
  auto db = context_.state.database();
  if (context_.state.enabled && db && db->initialized()) return db;
  if (completion) completion(false);
  return nullptr;
}

void UpdateClient::updateGroups(std::optional<std::vector<std::string>> groups,
                                std::optional<std::vector<std::string>> languages, bool completeOnMainQueue,
                                Completion completion, ChangesSink changes) {
  LockGuard lock(context_.state.lock());
  auto db = openDatabaseOrFail(completion);
  if (!db) return;
  std::string host = TLSettings::hostWithAppId(db->appId());
  std::string proxy = TLSettings::proxyHost();
  if (proxy.empty()) {
    updateGroupsFromHost(std::move(groups), std::move(languages), host, completeOnMainQueue, std::move(completion),
                         std::move(changes));
    return;
  }
  auto reportOnly = [completion](bool success) {
    if (completion) completion(success);
  };
  updateGroupsFromHost(
      groups, languages, proxy, completeOnMainQueue,
      whileAlive(
          context_.owner,
          [this, groups, languages, host, completeOnMainQueue, completion, changes, reportOnly](bool success) {
            if (success) return reportOnly(true);
            logInfo("Could not connect to proxy. Fallback to public api!");
            // The fall-back reports failure even when it worked: the proxy is what the app was
            // configured to use.
            updateGroupsFromHost(
                groups, languages, host, completeOnMainQueue,
                [completion](bool fallbackSuccess) {
                  logInfo("Fallback request %@!", fallbackSuccess ? "successful" : "failed");
                  if (completion) completion(false);
                },
                changes);
          },
          reportOnly),
      changes);
}

std::vector<std::string> UpdateClient::requestedLanguagesFor(const std::optional<std::vector<std::string>>& languages,
                                                          TLDatabase& db, bool draft) const {
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
    requestedLanguages = context_.languages.defaultLanguages();
  }
  if (!draft) {
    std::erase_if(requestedLanguages, [&](const std::string& language) { return !db.isLanguageSupported(language); });
  }
  return requestedLanguages;
}

HttpRequest UpdateClient::signedRequest(const std::string& host, const TLDatabase& db, Value::Dictionary body,
                                        bool full) const {
  Value::Dictionary profile = deviceProfile();
  std::string timestamp = kCacheableTimestamp;
  if (full) {
    body.insert(profile.begin(), profile.end());
    timestamp = TLDeviceUtil::timestamp();
  }
  std::string json = json::serialize(body);

  HttpRequest request;
  std::string base = host + "/" + kUpdatePath + "/" + db.appId();
  request.headers = signingHeaders([this](std::string_view message) { return generateHmac(message); }, timestamp, json);
  request.headers.insert(request.headers.end(), {{"lastversion", db.appVersion().description()},
                                                 {"Content-Type", "application/json"},
                                                 {"Accept-Encoding", "gzip"}});
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
  // the defaults. Deliberate: the configured values are meant for the launch's update, and
  // the update tests check both the first request's time-out and a later one's.
  if (!ProcessState::get().sessionTimeoutsApplied.exchange(true)) {
    request.requestTimeout = TLSettings::timeoutIntervalForRequest();
    request.resourceTimeout = TLSettings::timeoutIntervalForResource();
  } else {
    request.requestTimeout = kDefaultRequestTimeout;
    request.resourceTimeout = kDefaultResourceTimeout;
  }
  return request;
}

void UpdateClient::updateGroupsFromHost(std::optional<std::vector<std::string>> groups,
                                        std::optional<std::vector<std::string>> languages, const std::string& host,
                                        bool completeOnMainQueue, Completion completion, ChangesSink changes) {
  LockGuard lock(context_.state.lock());
  auto database = openDatabaseOrFail(completion);
  if (!database) return;
  TLDatabase& db = *database;
  bool draft = context_.state.inDraftMode;
  std::vector<std::string> requestedGroups = groups && !groups->empty() ? *groups : defaultGroups_;

  std::vector<std::string> requestedLanguages = requestedLanguagesFor(languages, db, draft);

  Value::Dictionary requestedData;
  for (const auto& language : requestedLanguages) {
    Value::Dictionary versions;
    for (const auto& group : requestedGroups) versions[group] = draft ? 0 : db.versionForGroup(group, language);
    requestedData[language] = std::move(versions);
  }
  Value::Dictionary body{{"requestedData", std::move(requestedData)}};
  bool full = false;
  if (TLLanguageMap collected = context_.missing.missingEntries(); !collected.empty()) {
    Value::Dictionary missing;
    for (const auto& [language, entries] : collected) {
      Value::Dictionary texts;
      for (const auto& [key, text] : entries) texts[key] = text;
      missing[language] = std::move(texts);
    }
    body["missingEntries"] = std::move(missing);
    full = true;
  }
  // Enterprise hosts never get the monthly report as a reason of its own.
  if (shouldSendMAU() && !isEnterpriseHost(host)) full = true;
  if (draft) {
    body["returnDraft"] = true;
    full = true;
  }
  HttpRequest request = signedRequest(host, db, std::move(body), full);

  isFetchingLocalisationTexts_ = true;
  // Kept apart from the request, which the call consumes, to name the cause of a failure.
  std::string url = request.url;
  double timeout = request.requestTimeout;
  Platform::Current().http().send(
      std::move(request),
      [this, owner = context_.owner, full, completeOnMainQueue, url, timeout, completion = std::move(completion),
       changes = std::move(changes)](HttpResponse response) {
        if (auto cause = httpFailureCause(url, timeout, response)) logWarning("Update request failed: %@", *cause);
        if (auto alive = owner.lock()) {
          handleUpdateAnswer(response, full, completeOnMainQueue, completion, changes);
        } else {
          complete(completion, completeOnMainQueue, false);
        }
      });
}

void UpdateClient::handleUpdateAnswer(const HttpResponse& response, bool fullRequest, bool completeOnMainQueue,
                                      const Completion& completion, const ChangesSink& changes) {
  auto fail = [&] {
    complete(completion, completeOnMainQueue, false);
    isFetchingLocalisationTexts_ = false;
    if (!ProcessState::get().firstUpdateCompleted.exchange(true)) logInfo("initialized!");
  };
  if (response.error || response.status != 200 || response.body.empty()) return fail();
  if (trimWhitespaceAndNewlines(response.body).empty()) return fail();
  // An answer that is no JSON object ends here without a word, and the request counts as
  // still in flight: no completion, and isFetchingLocalisationTexts() stays true. Whoever
  // polls that flag (the tool's wait for an upload) waits to its own deadline; the update's
  // failure test pins this.
  if (response.body.front() != '{') return;

  auto db = context_.state.database();
  TextChanges written;
  bool accepted = db && db->parseResponseV2Json(response.body, &written);
  if (accepted && fullRequest) writeLastMAU();
  if (context_.state.inDraftMode && !context_.state.isDraftModeEnabled()) context_.leaveDraftMode();
  if (!written.empty()) {
    ++ProcessState::get().textsChanged;
    // Queued before the completion, so a host that redraws on the notice has done so when its
    // update's handler runs.
    TextsChanged notice{.cause = TextsChanged::Cause::update, .languages = {}, .changes = written};
    for (const auto& [language, groups] : written) notice.languages.push_back(language);
    TextsChangedNotices::post(std::move(notice));
  }
  if (changes && accepted) changes(written);
  complete(completion, completeOnMainQueue, accepted);
  isFetchingLocalisationTexts_ = false;
  if (!ProcessState::get().firstUpdateCompleted.exchange(true)) {
    logInfo("%@ initialized!", accepted ? "successfully" : "");
    if (db && db->collectMissingEnabled()) context_.importLocalStrings();
  }
  if (!TLDeviceUtil::isAppExtension() && !ProcessState::get().gesturesRegistered.exchange(true)) {
    context_.registerGestures();
  }
}

}  // namespace tolvana
