// TLDBProtocol: what every per-language translation store offers.
//
// Writers call beginWriteTransaction(), any number of createOrUpdateGroup() and
// createOrUpdateEntry(), commitWriteTransaction(), and save() where the store needs it.
// Failures are logged and read as -1 or nullopt; nothing throws.
//
// Thread contract: a store takes no lock of its own, unless readsConcurrently() says it
// guards its look-ups. Its owner (the database manager) serialises every other call; a
// write transaction must not interleave with another one on the same store, since the
// prepared statements live in the object.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

#include "store/TLLanguageEntry.h"

namespace tolvana {

class TLDBProtocol {
 public:
  virtual ~TLDBProtocol() = default;

  // Inserts or replaces one entry. An absent or empty value or draft is stored as absent.
  // False when the entry was stored as it is already, so its look-ups answer as before.
  virtual bool createOrUpdateEntry(std::string_view key, std::optional<std::string_view> value,
                                   std::optional<std::string_view> draft) = 0;
  virtual void createOrUpdateGroup(std::string_view name, std::int64_t version) = 0;
  // The group's version, -1 when unknown.
  virtual std::int64_t getGroupVersion(std::string_view name) = 0;
  virtual std::optional<std::string> entryValueForKey(std::string_view key) = 0;
  virtual std::optional<TLLanguageEntry> entryForKey(std::string_view key) = 0;
  // Every entry; nullopt where the store cannot list.
  virtual std::optional<std::vector<TLLanguageEntry>> entryList() = 0;
  // Every group with its version; nullopt when the store cannot be read.
  virtual std::optional<std::map<std::string, std::int64_t>> groupList() = 0;
  virtual void beginWriteTransaction() = 0;
  // True when every write since beginWriteTransaction() is stored; otherwise none of them is.
  virtual bool commitWriteTransaction() = 0;
  virtual void open(bool readOnly) = 0;
  virtual void close() = 0;
  virtual void save() = 0;
  // True once the file turned out to be no store at all (not a database, or corrupt): it
  // will not get better, and its owner should move it aside.
  virtual bool isBroken() const { return false; }
  // True when entryValueForKey() and entryForKey() may run concurrently with the owner's
  // other calls; otherwise the owner serialises them too.
  virtual bool readsConcurrently() const { return false; }
  // When the store next looks for changes made to its file by another process (steady-clock
  // nanoseconds); an answer taken from it holds until then at the latest.
  virtual std::int64_t nextOutsideCheck() const { return INT64_MAX; }
  // Looks for such changes now if the store is due to; a look-up does so on its own.
  virtual void lookForOutsideChanges() {}

  // Counts every change to what any store of the process answers: whoever keeps answers
  // keeps them only while it stands still.
  static std::uint64_t contentVersion() { return contentVersion_.load(std::memory_order_acquire); }
  // Counts only the changes to a store's file that another process made: whoever keeps
  // answers across this process's own writes still drops them when one is found.
  static std::uint64_t outsideChanges() { return outsideChanges_.load(std::memory_order_acquire); }

 protected:
  // After the change is visible to readers.
  static void contentChanged() { contentVersion_.fetch_add(1, std::memory_order_release); }
  static void outsideChangeFound() {
    outsideChanges_.fetch_add(1, std::memory_order_release);
    contentChanged();
  }

 private:
  static inline std::atomic<std::uint64_t> contentVersion_{1};
  static inline std::atomic<std::uint64_t> outsideChanges_{0};
};

}  // namespace tolvana
