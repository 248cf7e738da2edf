// A Locale with preferred languages and region set by a test; identifiers split by ICU as
// in production, since the engine's language rules depend on the real splitting.
#pragma once

#include <mutex>

#include "support/Mutex.h"
#include "tolvana/platform/Locale.h"

namespace tolvana {

class FixedLocale final : public Locale {
 public:
  explicit FixedLocale(std::vector<std::string> preferred = {"en-US"}, std::optional<std::string> region = "US");
  std::vector<std::string> preferredLanguages() const override;
  std::optional<std::string> currentRegion() const override;
  LocaleComponents componentsFromLocaleIdentifier(std::string_view identifier) const override;

  void setPreferredLanguages(std::vector<std::string> preferred);
  void setCurrentRegion(std::optional<std::string> region);

 private:
  mutable Mutex mutex_;
  std::vector<std::string> preferred_ TL_GUARDED_BY(mutex_);
  std::optional<std::string> region_ TL_GUARDED_BY(mutex_);
};

}  // namespace tolvana
