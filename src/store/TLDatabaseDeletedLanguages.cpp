// TLDatabase's deleted languages: marks kept in the app's user defaults, so that unpacking the
// settings archive again does not bring back a language the app removed.
#include "store/TLDatabase.h"
#include "support/Mutex.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

void TLDatabase::deleteDatabase(std::string_view language) { markLanguageAsDeleted(language); }

void TLDatabase::markLanguageAsDeleted(std::string_view language) {
  LockGuard lock(mutex_);
  UserDefaults& defaults = Platform::Current().userDefaults();
  defaults.setObject(getDeletionKey(language), 1);
  defaults.synchronize();
}

void TLDatabase::markLanguageAsEnabled(std::string_view language) {
  LockGuard lock(mutex_);
  UserDefaults& defaults = Platform::Current().userDefaults();
  defaults.setObject(getDeletionKey(language), 0);
  defaults.synchronize();
}

bool TLDatabase::isLanguageDeleted(std::string_view language) {
  return Platform::Current().userDefaults().integerForKey(getDeletionKey(language)) == 1;
}

std::string TLDatabase::getDeletionKey(std::string_view language) {
  return std::string(TOLVANA_USER_DEFAUT_KEY) + "/" + std::string(language);
}

}  // namespace tolvana
