// StringLookup: the read path of the engine, from a key to the text shown to the user: the
// device's long and short language, the base language, the bundle's own table, the default
// text, the key. A miss that has a default text is reported to whoever records misses.
//
// Thread contract: every method may be called from any thread; the switches and the store are
// read afresh from the engine's state on every call.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "localization/EngineState.h"
#include "tolvana/platform/Bundle.h"

namespace tolvana {

// Which step of the look-up chain answered, for tools that explain a look-up.
enum class TLLookupSource { engineOff, language, bundleTable, defaultValue, key };

// A look-up result; key is set when the text must carry the key that produced it (draft
// mode and UI tests), so the review tools can tie a shown text back to its key.
// sourceLanguage is the store's language when a store answered.
struct TLLocalizedString {
  std::string text;
  std::optional<std::string> key;
  TLLookupSource source = TLLookupSource::engineOff;
  std::string sourceLanguage;
  // Asking again gives the same text with nothing else to do (no miss to record, no line to
  // log, no key to tag) until the engine's answers move on (ProcessState::answersGeneration).
  bool repeatable = false;
};

// Language → key → text (or default value).
using TLLanguageMap = std::map<std::string, std::map<std::string, std::string>>;

class StringLookup {
 public:
  // Records a miss (language, key, default text); true when it was recorded.
  using RecordMiss = std::function<bool(std::optional<std::string_view> language, std::optional<std::string_view> key,
                                        std::optional<std::string_view> value)>;
  struct Context {
    const EngineState& state;
    RecordMiss recordMiss;
  };
  explicit StringLookup(Context context) : context_(std::move(context)) {}

  std::optional<std::string> localizedStringForKeyAndLanguage(std::string_view key, std::string_view language) const;
  TLLocalizedString localizedStringForKey(std::string_view key, std::optional<std::string_view> value,
                                          std::optional<std::string_view> table,
                                          std::shared_ptr<const Bundle> bundle) const;
  // Substitution stops (logged) before the text outgrows the larger of this and 16 times the
  // text and arguments together, so that chained placeholders cannot hang a look-up.
  static constexpr std::size_t kFormattedSizeLimit = 1 << 20;
  static std::optional<std::string> formatString(std::optional<std::string_view> text,
                                                 const std::map<std::string, std::string>* arguments);
  TLLocalizedString localizedStringForKeyWithArguments(std::string_view key,
                                                       const std::map<std::string, std::string>* arguments,
                                                       std::optional<std::string_view> value) const;
  TLLocalizedString localizedStringForKeyWithArgumentsAndPluralRule(std::string_view key,
                                                                    const std::map<std::string, std::string>* arguments,
                                                                    std::int64_t pluralRule,
                                                                    std::optional<std::string_view> value) const;
  TLLanguageMap localizeMap(const TLLanguageMap& map) const;
  std::map<std::string, std::string> localizedStringsForLanguage(std::string_view language) const;
  std::map<std::string, std::string> localizedStringsForCurrentLanguage() const;
  bool entryExists(std::string_view key) const;

 private:
  // One language's text from a store the caller has checked is on and initialised.
  std::optional<std::string> valueIn(TLDatabase& db, std::string_view key, std::string_view language) const;
  bool tagsResults() const;
  // The text as shown: pseudo-localised while that is on (keys in show-ID mode stay keys).
  std::string shown(std::string text) const;
  std::map<std::string, std::string> storedStrings(std::string_view language) const;
  TLLocalizedString tagged(std::string text, std::string_view key) const;

  Context context_;
};

}  // namespace tolvana
