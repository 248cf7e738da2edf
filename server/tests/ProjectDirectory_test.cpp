// Project directories in and out of the database, and tolvana-server as a program: what it
// refuses to start with, and the admin token it makes.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "ProjectDirectory.h"
#include "ServerTestSupport.h"
#include "storage/Storage.h"
#include "support/Files.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TempDir.h"

namespace tolvana::server {
namespace {

namespace fs = std::filesystem;
using tolvana::testing::runProcess;
using tolvana::testing::TempDir;

// Every file below a directory, by its relative path.
std::map<std::string, std::string> filesIn(const std::string& directory) {
  std::map<std::string, std::string> files;
  for (const auto& file : fs::recursive_directory_iterator(directory)) {
    if (file.is_regular_file()) files[fs::relative(file.path(), directory)] = *readWholeFile(file.path());
  }
  return files;
}

TEST(ProjectDirectory, ExportedProjectsImportToTheSameProject) {
  TempDir dir;
  auto first = openStorage({.dataDirectory = dir.file("first")});
  ASSERT_EQ(importProjectDirectory(*first, TOLVANA_SOURCE_DIR "/examples/demo/project"), "demo-app");
  auto groups = first->groups("demo-app");
  importProjectDirectory(*first, TOLVANA_SOURCE_DIR "/examples/demo/project");
  EXPECT_EQ(first->groups("demo-app").size(), groups.size());
  for (std::size_t i = 0; i < groups.size(); ++i) EXPECT_EQ(first->groups("demo-app")[i].version, groups[i].version);
  exportProjectDirectory(*first, "demo-app", dir.file("out1"));

  auto second = openStorage({.dataDirectory = dir.file("second")});
  importProjectDirectory(*second, dir.file("out1"));
  exportProjectDirectory(*second, "demo-app", dir.file("out2"));
  auto exported = filesIn(dir.file("out1"));
  EXPECT_EQ(exported, filesIn(dir.file("out2")));
  EXPECT_NE(exported["translations/de/main.json"].find(R"("cart.items[one]":{"v":"%{count} Artikel im Warenkorb"})"),
            std::string::npos)
      << exported["translations/de/main.json"];

  std::ofstream(dir.file("out1/translations/de/broken.json")) << R"({"version":"two","entries":{}})";
  try {
    importProjectDirectory(*second, dir.file("out1"));
    ADD_FAILURE() << "a broken group file was imported";
  } catch (const std::runtime_error& e) {
    EXPECT_NE(std::string(e.what()).find("broken.json"), std::string::npos) << e.what();
  }
}

TEST(ServerProgram, RefusesToStartWithoutWhatItNeedsAndMakesItsAdminToken) {
  TempDir dir;
  tolvana::testing::ServerFixture running({.tls = false, .testFixture = false});
  const std::string busy = running.baseUrl().substr(running.baseUrl().rfind(':') + 1);
  struct Case {
    std::vector<std::string> arguments;
    std::string error;
  } const cases[] = {
      {{"--port", "0"}, "--data DIR (SQLite) or --database"},
      {{"--data", dir.file("d"), "--port", busy}, "the port is already in use"},
      {{"--data", dir.file("d"), "--port", "99999"}, "port 99999 is out of range"},
      {{"--data", dir.file("d"), "--import", dir.path()}, "project.json in " + dir.path() + " is missing"},
      {{"--database", "postgresql://nobody@127.0.0.1:1/none", "--port", "0"}, "cannot connect to PostgreSQL"},
  };
  for (const Case& c : cases) {
    std::vector<std::string> arguments{TOLVANA_SERVER_BINARY};
    arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
    auto result = runProcess(arguments, {});
    EXPECT_EQ(result.exitCode, 1) << c.error;
    EXPECT_NE(result.err.find(c.error), std::string::npos) << result.err;
  }
  struct stat token {};
  ASSERT_EQ(::stat((dir.file("d") + "/admin-token").c_str(), &token), 0);
  EXPECT_EQ(token.st_mode & 0777, 0600);

  // The test fixture's endpoints are not there unless asked for.
  auto faults = running.send({"POST", "/_test/faults", {{"Authorization", "Bearer " + running.adminToken()},
                                                        {"Content-Type", "application/json"}}, "{}"});
  EXPECT_EQ(faults.status, 404);
}

}  // namespace
}  // namespace tolvana::server
