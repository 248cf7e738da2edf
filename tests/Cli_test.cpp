// The command-line tool as a developer runs it: against an app bundle on disk, its own data
// directory and defaults, and the reference server.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

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

  TempDir dir;
  std::string host = "https://127.0.0.1:9";  // nothing listens on the discard port
  std::string ca;
  double requestTimeout = 5;
};

// A port that takes connections and never answers.
struct SilentPort {
  SilentPort() {
    sockaddr_in address{.sin_family = AF_INET, .sin_port = 0, .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
    socklen_t length = sizeof address;
    bind(fd, reinterpret_cast<sockaddr*>(&address), length);
    listen(fd, 4);
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    port = ntohs(address.sin_port);
  }
  ~SilentPort() { close(fd); }
  int fd = socket(AF_INET, SOCK_STREAM, 0);
  int port = 0;
};

TEST_F(Cli, BadUsageAndMissingAppsFailWithOneLineAndTheirExitCode) {
  struct Case {
    std::vector<std::string> arguments;
    int exitCode;
    std::string message;
  };
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
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    auto result = tolvana(c.arguments);
    EXPECT_EQ(result.exitCode, c.exitCode);
    EXPECT_EQ(lineCount(result.err), 1) << result.err;
    EXPECT_NE(result.err.find("tolvana: "), std::string::npos);
    EXPECT_NE(result.err.find(c.message), std::string::npos) << result.err;
  }
}

TEST_F(Cli, PackedArchivesUnpackAndCorruptOnesFailCleanly) {
  auto unpacked = tolvana({"unpack", dir.file("Sample.app/tolvana_settings.tolvana"), dir.file("out")});
  ASSERT_EQ(unpacked.exitCode, 0) << unpacked.err;
  EXPECT_TRUE(std::filesystem::is_regular_file(dir.file("out/app.tolvana")));
  auto store = readWholeFile(dir.file("out/app1/de.sqlite"));
  ASSERT_TRUE(store);
  EXPECT_TRUE(store->starts_with("SQLite format 3"));

  ArchiveBuilder escaping;
  escaping.file("../outside.txt", "x").endBlocks();
  escaping.writeTo(dir.file("escaping.tolvana"));
  ArchiveBuilder truncated;
  truncated.file("app.tolvana", std::string(3000, 'a')).endBlocks();
  truncated.writeTo(dir.file("truncated.tolvana"), 1200);
  for (const char* archive : {"escaping.tolvana", "truncated.tolvana"}) {
    SCOPED_TRACE(archive);
    auto result = tolvana({"unpack", dir.file(archive), dir.file("bad")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(lineCount(result.err), 1) << result.err;
    EXPECT_NE(result.err.find("cannot unpack"), std::string::npos) << result.err;
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
  host = server.baseUrl();
  ca = server.caFile();
  SetUp();  // the Info.plist names the running server now
  auto updated = app({"update", "--groups", "main,extra", "--languages", "de", "--verbose"});
  ASSERT_EQ(updated.exitCode, 0) << updated.err;
  EXPECT_NE(updated.out.find("> POST " + server.baseUrl() + "/v4/mobile-apps/sdk/app1"), std::string::npos);
  EXPECT_NE(updated.out.find("< 200"), std::string::npos) << updated.out;

  auto store = app({"store", "--language", "de"});
  EXPECT_NE(store.out.find("groups: extra v1, main v2"), std::string::npos) << store.out;
  // Outside draft mode the answer has no drafts, so the shipped draft goes with the old text.
  EXPECT_NE(store.out.find("title = \"Willkommen zurück\"\n"), std::string::npos) << store.out;
  EXPECT_EQ(app({"lookup", "bonus", "--language", "de"}).out, "Zugabe\n");
}

TEST_F(Cli, AnUpdateInOneLanguageKeepsTheOthersOfTheProject) {
  ServerFixture server({});
  server.publish("en", "main", {{"title", "Welcome"}});
  server.publish("de", "main", {{"title", "Willkommen"}});
  host = server.baseUrl();
  ca = server.caFile();
  SetUp();
  ASSERT_EQ(app({"update", "--languages", "en"}).exitCode, 0);
  auto switched = app({"set-language", "de"});
  EXPECT_EQ(switched.exitCode, 0) << switched.err;
  EXPECT_EQ(app({"lookup", "title"}).out, "Willkommen\n");
}

TEST_F(Cli, AFailedUpdateSaysWhy) {
  ServerFixture wrongSecret({.apiSecret = "not-the-app-secret"});
  SilentPort silent;
  struct Case {
    std::string host, ca;
    std::string error;
  };
  std::vector<Case> cases = {
      {"https://127.0.0.1:9", "", "update failed: connection refused (https://127.0.0.1:9/v4/mobile-apps/sdk/app1)"},
      {wrongSecret.baseUrl(), wrongSecret.caFile(), "update failed: HTTP 401"},
      {wrongSecret.baseUrl(), "", "update failed: TLS certificate not trusted"},
      {"http://127.0.0.1:" + std::to_string(silent.port), "", "update failed: timed out after 1 s"},
  };
  requestTimeout = 1;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.error);
    host = c.host;
    ca = c.ca;
    SetUp();
    auto result = app({"update"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err, "tolvana: " + c.error + "\n");
  }
  // Hosts see the cause in the engine's log, as a warning.
  auto logged = app({"--log", "update"});
  EXPECT_NE(logged.err.find("W/"), std::string::npos) << logged.err;
  EXPECT_NE(logged.err.find("Update request failed: timed out after 1 s"), std::string::npos) << logged.err;
}

TEST_F(Cli, WriteFailuresNameTheirCauseAndFail) {
  writeFile(dir.file("plain-file"), "");
  std::string bundle = dir.file("Sample.app"), underFile = dir.file("plain-file/sub");
  struct Case {
    std::vector<std::string> arguments;
    std::string error;
  };
  std::vector<Case> cases = {
      {{"--data-dir", underFile, "--defaults", dir.file("d.plist"), "update"},
       "cannot create the data directory " + underFile + "/Tolvana/org.example.cli: Not a directory"},
      {{"--data-dir", dir.file("data"), "--defaults", underFile + "/d.plist", "set-language", "de"},
       "the app's defaults were not saved: Could not write the user defaults to " + underFile + "/d.plist"},
  };
  for (auto& c : cases) {
    SCOPED_TRACE(c.error);
    c.arguments.insert(c.arguments.begin(), {"--bundle", bundle});
    auto result = tolvana(c.arguments);
    EXPECT_EQ(result.exitCode, 1);
    // The engine's alert about the app it could not start may come first.
    EXPECT_NE(("\n" + result.err).find("\ntolvana: " + c.error), std::string::npos) << result.err;
  }
}

TEST_F(Cli, TheReferenceServerRefusesBusyOrInvalidPortsAndServesHandEdits) {
  ServerFixture server({});
  std::string busyPort = server.baseUrl().substr(server.baseUrl().rfind(':') + 1);
  struct Case {
    std::vector<std::string> arguments;
    std::string error;
  };
  std::vector<Case> cases = {
      {{"serve", "--project", server.projectDirectory(), "--port", busyPort}, "the port is already in use"},
      {{"serve", "--project", server.projectDirectory(), "--port", "99999"}, "port 99999 is out of range"},
      {{"serve", "--project", dir.file("no-project")}, "project.json in " + dir.file("no-project") + " is missing"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.error);
    auto result = tolvana(c.arguments);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(lineCount(result.err), 1) << result.err;
    EXPECT_NE(result.err.find(c.error), std::string::npos) << result.err;
  }

  // A group file without a version is as new as its last save.
  host = server.baseUrl();
  ca = server.caFile();
  SetUp();
  std::string groupFile = server.projectDirectory() + "/translations/de/main.json";
  std::filesystem::create_directories(std::filesystem::path(groupFile).parent_path());
  for (std::string text : {"Hallo von Hand", "Wieder von Hand"}) {
    writeFile(groupFile, R"({"entries":{"title":{"v":")" + text + R"("}}})");
    std::filesystem::last_write_time(groupFile, std::filesystem::file_time_type::clock::now() + std::chrono::seconds(
                                                                                                  text[0] == 'W' ? 5 : 0));
    ASSERT_EQ(app({"update", "--languages", "de"}).exitCode, 0);
    EXPECT_EQ(app({"lookup", "title", "--language", "de"}).out, text + "\n");
  }
}

TEST_F(Cli, BrokenArchivesAlwaysShowTheAlertAndPrintableErrors) {
  std::string random(600, '\xd4');
  writeFile(dir.file("random.tolvana"), random);
  auto unpacked = tolvana({"unpack", dir.file("random.tolvana"), dir.file("out")});
  EXPECT_EQ(unpacked.exitCode, 1);
  EXPECT_EQ(unpacked.err.find('\xd4'), std::string::npos) << unpacked.err;

  // Without an archive the log names the file looked for; with a corrupt one, the alert
  // shows on every run, not only when the main queue wins the race against the exit.
  std::string archive = dir.file("Sample.app/tolvana_settings.tolvana");
  std::filesystem::remove(archive);
  auto missing = app({"lookup", "title", "--log"});
  EXPECT_NE(missing.err.find("File does not exist. " + archive), std::string::npos) << missing.err;
  writeFile(archive, random);
  for (int run = 0; run < 3; ++run) {
    auto corrupt = app({"lookup", "title"});
    EXPECT_EQ(corrupt.out, "title\n");
    EXPECT_NE(corrupt.err.find("alert: Error! — Tolvana settings file missing or outdated!"), std::string::npos);
  }
}

TEST_F(Cli, GlobalOptionsQuietColourCompletionAndMissingLanguages) {
  auto de = tolvana({"lookup", "title", "--language", "de", "--bundle", dir.file("Sample.app"), "--data-dir",
                     dir.file("data"), "--defaults", dir.file("defaults.plist")});
  EXPECT_EQ(de.out, "Willkommen\n");
  EXPECT_EQ(de.err, "");
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
