// PageSession: what the pages of one web view may ask of the app.
//
// A page is anyone's content. It may post messages of any size as fast as it likes, ask for
// one update after another, and navigate at will. Each view gets one session that admits a
// message only when the page's origin may use the bridge, the message is no larger than
// TLJSBridge::kMaxMessageBytes and the view's pages have not posted more than their share
// lately (a burst of kMessageBurst, then kMessagesPerSecond). Admitted work runs on the
// session's own serial queue, so a page never holds the main thread, and one update at a time
// runs for a view. A page that is refused gets one log line, not one per message.
//
// Thread contract: of() and admit() on the main queue; beginUpdate() and endUpdate() from
// any thread; tasks given to run() execute one at a time, in order, off the main thread.
#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <string_view>

#include "support/Mutex.h"
#include "tolvana/Value.h"
#include "tolvana/platform/Dispatch.h"
#include "tolvana/platform/WebView.h"

namespace tolvana {

class PageSession {
 public:
  // The view's session, made on first use; it lives as long as the view.
  static std::shared_ptr<PageSession> of(const std::shared_ptr<WebView>& view);

  explicit PageSession(std::shared_ptr<SerialQueue> queue);
  // True when the message may be served; false, logged once until one is admitted again,
  // when its origin may not use the bridge, it is too large or the pages post too fast.
  bool admit(const Value& body, const WebView::Document& from);
  void run(Task task) { queue_->async(std::move(task)); }
  // True when no update of the view runs; it is then the view's running update until
  // endUpdate().
  bool beginUpdate();
  void endUpdate();

 private:
  bool refuse(std::string_view why, const WebView::Document& from);

  const std::shared_ptr<SerialQueue> queue_;
  Mutex mutex_;
  // Guarded by mutex_.
  double tokens_;
  std::chrono::steady_clock::time_point refilled_;
  bool refusing_ = false;
  bool updating_ = false;
};

}  // namespace tolvana
