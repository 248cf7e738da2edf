#include "config/TLDeviceUtil.h"

#include <cmath>

#include <filesystem>

#include "config/ProcessState.h"
#include "config/TLSettings.h"
#include "support/Hmac.h"
#include "support/SafeName.h"
#include "support/StringUtil.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

namespace {

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
  return ProcessState::get().uiTestRunning.get([] { return TLSettings::uiTestScreenCaptureEnabled(); });
}

bool TLDeviceUtil::isInShowIdModeOnLaunch() {
  return ProcessState::get().showIdOnLaunch.get([] { return TLSettings::showIdModeEnabledOnLaunch(); });
}

bool TLDeviceUtil::isDebuggerConnected() {
  return ProcessState::get().debuggerConnected.get([] { return device().isBeingTraced(); });
}

bool TLDeviceUtil::isAppExtension() {
  return ProcessState::get().appExtension.get([] {
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
  ProcessState& state = ProcessState::get();
  for (auto* fact : {&state.uiTestRunning, &state.showIdOnLaunch, &state.debuggerConnected, &state.appExtension}) {
    fact->clear();
  }
}

double TLDeviceUtil::screenWidth() {
  UiScreen screen = Platform::Current().ui().mainScreen();
  return screen.width * screen.scale;
}

double TLDeviceUtil::screenheight() {
  UiScreen screen = Platform::Current().ui().mainScreen();
  return screen.height * screen.scale;
}

float TLDeviceUtil::screenScale() { return static_cast<float>(Platform::Current().ui().mainScreen().scale); }

void TLDeviceUtil::showMessage(const std::string& message, int seconds) {
  Platform::Current().ui().presentAlert(Alert{.title = "", .message = message, .textFields = {}, .actions = {},
                                              .dismissAfterSeconds = seconds});
}

}  // namespace tolvana
