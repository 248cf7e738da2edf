#include "sync/LivePreview.h"

#include <algorithm>

#include "config/TLDeviceUtil.h"
#include "config/TLSettings.h"
#include "support/Hmac.h"
#include "support/Json.h"
#include "support/StringUtil.h"
#include "support/TLLog.h"
#include "support/WhileAlive.h"
#include "sync/HttpFailure.h"
#include "sync/LiveNotice.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

namespace {

constexpr std::chrono::milliseconds kFirstPause{500};
constexpr std::chrono::milliseconds kLongestPause{30000};
// An empty answer sooner than this to a request that should have been held is a server
// that does not hold it; asking again at once would spin.
constexpr std::chrono::milliseconds kShortestHold{1000};

}  // namespace

bool LivePreview::wanted() const {
  auto db = context_.state.database();
  return context_.state.enabled && context_.state.inDraftMode && context_.state.isDraftModeEnabled() && db &&
         db->initialized() && TLSettings::livePreview();
}

void LivePreview::startIfWanted() {
  if (!wanted() || running_.exchange(true)) return;
  logInfo("Live preview: listening for edits on the server.");
  poll("", 0);
}

void LivePreview::poll(const std::string& cursor, int failures) {
  auto db = context_.state.database();
  if (!wanted() || !db) {
    running_ = false;
    logInfo("Live preview ended.");
    return;
  }
  Value::Dictionary params;
  if (!cursor.empty()) params["cursor"] = cursor;
  std::string json = json::serialize(params);
  std::string timestamp = TLDeviceUtil::timestamp();
  HttpRequest request{
      .method = "GET",
      .url = TLSettings::hostWithAppId(db->appId()) + "/v4/mobile-apps/sdk/" + db->appId() +
             "/changes?params=" + percentEncodedForQuery(json),
      .headers = signingHeaders(context_.hmac, timestamp, json),
      .requestTimeout = std::chrono::duration<double>(kIdleTimeout).count(),
      .resourceTimeout = 2 * std::chrono::duration<double>(kIdleTimeout).count()};
  std::string url = request.url;
  Platform::Current().http().send(
      std::move(request),
      whileAlive(context_.owner, [this, cursor, failures, url, sent = std::chrono::steady_clock::now()](
                                     HttpResponse response) {
        if (auto cause = httpFailureCause(url, std::chrono::duration<double>(kIdleTimeout).count(), response);
            cause && failures == 0) {
          logWarning("Live preview: %@", *cause);
        }
        answered(response, cursor, failures, sent);
      }));
}

void LivePreview::answered(const HttpResponse& response, const std::string& cursor, int failures,
                           std::chrono::steady_clock::time_point sent) {
  std::optional<LiveNotice> notice;
  if (!response.error && response.status == 200) notice = LiveNotice::parse(response.body);
  if (!notice) {
    if (!response.error && response.status != 200 && failures == 0) {
      logWarning("Live preview: the server answered %@; asking again later.", response.status);
    }
    return askAgainLater(cursor, failures + 1);
  }
  if (notice->resync) {
    context_.update(std::nullopt, std::nullopt);
  } else if (!notice->groups.empty()) {
    std::vector<std::string> kept = context_.languages();
    std::erase_if(notice->languages, [&](const std::string& language) {
      return std::find(kept.begin(), kept.end(), language) == kept.end();
    });
    if (!notice->languages.empty()) context_.update(notice->groups, notice->languages);
  }
  const bool idle = !notice->resync && notice->groups.empty();
  if (idle && !cursor.empty() && std::chrono::steady_clock::now() - sent < kShortestHold) {
    return askAgainLater(notice->cursor, failures + 1);
  }
  poll(notice->cursor, 0);
}

void LivePreview::askAgainLater(const std::string& cursor, int failures) {
  auto pause = std::min(kLongestPause, kFirstPause * (1 << std::min(failures - 1, 6)));
  Platform::Current().dispatch().mainAfter(
      pause, whileAlive(context_.owner, [this, cursor, failures] { poll(cursor, failures); }));
}

}  // namespace tolvana
