// The ports over Foundation as the engine sees them, in the running app: its bundle, its
// standard user defaults, the preferred languages, and the main queue moving onto the main
// thread's run loop.
#import "ObjCTestSupport.h"

#include <mutex>
#include <thread>
#include <vector>

#include "tolvana/platform/Platform.h"

namespace {

tolvana::Platform& platform() { return tolvana::Platform::Current(); }

TEST(Ports, TheBundleIsFoundationsMainBundle) {
  auto main = platform().bundles().mainBundle();
  EXPECT_EQ(main->bundlePath(), str([[NSBundle mainBundle] bundlePath]));
  EXPECT_EQ(main->bundleIdentifier(), "org.example.tolvana-demo");
  EXPECT_EQ(main->developmentLocalization(), "en");
  EXPECT_EQ(main->localizations(), (std::vector<std::string>{"de", "en"}));
  EXPECT_EQ(main->objectForInfoDictionaryKey("TolvanaUpdateGroups"), tolvana::Value("main,onboarding"));
  EXPECT_EQ(main->objectForInfoDictionaryKey("TolvanaTranslateWebViews"), tolvana::Value(true));
  EXPECT_EQ(main->pathForResource("tolvana_settings", "tolvana"), main->bundlePath() + "/tolvana_settings.tolvana");
  EXPECT_EQ(main->pathsForResourcesOfType("strings", "", "de"),
            (std::vector<std::string>{main->bundlePath() + "/de.lproj/Localizable.strings"}));
  EXPECT_EQ(main->localizedStringForKey("settings.title", std::nullopt, std::nullopt), "Einstellungen");
}

TEST(Ports, UserDefaultsKeepKindsAndLanguagesFollowTheAppsChoice) {
  auto& defaults = platform().userDefaults();
  const tolvana::Value values[] = {tolvana::Value(true), tolvana::Value(1), tolvana::Value(2.5), tolvana::Value("text"),
                                   tolvana::Value(tolvana::Value::Array{"a", 1})};
  for (const auto& value : values) {
    defaults.setObject("PortsTestValue", value);
    EXPECT_EQ(defaults.objectForKey("PortsTestValue"), value) << value.description();
  }
  defaults.removeObject("PortsTestValue");
  EXPECT_EQ(defaults.objectForKey("PortsTestValue"), std::nullopt);

  EXPECT_EQ(platform().locale().preferredLanguages().front(), "de");
  defaults.setObject("AppleLanguages", tolvana::Value::Array{"fr_CA"});
  EXPECT_EQ(platform().locale().preferredLanguages(), std::vector<std::string>{"fr-CA"});
  defaults.removeObject("AppleLanguages");
  auto parts = platform().locale().componentsFromLocaleIdentifier("zh-Hans-CN");
  EXPECT_EQ(parts.language + "/" + parts.script + "/" + parts.region, "zh/Hans/CN");
}

// In a process of its own: nothing may turn the run loop before.
TEST(MainQueue, MovesOntoTheRunLoopInOrderOnceItTurns) {
  auto& dispatch = platform().dispatch();
  std::mutex mutex;
  std::vector<int> order;
  int onMainThread = 0, onQueue = 0;
  auto queue = [&](int from, int to) {
    // From a thread Foundation does not know, as the engine's own threads are.
    std::thread([&] {
      for (int n = from; n < to; ++n) {
        dispatch.mainAsync([&, n] {
          std::lock_guard lock(mutex);
          order.push_back(n);
          onMainThread += [NSThread isMainThread] ? 1 : 0;
          onQueue += dispatch.isMainThread() ? 1 : 0;
        });
      }
    }).join();
  };
  auto ran = [&](std::size_t count) {
    std::lock_guard lock(mutex);
    return order.size() == count;
  };
  queue(0, 50);
  for (int i = 0; i < 300 && !ran(50); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_TRUE(ran(50)) << "a tool that never runs its run loop still gets its main queue";
  EXPECT_EQ(onMainThread, 0);
  EXPECT_FALSE(dispatch.isMainThread());
  EXPECT_TRUE(spinUntil([&] { return dispatch.isMainThread(); }));
  queue(50, 100);
  EXPECT_TRUE(spinUntil([&] { return ran(100); }));
  std::vector<int> expected(100);
  for (int n = 0; n < 100; ++n) expected[n] = n;
  EXPECT_EQ(order, expected);
  EXPECT_EQ(onMainThread, 50);
  EXPECT_EQ(onQueue, 100);
}

}  // namespace
