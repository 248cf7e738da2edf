// MissingEntries: strings the app asked for but the store lacks, recorded with the app's own
// text and uploaded with an update after a quiet period, so that a new screen's many misses
// go up together.
//
// Thread contract: every method may be called from any thread. Recording takes the engine's
// lock and then the collection's own, always in that order; the upload runs on the main queue
// and only while the owner given in the context is alive.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>

#include "localization/EngineState.h"
#include "localization/StringLookup.h"
#include "support/Mutex.h"

namespace tolvana {

class MissingEntries {
 public:
  using Completion = std::function<void(bool success)>;
  struct Context {
    EngineState& state;
    // Whose life bounds the queued upload: the engine, or whatever a test holds.
    std::weak_ptr<const void> owner;
    // Sends an update, which carries the collection; the completion runs on the main queue.
    std::function<void(Completion)> upload;
  };
  explicit MissingEntries(Context context) : context_(std::move(context)) {}

  // The key may be the very same text as the value (the same characters in memory), which
  // draws a warning for long keys.
  bool storeMissingEntryForLanguage(std::optional<std::string_view> language, std::optional<std::string_view> key,
                                    std::optional<std::string_view> value);
  bool queueSendMissingEntrys();
  TLLanguageMap missingEntries() const;
  bool missingEntryUpdateQueued() const { return missingEntryUpdateQueued_; }

 private:
  void sendMissingEntries();

  Context context_;
  std::atomic<bool> missingEntryUpdateQueued_{false};
  mutable Mutex missingMutex_ TL_ACQUIRED_AFTER(context_.state.lock());
  TLLanguageMap missingEntries_ TL_GUARDED_BY(missingMutex_);
};

}  // namespace tolvana
