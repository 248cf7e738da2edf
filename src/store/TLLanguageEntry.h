// TLLanguageEntry: one translation of a key in one language. A value or draft that a store
// lacks reads as the empty string, never as absent.
#pragma once

#include <string>

namespace tolvana {

struct TLLanguageEntry {
  std::string key;
  std::string value;
  std::string draft;  // the text shown in draft mode

  bool operator==(const TLLanguageEntry&) const = default;
};

}  // namespace tolvana
