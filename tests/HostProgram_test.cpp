// A real host process, linked against the shared library, gets its texts with no set-up.
#include <gtest/gtest.h>

#include "support/Json.h"
#include "tests/support/ArchiveBuilder.h"
#include "tests/support/FixtureBundle.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TempDir.h"

namespace tolvana {
namespace {

using namespace testing;

// Runs the host with the environment given, returns its standard output.
std::string runHost(const std::vector<std::string>& arguments, const std::vector<std::string>& environment) {
  ProcessResult result = runProcess(arguments, environment);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  return result.out;
}

TEST(HostProgram, GetsTheDeviceLanguageTextWithNoOtherCall) {
  TempDir dir;
  FixtureBundle app(dir.file("Host.app"));
  app.info("CFBundleIdentifier", "io.tolvana.host").info("CFBundleDevelopmentRegion", "en");
  app.strings("en", "Localizable", {{"only.in.bundle", "Bundle text"}});
  app.write();
  Value::Dictionary appFile{{"_id", "hostapp"},   {"apiSecret", "k3y"}, {"__v", 1},
                            {"baseLanguage", "en"}, {"languages", Value::Array{Value::Dictionary{
                                                        {"name", "en"}, {"entrys", Value::Array{Value::Dictionary{
                                                                                {"key", "title"}, {"value", "Welcome"}}}}}}}};
  ArchiveBuilder archive;
  archive.file("app.tolvana", json::serialize(appFile));
  archive.store("hostapp", "de", StoreContents{{{"title", "Willkommen", ""}}, {{"main", 1}}});
  archive.endBlocks();
  archive.writeTo(app.path() + "/tolvana_settings.tolvana");

  std::vector<std::string> environment = {"TOLVANA_MAIN_BUNDLE=" + app.path(), "LANG=de_DE.UTF-8",
                                          "XDG_DATA_HOME=" + dir.file("data"), "XDG_CONFIG_HOME=" + dir.file("config"),
                                          "HOME=" + dir.path()};
  std::string output = runHost({TOLVANA_HOST_EXAMPLE, "title", "only.in.bundle", "nowhere"}, environment);
  EXPECT_EQ(output, "Willkommen\nBundle text\nnowhere\n");

  environment[1] = "LANG=en_US.UTF-8";
  EXPECT_EQ(runHost({TOLVANA_HOST_EXAMPLE, "title"}, environment), "Welcome\n");
}

}  // namespace
}  // namespace tolvana
