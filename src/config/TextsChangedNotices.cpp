#include "config/TextsChangedNotices.h"

#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "support/Boundary.h"
#include "support/HostCallback.h"
#include "support/Mutex.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

namespace {

using Listener = std::shared_ptr<const TextsChangedNotices::Handler>;

// Never destroyed: a notice may still be queued while the process exits.
struct Receivers {
  HostCallback<const TextsChanged&> host;
  Mutex mutex;
  std::map<std::uint64_t, Listener> listeners TL_GUARDED_BY(mutex);
  std::uint64_t nextId TL_GUARDED_BY(mutex) = 1;

  std::vector<Listener> currentListeners() {
    LockGuard lock(mutex);
    std::vector<Listener> current;
    for (const auto& [id, listener] : listeners) current.push_back(listener);
    return current;
  }
  bool anyListener() {
    LockGuard lock(mutex);
    return !listeners.empty();
  }
};

Receivers& receivers() {
  static auto* r = new Receivers;
  return *r;
}

}  // namespace

void TextsChangedNotices::setHostHandler(Handler handler) { receivers().host.set(std::move(handler)); }

std::uint64_t TextsChangedNotices::addListener(Handler listener) {
  Receivers& r = receivers();
  LockGuard lock(r.mutex);
  std::uint64_t id = r.nextId++;
  r.listeners.emplace(id, std::make_shared<const Handler>(std::move(listener)));
  return id;
}

void TextsChangedNotices::removeListener(std::uint64_t id) {
  Listener removed;
  Receivers& r = receivers();
  LockGuard lock(r.mutex);
  if (auto it = r.listeners.find(id); it != r.listeners.end()) {
    removed = std::move(it->second);
    r.listeners.erase(it);
  }
}

void TextsChangedNotices::post(TextsChanged notice) {
  Receivers& r = receivers();
  if (!r.host.isSet() && !r.anyListener()) return;
  guarded("Posting a texts-changed notice", [&] {
    Platform::Current().dispatch().mainAsync([notice = std::move(notice)] {
      Receivers& now = receivers();
      now.host.call(notice);
      for (const Listener& listener : now.currentListeners()) {
        guarded("A texts-changed listener", [&] { (*listener)(notice); });
      }
    });
  });
}

}  // namespace tolvana
