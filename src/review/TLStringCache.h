// TLStringCache: a small shared map from a shown text to the key it was looked up under. It
// keeps the 45 most recently stored or read entries and forgets the rest.
//
// Thread contract: every method may be called from any thread.
#pragma once

#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "support/Mutex.h"

namespace tolvana {

class TLStringCache {
 public:
  static constexpr std::size_t kCountLimit = 45;
  static TLStringCache& sharedInstance();

  void addStringKey(std::string key, std::string_view value);
  std::optional<std::string> getKeyForValue(std::string_view value);

 private:
  using Entry = std::pair<std::string, std::string>;  // value, key; most recent first
  Mutex mutex_;
  std::list<Entry> entries_ TL_GUARDED_BY(mutex_);
  std::unordered_map<std::string_view, std::list<Entry>::iterator> index_ TL_GUARDED_BY(mutex_);
};

}  // namespace tolvana
