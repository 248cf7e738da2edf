// TextsChanged: the notice that texts a host shows may be out of date, because an update wrote
// newer ones into the local stores or the app's language was switched. A host redraws (or a
// toolkit retranslates) on it, instead of after every update whether it brought anything.
#pragma once

#include <string>
#include <vector>

#include "tolvana/TextChanges.h"

namespace tolvana {

struct TextsChanged {
  enum class Cause { update, languageSwitch };
  Cause cause = Cause::update;
  /// After an update, the languages it wrote texts into; after a switch, the languages
  /// look-ups now try first (the long form, then the short one when it differs).
  std::vector<std::string> languages;
  /// After an update, what it wrote: per language, the groups with their versions before and
  /// after and the entries written. Empty after a switch.
  TextChanges changes;
};

}  // namespace tolvana
