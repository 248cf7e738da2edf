#include "store/TLReadIndex.h"

#include <bit>
#include <cstring>

namespace tolvana {

namespace {
constexpr std::size_t kMinimumSlots = 16;

struct BytesHeader {
  std::uint32_t magic = 0x54495833;  // also tells the byte order, the entry layout and the hash
  std::uint32_t slotBytes = 0;
  std::uint64_t slotCount = 0;
  std::uint64_t entryCount = 0;
  std::uint64_t arenaBytes = 0;
};

// Lengths are stored in seven-bit groups, lowest first, the high bit set on all but the last.
void appendLength(std::string& arena, std::size_t length) {
  while (length >= 0x80) {
    arena.push_back(static_cast<char>(0x80 | (length & 0x7f)));
    length >>= 7;
  }
  arena.push_back(static_cast<char>(length));
}

// A length read from [at, end), moving at past it. Nullopt when it runs past end or 32 bits,
// or is not written as appendLength writes it (which lengthBytes counts on).
std::optional<std::uint32_t> readLength(const char*& at, const char* end) {
  std::uint32_t length = 0;
  for (int shift = 0; at < end && shift < 32; shift += 7) {
    auto byte = static_cast<unsigned char>(*at++);
    if (shift == 28 && byte > 0x0f) return std::nullopt;
    length |= std::uint32_t{byte & 0x7fu} << shift;
    if (!(byte & 0x80)) return shift > 0 && byte == 0 ? std::nullopt : std::optional(length);
  }
  return std::nullopt;
}

std::size_t lengthBytes(std::size_t length) {
  std::size_t bytes = 1;
  for (; length >= 0x80; length >>= 7) ++bytes;
  return bytes;
}
}  // namespace

std::size_t TLReadIndex::Entry::bytes() const {
  return lengthBytes(key.size()) + lengthBytes(value.size()) + lengthBytes(draft.size()) + key.size() + value.size() +
         draft.size();
}

TLReadIndex::TLReadIndex(std::size_t expectedEntries) {
  // At most half full, so that a probe rarely passes more than one other key.
  slots_.resize(std::max(kMinimumSlots, std::bit_ceil(expectedEntries * 2 + 1)));
}

namespace {

// Inlined: it runs on every look-up, and a call would cost more than the hash.
[[gnu::always_inline]] inline std::uint32_t hashOf(std::string_view key) {
  // Eight bytes at a time: a byte-at-a-time hash puts a chain of one multiplication per byte
  // ahead of the slot's load, on every look-up. Every byte counts, since keys of one screen
  // often differ only in the middle ("onboarding.page2.title").
  auto load64 = [](const char* at) {
    std::uint64_t word;
    std::memcpy(&word, at, sizeof word);
    return word;
  };
  auto load32 = [](const char* at) {
    std::uint32_t word;
    std::memcpy(&word, at, sizeof word);
    return std::uint64_t{word};
  };
  // Both halves of the 128-bit product, folded: every bit of the word reaches the low bits
  // that pick the slot (a 64-bit product's low bits see only the word's low bits).
  auto mix = [](std::uint64_t word) {
    constexpr std::uint64_t kOdd = 0xFF51AFD7ED558CCDull;
#if defined(__SIZEOF_INT128__)
    const unsigned __int128 product = static_cast<unsigned __int128>(word) * kOdd;
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
#else
    const std::uint64_t a = word >> 32, b = word & 0xFFFFFFFFu, c = kOdd >> 32, d = kOdd & 0xFFFFFFFFu;
    const std::uint64_t low = b * d, middle = (low >> 32) + (a * d & 0xFFFFFFFFu) + (b * c & 0xFFFFFFFFu);
    const std::uint64_t high = a * c + (a * d >> 32) + (b * c >> 32) + (middle >> 32);
    return (word * kOdd) ^ high;
#endif
  };
  const char* at = key.data();
  std::size_t left = key.size();
  std::uint64_t hash = left * 0x9E3779B97F4A7C15ull;
  for (; left > 8; at += 8, left -= 8) hash = mix(hash ^ load64(at));
  // The last bytes, read as one word that may overlap the words before.
  std::uint64_t last = 0;
  if (key.size() >= 8) {
    last = load64(key.data() + key.size() - 8);
  } else if (left >= 4) {
    last = load32(at) << 32 | load32(at + left - 4);
  } else if (left > 0) {
    last = std::uint64_t{static_cast<unsigned char>(at[0])} << 16 |
           std::uint64_t{static_cast<unsigned char>(at[left / 2])} << 8 | static_cast<unsigned char>(at[left - 1]);
  }
  hash = mix(hash ^ last);
  return static_cast<std::uint32_t>(hash ^ (hash >> 32));
}

}  // namespace

std::optional<TLReadIndex::Entry> TLReadIndex::entryAt(std::size_t offset) const {
  if (offset >= arena_.size()) return std::nullopt;
  const char* at = arena_.data() + offset;
  const char* end = arena_.data() + arena_.size();
  auto keyLength = readLength(at, end);
  auto valueLength = keyLength ? readLength(at, end) : std::nullopt;
  auto draftLength = valueLength ? readLength(at, end) : std::nullopt;
  if (!draftLength || std::uint64_t{*keyLength} + *valueLength + *draftLength > std::uint64_t(end - at)) {
    return std::nullopt;
  }
  return Entry{{at, *keyLength}, {at + *keyLength, *valueLength}, {at + *keyLength + *valueLength, *draftLength}};
}

TLReadIndex::Entry TLReadIndex::entryOf(const Slot& slot) const {
  const char* at = arena_.data() + slot.entry - 1;
  auto length = [&at] {
    std::uint32_t value = 0;
    for (int shift = 0;; shift += 7) {
      auto byte = static_cast<unsigned char>(*at++);
      value |= std::uint32_t{byte & 0x7fu} << shift;
      if (!(byte & 0x80)) return value;
    }
  };
  // Texts under 128 bytes, nearly all of them, have one byte for each length.
  std::uint32_t key = static_cast<unsigned char>(at[0]), value = static_cast<unsigned char>(at[1]),
                draft = static_cast<unsigned char>(at[2]);
  if (((key | value | draft) & 0x80) == 0) {
    at += 3;
  } else {
    key = length(), value = length(), draft = length();
  }
  return Entry{{at, key}, {at + key, value}, {at + key + value, draft}};
}

std::size_t TLReadIndex::slotFor(std::string_view key, std::uint32_t hash) const {
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t at = hash & mask;; at = (at + 1) & mask) {
    const Slot& slot = slots_[at];
    if (slot.entry == 0 || (slot.hash == hash && entryOf(slot).key == key)) return at;
  }
}

std::optional<TLReadIndex::Row> TLReadIndex::find(std::string_view key) const {
  if (key.empty()) return std::nullopt;
  // slotFor's probe, decoding the entry that matches only once: every look-up comes here.
  const std::uint32_t hash = hashOf(key);
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t at = hash & mask;; at = (at + 1) & mask) {
    const Slot& slot = slots_[at];
    if (slot.entry == 0) return std::nullopt;
    if (slot.hash != hash) continue;
    Entry entry = entryOf(slot);
    if (entry.key == key) return Row{entry.value, entry.draft};
  }
}

void TLReadIndex::append(std::string_view key, std::string_view value, std::string_view draft) {
  appendLength(arena_, key.size());
  appendLength(arena_, value.size());
  appendLength(arena_, draft.size());
  arena_.append(key).append(value).append(draft);
}

void TLReadIndex::put(std::string_view key, std::string_view value, std::string_view draft) {
  if (key.empty()) return;
  if ((count_ + 1) * 2 > slots_.size()) grow();
  const std::uint32_t hash = hashOf(key);
  Slot& slot = slots_[slotFor(key, hash)];
  if (slot.entry == 0) {
    ++count_;
  } else {
    liveBytes_ -= entryOf(slot).bytes();
  }
  const std::size_t offset = arena_.size();
  append(key, value, draft);
  slot = {hash, static_cast<std::uint32_t>(offset + 1)};
  liveBytes_ += arena_.size() - offset;
  if (arena_.size() > 2 * liveBytes_ + 4096) compact();
}

void TLReadIndex::grow() {
  std::vector<Slot> old(slots_.size() * 2);
  old.swap(slots_);
  for (const Slot& slot : old) {
    if (slot.entry != 0) slots_[slotFor(entryOf(slot).key, slot.hash)] = slot;
  }
}

void TLReadIndex::compact() {
  std::string arena;
  arena.reserve(liveBytes_);
  for (Slot& slot : slots_) {
    if (slot.entry == 0) continue;
    const std::size_t from = slot.entry - 1;
    const std::size_t length = entryOf(slot).bytes();
    slot.entry = static_cast<std::uint32_t>(arena.size() + 1);
    arena.append(arena_, from, length);
  }
  arena_.swap(arena);
}

void TLReadIndex::shrinkToFit() { arena_.shrink_to_fit(); }

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
    if (slot.entry == 0) continue;
    auto entry = index.entryAt(slot.entry - 1);
    if (!entry || entry->key.empty()) return std::nullopt;
    ++index.count_;
    index.liveBytes_ += entry->bytes();
  }
  // A count that disagrees with the slots could leave no free slot for a probe to stop at.
  if (index.count_ != header.entryCount) return std::nullopt;
  return index;
}

std::size_t TLReadIndex::memoryBytes() const { return slots_.capacity() * sizeof(Slot) + arena_.capacity(); }

}  // namespace tolvana
