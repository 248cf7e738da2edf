#include "config/TextWrites.h"

#include <algorithm>

namespace tolvana {

void TextWrites::written(std::atomic<std::uint64_t>& generation, std::vector<std::string> keys) {
  std::sort(keys.begin(), keys.end());
  keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
  auto sorted = std::make_shared<const std::vector<std::string>>(std::move(keys));
  LockGuard lock(mutex_);
  // Moved under the lock, so the records stay in the order of their generations; a move made
  // elsewhere in between leaves a gap, which no answer crosses.
  const std::uint64_t reached = generation.fetch_add(1, std::memory_order_release) + 1;
  moves_.push_back({reached, std::move(sorted)});
  if (moves_.size() > kMovesKept) moves_.pop_front();
}

std::optional<std::vector<std::string>> TextWrites::writtenBetween(std::uint64_t since, std::uint64_t now) const {
  std::vector<std::string> keys;
  if (since >= now) return since == now ? std::optional(keys) : std::nullopt;
  LockGuard lock(mutex_);
  auto move = std::lower_bound(moves_.begin(), moves_.end(), since + 1,
                               [](const Move& m, std::uint64_t generation) { return m.generation < generation; });
  for (std::uint64_t generation = since + 1; generation <= now; ++generation, ++move) {
    if (move == moves_.end() || move->generation != generation) return std::nullopt;
    keys.insert(keys.end(), move->keys->begin(), move->keys->end());
  }
  if (now - since > 1) {
    std::sort(keys.begin(), keys.end());
    keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
  }
  return keys;
}

}  // namespace tolvana
