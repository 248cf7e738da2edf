#include "platform/fake/FixedLocale.h"

#include "platform/posix/IcuLocale.h"

namespace tolvana {

FixedLocale::FixedLocale(std::vector<std::string> preferred, std::optional<std::string> region)
    : preferred_(std::move(preferred)), region_(std::move(region)) {}

std::vector<std::string> FixedLocale::preferredLanguages() const {
  std::lock_guard lock(mutex_);
  return preferred_;
}

std::optional<std::string> FixedLocale::currentRegion() const {
  std::lock_guard lock(mutex_);
  return region_;
}

LocaleComponents FixedLocale::componentsFromLocaleIdentifier(std::string_view identifier) const {
  return icuLocaleComponents(identifier);
}

void FixedLocale::setPreferredLanguages(std::vector<std::string> preferred) {
  std::lock_guard lock(mutex_);
  preferred_ = std::move(preferred);
}

void FixedLocale::setCurrentRegion(std::optional<std::string> region) {
  std::lock_guard lock(mutex_);
  region_ = std::move(region);
}

}  // namespace tolvana
