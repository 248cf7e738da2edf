// The overlay on a headless screen: which touches it takes in each mode, and its forms
// against the translation server.
#include <gtest/gtest.h>

#include "core/TLInternal.h"
#include "tests/support/AppFixture.h"
#include "tests/support/ServerFixture.h"

namespace tolvana {
namespace {

using testing::AppFixture;
using testing::ServerFixture;

class Overlay : public ::testing::Test {
 protected:
  void start(std::vector<std::string> arguments = {"Fixture"}) {
    app.appLanguage("en", {{"title", "Welcome", ""}});
    app.bundle.info("TolvanaHost", server.baseUrl());
    app.platform.http = server.http(app.platform.dispatch);
    app.platform.defaults->setObject("TolvanaDraftMode", true);
    app.platform.device->setLaunchArguments(std::move(arguments));
    app.platform.ui->show(UiView{});
    app.install();
    engine = TLInternal::sharedInstance();
  }
  RecordingUi& ui() { return *app.platform.ui; }
  const UiControl& control(const std::string& name) {
    shown = ui().overlay();
    for (const auto& c : shown->controls) {
      if (c.name == name) return c;
    }
    throw std::runtime_error("no control " + name);
  }
  bool waitFor(const std::function<bool()>& done) { return app.platform.dispatch->runUntil(done); }

  ServerFixture server{{}};
  AppFixture app;
  std::shared_ptr<TLInternal> engine;
  std::optional<UiOverlay> shown;
};

TEST_F(Overlay, TouchesPerModeAndTheForms) {
  start();
  EXPECT_TRUE(engine->setScreenShotMenuVisible(true));
  EXPECT_TRUE(engine->setScreenShotMenuVisible(true));  // already shown: nothing changes
  ASSERT_TRUE(waitFor([&] { return engine->overlayActive() && control("selectTagBtn").enabled; }));
  EXPECT_EQ(ui().calls().back(), "addOverlay");
  const UiControl& strip = control("openCreateIssueBtn");
  EXPECT_EQ((std::vector<double>{strip.frame.x, strip.frame.y, strip.frame.width, strip.frame.height}),
            (std::vector<double>{4, 44, 382, 32}));
  const UiControl& capture = control("confirmScreenshotBtn");
  EXPECT_EQ((std::vector<double>{capture.frame.x, capture.frame.y, capture.frame.width}),
            (std::vector<double>{198, 71, 189}));

  struct Touch {
    double x, y;
    std::optional<std::string> hit;
  } const touches[] = {
      {1, 1, std::nullopt},              // the strip's blue edge lets the touch through
      {100, 300, std::nullopt},          // the app below
      {100, 50, "openCreateIssueBtn"},   // the issue form opens
      {100, 20, "issueTitleTextField"},  // the strip's button is gone, the field is there
      {10, 80, "cancelIssueBtn"},
      {100, 20, "openCaptureScreenMenuBtn"},
      {100, 20, "selectTagBtn"},         // the list covers the screen now
      {100, 600, "tagList"},             // picks "Home"
      {300, 85, "confirmScreenshotBtn"},
  };
  for (const Touch& t : touches) EXPECT_EQ(ui().touchOverlay(t.x, t.y), t.hit) << t.x << "," << t.y;
  EXPECT_EQ(control("customTagTextField").text, "Home");
  ASSERT_TRUE(waitFor([&] { return !control("captureScreenshotView").hidden; }));
  EXPECT_EQ(server.inspect("screenshots").asArray().size(), 1u);
  EXPECT_TRUE(app.platform.log->contains("Successfully uploaded screenshot for tag: Home!"));
  EXPECT_EQ(ui().touchOverlay(10, 80), "cancelScreenshotBtn");  // the form is back
  EXPECT_EQ(ui().touchOverlay(100, 20), std::nullopt) << "the strip stays untouchable after a list pick";

  engine->setScreenShotMenuVisible(false);
  ASSERT_TRUE(waitFor([&] { return !ui().overlay(); }));
  engine->addOverlay();
  ASSERT_TRUE(waitFor([&] { return ui().overlay().has_value(); }));
  ui().touchOverlay(100, 50);
  EXPECT_EQ(ui().focusedControl(), "issueTitleTextField");
  ui().touchOverlay(300, 85);  // "Create" with nothing typed
  EXPECT_EQ(control("issueTitleTextField").background, TLOverlay::kPaleRed);
  ui().typeIntoOverlay("issueTitleTextField", "Typo");
  ui().typeIntoOverlay("issueDescrpitionTextField", "on Home");
  ui().touchOverlay(300, 85);
  ASSERT_TRUE(waitFor([&] { return server.inspect("screenshots").asArray().size() == 2; }));
  EXPECT_EQ(server.inspect("issues").asArray().size(), 1u);
  EXPECT_FALSE(control("overlayView").hidden);
}

TEST_F(Overlay, UiTestVariantTakesPositionsFromThePasteboard) {
  start({"Fixture", "TolvanaUITestScreenshotEnabled"});
  ASSERT_TRUE(waitFor([&] { return ui().overlay() && control("selectTagBtn").enabled; }));
  EXPECT_FALSE(engine->setScreenShotMenuVisible(true));
  EXPECT_EQ(ui().touchOverlay(100, 20), std::nullopt) << "the strip starts hidden";
  EXPECT_EQ(ui().touchOverlay(385, 839), "toggleVisibleBtn");
  EXPECT_EQ(ui().touchOverlay(100, 20), "openCaptureScreenMenuBtn");
  ui().typeIntoOverlay("customTagTextField", "Settings");
  ui().setPasteboardString(R"(tolvana:{"title":"{{1, 2}, {30, 10}}"})");
  ui().touchOverlay(300, 85);
  EXPECT_EQ(ui().pasteboardString(), "");
  app.platform.clock->advance(std::chrono::milliseconds(99));
  app.platform.dispatch->drain();
  EXPECT_FALSE(app.platform.log->contains("json {")) << "not uploaded before a tenth of a second";
  app.platform.clock->advance(std::chrono::milliseconds(1));
  ASSERT_TRUE(waitFor([&] { return server.inspect("screenshots").asArray().size() == 1; }));
  auto shot = server.inspect("screenshots").asArray()[0];
  EXPECT_EQ(shot.find("tag")->asString(), "Settings");
  EXPECT_EQ(shot.find("positions")->asArray().size(), 1u);
}

}  // namespace
}  // namespace tolvana
