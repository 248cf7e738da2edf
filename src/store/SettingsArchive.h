// SettingsArchive: where the app's settings archive is: its file name from the Info.plist,
// and the bundle that holds it.
//
// Thread contract: both may be called from any thread; they read the bundles as they are.
#pragma once

#include <optional>
#include <string>

namespace tolvana {

class SettingsArchive {
 public:
  // "TolvanaSettingsFilename" with ".tolvana"; under tests "TolvanaTestSettingsFilename" wins
  // when set; else "tolvana_settings.tolvana".
  static std::string name();
  // The archive's path in the main bundle (or, for a UI-test runner, in the app it tests),
  // else the one a cross-platform toolkit keeps among its assets; nullopt when none is there.
  static std::optional<std::string> locate(const std::string& archiveName);
};

}  // namespace tolvana
