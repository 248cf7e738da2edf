#include "review/Screenshots.h"

#include <cmath>
#include <regex>

#include "config/TLDeviceUtil.h"
#include "config/TLSettings.h"
#include "review/ScreenshotUpload.h"
#include "support/Hmac.h"
#include "support/Json.h"
#include "support/StringUtil.h"
#include "support/TLLog.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {
namespace {

constexpr const char* kSdkPath = "v3/mobile-apps/sdk";
constexpr const char* kExtensionRefusal = "Screenshot capturing is not working on App Extensions!";

void completeOnMain(const Screenshots::Completion& completion, bool success) {
  if (!completion) return;
  Platform::Current().dispatch().mainAsync([completion, success] { completion(success); });
}

// The four numbers of a rectangle string such as "{{1, 2}, {3, 4}}"; missing ones are 0.
std::array<double, 4> rectangleNumbers(const std::string& text) {
  static const std::regex number(R"([-+]?(\d+\.?\d*|\.\d+)([eE][-+]?\d+)?)");
  std::array<double, 4> numbers{};
  auto it = std::sregex_iterator(text.begin(), text.end(), number);
  for (std::size_t i = 0; i < numbers.size() && it != std::sregex_iterator(); ++i, ++it) {
    numbers[i] = std::strtod(it->str().c_str(), nullptr);
  }
  return numbers;
}

std::int32_t pixels(double points) {
  return static_cast<std::int32_t>(std::trunc(points * TLDeviceUtil::screenScale()));
}

std::optional<Screenshots::Window> rootWindow(Ui& ui) {
  if (auto view = ui.rootWindowView()) return Screenshots::Window{std::move(*view), ui.rootWindowPng()};
  logWarning("Could not find RootWindow");
  return std::nullopt;
}

std::optional<Screenshots::Window> keyWindow(Ui& ui) {
  if (auto view = ui.keyWindowView()) return Screenshots::Window{std::move(*view), ui.keyWindowPng()};
  if (auto root = rootWindow(ui)) return root;
  logWarning("Could not find KeyWindow");
  return std::nullopt;
}

}  // namespace

Screenshots::Screenshots(Context context) : context_(std::move(context)) {}

bool Screenshots::answered(const HttpResponse& response, const char* failureLine) {
  if (!response.error && response.status == 200 && !response.body.empty()) return true;
  logError(failureLine);
  if (!response.error) logError("ResponseCode: %ld", response.status);
  if (response.error) logError("Error: %@", *response.error);
  return false;
}

void Screenshots::loadScreenTags(TagsCompletion completion) {
  auto database = context_.state.database();
  auto done = [completion](std::optional<Value> tags) {
    Platform::Current().dispatch().mainAsync([completion, tags] {
      if (completion) completion(tags);
    });
  };
  if (!database) return done(std::nullopt);
  const std::string params = "{}";
  std::string timestamp = TLDeviceUtil::timestamp();
  HttpRequest request;
  request.url = TLSettings::hostWithAppId(database->appId()) + "/" + kSdkPath + "/" + database->appId() +
                "/screenTag?params=" + percentEncodedForQuery(params);
  request.headers = signingHeaders(context_.generateHmac, timestamp, params);
  request.headers.emplace_back("Content-Type", "application/json");
  request.requestTimeout = 120;
  Platform::Current().http().send(std::move(request), [done](HttpResponse response) {
    if (!answered(response, "Failed to load screen tags!")) return done(std::nullopt);
    // The server's order is kept: the overlay offers its first tag.
    auto tags = json::parse(response.body);
    done(tags ? std::optional<Value>(*tags) : std::nullopt);
  });
}

void Screenshots::captureScreenshotWithTag(const std::string& tag, const std::vector<std::string>& keys, bool useOcr,
                                           Completion completion) {
  if (!context_.state.inDraftMode) {
    logError("captureScreenshot can only be executed in draft mode!");
    if (completion) completion(false);
    return;
  }
  captureScreenshotNoChecksWithTag(tag, keys, useOcr, std::move(completion));
}

void Screenshots::captureScreenshotNoChecksWithTag(const std::string& tag, const std::vector<std::string>& keys,
                                                   bool useOcr, Completion completion) {
  auto refuse = [&completion] {
    if (completion) completion(false);
  };
  if (TLDeviceUtil::isAppExtension()) {
    logWarning(kExtensionRefusal);
    return refuse();
  }
  auto database = context_.state.database();
  if (!context_.state.enabled || !database || !database->initialized()) return refuse();
  if (tag.empty()) {
    logError("No tag supplied! Supply a screen tag to upload a screenshot.");
    return refuse();
  }
  auto window = windowToCapture();
  // A picture of nothing is worth no upload.
  if (!window) return refuse();
  captureScreenshotOfView(tag, keys, std::move(*window), useOcr, std::move(completion));
}

std::optional<Screenshots::Window> Screenshots::windowToCapture() {
  Ui& ui = Platform::Current().ui();
  if (auto root = rootWindow(ui)) return root;
  return keyWindow(ui);
}

void Screenshots::captureScreenshotOfView(const std::string& tag, const std::vector<std::string>& keys, Window window,
                                          bool useOcr, Completion completion) {
  auto collected = context_.collector.collectStringsInView(&window.view);
  // A hidden or clear window shows no string at all: neither the listed keys' positions nor
  // the provider's go with it.
  const bool visible = collected.has_value();
  std::vector<TLStringPosition> positions;
  if (visible) {
    positions = std::move(*collected);
    auto listed = context_.collector.positionsForKeys(keys);
    positions.insert(positions.end(), listed.begin(), listed.end());
  }
  std::string png = std::move(window.png);
  auto provider = context_.screenshotInterface();
  if (!provider) return uploadScreenWithTag(tag, std::move(positions), std::move(png), useOcr, std::move(completion));
  provider->getStringPositions([this, owner = context_.owner, tag, positions, png, useOcr, visible,
                                completion](std::string text) mutable {
    auto alive = owner.lock();
    if (!alive) return completeOnMain(completion, false);
    if (visible) addProvidedPositions(text, positions);
    uploadScreenWithTag(tag, std::move(positions), std::move(png), useOcr, std::move(completion));
  });
}

void Screenshots::addProvidedPositions(const std::string& text, std::vector<TLStringPosition>& positions) const {
  auto parsed = json::parse(text);
  const Value* list = parsed ? parsed->find("TLStringPositions") : nullptr;
  if (!list || !list->isArray()) return;
  for (const Value& item : list->asArray()) {
    auto string = [&item](const char* name) -> std::optional<std::string> {
      const Value* v = item.find(name);
      return v && v->isString() ? std::optional(v->asString()) : std::nullopt;
    };
    auto number = [&item](const char* name) {
      const Value* v = item.find(name);
      return static_cast<std::int32_t>(v ? v->numberAsInteger().value_or(0) : 0);
    };
    auto key = string("key");
    // Show-ID mode shows keys, so only positions the store can name are worth sending.
    if (context_.state.inShowIdMode && (!key || !context_.entryExists(*key))) continue;
    positions.emplace_back(key, string("value"), number("x"), number("y"), number("width"), number("height"));
  }
}

void Screenshots::captureScreenshotWithTagAndPositionFromDraftModeDialog(const std::string& tag,
                                                                         const std::string& idsAndPos,
                                                                         Completion completion) {
  auto window = windowToCapture();
  if (!window) {
    if (completion) completion(false);
    return;
  }
  std::vector<TLStringPosition> positions;
  auto parsed = json::parse(idsAndPos);
  if (parsed && parsed->isDictionary()) {
    for (const auto& [key, rectangle] : parsed->asDictionary()) {
      if (key.empty() || !context_.entryExists(key)) continue;
      auto [x, y, width, height] = rectangleNumbers(rectangle.isString() ? rectangle.asString() : "");
      positions.emplace_back(key, "", pixels(x), pixels(y), pixels(width), pixels(height));
    }
  }
  uploadScreenWithTag(tag, std::move(positions), std::move(window->png), false, std::move(completion));
}

std::string Screenshots::uploadLanguage() const {
  auto database = context_.state.database();
  if (!database) return "";
  for (const std::string& language : {TLDeviceUtil::deviceLanguageLong(), TLDeviceUtil::deviceLanguage()}) {
    if (database->isLanguageSupported(language)) return language;
  }
  return database->baseLanguage().value_or("");
}

void Screenshots::uploadScreenWithTag(const std::string& tag, std::vector<TLStringPosition> positions,
                                      std::string png, bool useOcr, Completion completion) {
  if (TLDeviceUtil::isAppExtension()) {
    logWarning(kExtensionRefusal);
    if (completion) completion(false);
    return;
  }
  auto database = context_.state.database();
  if (!database) return completeOnMain(completion, false);
  ScreenshotUpload upload{tag, std::move(positions), std::move(png), useOcr, context_.state.inShowIdMode,
                          uploadLanguage()};
  std::string json = upload.json();
  logInfo("json %@", json);
  std::string timestamp = TLDeviceUtil::timestamp();
  HttpRequest request = upload.request(TLSettings::hostWithAppId(database->appId()), database->appId(), json,
                                       signingHeaders(context_.generateHmac, timestamp, json),
                                       TLDeviceUtil::timestamp());
  Platform::Current().http().send(std::move(request), [completion](HttpResponse response) {
    completeOnMain(completion, answered(response, "Failed to upload Screenshot!"));
  });
}

}  // namespace tolvana
