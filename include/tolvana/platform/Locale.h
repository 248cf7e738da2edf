// Locale: the user's preferred languages and the parts of a locale identifier.
//
// Thread contract: every method may be called from any thread, concurrently.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tolvana/Export.h"

namespace tolvana {

struct TOLVANA_EXPORT LocaleComponents {
  std::string language;  // "zh"
  std::string script;    // "Hans"
  std::string region;    // "CN"
  std::string variant;
  // How many of the parts are present, like the count of a components dictionary.
  int count() const;
};

class TOLVANA_EXPORT Locale {
 public:
  virtual ~Locale() = default;
  // The preferred languages, most preferred first, as BCP 47 style identifiers ("en-US").
  // The app's "AppleLanguages" user default wins when present; never empty (falls back to "en").
  virtual std::vector<std::string> preferredLanguages() const = 0;
  // The region of the current locale ("US"), or nullopt.
  virtual std::optional<std::string> currentRegion() const = 0;
  // Splits an identifier such as "zh-Hans-CN" or "en_US"; unknown parts stay empty.
  virtual LocaleComponents componentsFromLocaleIdentifier(std::string_view identifier) const = 0;
};

}  // namespace tolvana
