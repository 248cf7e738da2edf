// KeyTags: the key each shown text was looked up under, found again by the address of the
// text's storage. Toolkits share a string's storage among its copies, so a widget's text
// keeps the address the look-up returned for as long as nobody changes it.
//
// Each tag holds an owner that keeps the storage alive, so a freed address cannot come back
// as another text's; beyond kLimit tags the oldest go.
//
// Thread contract: every method may be called from any thread.
#pragma once

#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

#include "support/Mutex.h"

namespace tolvana {

class KeyTags {
 public:
  static constexpr std::size_t kLimit = 4096;
  static KeyTags& shared();

  void tag(const void* data, std::shared_ptr<const void> owner, std::string key);
  std::optional<std::string> keyFor(const void* data) const;
  std::size_t size() const;

 private:
  struct Tag {
    std::shared_ptr<const void> owner;
    std::string key;
  };
  mutable Mutex mutex_;
  std::unordered_map<const void*, Tag> tags_ TL_GUARDED_BY(mutex_);
  std::deque<const void*> order_ TL_GUARDED_BY(mutex_);
};

}  // namespace tolvana
