// Work the engine started that is still running when the engine is let go: an upload that
// ends after a reset, and main-queue work during which another thread drops the engine. What
// goes wrong there is a use of freed memory, which the asan preset reports.
#include <gtest/gtest.h>

#include <filesystem>
#include <future>

#include "core/TLInternal.h"
#include "platform/posix/CurlHttp.h"
#include "platform/posix/ThreadDispatch.h"
#include "tests/support/AppFixture.h"
#include "tests/support/ServerFixture.h"
#include "tolvana/Tolvana.h"

namespace tolvana {
namespace {

using testing::AppFixture;
using testing::ServerFixture;

// The headless Ui, but the next alert or overlay it shows first runs a hook: the moment at
// which another thread lets the engine go.
class InterruptingUi final : public Ui {
 public:
  explicit InterruptingUi(std::shared_ptr<RecordingUi> inner) : inner_(std::move(inner)) {}
  std::function<void()> hook;

  void presentAlert(Alert alert) override {
    inner_->presentAlert(std::move(alert));
    fire();
  }
  void showOverlay(UiOverlay overlay) override {
    inner_->showOverlay(std::move(overlay));
    fire();
  }
  void installLookupHooks() override { inner_->installLookupHooks(); }
  void removeOverlay() override { inner_->removeOverlay(); }
  void focusOverlayControl(const std::string& control) override { inner_->focusOverlayControl(control); }
  void addLongPressGesture(std::function<void()> handler) override { inner_->addLongPressGesture(std::move(handler)); }
  void addSwipeGestures(std::function<void()> handler) override { inner_->addSwipeGestures(std::move(handler)); }
  std::optional<UiView> rootWindowView() override { return inner_->rootWindowView(); }
  UiScreen mainScreen() override { return inner_->mainScreen(); }
  std::string rootWindowPng() override { return inner_->rootWindowPng(); }
  std::optional<std::string> pasteboardString() override { return inner_->pasteboardString(); }
  void setPasteboardString(const std::string& text) override { inner_->setPasteboardString(text); }

 private:
  void fire() {
    if (auto run = std::exchange(hook, nullptr)) run();
  }
  std::shared_ptr<RecordingUi> inner_;
};

class Lifetimes : public ::testing::Test {
 protected:
  void SetUp() override {
    app.appLanguage("en", {{"title", "Welcome", ""}});
    app.bundle.info("TolvanaHost", server.baseUrl());
    app.platform.http = server.http(app.platform.dispatch);
    app.platform.defaults->setObject("TolvanaDraftMode", true);
    app.platform.ui->show(UiView{});
    app.install();
    testing::installPorts([this](Platform::Ports& ports) { ports.ui = ui; });
    engine = TLInternal::sharedInstance();
  }
  // What another thread does: it drops the last reference but the one the work holds.
  void letGo() {
    engine.reset();
    TLInternal::dropInstanceForTesting();
  }
  bool waitFor(const std::function<bool()>& done) { return app.platform.dispatch->runUntil(done); }

  ServerFixture server{{}};
  AppFixture app;
  std::shared_ptr<InterruptingUi> ui = std::make_shared<InterruptingUi>(app.platform.ui);
  std::shared_ptr<TLInternal> engine;
};

TEST_F(Lifetimes, AnUploadEndingAfterAResetLeavesTheFreedEngineAlone) {
  ASSERT_TRUE(engine->setScreenShotMenuVisible(true));
  ASSERT_TRUE(waitFor([&] { return app.platform.ui->overlay().has_value(); }));
  ASSERT_EQ(app.platform.ui->touchOverlay(100, 20), "openCaptureScreenMenuBtn");
  app.platform.ui->typeIntoOverlay("customTagTextField", "Home");
  server.injectFault({{"delayMs", 300}});
  ASSERT_EQ(app.platform.ui->touchOverlay(300, 85), "confirmScreenshotBtn");
  engine.reset();
  Tolvana::reset();
  EXPECT_TRUE(waitFor([&] { return app.platform.log->contains("Successfully uploaded screenshot for tag: Home!"); }));
}

TEST_F(Lifetimes, MainQueueWorkHoldsTheEngineAnotherThreadLetsGo) {
  // The overlay's creation draws it, and then asks for the screen tags.
  ui->hook = [this] { letGo(); };
  engine->addOverlay();
  app.platform.dispatch->drain();
  ASSERT_TRUE(app.platform.ui->overlay().has_value());

  // The key dialog's "OK" with a wrong key shows the dialog again, and then resets its state.
  engine = TLInternal::sharedInstance();
  engine->showDraftModeDialog();
  ui->hook = [this] { letGo(); };
  ASSERT_TRUE(app.platform.ui->tap(0, 0, {"wrong"}));
  EXPECT_EQ(app.platform.ui->alerts().size(), 2u);
}

// A host or a test run that installs platform after platform: each replaced one goes, and
// the threads its dispatch started go with it.
TEST(PlatformLifetime, AReplacedPlatformGoesWithItsThreads) {
  auto threads = [] {
    auto tasks = std::filesystem::directory_iterator("/proc/self/task");
    return std::distance(begin(tasks), end(tasks));
  };
  testing::TestPlatform quiet;  // threads of its own only when asked to run a request
  quiet.install();
  const auto before = threads();
  std::weak_ptr<Dispatch> first;
  for (int i = 0; i < 10; ++i) {
    testing::installPorts([&first](Platform::Ports& ports) {
      ports.dispatch = makeThreadDispatch();
      ports.http = makeCurlHttp(ports.dispatch);
      if (!first.lock()) first = ports.dispatch;
    });
    std::promise<void> ran;
    Platform::Current().dispatch().mainAsync([&ran] { ran.set_value(); });
    ran.get_future().wait();
  }
  quiet.install();
  EXPECT_TRUE(first.expired());
  EXPECT_LE(threads(), before + 1);
}

}  // namespace
}  // namespace tolvana
