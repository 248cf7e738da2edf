// TLLocalizedString: what a look-up answers, and which step of its chain gave the answer.
#pragma once

#include <optional>
#include <string>

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

}  // namespace tolvana
