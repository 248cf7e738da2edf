// TextWrites: which keys the latest moves of the answers' generation wrote, for the moves made
// by an update that did nothing but write texts.
//
// An update usually writes a handful of the texts a window shows; an adapter that kept the
// answers of the others may keep serving them, as long as every move since it kept them was
// such a write and none wrote the key. A key is counted as written in every language: its
// answer may come from any of them (device, its short code, the base language). Any other
// move (language, modes, settings, another write) leaves no record, so nothing outlives it.
//
// Thread contract: any thread.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/Mutex.h"

namespace tolvana {

class TextWrites {
 public:
  // Moves generation on by one for a write of exactly these keys (in any order, repeats allowed).
  void written(std::atomic<std::uint64_t>& generation, std::vector<std::string> keys);
  // The keys the moves from since to now wrote, sorted; nullopt unless every one of those
  // moves was a recorded write.
  std::optional<std::vector<std::string>> writtenBetween(std::uint64_t since, std::uint64_t now) const;

 private:
  // An answer kept before the last few updates is looked up again, which is rare and cheap
  // beside what the records of many updates would hold.
  static constexpr std::size_t kMovesKept = 8;
  struct Move {
    std::uint64_t generation;  // the one this write moved to
    std::shared_ptr<const std::vector<std::string>> keys;  // sorted, for a search that copies nothing
  };
  mutable Mutex mutex_;
  std::deque<Move> moves_ TL_GUARDED_BY(mutex_);
};

}  // namespace tolvana
