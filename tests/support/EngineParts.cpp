#include "tests/support/EngineParts.h"

#include "config/TLSettings.h"

namespace tolvana::testing {

EngineParts::EngineParts() {
  state.enabled = true;
  state.collectStoryBoardStrings = TLSettings::collectStoryBoardStrings();
  state.setDatabase(TLDatabase::create());
  languages.resetDefaultLanguages();
}

}  // namespace tolvana::testing
