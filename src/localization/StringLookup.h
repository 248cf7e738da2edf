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

#include "config/TLDeviceUtil.h"
#include "localization/RecentAnswers.h"
#include "localization/EngineState.h"
#include "localization/TLLocalizedString.h"
#include "tolvana/platform/Bundle.h"

namespace tolvana {

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

  std::uint64_t owner() const { return owner_; }

  std::optional<std::string> localizedStringForKeyAndLanguage(std::string_view key, std::string_view language) const;
  // Has the stores look for other processes' writes where they are due, for whoever keeps
  // answers: kept while outsideWrites was the same, they stand until then (steady-clock
  // nanoseconds on the platform's clock).
  struct Renewal {
    std::uint64_t outsideWrites = 0;
    std::int64_t until = 0;
  };
  Renewal renewAnswers() const;
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
  // The look-up itself, past the kept answers.
  TLLocalizedString lookUpInStores(TLDatabase& db, const TLDatabase::LookupSettings& settings,
                                   const DeviceLanguages& device, std::string_view key,
                                   std::optional<std::string_view> value, std::optional<std::string_view> table,
                                   std::shared_ptr<const Bundle> bundle) const;
  // Whether the thread's kept answers may be given: once they lapse, the stores look for
  // outside changes, and when none moved the stamp on, all of them are renewed at once.
  bool answersHold(const TLDatabase& db, const RecentAnswers::Stamp& stamp) const;
  // Until when answers stand once the stores have looked for outside changes at now.
  static std::int64_t renewedUntil(const TLDatabase& db, std::int64_t now);

  Context context_;
  const std::uint64_t owner_ = RecentAnswers::newOwner();
};

}  // namespace tolvana
