#include "AnswerCache.h"

#include <algorithm>
#include <cstring>

#include "tolvana/Hooks.h"

namespace tolvana::qt {

AnswerCache::Key::Key(const Query& query) {
  const std::size_t context = query.context ? std::strlen(query.context) : 0;
  const std::size_t source = std::strlen(query.sourceText);
  const std::size_t disambiguation = query.disambiguation ? std::strlen(query.disambiguation) : 0;
  size_ = 1 + context + 1 + source + 1 + disambiguation;
  if (size_ > sizeof(buffer_)) spill_.resize(size_);
  data_ = size_ > sizeof(buffer_) ? spill_.data() : buffer_;
  char* at = data_;
  *at++ = query.context ? 'c' : 'i';
  at = static_cast<char*>(std::memcpy(at, query.context ? query.context : "", context)) + context;
  *at++ = '\0';
  at = static_cast<char*>(std::memcpy(at, query.sourceText, source)) + source;
  *at++ = '\0';
  std::memcpy(at, query.disambiguation ? query.disambiguation : "", disambiguation);
  hash_ = std::hash<std::string_view>()(view());
}

// The source text lies between the key's first and second NUL.
std::string_view AnswerCache::sourceOf(std::string_view key) {
  const std::size_t from = key.find('\0') + 1;
  return key.substr(from, key.find('\0', from) - from);
}

std::string_view AnswerCache::engineKeyOf(std::string_view key, const Entry& entry) {
  return entry.engineKey.empty() ? sourceOf(key) : std::string_view(entry.engineKey);
}

void AnswerCache::bringUpTo(std::uint64_t generation, std::int64_t now) {
  if (now >= renewedUntil_.load(std::memory_order_acquire)) renew();
  if (generation_.load(std::memory_order_acquire) < generation) catchUp(generation);
}

void AnswerCache::renew() {
  const TolvanaHooks::Renewal renewal = TolvanaHooks::renewAnswers();
  QWriteLocker lock(&mutex_);
  if (renewal.outsideWrites != outsideWrites_) {
    answers_.clear();
    bytes_ = 0;
    outsideWrites_ = renewal.outsideWrites;
  }
  renewedUntil_.store(renewal.until, std::memory_order_release);
}

// Once per update rather than once per answer: a window retranslating after it asks for every
// text again.
void AnswerCache::catchUp(std::uint64_t generation) {
  const std::uint64_t since = generation_.load(std::memory_order_acquire);
  const std::optional<std::vector<std::string>> written = TolvanaHooks::keysWrittenBetween(since, generation);
  QWriteLocker lock(&mutex_);
  // Another thread caught up meanwhile, maybe further; a later call sees where.
  if (generation_.load(std::memory_order_relaxed) != since) return;
  if (!written) {
    answers_.clear();
    bytes_ = 0;
  } else {
    std::vector<std::size_t> hashes;
    for (const std::string& engineKey : *written) hashes.push_back(std::hash<std::string_view>()(engineKey));
    std::sort(hashes.begin(), hashes.end());
    for (auto& [key, entry] : answers_) {
      if (entry.generation >= generation) continue;
      // A stale answer stays, so that keep() finds the converted text where the update left it.
      const bool stale = std::binary_search(hashes.begin(), hashes.end(), entry.engineHash) &&
                         std::binary_search(written->begin(), written->end(), engineKeyOf(key, entry), std::less<>());
      entry.generation = stale ? kStale : generation;
    }
  }
  generation_.store(generation, std::memory_order_release);
}

std::optional<QString> AnswerCache::find(std::uint64_t generation, const Key& key, std::int64_t now) const {
  if (now >= renewedUntil_.load(std::memory_order_acquire)) return std::nullopt;
  QReadLocker lock(&mutex_);
  auto it = answers_.find(key);
  if (it == answers_.end()) return std::nullopt;
  if (it->second.generation != generation) return std::nullopt;
  return it->second.text;
}

QString AnswerCache::keep(std::uint64_t generation, const Key& key, std::string_view engineKey,
                          const std::string& text) {
  QWriteLocker lock(&mutex_);
  // A look-up that read an older generation must not put its answer over a newer one, nor
  // keep one the cache has caught up past.
  if (generation < generation_.load(std::memory_order_relaxed)) return QString::fromStdString(text);
  auto it = answers_.find(key);
  if (it != answers_.end()) {
    Entry& entry = it->second;
    if (entry.generation > generation) return QString::fromStdString(text);
    entry.generation = generation;
    if (entry.utf8 != text) {
      bytes_ = bytes_ - entry.utf8.size() + text.size();
      entry.utf8 = text;
      entry.text = QString::fromStdString(text);
    }
    return entry.text;
  }
  // The engine's key differs from the source text only with the context in it.
  std::string own = engineKey == sourceOf(key.view()) ? std::string() : std::string(engineKey);
  const std::size_t size = key.view().size() + own.size() + text.size();
  if (answers_.size() >= kMaxEntries || bytes_ + size > kMaxBytes) {
    answers_.clear();
    bytes_ = 0;
  }
  bytes_ += size;
  return answers_
      .try_emplace(std::string(key.view()), generation, std::hash<std::string_view>()(engineKey), std::move(own), text)
      .first->second.text;
}

}  // namespace tolvana::qt
