// Screenshots from a headless window to the translation server, and their refusals.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "config/TLDeviceUtil.h"
#include "core/TLInternal.h"
#include "platform/fake/FaultInjectingHttp.h"
#include "tolvana/TolvanaScreenshotInterface.h"
#include "support/Json.h"
#include "tests/support/AppFixture.h"
#include "tests/support/ServerFixture.h"
#include "tolvana/tolvana.h"

namespace tolvana {
namespace {

using testing::AppFixture;
using testing::ServerFixture;

class Screenshots : public ::testing::Test {
 protected:
  void start(bool inDraftMode = true) {
    app.appLanguage("en", {{"title", "Welcome", ""}, {"buy", "Buy", ""}});
    app.bundle.info("TolvanaHost", server.baseUrl());
    app.platform.http = http;
    app.platform.defaults->setObject("TolvanaDraftMode", inDraftMode);
    UiView window;
    window.subviews.resize(2);
    window.subviews[0].text = "Welcome";
    window.subviews[0].textKey = "title";
    window.subviews[0].frame = {10, 20, 100, 30};
    window.subviews[1].text = "typed";
    app.platform.ui->show(window);
    app.install();
    engine = TLInternal::sharedInstance();
  }
  // Runs the capture and waits for its completion on the main queue.
  std::optional<bool> capture(const std::function<void(TLInternal::CaptureCompletion)>& call) {
    auto done = std::make_shared<std::atomic<int>>(-1);
    call([done](bool ok) { *done = ok; });
    if (!app.platform.dispatch->runUntil([&] { return *done >= 0; })) return std::nullopt;
    return *done == 1;
  }
  // Every request goes through with its full answer; recorded for their time-outs.
  void expectLongTimeouts() {
    for (const auto& request : http->requests()) EXPECT_EQ(request.requestTimeout, 120) << request.url;
  }
  ServerFixture server{{}};
  AppFixture app;
  std::shared_ptr<FaultInjectingHttp> http =
      std::make_shared<FaultInjectingHttp>(server.http(app.platform.dispatch), app.platform.dispatch);
  std::shared_ptr<TLInternal> engine;
};

TEST_F(Screenshots, UploadedWithPositionsAndDeviceUnderTheTag) {
  start();
  std::optional<Value> tags;
  engine->loadScreenTagsWithCompletionHandler([&](std::optional<Value> answer) { tags = answer; });
  ASSERT_TRUE(app.platform.dispatch->runUntil([&] { return tags.has_value(); }));
  EXPECT_EQ(*tags, Value(Value::Array{"Home", "Settings"}));

  EXPECT_EQ(capture([&](auto done) { engine->captureScreenshotWithTag("Home", {"buy", "unknown"}, false, done); }),
            true);
  EXPECT_EQ(capture([&](auto done) {
              engine->captureScreenshotWithTagAndPositionFromDraftModeDialog(
                  "Settings", R"({"buy":"{{1.5, 2}, {30, 10}}","unknown":"{{0, 0}, {1, 1}}"})", done);
            }),
            true);
  auto shots = server.inspect("screenshots").asArray();
  ASSERT_EQ(shots.size(), 2u);
  EXPECT_EQ(shots[0].find("bytes")->asInteger(), static_cast<std::int64_t>(app.platform.ui->rootWindowPng().size()));
  EXPECT_EQ(json::serialize(*shots[0].find("positions")),
            R"([{"height":90,"key":"title","width":300,"x":30,"y":60},{"height":0,"text":"typed","width":0,"x":0,"y":0},)"
            R"({"height":-1,"key":"buy","width":-1,"x":-1,"y":-1}])");
  EXPECT_EQ(shots[0].find("tag")->asString(), "Home");
  Value device = *shots[0].find("device");
  EXPECT_EQ(device.find("useOCR")->asString(), "false");
  EXPECT_EQ(device.find("deviceLanguageLong")->asString(), "en");
  EXPECT_EQ(device.find("width")->description(), Value(1170.0).description());
  EXPECT_EQ(json::serialize(*shots[1].find("positions")), R"([{"height":30,"key":"buy","width":90,"x":4,"y":6}])");
  expectLongTimeouts();
}

// The language named is the long device language when the project has it, else the short
// one when it has that, else the project's base language.
TEST_F(Screenshots, NamedUnderTheDeviceLanguageTheProjectHas) {
  app.appLanguage("de", {{"title", "Willkommen", ""}});
  app.appLanguage("de-AT", {{"title", "Servus", ""}});
  start();
  for (auto [language, named] : {std::pair{"de-AT", "de-AT"}, std::pair{"de-CH", "de"}, std::pair{"fr-FR", "en"}}) {
    app.platform.locale->setPreferredLanguages({language});
    TLDeviceUtil::forgetDeviceLanguages();
    EXPECT_EQ(capture([&](auto done) { engine->captureScreenshotWithTag("Home", {}, false, done); }), true);
    auto shots = server.inspect("screenshots").asArray();
    EXPECT_EQ(shots.back().find("device")->find("deviceLanguageLong")->asString(), named) << language;
  }
}

// A host that draws its own texts names their positions; in show-ID mode only those the
// store can name are kept.
struct Provider final : TolvanaScreenshotInterface {
  void getStringPositions(std::function<void(std::string)> completion) override {
    completion(R"({"TLStringPositions":[{"key":"buy","value":"Buy","x":1,"y":2,"width":3,"height":4},)"
               R"({"key":"gone","value":"Old","x":5,"y":6,"width":7,"height":8},{"value":"No key","x":0,"y":0,"width":1,"height":1}]})");
  }
};

// A window the user cannot see has no strings on it: neither the listed keys nor the
// provider's positions are sent with it.
TEST_F(Screenshots, ProvidedPositionsJoinTheWalkOfAVisibleWindowOnly) {
  start();
  auto provider = std::make_shared<Provider>();
  engine->setScreenshotInterface(provider);
  for (bool ids : {false, true}) {
    engine->setInShowIdMode(ids);
    EXPECT_EQ(capture([&](auto done) { engine->captureScreenshotWithTag("Home", {}, false, done); }), true);
  }
  engine->setInShowIdMode(false);
  for (auto [hidden, alpha] : {std::pair{true, 1.0}, std::pair{false, 0.0}}) {
    UiView window = *app.platform.ui->rootWindowView();
    window.hidden = hidden;
    window.alpha = alpha;
    app.platform.ui->show(window);
    EXPECT_EQ(capture([&](auto done) { engine->captureScreenshotWithTag("Home", {"buy"}, false, done); }), true);
  }
  auto shots = server.inspect("screenshots").asArray();
  ASSERT_EQ(shots.size(), 4u);
  EXPECT_EQ(json::serialize(*shots[2].find("positions")), "[]");
  EXPECT_EQ(json::serialize(*shots[3].find("positions")), "[]");
  // What follows the window's two labels.
  auto provided = [](const Value& shot) {
    std::vector<std::string> out;
    for (const Value& p : shot.find("positions")->asArray()) out.push_back(json::serialize(p));
    out.erase(out.begin(), out.begin() + std::min<std::size_t>(2, out.size()));
    return out;
  };
  EXPECT_EQ(provided(shots[0]), (std::vector<std::string>{R"({"height":4,"key":"buy","width":3,"x":1,"y":2})",
                                                          R"({"height":8,"key":"gone","width":7,"x":5,"y":6})",
                                                          R"({"height":1,"text":"No key","width":1,"x":0,"y":0})"}));
  EXPECT_EQ(provided(shots[1]), (std::vector<std::string>{R"({"height":4,"key":"buy","width":3,"x":1,"y":2})"}));
  EXPECT_NE(shots[1].find("device")->find("operatingSystem")->asString().find(" - [Tolvana ID Mode]"), std::string::npos);
}

// The same through the C interface: a C provider answers from another thread, later, and the
// capture, queued onto the main queue, calls back once when the upload has ended.
void providePositionsLater(tolvana_positions_reply* reply, void*) {
  std::thread([reply] {
    tolvana_positions_reply_send(reply, R"({"TLStringPositions":[{"key":"buy","value":"Buy","x":1,"y":2,"width":3,"height":4}]})");
  }).detach();
}

void recordDone(int success, void* data) { static_cast<std::atomic<int>*>(data)->store(success); }

TEST_F(Screenshots, ACProviderAndCaptureThroughTheCInterface) {
  start();
  tolvana_set_screenshot_interface(providePositionsLater, nullptr);
  std::atomic<int> done{-1};
  const char* keys[] = {nullptr, "unknown"};
  tolvana_capture_screenshot("Home", keys, 2, 1, recordDone, &done);
  EXPECT_EQ(done, -1) << "captured inside the call";
  ASSERT_TRUE(app.platform.dispatch->runUntil([&] { return done >= 0; }));
  EXPECT_EQ(done, 1);
  auto shots = server.inspect("screenshots").asArray();
  ASSERT_EQ(shots.size(), 1u);
  ASSERT_TRUE(shots[0].find("positions") && shots[0].find("device"));
  std::string positions = json::serialize(*shots[0].find("positions"));
  EXPECT_NE(positions.find(R"({"height":4,"key":"buy","width":3,"x":1,"y":2})"), std::string::npos) << positions;
  EXPECT_EQ(shots[0].find("device")->find("useOCR")->asString(), "true");
}

TEST_F(Screenshots, RefusalsCompleteWithFalse) {
  start(false);
  struct Refusal {
    std::string tag;
    bool inDraftMode;
    bool window;
    std::vector<const char*> logged;
  } const refusals[] = {
      {"Home", false, true, {"captureScreenshot can only be executed in draft mode!"}},
      {"", true, true, {"No tag supplied! Supply a screen tag to upload a screenshot."}},
      {"Home", true, false, {"W/Tolvana\xEF\xB9\x95 Could not find RootWindow", "W/Tolvana\xEF\xB9\x95 Could not find KeyWindow"}},
      {"Nowhere", true, true, {"Failed to upload Screenshot!"}},
  };
  std::optional<UiView> window = app.platform.ui->rootWindowView();
  for (const Refusal& r : refusals) {
    engine->setInDraftMode(r.inDraftMode);
    app.platform.ui->show(r.window ? window : std::nullopt);
    if (r.tag == "Nowhere") {
      EXPECT_TRUE(server.inspect("screenshots").asArray().empty());
      server.stop();
    }
    EXPECT_EQ(capture([&](auto done) { engine->captureScreenshotWithTag(r.tag, {}, false, done); }), false) << r.tag;
    for (const char* line : r.logged) EXPECT_TRUE(app.platform.log->contains(line)) << line;
  }
  // With no window, one with positions a UI-test runner measured sends nothing either.
  app.platform.ui->show(std::nullopt);
  const auto sent = http->requests().size();
  EXPECT_EQ(capture([&](auto done) { engine->captureScreenshotWithTagAndPositionFromDraftModeDialog("Home", "{}", done); }),
            false);
  EXPECT_EQ(http->requests().size(), sent);
}

std::vector<std::string> alertTitles(const testing::AppFixture& app) {
  std::vector<std::string> titles;
  for (const auto& alert : app.platform.ui->alerts()) {
    titles.push_back(alert.title + " (" + std::to_string(alert.dismissAfterSeconds) + " s)");
  }
  return titles;
}

TEST_F(Screenshots, AnIssueGetsAScreenshotUnderItsTag) {
  start();
  engine->requestJiraIssue("Typo", "on Home");
  ASSERT_TRUE(app.platform.dispatch->runUntil([&] { return !app.platform.ui->alerts().empty(); }));
  EXPECT_EQ(alertTitles(app), (std::vector<std::string>{"Successfully created ISSUE-1 (2 s)"}));
  auto issues = server.inspect("issues").asArray();
  ASSERT_EQ(issues.size(), 1u);
  EXPECT_EQ(issues[0].find("summary")->asString(), "Typo");
  EXPECT_EQ(issues[0].find("description")->asString(), "on Home");
  EXPECT_EQ(issues[0].find("device")->find("languageName")->asString(), "en");
  auto shots = server.inspect("screenshots").asArray();
  ASSERT_EQ(shots.size(), 1u);
  EXPECT_EQ(shots[0].find("tag")->asString(), "ISSUE-1");
  expectLongTimeouts();

  server.stop();
  engine->requestJiraIssue("Typo", "again");
  ASSERT_TRUE(app.platform.dispatch->runUntil([&] { return app.platform.ui->alerts().size() == 2; }));
  EXPECT_EQ(alertTitles(app).back(), "Error creating jira issue! (4 s)");
  EXPECT_TRUE(app.platform.log->contains("Failed to request issue tag!"));
}

}  // namespace
}  // namespace tolvana
