// A real host process, linked against the shared library, gets its texts with no set-up.
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <sstream>

#include "support/Json.h"
#include "tests/support/ArchiveBuilder.h"
#include "tests/support/FixtureBundle.h"
#include "tests/support/TempDir.h"

extern char** environ;

namespace tolvana {
namespace {

using namespace testing;

// Runs the host with the environment given, returns its standard output.
std::string runHost(const std::vector<std::string>& arguments, const std::vector<std::string>& environment) {
  int pipeFds[2];
  EXPECT_EQ(::pipe(pipeFds), 0);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDOUT_FILENO);
  posix_spawn_file_actions_addclose(&actions, pipeFds[0]);
  std::vector<char*> argv, envp;
  for (const auto& a : arguments) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  for (const auto& e : environment) envp.push_back(const_cast<char*>(e.c_str()));
  envp.push_back(nullptr);
  pid_t pid = 0;
  EXPECT_EQ(posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), envp.data()), 0);
  ::close(pipeFds[1]);
  std::string output;
  std::array<char, 4096> buffer;
  for (ssize_t n; (n = ::read(pipeFds[0], buffer.data(), buffer.size())) > 0;) output.append(buffer.data(), n);
  ::close(pipeFds[0]);
  int status = 0;
  ::waitpid(pid, &status, 0);
  posix_spawn_file_actions_destroy(&actions);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  return output;
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
