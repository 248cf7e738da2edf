#include "review/IssueRequest.h"

#include "config/TLDeviceUtil.h"
#include "config/TLSettings.h"
#include "support/Hmac.h"
#include "support/Json.h"
#include "support/StringUtil.h"
#include "support/TLLog.h"
#include "tolvana/BuildConfig.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {
namespace {

void showAlert(std::string title, std::string message, int seconds) {
  Platform::Current().ui().presentAlert(Alert{.title = std::move(title), .message = std::move(message),
                                              .textFields = {}, .actions = {}, .dismissAfterSeconds = seconds});
}

}  // namespace

IssueRequest::IssueRequest(Context context) : context_(std::move(context)) {}

std::string IssueRequest::json(const std::string& summary, const std::string& description) {
  Value::Dictionary body{
      {"genuine", TLDeviceUtil::genuine()},          {"sdkVersion", build::kSdkVersion},
      {"summary", summary},                          {"description", description},
      {"deviceModel", TLDeviceUtil::deviceModel()},  {"platform", TLDeviceUtil::platform()},
      {"operatingSystem", TLDeviceUtil::operatingSystem()}, {"languageName", TLDeviceUtil::deviceLanguage()},
  };
  // What the device cannot tell is left out rather than sent empty.
  if (auto id = TLDeviceUtil::bundleIdentifier()) body["bundleIdentifier"] = *id;
  if (auto version = TLDeviceUtil::bundleVersion()) body["bundleVersion"] = *version;
  if (auto did = TLDeviceUtil::did()) body["did"] = *did;
  return json::serialize(body);
}

void IssueRequest::requestJiraIssue(const std::string& summary, const std::string& description) {
  if (TLDeviceUtil::isAppExtension()) {
    logWarning("Screenshot capturing is not working on App Extensions!");
    return;
  }
  auto database = context_.state.database();
  if (!database) return;
  std::string timestamp = TLDeviceUtil::timestamp();
  std::string body = json(summary, description);
  logInfo("json %@", body);
  HttpRequest request;
  request.method = "POST";
  request.url = TLSettings::hostWithAppId(database->appId()) + "/v3/mobile-apps/sdk/" + database->appId() +
                "/createJiraIssue";
  request.headers = signingHeaders(context_.generateHmac, timestamp, body);
  request.headers.insert(request.headers.end(),
                         {{"Content-Type", "application/json"}, {"Content-Length", std::to_string(body.size())}});
  request.body = std::move(body);
  request.requestTimeout = 120;
  Platform::Current().http().send(std::move(request), [capture = context_.captureScreenshotNoChecks](
                                                          HttpResponse response) {
    Platform& platform = Platform::Current();
    if (!Screenshots::answered(response, "Failed to request issue tag!")) {
      platform.dispatch().mainAsync([] {
        showAlert("Error creating jira issue!",
                  "ERROR: Jira is not connected. Please add your jira credentials to your Tolvana project settings.", 4);
      });
      return;
    }
    // Anything but a JSON object ends here without a word.
    if (trimWhitespaceAndNewlines(response.body).empty() || response.body.front() != '{') return;
    auto answer = json::parse(response.body);
    const Value* tagValue = answer ? answer->find("tag") : nullptr;
    std::string tag = tagValue && tagValue->isString() ? tagValue->asString() : "";
    // The screen is captured as it is when the answer comes, which may differ from when the
    // tester asked.
    platform.dispatch().mainAsync([capture, tag] {
      capture(tag, [tag](bool uploaded) {
        showAlert(uploaded ? "Successfully created " + tag : "Failed to upload screenshot for " + tag, "", 2);
      });
    });
  });
}

}  // namespace tolvana
