#include "sync/TLDeviceUtil.h"

#include <atomic>
#include <cmath>
#include <mutex>

#include <filesystem>

#include "core/TLSettings.h"
#include "support/Hmac.h"
#include "support/SafeName.h"
#include "support/StringUtil.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

namespace {

// A value computed once per process, thread-safely; resettable for tests that simulate a
// new process.
template <class T>
class Once {
 public:
  template <class F>
  T get(F compute) {
    std::lock_guard lock(mutex_);
    if (!value_) value_ = compute();
    return *value_;
  }
  void reset() {
    std::lock_guard lock(mutex_);
    value_.reset();
  }

 private:
  std::mutex mutex_;
  std::optional<T> value_;
};

Once<bool> uiTestRunning, showIdOnLaunch, debuggerConnected, appExtension;

Device& device() { return Platform::Current().device(); }

}  // namespace

std::string TLDeviceUtil::deviceModel() { return device().hardwareModel(); }
std::string TLDeviceUtil::genuine() { return device().passesIntegrityCheck() ? "YES" : "NO"; }
std::string TLDeviceUtil::platform() { return device().platformName(); }
std::string TLDeviceUtil::operatingSystem() { return device().operatingSystem(); }
std::string TLDeviceUtil::engine() { return "iOSNative"; }

std::optional<std::string> TLDeviceUtil::bundleIdentifier() {
  return Platform::Current().bundles().mainBundle()->bundleIdentifier();
}

std::optional<std::string> TLDeviceUtil::bundleVersion() {
  auto version = TLSettings::objectForInfoDictionaryKey("CFBundleVersion");
  if (!version || version->isNull()) return std::nullopt;
  return version->description();
}

std::optional<std::string> TLDeviceUtil::did() {
  // Apps of one vendor share the identifier: the vendor is the bundle identifier without
  // its last component.
  std::string identifier = bundleIdentifier().value_or("");
  auto dot = identifier.rfind('.');
  std::string vendor = dot == std::string::npos ? identifier : identifier.substr(0, dot);
  return device().vendorIdentifier(vendor.empty() ? "unidentified" : vendor);
}

std::string TLDeviceUtil::timestamp() {
  return std::to_string(static_cast<long long>(std::trunc(Platform::Current().clock().secondsSince1970())));
}

bool TLDeviceUtil::isRunningTests() {
  auto extensionOf = [](const char* name) {
    auto value = device().environmentValue(name);
    return value ? pathExtension(*value) : std::string();
  };
  std::string inject = extensionOf("XCInjectBundle");
  return extensionOf("XCTestConfigurationFilePath") == "xctestconfiguration" || inject == "octest" ||
         inject == "xctest";
}

bool TLDeviceUtil::isUITestRunning() {
  return uiTestRunning.get([] { return TLSettings::uiTestScreenCaptureEnabled(); });
}

bool TLDeviceUtil::isInShowIdModeOnLaunch() {
  return showIdOnLaunch.get([] { return TLSettings::showIdModeEnabledOnLaunch(); });
}

bool TLDeviceUtil::isDebuggerConnected() {
  return debuggerConnected.get([] { return device().isBeingTraced(); });
}

bool TLDeviceUtil::isAppExtension() {
  return appExtension.get([] {
    auto path = Platform::Current().bundles().mainBundle()->executablePath();
    return path && contains(*path, ".appex/");
  });
}

namespace {

std::string appFolderName() {
  auto identifier = TLDeviceUtil::bundleIdentifier();
  if (identifier && SafeName::isAppId(*identifier)) return *identifier;
  std::error_code ec;
  std::string path = Platform::Current().bundles().mainBundle()->bundlePath();
  auto canonical = std::filesystem::weakly_canonical(path, ec);
  if (!ec) path = canonical.string();
  // Any stable hash would do; the keyed one is at hand.
  return "unidentified-" + hmacSha256Hex("Tolvana app folder", path).substr(0, 16);
}

}  // namespace

std::optional<std::string> TLDeviceUtil::userdataDirectory() {
  auto base = device().dataDirectory();
  if (!base) return std::nullopt;
  return *base + "/Tolvana/" + appFolderName();
}

std::uint64_t TLDeviceUtil::usedMemory() { return device().residentMemoryBytes(); }
std::uint64_t TLDeviceUtil::freeMemory() { return device().freeMemoryBytes(); }

// Kept as an entry point for the manager's memory checkpoints; it reports nothing.
void TLDeviceUtil::logMemUsage() {}

void TLDeviceUtil::resetOnceValuesForTesting() {
  uiTestRunning.reset();
  showIdOnLaunch.reset();
  debuggerConnected.reset();
  appExtension.reset();
}

}  // namespace tolvana
