#include "AnswerCache.h"

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

void AnswerCache::renewIfLapsed(std::int64_t now) {
  if (now < renewedUntil_.load(std::memory_order_acquire)) return;
  const TolvanaHooks::Renewal renewal = TolvanaHooks::renewAnswers();
  QWriteLocker lock(&mutex_);
  if (renewal.outsideWrites != outsideWrites_) {
    answers_.clear();
    bytes_ = 0;
    outsideWrites_ = renewal.outsideWrites;
  }
  renewedUntil_.store(renewal.until, std::memory_order_release);
}

std::optional<QString> AnswerCache::find(std::uint64_t generation, const Key& key, std::int64_t now) const {
  if (now >= renewedUntil_.load(std::memory_order_acquire)) return std::nullopt;
  QReadLocker lock(&mutex_);
  auto it = answers_.find(key);
  if (it == answers_.end()) return std::nullopt;
  const Entry& entry = it->second;
  std::uint64_t kept = entry.generation.load(std::memory_order_relaxed);
  if (kept != generation) {
    if (kept > generation || !TolvanaHooks::answerStandsSince(engineKeyOf(it->first, entry), kept, generation)) {
      return std::nullopt;
    }
    // Asked once per update: the next find takes the answer at once. A racing find moves it
    // to the same or a newer generation, which the engine vouched for as well.
    entry.generation.compare_exchange_strong(kept, generation, std::memory_order_relaxed);
  }
  return entry.text;
}

QString AnswerCache::keep(std::uint64_t generation, const Key& key, std::string_view engineKey,
                          const std::string& text) {
  QWriteLocker lock(&mutex_);
  auto it = answers_.find(key);
  if (it != answers_.end()) {
    Entry& entry = it->second;
    // A look-up that read an older generation must not put its answer over a newer one.
    if (entry.generation.load(std::memory_order_relaxed) > generation) return QString::fromStdString(text);
    entry.generation.store(generation, std::memory_order_relaxed);
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
  return answers_.try_emplace(std::string(key.view()), generation, std::move(own), text).first->second.text;
}

}  // namespace tolvana::qt
