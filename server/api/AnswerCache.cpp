#include "api/AnswerCache.h"

#include <cstdint>
#include <cstdio>

namespace tolvana::server {

std::shared_ptr<const EncodedAnswer> AnswerCache::find(const std::string& key) const {
  Shard& shard = shardOf(key);
  std::lock_guard lock(shard.mutex);
  auto found = shard.answers.find(key);
  return found == shard.answers.end() ? nullptr : found->second;
}

void AnswerCache::insert(const std::string& key, std::shared_ptr<const EncodedAnswer> answer) {
  std::size_t size = key.size() + answer->plain.size() + answer->gzip.size();
  if (size > kShardBytes) return;
  Shard& shard = shardOf(key);
  std::lock_guard lock(shard.mutex);
  if (shard.bytes + size > kShardBytes) {
    shard.answers.clear();
    shard.bytes = 0;
  }
  if (shard.answers.emplace(key, std::move(answer)).second) shard.bytes += size;
}

std::string entityTagOf(const std::string& bytes) {
  // FNV-1a, 64 bits: stable across processes and builds, unlike std::hash.
  std::uint64_t hash = 14695981039346656037ull;
  for (unsigned char c : bytes) {
    hash ^= c;
    hash *= 1099511628211ull;
  }
  char tag[24];
  std::snprintf(tag, sizeof tag, "W/\"%016llx\"", static_cast<unsigned long long>(hash));
  return tag;
}

}  // namespace tolvana::server
