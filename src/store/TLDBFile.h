// TLDBFile: one language's translations as a property-list dictionary file.
//
// The whole store lives in memory from creation until close(); writes change only memory,
// and save() writes the dictionary to its path atomically. Rows are kept under prefixed keys
// ("ENTRY﹕<key>", "GROUP﹕<name>", with U+FE55 after the prefix) so entries and groups share
// one dictionary without clashing. The file backend offers no listing and no transactions.
//
// Thread contract: none of its own (see TLDBProtocol); the owner serialises every call.
#pragma once

#include <memory>
#include <string>

#include "store/TLDBProtocol.h"
#include "tolvana/Value.h"

namespace tolvana {

class TLDBFile final : public TLDBProtocol {
 public:
  // Loads the file at path; a missing or unreadable file starts an empty store.
  static std::shared_ptr<TLDBFile> initWithPath(std::string path);

  bool createOrUpdateEntry(std::string_view key, std::optional<std::string_view> value,
                           std::optional<std::string_view> draft) override;
  void createOrUpdateGroup(std::string_view name, std::int64_t version) override;
  // The stored integer, -1 when the group or its version is missing.
  std::int64_t getGroupVersion(std::string_view name) override;
  // The row's value; nullopt also for a row stored without one.
  std::optional<std::string> entryValueForKey(std::string_view key) override;
  std::optional<TLLanguageEntry> entryForKey(std::string_view key) override;
  // Always nullopt.
  std::optional<std::vector<TLLanguageEntry>> entryList() override;
  std::optional<std::map<std::string, std::int64_t>> groupList() override;
  void beginWriteTransaction() override {}
  bool commitWriteTransaction() override { return true; }
  // Reloads from the file; the flag is ignored.
  void open(bool readOnly) override;
  // Drops the dictionary without writing it; until the next open() reads find nothing and
  // writes are ignored.
  void close() override;
  void save() override;

  const std::string& dbPath() const { return dbPath_; }

 private:
  explicit TLDBFile(std::string path) : dbPath_(std::move(path)) {}
  const Value* row(std::string_view prefix, std::string_view name) const;

  const std::string dbPath_;
  std::optional<Value::Dictionary> database_;
};

}  // namespace tolvana
