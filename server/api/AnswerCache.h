// AnswerCache: update answers already encoded, so that the many devices that ask the same
// question (the same versions held, the same cacheable request to the byte) cost a look-up
// each instead of an answer and a gzip stream each. One cache belongs to one snapshot of a
// project's content and goes with it when the content changes, so nothing in it is stale.
//
// Thread contract: any thread may find and insert at once; the cache is split into shards
// with a lock each, held only for the look-up, so readers rarely meet.
#pragma once

#include <array>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

namespace tolvana::server {

struct EncodedAnswer {
  std::string plain{};
  std::string gzip{};
  std::string etag{};       // W/"<digest of plain>": equal answers of two servers have equal tags
  std::string signature{};  // the "hmac" of the cacheable request this answers, where it is one
};

class AnswerCache {
 public:
  std::shared_ptr<const EncodedAnswer> find(const std::string& key) const;
  // Keeps the answer unless it alone outgrows a shard; a full shard starts again empty.
  void insert(const std::string& key, std::shared_ptr<const EncodedAnswer> answer);

 private:
  static constexpr std::size_t kShards = 16;
  static constexpr std::size_t kShardBytes = 4u << 20;

  struct Shard {
    mutable std::mutex mutex;
    std::unordered_map<std::string, std::shared_ptr<const EncodedAnswer>> answers{};  // guarded by mutex
    std::size_t bytes = 0;                                                          // guarded by mutex
  };
  Shard& shardOf(const std::string& key) const { return shards_[std::hash<std::string>{}(key) % kShards]; }

  mutable std::array<Shard, kShards> shards_;
};

// W/"…" from a digest of the bytes that is the same in every process.
std::string entityTagOf(const std::string& bytes);

}  // namespace tolvana::server
