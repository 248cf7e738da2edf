// LivePreview: in draft mode, and only when the app opts in ("TolvanaLivePreview"), a request
// held open at the translation server that returns as soon as a translator edits or publishes
// a group. The groups it names are then brought through the ordinary signed update, whose
// texts-changed notice redraws the app, so a tester sees an edit within a second.
//
// One request at a time, on the HTTP port's own queues: nothing waits on the host's threads.
// After a failure it asks again after a pause that grows from half a second to thirty; it ends
// when draft mode ends, the engine is switched off or goes away.
//
// Thread contract: startIfWanted() from any thread; the rest runs in the request's completion
// or a delayed task, and only while the owner given in the context is alive.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "localization/EngineState.h"
#include "tolvana/platform/Http.h"

namespace tolvana {

class LivePreview {
 public:
  using Names = std::optional<std::vector<std::string>>;
  struct Context {
    EngineState& state;
    // Whose life bounds the requests' handling: the engine, or whatever a test holds.
    std::weak_ptr<const void> owner;
    std::function<std::string(std::string_view)> hmac;
    // The languages the app keeps current; a change in any other is not fetched.
    std::function<std::vector<std::string>()> languages;
    // Brings these groups of these languages through the update (nullopt: the default ones).
    std::function<void(Names groups, Names languages)> update;
  };
  // The server holds a request for less than this; a longer silence is a broken connection.
  static constexpr std::chrono::seconds kIdleTimeout{40};

  explicit LivePreview(Context context) : context_(std::move(context)) {}

  // Starts listening when the engine is on, in draft mode, opted in and its store open;
  // nothing when it listens already.
  void startIfWanted();
  bool listening() const { return running_; }

 private:
  bool wanted() const;
  void poll(const std::string& cursor, int failures);
  void answered(const HttpResponse& response, const std::string& cursor, int failures,
                std::chrono::steady_clock::time_point sent);
  void askAgainLater(const std::string& cursor, int failures);

  Context context_;
  std::atomic<bool> running_{false};
};

}  // namespace tolvana
