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

// An answer lists every language of the project: the defaults are written once for all of
// them, and only where a mark changes, so that a long list costs neither a write per language
// nor a key per language in the defaults.
void TLDatabase::setDeletionMarks(const std::map<std::string, bool>& deletedByLanguage) {
  LockGuard lock(mutex_);
  UserDefaults& defaults = Platform::Current().userDefaults();
  bool changed = false;
  for (const auto& [language, deleted] : deletedByLanguage) {
    if (isLanguageDeleted(language) == deleted) continue;
    defaults.setObject(getDeletionKey(language), deleted ? 1 : 0);
    changed = true;
  }
  if (changed) defaults.synchronize();
}

bool TLDatabase::isLanguageDeleted(std::string_view language) {
  return Platform::Current().userDefaults().integerForKey(getDeletionKey(language)) == 1;
}

std::string TLDatabase::getDeletionKey(std::string_view language) {
  return std::string(TOLVANA_USER_DEFAUT_KEY) + "/" + std::string(language);
}

}  // namespace tolvana
