#include <gtest/gtest.h>

#include <future>
#include <latch>
#include <thread>

#include "config/TLDeviceUtil.h"
#include "platform/posix/IcuLocale.h"
#include "tests/support/AppFixture.h"
#include "tests/support/EngineParts.h"

namespace tolvana {
namespace {

using testing::AppFixture;
using testing::EngineParts;

TEST(DeviceLanguages, LongShortAndLocaleForms) {
  const struct {
    const char *preferred, *osVersion;
    std::optional<std::string> region;
    const char *longForm, *shortForm, *locale;
  } cases[] = {
      {"zh-Hans-CN", "17.0", "CN", "zh-Hans", "zh", "zh-Hans-CN"},
      {"zh-Hant-TW", "17.0", "TW", "zh-Hant", "zh", "zh-Hant-TW"},
      {"sr-Latn-RS", "17.0", "RS", "sr-Latn", "sr", "sr-Latn-RS"},
      {"sr-Cyrl-RS", "17.0", "RS", "sr-Cyrl-RS", "sr", "sr-Cyrl-RS"},
      {"fil", "17.0", "PH", "fil", "tl", "tl"},
      {"fil-PH", "17.0", "PH", "fil-PH", "tl", "fil-PH"},
      {"fil", "8.4", "PH", "tl-PH", "tl", "tl"},
      {"en", "8.4", "US", "en-US", "en", "en"},
      {"en", "8.4", std::nullopt, "en", "en", "en"},
      {"en", "9.0", "US", "en", "en", "en"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.preferred) + " on " + c.osVersion);
    testing::TestPlatform platform;
    platform.locale->setPreferredLanguages({c.preferred});
    platform.locale->setCurrentRegion(c.region);
    platform.device->setSystemVersion(c.osVersion);
    platform.install();
    TLDeviceUtil::forgetDeviceLanguages();
    EXPECT_EQ(TLDeviceUtil::deviceLanguageLong(), c.longForm);
    EXPECT_EQ(TLDeviceUtil::deviceLanguage(), c.shortForm);
    EXPECT_EQ(TLDeviceUtil::deviceLocale(), c.locale);
    // Cached: a changed preference is not seen until the caches are cleared.
    platform.locale->setPreferredLanguages({"ja"});
    EXPECT_EQ(TLDeviceUtil::deviceLanguageLong(), c.longForm);
    EXPECT_EQ(TLDeviceUtil::deviceLocale(), "ja");
  }
}

class LanguageSelectionTest : public ::testing::Test {
 protected:
  void start(std::vector<std::string> preferred = {"de-AT"}) {
    app.platform.locale->setPreferredLanguages(std::move(preferred));
    for (const char* language : {"en", "de", "de-AT", "fr", "pt-BR", "zh-Hant"}) app.appLanguage(language, {{"k", "v", ""}});
    app.install();
    parts = std::make_unique<EngineParts>();
  }
  AppFixture app;
  std::unique_ptr<EngineParts> parts;
};

TEST_F(LanguageSelectionTest, DefaultLanguagesEndWithTheParentsOfRegionalOnes) {
  app.bundle.info("TolvanaUpdateLanguages", " fr, pt-BR,, fr");
  start();
  EXPECT_EQ(parts->languages.defaultLanguages(), (std::vector<std::string>{"en", "de-AT", "fr", "pt-BR", "de", "pt"}));
}

TEST_F(LanguageSelectionTest, DevelopmentLocalizationsThatAreNoCodesAreLeftOut) {
  for (const char* development : {"Base", "English"}) {
    AppFixture other;
    other.bundle.info("CFBundleDevelopmentRegion", development);
    other.platform.locale->setPreferredLanguages({"fr"});
    other.appFile["baseLanguage"] = "de";
    other.install();
    EXPECT_EQ(EngineParts().languages.defaultLanguages(), (std::vector<std::string>{"de", "fr"})) << development;
  }
  AppFixture withCode;
  withCode.appFile["baseLanguage"] = "de";
  withCode.install();
  EXPECT_EQ(EngineParts().languages.defaultLanguages(), (std::vector<std::string>{"de", "en", "en-US"}));
}

TEST_F(LanguageSelectionTest, SetLanguageNormalisesAndPersists) {
  start();
  EXPECT_TRUE(parts->languages.setLanguage("pt_br"));
  EXPECT_EQ(app.platform.defaults->objectForKey("AppleLanguages"), Value(Value::Array{"pt-BR"}));
  EXPECT_TRUE(parts->languages.setLanguage("zh_hant_tw"));
  EXPECT_TRUE(parts->languages.setLanguage("DE"));
  EXPECT_EQ(app.platform.defaults->objectForKey("AppleLanguages"), Value(Value::Array{"de", "zh-Hant", "pt-BR"}));

  int writes = app.platform.defaults->synchronizeCount();
  EXPECT_FALSE(parts->languages.setLanguage("it"));
  EXPECT_FALSE(parts->languages.setLanguage(""));
  EXPECT_FALSE(parts->languages.setLanguage("  \n"));
  EXPECT_EQ(app.platform.defaults->synchronizeCount(), writes);

  EXPECT_TRUE(parts->languages.setLanguage(std::nullopt));
  EXPECT_EQ(app.platform.defaults->objectForKey("AppleLanguages"), std::nullopt);
}

// Follows the app language; every thread but the test's is held after reading it.
struct HoldingLocale final : Locale {
  std::shared_ptr<Locale> inner;
  std::thread::id free = std::this_thread::get_id();
  mutable std::latch read{2};
  std::promise<void> release;
  std::shared_future<void> released = release.get_future().share();

  std::vector<std::string> preferredLanguages() const override {
    auto languages = inner->preferredLanguages();
    if (std::this_thread::get_id() != free) {
      read.count_down();
      released.wait();
    }
    return languages;
  }
  std::optional<std::string> currentRegion() const override { return inner->currentRegion(); }
  LocaleComponents componentsFromLocaleIdentifier(std::string_view id) const override {
    return inner->componentsFromLocaleIdentifier(id);
  }
};

// Look-ups that read the device language before setLanguage must not put it back into the
// caches after the switch: once setLanguage returns, the new language holds, in both forms.
TEST_F(LanguageSelectionTest, LookupsRacingSetLanguageCannotBringTheOldLanguageBack) {
  start();
  auto locale = std::make_shared<HoldingLocale>();
  locale->inner = makeIcuLocale(app.platform.defaults, [](std::string_view) { return std::nullopt; });
  testing::installPorts([&](Platform::Ports& ports) { ports.locale = locale; });
  ASSERT_TRUE(parts->languages.setLanguage("fr"));
  TLDeviceUtil::forgetDeviceLanguages();

  std::thread longForm([] { TLDeviceUtil::deviceLanguageLong(); }), shortForm([] { TLDeviceUtil::deviceLanguage(); });
  locale->read.wait();
  EXPECT_TRUE(parts->languages.setLanguage("de"));
  locale->release.set_value();
  longForm.join();
  shortForm.join();
  EXPECT_EQ(TLDeviceUtil::deviceLanguageLong(), "de");
  EXPECT_EQ(TLDeviceUtil::deviceLanguage(), "de");
}

}  // namespace
}  // namespace tolvana
