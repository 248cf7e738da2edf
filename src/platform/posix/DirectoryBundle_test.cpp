#include "platform/posix/DirectoryBundle.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <thread>

#include "tests/support/FixtureBundle.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestPlatform.h"

namespace tolvana {
namespace {

using testing::FixtureBundle;
using testing::StringsEncoding;
using testing::TempDir;
using testing::TestPlatform;

// Each Bundle implementation that can stand on a bundle directory adds a factory here.
struct DirectoryBundleFactory {
  static std::shared_ptr<Bundles> make(const std::string& path, PreferredLanguagesFn preferred) {
    return makeDirectoryBundles(path, std::move(preferred));
  }
};

template <typename Factory>
class BundleContract : public ::testing::Test {
 protected:
  BundleContract() { platform.install(); }

  // Writes the fixture and loads it, with the preferred languages of the moment.
  std::shared_ptr<Bundles> load() {
    app.write();
    return Factory::make(app.path(), [this] { return preferred; });
  }

  TestPlatform platform;
  TempDir dir;
  FixtureBundle app{dir.file("Demo.app")};
  std::vector<std::string> preferred{"en"};
};

using Implementations = ::testing::Types<DirectoryBundleFactory>;
TYPED_TEST_SUITE(BundleContract, Implementations);

TYPED_TEST(BundleContract, ReadsInfoPlistInBothFormats) {
  for (auto format : {plist::Format::Xml, plist::Format::Binary}) {
    this->app.infoFormat(format)
        .info("CFBundleIdentifier", "com.example.app")
        .info("CFBundleExecutable", "Demo")
        .info("CFBundleDevelopmentRegion", "en");
    auto main = this->load()->mainBundle();
    EXPECT_EQ(main->bundlePath(), this->app.path());
    EXPECT_EQ(main->bundleIdentifier(), "com.example.app");
    EXPECT_EQ(main->executablePath(), this->app.path() + "/Demo");
    EXPECT_EQ(main->developmentLocalization(), "en");
    EXPECT_EQ(main->objectForInfoDictionaryKey("CFBundleExecutable"), Value("Demo"));
    EXPECT_EQ(main->objectForInfoDictionaryKey("Absent"), std::nullopt);
  }
}

TYPED_TEST(BundleContract, MissingInfoIsSilentAndMalformedInfoIsReportedOnce) {
  auto plain = TypeParam::make(this->dir.file("Nowhere.app"), {})->mainBundle();
  EXPECT_EQ(plain->bundleIdentifier(), std::nullopt);
  EXPECT_TRUE(plain->localizations().empty());
  EXPECT_TRUE(this->platform.log->lines().empty());

  this->app.rawInfo("<plist><dict><key>CFBundleIdentifier</key>");
  auto broken = this->load()->mainBundle();
  EXPECT_EQ(broken->bundleIdentifier(), std::nullopt);
  auto lines = this->platform.log->lines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_NE(lines[0].find(this->app.path() + "/Info.plist"), std::string::npos) << lines[0];
  EXPECT_EQ(lines[0].rfind("E/", 0), 0u) << lines[0];
}

TYPED_TEST(BundleContract, FindsResourcesAtTheTopThenInPreferredLanguageFolders) {
  this->app.info("CFBundleDevelopmentRegion", "en")
      .resource("Main.storyboardc/Info.plist")
      .resource("logo.png")
      .resource("de.lproj/logo.png")
      .resource("de.lproj/flag.png")
      .resource("fr.lproj/flag.png")
      .resource("en.lproj/only-en.txt")
      .resource("Sounds/de.lproj/bell.wav")
      .resource("fr.lproj/Sounds/bell.wav");
  this->preferred = {"fr-CA", "de"};
  auto main = this->load()->mainBundle();
  const std::string root = this->app.path() + "/";
  EXPECT_EQ(main->pathForResource("Main", "storyboardc"), root + "Main.storyboardc");
  EXPECT_EQ(main->pathForResource("logo", "png"), root + "logo.png");
  EXPECT_EQ(main->pathForResource("flag", "png"), root + "fr.lproj/flag.png");
  EXPECT_EQ(main->pathForResource("flag.png", ""), root + "fr.lproj/flag.png");
  EXPECT_EQ(main->pathForResource("only-en", "txt"), root + "en.lproj/only-en.txt");  // development region
  EXPECT_EQ(main->pathForResource("bell", "wav", "Sounds"), root + "fr.lproj/Sounds/bell.wav");
  this->preferred = {"de"};
  EXPECT_EQ(main->pathForResource("bell", "wav", "/Sounds/"), root + "Sounds/de.lproj/bell.wav");
  EXPECT_EQ(main->pathForResource("missing", "png"), std::nullopt);
  EXPECT_EQ(main->localizations(), (std::vector<std::string>{"de", "en", "fr"}));
}

TYPED_TEST(BundleContract, ListsTablesOfALocalizationWithTheUnlocalizedOnes) {
  this->app.strings("de", "Localizable", {}).strings("de", "Errors", {}).strings("Base", "Main", {});
  this->app.strings("", "Top", {}).resource("de.lproj/readme.txt");
  auto main = this->load()->mainBundle();
  const std::string root = this->app.path() + "/";
  EXPECT_EQ(main->pathsForResourcesOfType("strings", "", "de"),
            (std::vector<std::string>{root + "Top.strings", root + "de.lproj/Errors.strings",
                                      root + "de.lproj/Localizable.strings"}));
  EXPECT_EQ(main->pathsForResourcesOfType("strings", "", ""), (std::vector<std::string>{root + "Top.strings"}));
}

TYPED_TEST(BundleContract, LooksUpStringsInPreferredOrderThenFallsBack) {
  this->app.info("CFBundleDevelopmentRegion", "en")
      .strings("de", "Localizable", {{"hello", "Hallo"}, {"bye", "Tschüss"}}, StringsEncoding::Utf16Le)
      .strings("fr", "Localizable", {{"hello", "Bonjour"}}, StringsEncoding::Utf16Be)
      .strings("en", "Localizable", {{"hello", "Hello"}, {"bye", "Bye"}, {"en-only", "E"}})
      .strings("Base", "Localizable", {{"base-only", "B"}}, StringsEncoding::BinaryPlist)
      .strings("de", "Errors", {{"oops", "Hoppla"}}, StringsEncoding::XmlPlist);
  auto main = this->load()->mainBundle();
  const struct {
    std::vector<std::string> preferred;
    const char* key;
    std::optional<std::string_view> value;
    std::optional<std::string_view> table;
    const char* expected;
  } cases[] = {
      {{"de"}, "hello", {}, {}, "Hallo"},
      {{"de-CH"}, "hello", {}, {}, "Hallo"},               // language without region
      {{"fr", "de"}, "hello", {}, {}, "Bonjour"},
      {{"fr", "de"}, "bye", {}, {}, "Tschüss"},             // fr lacks it: next preferred table
      {{"it"}, "hello", {}, {}, "Hello"},                   // development localization
      {{"de"}, "base-only", {}, {}, "B"},
      {{"de"}, "oops", {}, "Errors", "Hoppla"},
      {{"de"}, "oops", {}, "", "oops"},                     // empty table means Localizable
      {{"de"}, "absent", "Default", {}, "Default"},
      {{"de"}, "absent", "", {}, "absent"},
      {{"de"}, "absent", {}, "NoSuchTable", "absent"},
  };
  for (const auto& c : cases) {
    this->preferred = c.preferred;
    EXPECT_EQ(main->localizedStringForKey(c.key, c.value, c.table), c.expected) << c.preferred[0] << " " << c.key;
  }
}

TYPED_TEST(BundleContract, BrokenTableReadsEmptyAndIsReportedOnceUnderConcurrentLookUps) {
  this->app.strings("en", "Localizable", {{"hello", "Hello"}}).resource("de.lproj/Localizable.strings", "\"a\" = ");
  this->preferred = {"de", "en"};
  auto main = this->load()->mainBundle();
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 200; ++i) EXPECT_EQ(main->localizedStringForKey("hello", {}, {}), "Hello");
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(this->platform.log->count("de.lproj/Localizable.strings"), 1u);
  EXPECT_EQ(this->platform.log->lines().size(), 1u);
}

TYPED_TEST(BundleContract, FindsFrameworksAndPlugInsByIdentifier) {
  this->app.info("CFBundleIdentifier", "com.example.app");
  this->app.framework("Zeta").info("CFBundleIdentifier", "com.example.zeta");
  this->app.framework("Alpha").info("CFBundleIdentifier", "com.example.alpha");
  this->app.plugIn("Share.appex").info("CFBundleIdentifier", "com.example.share");
  this->app.resource("Frameworks/NotABundle.txt");
  auto bundles = this->load();
  auto frameworks = bundles->allFrameworks();
  ASSERT_EQ(frameworks.size(), 2u);
  EXPECT_EQ(frameworks[0]->bundlePath(), this->app.path() + "/Frameworks/Alpha.framework");
  EXPECT_EQ(frameworks[1]->bundleIdentifier(), "com.example.zeta");
  auto all = bundles->allBundles();
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(all[0], bundles->mainBundle());
  EXPECT_EQ(all[1]->bundleIdentifier(), "com.example.share");
  EXPECT_EQ(bundles->bundleWithIdentifier("com.example.app"), bundles->mainBundle());
  EXPECT_EQ(bundles->bundleWithIdentifier("com.example.alpha"), bundles->allFrameworks()[0]);
  EXPECT_EQ(bundles->bundleWithIdentifier("com.example.share"), all[1]);
  EXPECT_EQ(bundles->bundleWithIdentifier("com.example.none"), nullptr);
}

TEST(DirectoryBundle, MainBundlePathComesFromTheEnvironmentElseTheExecutable) {
  ::setenv("TOLVANA_MAIN_BUNDLE", "/opt/Demo.app", 1);
  EXPECT_EQ(defaultMainBundlePath(), "/opt/Demo.app");
  ::setenv("TOLVANA_MAIN_BUNDLE", "", 1);
  std::string fromExecutable = defaultMainBundlePath();
  ::unsetenv("TOLVANA_MAIN_BUNDLE");
  EXPECT_EQ(fromExecutable, std::filesystem::read_symlink("/proc/self/exe").parent_path().string());
}

}  // namespace
}  // namespace tolvana
