#include "tests/support/AppFixture.h"

#include <filesystem>

#include "core/TLInternal.h"
#include "platform/posix/DirectoryBundle.h"
#include "support/Json.h"

namespace tolvana::testing {

AppFixture::AppFixture()
    : bundle(dir.file("Fixture.app")),
      appFile{{"_id", "app1"},
              {"apiSecret", "s3cr3t-key"},
              {"__v", 1},
              {"baseLanguage", "en"},
              {"collectMissingEnabled", true},
              {"draftModeEnabled", true},
              {"languages", Value::Array{}}} {
  bundle.info("CFBundleDevelopmentRegion", "en");
  bundle.info("CFBundleVersion", "7");
  bundle.info("CFBundleExecutable", "Fixture");
}

AppFixture::~AppFixture() { TLInternal::dropInstanceForTesting(); }

void AppFixture::appLanguage(const std::string& language, const std::vector<TLLanguageEntry>& entries) {
  Value::Array rows;
  for (const auto& entry : entries) {
    rows.push_back(Value::Dictionary{{"key", entry.key}, {"value", entry.value}, {"draft", entry.draft}});
  }
  appFile["languages"].asArray().push_back(Value::Dictionary{{"name", language}, {"entrys", rows}});
}

std::string AppFixture::appId() const { return appFile.at("_id").isString() ? appFile.at("_id").asString() : ""; }

Platform& AppFixture::install() {
  bundle.info("CFBundleIdentifier", bundleIdentifier);
  bundle.write();
  if (!archiveName.empty()) {
    std::string archivePath = bundle.path() + "/" + archiveName;
    std::filesystem::create_directories(std::filesystem::path(archivePath).parent_path());
    ArchiveBuilder archive;
    archive.file("app.tolvana", json::serialize(appFile));
    for (const auto& [language, contents] : stores) archive.store(appId(), language, contents);
    archive.endBlocks();
    archive.writeTo(archivePath);
  }
  std::weak_ptr<FixedLocale> locale = platform.locale;
  platform.bundles = makeDirectoryBundles(bundle.path(), [locale] {
    auto l = locale.lock();
    return l ? l->preferredLanguages() : std::vector<std::string>{};
  });
  platform.device->setDataDirectory(dir.file("data"));
  TLInternal::dropInstanceForTesting();
  return platform.install();
}

}  // namespace tolvana::testing
