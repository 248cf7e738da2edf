// StringTablesImport: the app's own string tables, reported as missing where the store lacks
// their keys, so the translation service learns every key of the app without anyone typing
// it in.
//
// Thread contract: every method may be called from any thread; the import reads the bundles
// as they are when it runs.
#pragma once

#include <functional>
#include <string>

#include "localization/LanguageSelection.h"
#include "localization/StringLookup.h"
#include "tolvana/platform/Bundle.h"

namespace tolvana {

class StringTablesImport {
 public:
  struct Context {
    const StringLookup& lookup;
    const LanguageSelection& languages;
    StringLookup::RecordMiss recordMiss;
  };
  explicit StringTablesImport(Context context) : context_(std::move(context)) {}

  void fillMissingStringsFromLocalStrings() const;
  void fillMissingStringsFromLocalStringsAndBundle(const Bundle& bundle) const;
  // Every text of the bundle's own tables that the import above reads, with the language it
  // counts for (plural forms as "key[form]").
  using LocalStringVisitor =
      std::function<void(const std::string& language, const std::string& key, const std::string& text)>;
  void forEachLocalString(const Bundle& bundle, const LocalStringVisitor& visit) const;

 private:
  Context context_;
};

}  // namespace tolvana
