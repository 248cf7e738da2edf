// tolvana import / export against a running server: the dry run lists what would change and
// writes nothing, the import writes, the export writes the file, and failures say why.
#include <gtest/gtest.h>

#include <fstream>

#include "support/Files.h"
#include "tests/support/ServerFixture.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TempDir.h"

namespace tolvana {
namespace {

using namespace tolvana::testing;

TEST(CliCatalogues, ImportShowsTheDryRunThenWritesAndExportWritesTheFile) {
  ServerFixture server({});
  TempDir dir;
  server.request("PATCH", "/admin/v1/projects/app1", R"({"languages":["en","ru"]})");
  std::ofstream(dir.file("token")) << server.adminToken() << "\n";
  std::ofstream(dir.file("wrong-token")) << "not-the-admin-token-at-all\n";
  std::ofstream(dir.file("ru.po")) << "msgctxt \"files\"\nmsgid \"%d file\"\nmsgid_plural \"%d files\"\n"
                                      "msgstr[0] \"%d файл\"\nmsgstr[1] \"%d файла\"\nmsgstr[2] \"%d файлов\"\n";
  auto tolvana = [&](std::vector<std::string> arguments, const std::string& token = "token") -> ProcessResult {
    std::vector<std::string> at = {"--ca", server.caFile(), "--server", server.baseUrl(), "--token-file",
                                   dir.file(token), "--project", "app1", "--language", "ru"};
    arguments.insert(arguments.begin() + 1, at.begin(), at.end());
    arguments.insert(arguments.begin(), TOLVANA_CLI_BINARY);
    return runProcess(arguments, {"HOME=" + dir.path()});
  };
  const std::string noDrafts = server.request("GET", "/admin/v1/projects/app1/entries?language=ru");

  auto dryRun = tolvana({"import", dir.file("ru.po"), "--dry-run"});
  ASSERT_EQ(dryRun.exitCode, 0) << dryRun.err;
  EXPECT_NE(dryRun.out.find("+ files[many]: \"%d файлов\""), std::string::npos) << dryRun.out;
  EXPECT_NE(dryRun.out.find("would add 3 new, 0 changed"), std::string::npos) << dryRun.out;
  EXPECT_EQ(server.request("GET", "/admin/v1/projects/app1/entries?language=ru"), noDrafts);

  ASSERT_EQ(tolvana({"import", dir.file("ru.po")}).exitCode, 0);
  auto exported = tolvana({"export", "-o", dir.file("out.po")});
  ASSERT_EQ(exported.exitCode, 0) << exported.err;
  EXPECT_NE(readWholeFile(dir.file("out.po")).value_or("").find("msgstr[2] \"%d файлов\""), std::string::npos);

  auto refused = tolvana({"import", dir.file("ru.po")}, "wrong-token");
  EXPECT_EQ(refused.exitCode, 1);
  EXPECT_NE(refused.err.find("HTTP 401"), std::string::npos) << refused.err;
  auto unknown = tolvana({"import", dir.file("token")});
  EXPECT_EQ(unknown.exitCode, 2);
  EXPECT_NE(unknown.err.find("--format"), std::string::npos) << unknown.err;
}

}  // namespace
}  // namespace tolvana
