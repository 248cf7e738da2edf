#include "tolvana/Tolvana.h"

#include "core/TLInternal.h"
#include "localization/TLPluralRule.h"
#include "support/Boundary.h"
#include "support/TLLog.h"
#include "tolvana/BuildConfig.h"

// Nothing the library meets (a thread it cannot start, memory it cannot get, a port that
// throws) reaches the host: each call goes through the boundary's guard, which logs and
// answers the call's fall-back instead.
namespace tolvana {

namespace {

std::shared_ptr<TLInternal> engine() { return TLInternal::sharedInstance(); }

// What a look-up answers when it fails: the default text, else the key.
auto defaultOrKey(std::string_view key, std::optional<std::string_view> defaultValue) {
  return [=] { return std::string(defaultValue && !defaultValue->empty() ? *defaultValue : key); };
}

}  // namespace

void Tolvana::updateWithCompletionHandler(CompletionHandler completion) {
  guarded("updateWithCompletionHandler",
          [&] { engine()->updateGroups(std::nullopt, std::nullopt, true, std::move(completion)); });
}

void Tolvana::updateGroups(const std::vector<std::string>& groups, const std::vector<std::string>& languages,
                           CompletionHandler completion) {
  guarded("updateGroups", [&] { engine()->updateGroups(groups, languages, true, std::move(completion)); });
}

void Tolvana::updateWithChangesHandler(ChangesHandler handler) {
  guarded("updateWithChangesHandler", [&] {
    // Filled on the request's queue before the completion is queued, so the handler sees it.
    auto written = std::make_shared<TextChanges>();
    engine()->updateGroups(
        std::nullopt, std::nullopt, true,
        [handler = std::move(handler), written](bool success) {
          if (handler) handler(success, success ? *written : TextChanges{});
        },
        [written](const TextChanges& changes) { *written = changes; });
  });
}

namespace {

// A look-up runs for every text a screen shows: a text shown again is copied from the
// thread's recent answers, others reach the engine without a lock or a reference count, and
// their text is moved out of the result.
std::string lookUp(std::string_view key, std::optional<std::string_view> defaultValue,
                   const Tolvana::Arguments* arguments, std::optional<std::int64_t> pluralRule) {
  return guarded("localizedStringForKey", defaultOrKey(key, defaultValue), [&] {
    if (!arguments && !pluralRule) {
      if (const std::string* recent = TLInternal::recentText(key, defaultValue)) return *recent;
    }
    return TLInternal::withEngine([&](TLInternal& engine) {
      if (pluralRule) {
        return std::move(
            engine.localizedStringForKeyWithArgumentsAndPluralRule(key, arguments, *pluralRule, defaultValue).text);
      }
      if (arguments) return std::move(engine.localizedStringForKeyWithArguments(key, arguments, defaultValue).text);
      return std::move(engine.localizedStringForKey(key, defaultValue).text);
    });
  });
}

}  // namespace

std::string Tolvana::localizedStringForKey(std::string_view key) {
  return lookUp(key, std::nullopt, nullptr, std::nullopt);
}

std::string Tolvana::localizedStringForKey(std::string_view key, std::optional<std::string_view> defaultValue) {
  return lookUp(key, defaultValue, nullptr, std::nullopt);
}

std::string Tolvana::localizedStringForKey(std::string_view key, std::optional<std::string_view> defaultValue,
                                           const Arguments& arguments) {
  return lookUp(key, defaultValue, &arguments, std::nullopt);
}

std::string Tolvana::localizedStringForKey(std::string_view key, const Arguments& arguments) {
  return lookUp(key, std::nullopt, &arguments, std::nullopt);
}

std::string Tolvana::localizedStringForKey(std::string_view key, std::optional<std::string_view> defaultValue,
                                           const Arguments& arguments, std::int64_t pluralRule) {
  return lookUp(key, defaultValue, &arguments, pluralRule);
}

std::string Tolvana::localizedStringForKey(std::string_view key, const Arguments& arguments, std::int64_t pluralRule) {
  return lookUp(key, std::nullopt, &arguments, pluralRule);
}

std::int64_t Tolvana::pluralRuleForQuantity(std::uint64_t quantity) {
  return guarded("pluralRuleForQuantity", [] { return TLPluralRuleOther; },
                 [&] { return TLPluralRuleForQuantity(quantity); });
}

std::map<std::string, std::string> Tolvana::localizedStringsForLanguage(std::string_view language) {
  return guarded("localizedStringsForLanguage", [] { return std::map<std::string, std::string>(); },
                 [&] { return engine()->localizedStringsForLanguage(language); });
}

std::map<std::string, std::string> Tolvana::localizedStringsForCurrentLanguage() {
  return guarded("localizedStringsForCurrentLanguage", [] { return std::map<std::string, std::string>(); },
                 [&] { return engine()->localizedStringsForCurrentLanguage(); });
}

Tolvana::LanguageMap Tolvana::localizeMap(const LanguageMap& map) {
  return guarded("localizeMap", [] { return LanguageMap(); }, [&] { return engine()->localizeMap(map); });
}

bool Tolvana::setLanguage(std::optional<std::string_view> language) {
  return guarded("setLanguage", [] { return false; }, [&] { return engine()->setLanguage(language); });
}
void Tolvana::setEnabled(bool enabled) {
  guarded("setEnabled", [&] { engine()->setEnabled(enabled); });
}
bool Tolvana::enabled() {
  return guarded("enabled", [] { return false; }, [&] { return engine()->enabled(); });
}
void Tolvana::setDraftModeEnabled(bool enabled) {
  guarded("setDraftModeEnabled", [&] { engine()->setDraftModeEnabled(enabled); });
}
void Tolvana::setDraftModelEnabled(bool enabled) {
  guarded("setDraftModelEnabled", [&] { engine()->setDraftModeEnabled(enabled); });
}
void Tolvana::setShowIdModeEnabled(bool enabled) {
  guarded("setShowIdModeEnabled", [&] { engine()->setInShowIdMode(enabled); });
}
void Tolvana::captureScreenshotWithTag(const std::string& tag, const std::vector<std::string>& keys) {
  captureScreenshotWithTag(tag, keys, false, nullptr);
}
void Tolvana::captureScreenshotWithTag(const std::string& tag, const std::vector<std::string>& keys, bool useOcr) {
  captureScreenshotWithTag(tag, keys, useOcr, nullptr);
}
void Tolvana::captureScreenshotWithTag(const std::string& tag, const std::vector<std::string>& keys,
                                       CompletionHandler completion) {
  captureScreenshotWithTag(tag, keys, false, std::move(completion));
}
void Tolvana::captureScreenshotWithTag(const std::string& tag, const std::vector<std::string>& keys, bool useOcr,
                                       CompletionHandler completion) {
  guarded("captureScreenshotWithTag",
          [&] { engine()->captureScreenshotWithTag(tag, keys, useOcr, std::move(completion)); });
}
void Tolvana::showDraftModeDialog() {
  guarded("showDraftModeDialog", [] { engine()->showDraftModeDialog(); });
}
bool Tolvana::setScreenShotMenuVisible(bool visible) {
  return guarded("setScreenShotMenuVisible", [] { return false; },
                 [&] { return engine()->setScreenShotMenuVisible(visible); });
}
void Tolvana::reset() { guarded("reset", [] { TLInternal::resetInstance(); }); }
std::string Tolvana::sdkVersion() { return build::kSdkVersion; }

void Tolvana::setConformingScreenshotInterface(const std::shared_ptr<TolvanaScreenshotInterface>& provider) {
  guarded("setScreenshotInterface", [&] {
    if (!provider) {
      logError("The screenshotInterface needs to conform to the TolvanaScreenshotInterface protocol!");
      return;
    }
    engine()->setScreenshotInterface(provider);
  });
}

}  // namespace tolvana
