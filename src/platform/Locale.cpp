#include "tolvana/platform/Locale.h"

namespace tolvana {

int LocaleComponents::count() const {
  return int(!language.empty()) + int(!script.empty()) + int(!region.empty()) + int(!variant.empty());
}

}  // namespace tolvana
