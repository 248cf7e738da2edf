#include <gtest/gtest.h>

#include "tests/support/AppFixture.h"
#include "tests/support/EngineParts.h"

namespace tolvana {
namespace {

using testing::AppFixture;
using testing::EngineParts;
using testing::StringsEncoding;

Value pluralSpec(Value::Dictionary forms) {
  forms["NSStringFormatSpecTypeKey"] = "NSStringPluralRuleType";
  forms["NSStringFormatValueTypeKey"] = "d";
  return forms;
}

class StringTablesImportTest : public ::testing::Test {
 protected:
  void SetUp() override {
    app.platform.device->setBeingTraced(true);
    app.appLanguage("en", {{"known", "Known", ""}, {"known.empty", "", ""}});
    app.appLanguage("de", {{"known", "Bekannt", ""}});
    app.bundle.info("TolvanaAdditionalStringFiles", "Errors");
    app.bundle.strings("en", "Localizable", {{"known", "Known"}, {"new.key", "New"}, {"known.empty", "Now text"}});
    app.bundle.strings("de", "Localizable", {{"new.key", "Neu"}}, StringsEncoding::Utf16Le);
    app.bundle.strings("en", "InfoPlist", {{"CFBundleName", "App"}});
    app.bundle.strings("en", "Main", {{"btn.title", "Tap"}});
    app.bundle.resource("Main.storyboardc/Info.plist");
    app.bundle.strings("en", "Errors", {{"err.net", "No network"}}, StringsEncoding::BinaryPlist);
    app.bundle.strings("en", "Unlisted", {{"not.imported", "x"}});
    app.bundle.strings("Base", "Localizable", {{"from.base", "Base text"}});
    app.bundle.stringsdict(
        "en", "Localizable",
        {{"files", Value::Dictionary{{"NSStringLocalizedFormatKey", "%#@n@ in %d folders"},
                                     {"n", pluralSpec({{"one", "%d file"}, {"other", "%d files"}, {"many", 7}})}}},
         {"both", Value::Dictionary{{"NSStringLocalizedFormatKey", "%#@files@ and %#@folders@"},
                                    {"files", pluralSpec({{"one", "a file"}, {"other", "files"}})},
                                    {"folders", pluralSpec({{"other", "folders"}})}}}});
  }
  AppFixture app;
};

TEST_F(StringTablesImportTest, ReportsEveryKeyTheStoreLacks) {
  app.bundle.info("TolvanaLogLevel", "w");
  app.install();
  EngineParts parts;
  parts.import.fillMissingStringsFromLocalStrings();
  auto missing = parts.missing.missingEntries();
  EXPECT_EQ(missing["en"], (std::map<std::string, std::string>{
                               {"both[one]", "a file and %#@folders@"},
                               {"both[other]", "files and folders"},
                               {"btn.title", "Tap"},
                               {"err.net", "No network"},
                               {"files[one]", "%d file in %d folders"},
                               {"files[other]", "%d files in %d folders"},
                               {"from.base", "Base text"},  // Base goes to the development language
                               {"known.empty", "Now text"},
                               {"new.key", "New"},
                           }));
  EXPECT_EQ(missing["de"], (std::map<std::string, std::string>{{"new.key", "Neu"}}));
  EXPECT_EQ(app.platform.log->count("Warning: Tolvana currently only properly supports one native pluralisation "
                                    "parameter. ID: both contains: 2 wich will appear merged in the dashboard."),
            1u);
}

TEST_F(StringTablesImportTest, SearchAllTakesEveryTableButInfoPlist) {
  app.bundle.info("TolvanaSearchIDsInAllBundles", true);
  app.bundle.framework("Kit").info("CFBundleIdentifier", "io.kit").strings("en", "Kit", {{"kit.key", "Kit"}});
  app.install();
  EngineParts parts;
  parts.import.fillMissingStringsFromLocalStrings();
  auto missing = parts.missing.missingEntries()["en"];
  EXPECT_TRUE(missing.count("not.imported"));
  EXPECT_FALSE(missing.count("CFBundleName"));
  EXPECT_FALSE(missing.count("kit.key"));  // frameworks only when listed
}

TEST_F(StringTablesImportTest, ListedFrameworksAndBundlesWithoutLocalizations) {
  app.bundle.info("TolvanaAdditionalFrameworks", "Kit.framework");
  app.bundle.framework("Kit").info("CFBundleIdentifier", "io.kit").strings("", "Localizable", {{"kit.key", "Kit"}});
  app.install();
  EngineParts parts;
  parts.import.fillMissingStringsFromLocalStrings();
  // The framework has no language folders and no development language: the base language.
  EXPECT_EQ(parts.missing.missingEntries()["en"]["kit.key"], "Kit");
}

}  // namespace
}  // namespace tolvana
