#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/fake/FakeDevice.h"
#include "platform/posix/PosixDevice.h"

namespace tolvana {
namespace {

// Sets a variable for one test and puts the old value back.
class ScopedVariable {
 public:
  ScopedVariable(const char* name, std::optional<std::string> value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    set(value);
  }
  ~ScopedVariable() { set(old_); }

 private:
  void set(const std::optional<std::string>& value) {
    value ? ::setenv(name_, value->c_str(), 1) : ::unsetenv(name_);
  }
  const char* name_;
  std::optional<std::string> old_;
};

TEST(DeviceContract, AnswersLaunchArgumentsAndEnvironment) {
  ScopedVariable variable("TOLVANA_DEVICE_TEST", "a value");
  auto fake = std::make_shared<FakeDevice>();
  fake->setEnvironmentValue("TOLVANA_DEVICE_TEST", "a value");
  std::shared_ptr<Device> implementations[] = {makePosixDevice(), fake};
  for (const auto& device : implementations) {
    auto arguments = device->launchArguments();
    ASSERT_FALSE(arguments.empty());
    EXPECT_FALSE(arguments.front().empty());
    EXPECT_EQ(device->environmentValue("TOLVANA_DEVICE_TEST"), "a value");
    EXPECT_EQ(device->environmentValue("TOLVANA_DEVICE_TEST_UNSET"), std::nullopt);
  }
}

TEST(PosixDevice, LaunchArgumentsAreThisProcesssArguments) {
  auto arguments = makePosixDevice()->launchArguments();
  ASSERT_FALSE(arguments.empty());
  EXPECT_TRUE(arguments.front().ends_with("tolvana_tests")) << arguments.front();
  for (const auto& argument : arguments) EXPECT_EQ(argument.find('\0'), std::string::npos);
}

TEST(PosixDevice, DataDirectoryFollowsXdgThenHome) {
  struct Case {
    std::optional<std::string> xdg, home, expected;
  };
  const Case cases[] = {
      {"/xdg/data", "/home/u", "/xdg/data"},
      {"", "/home/u", "/home/u/.local/share"},
      {"relative/data", "/home/u", "/home/u/.local/share"},
      {std::nullopt, std::nullopt, std::nullopt},
  };
  for (const Case& c : cases) {
    ScopedVariable xdg("XDG_DATA_HOME", c.xdg);
    ScopedVariable home("HOME", c.home);
    EXPECT_EQ(makePosixDevice()->dataDirectory(), c.expected) << c.xdg.value_or("(unset)");
  }
}

}  // namespace
}  // namespace tolvana
