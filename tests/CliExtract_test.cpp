// tolvana extract over sample sources in each language it reads: which look-ups it finds,
// how it decodes and joins literals, and what it leaves out.
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/support/Subprocess.h"
#include "tests/support/TempDir.h"

namespace tolvana {
namespace {

using namespace testing;

struct Case {
  const char* file;
  const char* source;
  nlohmann::json entries;  // key → text, as extracted
};

// Raw strings keep the samples as a developer types them, escapes and all.
const std::vector<Case> kCases = {
    {"facade.cpp", R"cpp(
       auto a = Tolvana::localizedStringForKey("welcome.title", "Welcome");
       auto b = Tolvana::localizedStringForKey("bare.key");
       // Tolvana::localizedStringForKey("commented.out", "No");
       /* Tolvana::localizedStringForKey("block.comment", "No"); */
       auto c = Tolvana::localizedStringForKey("esc", "Tab\there \"q\" \u00e9\x41\101\
 continued");
       auto d = Tolvana::localizedStringForKey(R"(raw.key)", R"x(a "raw" (text))x");
       auto e = Tolvana::localizedStringForKey("joined", "one " u8"two "
                                               "three");)cpp",
     {{"welcome.title", "Welcome"}, {"bare.key", ""}, {"esc", "Tab\there \"q\" \xC3\xA9" "AA continued"},
      {"raw.key", "a \"raw\" (text)"}, {"joined", "one two three"}}},
    {"plural.cpp", R"cpp(
       auto a = Tolvana::localizedStringForKey("cart", "%{n} items", Tolvana::Arguments{{"n", "3"}}, rule);
       auto b = Tolvana::localizedStringForKey("files", Tolvana::Arguments{{"n", "3"}}, rule);
       auto c = Tolvana::localizedStringForKey("greeting", "Hi %{name}", Tolvana::Arguments{{"name", n}});)cpp",
     {{"cart[one]", "%{n} items"}, {"cart[other]", "%{n} items"}, {"files[one]", ""}, {"files[other]", ""},
      {"greeting", "Hi %{name}"}}},
    {"c_api.c", R"c(
       char* a = tolvana_localized_string("c.key");
       char* b = tolvana_localized_string_with_default("c.default", "Default");
       char* c = tolvana_localized_string_with_plural_rule("c.plural", "%{n} files", names, values, 1, rule);
       char ch = '"'; char* d = tolvana_localized_string_with_arguments("c.args", "A \"%{x}\"", n, v, 1);)c",
     {{"c.key", ""}, {"c.default", "Default"}, {"c.plural[one]", "%{n} files"}, {"c.plural[other]", "%{n} files"},
      {"c.args", "A \"%{x}\""}}},
    {"widget.cpp", R"cpp(
       setWindowTitle(tr("Settings"));
       label->setText(tr("%n file(s)", "count", n));
       static const char* items[] = {QT_TR_NOOP("Open"), QT_TRANSLATE_NOOP("Menu", "Quit")};
       QString t = QCoreApplication::translate("Dialog", "Cancel");
       QString id = qtTrId("some.id");)cpp",
     {{"Settings", "Settings"}, {"%n file(s)[one]", "%n file(s)"}, {"%n file(s)[other]", "%n file(s)"},
      {"Open", "Open"}, {"Quit", "Quit"}, {"Cancel", "Cancel"}, {"some.id", ""}}},
    {"Main.qml", R"qml(
       Text { text: qsTr("Hello, " + 'world') }
       Text { text: qsTr("It's \u{1F600} \u00e9") }  // qsTr("commented")
       Text { text: qsTranslate("Page", "Back"); other: `qsTr("template")` }
       Text { text: qsTr("%n apple(s)", "", count) })qml",
     {{"Hello, world", "Hello, world"}, {"It's \xF0\x9F\x98\x80 \xC3\xA9", "It's \xF0\x9F\x98\x80 \xC3\xA9"},
      {"Back", "Back"}, {"%n apple(s)[one]", "%n apple(s)"}, {"%n apple(s)[other]", "%n apple(s)"}}},
    {"View.m", R"objc(
       NSString *a = NSLocalizedString(@"settings.title", @"The title of the settings");
       NSString *b = [Tolvana localizedStringForKey:@"objc.key" withDefaultValue:@"ObjC " @"text"];
       NSString *c = [Tolvana localizedStringForKey:@"objc.plural" withDefaultValue:@"%{n} apples"
                                       andArguments:@{@"n": [NSString stringWithFormat:@"%d", n]}
                                      andPluralRule:[Tolvana pluralRuleForQuantity:n]];
       NSString *d = NSLocalizedStringWithDefaultValue(@"objc.default", nil, bundle, @"Value", @"comment");)objc",
     {{"settings.title", "settings.title"}, {"objc.key", "ObjC text"}, {"objc.plural[one]", "%{n} apples"},
      {"objc.plural[other]", "%{n} apples"}, {"objc.default", "Value"}}},
};

class CliExtract : public ::testing::Test {
 protected:
  ProcessResult extract(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {TOLVANA_CLI_BINARY, "extract"});
    return runProcess(arguments, {"HOME=" + dir.path()});
  }
  void write(const std::string& name, const std::string& text) { std::ofstream(dir.file(name)) << text; }

  TempDir dir;
};

TEST_F(CliExtract, FindsTheLookUpsOfEachLanguageWithTheirDefaultTexts) {
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.file);
    write(c.file, c.source);
    auto result = extract({dir.file(c.file)});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    nlohmann::json expected = nlohmann::json::object();
    for (const auto& [key, text] : c.entries.items()) expected[key] = {{"v", text}};
    EXPECT_EQ(nlohmann::json::parse(result.out), (nlohmann::json{{"version", 1}, {"entries", expected}}));
  }
}

TEST_F(CliExtract, ReportsComputedKeysAndConflictsAndKeepsItsVersionUntilTheTextsChange) {
  write("a.cpp", "auto a = Tolvana::localizedStringForKey(key, \"x\");\n"
                 "auto b = Tolvana::localizedStringForKey(\"k\", \"First\");\n"
                 "auto c = Tolvana::localizedStringForKey(\"k\", \"Second\");\n");
  auto result = extract({dir.path(), "-o", dir.file("en.json")});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.err, "tolvana: warning: " + dir.file("a.cpp") + ":1: the key is no string literal; not extracted\n" +
                            "tolvana: warning: " + dir.file("a.cpp") + ":3: \"k\" has the default \"First\" at " +
                            dir.file("a.cpp") + ":2; \"Second\" is left out\n");
  for (const auto& [text, version] : std::vector<std::pair<std::string, int>>{{"First", 1}, {"Other", 2}}) {
    write("a.cpp", "auto b = Tolvana::localizedStringForKey(\"k\", \"" + text + "\");\n");
    for (int run = 0; run < 2; ++run) ASSERT_EQ(extract({dir.path(), "-o", dir.file("en.json")}).exitCode, 0);
    std::ifstream file(dir.file("en.json"));
    EXPECT_EQ(nlohmann::json::parse(file)["version"], version);
  }
  EXPECT_EQ(extract({dir.file("none")}).exitCode, 1);
}

}  // namespace
}  // namespace tolvana
