// Setting an app up with the command-line tool as a new user does: init, pack and serve,
// each refusing a mistake before it writes anything, then updates that say what they wrote.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "support/Files.h"
#include "tests/support/ServerFixture.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TempDir.h"

namespace tolvana {
namespace {

using namespace testing;
namespace fs = std::filesystem;

void writeFile(const std::string& path, const std::string& text) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

// Every file below the folder, as paths relative to it.
std::set<std::string> filesIn(const std::string& folder) {
  std::set<std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) files.insert(fs::relative(entry.path(), folder).string());
  }
  return files;
}

class CliSetup : public ::testing::Test {
 protected:
  // The tool, run in the test's folder with a home of its own.
  ProcessResult tolvana(std::vector<std::string> arguments) {
    std::string command = "cd '" + dir.path() + "' && exec \"$0\" \"$@\"";
    arguments.insert(arguments.begin(), {"/bin/sh", "-c", command, TOLVANA_CLI_BINARY});
    return runProcess(arguments, {"HOME=" + dir.path(), "LANG=en_US.UTF-8", "PATH=/usr/bin:/bin"});
  }

  TempDir dir;
};

TEST_F(CliSetup, InitPackAndUpdateBringOnlyWhatIsNewer) {
  auto init = tolvana({"init", "--app-id", "quick", "--languages", "en,de"});
  ASSERT_EQ(init.exitCode, 0) << init.err;
  EXPECT_NE(init.out.find("next:\n  tolvana pack --app-file app.json --strings en=texts/en/main.json"),
            std::string::npos) << init.out;
  // The app and the server project share id and secret; a second init writes nothing over them.
  auto appFile = readWholeFile(dir.file("app.json")).value_or("");
  std::string secret = appFile.substr(appFile.find("\"apiSecret\": \"") + 14, 32);
  EXPECT_NE(readWholeFile(dir.file("server/project.json"))->find(secret), std::string::npos);
  auto again = tolvana({"init"});
  EXPECT_EQ(again.exitCode, 1);
  EXPECT_NE(again.err.find("MyApp.app/Info.plist exists already"), std::string::npos) << again.err;
  EXPECT_EQ(readWholeFile(dir.file("app.json")), appFile);

  // The server imports the project as written, as "tolvana serve" has it do; its port is known
  // only now, so the app is pointed at it afterwards.
  ServerFixture server({.tls = false, .createProject = false, .extraArguments = {"--import", dir.file("server")}});
  std::string plist = readWholeFile(dir.file("MyApp.app/Info.plist")).value_or("");
  ASSERT_NE(plist.find("http://127.0.0.1:8080"), std::string::npos);
  writeFile(dir.file("MyApp.app/Info.plist"),
            plist.replace(plist.find("http://127.0.0.1:8080"), 21, server.baseUrl()));

  writeFile(dir.file("texts/de/main.json"), R"({"version": 1, "entries": {"welcome.title": {"v": "Willkommen"}}})");
  auto packed = tolvana({"pack", "--app-file", "app.json", "--strings", "en=texts/en/main.json", "--strings",
                         "de=texts/de/main.json", "-o", "MyApp.app/tolvana_settings.tolvana"});
  ASSERT_EQ(packed.exitCode, 0) << packed.err;
  EXPECT_NE(packed.out.find("app quick; app file: 0 languages, 0 entries; prepared stores: de, en"), std::string::npos);

  struct Step {
    std::string serverText;  // published on the server first (German "main" goes to v2), when given
    std::string update, lookup;
  };
  std::vector<Step> steps = {
      {"", "nothing new\n", "Willkommen\n"},
      {"Willkommen bei uns", "de: main v1 → v2, 1 entry\n", "Willkommen bei uns\n"},
      {"", "nothing new\n", "Willkommen bei uns\n"},
  };
  for (const auto& step : steps) {
    SCOPED_TRACE(step.update);
    if (!step.serverText.empty()) {
      server.request("PUT", "/admin/v1/projects/quick/entries",
                     R"({"entries":[{"language":"de","group":"main","key":"welcome.title","draft":")" +
                         step.serverText + R"("}]})");
      server.request("POST", "/admin/v1/projects/quick/publish", R"({"language":"de","group":"main"})");
    }
    auto updated = tolvana({"-q", "--bundle", "MyApp.app", "update"});
    EXPECT_EQ(updated.exitCode, 0) << updated.err;
    EXPECT_EQ(updated.out, step.update);
    EXPECT_EQ(tolvana({"--bundle", "MyApp.app", "lookup", "welcome.title", "--language", "de"}).out, step.lookup);
  }
  auto unknown = tolvana({"-q", "--bundle", "MyApp.app", "update", "--languages", "zz", "--groups", "main,nosuch"});
  EXPECT_EQ(unknown.exitCode, 0);
  EXPECT_EQ(unknown.err,
            "tolvana: warning: no texts in language 'zz': the app has none and the server's answer brought none\n"
            "tolvana: warning: no texts in group 'nosuch': no language of the app has it and the server's answer "
            "brought none\n");
}

TEST_F(CliSetup, MistakesFailBeforeAnythingIsWrittenAndSayWhere) {
  writeFile(dir.file("good.json"), R"({"_id": "a", "apiSecret": "s", "__v": 1, "baseLanguage": "en"})");
  writeFile(dir.file("broken.json"), "{\n  \"_id\": \"a\",\n  \"apiSecret\" \"s\"\n}\n");
  writeFile(dir.file("noversion.json"), R"({"_id": "a", "apiSecret": "s", "baseLanguage": "en"})");
  writeFile(dir.file("texts.json"), R"({"version": 1, "entries": {"k": {"v": "v"}}})");
  writeFile(dir.file("project/project.json"), "{\"appId\": \"a\",\n \"apiSecret\": 3,}");
  writeFile(dir.file("noid/project.json"), R"({"apiSecret": "s"})");
  struct Case {
    std::vector<std::string> arguments;
    std::string error;
  };
  std::vector<Case> cases = {
      {{"pack", "--app-file", "good.json", "-o", "no/such/dir/x.tolvana"},
       "cannot write no/such/dir/x.tolvana: no directory " + dir.file("no/such/dir")},
      {{"pack", "--app-file", "broken.json", "--strings", "de=texts.json", "-o", "x.tolvana"},
       "app file broken.json: line 3, column 17: syntax error while parsing object separator"},
      {{"pack", "--app-file", "noversion.json", "-o", "x.tolvana"}, "app file noversion.json: no \"__v\" number"},
      {{"pack", "--app-file", "good.json", "--strings", "de=broken.json", "-o", "x.tolvana"},
       "translation file broken.json: line 3, column 17"},
      {{"serve", "--project", "project"}, "project file project/project.json: line 2, column 17: syntax error"},
      {{"serve", "--project", "noid"}, "project file noid/project.json: no \"appId\" string"},
      {{"serve", "--project", "none"}, "project.json in none is missing"},
  };
  auto before = filesIn(dir.path());
  for (const auto& c : cases) {
    SCOPED_TRACE(c.error);
    auto result = tolvana(c.arguments);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err.find("tolvana: " + c.error), 0u) << result.err;
    EXPECT_EQ(filesIn(dir.path()), before);
  }
  EXPECT_FALSE(fs::exists(dir.file("no")));
}

TEST_F(CliSetup, PackSaysWhatItTookAndWhatTheAppWillIgnore) {
  writeFile(dir.file("app.json"), R"({"_id": "a", "apiSecret": "s", "__v": 1, "baseLanguage": "en", "extra": 1,
      "languages": [{"name": "de", "entries": [{"key": "k", "value": "v"}]},
                    {"name": "fr", "entrys": [{"key": "k", "value": "v"}, {"key": "n", "value": 2}, {"value": "x"}]}]})");
  auto packed = tolvana({"pack", "--app-file", "app.json", "-o", "x.tolvana"});
  ASSERT_EQ(packed.exitCode, 0) << packed.err;
  EXPECT_NE(packed.out.find("app file: 1 language, 2 entries; prepared stores: (none)"), std::string::npos);
  EXPECT_EQ(packed.err,
            "tolvana: warning: app file app.json: ignored the unknown field \"extra\"\n"
            "tolvana: warning: app file app.json: ignored languages[0] (de): \"entries\", which the app file spells "
            "\"entrys\"\n"
            "tolvana: warning: app file app.json: ignored languages[1] (fr): 1 entry without a \"key\" string or with "
            "a value or draft that is no text\n"
            "tolvana: warning: app file app.json: its 2 entries are re-applied at every start: an update of the same "
            "keys lasts only until the next start; ship them with --strings instead\n");
}

TEST_F(CliSetup, HelpListsTheGlobalOptionsAndUsageErrorsPointToIt) {
  auto help = tolvana({"update", "--help"});
  EXPECT_EQ(help.exitCode, 0);
  EXPECT_NE(help.out.find("Global options (before or after the command):\n  --bundle TEXT"), std::string::npos);
  auto wrong = tolvana({"--bundle", "x", "update", "--nope"});
  EXPECT_EQ(wrong.exitCode, 2);
  EXPECT_NE(wrong.err.find("(see tolvana update --help)"), std::string::npos) << wrong.err;
  auto plural = tolvana({"plural", "--language", "zz", "3"});
  EXPECT_EQ(plural.out, "other\n");
  EXPECT_NE(plural.err.find("warning: no plural rules for 'zz'"), std::string::npos);
}

}  // namespace
}  // namespace tolvana
