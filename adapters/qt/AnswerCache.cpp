#include "AnswerCache.h"

#include <cstring>

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

std::optional<QString> AnswerCache::find(std::uint64_t generation, const Key& key) const {
  if (newest_.load(std::memory_order_relaxed) != generation) return std::nullopt;
  QReadLocker lock(&mutex_);
  auto it = answers_.find(key);
  if (it == answers_.end() || it->second.generation != generation) return std::nullopt;
  return it->second.text;
}

QString AnswerCache::keep(std::uint64_t generation, const Key& key, const std::string& text) {
  QWriteLocker lock(&mutex_);
  if (generation > newest_.load(std::memory_order_relaxed)) newest_.store(generation, std::memory_order_relaxed);
  auto it = answers_.find(key);
  if (it != answers_.end()) {
    Entry& entry = it->second;
    // A look-up that read an older generation must not put its answer over a newer one.
    if (entry.generation > generation) return QString::fromStdString(text);
    entry.generation = generation;
    if (entry.utf8 != text) {
      bytes_ = bytes_ - entry.utf8.size() + text.size();
      entry.utf8 = text;
      entry.text = QString::fromStdString(text);
    }
    return entry.text;
  }
  const std::size_t size = key.view().size() + text.size();
  if (answers_.size() >= kMaxEntries || bytes_ + size > kMaxBytes) {
    answers_.clear();
    bytes_ = 0;
  }
  bytes_ += size;
  return answers_.try_emplace(std::string(key.view()), Entry{generation, text, QString::fromStdString(text)})
      .first->second.text;
}

}  // namespace tolvana::qt
