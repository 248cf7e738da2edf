#include <gtest/gtest.h>

#include "core/TLInternal.h"
#include "sync/TLDeviceUtil.h"
#include "tests/support/AppFixture.h"

namespace tolvana {
namespace {

using testing::AppFixture;

struct DeviceCase {
  const char* preferred;
  const char* osVersion;
  std::optional<std::string> region;
  const char* longForm;
  const char* shortForm;
  const char* locale;
};

class DeviceLanguages : public ::testing::TestWithParam<DeviceCase> {};

TEST_P(DeviceLanguages, ThreeForms) {
  testing::TestPlatform platform;
  platform.locale->setPreferredLanguages({GetParam().preferred});
  platform.locale->setCurrentRegion(GetParam().region);
  platform.device->setSystemVersion(GetParam().osVersion);
  platform.install();
  TLDeviceUtil::deviceLanguage(std::nullopt);
  TLDeviceUtil::deviceLanguageLong(std::nullopt);
  EXPECT_EQ(TLDeviceUtil::deviceLanguageLong(), GetParam().longForm);
  EXPECT_EQ(TLDeviceUtil::deviceLanguage(), GetParam().shortForm);
  EXPECT_EQ(TLDeviceUtil::deviceLocale(), GetParam().locale);
  // Cached: a changed preference is not seen until the caches are cleared.
  platform.locale->setPreferredLanguages({"ja"});
  EXPECT_EQ(TLDeviceUtil::deviceLanguageLong(), GetParam().longForm);
  EXPECT_EQ(TLDeviceUtil::deviceLocale(), "ja");
}

INSTANTIATE_TEST_SUITE_P(
    Cases, DeviceLanguages,
    ::testing::Values(DeviceCase{"zh-Hans-CN", "17.0", "CN", "zh-Hans", "zh", "zh-Hans-CN"},
                      DeviceCase{"zh-Hant-TW", "17.0", "TW", "zh-Hant", "zh", "zh-Hant-TW"},
                      DeviceCase{"sr-Latn-RS", "17.0", "RS", "sr-Latn", "sr", "sr-Latn-RS"},
                      DeviceCase{"sr-Cyrl-RS", "17.0", "RS", "sr-Cyrl-RS", "sr", "sr-Cyrl-RS"},
                      DeviceCase{"fil", "17.0", "PH", "fil", "tl", "tl"},
                      DeviceCase{"fil-PH", "17.0", "PH", "fil-PH", "tl", "fil-PH"},
                      DeviceCase{"fil", "8.4", "PH", "tl-PH", "tl", "tl"},
                      DeviceCase{"en", "8.4", "US", "en-US", "en", "en"},
                      DeviceCase{"en", "8.4", std::nullopt, "en", "en", "en"},
                      DeviceCase{"en", "9.0", "US", "en", "en", "en"}));

class LanguageSelection : public ::testing::Test {
 protected:
  void start(std::vector<std::string> preferred = {"de-AT"}) {
    app.platform.locale->setPreferredLanguages(std::move(preferred));
    for (const char* language : {"en", "de", "de-AT", "fr", "pt-BR", "zh-Hant"}) app.appLanguage(language, {{"k", "v", ""}});
    app.install();
    engine = TLInternal::sharedInstance();
  }
  AppFixture app;
  std::shared_ptr<TLInternal> engine;
};

TEST_F(LanguageSelection, DefaultLanguagesEndWithTheParentsOfRegionalOnes) {
  app.bundle.info("TolvanaUpdateLanguages", " fr, pt-BR,, fr");
  start();
  EXPECT_EQ(engine->defaultLanguages(), (std::vector<std::string>{"en", "de-AT", "fr", "pt-BR", "de", "pt"}));
}

TEST_F(LanguageSelection, DevelopmentLocalizationsThatAreNoCodesAreLeftOut) {
  for (const char* development : {"Base", "English"}) {
    AppFixture other;
    other.bundle.info("CFBundleDevelopmentRegion", development);
    other.platform.locale->setPreferredLanguages({"fr"});
    other.appFile["baseLanguage"] = "de";
    other.install();
    EXPECT_EQ(TLInternal::sharedInstance()->defaultLanguages(), (std::vector<std::string>{"de", "fr"})) << development;
  }
  AppFixture withCode;
  withCode.appFile["baseLanguage"] = "de";
  withCode.install();
  EXPECT_EQ(TLInternal::sharedInstance()->defaultLanguages(), (std::vector<std::string>{"de", "en", "en-US"}));
}

TEST_F(LanguageSelection, SetLanguageNormalisesAndPersists) {
  start();
  EXPECT_TRUE(engine->setLanguage("pt_br"));
  EXPECT_EQ(app.platform.defaults->objectForKey("AppleLanguages"), Value(Value::Array{"pt-BR"}));
  EXPECT_TRUE(engine->setLanguage("zh_hant_tw"));
  EXPECT_TRUE(engine->setLanguage("DE"));
  EXPECT_EQ(app.platform.defaults->objectForKey("AppleLanguages"), Value(Value::Array{"de", "zh-Hant", "pt-BR"}));

  int writes = app.platform.defaults->synchronizeCount();
  EXPECT_FALSE(engine->setLanguage("it"));
  EXPECT_FALSE(engine->setLanguage(""));
  EXPECT_FALSE(engine->setLanguage("  \n"));
  EXPECT_EQ(app.platform.defaults->synchronizeCount(), writes);

  EXPECT_TRUE(engine->setLanguage(std::nullopt));
  EXPECT_EQ(app.platform.defaults->objectForKey("AppleLanguages"), std::nullopt);
}

}  // namespace
}  // namespace tolvana
