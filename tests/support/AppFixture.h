// AppFixture: a whole app as the engine meets it. A real bundle directory with an Info.plist
// and a settings archive (the app file and, optionally, prepared per-language stores), a
// data directory, and a test platform whose main bundle is that directory.
//
//   AppFixture app;
//   app.appLanguage("de", {{"hello", "Hallo", ""}});
//   app.bundle.info("TolvanaUpdateLanguages", "fr");
//   app.install();
//   auto engine = TLInternal::sharedInstance();
#pragma once

#include <map>
#include <string>
#include <vector>

#include "store/TLLanguageEntry.h"
#include "tests/support/ArchiveBuilder.h"
#include "tests/support/FixtureBundle.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestPlatform.h"

namespace tolvana::testing {

struct AppFixture {
  AppFixture();
  ~AppFixture();

  TempDir dir;
  FixtureBundle bundle;
  TestPlatform platform;
  // The app file "app.tolvana" (V1 layout); starts with an id, a secret, version 1, base
  // language "en" and both project flags on.
  Value::Dictionary appFile;
  // Prepared stores shipped in the archive, by language.
  std::map<std::string, StoreContents> stores;
  // Name of the archive in the bundle; empty ships none.
  std::string archiveName = "tolvana_settings.tolvana";

  // Adds a language with entries to the app file.
  void appLanguage(const std::string& language, const std::vector<TLLanguageEntry>& entries);
  // Writes the bundle and the archive, installs the platform and forgets what earlier tests
  // left in process-wide caches (device languages, once values, the engine).
  Platform& install();

  std::string appId() const;
  std::string dataDirectory() const { return dir.file("data") + "/Tolvana/" + bundleIdentifier; }
  std::string storePath(const std::string& language) const { return dataDirectory() + "/" + appId() + "/" + language + ".sqlite"; }

  std::string bundleIdentifier = "io.tolvana.fixture";
};

}  // namespace tolvana::testing
