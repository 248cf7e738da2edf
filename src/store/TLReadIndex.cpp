#include "store/TLReadIndex.h"

#include <bit>
#include <cstring>

namespace tolvana {

namespace {
constexpr std::size_t kMinimumSlots = 16;

struct BytesHeader {
  std::uint32_t magic = 0x54495831;  // also tells the byte order
  std::uint32_t slotBytes = 0;
  std::uint64_t slotCount = 0;
  std::uint64_t entryCount = 0;
  std::uint64_t arenaBytes = 0;
};
}  // namespace

TLReadIndex::TLReadIndex(std::size_t expectedEntries) {
  // At most half full, so that a probe rarely passes more than one other key.
  slots_.resize(std::max(kMinimumSlots, std::bit_ceil(expectedEntries * 2 + 1)));
}

std::uint32_t TLReadIndex::hashOf(std::string_view key) {
  // FNV-1a: keys are short, and it needs no allocation or seed.
  std::uint32_t hash = 2166136261u;
  for (unsigned char c : key) hash = (hash ^ c) * 16777619u;
  return hash;
}

std::size_t TLReadIndex::slotFor(std::string_view key, std::uint32_t hash) const {
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t at = hash & mask;; at = (at + 1) & mask) {
    const Slot& slot = slots_[at];
    if (slot.keyLength == 0 || (slot.hash == hash && keyOf(slot) == key)) return at;
  }
}

std::optional<TLReadIndex::Row> TLReadIndex::find(std::string_view key) const {
  if (key.empty()) return std::nullopt;
  const Slot& slot = slots_[slotFor(key, hashOf(key))];
  if (slot.keyLength == 0) return std::nullopt;
  const char* value = arena_.data() + slot.keyOffset + slot.keyLength;
  return Row{{value, slot.valueLength}, {value + slot.valueLength, slot.draftLength}};
}

void TLReadIndex::put(std::string_view key, std::string_view value, std::string_view draft) {
  if (key.empty()) return;
  if ((count_ + 1) * 2 > slots_.size()) grow();
  const std::uint32_t hash = hashOf(key);
  Slot& slot = slots_[slotFor(key, hash)];
  if (slot.keyLength == 0) {
    ++count_;
  } else {
    liveBytes_ -= slot.keyLength + slot.valueLength + slot.draftLength;
  }
  slot = {hash, static_cast<std::uint32_t>(arena_.size()), static_cast<std::uint32_t>(key.size()),
          static_cast<std::uint32_t>(value.size()), static_cast<std::uint32_t>(draft.size())};
  arena_.append(key).append(value).append(draft);
  liveBytes_ += key.size() + value.size() + draft.size();
  if (arena_.size() > 2 * liveBytes_ + 4096) compact();
}

void TLReadIndex::grow() {
  std::vector<Slot> old(slots_.size() * 2);
  old.swap(slots_);
  for (const Slot& slot : old) {
    if (slot.keyLength != 0) slots_[slotFor(keyOf(slot), slot.hash)] = slot;
  }
}

void TLReadIndex::compact() {
  std::string arena;
  arena.reserve(liveBytes_);
  for (Slot& slot : slots_) {
    if (slot.keyLength == 0) continue;
    std::size_t length = slot.keyLength + slot.valueLength + slot.draftLength;
    std::size_t offset = arena.size();
    arena.append(arena_, slot.keyOffset, length);
    slot.keyOffset = static_cast<std::uint32_t>(offset);
  }
  arena_.swap(arena);
}

void TLReadIndex::appendTo(std::string& bytes) const {
  BytesHeader header;
  header.slotBytes = sizeof(Slot);
  header.slotCount = slots_.size();
  header.entryCount = count_;
  header.arenaBytes = arena_.size();
  bytes.append(reinterpret_cast<const char*>(&header), sizeof header);
  bytes.append(reinterpret_cast<const char*>(slots_.data()), slots_.size() * sizeof(Slot));
  bytes.append(arena_);
}

std::optional<TLReadIndex> TLReadIndex::fromBytes(std::string_view bytes) {
  BytesHeader header, expected;
  if (bytes.size() < sizeof header) return std::nullopt;
  std::memcpy(&header, bytes.data(), sizeof header);
  bytes.remove_prefix(sizeof header);
  if (header.magic != expected.magic || header.slotBytes != sizeof(Slot) || header.slotCount < kMinimumSlots ||
      !std::has_single_bit(header.slotCount) || header.slotCount > bytes.size() / sizeof(Slot) ||
      header.entryCount * 2 > header.slotCount ||
      header.arenaBytes != bytes.size() - header.slotCount * sizeof(Slot)) {
    return std::nullopt;
  }
  TLReadIndex index;
  index.slots_.resize(header.slotCount);
  std::memcpy(index.slots_.data(), bytes.data(), header.slotCount * sizeof(Slot));
  index.arena_.assign(bytes.substr(header.slotCount * sizeof(Slot)));
  for (const Slot& slot : index.slots_) {
    if (slot.keyLength == 0) continue;
    const std::uint64_t end = std::uint64_t{slot.keyOffset} + slot.keyLength + slot.valueLength + slot.draftLength;
    if (end > index.arena_.size()) return std::nullopt;
    ++index.count_;
    index.liveBytes_ += end - slot.keyOffset;
  }
  // A count that disagrees with the slots could leave no free slot for a probe to stop at.
  if (index.count_ != header.entryCount) return std::nullopt;
  return index;
}

std::size_t TLReadIndex::memoryBytes() const { return slots_.capacity() * sizeof(Slot) + arena_.capacity(); }

}  // namespace tolvana
