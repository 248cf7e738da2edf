// Bundle and Bundles: the app's bundle directories as the platform sees them.
//
// A Bundle is an iOS-style directory: an Info.plist (XML or binary property list), language
// folders "<lang>.lproj/" holding ".strings" tables (old-style text in UTF-8 or UTF-16 with a
// byte-order mark, or binary/XML property lists) and ".stringsdict" plural tables, other
// resources, and "Frameworks/<Name>.framework/" bundles nested inside the main one.
//
// Thread contract: a Bundle is immutable once loaded; every method may be called from any
// thread at any time, concurrently. Bundles hands out shared, immutable Bundle objects and
// is equally safe from any thread.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tolvana/Export.h"
#include "tolvana/Value.h"

namespace tolvana {

class TOLVANA_EXPORT Bundle {
 public:
  virtual ~Bundle() = default;

  // Absolute path of the bundle directory, without a trailing slash.
  virtual std::string bundlePath() const = 0;
  // "CFBundleIdentifier" of the Info.plist, or nullopt.
  virtual std::optional<std::string> bundleIdentifier() const = 0;
  // Path of the bundle's executable ("CFBundleExecutable" inside the bundle), or nullopt.
  virtual std::optional<std::string> executablePath() const = 0;
  // The raw Info.plist value under the key, or nullopt when absent. The Info.plist is read
  // when the bundle is loaded; a missing or malformed one reads as empty.
  virtual std::optional<Value> objectForInfoDictionaryKey(std::string_view key) const = 0;

  // Path of the resource "name.type" at the top of the bundle, else in the language folders
  // in the order of the preferred localizations; nullopt when there is none. An empty type
  // means name already carries its extension.
  virtual std::optional<std::string> pathForResource(std::string_view name, std::string_view type) const = 0;
  // The same, inside the sub-directory of the bundle (and of its language folders).
  virtual std::optional<std::string> pathForResource(std::string_view name, std::string_view type,
                                                     std::string_view directory) const = 0;
  // Paths of every resource of the type (extension) in the folder of the localization
  // ("<localization>.lproj", inside directory when given); sorted.
  virtual std::vector<std::string> pathsForResourcesOfType(std::string_view type, std::string_view directory,
                                                           std::string_view localization) const = 0;

  // Language folder names without ".lproj" (Base included), sorted.
  virtual std::vector<std::string> localizations() const = 0;
  // "CFBundleDevelopmentRegion" of the Info.plist, or nullopt.
  virtual std::optional<std::string> developmentLocalization() const = 0;

  // The platform's own look-up: the table ("Localizable" when nullopt or empty) in the
  // language folders in the order of the preferred languages, then the development
  // localization and Base; when the key is in none, value when non-empty, else the key.
  virtual std::string localizedStringForKey(std::string_view key, std::optional<std::string_view> value,
                                            std::optional<std::string_view> table) const = 0;
};

class TOLVANA_EXPORT Bundles {
 public:
  virtual ~Bundles() = default;
  // The app's own bundle; never null (a bundle without files when the directory is missing).
  virtual std::shared_ptr<const Bundle> mainBundle() = 0;
  // The main bundle followed by every other loaded non-framework bundle.
  virtual std::vector<std::shared_ptr<const Bundle>> allBundles() = 0;
  // Every framework bundle of the app ("Frameworks/*.framework"), sorted by path.
  virtual std::vector<std::shared_ptr<const Bundle>> allFrameworks() = 0;
  // The loaded bundle (main, framework or other) with that identifier, or null.
  virtual std::shared_ptr<const Bundle> bundleWithIdentifier(std::string_view identifier) = 0;
};

}  // namespace tolvana
