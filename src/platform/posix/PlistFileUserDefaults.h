// The Linux UserDefaults: one property-list file per domain.
#pragma once

#include <memory>
#include <string>

#include "tolvana/platform/UserDefaults.h"

namespace tolvana {

// The domain stored at filePath (created on the first synchronize). A missing file is an
// empty domain; a malformed one reads as empty with one error line naming the file.
std::shared_ptr<UserDefaults> makePlistFileUserDefaults(std::string filePath);

// "$XDG_CONFIG_HOME/tolvana/<domain>.plist" (XDG_CONFIG_HOME defaults to ~/.config).
std::string defaultUserDefaultsPath(const std::string& domain);

}  // namespace tolvana
