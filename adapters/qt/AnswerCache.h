// AnswerCache: the translator's answers kept per look-up (context, source text and
// disambiguation), so that a text asked for again costs one hash probe instead of the engine's
// look-up and a conversion from UTF-8; a window retranslating asks for every text again.
//
// An answer is served in the generation of the engine's answers it was kept in
// (TolvanaHooks::answersGeneration), while the engine's last renewal holds. When the generation
// moves on, the cache catches up once for all its answers: where only updates that wrote texts
// came between, the answers of the keys they wrote go stale and all others stand, else all go.
// When the renewal lapses, the stores look for another process's writes and all answers are
// renewed together, or all dropped when one was found. Only the engine's repeatable
// answers are kept, so nothing a look-up must do (record a miss, tag a text with its key, log)
// is skipped. So a window retranslating after an update asks the engine only for the texts the
// update wrote. Where the engine's text is the one kept, the converted text is kept too, since
// most of an update's texts are those shown before. Bounded: when full, everything is
// forgotten at once.
//
// Thread contract: any thread. Finds share the lock; keeping an answer takes it alone.
#pragma once

#include <QReadWriteLock>
#include <QString>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace tolvana::qt {

class AnswerCache {
 public:
  struct Query {
    const char* context;  // null for an id, which differs from any context
    const char* sourceText;
    const char* disambiguation;
  };
  // The three parts as one key, on the stack where it fits: a find that allocated would pay
  // back much of what it saves. None of the parts holds a NUL, so the joined form is
  // unambiguous.
  class Key {
   public:
    explicit Key(const Query& query);
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;
    std::string_view view() const { return {data_, size_}; }
    // Hashed once: a look-up the cache cannot answer probes twice, before and after the engine.
    std::size_t hash() const { return hash_; }

   private:
    char buffer_[256];
    std::string spill_;
    char* data_;
    std::size_t size_;
    std::size_t hash_;
  };
  static constexpr std::size_t kMaxEntries = 16384;
  static constexpr std::size_t kMaxBytes = 8 << 20;

  // Before each find: renews the answers once the last renewal no longer holds at now
  // (TolvanaHooks' clock), and catches up with a generation read before the find.
  void bringUpTo(std::uint64_t generation, std::int64_t now);
  // The answer kept for the key, if it still holds in this generation at now.
  std::optional<QString> find(std::uint64_t generation, const Key& key, std::int64_t now) const;
  // The engine's text for engineKey (the key it looked up) as a QString, kept as the answer of
  // a look-up that read generation before it asked the engine.
  QString keep(std::uint64_t generation, const Key& key, std::string_view engineKey, const std::string& text);

 private:
  struct Entry {
    Entry(std::uint64_t generation, std::size_t engineHash, std::string engineKey, const std::string& text)
        : generation(generation), engineHash(engineHash), engineKey(std::move(engineKey)), utf8(text),
          text(QString::fromStdString(text)) {}
    std::uint64_t generation;  // kStale once an update wrote the key
    std::size_t engineHash;    // of the engine's key: a catch-up compares few answers' keys in full
    std::string engineKey;  // empty where it is the source text, as it mostly is
    std::string utf8;
    QString text;
  };
  // Below any generation a look-up reads once the cache has caught up with a move.
  static constexpr std::uint64_t kStale = 0;
  void renew();
  void catchUp(std::uint64_t generation);
  static std::string_view sourceOf(std::string_view key);
  static std::string_view engineKeyOf(std::string_view key, const Entry& entry);
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(const std::string& key) const { return std::hash<std::string_view>()(key); }
    std::size_t operator()(const Key& key) const { return key.hash(); }
  };
  struct Equal {
    using is_transparent = void;
    bool operator()(const std::string& a, const std::string& b) const { return a == b; }
    bool operator()(const Key& a, const std::string& b) const { return a.view() == b; }
    bool operator()(const std::string& a, const Key& b) const { return a == b.view(); }
  };

  // Uncontended, a read lock is one compare-and-swap, where a pthread one is a call of dozens
  // of instructions each way.
  mutable QReadWriteLock mutex_;
  // Read by every find; written under mutex_.
  std::atomic<std::int64_t> renewedUntil_{0};
  std::atomic<std::uint64_t> generation_{0};  // every answer kept before stands in it, or is stale
  // Guarded by mutex_.
  std::uint64_t outsideWrites_ = 0;
  std::size_t bytes_ = 0;
  std::unordered_map<std::string, Entry, Hash, Equal> answers_;
};

}  // namespace tolvana::qt
