// EngineParts: the engine's parts built on their own over an installed app's store, without
// the engine and its singleton, wired to each other as the engine wires them except that an
// upload of misses is recorded instead of sent.
//
//   AppFixture app;
//   app.install();
//   EngineParts parts;
//   parts.lookup.localizedStringForKey("hello", "Hello", std::nullopt, nullptr);
#pragma once

#include <memory>
#include <vector>

#include "localization/EngineState.h"
#include "localization/LanguageSelection.h"
#include "localization/StringLookup.h"
#include "localization/StringTablesImport.h"
#include "sync/MissingEntries.h"

namespace tolvana::testing {

struct EngineParts {
  // Opens the installed app's store, with the engine switched on, and reads the storyboard
  // switch and works out the default languages, as the engine's start does.
  EngineParts();

  StringLookup::RecordMiss recordMiss() {
    return [this](auto language, auto key, auto value) { return missing.storeMissingEntryForLanguage(language, key, value); };
  }

  std::shared_ptr<int> owner = std::make_shared<int>();
  EngineState state;
  // The completions of the uploads asked for, oldest first.
  std::vector<MissingEntries::Completion> uploads;
  MissingEntries missing{{state, owner, [this](MissingEntries::Completion done) { uploads.push_back(std::move(done)); }}};
  StringLookup lookup{{state, recordMiss()}};
  LanguageSelection languages{{state}};
  StringTablesImport import{{lookup, languages, recordMiss()}};
};

}  // namespace tolvana::testing
