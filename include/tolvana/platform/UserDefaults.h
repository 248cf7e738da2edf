// UserDefaults: the app's persistent key-value domain, named by the main bundle identifier.
//
// Changes are visible to readers at once and reach storage on synchronize(), which writes
// the whole domain atomically (a crash never leaves a half-written file behind). A domain
// that is missing or malformed on storage reads as empty.
//
// Thread contract: every method may be called from any thread, concurrently; each call is
// atomic with respect to the others.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tolvana/Export.h"
#include "tolvana/Value.h"

namespace tolvana {

class TOLVANA_EXPORT UserDefaults {
 public:
  virtual ~UserDefaults() = default;

  virtual std::optional<Value> objectForKey(std::string_view key) const = 0;
  virtual void setObject(std::string_view key, Value value) = 0;
  virtual void removeObject(std::string_view key) = 0;
  // Writes the domain to storage; false (with a logged error) when that failed.
  virtual bool synchronize() = 0;
  // Erases the whole domain, in memory and on storage.
  virtual void removePersistentDomain() = 0;

  // Typed readings with the platform's conversions: a number or a string that reads as one.
  bool boolForKey(std::string_view key) const;
  std::int64_t integerForKey(std::string_view key) const;
  double doubleForKey(std::string_view key) const;
  std::optional<std::string> stringForKey(std::string_view key) const;
};

}  // namespace tolvana
