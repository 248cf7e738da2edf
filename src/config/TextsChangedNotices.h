// TextsChangedNotices: tells the host, and toolkit adapters, that the texts they show may be
// out of date (include/tolvana/TextsChanged.h). The host has one handler, set through the
// facade or the C interface; an adapter adds listeners of its own beside it, so that neither
// replaces the other.
//
// Thread contract: any thread may set, add, remove and post. Notices run on the main queue, in
// the order they were posted, never inside the call that caused them and never under the
// engine's lock. A handler replaced is no longer running when setHostHandler returns (but when
// replaced from inside itself).
#pragma once

#include <cstdint>
#include <functional>

#include "tolvana/TextsChanged.h"

namespace tolvana {

class TextsChangedNotices {
 public:
  using Handler = std::function<void(const TextsChanged&)>;

  // An empty handler removes the host's.
  static void setHostHandler(Handler handler);
  // Returns the id that removes the listener again.
  static std::uint64_t addListener(Handler listener);
  static void removeListener(std::uint64_t id);
  // Queues the notice for the host's handler and every listener; nothing when none listens.
  static void post(TextsChanged notice);
};

}  // namespace tolvana
