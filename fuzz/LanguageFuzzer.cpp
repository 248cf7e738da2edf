// Language selection from host calls and device settings: the input's first line is the
// language a host sets, the rest the device's preferred languages. Selection and look-up must
// answer, and no language name may reach the file system outside the data directory.
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/FuzzApp.h"
#include "support/StringUtil.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static auto* fuzz = new tolvana::fuzz::FuzzApp;
  auto lines = tolvana::split(std::string(reinterpret_cast<const char*>(data), size), '\n');
  std::vector<std::string> preferred(lines.begin() + 1, lines.end());
  fuzz->app.platform.locale->setPreferredLanguages(preferred);
  auto& engine = *fuzz->engine;
  engine.setLanguage(lines[0].empty() ? std::nullopt : std::optional<std::string_view>(lines[0]));
  engine.resetDefaultLanguages();
  engine.defaultLanguages();
  engine.localizedStringForKey("hello", "Hello");
  engine.localizedStringForKeyAndLanguage("hello", lines[0]);
  engine.uploadLanguage();
  fuzz->endInput();
  return 0;
}
