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

bool TextWrites::untouched(std::string_view key, std::uint64_t since, std::uint64_t now) const {
  if (since >= now) return since == now;
  LockGuard lock(mutex_);
  auto move = std::lower_bound(moves_.begin(), moves_.end(), since + 1,
                               [](const Move& m, std::uint64_t generation) { return m.generation < generation; });
  for (std::uint64_t generation = since + 1; generation <= now; ++generation, ++move) {
    if (move == moves_.end() || move->generation != generation) return false;
    if (std::binary_search(move->keys->begin(), move->keys->end(), key, std::less<>())) return false;
  }
  return true;
}

}  // namespace tolvana
