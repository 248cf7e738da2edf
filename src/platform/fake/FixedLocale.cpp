#include "platform/fake/FixedLocale.h"

#include "platform/posix/IcuLocale.h"
#include "support/Mutex.h"

namespace tolvana {

FixedLocale::FixedLocale(std::vector<std::string> preferred, std::optional<std::string> region)
    : preferred_(std::move(preferred)), region_(std::move(region)) {}

std::vector<std::string> FixedLocale::preferredLanguages() const {
  LockGuard lock(mutex_);
  return preferred_;
}

std::optional<std::string> FixedLocale::currentRegion() const {
  LockGuard lock(mutex_);
  return region_;
}

LocaleComponents FixedLocale::componentsFromLocaleIdentifier(std::string_view identifier) const {
  return icuLocaleComponents(identifier);
}

void FixedLocale::setPreferredLanguages(std::vector<std::string> preferred) {
  LockGuard lock(mutex_);
  preferred_ = std::move(preferred);
}

void FixedLocale::setCurrentRegion(std::optional<std::string> region) {
  LockGuard lock(mutex_);
  region_ = std::move(region);
}

}  // namespace tolvana
