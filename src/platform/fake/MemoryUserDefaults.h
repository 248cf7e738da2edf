// A UserDefaults domain held in memory only; synchronize() counts calls and succeeds.
#pragma once

#include <atomic>
#include <mutex>

#include "support/Mutex.h"
#include "tolvana/platform/UserDefaults.h"

namespace tolvana {

class MemoryUserDefaults final : public UserDefaults {
 public:
  std::optional<Value> objectForKey(std::string_view key) const override;
  void setObject(std::string_view key, Value value) override;
  void removeObject(std::string_view key) override;
  bool synchronize() override;
  void removePersistentDomain() override;

  int synchronizeCount() const { return synchronizeCount_; }
  Value::Dictionary snapshot() const;

 private:
  mutable Mutex mutex_;
  Value::Dictionary values_ TL_GUARDED_BY(mutex_);
  std::atomic<int> synchronizeCount_{0};
};

}  // namespace tolvana
