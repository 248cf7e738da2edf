// The Linux implementation of every port, wired together. Platform::Default() uses it with
// the process's own bundle and files; a tool that works on another app's bundle, defaults or
// data passes them here.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tolvana/platform/Platform.h"

namespace tolvana {

struct LinuxPortOptions {
  std::optional<std::string> mainBundlePath;    // default: defaultMainBundlePath()
  std::optional<std::string> userDefaultsFile;  // default: the XDG file of the bundle's domain
  std::optional<std::string> dataDirectory;     // default: the XDG data directory
  std::optional<std::string> extraCaFile;       // certificate authorities to trust besides the system's
  std::optional<std::size_t> maxAnswerBytes;     // default: CurlHttpOptions::maxBodyBytes
  std::function<void(std::size_t)> onAnswerBytes;  // CurlHttpOptions::onBodyBytes
  // Replaces the preferred languages of the defaults and the environment, for the engine and
  // the bundles' own look-up alike.
  std::optional<std::vector<std::string>> preferredLanguages;
};

Platform::Ports makeLinuxPorts(const LinuxPortOptions& options = {});
// Only the ports that say which app runs and where its data lives (bundles, user defaults,
// locale, device), in place of those in ports.
void setLinuxAppPorts(Platform::Ports& ports, const LinuxPortOptions& options);

}  // namespace tolvana
