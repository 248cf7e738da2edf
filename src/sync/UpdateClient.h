// UpdateClient: the engine's one exchange with the translation server. An update asks for the
// groups and languages the store lacks (or everything, in draft mode), carries the collected
// misses and the monthly device profile when due, and hands the answer to the store manager.
//
// Thread contract: every method may be called from any thread. A request is built under the
// engine's lock; its answer is handled on the session's queue, and only while the owner given
// in the context is alive.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "localization/EngineState.h"
#include "localization/LanguageSelection.h"
#include "sync/MissingEntries.h"
#include "tolvana/platform/Http.h"

namespace tolvana {

class UpdateClient {
 public:
  // Gets true when an answer was received and accepted; runs on the main queue when asked,
  // else on the request's own queue.
  using Completion = std::function<void(bool)>;
  struct Context {
    EngineState& state;
    const LanguageSelection& languages;
    const MissingEntries& missing;
    // Whose life bounds the handling of an answer: the engine, or whatever a test holds.
    std::weak_ptr<const void> owner;
    // Called when an answer ends draft mode because it is no longer allowed.
    std::function<void()> leaveDraftMode;
    // Called after the first answer of the process when the store collects misses.
    std::function<void()> importLocalStrings;
    // Called once per process after its first answer, outside app extensions: installs the
    // hidden gestures of draft mode.
    std::function<void()> registerGestures;
  };
  explicit UpdateClient(Context context);

  void updateGroups(std::optional<std::vector<std::string>> groups, std::optional<std::vector<std::string>> languages,
                    bool completeOnMainQueue, Completion completion);
  void updateGroupsFromHost(std::optional<std::vector<std::string>> groups,
                            std::optional<std::vector<std::string>> languages, const std::string& host,
                            bool completeOnMainQueue, Completion completion);
  // HMAC-SHA256 of the message keyed with the API secret, in 64 lower-case hex digits.
  std::string generateHmac(std::string_view message) const;
  bool shouldSendMAU() const;
  void writeLastMAU();
  bool isFetchingLocalisationTexts() const { return isFetchingLocalisationTexts_; }

  // The longest an update asked for now can take by its requests' own time-outs: the whole
  // exchange of one request, or of two when a proxy is configured (it falls back to the host).
  static std::chrono::duration<double> longestUpdate();

  // "main" and the configured update groups, trimmed, without repeats.
  std::vector<std::string> defaultGroups() const;
  void resetDefaultGroups();
  bool isEnterpriseHost(std::string_view url) const;

 private:
  // The store manager when the engine is on and its store open; else the completion gets
  // false at once and the answer is null.
  std::shared_ptr<TLDatabase> openDatabaseOrFail(const Completion& completion) const;
  // The languages an update asks for: those asked, with the base and device languages and
  // the bare forms of regional ones, else the default languages; outside draft mode only
  // those the project has.
  std::vector<std::string> requestedLanguagesFor(const std::optional<std::vector<std::string>>& languages,
                                                 TLDatabase& db, bool draft) const;
  // The request for the body: a cacheable GET, or a signed POST with the device profile when
  // the request is full.
  HttpRequest signedRequest(const std::string& host, const TLDatabase& db, Value::Dictionary body, bool full) const;
  void handleUpdateAnswer(const HttpResponse& response, bool fullRequest, bool completeOnMainQueue,
                          const Completion& completion);

  Context context_;
  std::atomic<bool> isFetchingLocalisationTexts_{false};
  std::vector<std::string> defaultGroups_ TL_GUARDED_BY(context_.state.lock());
  // Constant after construction.
  const std::vector<std::string> customHostingEnterpriseHosts_;
};

}  // namespace tolvana
