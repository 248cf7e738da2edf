// TLStringPosition: one string on a screenshot: the key it was looked up under (empty when
// the text could not be tied to a known key), the text as shown, and its frame in screen
// pixels of window coordinates; -1 everywhere when no frame is known.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tolvana/Value.h"

namespace tolvana {

class TLStringPosition {
 public:
  TLStringPosition(std::optional<std::string> key, std::optional<std::string> value, std::int32_t x, std::int32_t y,
                   std::int32_t width, std::int32_t height);
  // Frameless.
  TLStringPosition(std::optional<std::string> key, std::optional<std::string> value);

  std::optional<std::string> key, value;
  std::int64_t x, y, width, height;

  // Lenient on purpose: only a position that overhangs the rectangle on every side at once
  // is out; one partly off screen on one side stays.
  bool isWithinBounds(std::int64_t x1, std::int64_t y1, std::int64_t x2, std::int64_t y2) const;
  // The upload's form: a keyed position never carries its text; an unkeyed one carries it
  // so the server can match it.
  Value serialize() const;
  std::string description() const;
};

}  // namespace tolvana
