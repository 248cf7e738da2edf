// LanguageSelection: which languages the engine works in. The default languages (those an
// update asks for) are the base language, the bundle's development language, the device
// language and the configured ones, each regional one followed at the end by its bare
// language; the app's own choice of language is kept in its user defaults.
//
// Thread contract: every method may be called from any thread; the default languages are
// guarded by the engine's lock.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "localization/EngineState.h"

namespace tolvana {

class LanguageSelection {
 public:
  struct Context {
    EngineState& state;
  };
  explicit LanguageSelection(Context context) : context_(context) {}

  std::vector<std::string> defaultLanguages() const;
  void setDefaultLanguages(std::vector<std::string> languages);
  void resetDefaultLanguages();
  bool setLanguage(std::optional<std::string_view> language);
  std::optional<std::string> getBaseLanguage() const;
  // The language misses are uploaded in: the bundle's development language when it is a
  // language code, else the base language.
  std::optional<std::string> uploadLanguage() const;

 private:
  Context context_;
  std::vector<std::string> defaultLanguages_ TL_GUARDED_BY(context_.state.lock());
};

}  // namespace tolvana
