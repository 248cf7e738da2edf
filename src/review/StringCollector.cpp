#include "review/StringCollector.h"

#include <cmath>

#include "config/TLDeviceUtil.h"

namespace tolvana {

StringCollector::StringCollector(Context context) : context_(std::move(context)) {}

std::string StringCollector::keyOf(const UiView& view) const {
  // In show-ID mode look-ups show the keys themselves.
  std::string key = context_.state.inShowIdMode ? *view.text : view.textKey;
  if (key.empty() && !context_.state.inShowIdMode) key = view.viewKey;
  if (key.empty() || !context_.entryExists(key)) return "";
  return key;
}

std::optional<std::vector<TLStringPosition>> StringCollector::collectStringsInView(const UiView* view) const {
  if (!view || view->hidden || view->alpha <= 0.0) return std::nullopt;
  std::vector<TLStringPosition> found;
  if (view->text) {
    double scale = TLDeviceUtil::screenScale();
    auto pixels = [scale](double points) { return static_cast<std::int32_t>(std::trunc(points * scale)); };
    TLStringPosition position(keyOf(*view), *view->text, pixels(view->frame.x), pixels(view->frame.y),
                              pixels(view->frame.width), pixels(view->frame.height));
    auto width = static_cast<std::int64_t>(TLDeviceUtil::screenWidth());
    auto height = static_cast<std::int64_t>(TLDeviceUtil::screenheight());
    if (position.isWithinBounds(0, 0, width, height)) found.push_back(std::move(position));
  }
  for (const UiView& child : view->subviews) {
    if (auto inner = collectStringsInView(&child)) found.insert(found.end(), inner->begin(), inner->end());
  }
  return found;
}

std::vector<TLStringPosition> StringCollector::positionsForKeys(const std::vector<std::string>& keys) const {
  std::vector<TLStringPosition> positions;
  for (const std::string& key : keys) {
    if (!key.empty() && context_.entryExists(key)) positions.emplace_back(key, context_.translation(key));
  }
  return positions;
}

}  // namespace tolvana
