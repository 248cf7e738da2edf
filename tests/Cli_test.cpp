// The command-line tool as a developer runs it: against an app bundle on disk, its own data
// directory and defaults, and the translation server.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <fstream>

#include "support/Files.h"
#include "tests/support/ArchiveBuilder.h"
#include "tests/support/FixtureBundle.h"
#include "tests/support/ServerFixture.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TempDir.h"

namespace tolvana {
namespace {

using namespace testing;
using namespace std::chrono_literals;

void writeFile(const std::string& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

int lineCount(const std::string& text) { return static_cast<int>(std::count(text.begin(), text.end(), '\n')); }

class Cli : public ::testing::Test {
 protected:
  // A sample app: English bundle table, prepared stores for en and de built by `pack`.
  void SetUp() override {
    FixtureBundle bundle(dir.file("Sample.app"));
    bundle.info("CFBundleIdentifier", "org.example.cli").info("CFBundleDevelopmentRegion", "en");
    bundle.info("TolvanaHost", host).info("TolvanaTimeoutIntervalForRequest", requestTimeout);
    bundle.strings("de", "Localizable", {{"only.bundle", "Nur im Bundle"}});
    bundle.write();
    writeFile(dir.file("app.json"), R"({"_id":"app1","apiSecret":"s3cr3t-key","__v":1,"baseLanguage":"en",
                                        "collectMissingEnabled":true,"draftModeEnabled":true})");
    writeFile(dir.file("en.json"), R"({"version":1,"entries":{"title":{"v":"Welcome"},
                                       "items[one]":{"v":"%{n} item"},"items[other]":{"v":"%{n} items"}}})");
    writeFile(dir.file("main.json"), R"({"version":1,"entries":{"title":{"v":"Willkommen","d":"Hallo"}}})");
    auto packed = tolvana({"pack", "--app-file", dir.file("app.json"), "--strings", "en=" + dir.file("en.json"),
                           "--strings", "de=" + dir.file("main.json"), "-o",
                           dir.file("Sample.app/tolvana_settings.tolvana")});
    ASSERT_EQ(packed.exitCode, 0) << packed.err;
  }

  ProcessResult tolvana(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), TOLVANA_CLI_BINARY);
    return runProcess(arguments, {"HOME=" + dir.path(), "LANG=en_US.UTF-8"});
  }
  // A command on the sample app.
  ProcessResult app(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--bundle", dir.file("Sample.app"), "--data-dir", dir.file("data"),
                                         "--defaults", dir.file("defaults.plist")});
    if (!ca.empty()) arguments.insert(arguments.begin(), {"--ca", ca});
    return tolvana(arguments);
  }

  // Rewrites the app so that its Info.plist names the server and the tool trusts it.
  void useServer(const ServerFixture& server) {
    host = server.baseUrl();
    ca = server.caFile();
    SetUp();
  }

  TempDir dir;
  std::string host = "https://127.0.0.1:9";  // nothing listens on the discard port
  std::string ca;
  double requestTimeout = 5;
};

TEST_F(Cli, FailuresAreOneErrorLineWithTheirCauseAndExitCode) {
  std::string bundle = dir.file("Sample.app"), underFile = dir.file("plain-file/sub");
  writeFile(dir.file("plain-file"), "");
  struct Case {
    std::vector<std::string> arguments;
    int exitCode;
    std::string message;
  };
  // Global options may follow the command ("settings --bundle ...").
  std::vector<Case> cases = {
      {{}, 2, "A subcommand is required"},
      {{"frobnicate", "--bundle", "x"}, 2, "unknown command 'frobnicate'"},
      {{"lookup", "k", "--quantity", "-3"}, 2, "a quantity is 0 or more, not -3"},
      {{"lookup"}, 2, "KEY is required"},
      {{"lookup", "k", "--plural", "one", "--quantity", "2"}, 2, "excludes"},
      {{"plural", "--language", "x1", "3"}, 2, "'x1' is no language code"},
      {{"pack", "--app-file", "a.json", "--store", "de", "-o", "x"}, 2, "--store wants LANG=FILE"},
      {{"settings", "--bundle", "/no/such.app"}, 1, "no app bundle at /no/such.app (no such directory)"},
      {{"pack", "--app-file", "/no/app.json", "-o", "x"}, 1, "cannot read app file /no/app.json"},
      {{"unpack", "/no/archive", "out"}, 1, "no archive at /no/archive"},
      {{"serve", "--project", dir.path(), "--port", "99999"}, 1, "port 99999 is out of range"},
      {{"serve", "--project", dir.file("none")}, 1, "project.json in " + dir.file("none") + " is missing"},
      {{"--bundle", bundle, "--data-dir", underFile, "--defaults", dir.file("d.plist"), "update"}, 1,
       "cannot create the data directory " + underFile + "/Tolvana/org.example.cli: Not a directory"},
      {{"--bundle", bundle, "--data-dir", dir.file("data"), "--defaults", underFile + "/d.plist", "set-language", "de"},
       1, "the app's defaults were not saved: Could not write the user defaults to " + underFile + "/d.plist"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    auto result = tolvana(c.arguments);
    EXPECT_EQ(result.exitCode, c.exitCode);
    // One error line; an alert the engine raised on the way may come before it.
    std::string err = result.err;
    while (err.starts_with("alert: ")) err.erase(0, err.find('\n') + 1);
    EXPECT_EQ(lineCount(err), 1) << result.err;
    EXPECT_TRUE(err.starts_with("tolvana: ")) << result.err;
    EXPECT_NE(err.find(c.message), std::string::npos) << result.err;
  }
}

TEST_F(Cli, PackedArchivesUnpackAndCorruptOnesFailCleanly) {
  auto unpacked = tolvana({"unpack", dir.file("Sample.app/tolvana_settings.tolvana"), dir.file("out")});
  ASSERT_EQ(unpacked.exitCode, 0) << unpacked.err;
  EXPECT_TRUE(std::filesystem::is_regular_file(dir.file("out/app.tolvana")));
  auto store = readWholeFile(dir.file("out/app1/de.sqlite"));
  ASSERT_TRUE(store);
  EXPECT_TRUE(store->starts_with("SQLite format 3"));
  // As the app would, a second unpack keeps the store it finds; --force replaces it.
  writeFile(dir.file("out/app1/de.sqlite"), "edited");
  std::vector<std::string> again{"unpack", dir.file("Sample.app/tolvana_settings.tolvana"), dir.file("out")};
  ASSERT_EQ(tolvana(again).exitCode, 0);
  EXPECT_EQ(readWholeFile(dir.file("out/app1/de.sqlite")), "edited");
  again.push_back("--force");
  ASSERT_EQ(tolvana(again).exitCode, 0);
  EXPECT_EQ(readWholeFile(dir.file("out/app1/de.sqlite")), store);

  ArchiveBuilder escaping;
  escaping.file("../outside.txt", "x").endBlocks();
  escaping.writeTo(dir.file("escaping.tolvana"));
  ArchiveBuilder truncated;
  truncated.file("app.tolvana", std::string(3000, 'a')).endBlocks();
  truncated.writeTo(dir.file("truncated.tolvana"), 1200);
  writeFile(dir.file("random.tolvana"), std::string(600, '\xd4'));
  for (const char* archive : {"escaping.tolvana", "truncated.tolvana", "random.tolvana"}) {
    SCOPED_TRACE(archive);
    auto result = tolvana({"unpack", dir.file(archive), dir.file("bad")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(lineCount(result.err), 1) << result.err;
    EXPECT_NE(result.err.find("cannot unpack"), std::string::npos) << result.err;
    EXPECT_EQ(result.err.find('\xd4'), std::string::npos) << "errors stay printable";
  }
  EXPECT_FALSE(std::filesystem::exists(dir.file("outside.txt")));
}

TEST_F(Cli, LookupAnswersAsTheHostWouldAndSaysWhichSourceAnswered) {
  struct Case {
    std::vector<std::string> arguments;
    std::string out;
  };
  std::vector<Case> cases = {
      {{"lookup", "title", "--language", "de-AT", "--json"},
       R"({"key":"title","source":"language de","text":"Willkommen"})"},
      {{"lookup", "title", "--language", "de", "--draft"}, "Hallo"},
      {{"lookup", "title", "--language", "de", "--show-ids"}, "title"},
      {{"lookup", "only.bundle", "--language", "de", "--json"},
       R"({"key":"only.bundle","source":"bundle table","text":"Nur im Bundle"})"},
      {{"lookup", "nowhere", "--default", "Fallback", "--json"},
       R"({"key":"nowhere","source":"default","text":"Fallback"})"},
      {{"lookup", "items", "--quantity", "3", "--arg", "n=3"}, "3 items"},
      {{"lookup", "items", "--plural", "one", "--arg", "n=1"}, "1 item"},
      {{"plural", "--language", "ru", "3"}, "few"},
      {{"plural", "--language", "pl-PL", "5"}, "many"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.out);
    auto result = app(c.arguments);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out, c.out + "\n");
  }
}

TEST_F(Cli, SetLanguagePersistsInTheAppDefaultsAndRefusesUnknownLanguages) {
  EXPECT_EQ(app({"set-language", "de"}).exitCode, 0);
  EXPECT_EQ(app({"lookup", "title"}).out, "Willkommen\n");
  EXPECT_NE(app({"languages"}).out.find("available languages      de, en"), std::string::npos);

  auto refused = app({"set-language", "xx"});
  EXPECT_EQ(refused.exitCode, 1);
  EXPECT_NE(refused.err.find("language xx is not one of the app's (de, en)"), std::string::npos) << refused.err;
  EXPECT_EQ(app({"set-language"}).exitCode, 2);

  EXPECT_EQ(app({"set-language", "--reset"}).exitCode, 0);
  EXPECT_EQ(app({"lookup", "title"}).out, "Welcome\n");
}

TEST_F(Cli, UpdateBringsNewGroupsFromTheServerAndFailsCleanlyWithoutOne) {
  auto unreachable = app({"update"});
  EXPECT_EQ(unreachable.exitCode, 1);
  EXPECT_EQ(lineCount(unreachable.err), 1) << unreachable.err;
  EXPECT_NE(unreachable.err.find("tolvana: update failed"), std::string::npos) << unreachable.err;

  ServerFixture server({});
  // The app ships version 1 of "main"; the second publication is newer.
  server.publish("de", "main", {{"title", "Willkommen"}});
  server.publish("de", "main", {{"title", "Willkommen zurück"}});
  server.publish("de", "extra", {{"bonus", "Zugabe"}});
  server.publish("en", "main", {{"title", "Welcome"}});
  useServer(server);
  auto updated = app({"update", "--groups", "main,extra", "--languages", "de", "--verbose"});
  ASSERT_EQ(updated.exitCode, 0) << updated.err;
  EXPECT_NE(updated.out.find("> POST " + server.baseUrl() + "/v4/mobile-apps/sdk/app1"), std::string::npos);
  EXPECT_NE(updated.out.find("< 200"), std::string::npos) << updated.out;

  auto store = app({"store", "--language", "de"});
  EXPECT_NE(store.out.find("groups: extra v1, main v2"), std::string::npos) << store.out;
  // Outside draft mode the answer has no drafts, so the shipped draft goes with the old text.
  EXPECT_NE(store.out.find("title = \"Willkommen zurück\"\n"), std::string::npos) << store.out;
  EXPECT_EQ(app({"lookup", "bonus", "--language", "de"}).out, "Zugabe\n");

  // An answer that arrives while another process holds the store is taken but not written.
  server.publish("de", "extra", {{"bonus", "Noch eine Zugabe"}});
  sqlite3* holder = nullptr;
  ASSERT_EQ(sqlite3_open(dir.file("data/Tolvana/org.example.cli/app1/de.sqlite").c_str(), &holder), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(holder, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
  auto locked = app({"update", "--groups", "extra", "--languages", "de"});
  sqlite3_exec(holder, "COMMIT", nullptr, nullptr, nullptr);
  sqlite3_close(holder);
  EXPECT_EQ(locked.exitCode, 1);
  EXPECT_NE(locked.err.find("answer taken, but 1 group could not be written"), std::string::npos) << locked.err;
  EXPECT_EQ(app({"update", "--groups", "extra", "--languages", "de"}).exitCode, 0);
  EXPECT_EQ(app({"lookup", "bonus", "--language", "de"}).out, "Noch eine Zugabe\n");
  // The answer lists English too, though only German was asked for, so English stays.
  EXPECT_EQ(app({"set-language", "en"}).exitCode, 0);
  EXPECT_EQ(app({"lookup", "title"}).out, "Welcome\n");
}

TEST_F(Cli, LargeAnswersShowProgressOnlyOnATerminal) {
  ServerFixture server({});
  std::map<std::string, std::string> texts;
  for (int i = 0; i < 15000; ++i) texts["key." + std::to_string(i)] = std::string(80, 'x');
  server.publish("de", "big", texts);
  useServer(server);
  auto piped = app({"update", "--groups", "big", "--languages", "de"});
  ASSERT_EQ(piped.exitCode, 0) << piped.err;
  EXPECT_EQ(piped.err, "");
  // script(1) gives the tool a terminal; it prints what the tool wrote there.
  std::string command = std::string(TOLVANA_CLI_BINARY) + " --ca " + ca + " --bundle " + dir.file("Sample.app") +
                        " --data-dir " + dir.file("data2") + " --defaults " + dir.file("defaults2.plist") +
                        " update --groups big --languages de";
  auto onTerminal = runProcess({"/usr/bin/script", "-qefc", command, "/dev/null"}, {"HOME=" + dir.path()});
  ASSERT_EQ(onTerminal.exitCode, 0) << onTerminal.out;
  EXPECT_THAT(onTerminal.out, ::testing::ContainsRegex("\rreceived [0-9.]+ MB, [0-9]+ entries written"));
  EXPECT_NE(onTerminal.out.find("15000 entries written"), std::string::npos) << onTerminal.out;
}

TEST_F(Cli, AFailedUpdateSaysWhy) {
  ServerFixture server({});
  struct Case {
    std::string host, ca;
    Value::Dictionary fault;
    std::string error;
  };
  std::vector<Case> cases = {
      {host, "", {}, "connection refused (https://127.0.0.1:9/v4/mobile-apps/sdk/app1)"},
      {server.baseUrl(), server.caFile(), {{"status", 401}}, "HTTP 401"},
      {server.baseUrl(), "", {}, "TLS certificate not trusted"},
      {server.baseUrl(), server.caFile(), {{"delayMs", 3000}}, "timed out after 1 s"},
  };
  requestTimeout = 1;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.error);
    host = c.host;
    SetUp();
    ca = c.ca;
    if (!c.fault.empty()) server.injectFault(c.fault);
    auto result = app({"--log", "update"});
    EXPECT_EQ(result.exitCode, 1);
    // The engine's own lines (--log) may still follow from its request thread.
    EXPECT_NE(result.err.find("\ntolvana: update failed: " + c.error + "\n"), std::string::npos) << result.err;
    EXPECT_EQ(result.err.find("tolvana: "), result.err.rfind("tolvana: ")) << result.err;
    // Hosts read the same cause in the engine's log, as a warning.
    EXPECT_NE(result.err.find("W/Tolvana\xEF\xB9\x95 Update request failed: " + c.error), std::string::npos);
  }
}

// A project directory imported while the server runs reaches the app at its next update; a
// group file without a version is as new as its last save.
TEST_F(Cli, ImportsIntoARunningServerReachTheAppAtTheNextUpdate) {
  ServerFixture server({});
  useServer(server);
  std::string project = dir.file("project");
  std::filesystem::create_directories(project + "/translations/de");
  writeFile(project + "/project.json", R"({"appId":"app1","apiSecret":"s3cr3t-key","baseLanguage":"en"})");
  std::string groupFile = project + "/translations/de/main.json";
  for (std::string text : {"Hallo von Hand", "Wieder von Hand"}) {
    writeFile(groupFile, R"({"entries":{"title":{"v":")" + text + R"("}}})");
    // The second save is a second later, whatever the file system's time resolution.
    std::filesystem::last_write_time(groupFile, std::filesystem::file_time_type::clock::now() + text.size() * 1s);
    auto imported = runProcess({TOLVANA_SERVER_BINARY, "--data", server.dataDirectory(), "import", project}, {});
    ASSERT_EQ(imported.exitCode, 0) << imported.err;
    ASSERT_EQ(app({"update", "--languages", "de"}).exitCode, 0);
    EXPECT_EQ(app({"lookup", "title", "--language", "de"}).out, text + "\n");
  }
}

TEST_F(Cli, BrokenArchivesAlwaysShowTheAlert) {
  // Without an archive the log names the file the engine looked for, in the app's bundle.
  std::string archive = dir.file("Sample.app/tolvana_settings.tolvana");
  std::filesystem::remove(archive);
  auto missing = app({"lookup", "title", "--log"});
  EXPECT_NE(missing.err.find("File does not exist. " + archive), std::string::npos) << missing.err;
  // With a corrupt one, the alert shows on every run, not only when the main queue wins the
  // race against the exit.
  writeFile(archive, std::string(600, '\xd4'));
  for (int run = 0; run < 3; ++run) {
    auto corrupt = app({"lookup", "title"});
    EXPECT_EQ(corrupt.out, "title\n");
    EXPECT_NE(corrupt.err.find("alert: Error! — Tolvana settings file missing or outdated!"), std::string::npos);
  }
}

TEST_F(Cli, QuietColourCompletionAndLanguagesTheAppLacks) {
  auto xx = app({"lookup", "title", "--language", "xx"});
  EXPECT_EQ(xx.out, "Welcome\n");
  EXPECT_EQ(xx.err, "tolvana: warning: the app has no language 'xx'; the text comes from the language en\n");

  auto quiet = app({"-q", "set-language", "de"});
  EXPECT_EQ(quiet.exitCode, 0);
  EXPECT_EQ(quiet.out, "");
  EXPECT_TRUE(app({"settings"}).out.starts_with("Key "));  // standard output is no terminal here
  EXPECT_TRUE(app({"settings", "--color=always"}).out.starts_with("\033[1mKey "));

  std::string complete = std::string("source <(") + TOLVANA_CLI_BINARY + " completion bash); COMP_WORDS=(" +
                         "tolvana --bundle b.app up); COMP_CWORD=3; _tolvana; echo \"${COMPREPLY[*]}\"";
  EXPECT_EQ(runProcess({"/bin/bash", "-c", complete}, {}).out, "update\n");
}

TEST_F(Cli, MissingListsUntranslatedKeysPerLanguage) {
  auto table = app({"missing"});
  ASSERT_EQ(table.exitCode, 0) << table.err;
  EXPECT_EQ(table.out,
            "LANGUAGE  KEY          WHERE\n"
            "de        only.bundle  app tables only (untranslated)\n"
            "de        title        store only\n"
            "en        items[one]   store only\n"
            "en        items[other] store only\n"
            "en        title        store only\n");
  EXPECT_EQ(app({"missing", "--json"}).out,
            R"({"de":{"missingFromStore":["only.bundle"],"onlyInStore":["title"]},)"
            R"("en":{"missingFromStore":[],"onlyInStore":["items[one]","items[other]","title"]}})"
            "\n");
}

}  // namespace
}  // namespace tolvana
