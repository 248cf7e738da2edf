#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "platform/fake/FakeDevice.h"
#include "platform/posix/PosixDevice.h"

namespace tolvana {
namespace {

void setVariable(const char* name, const std::optional<std::string>& value) {
  value ? ::setenv(name, value->c_str(), 1) : ::unsetenv(name);
}

TEST(DeviceContract, AnswersLaunchArgumentsAndEnvironment) {
  setVariable("TOLVANA_DEVICE_TEST", "a value");
  auto fake = std::make_shared<FakeDevice>();
  fake->setEnvironmentValue("TOLVANA_DEVICE_TEST", "a value");
  for (const auto& device : {makePosixDevice(), std::shared_ptr<Device>(fake)}) {
    auto arguments = device->launchArguments();
    ASSERT_FALSE(arguments.empty());
    EXPECT_FALSE(arguments.front().empty());
    EXPECT_EQ(device->environmentValue("TOLVANA_DEVICE_TEST"), "a value");
    EXPECT_EQ(device->environmentValue("TOLVANA_DEVICE_TEST_UNSET"), std::nullopt);
  }
  EXPECT_TRUE(makePosixDevice()->launchArguments().front().ends_with("tolvana_tests"));
  setVariable("TOLVANA_DEVICE_TEST", std::nullopt);
}

TEST(DeviceContract, MachineFactsAreStableAndWellFormed) {
  char dir[] = "/tmp/tolvana-device-XXXXXX";
  ASSERT_NE(::mkdtemp(dir), nullptr);
  setVariable("XDG_DATA_HOME", std::string(dir));
  for (const auto& device : {makePosixDevice(), std::shared_ptr<Device>(std::make_shared<FakeDevice>())}) {
    EXPECT_FALSE(device->hardwareModel().empty());
    EXPECT_TRUE(device->operatingSystem().starts_with(device->platformName() == "ios" ? "iOS " : "Linux "));
    EXPECT_GT(std::strtod(device->systemVersion().c_str(), nullptr), 0.0) << device->systemVersion();
    // One identifier per vendor, the same on every call; another vendor gets another one.
    auto first = device->vendorIdentifier("io.example");
    ASSERT_TRUE(first.has_value());
    EXPECT_EQ(first->size(), 36u);
    EXPECT_EQ(device->vendorIdentifier("io.example"), first);
    EXPECT_NE(device->vendorIdentifier("org.other"), first);
    EXPECT_FALSE(device->isBeingTraced());
    EXPECT_GT(device->residentMemoryBytes(), 0u);
    EXPECT_GT(device->freeMemoryBytes(), 0u);
  }
  setVariable("XDG_DATA_HOME", std::nullopt);
  std::filesystem::remove_all(dir);
}

TEST(PosixDevice, DataDirectoryFollowsXdgThenHome) {
  struct Case {
    std::optional<std::string> xdg, home, expected;
  } const cases[] = {
      {"/xdg/data", "/home/u", "/xdg/data"},
      {"", "/home/u", "/home/u/.local/share"},
      {"relative/data", "/home/u", "/home/u/.local/share"},
      {std::nullopt, std::nullopt, std::nullopt},
  };
  const char* home = std::getenv("HOME");
  std::optional<std::string> savedHome = home ? std::optional<std::string>(home) : std::nullopt;
  for (const Case& c : cases) {
    setVariable("XDG_DATA_HOME", c.xdg);
    setVariable("HOME", c.home);
    EXPECT_EQ(makePosixDevice()->dataDirectory(), c.expected) << c.xdg.value_or("(unset)");
  }
  setVariable("HOME", savedHome);
}

}  // namespace
}  // namespace tolvana
