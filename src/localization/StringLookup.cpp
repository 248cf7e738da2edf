#include "localization/StringLookup.h"

#include <algorithm>
#include <chrono>

#include "config/TLDeviceUtil.h"
#include "localization/DevelopmentLanguage.h"
#include "localization/PseudoLocalization.h"
#include "localization/TLPluralRule.h"
#include "platform/CoarseClock.h"
#include "support/ReadEpoch.h"
#include "support/StringUtil.h"
#include "support/TLLog.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

namespace {

bool absentOrEmpty(const std::optional<std::string>& text) { return !text || text->empty(); }

// Whether a kept answer has lapsed is asked on every repeated look-up; an exact reading of the
// system's clock would cost as much as the rest of such a look-up, and a lapse noticed a few
// milliseconds late changes nothing.
std::int64_t lapseNanoseconds() { return coarseMonotonicNanoseconds(Platform::Current().clock()); }

std::shared_ptr<const Bundle> orMainBundle(std::shared_ptr<const Bundle> bundle) {
  return bundle ? bundle : Platform::Current().bundles().mainBundle();
}

}  // namespace

bool StringLookup::tagsResults() const { return context_.state.inDraftMode || TLDeviceUtil::isUITestRunning(); }

std::string StringLookup::shown(std::string text) const {
  double expansion = context_.state.pseudoExpansion.load(std::memory_order_relaxed);
  if (expansion < 0 || context_.state.inShowIdMode) return text;
  return pseudoLocalized(text, expansion);
}

TLLocalizedString StringLookup::tagged(std::string text, std::string_view key) const {
  TLLocalizedString result{std::move(text), std::nullopt, TLLookupSource::engineOff, {}};
  if (tagsResults()) result.key = std::string(key);
  return result;
}

std::optional<std::string> StringLookup::localizedStringForKeyAndLanguage(std::string_view key,
                                                                          std::string_view language) const {
  const EngineState& state = context_.state;
  TLDatabase* db = state.currentDatabase();
  if (!state.enabled || !db || !db->initialized()) return std::string(key);
  return valueIn(*db, key, language);
}

std::optional<std::string> StringLookup::valueIn(TLDatabase& db, std::string_view key,
                                                 std::string_view language) const {
  const EngineState& state = context_.state;
  if (state.inShowIdMode) return std::string(key);
  if (state.inDraftMode) {
    auto entry = db.entryWithKey(key, language);
    if (!entry) return std::nullopt;
    return entry->draft.empty() ? entry->value : entry->draft;
  }
  return db.valueWithKey(key, language);
}

TLLocalizedString StringLookup::localizedStringForKey(std::string_view key, std::optional<std::string_view> value,
                                                      std::optional<std::string_view> table,
                                                      std::shared_ptr<const Bundle> bundle) const {
  const EngineState& state = context_.state;
  // The store, its settings and the device languages are read once and not copied: a look-up
  // runs for every text a screen shows. The section keeps what they point to alive.
  ReadEpoch::Section section;
  TLDatabase* db = state.currentDatabase();
  static const TLDatabase::LookupSettings kNoStore;
  const TLDatabase::LookupSettings& settings = db ? db->lookupSettings() : kNoStore;
  if (!state.enabled || !db || !settings.initialized) {
    return tagged(shown(orMainBundle(bundle)->localizedStringForKey(key, value, table)), key);
  }
  // A look-up that may record a miss goes to the collection every time, one that is logged
  // logs what it found, and one in another table or bundle is rare enough not to keep.
  if (table || bundle || state.logGetString || (value && !value->empty() && state.collectMissingEnabled(settings))) {
    return lookUpInStores(*db, settings, TLDeviceUtil::deviceLanguages(), key, value, table, std::move(bundle));
  }
  // Taken before the device languages are read, so that a change of them in between shows.
  const RecentAnswers::Stamp stamp = RecentAnswers::Stamp::of(owner_);
  RecentAnswers::Probe probe = RecentAnswers::find(stamp, key, value);
  const bool hold = (probe.kept || probe.admit) && answersHold(*db, stamp);
  if (probe.kept && hold) {
    TLLocalizedString answer = tagged(probe.kept->text, key);
    answer.source = probe.kept->source;
    answer.sourceLanguage = probe.kept->sourceLanguage;
    answer.repeatable = !answer.key;
    return answer;
  }
  TLLocalizedString answer =
      lookUpInStores(*db, settings, TLDeviceUtil::deviceLanguages(), key, value, table, nullptr);
  // Taken again: an answer made while something changed is not kept under the stamp before.
  if (probe.admit && hold && RecentAnswers::Stamp::of(owner_) == stamp) RecentAnswers::keep(stamp, key, value, answer);
  return answer;
}

bool StringLookup::answersHold(const TLDatabase& db, const RecentAnswers::Stamp& stamp) const {
  const std::int64_t now = lapseNanoseconds();
  if (!RecentAnswers::lapsed(now)) return true;
  const std::int64_t until = renewedUntil(db, now);
  // A change found moved the stores' content on, and with it the stamp.
  if (!(RecentAnswers::Stamp::of(owner_) == stamp)) return false;
  RecentAnswers::confirm(stamp, until);
  return true;
}

StringLookup::Renewal StringLookup::renewAnswers() const {
  ReadEpoch::Section section;
  const std::int64_t now = Platform::Current().clock().monotonicNanoseconds();
  const TLDatabase* db = context_.state.currentDatabase();
  if (!db) return {TLDBProtocol::outsideChanges(), now};
  const std::int64_t until = renewedUntil(*db, now);
  return {TLDBProtocol::outsideChanges(), until};
}

std::int64_t StringLookup::renewedUntil(const TLDatabase& db, std::int64_t now) {
  db.lookForOutsideChanges();
  return db.answersValidUntil(now);
}

TLLocalizedString StringLookup::lookUpInStores(TLDatabase& db, const TLDatabase::LookupSettings& settings,
                                               const DeviceLanguages& device, std::string_view key,
                                               std::optional<std::string_view> value,
                                               std::optional<std::string_view> table,
                                               std::shared_ptr<const Bundle> bundle) const {
  const EngineState& state = context_.state;
  const std::optional<std::string>& base = settings.baseLanguage;

  std::optional<std::string> result = valueIn(db, key, device.longCode);
  const std::string* answeredIn = &device.longCode;
  if (absentOrEmpty(result) && device.shortCode != device.longCode) {
    result = valueIn(db, key, device.shortCode);
    answeredIn = &device.shortCode;
  }
  std::optional<std::optional<std::string>> baseValue;
  bool missSeen = false;
  if (absentOrEmpty(result) && base) {
    result = valueIn(db, key, *base);
    baseValue = result;
    answeredIn = &*base;
  }

  // A miss is recorded only in the base language (or the bundle's development language),
  // and only for keys that come with a default text.
  if (value && !value->empty() && state.collectMissingEnabled(settings)) {
    if (!baseValue) baseValue = base ? valueIn(db, key, *base) : std::nullopt;
    if (absentOrEmpty(*baseValue)) {
      missSeen = true;
      bool fromInterfaceFile = false;
      if (table) {
        bundle = orMainBundle(bundle);
        if (!state.collectStoryBoardStrings) {
          auto path = bundle->pathForResource(*table, "storyboardc");
          if (!path) path = bundle->pathForResource(*table, "nib");
          fromInterfaceFile = path && !path->empty();
        }
      }
      if (!fromInterfaceFile) {
        auto development = languageCodeOrNothing(bundle ? bundle->developmentLocalization() : std::nullopt);
        warnOnceAboutDevelopmentLanguage(development, base);
        context_.recordMiss(development && !development->empty() ? development : base, key, value);
      }
    }
  }

  TLLookupSource source = TLLookupSource::language;
  if (absentOrEmpty(result)) {
    result = orMainBundle(bundle)->localizedStringForKey(key, value, table);
    if (result->empty() && !key.empty()) result = std::string(value && !value->empty() ? *value : key);
    // The bundle falls back to the value, then the key, by itself; an answer equal to either
    // is taken as that fall-back.
    source = value && !value->empty() && *result == *value ? TLLookupSource::defaultValue
             : *result == key                              ? TLLookupSource::key
                                                           : TLLookupSource::bundleTable;
  }
  if (state.logGetString) logVerbose("getString called - key: '%@' value: '%@'", key, *result);
  TLLocalizedString answer = tagged(shown(std::move(*result)), key);
  answer.source = source;
  if (source == TLLookupSource::language) answer.sourceLanguage = *answeredIn;
  answer.repeatable = !missSeen && !state.logGetString && !answer.key;
  return answer;
}

std::optional<std::string> StringLookup::formatString(std::optional<std::string_view> text,
                                                      const std::map<std::string, std::string>* arguments) {
  if (!text) return std::nullopt;
  std::string result(*text);
  if (!arguments) return result;
  // Replacements that hold placeholders of later pairs can double the text with every pair
  // (40 pairs: terabytes), so the result may grow only to a bound well above any real text.
  std::size_t input = text->size();
  for (const auto& [name, replacement] : *arguments) input += name.size() + replacement.size();
  const std::size_t limit = std::max<std::size_t>(kFormattedSizeLimit, 16 * input);
  // Applied one after another: a replacement that holds another placeholder may be filled
  // by a later pair. There is no escaping and no nesting.
  for (const auto& [name, replacement] : *arguments) {
    std::string placeholder = "%{" + name + "}";
    std::size_t at = result.find(placeholder);
    if (at == std::string::npos) continue;
    std::string next;
    std::size_t from = 0;
    for (; at != std::string::npos; at = result.find(placeholder, from)) {
      next.append(result, from, at - from).append(replacement);
      from = at + placeholder.size();
      if (next.size() > limit) break;
    }
    if (next.size() <= limit) next.append(result, from, std::string::npos);
    if (next.size() > limit) {
      logError("Formatting stopped at argument %@: the text would grow past %ld bytes", name,
               static_cast<long>(limit));
      break;
    }
    result = std::move(next);
  }
  return result;
}

TLLocalizedString StringLookup::localizedStringForKeyWithArguments(std::string_view key,
                                                                   const std::map<std::string, std::string>* arguments,
                                                                   std::optional<std::string_view> value) const {
  std::string cleanKey = removeAll(key, '\n');
  // With the engine off the plain look-up answers from the bundle (then the default, then
  // the key), and the arguments are applied to that answer all the same: a host that ships
  // without an archive must still show "Hello Ann!", not the key.
  TLLocalizedString text = localizedStringForKey(cleanKey, value, std::nullopt, nullptr);
  TLLocalizedString formatted = tagged(*formatString(text.text, arguments), cleanKey);
  formatted.source = text.source;
  formatted.sourceLanguage = std::move(text.sourceLanguage);
  return formatted;
}

TLLocalizedString StringLookup::localizedStringForKeyWithArgumentsAndPluralRule(
    std::string_view key, const std::map<std::string, std::string>* arguments, std::int64_t pluralRule,
    std::optional<std::string_view> value) const {
  // A rule outside 0…5 has no word; the key then ends in "[(null)]". Misses are collected and
  // uploaded under that key, so projects may already hold texts under it: another spelling
  // would lose them.
  std::string variant = std::string(key) + "[" + std::string(pluralRuleWord(pluralRule).value_or("(null)")) + "]";
  // The full look-up never comes back empty-handed, so a missing variant shows the default or
  // the variant key itself; the plain key is deliberately not tried.
  return localizedStringForKeyWithArguments(variant, arguments, value);
}

TLLanguageMap StringLookup::localizeMap(const TLLanguageMap& map) const {
  TLLanguageMap output;
  bool collecting = context_.state.collectMissingEnabled();
  for (const auto& [language, defaults] : map) {
    auto& texts = output[language];
    for (const auto& [key, defaultText] : defaults) {
      std::optional<std::string> text = localizedStringForKeyAndLanguage(key, language);
      if (!text && collecting) {
        context_.recordMiss(language, key, defaultText);
        text = std::string();
      }
      if (absentOrEmpty(text)) {
        if (defaultText.empty()) continue;
        text = defaultText;
        if (collecting) context_.recordMiss(language, key, defaultText);
      }
      texts[key] = shown(std::move(*text));
    }
  }
  return output;
}

std::map<std::string, std::string> StringLookup::storedStrings(std::string_view language) const {
  auto db = context_.state.database();
  return db ? db->stringsForLanguage(language) : std::map<std::string, std::string>{};
}

std::map<std::string, std::string> StringLookup::localizedStringsForLanguage(std::string_view language) const {
  auto texts = storedStrings(language);
  for (auto& [key, text] : texts) text = shown(std::move(text));
  return texts;
}

std::map<std::string, std::string> StringLookup::localizedStringsForCurrentLanguage() const {
  ReadEpoch::Section section;
  const DeviceLanguages& device = TLDeviceUtil::deviceLanguages();
  auto longTable = storedStrings(device.longCode);
  auto shortTable = storedStrings(device.shortCode);
  auto db = context_.state.database();
  auto base = db ? db->baseLanguage() : std::nullopt;
  auto merged = base ? storedStrings(*base) : std::map<std::string, std::string>{};
  for (const auto* table : {&shortTable, &longTable}) {
    for (const auto& [key, text] : *table) {
      if (!text.empty()) merged[key] = text;
    }
  }
  for (auto& [key, text] : merged) text = shown(std::move(text));
  return merged;
}

bool StringLookup::entryExists(std::string_view key) const {
  auto db = context_.state.database();
  auto base = db ? db->baseLanguage() : std::nullopt;
  return base && db->valueWithKey(key, *base).has_value();
}

}  // namespace tolvana
