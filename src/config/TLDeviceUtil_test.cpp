#include "config/TLDeviceUtil.h"

#include <gtest/gtest.h>

#include "tests/support/TestPlatform.h"

namespace tolvana {
namespace {

using testing::TestPlatform;

class TLDeviceUtilTest : public ::testing::Test {
 protected:
  TLDeviceUtilTest() : platform({{"CFBundleIdentifier", "io.example.app"}, {"CFBundleVersion", 42}}) {
    platform.install();
    TLDeviceUtil::resetOnceValuesForTesting();
  }
  TestPlatform platform;
};

TEST_F(TLDeviceUtilTest, DerivedProfileFields) {
  EXPECT_EQ(TLDeviceUtil::bundleVersion(), "42");
  EXPECT_EQ(TLDeviceUtil::genuine(), "YES");
  platform.device->setPassesIntegrityCheck(false);
  EXPECT_EQ(TLDeviceUtil::genuine(), "NO");
  // Apps of one vendor share the identifier.
  auto did = TLDeviceUtil::did();
  ASSERT_TRUE(did.has_value());
  EXPECT_EQ(did, platform.device->vendorIdentifier("io.example"));
  platform.clock->setSecondsSince1970(1700000000.9);
  EXPECT_EQ(TLDeviceUtil::timestamp(), "1700000000");
  EXPECT_EQ(TLDeviceUtil::engine(), "iOSNative");
}

TEST_F(TLDeviceUtilTest, TestDetectionFollowsTheEnvironment) {
  EXPECT_FALSE(TLDeviceUtil::isRunningTests());
  platform.device->setEnvironmentValue("XCTestConfigurationFilePath", "/tmp/run.xctestconfiguration");
  EXPECT_TRUE(TLDeviceUtil::isRunningTests());
  platform.device->setEnvironmentValue("XCTestConfigurationFilePath", std::nullopt);
  platform.device->setEnvironmentValue("XCInjectBundle", "/tmp/Foo.octest");
  EXPECT_TRUE(TLDeviceUtil::isRunningTests());
  platform.device->setEnvironmentValue("XCInjectBundle", "/tmp/Foo.bundle");
  EXPECT_FALSE(TLDeviceUtil::isRunningTests());
}

TEST_F(TLDeviceUtilTest, OnceValuesKeepTheirFirstAnswer) {
  platform.device->setLaunchArguments({"app", "TolvanaShowIdModeEnabled"});
  platform.device->setBeingTraced(true);
  EXPECT_TRUE(TLDeviceUtil::isInShowIdModeOnLaunch());
  EXPECT_FALSE(TLDeviceUtil::isUITestRunning());
  EXPECT_TRUE(TLDeviceUtil::isDebuggerConnected());
  platform.device->setLaunchArguments({"app", "TolvanaUITestScreenshotEnabled"});
  platform.device->setBeingTraced(false);
  EXPECT_TRUE(TLDeviceUtil::isInShowIdModeOnLaunch());
  EXPECT_FALSE(TLDeviceUtil::isUITestRunning());
  EXPECT_TRUE(TLDeviceUtil::isDebuggerConnected());
}

TEST(TLDeviceUtil, AppExtensionAndDataDirectory) {
  auto bundle = std::make_shared<MemoryBundle>(
      "/apps/Host.app/PlugIns/Share.appex",
      Value::Dictionary{{"CFBundleIdentifier", "io.example.app.share"}, {"CFBundleExecutable", "Share"}});
  TestPlatform platform;
  platform.bundles = std::make_shared<MemoryBundles>(bundle);
  platform.device->setDataDirectory("/home/u/.local/share");
  platform.install();
  TLDeviceUtil::resetOnceValuesForTesting();
  EXPECT_TRUE(TLDeviceUtil::isAppExtension());
  EXPECT_EQ(TLDeviceUtil::userdataDirectory(), "/home/u/.local/share/Tolvana/io.example.app.share");
  platform.device->setDataDirectory(std::nullopt);
  EXPECT_EQ(TLDeviceUtil::userdataDirectory(), std::nullopt);
  TLDeviceUtil::resetOnceValuesForTesting();
}

// Apps without an identifier (or with one that is no folder name) never share a folder.
TEST(TLDeviceUtil, EveryAppHasADataDirectoryOfItsOwn) {
  auto dataDirectoryOf = [](std::string path, Value::Dictionary info) {
    TestPlatform platform;
    platform.bundles = std::make_shared<MemoryBundles>(std::make_shared<MemoryBundle>(std::move(path), std::move(info)));
    platform.device->setDataDirectory("/data");
    platform.install();
    return TLDeviceUtil::userdataDirectory().value_or("");
  };
  std::string first = dataDirectoryOf("/apps/One.app", {});
  EXPECT_TRUE(first.starts_with("/data/Tolvana/unidentified-")) << first;
  EXPECT_EQ(dataDirectoryOf("/apps/One.app", {{"CFBundleIdentifier", ".."}}), first);
  EXPECT_NE(dataDirectoryOf("/apps/Two.app", {}), first);
}

}  // namespace
}  // namespace tolvana
