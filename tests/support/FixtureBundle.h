// FixtureBundle: writes a real bundle directory for tests, with the files a shipped app
// carries: an Info.plist (XML or binary), language folders with string tables in every
// encoding the platform reads, plural tables, other resources, and nested framework and
// plug-in bundles.
//
//   TempDir dir;
//   FixtureBundle app(dir.file("Demo.app"));
//   app.info("CFBundleIdentifier", "com.example.app").infoFormat(plist::Format::Binary);
//   app.strings("de", "Localizable", {{"hello", "Hallo"}}, StringsEncoding::Utf16Le);
//   app.framework("Kit").info("CFBundleIdentifier", "com.example.kit");
//   app.write();
//
// Nothing touches the disk before write(), which writes the whole tree and may be called
// again after further additions. Failures to write throw, which fails the test.
#pragma once

#include <list>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/PropertyList.h"
#include "tolvana/Value.h"

namespace tolvana::testing {

// How a string table is stored. The text forms are the old-style "key" = "value"; format.
enum class StringsEncoding { Utf8, Utf8Bom, Utf16Le, Utf16Be, XmlPlist, BinaryPlist };

class FixtureBundle {
 public:
  using Entries = std::vector<std::pair<std::string, std::string>>;

  explicit FixtureBundle(std::string path);
  FixtureBundle(const FixtureBundle&) = delete;
  FixtureBundle& operator=(const FixtureBundle&) = delete;

  const std::string& path() const { return path_; }

  // An Info.plist entry; the Info.plist is written only when it has entries or raw bytes.
  FixtureBundle& info(std::string key, Value value);
  FixtureBundle& infoFormat(plist::Format format);
  // Info.plist bytes written exactly as given, instead of the entries (for broken files).
  FixtureBundle& rawInfo(std::string bytes);

  // "<language>.lproj/<table>.strings", or "<table>.strings" at the top when language is empty.
  // Text encodings keep the entries' order, so duplicate keys can be written too.
  FixtureBundle& strings(const std::string& language, const std::string& table, const Entries& entries,
                         StringsEncoding encoding = StringsEncoding::Utf8);
  // "<language>.lproj/<table>.stringsdict", an XML property list of plural entries.
  FixtureBundle& stringsdict(const std::string& language, const std::string& table, Value::Dictionary entries);
  // Any file relative to the bundle, with exactly these bytes.
  FixtureBundle& resource(const std::string& relativePath, std::string bytes = "");

  // Nested bundles "Frameworks/<name>.framework" and "PlugIns/<name>"; the same name gives
  // the same object. They are written with their parent.
  FixtureBundle& framework(const std::string& name);
  FixtureBundle& plugIn(const std::string& name);

  void write() const;

  // The bytes of a table in an encoding, for tests that write or parse them by hand.
  static std::string encodeStrings(const Entries& entries, StringsEncoding encoding);

 private:
  FixtureBundle& nested(const std::string& relativePath);

  std::string path_;
  Value::Dictionary info_;
  plist::Format infoFormat_ = plist::Format::Xml;
  std::optional<std::string> rawInfo_;
  std::map<std::string, std::string> files_;  // relative path → bytes
  std::list<std::pair<std::string, FixtureBundle>> children_;  // a list keeps references stable
};

}  // namespace tolvana::testing
