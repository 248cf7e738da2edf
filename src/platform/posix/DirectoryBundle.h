// The Linux Bundle: an iOS-style bundle directory on disk.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tolvana/platform/Bundle.h"

namespace tolvana {

// Supplies the preferred languages for the bundle's own string look-up.
using PreferredLanguagesFn = std::function<std::vector<std::string>()>;

// Loads the directory at path (which need not exist: a missing directory is an empty bundle).
// The Info.plist is read once here; a malformed one logs one error line naming the file.
// String tables are parsed on first use and kept.
std::shared_ptr<const Bundle> loadDirectoryBundle(std::string path, PreferredLanguagesFn preferredLanguages);

// Bundles of an app directory: the main bundle at mainPath, its "Frameworks/*.framework"
// bundles and its "PlugIns/*" bundles (the other loaded bundles).
std::shared_ptr<Bundles> makeDirectoryBundles(std::string mainPath, PreferredLanguagesFn preferredLanguages);

// The main bundle directory of this process: $TOLVANA_MAIN_BUNDLE when set, else the
// directory of the running executable.
std::string defaultMainBundlePath();

}  // namespace tolvana
