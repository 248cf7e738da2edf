#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <map>

#include "platform/fake/FakeDevice.h"
#include "platform/posix/PosixDevice.h"
#include "tests/support/TempDir.h"

namespace tolvana {
namespace {

// The test's own variables: the process environment stays as it is.
EnvironmentFn environment(std::map<std::string, std::string, std::less<>> variables) {
  return [variables = std::move(variables)](std::string_view name) -> std::optional<std::string> {
    auto found = variables.find(name);
    return found == variables.end() ? std::nullopt : std::optional(found->second);
  };
}

TEST(DeviceContract, AnswersLaunchArgumentsAndEnvironment) {
  auto fake = std::make_shared<FakeDevice>();
  fake->setEnvironmentValue("TOLVANA_DEVICE_TEST", "a value");
  auto posix = makePosixDevice(std::nullopt, environment({{"TOLVANA_DEVICE_TEST", "a value"}}));
  for (const auto& device : {posix, std::shared_ptr<Device>(fake)}) {
    auto arguments = device->launchArguments();
    ASSERT_FALSE(arguments.empty());
    EXPECT_FALSE(arguments.front().empty());
    EXPECT_EQ(device->environmentValue("TOLVANA_DEVICE_TEST"), "a value");
    EXPECT_EQ(device->environmentValue("TOLVANA_DEVICE_TEST_UNSET"), std::nullopt);
  }
  EXPECT_EQ(posix->launchArguments().front(), program_invocation_name);
  EXPECT_EQ(makePosixDevice()->environmentValue("PATH"), std::getenv("PATH"));
}

TEST(DeviceContract, MachineFactsAreStableAndWellFormed) {
  testing::TempDir dir;
  auto posix = makePosixDevice(std::nullopt, environment({{"XDG_DATA_HOME", dir.path()}}));
  for (const auto& device : {posix, std::shared_ptr<Device>(std::make_shared<FakeDevice>())}) {
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
  for (const Case& c : cases) {
    std::map<std::string, std::string, std::less<>> variables;
    if (c.xdg) variables["XDG_DATA_HOME"] = *c.xdg;
    if (c.home) variables["HOME"] = *c.home;
    EXPECT_EQ(makePosixDevice(std::nullopt, environment(variables))->dataDirectory(), c.expected)
        << c.xdg.value_or("(unset)");
  }
}

}  // namespace
}  // namespace tolvana
