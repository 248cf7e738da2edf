#include "localization/LanguageSelection.h"

#include <algorithm>

#include "config/TLDeviceUtil.h"
#include "config/TLSettings.h"
#include "localization/DevelopmentLanguage.h"
#include "support/Mutex.h"
#include "support/StringUtil.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

namespace {

bool listed(const std::vector<std::string>& list, std::string_view item) {
  return std::find(list.begin(), list.end(), item) != list.end();
}

// Normalises a code as the host may type it: pt_br → pt-BR, zh_hant_tw → zh-Hant, DE → de.
std::string normalisedLanguage(std::string_view language) {
  std::vector<std::string> parts;
  if (contains(language, "-")) {
    parts = split(language, '-');
  } else if (contains(language, "_")) {
    parts = split(language, '_');
  }
  if (parts.size() < 2) return toLower(language);
  std::string second = toUpper(parts[1]);
  if (utf16Length(second) >= 3) second = second.substr(0, 1) + toLower(second.substr(1));
  return toLower(parts[0]) + "-" + second;
}

}  // namespace

std::vector<std::string> LanguageSelection::defaultLanguages() const {
  LockGuard lock(context_.state.lock());
  return defaultLanguages_;
}

void LanguageSelection::setDefaultLanguages(std::vector<std::string> languages) {
  LockGuard lock(context_.state.lock());
  defaultLanguages_ = std::move(languages);
}

void LanguageSelection::resetDefaultLanguages() {
  LockGuard lock(context_.state.lock());
  Platform& platform = Platform::Current();
  std::vector<std::string> languages;
  if (auto base = getBaseLanguage()) languages.push_back(*base);
  auto development = languageCodeOrNothing(platform.bundles().mainBundle()->developmentLocalization());
  if (development && !listed(languages, *development)) languages.push_back(*development);
  std::string deviceLong = TLDeviceUtil::deviceLanguageLong();
  if (!listed(languages, deviceLong)) languages.push_back(deviceLong);
  for (const auto& configured : TLSettings::updateLanguages()) {
    std::string language = trimWhitespace(configured);
    if (!language.empty() && !listed(languages, language)) languages.push_back(language);
  }
  // Every regional language is followed, at the end, by its bare language.
  std::vector<std::string> parents;
  for (const auto& language : languages) {
    LocaleComponents parts = platform.locale().componentsFromLocaleIdentifier(language);
    if (parts.count() >= 2 && !parts.language.empty() && !listed(languages, parts.language) &&
        !listed(parents, parts.language)) {
      parents.push_back(parts.language);
    }
  }
  languages.insert(languages.end(), parents.begin(), parents.end());
  defaultLanguages_ = std::move(languages);
}

bool LanguageSelection::setLanguage(std::optional<std::string_view> language) {
  UserDefaults& defaults = Platform::Current().userDefaults();
  // Only "no language" resets; an empty or blank text is looked for, not found, and refused.
  if (!language) {
    defaults.removeObject("AppleLanguages");
    defaults.synchronize();
    TLDeviceUtil::forgetDeviceLanguages();
    resetDefaultLanguages();
    return true;
  }
  std::string code = normalisedLanguage(*language);
  auto db = context_.state.database();
  if (!db || !db->isLanguageSupported(code)) return false;

  Value::Array preferred;
  if (auto stored = defaults.objectForKey("AppleLanguages"); stored && stored->isArray()) preferred = stored->asArray();
  preferred.erase(std::remove(preferred.begin(), preferred.end(), Value(code)), preferred.end());
  preferred.insert(preferred.begin(), Value(code));
  defaults.setObject("AppleLanguages", preferred);
  defaults.synchronize();
  TLDeviceUtil::forgetDeviceLanguages();
  resetDefaultLanguages();
  return true;
}

std::optional<std::string> LanguageSelection::getBaseLanguage() const {
  auto db = context_.state.database();
  return db ? db->baseLanguage() : std::nullopt;
}

std::optional<std::string> LanguageSelection::uploadLanguage() const {
  auto development = languageCodeOrNothing(Platform::Current().bundles().mainBundle()->developmentLocalization());
  warnOnceAboutDevelopmentLanguage(development, getBaseLanguage());
  if (development && !development->empty()) return development;
  return getBaseLanguage();
}

}  // namespace tolvana
