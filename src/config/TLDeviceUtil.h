// TLDeviceUtil: facts about the device, the host app and the run-time environment, for the
// device profile of server requests and for the engine's own decisions.
//
// Thread contract: every method may be called from any thread. The "once" answers are
// computed under one-time guards on first use and kept for the process.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tolvana {

struct DeviceLanguages {
  std::string longCode;
  std::string shortCode;
};

class TLDeviceUtil {
 public:
  static std::string deviceModel();
  static std::string genuine();  // "YES" or "NO"
  static std::string platform();
  static std::string operatingSystem();
  static std::optional<std::string> bundleIdentifier();
  static std::optional<std::string> bundleVersion();
  static std::optional<std::string> did();
  static std::string timestamp();
  static std::string engine();

  // The device language with a region or script where it matters ("zh-Hans", "en-US"),
  // cached until forgetDeviceLanguages().
  static std::string deviceLanguageLong();
  // The bare device language ("zh", "tl"), cached the same way.
  static std::string deviceLanguage();
  // Both, without a copy, for the look-up path: only inside a ReadEpoch::Section, which the
  // reference does not outlive.
  static const DeviceLanguages& deviceLanguages();
  // Changes whenever deviceLanguages() may answer differently; read before it.
  static std::uint64_t deviceLanguagesVersion();
  // The next read computes both again (after the app's language changed).
  static void forgetDeviceLanguages();
  // The first preferred language as the platform gives it; not cached.
  static std::string deviceLocale();

  static bool isRunningTests();
  static bool isUITestRunning();          // once
  static bool isInShowIdModeOnLaunch();   // once
  static bool isDebuggerConnected();      // once
  static bool isAppExtension();           // once
  // The data directory of the engine: the platform's data directory + "/Tolvana/" + the
  // app's folder name. That is the bundle identifier; a bundle without one (or with one that
  // cannot name a folder) gets "unidentified-" and 16 hexadecimal digits of a hash of the
  // bundle's canonical path, so that no two apps ever share, or wipe, one folder.
  static std::optional<std::string> userdataDirectory();
  static std::uint64_t usedMemory();
  static std::uint64_t freeMemory();
  static void logMemUsage();

  // The main screen in pixels, and its pixels per point; zero when there is none. Main
  // queue only, like every question to the Ui port.
  static double screenWidth();
  static double screenheight();
  static float screenScale();
  // A buttonless alert that closes by itself after the seconds; main queue only.
  static void showMessage(const std::string& message, int seconds);

  // Forgets the once answers, for tests that start a new simulated process.
  static void resetOnceValuesForTesting();
};

}  // namespace tolvana
