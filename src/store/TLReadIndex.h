// TLReadIndex: every entry of one store held in memory, for look-ups that touch neither
// SQLite nor the file system.
//
// The entries live back to back in one arena, each its three lengths (one byte each while
// they stay under 128) followed by key, value and draft; an open-addressing table of hashes
// and offsets points into it, at most half full. An entry costs its bytes plus 3 and 8 to 16
// bytes of table: less than the store file, which holds each key twice (row and primary-key
// index). A replaced entry leaves its old bytes behind until they outweigh the live ones, then
// the arena is rebuilt.
//
// Thread contract: none of its own; its owner guards reads against writes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tolvana {

class TLReadIndex {
 public:
  struct Row {
    std::string_view value;
    std::string_view draft;
  };

  explicit TLReadIndex(std::size_t expectedEntries = 0);
  void put(std::string_view key, std::string_view value, std::string_view draft);
  // Views into the index, valid until the next put().
  std::optional<Row> find(std::string_view key) const;
  std::size_t size() const { return count_; }
  // What the index holds on the heap.
  std::size_t memoryBytes() const;
  // Gives back what the arena reserved for growth, once the entries are in.
  void shrinkToFit();

  // The index as bytes that fromBytes() reads back on this machine (native byte order and
  // layout; a build with another layout refuses them).
  void appendTo(std::string& bytes) const;
  // Nullopt unless the bytes hold a whole index as appendTo() writes it. Bytes from disk are
  // not trusted: every entry must lie inside them and the table must have free slots, so a
  // damaged index may answer wrongly but never reads out of bounds or probes forever.
  static std::optional<TLReadIndex> fromBytes(std::string_view bytes);

 private:
  struct Slot {
    std::uint32_t hash = 0;
    std::uint32_t entry = 0;  // the entry's offset in the arena plus one; 0: an empty slot
  };
  // One entry decoded from the arena.
  struct Entry {
    std::string_view key, value, draft;
    std::size_t bytes() const;  // its whole length in the arena, lengths included
  };
  std::size_t slotFor(std::string_view key, std::uint32_t hash) const;
  // The entry at an arena offset; nullopt when it does not lie wholly inside the arena.
  std::optional<Entry> entryAt(std::size_t offset) const;
  // The entry of a taken slot, whose entry is known to lie inside the arena (put() wrote it,
  // or fromBytes() checked it), so it is decoded without bounds checks.
  Entry entryOf(const Slot& slot) const;
  void append(std::string_view key, std::string_view value, std::string_view draft);
  void grow();
  void compact();

  std::vector<Slot> slots_;
  std::string arena_;  // key, value and draft of each entry, one after another
  std::size_t count_ = 0;
  std::size_t liveBytes_ = 0;
};

}  // namespace tolvana
