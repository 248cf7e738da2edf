#include "tolvana/Tolvana.h"

#include "core/TLInternal.h"
#include "localization/TLPluralRule.h"
#include "support/TLLog.h"
#include "tolvana/BuildConfig.h"

namespace tolvana {

namespace {
std::shared_ptr<TLInternal> engine() { return TLInternal::sharedInstance(); }
}  // namespace

void Tolvana::updateWithCompletionHandler(CompletionHandler completion) {
  engine()->updateGroups(std::nullopt, std::nullopt, true, std::move(completion));
}

void Tolvana::updateGroups(const std::vector<std::string>& groups, const std::vector<std::string>& languages,
                           CompletionHandler completion) {
  engine()->updateGroups(groups, languages, true, std::move(completion));
}

std::string Tolvana::localizedStringForKey(std::string_view key) { return localizedStringForKey(key, std::nullopt); }

std::string Tolvana::localizedStringForKey(std::string_view key, std::optional<std::string_view> defaultValue) {
  return engine()->localizedStringForKey(key, defaultValue).text;
}

std::string Tolvana::localizedStringForKey(std::string_view key, std::optional<std::string_view> defaultValue,
                                           const Arguments& arguments) {
  return engine()->localizedStringForKeyWithArguments(key, &arguments, defaultValue).text;
}

std::string Tolvana::localizedStringForKey(std::string_view key, const Arguments& arguments) {
  return localizedStringForKey(key, std::nullopt, arguments);
}

std::string Tolvana::localizedStringForKey(std::string_view key, std::optional<std::string_view> defaultValue,
                                           const Arguments& arguments, std::int64_t pluralRule) {
  return engine()->localizedStringForKeyWithArgumentsAndPluralRule(key, &arguments, pluralRule, defaultValue).text;
}

std::string Tolvana::localizedStringForKey(std::string_view key, const Arguments& arguments, std::int64_t pluralRule) {
  return localizedStringForKey(key, std::nullopt, arguments, pluralRule);
}

std::int64_t Tolvana::pluralRuleForQuantity(std::uint64_t quantity) { return TLPluralRuleForQuantity(quantity); }

std::map<std::string, std::string> Tolvana::localizedStringsForLanguage(std::string_view language) {
  return engine()->localizedStringsForLanguage(language);
}

std::map<std::string, std::string> Tolvana::localizedStringsForCurrentLanguage() {
  return engine()->localizedStringsForCurrentLanguage();
}

Tolvana::LanguageMap Tolvana::localizeMap(const LanguageMap& map) { return engine()->localizeMap(map); }

bool Tolvana::setLanguage(std::optional<std::string_view> language) { return engine()->setLanguage(language); }
void Tolvana::setEnabled(bool enabled) { engine()->setEnabled(enabled); }
bool Tolvana::enabled() { return engine()->enabled(); }
void Tolvana::setDraftModeEnabled(bool enabled) { engine()->setDraftModeEnabled(enabled); }
void Tolvana::setDraftModelEnabled(bool enabled) { engine()->setDraftModeEnabled(enabled); }
void Tolvana::setShowIdModeEnabled(bool enabled) { engine()->setInShowIdMode(enabled); }
void Tolvana::reset() { TLInternal::resetInstance(); }
std::string Tolvana::sdkVersion() { return build::kSdkVersion; }

void Tolvana::setConformingScreenshotInterface(const std::shared_ptr<TolvanaScreenshotInterface>& provider) {
  if (!provider) {
    logError("The screenshotInterface needs to conform to the TolvanaScreenshotInterface protocol!");
    return;
  }
  engine()->setScreenshotInterface(provider);
}

}  // namespace tolvana
