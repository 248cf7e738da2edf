#include "tolvana/Tolvana.h"

#include <gtest/gtest.h>

#include "core/TLInternal.h"
#include "tests/support/AppFixture.h"

namespace tolvana {
namespace {

using testing::AppFixture;

struct Provider : TolvanaScreenshotInterface {
  void getStringPositions(std::function<void(std::string)> completion) override { completion("{}"); }
};

// Implements the method but does not declare the interface.
struct LookAlike {
  virtual ~LookAlike() = default;
  void getStringPositions(std::function<void(std::string)>) {}
};

TEST(Tolvana, VersionNeedsNoEngine) { EXPECT_EQ(Tolvana::sdkVersion(), "2.0.149"); }

TEST(Tolvana, LookupsThroughTheFacade) {
  AppFixture app;
  app.platform.locale->setPreferredLanguages({"de"});
  app.appLanguage("de", {{"greet", "Hallo %{name}", ""}, {"apples[one]", "Ein Apfel", ""}, {"apples[other]", "%{n} Äpfel", ""}});
  app.install();
  EXPECT_EQ(Tolvana::localizedStringForKey("unknown.everywhere"), "unknown.everywhere");
  EXPECT_EQ(Tolvana::localizedStringForKey("unknown", "Default"), "Default");
  EXPECT_EQ(Tolvana::localizedStringForKey("greet", Tolvana::Arguments{{"name", "Ann"}}), "Hallo Ann");
  EXPECT_EQ(Tolvana::localizedStringForKey("apples", {{"n", "4"}}, Tolvana::pluralRuleForQuantity(4)), "4 Äpfel");
  EXPECT_EQ(Tolvana::localizedStringForKey("apples", {}, Tolvana::pluralRuleForQuantity(1)), "Ein Apfel");
  EXPECT_EQ(Tolvana::localizedStringsForLanguage("de").size(), 3u);
  EXPECT_TRUE(Tolvana::enabled());

  Tolvana::setShowIdModeEnabled(true);
  EXPECT_EQ(Tolvana::localizedStringForKey("greet"), "greet");
  Tolvana::setShowIdModeEnabled(false);

  Tolvana::setDraftModelEnabled(false);
  EXPECT_FALSE(draftModeEnabled);
  Tolvana::setDraftModeEnabled(true);
  EXPECT_TRUE(draftModeEnabled);
}

TEST(Tolvana, ScreenshotProviderMustConform) {
  AppFixture app;
  app.install();
  auto provider = std::make_shared<Provider>();
  Tolvana::setScreenshotInterface(provider);
  EXPECT_EQ(TLInternal::sharedInstance()->screenshotInterface(), provider);

  Tolvana::setScreenshotInterface(std::make_shared<LookAlike>());
  Tolvana::setScreenshotInterface(std::shared_ptr<Provider>());
  EXPECT_EQ(app.platform.log->count("The screenshotInterface needs to conform to the TolvanaScreenshotInterface protocol!"),
            2u);
  EXPECT_EQ(TLInternal::sharedInstance()->screenshotInterface(), provider);

  provider.reset();  // held weakly
  EXPECT_EQ(TLInternal::sharedInstance()->screenshotInterface(), nullptr);
}

}  // namespace
}  // namespace tolvana
