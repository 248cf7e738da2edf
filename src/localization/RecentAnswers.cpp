#include "localization/RecentAnswers.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>

#include "config/ProcessState.h"
#include "platform/CoarseClock.h"
#include "store/TLDBProtocol.h"
#include "tolvana/platform/Platform.h"

namespace tolvana {

namespace {

// Room for the texts of many screens, a few thousand keys, at 176 bytes an answer (720 KB
// in each thread that looks texts up, besides the texts): a smaller table lets keys
// drawn in turn push each other out before they come round again. Four answers share a set,
// so that keys a screen shows together seldom take each other's place.
constexpr int kWays = 4;
constexpr std::uint32_t kSets = 4096 / kWays;

// A thread that walks more keys than the table holds (a long list, an export) finds nothing in
// it and may keep nothing: after this many such look-ups in a row it stops reading the table,
// which only pushed the stores' pages out of the caches, and probes one look-up in
// kProbeEvery, until one finds or may keep an answer again.
constexpr std::uint32_t kFruitlessToPause = 64;
constexpr std::uint32_t kProbeEvery = 16;

// What a probe reads first, for every way, lies on one cache line ahead of the answers.
struct alignas(64) Set {
  std::uint64_t generations[kWays] = {};  // of the thread's answers each way was kept in
  std::uint32_t hashes[kWays] = {};
  std::uint32_t sighted = 0;  // the hash of the last key that missed here
  std::uint16_t lastUse[kWays] = {};  // the set's count of uses when each way was last used
  std::uint16_t uses = 0;
  RecentAnswers::Entry ways[kWays];

  bool live(int way, std::uint64_t generation) const { return generations[way] == generation; }
  void use(int way) { lastUse[way] = ++uses; }
  int leastRecentlyUsed() const {
    int oldest = 0;
    for (int way = 1; way < kWays; ++way) {
      if (std::uint16_t(uses - lastUse[way]) > std::uint16_t(uses - lastUse[oldest])) oldest = way;
    }
    return oldest;
  }
};

struct ThreadAnswers {
  RecentAnswers::Stamp stamp;
  CoarseClockReader clock;  // the stamp's platform's, shared: another platform may take its place
  std::uint64_t generation = 1;
  std::int64_t confirmedUntil = 0;  // steady-clock nanoseconds
  std::uint32_t fruitless = 0;      // look-ups in a row that neither found nor may keep an answer
  // The way last found or kept: a host that asks for one text again and again (a label redrawn,
  // a list's header) finds it there without hashing its key.
  Set* lastSet = nullptr;
  int lastWay = 0;
  Set sets[kSets];

  bool paused() const { return fruitless >= kFruitlessToPause && fruitless % kProbeEvery != 0; }
  void use(Set& set, int way) {
    set.use(way);
    lastSet = &set;
    lastWay = way;
  }
  const RecentAnswers::Entry* found(Set& set, int way) {
    use(set, way);
    fruitless = 0;
    return &set.ways[way];
  }
};

// A plain pointer, so that a probe reaches it without a guard; the owner frees it when the
// thread ends.
constinit thread_local ThreadAnswers* thisThreadsAnswers = nullptr;

// Clears the pointer before the answers go, for a look-up made by a later thread-exit handler.
struct ThreadOwner {
  std::unique_ptr<ThreadAnswers> answers;
  ~ThreadOwner() { thisThreadsAnswers = nullptr; }
};

ThreadAnswers& threadAnswers() {
  if (ThreadAnswers* answers = thisThreadsAnswers) return *answers;
  static thread_local ThreadOwner owner;
  owner.answers = std::make_unique<ThreadAnswers>();
  thisThreadsAnswers = owner.answers.get();
  return *thisThreadsAnswers;
}

// Only picks a slot, the key is compared in full: its length and its first and last eight
// bytes tell apart the keys a screen shows, at a fraction of the cost of hashing each byte.
std::uint32_t hashOf(std::string_view key) {
  if (key.empty()) return 0;
  std::uint64_t head = 0;
  std::uint64_t tail = 0;
  if (key.size() >= 8) {
    // Two fixed-size loads; the copy of a variable length below is a loop.
    std::memcpy(&head, key.data(), 8);
    std::memcpy(&tail, key.data() + key.size() - 8, 8);
  } else {
    std::memcpy(&head, key.data(), key.size());
    tail = head;
  }
  std::uint64_t mixed = head ^ (tail * 0x9E3779B97F4A7C15ull) ^ key.size();
  // Folded down before and after the multiplication: a key's last bytes sit in the high bits.
  mixed ^= mixed >> 33;
  mixed *= 0xFF51AFD7ED558CCDull;
  mixed ^= mixed >> 33;
  return static_cast<std::uint32_t>(mixed);
}

bool sameValue(const std::optional<std::string>& kept, std::optional<std::string_view> value) {
  return kept.has_value() == value.has_value() && (!value || *kept == *value);
}

std::uint64_t eightBytesAt(const char* bytes) {
  std::uint64_t word;
  std::memcpy(&word, bytes, 8);
  return word;
}

// Keys walked in turn (key_0001, key_0002, ...) share their length and head: their last eight
// bytes tell them apart first. A key of up to 16 bytes is then compared whole by its first
// eight, without a call.
bool sameKey(const std::string& kept, std::string_view key) {
  const std::size_t size = key.size();
  if (kept.size() != size) return false;
  if (size < 8) return std::memcmp(kept.data(), key.data(), size) == 0;
  if (eightBytesAt(kept.data() + size - 8) != eightBytesAt(key.data() + size - 8)) return false;
  if (eightBytesAt(kept.data()) != eightBytesAt(key.data())) return false;
  return size <= 16 || std::memcmp(kept.data() + 8, key.data() + 8, size - 16) == 0;
}

bool holds(const Set& set, int way, std::uint64_t generation, std::string_view key,
           std::optional<std::string_view> value) {
  return set.live(way, generation) && sameKey(set.ways[way].key, key) && sameValue(set.ways[way].value, value);
}

// The way of the set that holds the key's answer, or -1.
int wayOf(const Set& set, std::uint64_t generation, std::uint32_t hash, std::string_view key,
          std::optional<std::string_view> value) {
  for (int way = 0; way < kWays; ++way) {
    if (set.hashes[way] == hash && holds(set, way, generation, key, value)) return way;
  }
  return -1;
}

// Under a new stamp every kept answer is void; the generation says so without touching them.
void takeOn(ThreadAnswers& answers, const RecentAnswers::Stamp& stamp) {
  if (answers.stamp == stamp) return;
  answers.stamp = stamp;
  answers.clock = stamp.platform ? CoarseClockReader(stamp.platform->ports().clock) : CoarseClockReader();
  ++answers.generation;
  answers.confirmedUntil = 0;
  answers.fruitless = 0;
}

}  // namespace

RecentAnswers::Stamp RecentAnswers::Stamp::of(std::uint64_t owner) {
  return {owner, &Platform::Current(), ProcessState::get().answersGeneration.load(std::memory_order_acquire),
          TLDBProtocol::contentVersion()};
}

const RecentAnswers::Entry* RecentAnswers::peek(std::uint64_t owner, std::string_view key,
                                                std::optional<std::string_view> value) {
  ThreadAnswers* answers = thisThreadsAnswers;
  if (!answers || answers->paused() || !(answers->stamp == Stamp::of(owner))) return nullptr;
  Set* set = answers->lastSet;
  int way = answers->lastWay;
  if (!set || !holds(*set, way, answers->generation, key, value)) {
    const std::uint32_t hash = hashOf(key);
    set = &answers->sets[hash % kSets];
    way = wayOf(*set, answers->generation, hash, key, value);
    if (way < 0) return nullptr;
  }
  if (answers->clock.nanoseconds() >= answers->confirmedUntil) return nullptr;
  return answers->found(*set, way);
}

RecentAnswers::Probe RecentAnswers::find(const Stamp& stamp, std::string_view key, std::optional<std::string_view> value) {
  ThreadAnswers& answers = threadAnswers();
  takeOn(answers, stamp);
  if (answers.paused()) {
    ++answers.fruitless;
    return {};
  }
  const std::uint32_t hash = hashOf(key);
  Set& set = answers.sets[hash % kSets];
  if (const int way = wayOf(set, answers.generation, hash, key, value); way >= 0) {
    return {answers.found(set, way), true};
  }
  // A free way takes any answer; a full set only that of a key seen here just before.
  bool free = false;
  for (int way = 0; way < kWays; ++way) free |= !set.live(way, answers.generation);
  const bool again = set.sighted == hash;
  set.sighted = hash;
  answers.fruitless = free || again ? 0 : answers.fruitless + 1;
  return {nullptr, free || again};
}

void RecentAnswers::keep(const Stamp& stamp, std::string_view key, std::optional<std::string_view> value,
                       const TLLocalizedString& answer) {
  ThreadAnswers& answers = threadAnswers();
  if (!(answers.stamp == stamp)) return;
  const std::uint32_t hash = hashOf(key);
  Set& set = answers.sets[hash % kSets];
  // The way the key holds already (with another default text), else a free way, else the least
  // lately used.
  int way = set.leastRecentlyUsed();
  for (int candidate = 0; candidate < kWays; ++candidate) {
    if (!set.live(candidate, answers.generation)) {
      way = candidate;
    } else if (set.hashes[candidate] == hash && set.ways[candidate].key == key) {
      way = candidate;
      break;
    }
  }
  answers.use(set, way);
  Entry& entry = set.ways[way];
  set.generations[way] = answers.generation;
  set.hashes[way] = hash;
  entry.key.assign(key);
  if (value) {
    entry.value.emplace(*value);
  } else {
    entry.value.reset();
  }
  entry.text = answer.text;
  entry.source = answer.source;
  entry.sourceLanguage = answer.sourceLanguage;
}

bool RecentAnswers::lapsed(std::int64_t now) {
  const ThreadAnswers* answers = thisThreadsAnswers;
  return !answers || now >= answers->confirmedUntil;
}

void RecentAnswers::confirm(const Stamp& stamp, std::int64_t until) {
  ThreadAnswers& answers = threadAnswers();
  if (answers.stamp == stamp) answers.confirmedUntil = until;
}

std::uint64_t RecentAnswers::newOwner() {
  static std::atomic<std::uint64_t> next{1};
  return next.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace tolvana
