// A real host process, linked against the shared library, gets its texts with no set-up.
#include <gtest/gtest.h>

#include "tests/support/AppFixture.h"
#include "tests/support/Subprocess.h"

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
  AppFixture app;  // installed here only for its bundle and archive
  app.bundle.strings("en", "Localizable", {{"only.in.bundle", "Bundle text"}});
  app.appLanguage("en", {{"title", "Welcome", ""}});
  app.stores["de"] = StoreContents{{{"title", "Willkommen", ""}}, {{"main", 1}}};
  app.install();

  std::vector<std::string> environment = {"TOLVANA_MAIN_BUNDLE=" + app.bundle.path(), "LANG=de_DE.UTF-8",
                                          "XDG_DATA_HOME=" + app.dir.file("data"),
                                          "XDG_CONFIG_HOME=" + app.dir.file("config"), "HOME=" + app.dir.path()};
  std::string output = runHost({TOLVANA_HOST_EXAMPLE, "title", "only.in.bundle", "nowhere"}, environment);
  EXPECT_EQ(output, "Willkommen\nBundle text\nnowhere\n");

  environment[1] = "LANG=en_US.UTF-8";
  EXPECT_EQ(runHost({TOLVANA_HOST_EXAMPLE, "title"}, environment), "Welcome\n");
}

}  // namespace
}  // namespace tolvana
