// Catalogue import and export through the admin API: a dry run shows what would change and
// writes nothing, an import writes drafts only, a language exported in any format imports back
// without a change, and a file that is refused leaves the language as it was.
#include <gtest/gtest.h>

#include "ServerTestSupport.h"
#include "support/Json.h"

namespace tolvana::server {
namespace {

using tolvana::testing::ServerFixture;

class CatalogueEndpoints : public ::testing::Test {
 protected:
  void SetUp() override {
    server_.request("PATCH", "/admin/v1/projects/app1", R"({"languages":["en","ru"]})");
    server_.publish("en", "main", {{"title", "Welcome"}, {"files[one]", "%d file"}, {"files[other]", "%d files"}});
    server_.publish("ru", "main", {{"title", "Привет"}, {"files[one]", "%d файл"}, {"files[few]", "%d файла"},
                                   {"files[many]", "%d файлов"}});
  }

  HttpResponse import(const std::string& format, const std::string& file, bool dryRun, const std::string& language = "ru") {
    Value body = Value::Dictionary{{"format", format}, {"content", Value::Data(file.begin(), file.end())}, {"dryRun", dryRun}};
    return server_.send({"POST", "/admin/v1/projects/app1/languages/" + language + "/import",
                         {{"Authorization", "Bearer " + server_.adminToken()}, {"Content-Type", "application/json"}},
                         json::serialize(body)});
  }
  std::string ruEntries() { return server_.request("GET", "/admin/v1/projects/app1/entries?language=ru"); }

  ServerFixture server_{{.tls = false}};
};

std::vector<std::string> keysOf(const Value& answer, const char* list) {
  std::vector<std::string> keys;
  for (const Value& c : answer.find(list)->asArray()) {
    keys.push_back(c.find("key")->asString() + (c.find("plural") ? "[" + c.find("plural")->asString() + "]" : ""));
  }
  return keys;
}

TEST_F(CatalogueEndpoints, DryRunShowsNewAndChangedKeysThenImportWritesDrafts) {
  const std::string po = "msgctxt \"title\"\nmsgid \"Welcome\"\nmsgstr \"Добро пожаловать\"\n\n"
                         "msgctxt \"files\"\nmsgid \"%d file\"\nmsgid_plural \"%d files\"\n"
                         "msgstr[0] \"%d файл\"\nmsgstr[1] \"%d файла\"\nmsgstr[2] \"%d файлов\"\n\n"
                         "msgid \"Bye\"\nmsgstr \"Пока\"\n";
  const std::string before = ruEntries();
  auto dryRun = import("po", po, true);
  ASSERT_EQ(dryRun.status, 200) << dryRun.body;
  auto plan = *json::parse(dryRun.body);
  EXPECT_EQ(keysOf(plan, "added"), std::vector<std::string>{"Bye"});
  EXPECT_EQ(keysOf(plan, "changed"), std::vector<std::string>{"title"});
  EXPECT_EQ(plan.find("changed")->asArray()[0].find("was")->asString(), "Привет");
  EXPECT_EQ(plan.find("unchanged")->asInteger(), 3);
  EXPECT_EQ(ruEntries(), before) << "a dry run writes nothing";

  ASSERT_EQ(import("po", po, false).status, 200);
  auto drafts = *json::parse(server_.request("GET", "/admin/v1/projects/app1/entries?language=ru&drafts=1"));
  ASSERT_EQ(drafts.asArray().size(), 2u);
  for (const Value& entry : drafts.asArray()) {
    if (entry.find("key")->asString() == "title") EXPECT_EQ(entry.find("value")->asString(), "Привет") << "still published";
  }
  auto again = *json::parse(import("po", po, true).body);
  EXPECT_TRUE(keysOf(again, "added").empty() && keysOf(again, "changed").empty()) << "the drafts are what it compares";
}

TEST_F(CatalogueEndpoints, EveryExportImportsBackWithoutAChange) {
  for (const char* format : {"po", "json", "json-nested", "strings", "stringsdict", "xliff", "xliff2", "ts"}) {
    std::string file = server_.request("GET", std::string("/admin/v1/projects/app1/languages/ru/export?format=") + format);
    auto answer = import(format, file, true);
    ASSERT_EQ(answer.status, 200) << format << ": " << answer.body;
    auto plan = *json::parse(answer.body);
    EXPECT_TRUE(keysOf(plan, "added").empty()) << format << "\n" << file;
    EXPECT_TRUE(keysOf(plan, "changed").empty()) << format << "\n" << file;
    EXPECT_GE(plan.find("unchanged")->asInteger(), 3) << format;
  }
}

TEST_F(CatalogueEndpoints, ARefusedFileChangesNothingAndSaysWhy) {
  const std::string before = ruEntries();
  struct Case {
    const char* format;
    std::string file, language, reason;
  } const cases[] = {
      {"po", "msgid \"title\"\nmsgstr \"caf\xE9\"\n", "ru", "line 2 is not UTF-8"},
      {"po", "msgid \"a\"\nmsgstr \"b\"\n\nmsgid \"c\"\nmsgstr \"d\n", "ru", "line 5"},
      {"json-nested", std::string(5000, '{'), "ru", "deeper"},
      {"json", R"({"title": "x", "k\u0000": "y"})", "ru", "cannot be a key"},
      {"po", "msgid \"a\"\nmsgstr \"b\"\n", "fr", "no language fr"},
      {"xml", "<a/>", "ru", "no catalogue format"},
  };
  for (const Case& c : cases) {
    auto answer = import(c.format, c.file, false, c.language);
    EXPECT_EQ(answer.status, 400) << c.reason;
    EXPECT_NE(answer.body.find(c.reason), std::string::npos) << answer.body;
  }
  EXPECT_EQ(ruEntries(), before);
}

}  // namespace
}  // namespace tolvana::server
