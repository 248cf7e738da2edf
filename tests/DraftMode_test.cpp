#include "review/DraftMode.h"

#include <gtest/gtest.h>

#include "core/TLInternal.h"
#include "tests/support/AppFixture.h"
#include "tolvana/Hooks.h"

namespace tolvana {
namespace {

using testing::AppFixture;

struct Dialog {
  std::string title, message;
};

// A tester's session with the key dialog: each entry is typed and confirmed with "OK", or,
// when it is nullopt, the dialog is aborted.
struct KeyCase {
  const char* name;
  std::string secret;
  bool startInDraftMode;
  std::vector<std::optional<std::string>> entries;
  std::vector<std::string> messages;  // of every dialog shown, in order
  bool switched;
};

TEST(DraftMode, KeyDialogFlows) {
  const std::string ask = DraftMode::kAskMessage, failed = DraftMode::kFailedMessage;
  const KeyCase cases[] = {
      {"right key", "s3cr3t-key", false, {"s3cr"}, {ask}, true},
      {"wrong key twice", "s3cr3t-key", false, {"", "s3cr3t-key", std::nullopt}, {ask, failed, failed}, false},
      {"abort", "s3cr3t-key", false, {std::nullopt}, {ask}, false},
      {"no secret", "", false, {"s3cr", std::nullopt}, {ask, failed}, false},
      {"short secret", "abc", false, {"abc", std::nullopt}, {ask, failed}, false},
      {"case matters", "s3cr3t-key", false, {"S3CR", std::nullopt}, {ask, failed}, false},
      {"leaving", "s3cr3t-key", true, {"s3cr"}, {ask}, true},
  };
  for (const KeyCase& c : cases) {
    SCOPED_TRACE(c.name);
    AppFixture app;
    app.appFile["apiSecret"] = c.secret;
    app.platform.defaults->setObject("TolvanaDraftMode", c.startInDraftMode);
    app.install();
    auto engine = TLInternal::sharedInstance();
    if (c.startInDraftMode) engine->setScreenShotMenuVisible(true);
    app.platform.dispatch->drain();
    const std::uint64_t answers = TolvanaHooks::answersGeneration();

    engine->showDraftModeDialog();
    engine->showDraftModeDialog();  // a press held on asks again
    for (std::size_t i = 0; i < c.entries.size(); ++i) {
      if (c.entries[i]) {
        ASSERT_TRUE(app.platform.ui->tap(i, 0, {*c.entries[i]}));
      } else {
        ASSERT_TRUE(app.platform.ui->tap(i, 1));
      }
    }
    auto alerts = app.platform.ui->alerts();
    std::vector<std::string> messages;
    for (const auto& alert : alerts) {
      messages.push_back(alert.message);
      EXPECT_EQ(alert.title, c.startInDraftMode ? "Disable Tolvana Draft Mode" : "Enable Tolvana Draft Mode");
    }
    EXPECT_EQ(messages, c.messages);
    bool nowInDraftMode = c.startInDraftMode != c.switched;
    EXPECT_EQ(engine->isInDraftMode(), nowInDraftMode);
    EXPECT_EQ(TLInternal::readDraftMode(*app.platform.defaults), nowInDraftMode);
    // Answers an adapter kept must go with the mode they were given in.
    EXPECT_EQ(TolvanaHooks::answersGeneration() != answers, c.switched);

    app.platform.clock->advance(std::chrono::milliseconds(999));
    app.platform.dispatch->drain();
    EXPECT_EQ(app.platform.device->exitStatus(), std::nullopt) << "not before a second has passed";
    app.platform.clock->advance(std::chrono::milliseconds(1));
    app.platform.dispatch->drain();
    EXPECT_EQ(app.platform.device->exitStatus(), c.switched ? std::optional<int>(0) : std::nullopt);
    EXPECT_EQ(engine->overlayActive(), c.startInDraftMode && !c.switched);
  }
}

TEST(DraftMode, GesturesOpenTheDialogOnlyWhenAllowedAndToggleTheOverlay) {
  AppFixture app;
  app.platform.defaults->setObject("TolvanaDraftMode", true);
  app.install();
  auto engine = TLInternal::sharedInstance();
  engine->registerTestModeGesture();
  engine->registerDraftMenuGesture();
  app.platform.dispatch->drain();

  engine->setDraftModeEnabled(false);
  ASSERT_TRUE(app.platform.ui->longPress());
  EXPECT_TRUE(app.platform.ui->alerts().empty());
  engine->setDraftModeEnabled(true);
  ASSERT_TRUE(app.platform.ui->longPress());
  ASSERT_TRUE(app.platform.ui->longPress());
  EXPECT_EQ(app.platform.ui->alerts().size(), 1u);

  ASSERT_TRUE(app.platform.ui->swipe());
  app.platform.dispatch->drain();
  EXPECT_TRUE(engine->overlayActive());
  ASSERT_TRUE(app.platform.ui->swipe());
  app.platform.dispatch->drain();
  EXPECT_FALSE(engine->overlayActive());
  EXPECT_EQ(app.platform.ui->calls().back(), "removeOverlay");
}

}  // namespace
}  // namespace tolvana
