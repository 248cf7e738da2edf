#include <gtest/gtest.h>

#include <thread>

#include "core/TLInternal.h"
#include "hooks/BundleHook.h"
#include "hooks/KeyTags.h"
#include "hooks/LaunchHook.h"
#include "platform/fake/FaultInjectingHttp.h"
#include "tests/support/AppFixture.h"

namespace tolvana {
namespace {

using testing::AppFixture;

// The main bundle has a store; the frameworks Payments (listed) and Maps (not) have only
// their own tables.
struct HookApp {
  explicit HookApp(bool searchAll = false) {
    app.appLanguage("en", {{"hello", "Hello", ""},
                           {"items[one]", "%{count} item", ""},
                           {"items[other]", "%{count} items", ""}});
    app.bundle.info("TolvanaAdditionalFrameworks", "Payments.framework");
    if (searchAll) app.bundle.info("TolvanaSearchIDsInAllBundles", true);
    app.bundle.framework("Payments").strings("en", "Localizable", {{"pay", "Pay now"}});
    app.bundle.framework("Maps").strings("en", "Localizable", {{"map", "Map"}});
    app.platform.locale->setPreferredLanguages({"en"});
    app.install();
  }
  AppFixture app;
};

TEST(BundleHook, ContextsPickTheBundleAndMissesAreLeftToOtherSources) {
  struct Case {
    bool searchAll;
    const char* context;
    const char* key;
    std::optional<std::string> expected;
  };
  const Case cases[] = {
      {false, "MainWindow", "hello", "Hello"},
      {false, "MainWindow", "absent", std::nullopt},           // only the default would answer
      {false, "Payments::Checkout", "pay", "Pay now"},         // listed framework, its own table
      {false, "Maps::View", "map", std::nullopt},              // framework not served
      {false, "Unknown::View", "hello", "Hello"},              // no such framework: main bundle
      {true, "Maps::View", "map", "Map"},                      // every bundle served
  };
  for (const auto& c : cases) {
    HookApp fixture(c.searchAll);
    auto result = BundleHook::lookUp(c.key, c.key, c.context);
    EXPECT_EQ(result ? std::optional(result->text) : std::nullopt, c.expected) << c.context << " " << c.key;
  }
}

TEST(BundleHook, PluralFormsTakeTheQuantityAndTagTheVariantInDraftMode) {
  HookApp fixture;
  EXPECT_EQ(BundleHook::lookUpPlural("items", "%n item(s)", "W", 1)->text, "1 item");
  EXPECT_EQ(BundleHook::lookUpPlural("items", "%n item(s)", "W", 7)->text, "7 items");
  EXPECT_FALSE(BundleHook::lookUpPlural("nothing", "%n thing(s)", "W", 7));
  EXPECT_EQ(BundleHook::lookUpPlural("items", std::nullopt, "W", 7)->key, std::nullopt);
  TLInternal::sharedInstance()->setInDraftMode(true);
  EXPECT_EQ(BundleHook::lookUpPlural("items", std::nullopt, "W", 7)->key, "items[other]");
}

TEST(LaunchHook, GateOpensOnFirstCallOnlyAndWhereAutostartAllows) {
  struct Case {
    bool autostart, forTests, underTestRunner, expected;
  };
  for (auto c : {Case{true, true, false, true}, Case{false, true, false, false}, Case{true, false, true, false},
                 Case{true, true, true, true}, Case{true, false, false, true}}) {
    AppFixture app;
    app.bundle.info("TolvanaEnableAutostart", c.autostart).info("TolvanaEnableAutostartForTests", c.forTests);
    if (c.underTestRunner) {
      app.platform.device->setEnvironmentValue("XCTestConfigurationFilePath", "/t/a.xctestconfiguration");
    }
    app.install();
    LaunchHook::forgetForTesting();
    EXPECT_EQ(LaunchHook::once(), c.expected) << c.autostart << c.forTests << c.underTestRunner;
    EXPECT_FALSE(LaunchHook::once());
  }
}

TEST(LaunchHook, WaitsInStepsUntilTheFirstUpdateFailsOnlyWhenAskedTo) {
  struct Case {
    bool initialUpdate, waitOnStart;
    bool expectWaits;
  };
  for (auto c : {Case{false, true, false}, Case{true, false, false}, Case{true, true, true}}) {
    AppFixture app;
    app.bundle.info("TolvanaHost", "http://127.0.0.1:1").info("TolvanaInitialUpdate", c.initialUpdate);
    app.bundle.info("TolvanaWaitOnAppStart", c.waitOnStart);
    // A refusal from a closed port can come back before the hook first looks, which would let a
    // hook that never waits pass; the failure is held back so that waiting is the only way through.
    auto slowFailure = std::make_shared<FaultInjectingHttp>(nullptr, app.platform.dispatch);
    slowFailure->inject({FaultInjectingHttp::Fault::Kind::Delay, std::chrono::milliseconds(100)});
    app.platform.http = slowFailure;
    app.install();
    LaunchHook::forgetForTesting();
    int waits = 0;
    LaunchHook::launch([&] {
      ++waits;
      app.platform.dispatch->drain();
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    });
    EXPECT_EQ(waits > 0, c.expectWaits) << c.initialUpdate << c.waitOnStart;
    if (c.expectWaits) EXPECT_FALSE(TLInternal::sharedInstance()->isFetchingLocalisationTexts());
  }
}

// A request whose answer never comes holds the blocking update no longer than the request's
// own time-outs and a margin.
TEST(LaunchHook, AnUpdateThatNeverEndsStillEndsTheWait) {
  AppFixture app;
  app.bundle.info("TolvanaHost", "http://127.0.0.1:1").info("TolvanaTimeoutIntervalForResource", 0.5);
  auto silent = std::make_shared<FaultInjectingHttp>(nullptr, app.platform.dispatch);
  silent->inject({FaultInjectingHttp::Fault::Kind::Drop});
  app.platform.http = silent;
  app.install();
  int waits = 0;
  bool succeeded = true;
  EXPECT_NO_THROW(succeeded = LaunchHook::updateBlocking([&] {
    app.platform.dispatch->drain();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    if (++waits > 500) throw std::runtime_error("still waiting after 500 waits");
  }));
  EXPECT_FALSE(succeeded) << "an update given up is no success";
  EXPECT_EQ(silent->droppedCount(), 1u);
  EXPECT_TRUE(app.platform.log->contains("The update did not end"));
}

TEST(KeyTags, TagsHoldTheirTextAliveAndTheOldestGoBeyondTheLimit) {
  KeyTags tags;
  std::vector<std::weak_ptr<std::string>> texts;
  for (std::size_t i = 0; i <= KeyTags::kLimit; ++i) {
    auto text = std::make_shared<std::string>("text " + std::to_string(i));
    texts.push_back(text);
    tags.tag(text.get(), text, "key" + std::to_string(i));
  }
  EXPECT_TRUE(texts.front().expired());
  EXPECT_EQ(tags.keyFor(texts.back().lock().get()), "key" + std::to_string(KeyTags::kLimit));
  EXPECT_EQ(tags.size(), KeyTags::kLimit);
  auto again = texts.back().lock();
  tags.tag(again.get(), again, "retagged");
  EXPECT_EQ(tags.keyFor(again.get()), "retagged");
  EXPECT_EQ(tags.size(), KeyTags::kLimit);
}

}  // namespace
}  // namespace tolvana
