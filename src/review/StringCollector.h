// StringCollector: finds the strings a window shows, each with the key it was looked up
// under and its frame in screen pixels, for a screenshot's string positions.
//
// Thread contract: main queue only; the view tree is the Ui port's snapshot of the window.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "localization/EngineState.h"
#include "review/TLStringPosition.h"
#include "tolvana/platform/Ui.h"

namespace tolvana {

class StringCollector {
 public:
  struct Context {
    EngineState& state;
    // Whether the current language's store holds the key.
    std::function<bool(std::string_view)> entryExists;
    // The current translation of a key, without a default.
    std::function<std::string(std::string_view)> translation;
  };
  explicit StringCollector(Context context);

  // Depth first, parents before children. nullopt for no view, and for a hidden or fully
  // transparent one, whose whole subtree is skipped.
  std::optional<std::vector<TLStringPosition>> collectStringsInView(const UiView* view) const;
  // Frameless positions for the keys the store holds, with their current translations.
  std::vector<TLStringPosition> positionsForKeys(const std::vector<std::string>& keys) const;

 private:
  Context context_;

  std::string keyOf(const UiView& view) const;
};

}  // namespace tolvana
