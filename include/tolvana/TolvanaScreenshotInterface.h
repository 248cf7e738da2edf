// TolvanaScreenshotInterface: implemented by a host that draws its own text (a game engine,
// a canvas) and so knows better than the library where its strings are on screen.
#pragma once

#include <functional>
#include <string>

#include "tolvana/Export.h"

namespace tolvana {

/// Implemented by a host that knows better than the library where its strings are on screen.
class TOLVANA_EXPORT TolvanaScreenshotInterface {
 public:
  virtual ~TolvanaScreenshotInterface() = default;
  /// Asked when a screenshot is captured. Call completion exactly once, from any thread, with
  /// the positions of the strings shown (the JSON text the screenshot upload expects).
  virtual void getStringPositions(std::function<void(std::string)> completion) = 0;
};

}  // namespace tolvana
