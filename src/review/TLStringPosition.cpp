#include "review/TLStringPosition.h"

#include "support/Format.h"

namespace tolvana {

TLStringPosition::TLStringPosition(std::optional<std::string> key, std::optional<std::string> value, std::int32_t x,
                                   std::int32_t y, std::int32_t width, std::int32_t height)
    : key(std::move(key)), value(std::move(value)), x(x), y(y), width(width), height(height) {}

TLStringPosition::TLStringPosition(std::optional<std::string> key, std::optional<std::string> value)
    : TLStringPosition(std::move(key), std::move(value), -1, -1, -1, -1) {}

bool TLStringPosition::isWithinBounds(std::int64_t x1, std::int64_t y1, std::int64_t x2, std::int64_t y2) const {
  return x >= x1 || x + width <= x2 || y >= y1 || y + height <= y2;
}

Value TLStringPosition::serialize() const {
  bool keyed = key && !key->empty();
  Value::Dictionary out;
  if (keyed) out["key"] = *key;
  out["x"] = x;
  out["y"] = y;
  out["width"] = width;
  out["height"] = height;
  if (value && !value->empty() && !keyed) out["text"] = *value;
  return out;
}

std::string TLStringPosition::description() const {
  return format("%@\n key : %@\n value : %@\n x : %ld\n y : %ld\n width : %ld\n height : %ld\n", "TLStringPosition",
                key, value, x, y, width, height);
}

}  // namespace tolvana
